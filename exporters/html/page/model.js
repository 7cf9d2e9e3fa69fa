// The run as the page's parts see it: facts with defaults for what is absent, and series that
// answer questions about any window. Whatever else the document says
// does not make it throw.

import { columnReader } from "./columns.js";
import { exactValues } from "./exactvalues.js";
import { exactStates } from "./exactstates.js";
import { exactEvents } from "./events.js";
import { binnedEvents, binnedStates, binnedValues } from "./binned.js";

/**
 * `depth`: 0 awake ... 1 deepest, null no idle state; `apart`: one of several that are awake.
 * @typedef {{name: string, depth: number|null, apart: boolean}} State
 */
/** @typedef {{index: number, name: string, path: string, parent: number, level: string}} Entity */
/**
 * @typedef {{entity: number, pid: number, name: string, fromSec: number|null,
 *   toSec: number|null}} Process
 */
/** @typedef {{group: string, name: string, value: string}} Fact */
/**
 * @typedef {{feature: string, title: string, notes: string[],
 *   columns: {name: string, numeric: boolean}[], rows: (string|number|null)[][]}} Table
 */
/**
 * Bins of one width; the run is at its end `end` bins behind its begin.
 * @typedef {{binSec: number, fromSec: number, end: number}} Level
 */
/** NaN where nothing is known. Rates are in the unit of the rate. */
/** @typedef {{minimum: Float64Array, mean: Float64Array, maximum: Float64Array}} ValueColumns */
/** @typedef {import("./shares.js").StateColumns} StateColumns */
/**
 * What is known of one moment: of a value `value` (of a rate also the growth, in the total's unit)
 * or, of a bin, minimum, mean and maximum; of states `state` or `shares`; of events `text`, or the
 * `count` of a bin.
 * @typedef {{fromSec: number, toSec: number, binned?: boolean, value?: number, total?: number,
 *   minimum?: number, mean?: number, maximum?: number, covered?: number, state?: number,
 *   shares?: {state: number, share: number}[], text?: string, count?: number}} Reading
 */
/**
 * What is known of a window. `integral` is that of the rate, in the total's unit, or value times
 * seconds; `seconds` are those of each state's index; `count` that of samples, events or bins.
 * @typedef {{integral: number, coveredSec: number, minimum: number, mean: number, maximum: number,
 *   seconds: Map<number, number>, count: number}} Totals
 */
/**
 * Values have columns, states have shares (`into`: those of before, which are used again), events
 * have counts; all have the rest.
 * @typedef {{
 *   columns?: (fromSec: number, toSec: number, count: number, into?: ValueColumns) => ValueColumns,
 *   shares?: (fromSec: number, toSec: number, count: number, into?: StateColumns) => StateColumns,
 *   counts?: (fromSec: number, toSec: number, count: number) => Float64Array,
 *   at: (sec: number, withinSec?: number) => Reading|null,
 *   totals: (fromSec: number, toSec: number) => Totals}} Queries
 */
/**
 * @typedef {{index: number, metric: string, feature: string, entity: number, descriptor: string,
 *   label: string, unit: string, totalUnit: string, kind: "value"|"states"|"events", role: string,
 *   rate: boolean, factor: number, totalFactor: number, points: number, sum: number, mean: number,
 *   minimum: number, maximum: number, aggregate: number, states: State[]}} SeriesFacts
 */
/** @typedef {SeriesFacts & Queries & {stateName: (state: number) => string}} Series */
/**
 * @typedef {{ticksPerSec: number, lastTick: number,
 *   span: (from: number, to: number) => {fromSec: number, toSec: number}}} Clock
 */
/**
 * What the queries of a series are made of.
 * @typedef {{read: import("./columns.js").ColumnReader, data: any, facts: SeriesFacts,
 *   clock: Clock, levels: Level[]}} SeriesSource
 */
/**
 * @typedef {{title: string, durationSec: number, fromSec: number, toSec: number,
 *   startUnixNs: bigint|null, mode: "exact"|"binned", facts: Fact[], warnings: string[],
 *   entities: Entity[], processes: Process[], series: Series[], tables: Table[],
 *   levels: Level[]}} Run
 */

const levelNames = ["package", "die", "core", "cpu", "device", "process"];
const kinds = ["value", "states", "events"];

/** @param {any} value @returns {any[]} */
const listOf = (value) => (Array.isArray(value) ? value.filter((one) => one !== undefined) : []);
/** @param {any} value */
const textOf = (value) => (value === undefined || value === null ? "" : String(value));
/** @param {any} value @param {number} otherwise */
const numberOf = (value, otherwise) =>
  typeof value === "number" && Number.isFinite(value) ? value : otherwise;
/** @param {any} value @returns {number|null} */
const numberOrNull = (value) => (numberOf(value, NaN) === value ? value : null);
/** @param {any} value @param {number} size of the list that it points into */
const indexOf = (value, size) =>
  Number.isInteger(value) && value >= 0 && value < size ? value : -1;

/** @param {any} json @returns {Entity[]} */
function entitiesOf(json) {
  const list = listOf(json);
  return list.map((entity, index) => ({
    index, name: textOf(entity?.name), path: textOf(entity?.path ?? entity?.name),
    // A parent stands before its children, which rules circles out.
    parent: indexOf(entity?.parent, index),
    level: levelNames.includes(entity?.level) ? entity.level : "other",
  }));
}

/** @param {any} json @param {number} entities @returns {Process[]} */
const processesOf = (json, entities) => listOf(json).map((process) => ({
  entity: indexOf(process?.entity, entities), pid: numberOf(process?.pid, -1),
  name: textOf(process?.name), fromSec: numberOrNull(process?.fromSec),
  toSec: numberOrNull(process?.toSec),
}));

