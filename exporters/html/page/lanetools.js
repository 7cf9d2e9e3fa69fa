// Above the lanes: search, zoom, folding by level, what is hidden, and what the keys do.

import { byId, element } from "./dom.js";

/** @typedef {import("./laneorder.js").LaneOrder} LaneOrder */
/** @typedef {import("./view.js").View} View */

const keys = [
  ["Wheel", "zoom about the pointer"],
  ["Shift + wheel", "move sideways"],
  ["Drag", "move"],
  ["Shift + drag, drag on the axis", "zoom to a range"],
  ["Double click", "zoom in; on the axis, whole run"],
  ["Click", "pin a moment"],
  ["Tab", "to the axis, then to the lanes"],
  ["+  −  0", "zoom in, out, whole run"],
  ["← →", "on the axis: move; on a lane: from moment to moment"],
  ["↑ ↓", "choose a lane"],
  ["Enter", "pin the moment"],
  ["Space", "fold or unfold"],
  ["Alt + ↑ ↓", "move a lane (or drag its name)"],
  ["Delete", "hide a lane"],
  ["Esc", "loose the pin"],
];

/** @param {string} text @param {string} title @param {() => void} act */
function toolButton(text, title, act) {
  const button = element("button", { type: "button", title, "aria-label": title }, text);
  button.addEventListener("click", act);
  return button;
}

/** @param {View} view */
function makeSearch(view) {
  const search = element("input", { type: "search", placeholder: "Find lanes", "aria-label":
    "Find lanes by name, metric or feature", spellcheck: "false", autocomplete: "off" });
  search.addEventListener("input", () => view.setFilter(search.value.trim()));
  return search;
}

/** @param {LaneOrder} order @param {View} view */
function makeFolding(order, view) {
  const levels = new Set();
  const visit = (/** @type {import("./lanelist.js").Lane} */ lane) => {
    if (lane.children.length > 0 || lane.level === "cpu") levels.add(lane.level);
    lane.children.forEach(visit);
  };
  order.roots.forEach(visit);
  const choices = [["package", "packages"], ["core", "cores"], ["cpu", "CPUs"]]
    .filter(([level]) => levels.has(level));
  if (choices.length < 2) return [];
  return [element("span", { class: "tool-group", role: "group", "aria-label": "Fold to" },
    element("span", { class: "soft" }, "Show"), ...choices.map(([level, text]) =>
      toolButton(text, `Fold the lanes to ${text}`, () => {
        order.foldTo(level);
        view.lanesChanged();
      })))];
}

/** @param {LaneOrder} order @param {View} view */
function makeHidden(order, view) {
  const summary = element("summary", null);
  const list = element("ul", null);
  const sheet = element("div", { class: "tool-sheet" }, list);
  const root = element("details", { class: "tool-menu" }, summary, sheet);
  const draw = () => {
    const hidden = order.hidden();
    root.hidden = hidden.length === 0;
    if (root.hidden) root.open = false;
    summary.textContent = `${hidden.length} hidden`;
    list.replaceChildren(...hidden.map((lane) => {
      const path = lane.parent && lane.parent.level !== "section" ? `${lane.parent.label} / ` : "";
      const name = `${path}${lane.label} ${lane.detail}`.trim();
      return element("li", null, toolButton(name, `Show ${name} again`, () => {
        order.show(lane);
        view.lanesChanged();
      }));
    }));
  };
  return { root, draw };
}

function makeHelp() {
  return element("details", { class: "tool-menu" }, element("summary", null, "Keys"),
    element("div", { class: "tool-sheet" }, element("dl", null, ...keys.flatMap(([key, does]) =>
      [element("dt", null, key), element("dd", null, does)]))));
}

/**
 * Fills `#lane-tools`.
 * @param {LaneOrder} order @param {View} view
 */
export function createLaneTools(order, view) {
  const found = element("span", { class: "soft", role: "status" });
  const hidden = makeHidden(order, view);
  byId("lane-tools").append(
    makeSearch(view), found, ...makeFolding(order, view), hidden.root,
    element("span", { class: "tool-space" }),
    element("span", { class: "tool-group", role: "group", "aria-label": "Zoom" },
      toolButton("+", "Zoom in", () => view.zoom(0.5)),
      toolButton("−", "Zoom out", () => view.zoom(2)),
      toolButton("Whole run", "Show the whole run", () => view.showAll())),
    makeHelp());
  return {
    /** @param {number} count of the lanes shown */
    draw(count) {
      found.textContent = view.filter === "" ? "" : `${count} ${count === 1 ? "lane" : "lanes"}`;
      hidden.draw();
    },
  };
}
