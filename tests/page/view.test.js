import assert from "node:assert/strict";
import { test } from "node:test";
import { createView, hashOfWindow, shortestSec, windowOfHash, withinLimits, zoomed }
  from "../../exporters/html/page/view.js";
import { createRandom } from "./fixture.js";

const limits = { fromSec: -1, toSec: 9 };

/** What the view needs of a browser's window; frames and timers are run by hand. */
function createHost(hash = "") {
  const waiting = [];
  const host = {
    location: { hash }, measures: [], told: [],
    addEventListener: (_, fn) => { host.onHash = fn; },
    history: { replaceState: (_, __, to) => { host.told.push(to); } },
    performance: { now: () => 0, measure: (name) => host.measures.push(name) },
    requestAnimationFrame: (fn) => waiting.push(fn),
    setTimeout: (fn) => waiting.push(fn),
    clearTimeout: () => {},
    run() { while (waiting.length) waiting.shift()(); },
  };
  return host;
}

test("a window stays within the run and is never shorter than a microsecond", () => {
  const random = createRandom(5);
  for (let i = 0; i < 500; i++) {
    const from = 30 * random() - 15;
    const got = withinLimits({ fromSec: from, toSec: from + 20 * random() ** 12 }, limits);
    assert.ok(got.fromSec >= limits.fromSec && got.toSec <= limits.toSec);
    assert.ok(got.toSec - got.fromSec >= shortestSec * 0.999);
  }
  assert.deepEqual(withinLimits({ fromSec: NaN, toSec: 3 }, limits), limits);
  assert.deepEqual(withinLimits({ fromSec: -50, toSec: 50 }, limits), limits);
  assert.deepEqual(withinLimits({ fromSec: 8, toSec: 10 }, limits), { fromSec: 7, toSec: 9 });
});

test("zooming keeps what is below the pointer where it is", () => {
  const window = zoomed({ fromSec: 2, toSec: 6 }, 0.5, 3);
  assert.deepEqual(window, { fromSec: 2.5, toSec: 4.5 });
  assert.equal((3 - window.fromSec) / 2, (3 - 2) / 4);
});

test("zooming in ends at a microsecond, about the pointer", () => {
  const view = createView(limits, createHost());
  for (let i = 0; i < 100; i++) view.zoom(0.5, 4.25);
  assert.ok(Math.abs(view.lengthSec - shortestSec) < 1e-9);
  assert.ok(view.fromSec <= 4.25 && view.toSec >= 4.25);
  for (let i = 0; i < 100; i++) view.zoom(2, 4.25);
  assert.ok(view.isWhole);
});

test("the address tells the window and brings it back", () => {
  for (const window of [{ fromSec: 0.25, toSec: 1.5 }, { fromSec: -0.5, toSec: 3 },
    { fromSec: 5.0000012, toSec: 5.0000034 }]) {
    const back = windowOfHash(hashOfWindow(window));
    assert.ok(Math.abs(back.fromSec - window.fromSec) < (window.toSec - window.fromSec) / 1000);
    assert.ok(Math.abs(back.toSec - window.toSec) < (window.toSec - window.fromSec) / 1000);
  }
  for (const bad of ["", "#t=", "#t=3", "#t=3,1", "#t=1,2px", "#t=a,b", "#x"]) {
    assert.equal(windowOfHash(bad), null, bad);
  }
});

test("the window is in the address a moment after it has moved, and read from it", () => {
  const host = createHost("#t=1,3");
  const view = createView(limits, host);
  assert.deepEqual([view.fromSec, view.toSec], [1, 3]);
  view.setWindow(2, 4);
  host.run();
  assert.deepEqual(host.told, ["#t=2,4"]);
  host.location.hash = "#t=5,6";
  host.onHash();
  assert.deepEqual([view.fromSec, view.toSec], [5, 6]);
  view.showAll();
  host.run();
  assert.equal(host.told.at(-1), "#");
});

test("subscribers are called once per frame, with all that has changed", () => {
  const host = createHost();
  const view = createView(limits, host);
  const calls = [];
  view.subscribe((changes) => calls.push([...changes]));
  view.setWindow(1, 2);
  view.pan(0.5);
  view.setCursor(1.2);
  view.pin(1.3);
  host.run();
  assert.deepEqual(calls, [["window", "cursor", "pin"]]);
  view.setCursor(1.2);
  view.setFilter("");
  view.setDark(false);
  host.run();
  assert.equal(calls.length, 1, "nothing has changed");
  view.setFilter("CPU1");
  view.drawNow();
  assert.deepEqual(calls[1], ["lanes"]);
  host.run();
  assert.equal(calls.length, 2, "drawn already");
  assert.deepEqual(host.measures, ["tavrin-redraw"], "frames in which the window moved");
});

test("panning stops at the ends without changing the length", () => {
  const view = createView(limits, createHost());
  view.setWindow(7, 9);
  assert.equal(view.pan(1), false);
  view.pan(-100);
  assert.deepEqual([view.fromSec, view.toSec], [-1, 1]);
});
