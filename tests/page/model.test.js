import assert from "node:assert/strict";
import { test } from "node:test";
import { openRun } from "../../exporters/html/page/model.js";
import { createFixture, createRandom, naiveSeconds, naiveValues, randomPoints } from "./fixture.js";

const near = (actual, expected, slack, what) => {
  if (Number.isNaN(expected)) assert.ok(Number.isNaN(actual), `${what}: ${actual}, not nothing`);
  else assert.ok(Math.abs(actual - expected) <= slack, `${what}: ${actual}, not ${expected}`);
};

/** Windows of any length, some beyond the run. */
function windowsOf(random, durationSec, count) {
  return Array.from({ length: count }, () => {
    const length = durationSec * 10 ** (-4 * random());
    const from = (durationSec + length) * random() - length;
    return [from, from + length];
  });
}

function open(fixture) {
  return openRun(fixture.json(), fixture.buffer());
}

/** Shares of one column as a map, the others included. */
function sharesOfColumn(columns, column) {
  const shares = new Map();
  for (let slot = 0; slot < columns.slots; slot++) {
    const i = column * columns.slots + slot;
    if (columns.share[i] > 0) {
      shares.set(columns.state[i], (shares.get(columns.state[i]) ?? 0) + columns.share[i]);
    }
  }
  return shares;
}

test("columns of exact values are those of looking at every point", () => {
  const random = createRandom(1);
  for (const count of [1, 7, 300, 20000]) {
    const fixture = createFixture();
    const points = randomPoints(random, count, 10, () => 100 * random() - 20);
    fixture.values({ unit: "W" }, points);
    const [series] = open(fixture).series;
    for (const [from, to] of windowsOf(random, 10, 12)) {
      const columns = series.columns(from, to, 9);
      for (let i = 0; i < 9; i++) {
        const left = from + ((to - from) * i) / 9;
        const expected = naiveValues(points, left, from + ((to - from) * (i + 1)) / 9);
        for (const name of ["minimum", "mean", "maximum"]) {
          near(columns[name][i], expected[name], 1e-6, `${name} of ${count} points at ${left}`);
        }
      }
    }
  }
});

test("totals of exact values are those of looking at every point", () => {
  const random = createRandom(2);
  const fixture = createFixture();
  const points = randomPoints(random, 5000, 10, () => 100 * random());
  fixture.values({ unit: "W" }, points);
  const [series] = open(fixture).series;
  for (const [from, to] of windowsOf(random, 10, 40)) {
    const totals = series.totals(from, to);
    const expected = naiveValues(points, from, to);
    for (const name of ["minimum", "mean", "maximum", "integral", "coveredSec", "count"]) {
      near(totals[name], expected[name], 1e-6, `${name} of ${from} ... ${to}`);
    }
  }
});

test("a rate is the growth per second, its total the growth within the window", () => {
  const fixture = createFixture();
  fixture.values({ unit: "W", totalUnit: "J", rate: true, factor: 1e-6, totalFactor: 1e-6 },
    [[0, 2, 4e6], [2, 1, 9e6], [5, 1, 1e6]]);
  const [series] = open(fixture).series;
  assert.deepEqual([...series.columns(0, 6, 6).mean], [2, 2, 9, NaN, NaN, 1]);
  assert.equal(series.totals(1, 6).integral, 12);
  assert.equal(series.totals(1, 6).coveredSec, 3);
  assert.deepEqual(series.at(1.5), { fromSec: 0, toSec: 2, value: 2, total: 4 });
  assert.equal(series.at(4), null);
});

test("a length of 0 lasts until the next point, the last one until the end", () => {
  const fixture = createFixture({ durationSec: 8 });
  fixture.values({ factor: 0.5 }, [[1, 0, 10], [3, 0, 20]]);
  const [series] = open(fixture).series;
  assert.deepEqual(series.at(2.9), { fromSec: 1, toSec: 3, value: 5 });
  assert.deepEqual(series.at(7.9), { fromSec: 3, toSec: 8, value: 10 });
  assert.equal(series.at(0.5), null);
  assert.equal(series.at(8.5), null);
});

test("points that do not ascend are put in order", () => {
  const fixture = createFixture();
  fixture.values({}, [[4, 1, 40], [2, 1, 20], [0, 1, 10]]);
  const [series] = open(fixture).series;
  assert.deepEqual([...series.columns(0, 5, 5).mean], [10, NaN, 20, NaN, 40]);
  assert.equal(series.at(2.5).value, 20);
});

for (const states of [3, 12, 40]) {
  test(`shares and totals of ${states} exact states are those of every point`, () => {
    const random = createRandom(states);
    const names = Array.from({ length: states }, (_, i) => `S${i}`);
    const traced = randomPoints(random, 3000, 10, () => Math.floor(states * random() ** 2));
    const sampled = randomPoints(random, 500, 10, () => 0).map(([start, length]) => [start, length,
      names.map(() => Math.round((length / states) * random() * 1e6) / 1e6)]);
    const fixture = createFixture();
    fixture.states({}, names, traced);
    fixture.residencies({}, names, sampled);
    open(fixture).series.forEach((series, which) => {
      for (const [from, to] of windowsOf(random, 10, 12)) {
        checkShares(series, [traced, sampled][which], from, to);
      }
    });
  });
}

