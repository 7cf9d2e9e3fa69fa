// The lanes: which rows stand in the document, which of them are drawn, and when.

import { createAxis } from "./axis.js";
import { assignColors } from "./colors.js";
import { byId, element } from "./dom.js";
import { createReadout } from "./hover.js";
import { createLaneDrawing } from "./lanedrawing.js";
import { attachLaneActions } from "./laneactions.js";
import { lanesOf, shownInLanes } from "./lanelist.js";
import { createLaneOrder } from "./laneorder.js";
import { emptyCanvas, makeRow, sizeCanvas } from "./lanerow.js";
import { createLaneTools } from "./lanetools.js";
import { settled } from "./later.js";
import { attachNavigation } from "./navigate.js";
import { shortReading, summaryOf } from "./readings.js";

/** @typedef {import("./lanelist.js").Lane} Lane */
/** @typedef {import("./lanerow.js").Row} Row */
/** @typedef {import("./model.js").Run} Run */
/** @typedef {import("./view.js").View} View */

/** More columns than these are not told apart. */
const mostColumns = 2400;
/** So many rows go on paper. */
const mostPrinted = 120;

/**
 * The rows of the lanes that are shown, in the document.
 * @param {HTMLElement} root @param {import("./laneorder.js").LaneOrder} order
 */
function createRows(root, order) {
  /** @type {Map<Lane, Row>} */
  const made = new Map();
  /** @type {Row[]} */
  let rows = [];
  return {
    get all() { return rows; },
    /** Puts the rows of what the filter leaves into the document. */
    arrange(/** @type {string} */ filter) {
      const before = new Set(rows);
      rows = order.rows(filter).map((lane) => {
        const row = made.get(lane) ?? makeRow(lane);
        made.set(lane, row);
        before.delete(row);
        if (lane.children.length > 0) {
          row.root.setAttribute("aria-expanded", String(!lane.folded || filter !== ""));
        }
        return row;
      });
      for (const row of before) emptyCanvas(row);
      const focused = document.activeElement;
      root.replaceChildren(...rows.map((row) => row.root));
      if (focused instanceof HTMLElement && root.contains(focused)) focused.focus();
      const reachable = rows.some((row) => row.root.tabIndex === 0);
      if (!reachable && rows.length > 0) rows[0].root.tabIndex = 0;
    },
    rowAt: (/** @type {EventTarget|null} */ target) => {
      const root = target instanceof Element ? target.closest(".lane") : null;
      return rows.find((row) => row.root === root) ?? null;
    },
  };
}
/** @typedef {ReturnType<typeof createRows>} Rows */

/**
 * The rows on the screen, and a little around it; on paper, the first ones.
 * @param {HTMLElement} root @param {Row[]} rows
 */
function rowsOnScreen(root, rows) {
  if (document.documentElement.classList.contains("printing")) return rows.slice(0, mostPrinted);
  const margin = 60;
  let top = root.getBoundingClientRect().top;
  return rows.filter(({ height }) => {
    const bottom = top + height;
    const isNear = bottom > -margin && top < innerHeight + margin;
    top = bottom;
    return isNear;
  });
}

/**
 * @param {Run} run @param {View} view @param {HTMLElement} root @param {Rows} rows
 * @param {import("./axis.js").Axis} axis
 */
function createPainting(run, view, root, rows, axis) {
  const draw = createLaneDrawing(run);
  /** @type {Set<Row>} */
  let drawn = new Set();
  let size = { width: 0, scale: 1 };

  const measure = () => {
    const scale = Math.min(3, Math.max(1, devicePixelRatio || 1));
    size = { scale, width: Math.min(mostColumns, Math.round(axis.width() * scale)) };
  };
  /** @param {Row} row */
  const drawRow = (row) => {
    const { fromSec, toSec, dark } = view;
    const frame = { fromSec, toSec, dark, ...size };
    const state = `${Object.values(frame).join(" ")} ${row.lane.folded}`;
    if (!row.canvas || row.drawn === state || size.width === 0) return;
    sizeCanvas(row, size.width, size.scale);
    draw(row.lane, row.canvas, frame);
    row.drawn = state;
  };
  return {
    measure,
    /** Draws what is on the screen and not up to date. */
    draw() {
      const now = rowsOnScreen(root, rows.all);
      now.forEach(drawRow);
      const kept = new Set(now);
      for (const row of drawn) if (!kept.has(row)) emptyCanvas(row);
      drawn = kept;
    },
    /** The rows that have been drawn last. */
    get onScreen() { return drawn; },
  };
}

/**
 * Values at the hovered or pinned moment, beside the names.
 * @param {View} view @param {Iterable<Row>} rows
 */
function tellValues(view, rows) {
  const sec = view.cursorSec ?? view.pinnedSec;
  for (const { lane, value } of rows) {
    value.textContent = sec === null ? "" : shortReading(lane, sec);
  }
}

/** @param {View} view @param {Iterable<Row>} rows */
function tellSummaries(view, rows) {
  for (const { lane, canvas } of rows) {
    canvas?.setAttribute("aria-label", summaryOf(lane, view.fromSec, view.toSec));
  }
}

/**
 * Draws what is on the screen, now and as the view changes.
 * @param {View} view @param {HTMLElement} root @param {Rows} rows
 * @param {{draw: () => void}} axis @param {{draw: (count: number) => void}} tools
 * @param {ReturnType<typeof createPainting>} painting @param {{draw: () => void}} readout
 */
function followView(view, root, rows, axis, tools, painting, readout) {
  const summarise = settled(() => tellSummaries(view, painting.onScreen), 400, 2000);
  const drawRows = () => {
    painting.draw();
    tellValues(view, painting.onScreen);
    summarise();
  };
  const draw = () => {
    // What asks where things are goes before what changes them.
    drawRows();
    axis.draw();
    readout.draw();
  };
  const arrange = () => {
    rows.arrange(view.filter);
    painting.measure();
    tools.draw(rows.all.length);
  };
  arrange();
  draw();
  view.subscribe((changes) => {
    if (changes.has("lanes")) arrange();
    if (changes.has("lanes") || changes.has("window") || changes.has("theme")) draw();
    else {
      tellValues(view, painting.onScreen);
      readout.draw();
    }
  });
  new ResizeObserver(() => {
    painting.measure();
    draw();
  }).observe(root);
  addEventListener("scroll", () => requestAnimationFrame(drawRows), { passive: true });
}

/**
 * Fills `#lane-tools`, `#axis`, `#lanes` and `#readout`, draws what is on the screen, and goes on
 * doing so as the view changes. Returns the series that the lanes draw.
 * @param {Run} run @param {View} view
 */
export function createLanes(run, view) {
  assignColors(run);
  const root = byId("lanes");
  root.setAttribute("role", "treegrid");
  root.setAttribute("aria-label", "Lanes: arrows choose one, and move through time");
  const list = element("div", { role: "rowgroup" });
  root.append(list);
  const lanes = lanesOf(run);
  const inLanes = shownInLanes(lanes);
  const order = createLaneOrder(lanes);
  const rows = createRows(list, order);
  const axis = createAxis(view);
  const painting = createPainting(run, view, list, rows, axis);
  const readout = createReadout(view, root, axis.gutter, rows);
  attachNavigation(root, view, axis.gutter, { ignore: (event) =>
    event.clientX < root.getBoundingClientRect().left + axis.gutter() });
  attachLaneActions(root, order, view, rows, readout);
  followView(view, root, rows, axis, createLaneTools(order, view), painting, readout);
  return inLanes;
}
