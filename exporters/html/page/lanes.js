// Until there are lanes.

import { assignColors } from "./colors.js";

/**
 * @param {import("./model.js").Run} run
 * @param {import("./view.js").View} _view
 */
export function createLanes(run, _view) {
  assignColors(run);
}
