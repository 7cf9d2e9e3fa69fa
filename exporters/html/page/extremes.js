// The lowest and the highest of any range of values, quickly for long ranges too.

const branching = 8;

/** @typedef {{low: Float64Array, high: Float64Array}} Extremes */
/** @typedef {{minimum: number, maximum: number}} Range Infinity, -Infinity: nothing yet */

/** @param {Extremes} below @returns {Extremes} */
function levelAbove(below) {
  const groups = Math.ceil(below.low.length / branching);
  const low = new Float64Array(groups).fill(Infinity);
  const high = new Float64Array(groups).fill(-Infinity);
  for (let i = 0; i < below.low.length; i++) {
    const group = (i / branching) | 0;
    if (below.low[i] < low[group]) low[group] = below.low[i];
    if (below.high[i] > high[group]) high[group] = below.high[i];
  }
  return { low, high };
}

/**
 * Groups of values, groups of these, and so on. NaN counts for nothing.
 * @param {Float64Array} values @returns {Extremes[]}
 */
export function extremesOf(values) {
  const levels = [{ low: values, high: values }];
  for (let below = levels[0]; below.low.length > branching; levels.push(below)) {
    below = levelAbove(below);
  }
  return levels;
}

/**
 * Widens `into` by the values [from, to) of a level.
 * @param {Range} into @param {Extremes} level @param {number} from @param {number} to
 */
export function widen(into, { low, high }, from, to) {
  let { minimum, maximum } = into;
  for (let i = from; i < to; i++) {
    if (low[i] < minimum) minimum = low[i];
    if (high[i] > maximum) maximum = high[i];
  }
  into.minimum = minimum;
  into.maximum = maximum;
}

/**
 * The same for long ranges: by whole groups, of the highest level that has some within.
 * @param {Range} into @param {Extremes[]} levels @param {number} from @param {number} to
 */
export function widenByGroups(into, levels, from, to) {
  for (let level = 0; ; level++) {
    if (to - from <= 2 * branching || level + 1 === levels.length) {
      widen(into, levels[level], from, to);
      return;
    }
    const first = Math.ceil(from / branching);
    const last = Math.floor(to / branching);
    widen(into, levels[level], from, first * branching);
    widen(into, levels[level], last * branching, to);
    from = first;
    to = last;
  }
}
