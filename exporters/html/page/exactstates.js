// States that are stored as they are: traced, one per interval, or sampled, their ticks in each.

import { forEachColumn, inOrder, indexAt, indicesWithin, intervalsOf, overlapOf }
  from "./intervals.js";
import { emptyShares, sharesOf, takeLargest } from "./shares.js";
import { noTotals } from "./exactvalues.js";

/** @typedef {import("./intervals.js").Intervals} Intervals */
/**
 * Adds the ticks of states in intervals [low, high), a part (0 ... 1) of each.
 * @typedef {(into: Float64Array, low: number, high: number, part: number) => void} AddIntervals
 */

/**
 * @param {Intervals} intervals @param {import("./columns.js").Numbers} state @param {number} states
 * @returns {AddIntervals}
 */
function tracedAdder({ start, end }, state, states) {
  const known = new Uint16Array(start.length).fill(states);
  const told = Math.min(state.length, start.length);
  for (let i = 0; i < told; i++) known[i] = Math.min(state[i], states);
  return (into, low, high, part) => {
    for (let i = low; i < high; i++) into[known[i]] += (end[i] - start[i]) * part;
  };
}

/** @param {import("./columns.js").Numbers[]} ticks of each state @returns {AddIntervals} */
function sampledAdder(ticks) {
  return (into, low, high, part) => {
    for (let s = 0; s < ticks.length; s++) {
      const own = ticks[s];
      let sum = 0;
      for (let i = low; i < high; i++) sum += own[i];
      into[s] += sum * part;
    }
  };
}

/** @param {import("./model.js").SeriesSource} source @param {Intervals} intervals */
function adder({ read, data, facts }, intervals) {
  const states = facts.states.length;
  const { start, order } = intervals;
  if (!Array.isArray(data.ticks)) {
    return tracedAdder(intervals, inOrder(read(data.state), order), states);
  }
  return sampledAdder(data.ticks.slice(0, states).map((/** @type {any} */ column) => {
    const ticks = inOrder(read(column), order);
    return ticks.length < start.length ? new Float64Array(start.length) : ticks;
  }));
}

/**
 * Sums of all intervals before each block of them, so that a wide column costs two looks at these
 * and the intervals at its borders. Blocks grow with the number of states, and the memory does not.
 * @param {number} intervals @param {number} width of the sums @param {AddIntervals} add
 */
function blockSums(intervals, width, add) {
  const block = Math.max(16, 2 * width);
  const sums = new Float64Array((Math.floor(intervals / block) + 1) * width);
  const sum = new Float64Array(width);
  for (let i = 0; i * width < sums.length; i++) {
    sums.set(sum, i * width);
    add(sum, i * block, Math.min((i + 1) * block, intervals), 1);
  }
  return { block, sums };
}

/**
 * Adds up the ticks of states in a range of intervals: those at its ends in part, those between by
 * whole blocks where there are many.
 * @param {Intervals} intervals @param {number} width @param {AddIntervals} add
 */
function collector(intervals, width, add) {
  const { start, end } = intervals;
  const parts = new Float64Array(width);
  /** @type {ReturnType<typeof blockSums>|null} */
  let blocks = null;

  /** @param {number} i @param {number} from @param {number} to */
  const addOverlap = (i, from, to) => {
    const length = end[i] - start[i];
    if (length > 0) add(parts, i, i + 1, overlapOf(intervals, i, from, to) / length);
  };
  /** @param {number} low @param {number} high */
  const addWhole = (low, high) => {
    blocks ??= blockSums(start.length, width, add);
    const { block, sums } = blocks;
    const first = Math.ceil(low / block);
    const last = Math.floor(high / block);
    if (last <= first) {
      add(parts, low, high, 1);
      return;
    }
    add(parts, low, first * block, 1);
    for (let s = 0; s < width; s++) parts[s] += sums[last * width + s] - sums[first * width + s];
    add(parts, last * block, high, 1);
  };
  return {
    parts,
    /** @param {number} low @param {number} high @param {number} from @param {number} to */
    collect(low, high, from, to) {
      addOverlap(low, from, to);
      if (high - low > 2) addWhole(low + 1, high - 1);
      if (high - low > 1) addOverlap(high - 1, from, to);
    },
  };
}

/**
 * @param {import("./model.js").SeriesSource} source
 * @returns {import("./model.js").Queries}
 */
export function exactStates(source) {
  const { read, data, facts, clock } = source;
  const { ticksPerSec } = clock;
  const intervals = intervalsOf(read(data.start), read(data.length), clock.lastTick);
  const add = adder(source, intervals);
  const { parts, collect } = collector(intervals, facts.states.length + 1, add);
  const isSampled = Array.isArray(data.ticks);

  return {
    shares(fromSec, toSec, count, into) {
      const result = emptyShares(count, facts.states.length, into);
      forEachColumn(intervals, fromSec * ticksPerSec, toSec * ticksPerSec, count,
        (column, low, high, from, to) => {
          collect(low, high, from, to);
          takeLargest(result, column, parts, to - from);
        });
      return result;
    },
    at(sec) {
      const i = indexAt(intervals, sec * ticksPerSec);
      if (i < 0) return null;
      const [from, to] = [intervals.start[i], intervals.end[i]];
      add(parts, i, i + 1, 1);
      const shares = sharesOf(parts, to - from);
      parts.fill(0);
      return { ...clock.span(from, to),
        ...(isSampled || shares.length === 0 ? { shares } : { state: shares[0].state }) };
    },
    totals(fromSec, toSec) {
      const [from, to] = [fromSec * ticksPerSec, toSec * ticksPerSec];
      const [low, high] = indicesWithin(intervals, from, to);
      if (low < high) collect(low, high, from, to);
      const totals = secondsOf(parts, ticksPerSec);
      parts.fill(0);
      return { ...totals, count: high - low };
    },
  };
}

/**
 * @param {Float64Array} parts Time of each state. @param {number} perSec
 * @returns {import("./model.js").Totals}
 */
export function secondsOf(parts, perSec) {
  const seconds = new Map();
  let coveredSec = 0;
  parts.forEach((part, state) => {
    if (part > 0) seconds.set(state, part / perSec);
    coveredSec += part / perSec;
  });
  return { ...noTotals(), seconds, coveredSec };
}
