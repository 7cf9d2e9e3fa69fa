// Which lanes are shown, and in which order: what is folded, hidden, moved or not searched for.

/** @typedef {import("./lanelist.js").Lane} Lane */

/** @param {string} filter @returns {string[]} */
export const searchWords = (filter) => filter.toLowerCase().split(/\s+/).filter(Boolean);

/**
 * @param {Lane[]} roots Their order is changed in place.
 */
export function createLaneOrder(roots) {
  /** @type {Set<Lane>} */
  const hidden = new Set();

  /** @param {Lane} lane */
  const siblingsOf = (lane) => (lane.parent ? lane.parent.children : roots);
  /** @param {Lane} lane @param {string[]} words @returns {boolean} */
  const isFound = (lane, words) => words.every((word) => lane.words.includes(word)) ||
    (lane.parent !== null && lane.parent.level === "section" && isFound(lane.parent, words));
  /** @param {Lane[]} lanes @param {string[]} words @param {Lane[]} into */
  const gather = (lanes, words, into) => {
    for (const lane of lanes) {
      if (hidden.has(lane)) continue;
      const at = into.length;
      into.push(lane);
      if (words.length > 0) {
        gather(lane.children, words, into);
        if (into.length === at + 1 && !isFound(lane, words)) into.pop();
      } else if (!lane.folded) gather(lane.children, words, into);
    }
    return into;
  };

  return {
    roots,
    /**
     * The lanes to show, in order. A search finds lanes whatever is folded, and shows them below
     * those that they belong to.
     * @param {string} filter @returns {Lane[]}
     */
    rows: (filter) => gather(roots, searchWords(filter), []),
    fold(/** @type {Lane} */ lane, folded = !lane.folded) { lane.folded = folded; },
    /** Folds what is of this level or deeper and opens what is above it. */
    foldTo(/** @type {string} */ level) {
      const levels = ["package", "die", "core", "cpu"];
      const wanted = levels.indexOf(level);
      const visit = (/** @type {Lane} */ lane) => {
        const own = levels.indexOf(lane.level);
        if (own >= 0 && lane.children.length > 0) lane.folded = own >= wanted;
        lane.children.forEach(visit);
      };
      roots.forEach(visit);
    },
    hide(/** @type {Lane} */ lane) { hidden.add(lane); },
    show(/** @type {Lane} */ lane) { hidden.delete(lane); },
    /**
     * What has been hidden, the last one first.
     * @returns {Lane[]}
     */
    hidden: () => [...hidden].reverse(),
    /** Moves a lane among those of the same parent, by so many places of those not hidden. */
    move(/** @type {Lane} */ lane, /** @type {number} */ by) {
      const siblings = siblingsOf(lane);
      const open = siblings.filter((one) => !hidden.has(one));
      const place = open.indexOf(lane);
      const target = open[Math.max(0, Math.min(open.length - 1, place + by))];
      if (target === lane) return false;
      siblings.splice(siblings.indexOf(lane), 1);
      siblings.splice(siblings.indexOf(target) + (by > 0 ? 1 : 0), 0, lane);
      return true;
    },
    /** Moves a lane before or behind another of the same parent. */
    moveTo(/** @type {Lane} */ lane, /** @type {Lane} */ target, /** @type {boolean} */ behind) {
      if (lane === target || lane.parent !== target.parent) return false;
      const siblings = siblingsOf(lane);
      siblings.splice(siblings.indexOf(lane), 1);
      siblings.splice(siblings.indexOf(target) + (behind ? 1 : 0), 0, lane);
      return true;
    },
  };
}
/** @typedef {ReturnType<typeof createLaneOrder>} LaneOrder */
