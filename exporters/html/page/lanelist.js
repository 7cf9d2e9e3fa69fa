// Which lanes a run has: a tree of packages, cores and CPUs, of devices, processes and events.

import { shown } from "./dom.js";

/** @typedef {import("./model.js").Run} Run */
/** @typedef {import("./model.js").Series} Series */
/** @typedef {import("./model.js").Process} Process */
/**
 * What a lane draws, at most one series of each.
 * @typedef {{task?: Series, idle?: Series, cpuTime?: Series, frequency?: Series, states?: Series,
 *   events?: Series, processTime?: Series, processEnergy?: Series, process?: Process}} Parts
 */
/**
 * `level` is that of the entity, or "section" of a line that only heads others. `cpus` are the
 * lanes below that an aggregate is of.
 * @typedef {{id: string, label: string, detail: string, level: string, parts: Parts,
 *   children: Lane[], parent: Lane|null, depth: number, words: string, cpus: Lane[],
 *   folded: boolean}} Lane
 */

const processorRoles = ["task", "idle", "cpuTime", "frequency"];
const processorLevels = ["package", "die", "core", "cpu"];
/** So many processes stand open; the others are folded. */
const openProcesses = 12;
/** So many lanes of states of devices, or so, stand open. */
const openStates = 16;
/** More CPUs than these begin folded to their packages. */
const openCpus = 64;

/**
 * @param {string} id @param {string} label @param {string} level
 * @param {Partial<Lane>} rest @returns {Lane}
 */
function makeLane(id, label, level, rest = {}) {
  return { id, label: shown(label, 80), detail: "", level, parts: {}, children: [], parent: null,
    depth: 0, words: label, cpus: [], folded: false, ...rest };
}

/**
 * What a search finds a series by.
 * @param {Series} series
 */
const wordsOf = ({ label, metric, feature, descriptor }) =>
  `${label} ${metric} ${feature} ${descriptor}`;

/** @param {Run} run @param {Series} series */
function isProcessorSeries(run, series) {
  const entity = run.entities[series.entity];
  return entity !== undefined && processorLevels.includes(entity.level) &&
    (series.kind === "states" || (series.role === "frequency" && series.kind === "value"));
}

/**
 * Idle states that are known for most of the run come first: what was traced may begin late.
 * @param {Run} run @param {Series[]} series of one entity
 */
function bestFirst(run, series) {
  const idle = series.filter(({ role }) => role === "idle");
  if (idle.length < 2) return series;
  // In quarters of the run.
  const known = (/** @type {Series} */ one) =>
    Math.round((4 * one.totals(run.fromSec, run.toSec).coveredSec) / (run.toSec - run.fromSec));
  const ranked = idle.map((one) => ({ one, known: known(one) }))
    .sort((a, b) => b.known - a.known || b.one.points - a.one.points).map(({ one }) => one);
  return [...ranked, ...series.filter(({ role }) => role !== "idle")];
}

/**
 * The first series of each role are the lane's own, further ones are lanes below it, folded.
 * @param {Lane} lane @param {Series[]} series
 */
function giveSeries(lane, series) {
  for (const one of series) {
    const role = /** @type {"task"|"idle"|"cpuTime"|"frequency"} */ (one.role);
    const fits = role === "frequency" ? one.kind === "value" : one.kind === "states";
    if (processorRoles.includes(role) && fits && !lane.parts[role]) {
      lane.parts[role] = one;
      lane.words += ` ${wordsOf(one)}`;
    } else lane.children.push(seriesLane(one, one.metric));
  }
  lane.folded = lane.level === "cpu";
}

/**
 * A lane of one series.
 * @param {Series} series @param {string} label
 */
function seriesLane(series, label) {
  const parts = series.kind === "events" ? { events: series }
    : series.kind === "states" ? { states: series } : { frequency: series };
  return makeLane(`series ${series.index}`, label, "series",
    { parts, words: `${label} ${wordsOf(series)}` });
}

/** @param {Run} run @returns {Lane[]} */
function processorLanes(run) {
  const own = new Map();
  for (const series of run.series.filter((one) => isProcessorSeries(run, one))) {
    own.set(series.entity, [...own.get(series.entity) ?? [], series]);
  }
  /** @type {Map<number, Lane>} */
  const lanes = new Map();
  /** @type {Lane[]} */
  const roots = [];
  /** @param {number} index @returns {Lane} */
  const laneOf = (index) => {
    const known = lanes.get(index);
    if (known) return known;
    const entity = run.entities[index];
    const lane = makeLane(`entity ${index}`, entity.name, entity.level,
      { words: `${entity.path} ${entity.level}` });
    lanes.set(index, lane);
    const parent = run.entities[entity.parent];
    if (parent && processorLevels.includes(parent.level)) laneOf(parent.index).children.push(lane);
    else roots.push(lane);
    return lane;
  };
  const indices = [...own.keys()].sort((a, b) => a - b);
  for (const index of indices) giveSeries(laneOf(index), bestFirst(run, own.get(index)));
  return roots.map(simplified);
}

const natural = new Intl.Collator("en", { numeric: true });
/** @param {Lane} one @param {Lane} other */
const byName = (one, other) => natural.compare(one.label, other.label);

/**
 * Cores and dies of one CPU that have nothing of their own are left out.
 * @param {Lane} lane @returns {Lane}
 */
function simplified(lane) {
  const own = lane.children.filter(({ level }) => level === "series");
  const below = lane.children.filter(({ level }) => level !== "series").map(simplified);
  lane.children = [...own, ...below.sort(byName)];
  const isPlain = Object.keys(lane.parts).length === 0 && lane.children.length === 1;
  if (isPlain && (lane.level === "core" || lane.level === "die")) {
    const [only] = lane.children;
    only.words += ` ${lane.label}`;
    return only;
  }
  return lane;
}

