// The moment below the pointer or the keyboard's cursor: a line through all lanes, what the lane
// there says of it in a box and for screen readers, and the pinned moment.

import { formatTime } from "./axis.js";
import { byId, element } from "./dom.js";
import { settled } from "./later.js";
import { readingsAt } from "./readings.js";
import { formatSpan } from "./units.js";

/** @typedef {import("./lanerow.js").Row} Row */
/** @typedef {import("./view.js").View} View */

/** @param {View} view @param {number} sec */
const timeText = (view, sec) => formatTime(sec, view.lengthSec / 2000);

/**
 * A line at a time, in an element whose drawing begins `left()` pixels from its left edge.
 * @param {HTMLElement} root @param {string} name @param {() => number} left
 */
function createLine(root, name, left) {
  const line = element("div", { class: `time-line ${name}`, "aria-hidden": "true" });
  line.hidden = true;
  root.append(line);
  return (/** @type {View} */ view, /** @type {number|null} */ sec) => {
    const part = sec === null ? -1 : (sec - view.fromSec) / view.lengthSec;
    line.hidden = !(part >= 0 && part <= 1);
    if (line.hidden) return;
    const from = left();
    line.style.transform = `translateX(${(from + part * (root.clientWidth - from)).toFixed(1)}px)`;
  };
}

/**
 * The pinned moment's time, at the top of its line; a click looses it.
 * @param {View} view
 */
function createPinFlag(view) {
  const flag = element("button", { class: "pin-flag", type: "button" });
  flag.hidden = true;
  flag.addEventListener("click", () => view.pin(null));
  const frame = byId("axis").querySelector(".axis-frame");
  frame?.append(flag);
  return () => {
    const part = view.pinnedSec === null ? -1 : (view.pinnedSec - view.fromSec) / view.lengthSec;
    flag.hidden = !(part >= 0 && part <= 1);
    if (view.pinnedSec === null || flag.hidden) return;
    const text = timeText(view, view.pinnedSec);
    flag.textContent = `${text} ×`;
    flag.setAttribute("aria-label", `Pinned at ${text}; loose the pin`);
    flag.style.left = `${(part * 100).toFixed(3)}%`;
    flag.classList.toggle("last", part > 0.85);
  };
}

/** @param {View} view @param {Row} row @param {number} sec */
function linesOf(view, row, sec) {
  const away = view.pinnedSec === null ? 0 : sec - view.pinnedSec;
  const pinned = away === 0 ? ""
    : `, ${formatSpan(Math.abs(away))} ${away > 0 ? "after" : "before"} the pin`;
  return { head: `${row.lane.label} at ${timeText(view, sec)}${pinned}`,
    lines: readingsAt(row.lane, sec, view.lengthSec / 200) };
}

/** @param {HTMLElement} box @param {ReturnType<typeof linesOf>} told */
function fillBox(box, { head, lines }) {
  box.replaceChildren(element("p", { class: "readout-head" }, head),
    ...lines.map(({ title, text, span }) => element("p", null,
      element("span", { class: "soft" }, `${title} `), element("b", null, text),
      ...(span ? [element("span", { class: "soft readout-span" }, span)] : []))));
}

/**
 * Beside a point, within the screen.
 * @param {HTMLElement} box @param {number} x @param {number} y
 */
function placeBox(box, x, y) {
  const { width, height } = box.getBoundingClientRect();
  const left = x + 16 + width > innerWidth ? Math.max(4, x - 16 - width) : x + 16;
  const top = y + 18 + height > innerHeight ? Math.max(4, y - 12 - height) : y + 18;
  box.style.transform = `translate(${left.toFixed(0)}px, ${top.toFixed(0)}px)`;
}

/**
 * In one sentence.
 * @param {ReturnType<typeof linesOf>} told
 */
const sentenceOf = ({ head, lines }) => [head, ...lines.map(({ title, text, span }) =>
  `${title} ${text}${span && `, ${span}`}`)].join("; ");

/** The box, and the same in words that screen readers speak when they have settled. */
function createBox() {
  const box = element("div", { class: "readout-box", "aria-hidden": "true" });
  const live = element("div", { class: "unseen", role: "status", "aria-live": "polite" });
  byId("readout").append(box, live);
  box.hidden = true;
  let said = "";
  const tell = settled(() => { live.textContent = said; }, 250, 1000);
  return {
    hide() { box.hidden = true; },
    /** @param {ReturnType<typeof linesOf>} told @param {number} x @param {number} y */
    show(told, x, y) {
      box.hidden = false;
      fillBox(box, told);
      placeBox(box, x, y);
      const sentence = sentenceOf(told);
      if (sentence === said) return;
      said = sentence;
      tell();
    },
  };
}

/**
 * The lines of the cursor and the pin, in the axis and in the lanes.
 * @param {HTMLElement} root of the lanes @param {() => number} gutter @param {View} view
 */
function createLines(root, gutter, view) {
  const axis = /** @type {HTMLElement} */ (byId("axis").querySelector(".axis-frame"));
  const cursors = [createLine(root, "cursor", gutter), createLine(axis, "cursor", () => 0)];
  const pins = [createLine(root, "pin", gutter), createLine(axis, "pin", () => 0)];
  const drawFlag = createPinFlag(view);
  return () => {
    for (const draw of cursors) draw(view, view.cursorSec);
    for (const draw of pins) draw(view, view.pinnedSec);
    drawFlag();
  };
}

/**
 * Fills `#readout`.
 * @param {View} view @param {HTMLElement} root of the lanes @param {() => number} gutter
 * @param {import("./lanes.js").Rows} rows
 */
export function createReadout(view, root, gutter, rows) {
  const box = createBox();
  const drawLines = createLines(root, gutter, view);
  /** @type {{row: Row|null, x: number, y: number}|null} */
  let pointer = null;
  /** @type {Row|null} */
  let focused = null;

  root.addEventListener("pointermove", (event) => {
    const row = rows.rowAt(document.elementFromPoint(event.clientX, event.clientY));
    pointer = { row, x: event.clientX, y: event.clientY };
  });
  root.addEventListener("pointerleave", () => { pointer = null; });
  /** @param {Row} row @param {number} sec */
  const placeOf = (row, sec) => {
    const { left, bottom, width } = row.root.getBoundingClientRect();
    const part = (sec - view.fromSec) / view.lengthSec;
    return { x: left + gutter() + part * (width - gutter()), y: bottom };
  };
  const drawBox = () => {
    const row = pointer ? pointer.row : focused;
    const sec = view.cursorSec;
    if (!row?.canvas || sec === null) {
      box.hide();
      return;
    }
    const { x, y } = pointer ?? placeOf(row, sec);
    box.show(linesOf(view, row, sec), x, y);
  };
  return {
    draw() {
      drawLines();
      drawBox();
    },
    /** The lane that the keyboard is on. */
    follow(/** @type {Row|null} */ row) {
      focused = row;
      if (row) pointer = null;
      drawBox();
    },
  };
}
/** @typedef {ReturnType<typeof createReadout>} Readout */
