// Bars made of elements: one length among others, and a whole made of parts.

import { element, shown } from "./dom.js";

/** @param {string} color */
export function swatch(color) {
  const made = element("span", { class: "swatch", "aria-hidden": "true" });
  made.style.backgroundColor = color;
  return made;
}

/**
 * One line of a ranking: name, bar, value.
 * @param {{name: string, values: string[], part: number, color: string}} line
 *   part: 0 to 1 of the longest
 */
export function rankedBar({ name, values, part, color }) {
  const bar = element("span", { class: "bar", "aria-hidden": "true" });
  bar.style.width = `${(Math.max(0, Math.min(1, part)) * 100).toFixed(2)}%`;
  bar.style.backgroundColor = color;
  return element("li", { class: "ranked" },
    element("span", { class: "name", title: shown(name, 2000) }, shown(name)),
    element("span", { class: "track" }, bar),
    element("span", { class: "value" }, ...values.map((text) => element("span", null, text))));
}

/**
 * One line of parts of a whole: name, bar, value. What the parts lack of 1 stays open (unknown).
 * @param {string} name
 * @param {{text: string, part: number, color: string}[]} parts text: "C6 12.3 %"
 * @param {string} value
 */
export function stackedBar(name, parts, value) {
  const told = parts.map(({ text }) => text).join(", ");
  const track = element("span", { class: "track stack", role: "img", "aria-label": told });
  for (const { text, part, color } of parts) {
    const piece = element("span", { class: "bar", title: text });
    piece.style.width = `${(part * 100).toFixed(3)}%`;
    piece.style.backgroundColor = color;
    track.append(piece);
  }
  return element("li", { class: "ranked" },
    element("span", { class: "name", title: shown(name, 2000) }, shown(name)),
    track,
    element("span", { class: "value" }, value));
}
