// Runs for tests, in the form that the writer gives them: JSON and a buffer of columns.

const widths = { u8: 1, u16: 2, f64: 8, delta: 1 };

/** Numbers that are the same in every run of the tests. */
export function createRandom(seed) {
  let state = seed >>> 0 || 1;
  return () => {
    state ^= state << 13;
    state ^= state >>> 17;
    state ^= state << 5;
    state >>>= 0;
    return state / 4294967296;
  };
}

function pushVarint(bytes, number) {
  let rest = BigInt(number);
  rest = rest >= 0n ? 2n * rest : -2n * rest - 1n;
  for (; rest >= 128n; rest >>= 7n) bytes.push(Number(rest & 127n) | 128);
  bytes.push(Number(rest));
}

/** Gathers columns; `json()` and `buffer()` are what the writer would have written. */
export function createFixture({ durationSec = 10, clockMHz = 1000, ...rest } = {}) {
  const bytes = [];
  const run = { format: 1, title: "machine, 2026-11-22 15:20:11", durationSec, clockMHz,
    startUnixNs: "1763824811000000000", facts: [], warnings: [], entities: [], processes: [],
    series: [], stateSets: [], tables: [], data: { packing: "none", mode: "exact" }, ...rest };
  const fixture = {
    run,
    ticks: (sec) => Math.round(sec * clockMHz * 1e6),
    column(type, numbers) {
      while (bytes.length % widths[type] !== 0) bytes.push(0);
      const at = bytes.length;
      let last = 0;
      for (const number of numbers) {
        if (type === "delta") pushVarint(bytes, number - last);
        else bytes.push(...new Uint8Array((type === "u8" ? Uint8Array : type === "u16"
          ? Uint16Array : Float64Array).of(number).buffer));
        last = number;
      }
      return { at, n: numbers.length, type };
    },
    entity(name, level, parent = -1) {
      const path = parent < 0 ? name : `${run.entities[parent].path}/${name}`;
      return run.entities.push({ name, path, parent, level }) - 1;
    },
    /** @param points [startSec, lengthSec or 0, value] @param facts of the series */
    values(facts, points) {
      return fixture.series({ kind: "value", ...facts }, {
        ...fixture.times(points), value: fixture.column("f64", points.map((point) => point[2])) });
    },
    /** @param points [startSec, lengthSec, index of the state] */
    states(facts, names, points) {
      return fixture.series({ kind: "states", states: fixture.stateSet(names), ...facts }, {
        ...fixture.times(points), state: fixture.column("u8", points.map((point) => point[2])) });
    },
    /** @param points [startSec, lengthSec, [seconds in each state]] */
    residencies(facts, names, points) {
      return fixture.series({ kind: "states", states: fixture.stateSet(names), ...facts }, {
        ...fixture.times(points), ticks: names.map((_, state) => fixture.column("delta",
          points.map((point) => fixture.ticks(point[2][state])))) });
    },
    /** @param points [startSec, lengthSec, text] */
    events(facts, points) {
      const texts = [...new Set(points.map((point) => point[2]))];
      return fixture.series({ kind: "events", ...facts }, { ...fixture.times(points), texts,
        value: fixture.column("delta", points.map((point) => texts.indexOf(point[2]))) });
    },
    times: (points) => ({
      start: fixture.column("delta", points.map(([start]) => fixture.ticks(start))),
      length: fixture.column("delta", points.map(([, length]) => fixture.ticks(length))) }),
    /** @param names of states, or [name, depth] */
    stateSet: (names) => run.stateSets.push(names.map((name) => (Array.isArray(name)
      ? { name: name[0], depth: name[1] } : { name, depth: null }))) - 1,
    series(facts, data) {
      run.series.push({ metric: "Metric", feature: "feature", entity: -1, descriptor: "",
        label: "Metric", unit: "", role: "other", ...facts, data });
      return run.series.length - 1;
    },
    /** Bins of the finest width and so many levels, each four times the one before. */
    binned(binSec, levels) {
      run.data.mode = "binned";
      run.data.levels = Array.from({ length: levels }, (_, level) => {
        const width = binSec * 4 ** level;
        return { binSec: width, bins: Math.ceil(durationSec / width - 1e-9) };
      });
      return run.data.levels;
    },
    /** Bins of values as a naive writer fills them. */
    binnedValues(facts, scale, points) {
      const quantum = (value) => Math.round(((value - scale[0]) / (scale[1] - scale[0])) * 65534);
      const levels = run.data.levels.map(({ binSec, bins }) => {
        const columns = { minimum: [], mean: [], maximum: [], covered: [] };
        for (let bin = 0; bin < bins; bin++) {
          const one = naiveValues(points, bin * binSec, (bin + 1) * binSec);
          for (const name of ["minimum", "mean", "maximum"]) {
            columns[name].push(Number.isNaN(one.mean) ? 65535 : quantum(one[name]));
          }
          columns.covered.push(Math.round((one.coveredSec / binSec) * 255));
        }
        return Object.fromEntries(Object.entries(columns).map(([name, numbers]) =>
          [name, fixture.column(name === "covered" ? "u8" : "u16", numbers)]));
      });
      return fixture.series({ kind: "value", ...facts }, { scale, levels });
    },
    /** Bins of states as a naive writer fills them. */
    binnedStates(facts, names, points) {
      const levels = run.data.levels.map(({ binSec, bins }) => {
        const largest = Array.from({ length: bins }, (_, bin) =>
          [...naiveSeconds(points, bin * binSec, (bin + 1) * binSec)]
            .sort((a, b) => b[1] - a[1]).slice(0, 8));
        return { slots: Array.from({ length: Math.min(8, names.length) }, (_, slot) => ({
          state: fixture.column("u8", largest.map((one) => one[slot]?.[0] ?? 0)),
          share: fixture.column("u16", largest.map((one) =>
            Math.round(((one[slot]?.[1] ?? 0) / binSec) * 65535))) })) };
      });
      return fixture.series({ kind: "states", states: fixture.stateSet(names), ...facts }, { levels });
    },
    json: () => JSON.parse(JSON.stringify({ ...run, data: { ...run.data, bytes: bytes.length } })),
    buffer: () => new Uint8Array(bytes).buffer,
  };
  return fixture;
}

