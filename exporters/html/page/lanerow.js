// The line of one lane in the document: its label, with what can be done to it, and its canvas.

import { element } from "./dom.js";

/** @typedef {import("./lanelist.js").Lane} Lane */
/**
 * @typedef {{lane: Lane, root: HTMLElement, label: HTMLElement, value: HTMLElement,
 *   canvas: HTMLCanvasElement|null, height: number, drawn: string}} Row
 */

/** CSS pixels. */
const heights = { package: 34, die: 26, core: 26, cpu: 32, process: 18, series: 20, section: 26 };

/** @param {Lane} lane */
export function isHeading(lane) {
  return Object.keys(lane.parts).length === 0 && lane.cpus.length === 0;
}

/** @param {Lane} lane @returns {number} */
const lanesBelow = (lane) => lane.children.reduce((sum, child) =>
  sum + (isHeading(child) ? lanesBelow(child) : 1), 0);

/** @param {Lane} lane @param {string} name @param {string} title @param {string} text */
const button = (lane, name, title, text) => element("button", { class: `lane-${name}`,
  type: "button", tabindex: "-1", "data-action": name, title,
  "aria-label": `${title}: ${lane.label}` }, text);

/** @param {Lane} lane @param {HTMLElement} value */
function makeLabel(lane, value) {
  const label = element("div", { class: "lane-label", role: "rowheader" });
  label.style.setProperty("--depth", String(lane.depth));
  if (lane.children.length > 0) label.append(button(lane, "fold", "Fold or unfold", ""));
  else label.append(element("span", { class: "lane-indent" }));
  const title = `${lane.label} ${lane.detail}`;
  const name = element("span", { class: "lane-name", title }, lane.label);
  const detail = isHeading(lane) ? String(lanesBelow(lane)) : lane.detail;
  if (detail) name.append(element("span", { class: "soft" }, ` ${detail}`));
  label.append(name, value, button(lane, "hide", "Hide", "×"));
  return label;
}

/** @param {Lane} lane @returns {Row} */
export function makeRow(lane) {
  const value = element("span", { class: "lane-value" });
  const label = makeLabel(lane, value);
  const height = heights[/** @type {keyof typeof heights} */ (lane.level)] ?? 20;
  const canvas = isHeading(lane) ? null : element("canvas", { class: "lane-canvas", role: "img",
    "aria-label": lane.label, width: "0", height: "0" });
  const cell = element("div", { class: "lane-drawing", role: "gridcell" });
  if (canvas) cell.append(canvas);
  const root = element("div", { class: `lane lane-of-${lane.level}`, role: "row", tabindex: "-1",
    "aria-level": String(lane.depth + 1) }, label, cell);
  root.style.height = `${height}px`;
  return { lane, root, label, value, canvas, height, drawn: "" };
}

/**
 * Sizes the canvas, which clears it.
 * @param {Row} row @param {number} width of its pixels
 * @param {number} scale device pixels per CSS pixel
 */
export function sizeCanvas({ canvas, height }, width, scale) {
  if (!canvas) return;
  const rows = Math.max(1, Math.round((height - 2) * scale));
  if (canvas.width !== width) canvas.width = width;
  if (canvas.height !== rows) canvas.height = rows;
}

/**
 * Gives the memory of a canvas back.
 * @param {Row} row
 */
export function emptyCanvas(row) {
  row.drawn = "";
  if (row.canvas) row.canvas.width = row.canvas.height = 0;
}
