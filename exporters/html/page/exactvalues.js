// Values that are stored as they are: lowest, mean and highest per column of pixels.

import { extremesOf, widen, widenByGroups } from "./extremes.js";
import { forEachColumn, inOrder, indexAt, indicesWithin, intervalsOf, overlapOf }
  from "./intervals.js";

/** @typedef {import("./intervals.js").Intervals} Intervals */
/** @typedef {import("./model.js").ValueColumns} ValueColumns */

// So many intervals of one column are cheaper to look at than the summary of many.
const few = 24;

/**
 * Sums before each index of value times ticks, and of ticks.
 * @param {Intervals} intervals @param {Float64Array} values
 */
function sumsOf({ start, end }, values) {
  const weighted = new Float64Array(values.length + 1);
  const covered = new Float64Array(values.length + 1);
  for (let i = 0; i < values.length; i++) {
    const ticks = values[i] === values[i] ? end[i] - start[i] : 0;
    weighted[i + 1] = weighted[i] + (ticks > 0 ? values[i] * ticks : 0);
    covered[i + 1] = covered[i] + ticks;
  }
  return { weighted, covered };
}

/** @param {import("./model.js").SeriesSource} source @param {Intervals} intervals */
function valuesOf({ read, data, facts, clock }, { start, end, order }) {
  const raw = inOrder(read(data.value), order);
  const values = new Float64Array(start.length);
  for (let i = 0; i < values.length; i++) {
    const value = i < raw.length ? raw[i] * facts.factor : NaN;
    const rate = (value / (end[i] - start[i])) * clock.ticksPerSec;
    values[i] = !facts.rate ? value : Number.isFinite(rate) ? rate : NaN;
  }
  return { raw, values };
}

/**
 * Summarises the intervals [low, high) within [from, to), in one object that is used again.
 * @param {Intervals} intervals @param {Float64Array} values
 */
function summariser(intervals, values) {
  const one = { covered: 0, weighted: 0, minimum: NaN, mean: NaN, maximum: NaN };
  const whole = { low: values, high: values };
  /** @type {(ReturnType<typeof sumsOf> & {extremes: import("./extremes.js").Extremes[]})|null} */
  let many = null;

  /** @param {number} i @param {number} from @param {number} to */
  const add = (i, from, to) => {
    const ticks = values[i] === values[i] ? overlapOf(intervals, i, from, to) : 0;
    one.covered += ticks;
    if (ticks > 0) one.weighted += ticks * values[i];
  };
  /** @param {number} low @param {number} high */
  const addMany = (low, high) => {
    many ??= { ...sumsOf(intervals, values), extremes: extremesOf(values) };
    one.covered += many.covered[high] - many.covered[low];
    one.weighted += many.weighted[high] - many.weighted[low];
    widenByGroups(one, many.extremes, low, high);
  };
  return (/** @type {number} */ low, /** @type {number} */ high, /** @type {number} */ from,
    /** @type {number} */ to) => {
    Object.assign(one, { covered: 0, weighted: 0, minimum: Infinity, maximum: -Infinity });
    if (high - low > few) {
      add(low, from, to);
      add(high - 1, from, to);
      addMany(low + 1, high - 1);
      widen(one, whole, low, low + 1);
      widen(one, whole, high - 1, high);
    } else {
      for (let i = low; i < high; i++) add(i, from, to);
      widen(one, whole, low, high);
    }
    if (one.minimum > one.maximum) one.minimum = one.maximum = NaN;
    one.mean = one.covered > 0 ? one.weighted / one.covered : (one.minimum + one.maximum) / 2;
    return one;
  };
}

/**
 * @param {import("./model.js").SeriesSource} source
 * @returns {import("./model.js").Queries}
 */
export function exactValues(source) {
  const { read, data, facts, clock } = source;
  const intervals = intervalsOf(read(data.start), read(data.length), clock.lastTick);
  const { raw, values } = valuesOf(source, intervals);
  const summaryOf = summariser(intervals, values);

  return {
    columns(fromSec, toSec, count, into) {
      const result = emptyColumns(count, into);
      forEachColumn(intervals, fromSec * clock.ticksPerSec, toSec * clock.ticksPerSec, count,
        (column, low, high, from, to) => {
          const { minimum, mean, maximum } = summaryOf(low, high, from, to);
          result.minimum[column] = minimum;
          result.mean[column] = mean;
          result.maximum[column] = maximum;
        });
      return result;
    },
    at(sec) {
      const i = indexAt(intervals, sec * clock.ticksPerSec);
      if (i < 0 || values[i] !== values[i]) return null;
      const total = facts.rate ? { total: raw[i] * facts.totalFactor } : {};
      return { ...clock.span(intervals.start[i], intervals.end[i]), value: values[i], ...total };
    },
    totals(fromSec, toSec) {
      const from = fromSec * clock.ticksPerSec;
      const to = toSec * clock.ticksPerSec;
      const [low, high] = indicesWithin(intervals, from, to);
      if (low >= high) return noTotals();
      const { covered, weighted, minimum, mean, maximum } = summaryOf(low, high, from, to);
      const scale = facts.rate ? facts.totalFactor / facts.factor : 1;
      return { ...noTotals(), minimum, mean, maximum, count: high - low,
        integral: (weighted / clock.ticksPerSec) * scale, coveredSec: covered / clock.ticksPerSec };
    },
  };
}

/**
 * @param {number} count
 * @param {ValueColumns} [into] those that are used again where they are as many
 * @returns {ValueColumns}
 */
export function emptyColumns(count, into) {
  if (into?.mean.length === count) {
    for (const values of [into.minimum, into.mean, into.maximum]) values.fill(NaN);
    return into;
  }
  return { minimum: new Float64Array(count).fill(NaN), mean: new Float64Array(count).fill(NaN),
    maximum: new Float64Array(count).fill(NaN) };
}

/** @returns {import("./model.js").Totals} */
export function noTotals() {
  return { integral: 0, coveredSec: 0, minimum: NaN, mean: NaN, maximum: NaN,
    seconds: new Map(), count: 0 };
}
