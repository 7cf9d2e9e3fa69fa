// Series of a run that was too long to be stored as it is: bins of several widths.

import { emptyColumns, noTotals } from "./exactvalues.js";
import { secondsOf } from "./exactstates.js";
import { emptyShares, sharesOf, takeLargest } from "./shares.js";

/** @typedef {import("./model.js").Level} Level */
/** @typedef {import("./columns.js").Numbers} Numbers */
/** @typedef {(bin: number, weight: number) => void} VisitBin */

const nothing = 65535;
const fullScale = 65534;
const wholeBin = 65535;

/**
 * The widest bins that are no wider than a column of pixels, else the narrowest.
 * @param {Level[]} levels @param {number} columnSec
 */
export function levelFor(levels, columnSec) {
  let best = 0;
  levels.forEach(({ binSec }, i) => {
    if (binSec <= columnSec * (1 + 1e-9)) best = i;
  });
  return best;
}

/**
 * How much of a bin is within the run: the last one may end behind it, and what it tells is then of
 * that part.
 * @param {Level} level @param {number} bin
 */
const partOf = ({ end }, bin) => Math.min(1, end - bin);

/**
 * Visits the bins of each column, with the part of the bin's content that is within.
 * @param {Level} level @param {number} fromSec @param {number} toSec
 * @param {number} count @param {VisitBin} visit
 * @param {(column: number, columnBins: number) => void} finish after the bins of a column
 */
function forEachBin(level, fromSec, toSec, count, visit, finish) {
  const { binSec, fromSec: origin, end } = level;
  const from = (fromSec - origin) / binSec;
  const width = (toSec - fromSec) / binSec / count;
  const slack = Math.min(1e-9, width / 1000);
  for (let column = 0; column < count; column++) {
    const left = from + column * width;
    const right = left + width;
    const low = Math.max(0, Math.floor(left + slack));
    const high = Math.ceil(Math.min(end, right) - slack);
    for (let bin = low; bin < high; bin++) {
      const within = Math.min(bin + 1, right, end) - Math.max(bin, left);
      visit(bin, bin + 1 > end ? within / partOf(level, bin) : within);
    }
    if (low < high) finish(column, width);
  }
}

/**
 * Covers [fromSec, toSec) by as few bins as possible: wide ones inside, narrow ones at the borders.
 * @param {Level[]} levels @param {number} fromSec @param {number} toSec
 * @param {(level: number, bin: number, weight: number) => void} visit
 */
export function coverByBins(levels, fromSec, toSec, visit) {
  if (levels.length === 0) return;
  const { binSec, fromSec: origin } = levels[0];
  const ratio = levels.map((level) => Math.round(level.binSec / binSec));
  const from = Math.max(0, (fromSec - origin) / binSec);
  const to = Math.min(levels[0].end, (toSec - origin) / binSec);
  let bin = Math.floor(from);
  while (bin < to) {
    let level = 0;
    while (level + 1 < levels.length && bin >= from && bin % ratio[level + 1] === 0 &&
      bin + ratio[level + 1] <= to) level++;
    const end = bin + ratio[level];
    const part = ratio[level] * partOf(levels[level], bin / ratio[level]);
    visit(level, bin / ratio[level], (Math.min(end, to) - Math.max(bin, from)) / part);
    bin = end;
  }
}

/** Which bin of the finest level is at a time. */
function binAt(/** @type {Level[]} */ [finest], /** @type {number} */ sec) {
  if (!finest) return null;
  const place = (sec - finest.fromSec) / finest.binSec;
  if (!(place >= 0 && place < finest.end)) return null;
  const bin = Math.floor(place);
  const part = partOf(finest, bin);
  const fromSec = finest.fromSec + bin * finest.binSec;
  return { bin, part, span: { fromSec, toSec: fromSec + part * finest.binSec, binned: true } };
}

/**
 * Adds up values of bins in their own scale.
 * @param {{minimum: Numbers, mean: Numbers, maximum: Numbers, covered: Numbers}} columns
 */
