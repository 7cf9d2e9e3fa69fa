import assert from "node:assert/strict";
import { test } from "node:test";
import { awake, idleShade, nameShade } from "../../exporters/html/page/colors.js";
import { openRun } from "../../exporters/html/page/model.js";
import { paintLine, paintProcess, paintStack, pixelOf, wideStretches, groundOf, mixed }
  from "../../exporters/html/page/painter.js";
import { addShare, averageOf, emptyStack, processorComposer, statesComposer }
  from "../../exporters/html/page/stack.js";
import { createFixture, createRandom } from "./fixture.js";

const idleStates = [["Active", 0], ["C1", 0.4], ["C6", 1]];

/** The layers of a column as an object: name to share. */
const layersAt = (stack, column) => Object.fromEntries(Array.from({ length: stack.used[column] }, (_, i) => {
  const at = column * stack.slots + i;
  return [stack.layers[stack.layer[at]].name, Number(stack.share[at].toFixed(3))];
}));

/** What a CPU's lane shows in columns of a second, of tasks, kinds of time and idle states. */
function processor({ tasks, times, idle }, width) {
  const fixture = createFixture({ durationSec: width });
  const of = {};
  const add = (name, index) => { of[name] = index; };
  if (tasks) add("busy", fixture.states({ role: "task" }, ["idle", "sh", "make"], tasks));
  if (times) add("busy", fixture.residencies({ role: "cpuTime" }, [["user", 0], ["system", 0], ["idle", 1]], times));
  if (idle) add("idle", fixture.states({ role: "idle" }, idleStates, idle));
  const run = openRun(fixture.json(), fixture.buffer());
  const [busy, resting] = [run.series[of.busy], run.series[of.idle]];
  return processorComposer(busy, resting, false)(busy?.shares(0, width, width) ?? null,
    resting?.shares(0, width, width) ?? null, width);
}

const cases = {
  "tasks below, idle states above": [{ tasks: [[0, 0.25, 1], [0.25, 0.75, 0]],
    idle: [[0, 0.25, 0], [0.25, 0.75, 2]] }, { sh: 0.25, C6: 0.75 }],
  "awake without a task that is known": [{ idle: [[0, 0.5, 0], [0.5, 0.5, 1]] }, { Active: 0.5, C1: 0.5 }],
  "idle without a state that is known": [{ tasks: [[0, 0.5, 2], [0.5, 0.5, 0]] }, { make: 0.5, idle: 0.5 }],
  "awake while no task runs": [{ tasks: [[0, 1, 0]], idle: [[0, 0.1, 0], [0.1, 0.9, 2]] },
    { Active: 0.1, C6: 0.9 }],
  "a task that runs while the state still says idle": [{ tasks: [[0, 1, 1]], idle: [[0, 1, 2]] }, { sh: 1 }],
  "kinds of time, idle by its states": [{ times: [[0, 1, [0.2, 0.1, 0.7]]], idle: [[0, 0.3, 0], [0.3, 0.7, 2]] },
    { user: 0.2, system: 0.1, C6: 0.7 }],
  "kinds of time alone": [{ times: [[0, 1, [0.2, 0.1, 0.7]]] }, { user: 0.2, system: 0.1, idle: 0.7 }],
  "a gap is a gap": [{ tasks: [[0.5, 0.5, 1]], idle: [[0.5, 0.5, 0]] }, { sh: 0.5 }],
};
for (const [what, [series, expected]] of Object.entries(cases)) {
  test(`a CPU's lane shows ${what}`, () => {
    assert.deepEqual(layersAt(processor(series, 1), 0), expected);
  });
}

test("shares stand in the order of their layers, whatever order they came in", () => {
  const random = createRandom(8);
  const layers = Array.from({ length: 20 }, (_, i) => ({ name: `L${i}`, shade: awake, idle: false }));
  const stack = emptyStack(50, layers);
  for (let column = 0; column < 50; column++) {
    let sum = 0;
    for (let i = 0; i < 18; i++) {
      const amount = random() / 18;
      addShare(stack, column, Math.floor(20 * random()), amount);
      sum += amount;
    }
    const used = stack.layer.slice(column * stack.slots, column * stack.slots + stack.used[column]);
    assert.deepEqual([...used], [...new Set(used)].sort((a, b) => a - b));
    const shares = stack.share.slice(column * stack.slots, column * stack.slots + stack.used[column]);
    assert.ok(Math.abs(shares.reduce((a, b) => a + b, 0) - sum) < 1e-5);
  }
});