/** @param {any} json @returns {Table[]} */
const tablesOf = (json) => listOf(json).map((table) => ({
  feature: textOf(table?.feature), title: textOf(table?.title),
  notes: listOf(table?.notes).map(textOf),
  columns: listOf(table?.columns).map((column) => ({
    name: textOf(column?.name), numeric: column?.numeric === true })),
  rows: listOf(table?.rows).map((row) => listOf(row).map((cell) =>
    typeof cell === "number" || cell === null ? cell : textOf(cell))),
}));

/** @param {any} json @returns {State[][]} */
const stateSetsOf = (json) => listOf(json).map((states) => {
  const several = listOf(states).filter((state) => state?.depth === 0).length > 1;
  return listOf(states).map((state) => ({ name: textOf(state?.name),
    depth: numberOrNull(state?.depth), apart: several && state?.depth === 0 }));
});

/** @param {any} data @param {number} toSec @returns {Level[]} */
function levelsOf(data, toSec) {
  const fromSec = numberOf(data?.fromSec, 0);
  const levels = listOf(data?.levels).map((level) => {
    const binSec = numberOf(level?.binSec, 0);
    const bins = Math.max(0, numberOf(level?.bins, 0));
    return { fromSec, binSec, end: Math.max(0, Math.min(bins, (toSec - fromSec) / binSec)) };
  });
  return levels.every(({ binSec }) => binSec > 0) ? levels : [];
}

/**
 * @param {any} json @param {number} index @param {number} entities @param {State[][]} stateSets
 * @returns {SeriesFacts}
 */
function seriesFacts(json, index, entities, stateSets) {
  return {
    index, metric: textOf(json?.metric), feature: textOf(json?.feature),
    entity: indexOf(json?.entity, entities), descriptor: textOf(json?.descriptor),
    label: textOf(json?.label ?? json?.metric), unit: textOf(json?.unit),
    totalUnit: textOf(json?.totalUnit), kind: kinds.includes(json?.kind) ? json.kind : "value",
    role: textOf(json?.role ?? "other"), rate: json?.rate === true,
    factor: numberOf(json?.factor, 1) || 1, totalFactor: numberOf(json?.totalFactor, 1) || 1,
    points: numberOf(json?.points, 0), sum: numberOf(json?.sum, NaN),
    mean: numberOf(json?.mean, NaN), minimum: numberOf(json?.minimum, NaN),
    maximum: numberOf(json?.maximum, NaN), aggregate: numberOf(json?.aggregate, 0),
    states: stateSets[json?.states] ?? [],
  };
}

const makers = {
  exact: { value: exactValues, states: exactStates, events: exactEvents },
  binned: { value: binnedValues, states: binnedStates, events: binnedEvents },
};

/**
 * The queries of a series, made when the first question is asked: most series of a long list are
 * never on the screen.
 * @param {() => Queries} make @param {"value"|"states"|"events"} kind
 * @returns {Queries}
 */
function whenAsked(make, kind) {
  /** @type {any} */
  let made = null;
  const queries = () => (made ??= make());
  /** @param {string} name */
  const ask = (name) => (/** @type {any[]} */ ...args) => queries()[name](...args);
  const own = { value: "columns", states: "shares", events: "counts" }[kind];
  return { at: ask("at"), totals: ask("totals"), [own]: ask(own) };
}

/**
 * @param {any} json What the document's block "run" says.
 * @param {ArrayBuffer} buffer The points.
 * @returns {Run} Throws an Error for people if the run is of another format.
 */
export function openRun(json, buffer) {
  if ((json?.format ?? 1) !== 1) throw new Error(`the run is of an unknown format: ${json.format}`);
  const ticksPerSec = numberOf(json?.clockMHz, 1000) * 1e6 || 1e9;
  const durationSec = Math.max(0, numberOf(json?.durationSec, 0));
  const toSec = Math.max(durationSec, 1e-6);
  const mode = json?.data?.mode === "binned" ? "binned" : "exact";
  const levels = levelsOf(json?.data, toSec);
  const entities = entitiesOf(json?.entities);
  const stateSets = stateSetsOf(json?.stateSets);
  const read = columnReader(buffer);
  const clock = { ticksPerSec, lastTick: toSec * ticksPerSec,
    span: (/** @type {number} */ from, /** @type {number} */ to) =>
      ({ fromSec: from / ticksPerSec, toSec: to / ticksPerSec }) };
  return {
    title: textOf(json?.title), durationSec, mode, levels, entities,
    fromSec: Math.min(0, numberOf(json?.data?.fromSec, 0)), toSec,
    startUnixNs: /^\d+$/.test(textOf(json?.startUnixNs)) ? BigInt(json.startUnixNs) : null,
    facts: listOf(json?.facts).map((fact) => ({
      group: textOf(fact?.group), name: textOf(fact?.name), value: textOf(fact?.value) })),
    warnings: listOf(json?.warnings).map(textOf),
    processes: processesOf(json?.processes, entities.length),
    tables: tablesOf(json?.tables),
    series: listOf(json?.series).map((one, index) => {
      const facts = seriesFacts(one, index, entities.length, stateSets);
      const data = one?.data ?? {};
      const make = () => makers[mode][facts.kind]({ read, data, facts, clock, levels });
      return { ...facts, ...whenAsked(make, facts.kind),
        stateName: (/** @type {number} */ state) => facts.states[state]?.name ?? "others" };
    }),
  };
}
