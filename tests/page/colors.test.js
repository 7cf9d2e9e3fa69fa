import assert from "node:assert/strict";
import { test } from "node:test";
import { assignColors, awake, idleShade, isIdleTask, luminanceOf, nameColor, nameShade, placesOf,
  stateColor } from "../../exporters/html/page/colors.js";
import { openRun } from "../../exporters/html/page/model.js";
import { createFixture } from "./fixture.js";

const isBlue = ({ rgb: [r, g, b] }) => b > r + 20 && b > g + 20;

test("idle states are blues, the deeper the darker; awake and tasks are none", () => {
  for (const dark of [false, true]) {
    let last = 1;
    for (let depth = 0.1; depth <= 1; depth += 0.1) {
      const { rgb } = idleShade(depth, dark);
      assert.ok(isBlue({ rgb }), `depth ${depth}: ${rgb}`);
      assert.ok(luminanceOf(rgb) < last, `depth ${depth}`);
      last = luminanceOf(rgb);
    }
  }
  assert.ok(!isBlue(awake));
  assert.deepEqual(idleShade(0, false), awake);
  for (let i = 0; i < 100; i++) assert.ok(!isBlue(nameShade(`task${i}`, false)));
});

test("the shallowest and the deepest state differ at a look, on either ground", () => {
  for (const dark of [false, true]) {
    const [shallow, deep] = [0.1, 1].map((depth) => luminanceOf(idleShade(depth, dark).rgb) + 0.05);
    assert.ok(shallow / deep > 3, `${dark}: ${shallow / deep}`);
  }
});

test("several awake states are told apart by their names", () => {
  const fixture = createFixture();
  fixture.states({ role: "cpuTime" }, [["user", 0], ["system", 0], ["idle", 1]], [[0, 1, 0]]);
  const [series] = openRun(fixture.json(), fixture.buffer()).series;
  const colors = [0, 1, 2].map((state) => stateColor(series, state, false));
  assert.equal(new Set([...colors, awake.css]).size, 4);
  assert.equal(colors[0], nameColor("user", false));
});

test("texts on colours have contrast", () => {
  for (const name of Array.from({ length: 60 }, (_, i) => `name ${i}`)) {
    const { rgb, ink } = nameShade(name, false);
    const ground = luminanceOf(rgb) + 0.05;
    const contrast = ink === "#000" ? ground / 0.05 : 1.05 / ground;
    assert.ok(contrast >= 4.5, `${name}: ${contrast}`);
  }
});

test("a name has one colour in every run as long as no other needs it", () => {
  const names = Array.from({ length: 12 }, (_, i) => `task${i}`);
  assert.equal(new Set(placesOf(names).values()).size, 12);
  assert.deepEqual([...placesOf(["sh", "make"])], [...placesOf(["sh", "make", "sh"])]);
  assert.equal(placesOf([...names, "one more"]).size, 13);
});

test("the tasks that ran longest have colours that no other has", () => {
  const names = Array.from({ length: 40 }, (_, i) => `task ${String.fromCharCode(97 + i % 26)}${i}x`);
  const fixture = createFixture({ durationSec: 100 });
  fixture.states({ role: "task" }, names, names.map((_, i) => [i, i < 30 ? 0.1 : 0.9, i]));
  assignColors(openRun(fixture.json(), fixture.buffer()));
  const colors = names.slice(30).map((name) => nameColor(name, false));
  assert.equal(new Set(colors).size, 10);
});

test("states of series, tasks and processes of one name share their colour", () => {
  const fixture = createFixture();
  fixture.states({ role: "task" }, ["idle", "sh", "make"], [[0, 1, 1]]);
  fixture.states({ role: "deviceState" }, ["suspended", "active"], [[0, 1, 1]]);
  fixture.run.processes.push({ entity: -1, pid: 1, name: "make" });
  const run = openRun(fixture.json(), fixture.buffer());
  assignColors(run);
  const colors = [0, 1, 2, 3].map((state) => stateColor(run.series[0], state, false));
  assert.equal(colors[2], nameColor("make", false));
  assert.equal(colors[2], nameColor("make (77)", false));
  assert.equal(new Set(colors).size, 4);
  assert.match(colors[0], /^#[0-9a-f]{6}$/);
  assert.ok(isBlue(nameShade("idle", false)));
  assert.ok(isIdleTask("swapper/3") && !isIdleTask("swapperd"));
});

test("the deepest state of a run has the darkest blue, however deep it is", () => {
  const fixture = createFixture();
  fixture.states({ role: "idle" }, [["Active", 0], ["state0", 0.2], ["state1", 0.6]], [[0, 1, 1]]);
  const run = openRun(fixture.json(), fixture.buffer());
  assignColors(run);
  const shallow = stateColor(run.series[0], 1, false);
  assert.equal(stateColor(run.series[0], 2, false), "#0b3d91");
  assert.notEqual(shallow, "#0b3d91");
  assignColors(openRun({}, new ArrayBuffer(0)));
  assert.notEqual(stateColor(run.series[0], 2, false), "#0b3d91");
});
