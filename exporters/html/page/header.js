// Title, when and how long, how exact; the way past it all by keyboard.

import { byId, shown } from "./dom.js";
import { counted, formatSpan } from "./units.js";

/** @param {any} json @returns {string} how exact hovering is */
function exactness(json) {
  if (json.data.mode !== "binned") return "every point";
  const finest = json.data.levels[0]?.binSec;
  return finest ? `bins of ${formatSpan(finest)}` : "bins";
}

/**
 * "YYYY-MM-DD hh:mm:ss UTC" of a time that is known, else "".
 * @param {string} unixNs
 */
export function formatStart(unixNs) {
  if (!/^\d+$/.test(unixNs ?? "") || unixNs === "0") return "";
  const iso = new Date(Number(BigInt(unixNs) / 1000000n)).toISOString();
  return `${iso.slice(0, 10)} ${iso.slice(11, 19)} UTC`;
}

/** @param {any} json */
export function showHeader(json) {
  const title = shown(json.title);
  document.title = title;
  byId("title").textContent = title;
  const cpus = json.entities.filter((/** @type {any} */ one) => one.level === "cpu").length;
  const start = formatStart(json.startUnixNs);
  byId("summary").textContent = [
    title.includes(start.slice(0, 19)) ? "" : start, formatSpan(json.durationSec),
    ...(cpus > 0 ? [counted(cpus, "CPU", "CPUs")] : []),
    counted(json.series.length, "series", "series"), exactness(json),
  ].filter((text) => text !== "").join(" · ");
  // The address carries the visible window, so the link moves the focus only.
  byId("skip").addEventListener("click", (event) => {
    event.preventDefault();
    byId("picture").focus();
  });
}