test("the average of CPUs is how many were busy, and how the others slept", () => {
  const busy = processor({ tasks: [[0, 1, 1]], idle: [[0, 1, 0]] }, 1);
  const asleep = processor({ tasks: [[0, 1, 0]], idle: [[0, 1, 2]] }, 1);
  const half = processor({ idle: [[0, 0.5, 0], [0.5, 0.5, 1]] }, 1);
  const gap = processor({ idle: [[5, 1, 1]] }, 1);
  assert.deepEqual(layersAt(averageOf([busy, asleep, half, gap], 1), 0),
    { busy: 0.375, C1: 0.125, C6: 0.25 });
});

/** The colours of a column from the bottom up, in words. */
function painted(stack, height) {
  const pixels = { data: new Uint32Array(stack.width * height), width: stack.width, height };
  paintStack(pixels, stack);
  const names = new Map([[0, "-"], ...stack.layers.map(({ name, shade }) => [shade.pixel, name])]);
  return (x) => Array.from({ length: height }, (_, y) => names.get(pixels.data[(height - 1 - y) * stack.width + x]));
}

test("pixels are as many as the shares, and short work has one", () => {
  const stack = processor({ tasks: [[0, 0.5, 1], [0.5, 0.5, 0], [1, 0.01, 2], [1.01, 0.99, 0]],
    idle: [[0, 0.5, 0], [0.5, 0.5, 2], [1, 0.01, 0], [1.01, 0.99, 2]] }, 3);
  const column = painted(stack, 4);
  assert.deepEqual(column(0), ["sh", "sh", "C6", "C6"]);
  assert.deepEqual(column(1), ["make", "C6", "C6", "C6"]);
  assert.deepEqual(column(2), ["-", "-", "-", "-"]);
});

test("names are written where one layer has the height for long enough", () => {
  const stack = processor({ idle: [[0, 3, 2], [3, 1, 1], [4, 4, 2]] }, 10);
  const found = wideStretches(stack, 3).map(({ from, to, layer }) => [from, to, stack.layers[layer].name]);
  assert.deepEqual(found, [[0, 3, "C6"], [4, 8, "C6"]]);
});

test("states of devices have the colours of their names, idle ones their depth", () => {
  const fixture = createFixture({ durationSec: 2 });
  fixture.states({}, ["active", "broken"], [[0, 1, 1], [1, 1, 0]]);
  const [series] = openRun(fixture.json(), fixture.buffer()).series;
  const stack = statesComposer(series, false)(series.shares(0, 2, 2));
  assert.deepEqual([layersAt(stack, 0), layersAt(stack, 1)], [{ broken: 1 }, { active: 1 }]);
  assert.equal(stack.layers[0].shade.css, nameShade("active", false).css);
  const cpu = processor({ idle: [[0, 1, 2]] }, 1);
  assert.equal(cpu.layers.find(({ name }) => name === "C6").shade.css, idleShade(1, false).css);
});

test("a line breaks where nothing is known, and stays within the lane", () => {
  const [width, height] = [6, 12];
  const pixels = { data: new Uint32Array(width * height), width, height };
  const ground = groundOf(false);
  paintLine(pixels, Float64Array.of(0, 50, NaN, 100, 1e9, -5), 100, ground, 1);
  const inkIn = (x) => Array.from({ length: height }, (_, y) => y)
    .filter((y) => pixels.data[y * width + x] === ground.ink);
  assert.deepEqual(inkIn(2), []);
  assert.deepEqual(inkIn(0), [10]);
  assert.deepEqual(inkIn(3), [1]);
  assert.deepEqual(inkIn(1), [6, 7, 8, 9, 10], "joined with the column before");
  assert.equal(Math.max(...inkIn(5)), 10);
});

test("a process is pale while it lives and full where it is used", () => {
  const [width, height] = [10, 10];
  const pixels = { data: new Uint32Array(width * height), width, height };
  const ground = groundOf(true);
  const color = pixelOf([200, 100, 50]);
  paintProcess(pixels, { from: 2, to: 8 }, Float64Array.from({ length: width }, (_, x) => (x === 4 ? 1 : x === 5 ? 1e-6 : 0)),
    color, ground);
  const count = (x, pixel) => Array.from({ length: height }, (_, y) => pixels.data[y * width + x])
    .filter((one) => one === pixel).length;
  assert.equal(count(1, ground.ground), height);
  assert.equal(count(2, color), height - 2, "its begin");
  assert.equal(count(3, mixed(ground.ground, color, 0.25)), height - 2);
  assert.equal(count(4, color), height - 2);
  assert.equal(count(5, color), 1, "the least use shows");
  assert.equal(count(8, ground.ground), height);
});
