import test from "node:test";
import assert from "node:assert/strict";
import { axisOf, extent, plotRows } from "../../exporters/html/page/plotdata.js";

const columns = (low, middle, high) => ({ minimum: Float64Array.from(low),
  mean: Float64Array.from(middle), maximum: Float64Array.from(high) });

test("a column is a row in the middle of its time, a gap stays a gap", () => {
  const rows = plotRows(columns([1, NaN], [2, NaN], [3, NaN]), 10, 14);
  assert.deepEqual(rows, [[11, [1, 2, 3]], [13, [null, null, null]]]);
});

test("the extent leaves out gaps", () => {
  assert.deepEqual(extent(columns([1, NaN, 0.5], [2, NaN, 1], [3, NaN, 9])), { low: 0.5, high: 9 });
  assert.equal(extent(columns([NaN], [NaN], [NaN])), null);
});

test("an axis holds its values, begins at 0 near it, and has two to five round ticks", () => {
  const cases = [[0, 10], [40, 60], [45.1, 45.2], [-5, 5], [0, 0], [7, 7], [-3, -2], [1e-9, 3e-9],
    [1e12, 3e12], [799.2, 3800], [2, 15.5], [1e6, 1e6 + 1e-6]];
  for (const [low, high] of cases) {
    const axis = axisOf({ low, high });
    assert.ok(axis.low <= low && axis.high >= high, `${low} to ${high}`);
    assert.ok(axis.ticks.length >= 2 && axis.ticks.length <= 5, `${low} to ${high}: ${axis.ticks}`);
    assert.ok(axis.ticks.every((tick) => tick > axis.low && tick < axis.high));
  }
  assert.equal(axisOf({ low: 1, high: 10 }).low, 0);
  assert.ok(axisOf({ low: 40, high: 60 }).low > 30);
  assert.ok(axisOf(null).ticks.length > 0);
});
