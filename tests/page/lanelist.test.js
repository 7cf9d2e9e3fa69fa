import assert from "node:assert/strict";
import { test } from "node:test";
import { lanesOf, seriesOf, shownInLanes } from "../../exporters/html/page/lanelist.js";
import { createLaneOrder } from "../../exporters/html/page/laneorder.js";
import { openRun } from "../../exporters/html/page/model.js";
import { createFixture } from "./fixture.js";

const idle = [["Active", 0], ["C6", 1]];

/** Packages of two cores of so many CPUs each, a device, processes, events and a temperature. */
function machine({ packages = 2, perCore = 2, processes = 3 } = {}) {
  const fixture = createFixture();
  let number = 0;
  for (let p = 0; p < packages; p++) {
    const top = fixture.entity(`Package${p}`, "package");
    for (let c = 0; c < 2; c++) {
      const core = fixture.entity(`Core${2 * p + c}`, "core", top);
      for (let i = 0; i < perCore; i++) {
        const entity = fixture.entity(`CPU${number++}`, "cpu", core);
        fixture.states({ role: "idle", metric: "CPU Idle State", feature: "cstate-trace", entity }, idle, [[0, 1, 1]]);
        fixture.values({ role: "frequency", metric: "CPU Frequency", entity, unit: "MHz" }, [[0, 1, 1200]]);
      }
    }
  }
  const device = fixture.entity("usb1", "device");
  fixture.states({ role: "deviceState", metric: "Runtime PM Status", entity: device }, ["active"], [[0, 1, 0]]);
  for (let pid = 1; pid <= processes; pid++) {
    fixture.run.processes.push({ entity: -1, pid, name: "make", fromSec: 0, toSec: null });
  }
  fixture.events({ metric: "Process Events", label: "Process Events" }, [[1, 0, "exec"]]);
  fixture.values({ role: "temperature", metric: "Temperature" }, [[0, 1, 40]]);
  return openRun(fixture.json(), fixture.buffer());
}

const labels = (lanes) => lanes.map(({ depth, label }) => "  ".repeat(depth) + label);
const find = (order, label) => order.rows("").find((lane) => lane.label === label);

test("lanes are a tree of packages, cores and CPUs, then devices, processes and events", () => {
  const order = createLaneOrder(lanesOf(machine({ packages: 1, processes: 1 })));
  assert.deepEqual(labels(order.rows("")), ["Package0", "  Core0", "    CPU0", "    CPU1", "  Core1",
    "    CPU2", "    CPU3", "Devices", "  usb1", "Processes", "  make", "Events", "  Process Events"]);
  assert.deepEqual(Object.keys(find(order, "CPU1").parts).sort(), ["frequency", "idle"]);
  assert.deepEqual(find(order, "Package0").cpus.map(({ label }) => label), ["CPU0", "CPU1", "CPU2", "CPU3"]);
});

test("cores of one CPU are left out, CPUs without a package have a line of their own", () => {
  const order = createLaneOrder(lanesOf(machine({ packages: 1, perCore: 1 })));
  assert.deepEqual(labels(order.rows("")).slice(0, 3), ["Package0", "  CPU0", "  CPU1"]);
  assert.deepEqual(labels(order.rows("core1")), ["Package0", "  CPU1"]);
  const fixture = createFixture();
  for (const name of ["CPU10", "CPU2"]) {
    fixture.states({ role: "idle", entity: fixture.entity(name, "cpu") }, idle, [[0, 1, 0]]);
  }
  const loose = lanesOf(openRun(fixture.json(), fixture.buffer()));
  assert.deepEqual(labels(createLaneOrder(loose).rows("")), ["CPUs", "  CPU2", "  CPU10"], "by number");
});

test("further series of a role are lanes of their own; every series of states or events has one", () => {
  const fixture = createFixture();
  const entity = fixture.entity("CPU0", "cpu");
  fixture.states({ role: "idle", metric: "CPU Idle State", entity }, idle, [[9, 1, 0]]);
  fixture.states({ role: "idle", metric: "Core C-State", entity }, idle, [[0, 10, 0]]);
  fixture.states({ role: "other", metric: "Throttling", entity: -1 }, ["on"], [[0, 1, 0]]);
  fixture.values({ role: "power" }, [[0, 1, 5]]);
  fixture.values({ role: "frequency", entity: -1 }, [[0, 1, 5]]);
  const run = openRun(fixture.json(), fixture.buffer());
  const order = createLaneOrder(lanesOf(run));
  assert.deepEqual(labels(order.rows("")), ["CPU0", "States", "  Metric"]);
  assert.equal(find(order, "CPU0").parts.idle.metric, "Core C-State", "known for longer");
  order.fold(find(order, "CPU0"));
  assert.deepEqual(labels(order.rows("")).slice(0, 2), ["CPU0", "  CPU Idle State"]);
  assert.deepEqual([...shownInLanes(lanesOf(run))].map(({ index }) => index).sort(), [0, 1, 2]);
});

