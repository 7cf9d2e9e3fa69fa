// What the run lacks: on top, and never hidden. Of many the first stand open, the rest is counted.

import { byId, element, shown } from "./dom.js";
import { formatNumber } from "./units.js";

const OPEN = 4;
const LIMIT = 600;

/** @param {string[]} texts */
function list(texts) {
  return element("ul", null, ...texts.map((text) => element("li", null, shown(text, LIMIT))));
}

/** @param {string[]} warnings */
export function showWarnings(warnings) {
  if (warnings.length === 0) return;
  const root = byId("warnings");
  const open = warnings.length <= OPEN + 1 ? warnings.length : OPEN;
  root.append(list(warnings.slice(0, open)));
  if (open < warnings.length) {
    const rest = warnings.length - open;
    root.append(element("details", null,
      element("summary", null, `${formatNumber(rest)} more warnings`), list(warnings.slice(open))));
  }
  root.hidden = false;
}