function checkShares(series, points, from, to) {
  const columns = series.shares(from, to, 5);
  for (let i = 0; i < 5; i++) {
    const width = (to - from) / 5;
    const expected = naiveSeconds(points, from + i * width, from + (i + 1) * width);
    const shares = sharesOfColumn(columns, i);
    const sum = (map) => [...map.values()].reduce((a, b) => a + b, 0);
    near(sum(shares), sum(expected) / width, 1e-4, "sum of the shares");
    shares.forEach((share, state) => {
      if (state === series.states.length) return;
      near(share, (expected.get(state) ?? 0) / width, 1e-4, `share of state ${state}`);
    });
    shares.delete(series.states.length);
    const longest = Math.max(0, ...expected.values());
    near(Math.max(0, ...shares.values()), longest / width, 1e-4, "the longest");
  }
  const totals = series.totals(from, to).seconds;
  const expected = naiveSeconds(points, from, to);
  expected.forEach((sec, state) => near(totals.get(state) ?? 0, sec, 1e-6, `state ${state}`));
}

test("hovering tells the state of a moment, of samples the shares of their interval", () => {
  const fixture = createFixture();
  fixture.states({}, ["Active", "C6"], [[0, 1, 0], [1, 2, 1]]);
  fixture.residencies({}, ["Active", "C6"], [[0, 4, [1, 3]]]);
  const [traced, sampled] = open(fixture).series;
  assert.deepEqual(traced.at(1.5), { fromSec: 1, toSec: 3, state: 1 });
  assert.equal(traced.at(3.5), null);
  assert.deepEqual(sampled.at(1.5), { fromSec: 0, toSec: 4,
    shares: [{ state: 1, share: 0.75 }, { state: 0, share: 0.25 }] });
  assert.equal(traced.stateName(1), "C6");
  assert.equal(traced.stateName(2), "others");
});

test("binned values are those of the bins, and near those of every point", () => {
  const random = createRandom(3);
  const points = randomPoints(random, 4000, 10, () => 50 * random());
  const fixture = createFixture();
  fixture.binned(0.01, 4);
  fixture.binnedValues({ unit: "W" }, [0, 50], points);
  const [series] = open(fixture).series;
  for (const [first, count, bins] of [[0, 15, 64], [200, 25, 4], [64, 4, 64], [7, 3, 1]]) {
    const columns = series.columns(first * 0.01, (first + count * bins) * 0.01, count);
    for (let i = 0; i < count; i++) {
      const from = (first + i * bins) * 0.01;
      const expected = naiveValues(points, from, from + bins * 0.01);
      near(columns.minimum[i], expected.minimum, 0.002, `minimum at ${from}`);
      near(columns.maximum[i], expected.maximum, 0.002, `maximum at ${from}`);
      near(columns.mean[i], expected.mean, 0.1, `mean at ${from}`);
    }
  }
  for (const [from, to] of windowsOf(random, 10, 20).filter(([a, b]) => b - a > 0.5 && a >= 0)) {
    const expected = naiveValues(points, from, Math.min(10, to));
    near(series.totals(from, to).integral, expected.integral, 1, `integral of ${from} ... ${to}`);
  }
  const at = series.at(5.005);
  assert.ok(at.binned && at.minimum <= at.mean && at.mean <= at.maximum);
  near(at.toSec - at.fromSec, 0.01, 1e-9, "the bin's span");
});

test("binned states are those of the bins, whatever the level", () => {
  const random = createRandom(4);
  const names = ["Active", "C1", "C6"];
  const points = randomPoints(random, 4000, 10, () => Math.floor(3 * random()));
  const fixture = createFixture();
  fixture.binned(0.01, 4);
  fixture.binnedStates({}, names, points);
  const [series] = open(fixture).series;
  for (const [from, to, count] of [[0, 10, 5], [1, 3, 25], [2.56, 5.12, 4], [0.3, 0.33, 3]]) {
    const columns = series.shares(from, to, count);
    const width = (to - from) / count;
    for (let i = 0; i < count; i++) {
      const expected = naiveSeconds(points, from + i * width, from + (i + 1) * width);
      const shares = sharesOfColumn(columns, i);
      names.forEach((_, state) => near(shares.get(state) ?? 0, (expected.get(state) ?? 0) / width,
        0.03, `state ${state} at ${from + i * width}`));
    }
  }
  const { seconds } = series.totals(0, 10);
  const expected = naiveSeconds(points, 0, 10);
  names.forEach((_, state) => near(seconds.get(state), expected.get(state), 0.01, `state ${state}`));
  assert.ok(series.at(5).shares[0].share > 0);
});

