// Line plots of the series that no lane shows, below the same time axis. Only those on the screen
// are drawn, one per frame, after the lanes.

import { byId, element, shown } from "./dom.js";
import { attachNavigation } from "./navigate.js";
import { drawPlot, makePlot, tellValue } from "./plot.js";
import { formatNumber } from "./units.js";

/** @typedef {import("./model.js").Run} Run */
/** @typedef {import("./plot.js").Plot} Plot */
/** @typedef {import("./view.js").View} View */

/** So many plots stand open, or those of one group. */
const OPEN_PLOTS = 16;
/** Plots that go to paper. */
const PRINTED = 60;

/**
 * Draws the plots on the screen that are not up to date, one per frame; for paper, at once.
 * @param {Plot[]} plots @param {View} view
 */
function createDrawing(plots, view) {
  let waiting = false;
  const state = (/** @type {Plot} */ plot) =>
    `${view.fromSec} ${view.toSec} ${view.dark} ${plot.area.clientWidth}`;
  const isDue = (/** @type {Plot} */ plot) => !plot.root.hidden && plot.drawn !== state(plot);
  const draw = (/** @type {Plot} */ plot) => {
    plot.drawn = state(plot);
    drawPlot(plot, view);
  };
  const step = () => {
    waiting = false;
    const next = plots.find((plot) => plot.onScreen && isDue(plot));
    if (!next) return;
    draw(next);
    request();
  };
  const request = () => {
    if (document.documentElement.classList.contains("printing")) {
      plots.filter(({ area }) => area.clientWidth > 0).slice(0, PRINTED).filter(isDue).forEach(draw);
      return;
    }
    if (!waiting) requestAnimationFrame(step);
    waiting = true;
  };
  return request;
}

/** @param {Plot[]} plots @param {() => void} request */
function watchScreen(plots, request) {
  const byRoot = new Map(plots.map((plot) => [plot.root, plot]));
  const screen = new IntersectionObserver((entries) => {
    for (const { target, isIntersecting } of entries) {
      const plot = byRoot.get(/** @type {HTMLElement} */ (target));
      if (plot) plot.onScreen = isIntersecting;
    }
    request();
  }, { rootMargin: "100px" });
  const sizes = new ResizeObserver(request);
  for (const { root } of plots) {
    screen.observe(root);
    sizes.observe(root);
  }
}

/** @param {Plot[]} plots @param {string} words */
function filterPlots(plots, words) {
  const wanted = words.toLowerCase().split(/\s+/);
  for (const { root, series } of plots) {
    const text = `${series.label} ${series.metric} ${series.feature}`.toLowerCase();
    root.hidden = !wanted.every((word) => text.includes(word));
  }
  for (const group of byId("plots").querySelectorAll("details")) {
    group.hidden = !group.querySelector(".plot:not([hidden])");
  }
}

/** @param {Plot[]} plots */
function placeGroups(plots) {
  /** @type {Map<string, Plot[]>} */
  const groups = new Map();
  for (const plot of plots) {
    groups.set(plot.series.feature, [...groups.get(plot.series.feature) ?? [], plot]);
  }
  let open = 0;
  for (const [feature, members] of groups) {
    const count = element("span", { class: "soft" }, ` ${formatNumber(members.length)}`);
    const group = element("details", { class: "plots" },
      element("summary", null, shown(feature), count), ...members.map(({ root }) => root));
    group.open = open === 0 || open + members.length <= OPEN_PLOTS;
    if (group.open) open += members.length;
    byId("plots").append(group);
  }
}

/**
 * @param {Run} run @param {View} view
 * @param {Set<import("./model.js").Series>} inLanes series that need no plot
 */
export function createPlots(run, view, inLanes) {
  const plots = run.series.filter((series) => series.kind === "value" && !inLanes.has(series))
    .map(makePlot);
  const power = plots.filter(({ series }) => series.role === "power");
  byId("power").append(...power.map(({ root }) => root));
  placeGroups(plots.filter((plot) => !power.includes(plot)));
  for (const { over } of plots) attachNavigation(over, view);
  const request = createDrawing(plots, view);
  watchScreen(plots, request);
  let words = "";
  view.subscribe(() => {
    if (words !== view.filter) filterPlots(plots, view.filter);
    words = view.filter;
    for (const plot of plots) if (plot.onScreen) tellValue(plot, view);
    request();
  });
}
