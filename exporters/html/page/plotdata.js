// What a line plot draws: rows for dygraphs, the range of values, where its ticks are.

/** @typedef {{minimum: Float64Array, mean: Float64Array, maximum: Float64Array}} Columns */

/**
 * One row per column of pixels: the time of its middle, and the band with its line; a gap is a gap.
 * @param {Columns} columns
 * @param {number} fromSec
 * @param {number} toSec
 * @returns {[number, [number | null, number | null, number | null]][]}
 */
export function plotRows({ minimum, mean, maximum }, fromSec, toSec) {
  const step = (toSec - fromSec) / mean.length;
  return Array.from(mean, (value, at) => [
    fromSec + (at + 0.5) * step,
    Number.isNaN(value) ? [null, null, null] :
      [Number(minimum[at]), value, Number(maximum[at])],
  ]);
}

/**
 * The smallest and the largest number, or null when there is none.
 * @param {Columns} columns
 */
export function extent({ minimum, maximum }) {
  let [low, high] = [Infinity, -Infinity];
  for (const value of minimum) if (value < low) low = value;
  for (const value of maximum) if (value > high) high = value;
  return low <= high ? { low, high } : null;
}

/**
 * The smallest of 1, 2, 5, 10, 20 ... that is not below `least`.
 * @param {number} least
 */
function roundStep(least) {
  const power = 10 ** Math.floor(Math.log10(least));
  return power * ([1, 2, 5].find((factor) => factor * power >= least) ?? 10);
}

/**
 * A range with some air, which begins at 0 where values are not far from it, and its ticks.
 * @param {{low: number, high: number} | null} found
 * @returns {{low: number, high: number, ticks: number[]}}
 */
export function axisOf(found) {
  const { low, high } = found ?? { low: 0, high: 1 };
  const begin = low >= 0 && low <= high / 2 ? 0 : low;
  const span = high - begin || Math.abs(high) || 1;
  const range = { low: begin === 0 ? 0 : begin - span * 0.15, high: high + span * 0.15 };
  const step = roundStep((range.high - range.low) / 3);
  // Not where their text would leave the plot.
  const edge = (range.high - range.low) * 0.1;
  const ticks = [];
  for (let at = Math.ceil((range.low + edge) / step); at * step <= range.high - edge; ++at) {
    ticks.push(at * step);
  }
  return { ...range, ticks };
}
