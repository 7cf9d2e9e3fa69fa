// Sums over a window of the run: who used time and energy, which states each CPU was in. These are
// generators, which stop after each series, because a window may be long and the series many.

import { isIdleTask } from "./colors.js";
import { inBase } from "./units.js";

/** @typedef {import("./model.js").Run} Run */
/** @typedef {import("./model.js").Series} Series */
/** @typedef {import("./model.js").State} State */
/** @typedef {{name: string, amount: number}} Use amount in `unit` of its ranking */
/** @typedef {{title: string, unit: string, uses: Use[]}} Ranking the largest first */
/** @typedef {{name: string, index: number, state: State | undefined, seconds: number}} Part */
/**
 * `members`: how many it stands for, whose mean it is.
 * @typedef {{name: string, parts: Part[], unknownSec: number, members: number}} Stack
 */
/** @typedef {{title: string, stacks: Stack[]}} StateGroup */

/** @param {Map<string, number>} amounts @returns {Use[]} */
function ranked(amounts) {
  return [...amounts].filter(([, amount]) => amount > 0)
    .map(([name, amount]) => ({ name, amount })).sort((one, other) => other.amount - one.amount);
}

/** @param {Map<string, number>} sums @param {string} key @param {number} amount */
function add(sums, key, amount) {
  sums.set(key, (sums.get(key) ?? 0) + amount);
}

/** @param {Run} run @param {Series} series the name of what it is about */
function entityName(run, series) {
  return series.aggregate ? series.label : run.entities[series.entity]?.name ?? series.label;
}

/**
 * The time that tasks ran on the traced CPUs, in seconds.
 * @param {Run} run @param {number} fromSec @param {number} toSec
 * @returns {Generator<void, Use[]>}
 */
function* taskTimes(run, fromSec, toSec) {
  const sums = new Map();
  for (const series of run.series.filter(({ role }) => role === "task")) {
    for (const [state, seconds] of series.totals(fromSec, toSec).seconds) {
      const name = series.stateName(state);
      if (!isIdleTask(name)) add(sums, name, seconds * (series.aggregate || 1));
    }
    yield;
  }
  return ranked(sums);
}

/**
 * What each process had of a rate, in the base of its unit ("ms" become s).
 * @param {Run} run @param {string} role @param {number} fromSec @param {number} toSec
 * @returns {Generator<void, {unit: string, uses: Use[]}>}
 */
function* processSums(run, role, fromSec, toSec) {
  const sums = new Map();
  let unit = "";
  for (const series of run.series.filter((one) => one.role === role && one.kind === "value")) {
    const { integral } = series.totals(fromSec, toSec);
    const { value, base } = inBase(integral, series.totalUnit);
    unit = base;
    if (Number.isFinite(value)) add(sums, entityName(run, series), value);
    yield;
  }
  return { unit, uses: ranked(sums) };
}

/**
 * Who used the time and the energy. A ranking that the run has no series for is left out.
 * @param {Run} run @param {number} fromSec @param {number} toSec
 * @returns {Generator<void, Ranking[]>}
 */
export function* rankings(run, fromSec, toSec) {
  const found = [];
  const has = (/** @type {string} */ role) => run.series.some((series) => series.role === role);
  if (has("task")) {
    const uses = yield* taskTimes(run, fromSec, toSec);
    found.push({ title: "Tasks by processor time", unit: "s", uses });
  }
  for (const [role, title] of [["processTime", "Processes by processor time"],
    ["processEnergy", "Processes by energy"]]) {
    if (has(role)) found.push({ title, ...yield* processSums(run, role, fromSec, toSec) });
  }
  return found;
}

/**
 * Awake first, then the deeper the later.
 * @param {Part} one @param {Part} other
 */
const byDepth = (one, other) =>
  (one.state?.depth ?? 2) - (other.state?.depth ?? 2) || one.index - other.index;

/**
 * @param {Run} run @param {Series} series @param {number} fromSec @param {number} toSec
 * @returns {Stack}
 */
function stackOf(run, series, fromSec, toSec) {
  const { seconds } = series.totals(fromSec, toSec);
  /** @type {Part[]} */
  const parts = [];
  let known = 0;
  for (const [state, time] of seconds) {
    if (time <= 0) continue;
    known += time;
    const name = series.stateName(state);
    parts.push({ name, index: state, state: series.states[state], seconds: time });
  }
  parts.sort(byDepth);
  return { name: entityName(run, series), parts, members: series.aggregate || 1,
    unknownSec: Math.max(0, toSec - fromSec - known) };
}

/**
 * The sum of stacks of one group.
 * @param {string} name @param {Stack[]} stacks @returns {Stack}
 */
function together(name, stacks) {
  /** @type {Map<string, Part>} */
  const parts = new Map();
  let [unknownSec, count] = [0, 0];
  for (const stack of stacks) {
    unknownSec += stack.unknownSec * stack.members;
    count += stack.members;
    for (const part of stack.parts) {
      const known = parts.get(part.name) ?? { ...part, seconds: 0 };
      known.seconds += part.seconds * stack.members;
      parts.set(part.name, known);
    }
  }
  return { name, parts: [...parts.values()].sort(byDepth), unknownSec, members: count };
}

/**
 * The states of each CPU and package, a group per metric; of several stacks their sum is first.
 * @param {Run} run @param {number} fromSec @param {number} toSec
 * @returns {Generator<void, StateGroup[]>}
 */
export function* stateGroups(run, fromSec, toSec) {
  /** @type {Map<string, Stack[]>} */
  const groups = new Map();
  for (const series of run.series) {
    const isOfCpus = series.role === "idle" || series.role === "cpuTime";
    if (!isOfCpus || series.kind !== "states") continue;
    const stack = stackOf(run, series, fromSec, toSec);
    groups.set(series.metric, [...groups.get(series.metric) ?? [], stack]);
    yield;
  }
  for (const stacks of groups.values()) {
    stacks.sort((one, other) => one.name.localeCompare(other.name, "en", { numeric: true }));
  }
  return [...groups].map(([title, stacks]) => ({
    title, stacks: stacks.length > 1 ? [together("all", stacks), ...stacks] : stacks,
  }));
}
