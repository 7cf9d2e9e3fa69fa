import test from "node:test";
import assert from "node:assert/strict";
import { matching, pressed, sorted } from "../../exporters/html/page/tableorder.js";

const rows = [["CPU10", 2.5], ["CPU2", null], ["CPU1", 10], ["all CPUs", 2.5]];
const names = (list) => list.map(([name]) => name);

test("rows are sorted as numbers and as people count, unknown ones last", () => {
  assert.deepEqual(names(sorted(rows, { column: 0, descending: false })),
    ["all CPUs", "CPU1", "CPU2", "CPU10"]);
  assert.deepEqual(names(sorted(rows, { column: 1, descending: false })),
    ["CPU10", "all CPUs", "CPU1", "CPU2"]);
  assert.deepEqual(names(sorted(rows, { column: 1, descending: true })),
    ["CPU1", "CPU10", "all CPUs", "CPU2"]);
  assert.equal(rows[0][0], "CPU10", "the rows themselves stay");
});

test("a head turns the order around, then gives the report's back", () => {
  let order = pressed(null, 1, true);
  assert.deepEqual(order, { column: 1, descending: true });
  order = pressed(order, 1, true);
  assert.deepEqual(order, { column: 1, descending: false });
  assert.equal(pressed(order, 1, true), null);
  assert.deepEqual(pressed(order, 0, false), { column: 0, descending: false });
});

test("words are found in rows and in titles", () => {
  assert.deepEqual(names(matching(rows, "Residency", "cpu1")), ["CPU10", "CPU1"]);
  assert.deepEqual(names(matching(rows, "Residency", "resid all")), ["all CPUs"]);
  assert.equal(matching(rows, "Residency", "  ").length, 4);
  assert.equal(matching(rows, "Residency", "nowhere").length, 0);
});