test("a last bin that ends behind the run tells of the run alone", () => {
  const fixture = createFixture({ durationSec: 4.5 });
  fixture.binned(1, 2);
  assert.deepEqual(fixture.run.data.levels.map(({ bins }) => bins), [5, 2]);
  fixture.binnedStates({}, ["Active", "C6"], [[0, 4.5, 1]]);
  fixture.binnedValues({}, [0, 10], [[0, 4.5, 5]]);
  const [states, values] = open(fixture).series;
  for (const count of [1, 5, 9, 45]) {
    const shares = states.shares(0, 4.5, count);
    near(sharesOfColumn(shares, count - 1).get(1), 1, 0.01, `the last of ${count} columns`);
  }
  near(states.totals(0, 4.5).seconds.get(1), 4.5, 0.01, "in C6");
  near(states.totals(4.25, 4.5).seconds.get(1), 0.25, 0.01, "in C6 at the end");
  near(values.totals(0, 4.5).coveredSec, 4.5, 0.01, "covered");
  assert.equal(states.at(4.2).toSec, 4.5);
  near(states.at(4.2).shares[0].share, 1, 0.01, "share at the end");
  assert.equal(states.at(4.6), null);
});

test("gaps of bins are gaps", () => {
  const fixture = createFixture({ durationSec: 4 });
  fixture.binned(1, 1);
  fixture.binnedValues({}, [0, 10], [[0, 1, 5], [3, 0.5, 10]]);
  const [series] = open(fixture).series;
  const { mean } = series.columns(0, 4, 4);
  assert.deepEqual([...mean].map(Number.isNaN), [false, true, true, false]);
  assert.equal(series.at(1.5), null);
  near(series.totals(0, 4).coveredSec, 1.5, 0.01, "covered");
});

test("events are counted per column and told where they are", () => {
  const fixture = createFixture();
  fixture.events({}, [[1, 0, "exec sh"], [1.5, 1, "stall"], [6, 0, "exit"]]);
  const [series] = open(fixture).series;
  assert.deepEqual([...series.counts(0, 10, 5)], [2, 0, 0, 1, 0]);
  assert.equal(series.totals(1.2, 7).count, 2);
  assert.equal(series.at(2).text, "stall");
  assert.equal(series.at(6.1, 0.2).text, "exit");
  assert.equal(series.at(6.5, 0.2), null);
});

test("differences up to 53 bits are read, and negative times", () => {
  const numbers = [-5e9, 0, 1, 2 ** 40, 2 ** 40 - 3, 2 ** 52];
  const fixture = createFixture({ durationSec: 1e7 });
  fixture.series({ kind: "value" }, { start: fixture.column("delta", numbers.slice().sort((a, b) => a - b)),
    length: fixture.column("delta", numbers.map(() => 1)),
    value: fixture.column("delta", numbers) });
  const [series] = open(fixture).series;
  assert.equal(series.at(-5).value, -5e9);
  assert.equal(series.at(2 ** 52 / 1e9).value, 2 ** 52);
  assert.equal(series.totals(-6, 1e7).minimum, -5e9);
});

test("a run of another format is refused", () => {
  const { buffer } = createFixture();
  assert.throws(() => openRun({ format: 2 }, buffer()), /unknown format: 2/);
});

const hostile = {
  "nothing": undefined, "null": null, "a text": "run", "a list": [], "no series": {},
  "entities in circles": { entities: [{ parent: 0 }, { parent: 2 }, { parent: 1 }] },
  "series without data": { series: [{}, null, { kind: "states" }, { kind: "events" }] },
  "columns beyond the buffer": { series: [{ data: { start: { at: 1e9, n: 5, type: "f64" },
    value: { at: 0, n: -1, type: "u8" } } }] },
  "columns of an unknown type": { series: [{ data: { start: { at: 0, n: 1, type: "toString" } } }] },
  "fewer values than times": { series: [{ data: { start: { at: 0, n: 3, type: "u8" },
    value: { at: 0, n: 1, type: "u8" } } }] },
  "states beyond the set": { stateSets: [[]], series: [{ kind: "states", states: 0,
    data: { start: { at: 0, n: 3, type: "u8" }, state: { at: 4, n: 3, type: "u8" } } }] },
  "bins of no width": { data: { mode: "binned", levels: [{ binSec: 0, bins: 3 }] }, series: [{}] },
  "bins without columns": { data: { mode: "binned", levels: [{ binSec: 1, bins: 3 }] },
    series: [{ data: { levels: [null] } }, { kind: "states", data: { levels: [{ slots: [null] }] } },
      { kind: "events", data: { levels: [{}] } }] },
  "a truncated difference": { series: [{ data: { start: { at: 15, n: 1, type: "delta" } } }] },
  "times that are no numbers": { durationSec: "x", clockMHz: null, startUnixNs: "soon" },
};

for (const [what, json] of Object.entries(hostile)) {
  test(`a run with ${what} does not throw`, () => {
    const run = openRun(json, new Uint8Array(16).fill(200).buffer);
    assert.ok(run.toSec > run.fromSec);
    for (const series of run.series) {
      const columns = (series.columns ?? series.shares ?? series.counts)(0, 1, 4);
      assert.ok(columns);
      series.at(0.5);
      assert.ok(series.totals(-1, 2).coveredSec >= 0);
    }
    for (const { parent, index } of run.entities) assert.ok(parent < index);
  });
}
