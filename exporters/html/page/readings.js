// What lanes say in words: at a moment, and over the window.

import { isIdleTask } from "./colors.js";
import { formatTime } from "./axis.js";
import { shown } from "./dom.js";
import { exactValue, formatShare, formatSpan, formatValue } from "./units.js";

/** @typedef {import("./lanelist.js").Lane} Lane */
/** @typedef {import("./model.js").Series} Series */
/** @typedef {import("./model.js").Reading} Reading */

const titles = {
  task: "Task", idle: "Idle state", cpuTime: "Processor time", frequency: "Frequency",
  states: "State", events: "Event", processTime: "Processor time", processEnergy: "Energy" };
/** @typedef {keyof typeof titles} PartName */

/** @param {Lane} lane @returns {[PartName, Series][]} */
const partsOf = ({ parts }) => /** @type {[PartName, Series][]} */ (
  Object.entries(parts).filter(([name]) => name in titles));

/** @param {Reading} reading */
function spanText({ fromSec, toSec, binned }) {
  if (toSec <= fromSec) return formatTime(fromSec, 1e-6);
  const step = Math.max(1e-9, (toSec - fromSec) / 100);
  const [from, to] = [fromSec, toSec].map((sec) => formatTime(sec, step));
  return `${binned ? "bin of " : ""}${from} to ${to}, ${formatSpan(toSec - fromSec)}`;
}

/** @param {Series} series @param {{state: number, share: number}[]} shares @param {number} most */
function sharesText(series, shares, most) {
  const told = shares.slice(0, most).map(({ state, share }) =>
    `${shown(series.stateName(state), 60)} ${formatShare(share)}`);
  return told.join(", ") + (shares.length > most ? ` and ${shares.length - most} more` : "");
}

/**
 * The value alone.
 * @param {Series} series @param {Reading} reading
 */
function valueText(series, reading) {
  const { unit, totalUnit } = series;
  if (reading.value !== undefined) {
    const total = reading.total === undefined || totalUnit === "" ? ""
      : ` (${formatValue(reading.total, totalUnit)})`;
    return exactValue(reading.value, unit) + total;
  }
  if (reading.mean !== undefined) {
    const [low, mean, high] = [reading.minimum, reading.mean, reading.maximum].map((one) =>
      formatValue(one ?? NaN, unit));
    return `minimum ${low}, mean ${mean}, maximum ${high}`;
  }
  if (reading.state !== undefined) return shown(series.stateName(reading.state), 120);
  if (reading.shares) return sharesText(series, reading.shares, 8) || "unknown";
  if (reading.count !== undefined) return `${Math.round(reading.count)} events`;
  return shown(reading.text ?? "", 400);
}

/**
 * How many of the CPUs below a lane were in which state, shares of them where these are samples.
 * @param {Lane} lane @param {number} sec
 */
function cpuCounts(lane, sec) {
  /** @type {Map<string, number>} */
  const counts = new Map();
  const add = (/** @type {string} */ name, /** @type {number} */ share) =>
    counts.set(name, (counts.get(name) ?? 0) + share);
  for (const { parts } of lane.cpus) {
    const series = parts.idle ?? parts.task ?? parts.cpuTime;
    const reading = series?.at(sec);
    if (!series || !reading) add("unknown", 1);
    else {
      const shares = reading.shares ?? [{ state: reading.state ?? -1, share: 1 }];
      for (const { state, share } of shares) {
        const { name, depth } = series.states[state] ?? { name: "others", depth: null };
        const rests = isIdleTask(name) || (depth ?? 0) > 0;
        add(rests ? shown(name, 40) : "busy", share);
      }
    }
  }
  return counts;
}

/** @param {number} count */
const countText = (count) => String(Number(count.toFixed(1)));

/** @param {Lane} lane @param {number} sec */
function cpusText(lane, sec) {
  const told = [...cpuCounts(lane, sec)].sort((a, b) => b[1] - a[1])
    .map(([name, count]) => `${countText(count)} ${name}`);
  return `${told.join(", ")} of ${lane.cpus.length} CPUs`;
}

/**
 * Whether a lane shows the average of its CPUs.
 * @param {Lane} lane
 */
export const showsAverage = (lane) => lane.cpus.length > 0 &&
  (lane.folded || Object.keys(lane.parts).length === 0);

/**
 * What a lane says of a moment, a line each.
 * @param {Lane} lane @param {number} sec @param {number} withinSec how far events may be
 * @returns {{title: string, text: string, span: string}[]}
 */
export function readingsAt(lane, sec, withinSec) {
  if (showsAverage(lane)) return [{ title: "CPUs", text: cpusText(lane, sec), span: "" }];
  const lines = partsOf(lane).map(([name, series]) => {
    const reading = series.at(sec, withinSec);
    const title = name === "states" || name === "events" ? shown(series.metric, 60) : titles[name];
    return { title, text: reading ? valueText(series, reading) : "no data",
      span: reading ? spanText(reading) : "" };
  });
  const { process } = lane.parts;
  if (process) {
    const [from, to] = [process.fromSec, process.toSec].map((one) =>
      (one === null ? "" : formatTime(one, 1e-3)));
    const text = `${from ? `from ${from}` : "since before"} ${to ? `to ${to}` : "on"}`;
    lines.unshift({ title: "Lifetime", text, span: "" });
  }
  return lines;
}

/**
 * The same in a word or two, for the label of a lane.
 * @param {Lane} lane @param {number} sec
 */
export function shortReading(lane, sec) {
  if (showsAverage(lane)) {
    return `${countText(cpuCounts(lane, sec).get("busy") ?? 0)} of ${lane.cpus.length} busy`;
  }
  const { task, idle, cpuTime, frequency, states, processTime } = lane.parts;
  const running = task?.at(sec);
  const isRunning = running && !isIdleTask(task?.stateName(running.state ?? -1) ?? "idle");
  const first = isRunning ? task : idle ?? cpuTime ?? states ?? processTime ?? task;
  const told = [first, frequency].flatMap((series) => {
    const reading = series?.at(sec);
    if (!series || !reading) return [];
    const [longest] = reading.shares ?? [];
    if (reading.shares) return longest ? [sharesText(series, [longest], 1)] : [];
    const value = reading.value ?? reading.mean;
    return [value === undefined ? valueText(series, reading) : formatValue(value, series.unit)];
  });
  return told.join(" · ");
}

/**
 * What a lane shows, for those who do not see it.
 * @param {Lane} lane @param {number} fromSec @param {number} toSec
 */
export function summaryOf(lane, fromSec, toSec) {
  const told = partsOf(lane).map(([name, series]) => {
    const totals = series.totals(fromSec, toSec);
    if (series.kind === "events") return `${Math.round(totals.count)} events`;
    if (series.kind === "states") {
      const shares = [...totals.seconds].sort((a, b) => b[1] - a[1]).map(([state, sec]) =>
        ({ state, share: sec / (toSec - fromSec) }));
      return `${titles[name]} ${shares.length > 0 ? sharesText(series, shares, 4) : "unknown"}`;
    }
    return `${titles[name]} ${formatValue(totals.minimum, series.unit)} to ${
      formatValue(totals.maximum, series.unit)}, mean ${formatValue(totals.mean, series.unit)}`;
  });
  if (showsAverage(lane)) told.push(`average of ${lane.cpus.length} CPUs`);
  return `${lane.label}${lane.detail && ` (${lane.detail})`}: ${told.join("; ") || "its lifetime"}`;
}
