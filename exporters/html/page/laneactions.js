// What can be done to lanes by keys and pointer: fold, hide, move, and read them moment by moment.

import { followKey } from "./navigate.js";

/** @typedef {import("./lanerow.js").Row} Row */
/** @typedef {import("./laneorder.js").LaneOrder} LaneOrder */
/** @typedef {import("./view.js").View} View */

/** @param {import("./lanes.js").Rows} rows @param {Row} row */
function focusRow(rows, row) {
  for (const { root } of rows.all) root.tabIndex = root === row.root ? 0 : -1;
  row.root.focus({ preventScroll: true });
  row.root.scrollIntoView({ block: "nearest" });
}

/**
 * The cursor goes a step through the window, which follows it at its ends.
 * @param {View} view @param {number} part of the window
 */
function moveCursor(view, part) {
  const from = view.cursorSec ?? view.pinnedSec ?? (view.fromSec + view.toSec) / 2;
  const { fromSec, toSec } = view.limits;
  const sec = Math.min(toSec, Math.max(fromSec, from + part * view.lengthSec));
  if (sec < view.fromSec || sec > view.toSec) view.pan(part < 0 ? -0.5 : 0.5);
  view.setCursor(sec);
}

/**
 * @param {KeyboardEvent} event @param {Row} row @param {LaneOrder} order @param {View} view
 * @param {import("./lanes.js").Rows} rows
 */
function followRowKey(event, row, order, view, rows) {
  const at = rows.all.indexOf(row);
  const { lane } = row;
  const step = event.key === "ArrowUp" ? -1 : 1;
  switch (event.key) {
    case "ArrowUp": case "ArrowDown":
      if (event.altKey) {
        if (order.move(lane, step)) view.lanesChanged();
      } else focusRow(rows, rows.all[Math.min(rows.all.length - 1, Math.max(0, at + step))]);
      return true;
    case "ArrowLeft": moveCursor(view, event.shiftKey ? -0.1 : -0.01); return true;
    case "ArrowRight": moveCursor(view, event.shiftKey ? 0.1 : 0.01); return true;
    case "Enter": view.pin(view.cursorSec === view.pinnedSec ? null : view.cursorSec); return true;
    case " ":
      if (lane.children.length > 0) order.fold(lane);
      view.lanesChanged();
      return true;
    case "Delete": hideRow(row, order, view, rows); return true;
    default: return followKey(view, event);
  }
}

/**
 * @param {Row} row @param {LaneOrder} order @param {View} view
 * @param {import("./lanes.js").Rows} rows
 */
function hideRow(row, order, view, rows) {
  const at = rows.all.indexOf(row);
  const next = rows.all.slice(at + 1).find(({ lane }) => lane.depth <= row.lane.depth) ??
    rows.all[at - 1];
  order.hide(row.lane);
  if (next && row.root.contains(document.activeElement)) focusRow(rows, next);
  view.lanesChanged();
}

/**
 * Labels are dragged among those of the same parent.
 * @param {HTMLElement} root @param {LaneOrder} order @param {View} view
 * @param {import("./lanes.js").Rows} rows
 */
function attachDragging(root, order, view, rows) {
  /** @type {{row: Row, y: number, pointer: number, target: Row|null, behind: boolean}|null} */
  let drag = null;
  const mark = () => {
    for (const { root: one } of rows.all) {
      one.classList.remove("drop-before", "drop-behind", "dragged");
    }
    if (!drag) return;
    drag.row.root.classList.add("dragged");
    drag.target?.root.classList.add(drag.behind ? "drop-behind" : "drop-before");
  };
  root.addEventListener("pointerdown", (event) => {
    const target = /** @type {Element} */ (event.target);
    const row = rows.rowAt(target);
    if (!row || event.button !== 0) return;
    if (!target.closest(".lane-label") || target.closest("button")) return;
    focusRow(rows, row);
    event.preventDefault();
    drag = { row, y: event.clientY, pointer: event.pointerId, target: null, behind: false };
  });
  root.addEventListener("pointermove", (event) => {
    if (!drag || event.pointerId !== drag.pointer || Math.abs(event.clientY - drag.y) < 5) return;
    root.setPointerCapture(event.pointerId);
    const { row } = drag;
    const below = rows.rowAt(document.elementFromPoint(event.clientX, event.clientY));
    const fits = below !== null && below !== row && below.lane.parent === row.lane.parent;
    const box = fits ? below.root.getBoundingClientRect() : null;
    drag.target = fits ? below : null;
    drag.behind = box !== null && event.clientY > box.top + box.height / 2;
    mark();
  });
  const end = (/** @type {PointerEvent} */ event, /** @type {boolean} */ drops) => {
    if (!drag || event.pointerId !== drag.pointer) return;
    const { row, target, behind } = drag;
    drag = null;
    mark();
    if (drops && target && order.moveTo(row.lane, target.lane, behind)) view.lanesChanged();
  };
  root.addEventListener("pointerup", (event) => end(event, true));
  root.addEventListener("pointercancel", (event) => end(event, false));
}

/**
 * @param {HTMLElement} root @param {LaneOrder} order @param {View} view
 * @param {import("./lanes.js").Rows} rows @param {import("./hover.js").Readout} readout
 */
export function attachLaneActions(root, order, view, rows, readout) {
  attachDragging(root, order, view, rows);
  root.addEventListener("click", (event) => {
    const action = event.target instanceof HTMLElement ? event.target.dataset.action : undefined;
    const row = rows.rowAt(event.target);
    if (!row || !action) return;
    if (action === "fold") {
      order.fold(row.lane);
      view.lanesChanged();
    } else hideRow(row, order, view, rows);
  });
  root.addEventListener("keydown", (event) => {
    const row = rows.rowAt(event.target);
    if (!row || event.ctrlKey || event.metaKey) return;
    if (event.target !== row.root && (event.key === "Enter" || event.key === " ")) return;
    if (!followRowKey(event, row, order, view, rows)) return;
    event.preventDefault();
    readout.follow(rows.rowAt(document.activeElement));
  });
  root.addEventListener("focusin", (event) => readout.follow(rows.rowAt(event.target)));
  root.addEventListener("focusout", () => view.setCursor(null));
}
