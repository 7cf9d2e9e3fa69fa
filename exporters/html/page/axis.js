// The time axis above all lanes: ticks, their texts, and where the window is in the run.

import { byId, element } from "./dom.js";
import { attachNavigation } from "./navigate.js";

/** @typedef {import("./view.js").View} View */

/**
 * Round times within a window, at most about `count`.
 * @param {number} fromSec @param {number} toSec @param {number} count
 * @returns {number[]}
 */
export function ticks(fromSec, toSec, count) {
  const step = tickStep(toSec - fromSec, count);
  if (!(step > 0)) return [];
  const first = Math.ceil(fromSec / step - 1e-9);
  const last = Math.floor(toSec / step + 1e-9);
  return Array.from({ length: Math.max(0, last - first + 1) }, (_, i) => (first + i) * step);
}

/**
 * The step between ticks: 1, 2 or 5 of a power of ten; above a second, parts of minutes and hours.
 * @param {number} lengthSec @param {number} count
 */
export function tickStep(lengthSec, count) {
  const least = lengthSec / Math.max(1, count);
  if (least > 5) {
    const round = [10, 15, 30, 60, 120, 300, 600, 900, 1800, 3600, 7200, 14400, 21600, 43200];
    return round.find((step) => step >= least) ?? Math.ceil(least / 86400) * 86400;
  }
  const power = 10 ** Math.floor(Math.log10(least) + 1e-9);
  return power * ([1, 2, 5].find((part) => power * part >= least * (1 - 1e-9)) ?? 10);
}

/**
 * Digits behind the point that tell times a step apart.
 * @param {number} stepSec
 */
const digitsOf = (stepSec) =>
  Math.min(9, Math.max(0, Math.ceil(-Math.log10(Math.max(stepSec, 1e-9)) - 1e-9)));

/**
 * A time from the start of the run: "1.25 s", "0.000 125 s", "2:05", "1:02:05".
 * @param {number} sec @param {number} stepSec what it has to be told apart from
 * @returns {string}
 */
export function formatTime(sec, stepSec) {
  const digits = digitsOf(stepSec);
  const sign = sec < 0 && Number(sec.toFixed(digits)) !== 0 ? "−" : "";
  const size = Number(Math.abs(sec).toFixed(digits));
  if (size >= 60 && digits === 0) {
    const two = (/** @type {number} */ part) => String(part).padStart(2, "0");
    const [hours, minutes] = [Math.floor(size / 3600), Math.floor(size / 60) % 60];
    const rest = `${hours > 0 ? two(minutes) : minutes}:${two(size % 60)}`;
    return sign + (hours > 0 ? `${hours}:${rest}` : rest);
  }
  const [whole, part = ""] = size.toFixed(digits).split(".");
  const groups = part.replace(/(\d{3})(?=\d)/g, "$1\u2009");
  return `${sign}${whole}${groups && `.${groups}`}\u00a0s`;
}

/** @param {HTMLElement} scale @param {View} view */
function drawTicks(scale, view) {
  const width = scale.clientWidth;
  // Texts of short steps are long: the number of ticks depends on the step, which depends on it.
  const roomOf = (/** @type {number} */ step) => 10 + 7 * formatTime(view.toSec, step).length;
  const guess = tickStep(view.lengthSec, Math.max(2, width / 60));
  const count = Math.max(1, Math.floor(width / (1.5 * roomOf(guess))));
  const step = tickStep(view.lengthSec, count);
  const room = roomOf(step);
  const stepWidth = (step / view.lengthSec) * width;
  scale.replaceChildren(...ticks(view.fromSec, view.toSec, count).map((sec) => {
    const part = (sec - view.fromSec) / view.lengthSec;
    // Texts stand to the right of their line; the last one to its left, if there is room.
    const isLast = width * (1 - part) < room;
    const tick = element("span", { class: isLast ? "tick last" : "tick" },
      isLast && stepWidth < 2 * room ? "" : formatTime(sec, step));
    tick.style.left = `${(part * 100).toFixed(3)}%`;
    return tick;
  }));
}

/** @param {HTMLElement} thumb @param {View} view */
function drawThumb(thumb, view) {
  const whole = view.limits.toSec - view.limits.fromSec;
  thumb.style.left = `${(((view.fromSec - view.limits.fromSec) / whole) * 100).toFixed(3)}%`;
  thumb.style.width = `${((view.lengthSec / whole) * 100).toFixed(3)}%`;
}

/** The pointer on the bar of the whole run takes the window there. */
function attachOverview(/** @type {HTMLElement} */ bar, /** @type {View} */ view) {
  const goTo = (/** @type {PointerEvent} */ event) => {
    const { left, width } = bar.getBoundingClientRect();
    const whole = view.limits.toSec - view.limits.fromSec;
    const middle = view.limits.fromSec + ((event.clientX - left) / width) * whole;
    view.setWindow(middle - view.lengthSec / 2, middle + view.lengthSec / 2);
  };
  bar.addEventListener("pointerdown", (event) => {
    bar.setPointerCapture(event.pointerId);
    goTo(event);
  });
  bar.addEventListener("pointermove", (event) => {
    if (bar.hasPointerCapture(event.pointerId)) goTo(event);
  });
}

/**
 * Fills `#axis`.
 * @param {View} view
 */
export function createAxis(view) {
  const scale = element("div", { class: "axis-scale", tabindex: "0", role: "slider",
    "aria-label": "Time axis: arrows move the window, plus and minus zoom, 0 shows all" });
  const thumb = element("span", { class: "axis-thumb" });
  const bar = element("div", { class: "axis-run", "aria-hidden": "true" }, thumb);
  const frame = element("div", { class: "axis-frame" }, scale, bar);
  const label = element("div", { class: "axis-label" }, "Time");
  byId("axis").append(label, frame);
  attachNavigation(scale, view, () => 0, { dragSelects: true, keys: true });
  attachOverview(bar, view);
  const draw = () => {
    drawTicks(scale, view);
    drawThumb(thumb, view);
    const step = view.lengthSec / 1000;
    const { fromSec, toSec } = view.limits;
    const percent = Math.round(((view.fromSec - fromSec) / (toSec - fromSec)) * 100);
    scale.setAttribute("aria-valuenow", String(percent));
    scale.setAttribute("aria-valuetext",
      `${formatTime(view.fromSec, step)} to ${formatTime(view.toSec, step)}`);
  };
  return {
    draw,
    /** The width of the labels of all rows, and that of all drawings. */
    gutter: () => label.getBoundingClientRect().width,
    width: () => frame.clientWidth,
  };
}
/** @typedef {ReturnType<typeof createAxis>} Axis */
