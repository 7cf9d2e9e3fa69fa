// What went wrong in the page itself, told at its top and to the browser's log.

import { byId, element, shown } from "./dom.js";

/**
 * @param {string} what "The picture cannot be drawn"
 * @param {unknown} cause
 */
export function reportFault(what, cause) {
  const reason = cause instanceof Error ? cause.message : String(cause);
  console.error(what, cause);
  byId("faults").append(element("p", { class: "fault" }, `${what}: ${shown(reason)}`));
}