const overlap = ([start, length], from, to) =>
  Math.max(0, Math.min(start + length, to) - Math.max(start, from));
const touches = ([start, length], from, to) =>
  start < to && (start + length > from || start >= from);

/** What a window has of points [startSec, lengthSec, value], by looking at all of them. */
export function naiveValues(points, from, to) {
  const within = points.filter((point) => touches(point, from, to));
  const values = within.map((point) => point[2]);
  const coveredSec = within.reduce((sum, point) => sum + overlap(point, from, to), 0);
  const weighted = within.reduce((sum, point) => sum + point[2] * overlap(point, from, to), 0);
  return { minimum: values.length ? Math.min(...values) : NaN, coveredSec, integral: weighted,
    maximum: values.length ? Math.max(...values) : NaN, count: values.length,
    mean: coveredSec > 0 ? weighted / coveredSec : NaN };
}

/** Seconds per state of points [startSec, lengthSec, state or seconds of each]. */
export function naiveSeconds(points, from, to) {
  const seconds = new Map();
  for (const point of points) {
    const part = overlap(point, from, to);
    if (part <= 0) continue;
    const states = Array.isArray(point[2]) ? point[2] : { [point[2]]: point[1] };
    for (const [state, time] of Object.entries(states)) {
      if (time === 0) continue;
      seconds.set(Number(state), (seconds.get(Number(state)) ?? 0) + (time * part) / point[1]);
    }
  }
  return seconds;
}

/** Points that follow each other, with gaps now and then, within [0, durationSec). */
export function randomPoints(random, count, durationSec, valueOf) {
  const points = [];
  const mean = durationSec / count;
  let at = random() * mean;
  while (points.length < count && at < durationSec * 0.99) {
    // Whole microseconds, so that ticks and seconds say the same.
    const length = Math.max(1e-6, Math.round(mean * (0.2 + 1.4 * random()) * 1e6) / 1e6);
    at = Math.round(at * 1e6) / 1e6;
    points.push([at, length, valueOf(points.length)]);
    at += length + (random() < 0.1 ? 3 * mean * random() : 0);
  }
  return points;
}
