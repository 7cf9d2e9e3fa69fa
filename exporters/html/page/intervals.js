// The intervals of a series that is stored as it is, and how pixels find theirs.

/** @typedef {import("./columns.js").Numbers} Numbers */
/**
 * Ascending and not overlapping, in ticks; `order` where the columns were not so themselves.
 * @typedef {{start: Float64Array, end: Float64Array, order: Uint32Array|null}} Intervals
 */

/** @param {Numbers} numbers @param {Uint32Array|null} order */
export function inOrder(numbers, order) {
  return order ? Float64Array.from(order, (from) => numbers[from]) : numbers;
}

/** @param {Numbers} start */
function orderOf(start) {
  for (let i = 1; i < start.length; i++) {
    if (start[i] < start[i - 1]) {
      return Uint32Array.from(start.keys()).sort((a, b) => start[a] - start[b] || a - b);
    }
  }
  return null;
}

/**
 * @param {Numbers} starts
 * @param {Numbers} lengths 0 or absent: until the next.
 * @param {number} lastTick Where the last one ends when its length is unknown.
 * @returns {Intervals}
 */
export function intervalsOf(starts, lengths, lastTick) {
  const order = orderOf(starts);
  const start = Float64Array.from(inOrder(starts, order));
  const length = inOrder(lengths, order);
  const end = new Float64Array(start.length);
  for (let i = 0; i < start.length; i++) {
    const next = i + 1 < start.length ? start[i + 1] : Math.max(lastTick, start[i]);
    const own = length[i] > 0 ? start[i] + length[i] : next;
    end[i] = i + 1 < start.length ? Math.min(own, next) : own;
  }
  return { start, end, order };
}

/**
 * The first index at or after `from` whose number is at least `bound`: quick where that is near.
 * @param {Float64Array} ascending @param {number} bound
 */
export function firstAtLeast(ascending, bound, from = 0) {
  let step = 1;
  let low = from;
  let high = from;
  while (high < ascending.length && ascending[high] < bound) {
    low = high + 1;
    high += step;
    step *= 2;
  }
  high = Math.min(high, ascending.length);
  while (low < high) {
    const middle = (low + high) >>> 1;
    if (ascending[middle] < bound) low = middle + 1;
    else high = middle;
  }
  return low;
}

/**
 * The intervals with anything in [from, to), those of no length at `from` included.
 * @param {Intervals} intervals @param {number} from @param {number} to
 * @returns {[number, number]} The first, and the one behind the last.
 */
export function indicesWithin({ start, end }, from, to) {
  const first = firstAtLeast(start, from);
  const low = first > 0 && end[first - 1] > from ? first - 1 : first;
  return [low, firstAtLeast(start, to, first)];
}

/**
 * Calls `visit` for each of `count` columns of [from, to) that has intervals.
 * @param {Intervals} intervals @param {number} from @param {number} to @param {number} count
 * @param {(column: number, low: number, high: number, from: number, to: number) => void} visit
 */
export function forEachColumn(intervals, from, to, count, visit) {
  const { start, end } = intervals;
  const width = (to - from) / count;
  let next = firstAtLeast(start, from);
  for (let column = 0; column < count; column++) {
    const left = from + column * width;
    const right = column + 1 < count ? from + (column + 1) * width : to;
    const low = next > 0 && end[next - 1] > left ? next - 1 : next;
    if (next < start.length && start[next] < right) next = firstAtLeast(start, right, next);
    if (low < next) visit(column, low, next, left, right);
  }
}

/**
 * The interval that holds at `tick`, or -1.
 * @param {Intervals} intervals @param {number} tick
 */
export function indexAt({ start, end }, tick) {
  const after = firstAtLeast(start, tick);
  if (start[after] === tick) return after;
  return after > 0 && end[after - 1] > tick ? after - 1 : -1;
}

/**
 * How much of interval `i` is in [from, to).
 * @param {Intervals} intervals @param {number} i @param {number} from @param {number} to
 */
export function overlapOf({ start, end }, i, from, to) {
  return Math.max(0, Math.min(end[i], to) - Math.max(start[i], from));
}
