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
 * Multiples of 1, 2, 5, 10, 20 ... of the largest step of which two are between.
 * @param {number} low @param {number} high
 */
function roundTicks(low, high) {
  const power = 10 ** Math.floor(Math.log10(high - low));
  for (const step of [power * 5, power * 2, power, power / 2, power / 5]) {
    const first = Math.ceil(low / step);
    const count = Math.floor(high / step) - first + 1;
    if (count > 1) return Array.from({ length: count }, (_, at) => (first + at) * step);
  }
  return [];
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
  // Not where their text would leave the plot.
  const edge = (range.high - range.low) * 0.1;
  return { ...range, ticks: roundTicks(range.low + edge, range.high - edge) };
}
