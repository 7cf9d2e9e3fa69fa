// What the colours of the lanes mean.

import { swatch } from "./bars.js";
import { nameColor, stateShade } from "./colors.js";
import { byId, element, shown } from "./dom.js";
import { formatNumber } from "./units.js";
import { rankings } from "./windowsums.js";

/** @typedef {import("./model.js").Run} Run */
/** @typedef {import("./view.js").View} View */

/** Names of one line. */
const NAMES = 12;

/** @param {string} title @param {{name: string, color: string}[]} entries */
function line(title, entries) {
  const items = entries.slice(0, NAMES).map(({ name, color }) =>
    element("li", null, swatch(color), shown(name, 40)));
  if (entries.length > NAMES) {
    const rest = formatNumber(entries.length - NAMES);
    items.push(element("li", { class: "soft" }, `and ${rest} more`));
  }
  return element("div", { class: "legend" }, element("span", { class: "soft" }, title),
    element("ul", { class: "key" }, ...items));
}

/**
 * The states of series with this role.
 * @param {Run} run @param {string} role @param {boolean} dark
 */
function states(run, role, dark) {
  /** @type {Map<string, import("./model.js").State>} */
  const found = new Map();
  for (const series of run.series) {
    if (series.kind !== "states" || series.role !== role) continue;
    for (const state of series.states) found.set(state.name, state);
  }
  const ordered = [...found.values()].sort((one, other) => (one.depth ?? 2) - (other.depth ?? 2));
  return ordered.map((state) => ({ name: state.name, color: stateShade(state, dark).css }));
}

/**
 * The tasks that ran longest.
 * @param {Run} run @param {boolean} dark
 */
function tasks(run, dark) {
  const steps = rankings(run, run.fromSec, run.toSec);
  let step = steps.next();
  while (!step.done) step = steps.next();
  const uses = step.value.find(({ title }) => title.startsWith("Tasks"))?.uses ?? [];
  return uses.map(({ name }) => ({ name, color: nameColor(name, dark) }));
}

/**
 * What else is drawn over CPUs.
 * @param {Run} run
 */
function signs(run) {
  const line = element("span", { class: "swatch sign-line", "aria-hidden": "true" });
  const hatched = element("span", { class: "swatch sign-unknown", "aria-hidden": "true" });
  const hasFrequency = run.series.some(({ role }) => role === "frequency");
  return element("div", { class: "legend" }, element("span", { class: "soft" }, "Signs"),
    element("ul", { class: "key" },
      ...(hasFrequency
        ? [element("li", null, line, "frequency, at the top the run's highest")] : []),
      element("li", null, hatched, "nothing known")));
}

/**
 * @param {Run} run
 * @param {View} view
 */
export function showLegend(run, view) {
  /** @type {boolean | undefined} */
  let drawn;
  const draw = () => {
    if (drawn === view.dark) return;
    drawn = view.dark;
    const lines = [
      { title: "Idle states", entries: states(run, "idle", view.dark) },
      { title: "Tasks", entries: tasks(run, view.dark) },
      { title: "Devices", entries: states(run, "deviceState", view.dark) },
    ];
    byId("legend").replaceChildren(...lines.filter(({ entries }) => entries.length > 0)
      .map(({ title, entries }) => line(title, entries)), signs(run));
  };
  view.subscribe(draw);
  draw();
}