function valueSum({ minimum, mean, maximum, covered }) {
  const sum = { low: Infinity, high: -Infinity, weighted: 0, covered: 0 };
  /** @type {VisitBin} */
  const add = (bin, weight) => {
    const value = mean[bin];
    if (!(value < nothing)) return;
    const share = (weight * Math.max(1, covered[bin] ?? 255)) / 255;
    sum.weighted += value * share;
    sum.covered += share;
    if (minimum[bin] < sum.low) sum.low = minimum[bin];
    if (maximum[bin] > sum.high) sum.high = maximum[bin];
  };
  const clear = () => {
    sum.low = Infinity;
    sum.high = -Infinity;
    sum.weighted = sum.covered = 0;
  };
  return { sum, add, clear };
}

/** @param {any} scale @returns {(quantum: number) => number} */
function scaleOf(scale) {
  const [low, high] = Array.isArray(scale) ? scale.map(Number) : [0, fullScale];
  return (quantum) => low + (quantum / fullScale) * (high - low);
}

/**
 * @param {import("./model.js").SeriesSource} source
 * @returns {import("./model.js").Queries}
 */
export function binnedValues({ read, data, facts, levels: all }) {
  const { columns, levels } = readLevels(data, all, (level) => ({
    minimum: read(level.minimum), mean: read(level.mean), maximum: read(level.maximum),
    covered: Uint8Array.from(read(level.covered)) }));
  const sums = columns.map(valueSum);
  const real = scaleOf(data.scale);

  return {
    columns(fromSec, toSec, count, into) {
      const result = emptyColumns(count, into);
      if (levels.length === 0) return result;
      const level = levelFor(levels, (toSec - fromSec) / count);
      const { sum, add, clear } = sums[level];
      forEachBin(levels[level], fromSec, toSec, count, add, (column) => {
        if (sum.covered > 0) {
          result.minimum[column] = real(sum.low);
          result.mean[column] = real(sum.weighted / sum.covered);
          result.maximum[column] = real(sum.high);
        }
        clear();
      });
      return result;
    },
    at(sec) {
      const place = binAt(levels, sec);
      if (!place || !(columns[0].mean[place.bin] < nothing)) return null;
      const { bin, part, span } = place;
      const { minimum, mean, maximum, covered } = columns[0];
      return { ...span, minimum: real(minimum[bin]), mean: real(mean[bin]),
        maximum: real(maximum[bin]), covered: Math.min(1, (covered[bin] ?? 255) / 255 / part) };
    },
    totals(fromSec, toSec) {
      let [low, high, weighted, covered, count] = [Infinity, -Infinity, 0, 0, 0];
      coverByBins(levels, fromSec, toSec, (level, bin, weight) => {
        const { sum, add, clear } = sums[level];
        add(bin, weight);
        weighted += sum.weighted * levels[level].binSec;
        covered += sum.covered * levels[level].binSec;
        low = Math.min(low, sum.low);
        high = Math.max(high, sum.high);
        count += sum.covered > 0 ? 1 : 0;
        clear();
      });
      if (covered <= 0) return noTotals();
      const mean = real(weighted / covered);
      const scale = facts.rate ? facts.totalFactor / facts.factor : 1;
      return { ...noTotals(), integral: mean * covered * scale, coveredSec: covered, mean,
        minimum: real(low), maximum: real(high), count };
    },
  };
}

/**
 * The slots of a level, those of each bin together.
 * @param {any} level @param {import("./columns.js").ColumnReader} read
 * @param {number} others what stands for states that are not in the set
 */
