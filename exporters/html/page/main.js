// Starts the page: reads the run out of its two blocks and hands it to the parts. A part that fails
// says so and leaves the others alone; without the points, the report and the facts still show.

import { byId } from "./dom.js";
import { showFacts } from "./facts.js";
import { reportFault } from "./faults.js";
import { showHeader } from "./header.js";
import { createLanes } from "./lanes.js";
import { showLegend } from "./legend.js";
import { openRun } from "./model.js";
import { createPlots } from "./plots.js";
import { readPoints } from "./points.js";
import { followPrinting } from "./printing.js";
import { showTables } from "./tables.js";
import { followTheme, isDark } from "./theme.js";
import { createView } from "./view.js";
import { showWarnings } from "./warnings.js";
import { createWindowPanels } from "./windowpanels.js";

/** @type {(dark: boolean) => void} */
let onTheme = () => {};

/**
 * @param {string} what the part, as a subject: "The report"
 * @param {() => void} show
 */
function attempt(what, show) {
  try {
    show();
  } catch (error) {
    reportFault(`${what} cannot be shown`, error);
  }
}

/**
 * Draws all that needs the points.
 * @param {any} json
 */
async function showPicture(json) {
  const run = openRun(json, await readPoints(byId("points").textContent ?? "", json.data));
  const view = createView(run);
  view.setDark(isDark());
  onTheme = (dark) => view.setDark(dark);
  const inLanes = createLanes(run, view);
  performance.mark("tavrin-lanes");
  attempt("The line plots", () => createPlots(run, view, inLanes));
  attempt("The legend", () => showLegend(run, view));
  attempt("The sums of the visible window", () => createWindowPanels(run, view));
  attempt("The printed page", () => followPrinting(view));
}

async function start() {
  byId("starting").remove();
  const json = JSON.parse(byId("run").textContent ?? "");
  followTheme((dark) => onTheme(dark));
  attempt("The title", () => showHeader(json));
  attempt("The warnings", () => showWarnings(json.warnings));
  try {
    await showPicture(json);
  } catch (error) {
    byId("picture").hidden = true;
    reportFault("The picture cannot be drawn", error);
  }
  attempt("The report", () => showTables(json.tables));
  attempt("The facts of the system", () => showFacts(json.facts));
}

start().catch((error) => reportFault("The run in this page cannot be read", error));
