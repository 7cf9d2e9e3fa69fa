// One line plot: its label with the ticks, and its drawing. dygraphs gets numbers alone: no text of
// the run.

import Dygraph from "dygraphs";
import { element, shown } from "./dom.js";
import { axisOf, extent, plotRows } from "./plotdata.js";
import { formatValue } from "./units.js";

/** @typedef {import("./model.js").Series} Series */
/** @typedef {import("./view.js").View} View */
/**
 * @typedef {{series: Series, root: HTMLElement, area: HTMLElement, over: HTMLElement,
 *   value: HTMLElement, ticks: HTMLElement, graph: any, drawn: string, onScreen: boolean}} Plot
 */

// Of its parts only the grid: the others set styles in ways that the page's policy refuses.
Dygraph.PLUGINS = [Dygraph.Plugins.Grid];

/** Pixels of a column: half as many take half the time, and no extreme is lost. */
const COLUMN = 2;

/** @param {Series} series @returns {Plot} */
export function makePlot(series) {
  const value = element("span", { class: "value" });
  const ticks = element("span", { class: "ticks", "aria-hidden": "true" });
  const area = element("div", { class: "plot-area" });
  const name = element("span", { class: "name", title: shown(series.label, 2000) },
    shown(series.label));
  const cross = element("span", { class: "cross", hidden: "" });
  const over = element("div",
    { class: "plot-over", role: "img", "aria-label": shown(series.label) }, cross);
  const root = element("div", { class: "plot" },
    element("div", { class: "plot-label" }, name, value, ticks),
    element("div", { class: "plot-frame" }, area, over));
  return { series, root, area, over, value, ticks, graph: null, drawn: "", onScreen: false };
}

/** @param {Plot} plot @param {{low: number, high: number, ticks: number[]}} axis */
function drawTicks(plot, axis) {
  const unit = plot.series.unit;
  plot.ticks.replaceChildren(...axis.ticks.map((at) => {
    const tick = element("span", null, formatValue(at, unit));
    tick.style.bottom = `${((at - axis.low) / (axis.high - axis.low) * 100).toFixed(2)}%`;
    return tick;
  }));
}

/**
 * Fills between minimum and maximum: a polygon for each run of columns without a gap. The library's
 * own way, a quadrangle for each column, takes several times as long.
 * @param {import("dygraphs").PlotterData} data
 */
function drawBand({ drawingContext: context, color, plotArea, points }) {
  context.save();
  context.globalAlpha = 0.25;
  context.fillStyle = color;
  const yOf = (/** @type {number} */ part) => plotArea.y + plotArea.h * part;
  for (let from = 0, to = 0; from < points.length; from = to + 1) {
    for (to = from; to < points.length && points[to].y !== null;) ++to;
    const run = points.slice(from, to);
    if (!run.some((point) => point.y_top !== point.y_bottom)) continue;
    context.beginPath();
    for (const point of run) context.lineTo(point.canvasx, yOf(point.y_top));
    for (const point of run.reverse()) context.lineTo(point.canvasx, yOf(point.y_bottom));
    context.fill();
  }
  context.restore();
}

/**
 * The words for those who do not see the line.
 * @param {Series} series @param {number} fromSec @param {number} toSec
 */
function describe(series, fromSec, toSec) {
  const { minimum, mean, maximum } = series.totals(fromSec, toSec);
  if (!Number.isFinite(mean)) return `${shown(series.label)}: nothing in this window`;
  const [low, middle, high] = [minimum, mean, maximum].map((one) => formatValue(one, series.unit));
  return `${shown(series.label)}: from ${low} to ${high}, mean ${middle}`;
}

/** @param {string} name */
function token(name) {
  return getComputedStyle(document.documentElement).getPropertyValue(name).trim();
}

/** @param {Plot} plot @param {View} view */
export function drawPlot(plot, view) {
  const { fromSec, toSec } = view;
  const width = plot.area.clientWidth;
  if (width === 0) return;
  const columns = plot.series.columns?.(fromSec, toSec, Math.ceil(width / COLUMN));
  if (!columns) return;
  const axis = axisOf(extent(columns));
  const options = {
    dateWindow: [fromSec, toSec], valueRange: [axis.low, axis.high],
    colors: [token("--accent")], gridLineColor: token("--line"),
    axes: { x: { drawAxis: false, drawGrid: false },
      y: { drawAxis: false, ticker: () => axis.ticks.map((v) => ({ v, label: "" })) } },
  };
  const rows = plotRows(columns, fromSec, toSec);
  if (plot.graph) {
    plot.graph.resize();
    plot.graph.updateOptions({ file: rows, ...options });
  } else {
    plot.graph = new Dygraph(plot.area, rows, {
      labels: ["s", "value"], customBars: true, strokeWidth: 1.25,
      plotter: [drawBand, Dygraph.Plotters.linePlotter], showLabelsOnHighlight: false,
      interactionModel: {}, rightGap: 0, axisLineColor: "transparent",
      ...options,
    });
  }
  drawTicks(plot, axis);
  plot.over.setAttribute("aria-label", describe(plot.series, fromSec, toSec));
}

/**
 * The value at the time that is hovered, or pinned.
 * @param {Plot} plot @param {View} view
 */
export function tellValue(plot, view) {
  const sec = view.cursorSec ?? view.pinnedSec;
  const inside = sec !== null && sec >= view.fromSec && sec <= view.toSec;
  const cross = /** @type {HTMLElement} */ (plot.over.firstElementChild);
  cross.hidden = !inside;
  if (!inside) {
    plot.value.textContent = "";
    return;
  }
  cross.style.left = `${((sec - view.fromSec) / (view.toSec - view.fromSec) * 100).toFixed(3)}%`;
  const at = plot.series.at(sec);
  const value = at?.value ?? at?.mean;
  plot.value.textContent = value === undefined ? "no data" : formatValue(value, plot.series.unit);
}
