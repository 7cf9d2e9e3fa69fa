// The facts of the system, by groups.

import { byId, element, shown } from "./dom.js";

/**
 * @param {{group: string, name: string, value: string}[]} facts
 * @returns {Map<string, {name: string, value: string}[]>}
 */
function byGroup(facts) {
  const groups = new Map();
  for (const { group, name, value } of facts) {
    const known = groups.get(group);
    if (known) known.push({ name, value });
    else groups.set(group, [{ name, value }]);
  }
  return groups;
}

/** @param {{group: string, name: string, value: string}[]} facts */
export function showFacts(facts) {
  if (facts.length === 0) return;
  const root = byId("facts");
  const columns = element("div", { class: "columns" });
  for (const [group, members] of byGroup(facts)) {
    const entries = members.flatMap(({ name, value }) => [
      element("dt", null, shown(name)), element("dd", null, shown(value, 2000)),
    ]);
    columns.append(element("section", null,
      element("h3", null, shown(group)), element("dl", null, ...entries)));
  }
  root.append(columns);
  root.hidden = false;
}
