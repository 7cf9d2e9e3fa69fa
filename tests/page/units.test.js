import test from "node:test";
import assert from "node:assert/strict";
import { counted, exactValue, formatNumber, formatShare, formatSpan, formatValue, inBase } from
  "../../exporters/html/page/units.js";

/** Texts as a keyboard has them: the page keeps number and unit on one line. */
const plain = (text) => text.replaceAll("\u00a0", " ");

test("values have three digits and the prefix that suits", () => {
  const cases = [
    [12.34, "W", "12.3 W"], [0.0042, "W", "4.2 mW"], [1234, "W", "1.23 kW"], [999.6, "W", "1 kW"],
    [1500, "MHz", "1.5 GHz"], [850, "MHz", "850 MHz"], [2, "ms", "2 ms"], [1500, "us", "1.5 ms"],
    [0.25, "us", "250 ns"], [-3.5, "J", "-3.5 J"], [2048, "KiB", "2.1 MB"], [12, "B", "12 B"],
    [0.5, "B/s", "0.5 B/s"], [0, "W", "0 W"], [45.25, "C", "45.3 °C"], [12.34, "%", "12.3 %"],
    [12345, "count", "12,345"], [7, "", "7"], [3, "per s", "3 per s"], [NaN, "W", "–"],
    [1e-7, "", "1.00e-7"],
  ];
  for (const [value, unit, text] of cases) assert.equal(plain(formatValue(value, unit)), text);
});

test("hovering tells every digit, in the unit of the run", () => {
  assert.equal(plain(exactValue(1234.56789, "MHz")), "1,234.56789 MHz");
  assert.equal(plain(exactValue(0.1, "J")), "0.1 J");
  assert.equal(exactValue(NaN, "J"), "–");
});

test("lengths of time", () => {
  const cases = [[0.00125, "1.25 ms"], [12.34, "12.3 s"], [99.6, "99.6 s"], [125, "2 min 5 s"],
    [3725, "1 h 2 min"], [-125, "−2 min 5 s"], [0, "0 s"], [Infinity, "–"]];
  for (const [seconds, text] of cases) assert.equal(plain(formatSpan(seconds)), text);
});

test("numbers, shares, bases", () => {
  assert.equal(formatNumber(1234567), "1,234,567");
  assert.equal(formatNumber(0.12345), "0.123");
  assert.deepEqual([0, 1, 1234].map((count) => counted(count, "row", "rows")),
    ["0 rows", "1 row", "1,234 rows"]);
  assert.equal(plain(formatShare(0.1234)), "12.3 %");
  assert.equal(plain(formatShare(0.0001)), "< 0.1 %");
  assert.equal(formatShare(NaN), "–");
  assert.deepEqual(inBase(5, "ms"), { value: 0.005, base: "s" });
  assert.deepEqual(inBase(5, "widgets"), { value: 5, base: "widgets" });
});
