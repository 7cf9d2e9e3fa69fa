// Shares of states per column of pixels: the longest few of each.

/**
 * Of column `c`, state `state[c * slots + s]` has `share[c * slots + s]` of its time; a share of 0
 * ends them; what is missing of 1 is unknown. A state that is the number of states stands for all
 * others.
 * @typedef {{count: number, slots: number, state: Uint16Array, share: Float32Array}} StateColumns
 */

const mostSlots = 8;

/**
 * @param {number} count @param {number} states
 * @param {StateColumns} [into] one of as many states that is used again where its length fits
 * @returns {StateColumns}
 */
export function emptyShares(count, states, into) {
  if (into?.count === count) {
    into.share.fill(0);
    return into;
  }
  const slots = Math.min(mostSlots, states + 2);
  return { count, slots, state: new Uint16Array(count * slots),
    share: new Float32Array(count * slots) };
}

/**
 * Puts the largest parts of `parts`, divided by `whole`, into a column, and clears `parts`. The
 * last slot is for what is left where there are more states than slots.
 * @param {StateColumns} into @param {number} column @param {Float64Array} parts per state, the
 *   others last @param {number} whole
 */
export function takeLargest({ slots, state, share }, column, parts, whole) {
  const base = column * slots;
  const last = base + slots - 1;
  let next = base;
  let left = 0;
  for (let s = 0; s < parts.length; s++) {
    const part = parts[s];
    if (part <= 0) continue;
    parts[s] = 0;
    let slot = next;
    if (slot === last) {
      slot = smallestOf(share, base, last);
      left += Math.min(part / whole, share[slot]);
      if (share[slot] >= part / whole) continue;
    } else {
      next++;
    }
    state[slot] = s;
    share[slot] = part / whole;
  }
  if (left > 0) {
    state[last] = parts.length - 1;
    share[last] = left;
  }
}

/** @param {Float32Array} share @param {number} from @param {number} to */
function smallestOf(share, from, to) {
  let smallest = from;
  for (let i = from + 1; i < to; i++) if (share[i] < share[smallest]) smallest = i;
  return smallest;
}

/**
 * The same for a single moment: shares of states, the longest first.
 * @param {Float64Array} parts @param {number} whole
 * @returns {{state: number, share: number}[]}
 */
export function sharesOf(parts, whole) {
  return Array.from(parts, (part, state) => ({ state, share: part / whole }))
    .filter(({ share }) => share > 0).sort((a, b) => b.share - a.share);
}
