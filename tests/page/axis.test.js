import assert from "node:assert/strict";
import { test } from "node:test";
import { formatTime, ticks, tickStep } from "../../exporters/html/page/axis.js";
import { createView } from "../../exporters/html/page/view.js";
import { followKey } from "../../exporters/html/page/navigate.js";
import { createRandom } from "./fixture.js";

const plain = (text) => text.replace(/[\u2009\u00a0]/g, " ");

test("ticks are round, within the window and no more than asked for", () => {
  const random = createRandom(6);
  for (let i = 0; i < 400; i++) {
    const length = 10 ** (12 * random() - 6);
    const from = 1000 * random() - 10;
    const count = 2 + Math.floor(10 * random());
    const found = ticks(from, from + length, count);
    const step = tickStep(length, count);
    assert.ok(found.length <= count + 1 && found.length >= Math.floor(count / 4), `${found.length} of ${count} in ${length}`);
    for (const sec of found) {
      assert.ok(sec >= from - step * 1e-6 && sec <= from + length + step * 1e-6);
      assert.ok(Math.abs(sec / step - Math.round(sec / step)) < 1e-6);
    }
  }
  assert.deepEqual(ticks(0, 10, 5), [0, 2, 4, 6, 8, 10]);
  assert.deepEqual(ticks(0, 600, 6), [0, 120, 240, 360, 480, 600]);
});

for (const [sec, step, text] of [[1.25, 0.05, "1.25 s"], [0.000125, 1e-6, "0.000 125 s"], [125, 5, "2:05"],
  [3725, 60, "1:02:05"], [-0.5, 0.1, "−0.5 s"], [-0.0001, 1, "0 s"], [65.25, 0.25, "65.3 s"], [59.6, 1, "1:00"],
  [10, 1e-12, "10.000 000 000 s"]]) {
  test(`${sec} s in steps of ${step} s reads "${text}"`, () => {
    assert.equal(plain(formatTime(sec, step)), text);
  });
}

test("keys zoom, pan, show the whole run and loose the pin; keys of the browser are left alone", () => {
  const host = { requestAnimationFrame() {}, setTimeout() {}, clearTimeout() {} };
  const view = createView({ fromSec: 0, toSec: 16 }, host);
  const press = (key, more = {}) => followKey(view, { key, ...more });
  const window = () => [view.fromSec, view.toSec];
  assert.ok(press("+"));
  assert.deepEqual(window(), [4, 12]);
  assert.ok(press("ArrowRight", { shiftKey: true }));
  assert.deepEqual(window(), [8, 16]);
  assert.ok(press("ArrowLeft"));
  assert.deepEqual(window().map((sec) => Number(sec.toFixed(9))), [7.2, 15.2]);
  assert.ok(press("Home"));
  assert.deepEqual(window(), [0, 16]);
  view.setCursor(0);
  assert.ok(press("="));
  assert.deepEqual(window(), [0, 8], "about the cursor");
  view.pin(3);
  assert.ok(press("Escape"));
  assert.equal(view.pinnedSec, null);
  assert.equal(press("+", { ctrlKey: true }), false);
  assert.equal(press("a"), false);
});
