// Until there are lanes.

/**
 * @param {import("./model.js").Run} _run
 * @returns {Set<import("./model.js").Series>}
 */
export const shownInLanes = (_run) => new Set();
