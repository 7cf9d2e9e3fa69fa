// Series of events: what happened at a time, with a text; counted per column of pixels.

import { firstAtLeast, inOrder, intervalsOf } from "./intervals.js";
import { noTotals } from "./exactvalues.js";

/**
 * @param {import("./model.js").SeriesSource} source
 * @returns {import("./model.js").Queries}
 */
export function exactEvents({ read, data, clock }) {
  const starts = read(data.start);
  const { start, order } = intervalsOf(starts, new Float64Array(0), clock.lastTick);
  const length = inOrder(read(data.length), order);
  const text = inOrder(read(data.value), order);
  const texts = Array.isArray(data.texts) ? data.texts : [];
  /** @param {number} i */
  const reading = (i) => ({ ...clock.span(start[i], start[i] + (length[i] || 0)),
    text: String(texts[text[i]] ?? "") });

  return {
    counts(fromSec, toSec, count) {
      const counts = new Float64Array(count);
      const from = fromSec * clock.ticksPerSec;
      const width = (toSec * clock.ticksPerSec - from) / count;
      let next = firstAtLeast(start, from);
      for (let column = 0; column < count; column++) {
        const before = next;
        next = firstAtLeast(start, from + (column + 1) * width, next);
        counts[column] = next - before;
      }
      return counts;
    },
    at(sec, withinSec = 0) {
      const tick = sec * clock.ticksPerSec;
      const after = firstAtLeast(start, tick);
      const before = after - 1;
      if (before >= 0 && start[before] + (length[before] || 0) > tick) return reading(before);
      const far = (/** @type {number} */ i) => Math.abs((start[i] ?? Infinity) - tick);
      const nearest = far(before) < far(after) ? before : after;
      return far(nearest) <= withinSec * clock.ticksPerSec ? reading(nearest) : null;
    },
    totals(fromSec, toSec) {
      const low = firstAtLeast(start, fromSec * clock.ticksPerSec);
      const high = firstAtLeast(start, toSec * clock.ticksPerSec, low);
      return { ...noTotals(), count: high - low };
    },
  };
}
