// The sums of the visible window, which follow it when it comes to rest.

import { rankedBar, stackedBar, swatch } from "./bars.js";
import { nameColor, stateShade } from "./colors.js";
import { byId, element, shown } from "./dom.js";
import { inSlices, settled } from "./later.js";
import { formatNumber, formatShare, formatSpan, formatValue } from "./units.js";
import { rankings, stateGroups } from "./windowsums.js";

/** @typedef {import("./model.js").Run} Run */
/** @typedef {import("./view.js").View} View */

/** Lines of a list at first. */
const RANKED = 10;
const STACKED = 17;

/** Lists that were opened in full, by title: they stay so when the window changes. */
const opened = new Set();

/**
 * A titled list, of which the first `limit` lines stand open.
 * @template Item
 * @param {string} title @param {Item[]} items @param {number} limit
 * @param {(item: Item) => HTMLElement} lineOf @param {HTMLElement[]} foot
 */
function card(title, items, limit, lineOf, ...foot) {
  const open = opened.has(title) ? items.length : limit;
  const list = element("ol", null, ...items.slice(0, open).map(lineOf));
  const root = element("section", { class: "card" },
    element("h3", null, shown(title)), list, ...foot);
  if (items.length > open) {
    const more = element("button", { type: "button", class: "small" },
      `Show all ${formatNumber(items.length)}`);
    more.addEventListener("click", () => {
      opened.add(title);
      list.append(...items.slice(open).map(lineOf));
      more.remove();
    });
    root.append(more);
  }
  return root;
}

/**
 * The name of a process as its tasks have it, and its lane: "make" of "make (10)".
 * @param {string} name
 */
const withoutPid = (name) => name.replace(/ \(\d+\)$/, "");

/**
 * @param {import("./windowsums.js").Ranking} ranking
 * @param {number} windowSec @param {boolean} dark
 */
function rankingCard({ title, unit, uses }, windowSec, dark) {
  const longest = uses[0]?.amount ?? 1;
  const total = uses.reduce((sum, { amount }) => sum + amount, 0);
  const whole = unit === "s" ? windowSec : total;
  const lineOf = (/** @type {import("./windowsums.js").Use} */ { name, amount }) => rankedBar({
    name, part: amount / longest, color: nameColor(withoutPid(name), dark),
    values: [formatValue(amount, unit), formatShare(amount / whole)],
  });
  if (uses.length === 0) {
    return card(title, [], 0, lineOf, element("p", null, "None in this window."));
  }
  const measure = unit === "s" ? "100 % is one CPU for the whole window." :
    `The shares are of ${formatValue(total, unit)}.`;
  return card(title, uses, RANKED, lineOf, element("p", { class: "soft small" }, measure));
}

/** @param {import("./windowsums.js").Stack} stack @param {boolean} dark */
function stackLine({ name, parts, unknownSec }, dark) {
  const whole = parts.reduce((sum, { seconds }) => sum + seconds, unknownSec) || 1;
  const pieces = parts.map(({ name: part, state, seconds }) => ({
    text: `${shown(part)} ${formatShare(seconds / whole)}`, part: seconds / whole,
    color: stateShade(state, dark).css,
  }));
  const unknown = unknownSec / whole;
  const longest = [...pieces].sort((one, other) => other.part - one.part)[0];
  const line = stackedBar(name, pieces, longest && longest.part > unknown ? longest.text :
    `unknown ${formatShare(unknown)}`);
  if (unknown >= 0.001) line.querySelector(".track")?.setAttribute("aria-label",
    [...pieces.map(({ text }) => text), `unknown ${formatShare(unknown)}`].join(", "));
  return line;
}

/** @param {import("./windowsums.js").StateGroup} group @param {boolean} dark */
function stateCard({ title, stacks }, dark) {
  const known = new Map(stacks[0]?.parts.map(({ name, state }) => [name, state]));
  const key = element("ul", { class: "key" }, ...[...known].map(([name, state]) =>
    element("li", null, swatch(stateShade(state, dark).css), shown(name))));
  return card(title, stacks, STACKED, (stack) => stackLine(stack, dark), key);
}

/** @param {Run} run @param {number} fromSec @param {number} toSec */
function* sums(run, fromSec, toSec) {
  const used = yield* rankings(run, fromSec, toSec);
  return { used, states: yield* stateGroups(run, fromSec, toSec) };
}

/**
 * @param {Run} run
 * @param {View} view
 */
export function createWindowPanels(run, view) {
  let giveUp = () => {};
  const update = () => {
    giveUp();
    const { fromSec, toSec, dark } = view;
    giveUp = inSlices(sums(run, fromSec, toSec), ({ used, states }) => {
      const windowSec = toSec - fromSec;
      byId("window-span").textContent =
        `${formatSpan(windowSec)} of ${formatSpan(run.toSec - run.fromSec)}`;
      byId("usage").replaceChildren(...used.map((one) => rankingCard(one, windowSec, dark)));
      byId("states").replaceChildren(...states.map((one) => stateCard(one, dark)));
      byId("window").hidden = used.length + states.length === 0;
    });
  };
  let seen = "";
  const later = settled(update, 150, 1500);
  const follow = () => {
    const now = `${view.fromSec} ${view.toSec} ${view.dark}`;
    if (now !== seen) later();
    seen = now;
  };
  view.subscribe(follow);
  seen = `${view.fromSec} ${view.toSec} ${view.dark}`;
  update();
}