test("a process has the lane of its lifetime and use; many are folded behind the first", () => {
  const fixture = createFixture();
  for (let pid = 1; pid <= 40; pid++) {
    const entity = fixture.entity(`sh (${pid})`, "process");
    fixture.run.processes.push({ entity, pid, name: "sh", fromSec: 0, toSec: null });
    fixture.values({ role: "processTime", entity, unit: "%" }, [[0, 1, 5]]);
  }
  const run = openRun(fixture.json(), fixture.buffer());
  const order = createLaneOrder(lanesOf(run));
  assert.equal(order.rows("").length, 1 + 12 + 1);
  assert.equal(order.rows("").at(-1).label, "Others");
  assert.deepEqual(seriesOf(order.rows("")[3]), [run.series[2]]);
  assert.deepEqual(labels(order.rows("sh 39")), ["Processes", "  Others", "    sh"]);
});

test("states of several metrics have a section each, folded behind the first", () => {
  const fixture = createFixture();
  for (const metric of ["Device D-State", "Device Status"]) {
    for (let i = 0; i < 10; i++) {
      const entity = fixture.entity(`pci ${i}`, "device");
      fixture.states({ role: "deviceState", metric, entity }, ["D0"], [[0, 1, 0]]);
    }
  }
  const order = createLaneOrder(lanesOf(openRun(fixture.json(), fixture.buffer())));
  assert.equal(order.rows("").length, 1 + 1 + 10 + 1);
  assert.deepEqual(labels(order.rows("")).slice(0, 3), ["Devices", "  Device D-State", "    pci 0"]);
  assert.deepEqual(labels(order.rows("status 3")), ["Devices", "  Device Status", "    pci 3"]);
});

test("folding by level shows packages, cores or CPUs; a large machine begins with packages", () => {
  const order = createLaneOrder(lanesOf(machine()));
  const count = (level) => {
    order.foldTo(level);
    return order.rows("").filter((lane) => ["package", "core", "cpu"].includes(lane.level)).length;
  };
  assert.equal(count("package"), 2);
  assert.equal(count("core"), 2 + 4);
  assert.equal(count("cpu"), 2 + 4 + 8);
  order.fold(find(order, "Core0"));
  assert.equal(order.rows("").filter(({ level }) => level === "cpu").length, 6);
  const large = createLaneOrder(lanesOf(machine({ packages: 20 })));
  assert.equal(large.rows("").filter(({ level }) => level === "cpu").length, 0);
});

for (const [filter, expected] of [
  ["cpu3", ["Package0", "  Core1", "    CPU3"]], ["USB runtime", ["Devices", "  usb1"]],
  ["cstate-trace cpu0", ["Package0", "  Core0", "    CPU0"]], ["devices", ["Devices", "  usb1"]],
  ["nothing of this", []], ["exec", []]]) {
  test(`a search for "${filter}" finds lanes below what they belong to, folded or not`, () => {
    const order = createLaneOrder(lanesOf(machine({ packages: 1 })));
    order.foldTo("package");
    assert.deepEqual(labels(order.rows(filter)), expected);
  });
}

test("lanes are hidden with what is below them, and come back", () => {
  const order = createLaneOrder(lanesOf(machine()));
  const before = labels(order.rows(""));
  const [package0, core2] = [find(order, "Package0"), find(order, "Core2")];
  order.hide(package0);
  order.hide(core2);
  assert.deepEqual(order.hidden(), [core2, package0]);
  assert.ok(!labels(order.rows("")).some((label) => /Package0|CPU[0-5]$/.test(label)));
  assert.deepEqual(labels(order.rows("cpu0")), []);
  order.show(package0);
  order.show(core2);
  assert.deepEqual(labels(order.rows("")), before);
});

test("lanes move among those of the same parent", () => {
  const order = createLaneOrder(lanesOf(machine()));
  const [core0, core1, core2] = ["Core0", "Core1", "Core2"].map((label) => find(order, label));
  assert.equal(order.move(core0, -1), false);
  assert.equal(order.move(core0, 1), true);
  assert.deepEqual(core0.parent.children, [core1, core0]);
  assert.equal(order.moveTo(core2, core0, false), false);
  assert.equal(order.moveTo(core0, core1, false), true);
  assert.deepEqual(core0.parent.children, [core0, core1]);
  const [package0, package1, devices] = order.roots;
  order.hide(package1);
  order.move(package0, 1);
  assert.deepEqual(order.roots.slice(0, 3), [package1, devices, package0], "behind the next that is shown");
});