function readSlots(level, read, others) {
  const told = (Array.isArray(level.slots) ? level.slots : []).map((/** @type {any} */ slot) =>
    ({ state: read(slot?.state), share: read(slot?.share) }));
  const slots = told.length;
  const bins = Math.max(0, ...told.map((/** @type {any} */ { share }) => share.length));
  const state = new Uint16Array(bins * slots);
  const share = new Uint16Array(bins * slots);
  for (let slot = 0; slot < slots; slot++) {
    for (let bin = 0; bin < told[slot].share.length; bin++) {
      state[bin * slots + slot] = Math.min(told[slot].state[bin] ?? others, others);
      share[bin * slots + slot] = told[slot].share[bin];
    }
  }
  return { slots, state, share };
}

/**
 * @param {import("./model.js").SeriesSource} source
 * @returns {import("./model.js").Queries}
 */
export function binnedStates({ read, data, facts, levels: all }) {
  const others = facts.states.length;
  const { columns, levels } = readLevels(data, all, (level) => readSlots(level, read, others));
  const parts = new Float64Array(others + 1);
  /** @param {ReturnType<typeof readSlots>} level @returns {VisitBin} */
  const adderOf = ({ slots, state, share }) => (bin, weight) => {
    const scale = weight / wholeBin;
    const end = (bin + 1) * slots;
    for (let i = bin * slots; i < end && share[i] > 0; i++) parts[state[i]] += share[i] * scale;
  };
  const adders = columns.map(adderOf);

  return {
    shares(fromSec, toSec, count, into) {
      const result = emptyShares(count, others, into);
      if (levels.length === 0) return result;
      const level = levelFor(levels, (toSec - fromSec) / count);
      forEachBin(levels[level], fromSec, toSec, count, adders[level],
        (column, whole) => takeLargest(result, column, parts, whole));
      return result;
    },
    at(sec) {
      const place = binAt(levels, sec);
      if (!place) return null;
      adders[0](place.bin, 1);
      const shares = sharesOf(parts, place.part);
      parts.fill(0);
      return shares.length === 0 ? null : { ...place.span, shares };
    },
    totals(fromSec, toSec) {
      let count = 0;
      const seconds = new Float64Array(others + 1);
      coverByBins(levels, fromSec, toSec, (level, bin, weight) => {
        adders[level](bin, weight);
        parts.forEach((part, state) => { seconds[state] += part * levels[level].binSec; });
        parts.fill(0);
        count++;
      });
      return { ...secondsOf(seconds, 1), count };
    },
  };
}

/**
 * @param {import("./model.js").SeriesSource} source
 * @returns {import("./model.js").Queries}
 */
export function binnedEvents({ read, data, levels: all }) {
  const { columns, levels } = readLevels(data, all, (level) => read(level.count));
  const real = scaleOf(data.scale);
  /** @param {number} level @param {number} bin */
  const countOf = (level, bin) => (columns[level][bin] < nothing ? real(columns[level][bin]) : 0);

  return {
    counts(fromSec, toSec, count) {
      const counts = new Float64Array(count);
      if (levels.length === 0) return counts;
      const level = levelFor(levels, (toSec - fromSec) / count);
      let sum = 0;
      forEachBin(levels[level], fromSec, toSec, count,
        (bin, weight) => { sum += countOf(level, bin) * weight; },
        (column) => {
          counts[column] = sum;
          sum = 0;
        });
      return counts;
    },
    at(sec) {
      const place = binAt(levels, sec);
      const count = place ? countOf(0, place.bin) : 0;
      return place && count > 0 ? { ...place.span, count } : null;
    },
    totals(fromSec, toSec) {
      let count = 0;
      coverByBins(levels, fromSec, toSec, (level, bin, weight) => {
        count += countOf(level, bin) * weight;
      });
      return { ...noTotals(), count };
    },
  };
}

/**
 * The levels that both the run and the series have.
 * @template T
 * @param {any} data @param {Level[]} all @param {(level: any) => T} readLevel
 * @returns {{columns: T[], levels: Level[]}}
 */
function readLevels(data, all, readLevel) {
  const told = Array.isArray(data.levels) ? data.levels : [];
  const levels = all.slice(0, told.length);
  return { levels, columns: levels.map((_, i) => readLevel(told[i] ?? {})) };
}