/**
 * Lanes of states in a section; of several metrics, one for each of these.
 * @param {string} title @param {Map<string, Lane[]>} metrics
 */
function statesSection(title, metrics) {
  const all = [...metrics.values()].flat();
  if (metrics.size === 1) return sectionOf(title, all);
  if (all.length <= 8) {
    metrics.forEach((lanes, metric) => {
      for (const lane of lanes) lane.detail = shown(metric, 60);
    });
    return sectionOf(title, all);
  }
  let open = 0;
  return sectionOf(title, [...metrics].map(([metric, lanes]) => {
    open += lanes.length;
    const folded = open > openStates;
    return sectionOf(metric, lanes, { id: `section ${title} ${metric}`, folded });
  }));
}

/** @param {Run} run @param {Series[]} taken @returns {Lane[]} */
function stateLanes(run, taken) {
  const rest = run.series.filter((one) => one.kind === "states" && !taken.includes(one));
  /** @type {Map<string, Map<string, Lane[]>>} */
  const sections = new Map();
  for (const series of rest) {
    const entity = run.entities[series.entity];
    const isDevice = entity?.level === "device" || series.role === "deviceState";
    const title = isDevice ? "Devices" : "States";
    const lane = seriesLane(series, entity && !series.aggregate ? entity.name : series.label);
    const metrics = sections.get(title) ?? new Map();
    sections.set(title, metrics.set(series.metric, [...metrics.get(series.metric) ?? [], lane]));
  }
  return [...sections].map(([title, metrics]) => statesSection(title, metrics));
}

/** @param {Run} run @returns {Lane[]} */
function eventLanes(run) {
  const lanes = run.series.filter(({ kind }) => kind === "events")
    .map((series) => seriesLane(series, series.label));
  return lanes.length > 0 ? [sectionOf("Events", lanes)] : [];
}

/** @param {Run} run @returns {Lane[]} */
function processLanes(run) {
  const byEntity = (/** @type {string} */ role) => new Map(run.series
    .filter((one) => one.role === role && one.kind === "value" && one.entity >= 0)
    .map((one) => [one.entity, one]));
  const [times, energies] = [byEntity("processTime"), byEntity("processEnergy")];
  const lanes = run.processes.map((process, index) => {
    const [processTime, processEnergy] = [times, energies].map((of) => of.get(process.entity));
    const parts = { process, ...(processTime && { processTime }),
      ...(processEnergy && { processEnergy }) };
    return makeLane(`process ${index}`, process.name || `PID ${process.pid}`, "process", { parts,
      detail: process.pid >= 0 && process.name ? `PID ${process.pid}` : "",
      words: `${process.name} ${process.pid} process` });
  });
  if (lanes.length === 0) return [];
  const rest = lanes.splice(openProcesses + 3 < lanes.length ? openProcesses : lanes.length);
  if (rest.length > 0) {
    lanes.push(sectionOf("Others", rest, { id: "section other processes", folded: true }));
  }
  return [sectionOf("Processes", lanes)];
}

/** @param {string} label @param {Lane[]} children @param {Partial<Lane>} rest */
function sectionOf(label, children, rest = {}) {
  return makeLane(`section ${label}`, label, "section", { children, ...rest });
}

/**
 * The lanes of CPUs below one.
 * @param {Lane} lane @returns {Lane[]}
 */
function cpusBelow(lane) {
  return lane.children.flatMap((child) => (child.level === "cpu" ? [child] : cpusBelow(child)));
}

/** @param {Lane[]} lanes @param {Lane|null} parent */
function link(lanes, parent) {
  for (const lane of lanes) {
    lane.parent = parent;
    lane.depth = parent ? parent.depth + 1 : 0;
    lane.words = lane.words.toLowerCase();
    lane.cpus = cpusBelow(lane);
    link(lane.children, lane);
  }
}

/**
 * The lanes of a run, as a tree.
 * @param {Run} run @returns {Lane[]}
 */
export function lanesOf(run) {
  const processors = processorLanes(run);
  const loose = processors.filter(({ level }) => level === "cpu").sort(byName);
  const grouped = processors.filter(({ level }) => level !== "cpu").sort(byName);
  const cpus = loose.length > 1 ? [...grouped, makeLane("section CPUs", "CPUs", "package",
    { children: loose })] : processors;
  const taken = run.series.filter((one) => isProcessorSeries(run, one));
  const roots = [...cpus, ...stateLanes(run, taken), ...processLanes(run), ...eventLanes(run)];
  link(roots, null);
  const count = cpus.reduce((sum, lane) => sum + lane.cpus.length, 0);
  if (count > openCpus) for (const lane of cpus) lane.folded = true;
  return roots;
}

/**
 * The series of a lane.
 * @param {Lane} lane @returns {Series[]}
 */
export const seriesOf = ({ parts }) => [parts.task, parts.idle, parts.cpuTime, parts.frequency,
  parts.states, parts.events, parts.processTime, parts.processEnergy].flatMap((one) => one ?? []);

/**
 * The series that the lanes draw; the others are for the line plots.
 * @param {Lane[]} lanes @returns {Set<Series>}
 */
export function shownInLanes(lanes) {
  const found = new Set();
  const gather = (/** @type {Lane} */ lane) => {
    for (const series of seriesOf(lane)) found.add(series);
    lane.children.forEach(gather);
  };
  lanes.forEach(gather);
  return found;
}
