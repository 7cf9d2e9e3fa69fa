import assert from "node:assert/strict";
import { test } from "node:test";
import { lanesOf } from "../../exporters/html/page/lanelist.js";
import { openRun } from "../../exporters/html/page/model.js";
import { readingsAt, shortReading, summaryOf } from "../../exporters/html/page/readings.js";
import { createFixture } from "./fixture.js";

const plain = (text) => text.replace(/[\u2009\u00a0]/g, " ");
const told = (lane, sec) => readingsAt(lane, sec, 0.01).map(({ title, text, span }) =>
  plain(`${title}: ${text}${span && ` | ${span}`}`));
const idle = [["Active", 0], ["C6", 1]];

function lanesFor(fill) {
  const fixture = createFixture();
  fill(fixture);
  return lanesOf(openRun(fixture.json(), fixture.buffer()));
}

test("a CPU tells its task, idle state and frequency with units and their spans", () => {
  const [cpu] = lanesFor((fixture) => {
    const entity = fixture.entity("CPU0", "cpu");
    fixture.states({ role: "task", metric: "Running Task", entity }, ["idle", "sh"], [[0, 1, 1], [1, 1, 0]]);
    fixture.states({ role: "idle", metric: "CPU Idle State", entity }, idle, [[0, 1, 0], [1, 1, 1]]);
    fixture.values({ role: "frequency", metric: "CPU Frequency", entity, unit: "MHz" }, [[0, 2, 1800]]);
  });
  assert.deepEqual(told(cpu, 0.5), ["Task: sh | 0.00 s to 1.00 s, 1 s", "Idle state: Active | 0.00 s to 1.00 s, 1 s",
    "Frequency: 1,800 MHz | 0.00 s to 2.00 s, 2 s"]);
  assert.equal(plain(shortReading(cpu, 0.5)), "sh · 1.8 GHz");
  assert.equal(plain(shortReading(cpu, 1.5)), "C6 · 1.8 GHz");
  assert.deepEqual(told(cpu, 3), ["Task: no data", "Idle state: no data", "Frequency: no data"]);
  assert.equal(plain(summaryOf(cpu, 0, 2)), "CPU0: Task idle 50.0 %, sh 50.0 %; Idle state Active 50.0 %, C6 50.0 %; " +
    "Frequency 1.8 GHz to 1.8 GHz, mean 1.8 GHz");
});

test("a bin tells its span, minimum, mean and maximum, or the shares of its states", () => {
  const fixture = createFixture({ durationSec: 4 });
  const entity = fixture.entity("CPU0", "cpu");
  fixture.binned(1, 1);
  fixture.binnedStates({ role: "idle", entity }, idle, [[0, 0.25, 0], [0.25, 0.75, 1]]);
  fixture.binnedValues({ role: "frequency", entity, unit: "MHz" }, [0, 4000], [[0, 0.5, 1000], [0.5, 0.5, 3000]]);
  const [cpu] = lanesOf(openRun(fixture.json(), fixture.buffer()));
  assert.deepEqual(told(cpu, 0.1), ["Idle state: C6 75.0 %, Active 25.0 % | bin of 0.00 s to 1.00 s, 1 s",
    "Frequency: minimum 1 GHz, mean 2 GHz, maximum 3 GHz | bin of 0.00 s to 1.00 s, 1 s"]);
});

test("a folded package tells how many of its CPUs did what", () => {
  const [top] = lanesFor((fixture) => {
    const parent = fixture.entity("Package0", "package");
    for (const state of [0, 1, 1]) {
      const entity = fixture.entity(`CPU${state}`, "cpu", parent);
      fixture.states({ role: "idle", entity }, idle, [[0, 1, state]]);
    }
  });
  assert.deepEqual(told(top, 0.5), ["CPUs: 2 C6, 1 busy of 3 CPUs"]);
  assert.equal(shortReading(top, 0.5), "1 of 3 busy");
  assert.deepEqual(told(top, 5), ["CPUs: 3 unknown of 3 CPUs"]);
});

test("processes tell lifetime and use, events their text, and hostile names are plain", () => {
  const [section, events] = lanesFor((fixture) => {
    const entity = fixture.entity("sh (7)", "process");
    fixture.run.processes.push({ entity, pid: 7, name: "sh\u202e", fromSec: null, toSec: 3 });
    fixture.values({ role: "processTime", entity, unit: "%", rate: true, factor: 100, totalUnit: "s" }, [[0, 2, 0.5]]);
    fixture.events({ metric: "Marks", label: "Marks" }, [[1, 0, "go\u0007"]]);
  });
  const [process] = section.children;
  assert.equal(process.label, "sh\\u202e");
  assert.deepEqual(told(process, 1), ["Lifetime: since before to 3.000 s",
    "Processor time: 25 % (500 ms) | 0.00 s to 2.00 s, 2 s"]);
  assert.deepEqual(told(events.children[0], 1.005), ["Marks: go\\u0007 | 1.000 000 s"]);
  assert.deepEqual(told(events.children[0], 2), ["Marks: no data"]);
});
