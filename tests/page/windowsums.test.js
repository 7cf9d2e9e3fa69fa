import test from "node:test";
import assert from "node:assert/strict";
import { openRun } from "../../exporters/html/page/model.js";
import { rankings, stateGroups } from "../../exporters/html/page/windowsums.js";
import { createFixture } from "./fixture.js";

/** The end of a generator, and how often it stopped on the way. */
function finish(steps) {
  let [step, stops] = [steps.next(), 0];
  for (; !step.done; step = steps.next()) ++stops;
  return { result: step.value, stops };
}

/** Two CPUs for ten seconds, with their tasks, and two processes. */
function sampleRun() {
  const fixture = createFixture({ durationSec: 10 });
  const cpus = ["CPU0", "CPU1"].map((name) => fixture.entity(name, "cpu"));
  const process = fixture.entity("make (10)", "process");
  const idle = [["Busy", 0], ["C6", 1]];
  fixture.states({ metric: "CPU C-State", role: "idle", entity: cpus[0] }, idle,
    [[0, 4, 0], [4, 6, 1]]);
  fixture.states({ metric: "CPU C-State", role: "idle", entity: cpus[1] }, idle, [[0, 5, 1]]);
  const tasks = ["idle", "cc", "make"];
  fixture.states({ metric: "Task", role: "task", entity: cpus[0] }, tasks,
    [[0, 1, 1], [1, 3, 2], [4, 6, 0]]);
  fixture.states({ metric: "Task", role: "task", entity: cpus[1] }, tasks, [[0, 5, 1]]);
  fixture.values({ metric: "Process Energy", role: "processEnergy", entity: process, rate: true,
    unit: "W", totalUnit: "J", factor: 1, totalFactor: 1 }, [[0, 10, 30]]);
  return openRun(fixture.json(), fixture.buffer());
}

test("tasks are ranked by their time on all CPUs, without idle ones", () => {
  const { result, stops } = finish(rankings(sampleRun(), 0, 10));
  assert.deepEqual(result[0], { title: "Tasks by processor time", unit: "s",
    uses: [{ name: "cc", amount: 6 }, { name: "make", amount: 3 }] });
  assert.ok(stops >= 3, "it stops after each series");
  const { uses } = finish(rankings(sampleRun(), 2, 5)).result[0];
  assert.deepEqual(uses, [{ name: "cc", amount: 3 }, { name: "make", amount: 2 }]);
});

test("processes are ranked by energy, in the unit of the total", () => {
  const found = finish(rankings(sampleRun(), 0, 5)).result;
  assert.deepEqual(found.map(({ title }) => title),
    ["Tasks by processor time", "Processes by energy"]);
  assert.equal(found[1].unit, "J");
  assert.equal(found[1].uses[0].name, "make (10)");
  assert.ok(Math.abs(found[1].uses[0].amount - 15) < 1e-9);
});

test("states of the window, with what is unknown, and their sum first", () => {
  const [group] = finish(stateGroups(sampleRun(), 2, 10)).result;
  const seen = group.stacks.map(({ name, parts, unknownSec }) =>
    [name, parts.map((part) => [part.name, part.seconds]), unknownSec]);
  assert.deepEqual(seen, [
    ["all", [["Busy", 2], ["C6", 9]], 5],
    ["CPU0", [["Busy", 2], ["C6", 6]], 0],
    ["CPU1", [["C6", 3]], 5],
  ]);
});
