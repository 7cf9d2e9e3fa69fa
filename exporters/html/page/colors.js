// One colour per state and task, wherever it is drawn. Blues are idle states, the deeper the
// darker; orange is awake; tasks and other states have the rest of a palette whose neighbours
// differ for the colour-blind too (after Okabe and Ito), in lightness where hue does not tell.

/** @typedef {{css: string, rgb: [number, number, number], pixel: number, ink: string}} Color */
/** @typedef {import("./model.js").State} State */

const idleRamp = {
  light: ["#b5dcf5", "#5aa9de", "#0b3d91"],
  dark: ["#c6e5f8", "#57a6de", "#2257bb"],
};
const quietNames = /^(off|suspended|inactive|disabled|unsupported)$/i;

/** @param {string} hex @returns {[number, number, number]} */
function rgbOf(hex) {
  const number = parseInt(hex.slice(1), 16);
  return [number >> 16, (number >> 8) & 255, number & 255];
}

/**
 * Relative luminance, 0 ... 1.
 * @param {number[]} rgb
 */
export function luminanceOf(rgb) {
  const [r, g, b] = rgb.map((part) => {
    const unit = part / 255;
    return unit <= 0.04045 ? unit / 12.92 : ((unit + 0.055) / 1.055) ** 2.4;
  });
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
}

/** @param {[number, number, number]} rgb @returns {Color} */
function colorOf(rgb) {
  const [r, g, b] = rgb;
  return { css: `#${rgb.map((part) => part.toString(16).padStart(2, "0")).join("")}`, rgb,
    // As a pixel of image data, little endian.
    pixel: (0xff000000 | (b << 16) | (g << 8) | r) >>> 0,
    ink: luminanceOf(rgb) > 0.18 ? "#000" : "#fff" };
}

/** @param {string[]} ramp @param {number} depth 0 ... 1 @returns {Color} */
function onRamp(ramp, depth) {
  const place = Math.min(1, Math.max(0, depth)) * (ramp.length - 1);
  const low = Math.min(ramp.length - 2, Math.floor(place));
  const [a, b] = [rgbOf(ramp[low]), rgbOf(ramp[low + 1])];
  const mixed = a.map((part, i) => Math.round(part + (b[i] - part) * (place - low)));
  return colorOf(/** @type {[number, number, number]} */ (mixed));
}

const namedColors = ["#009e73", "#d55e00", "#cc79a7", "#b3a100", "#8a3a8f", "#7fcbae", "#8c4a1f",
  "#f2a07b", "#5f7a2e", "#a3325b", "#d9c34a", "#dcb0d3"].map((hex) => colorOf(rgbOf(hex)));
export const awake = colorOf(rgbOf("#e69f00"));
export const others = colorOf(rgbOf("#8f8f8f"));
const quiet = colorOf(rgbOf("#9fb0bd"));

/**
 * The same for the same name in every run.
 * @param {string} name
 */
function hashOf(name) {
  let hash = 2166136261;
  for (let i = 0; i < name.length; i++) hash = Math.imul(hash ^ name.charCodeAt(i), 16777619);
  return (hash ^ (hash >>> 15)) >>> 0;
}

/**
 * Places of names in the palette that `assignColors` gave.
 * @type {Map<string, number>}
 */
let places = new Map();
/** The depth of the deepest state, which has the darkest blue. */
let deepest = 1;

/**
 * Places of names in the palette: where the name's hash says, or the next that is free, as long as
 * one is. The names that matter most come first.
 * @param {Iterable<string>} names @returns {Map<string, number>}
 */
export function placesOf(names) {
  const found = new Map();
  const taken = new Set();
  for (const name of names) {
    if (found.has(name)) continue;
    let place = hashOf(name) % namedColors.length;
    while (taken.size < namedColors.length && taken.has(place)) {
      place = (place + 1) % namedColors.length;
    }
    taken.add(place);
    found.set(name, place);
  }
  return found;
}

/**
 * The name of a process without its number: "make" of "make (123)".
 * @param {string} name
 */
const taskOf = (name) => name.replace(/ \(\d+\)$/, "");

/** Whether a task is none: the processor idles. */
export const isIdleTask = (/** @type {string} */ name) =>
  name === "idle" || /^swapper(\/\d+)?$/.test(name);

/**
 * Tasks, those that ran longest first.
 * @param {import("./model.js").Run} run
 */
function rankedTasks(run) {
  /** @type {Map<string, number>} */
  const seconds = new Map();
  const traced = run.series.filter(({ role, kind }) => role === "task" && kind === "states");
  for (const series of traced) {
    for (const [state, sec] of series.totals(run.fromSec, run.toSec).seconds) {
      const name = series.states[state]?.name;
      if (name !== undefined) seconds.set(name, (seconds.get(name) ?? 0) + sec);
    }
  }
  return [...seconds].sort((a, b) => b[1] - a[1]).map(([name]) => name);
}

/**
 * What has a colour by its name, the most important first.
 * @param {import("./model.js").Run} run
 */
function* namesOf(run) {
  for (const name of rankedTasks(run)) if (!isIdleTask(name)) yield taskOf(name);
  for (const { name } of run.processes) yield taskOf(name);
  const listed = new Set();
  for (const { states } of run.series) {
    if (listed.has(states)) continue;
    listed.add(states);
    for (const { name, depth, apart } of states) {
      const isNamed = (depth === null || apart) && !isIdleTask(name) && !quietNames.test(name);
      if (isNamed) yield taskOf(name);
    }
  }
}

/**
 * Keeps the colours of the run's names apart, as far as the palette goes, and its idle states as
 * far as the blues go. Without it, names have the colour of their hash.
 * @param {import("./model.js").Run} run
 */
export function assignColors(run) {
  places = placesOf(namesOf(run));
  const depths = run.series.flatMap(({ states }) => states.map(({ depth }) => depth ?? 0));
  deepest = [...new Set(depths)].reduce((most, depth) => Math.max(most, depth), 0) || 1;
}

/**
 * An idle state's blue; at depth 0, the orange of awake.
 * @param {number} depth @param {boolean} dark @returns {Color}
 */
export function idleShade(depth, dark) {
  return depth <= 0 ? awake : onRamp(dark ? idleRamp.dark : idleRamp.light, depth / deepest);
}

/**
 * Of a task, a process, a state that is no idle state.
 * @param {string} name @param {boolean} dark @returns {Color}
 */
export function nameShade(name, dark) {
  if (isIdleTask(name)) return idleShade(0.05, dark);
  if (quietNames.test(name)) return quiet;
  const task = taskOf(name);
  return namedColors[places.get(task) ?? hashOf(task) % namedColors.length];
}

/**
 * @param {State|undefined} state undefined: all others
 * @param {boolean} dark @returns {Color}
 */
export function stateShade(state, dark) {
  if (!state) return others;
  const isNamed = state.depth === null || state.apart;
  return isNamed ? nameShade(state.name, dark) : idleShade(state.depth ?? 0, dark);
}

/** @param {string} name @param {boolean} dark @returns {string} "#rrggbb" */
export const nameColor = (name, dark) => nameShade(name, dark).css;

/**
 * @param {{states: State[]}} series @param {number} state its index @param {boolean} dark
 * @returns {string} "#rrggbb"
 */
export const stateColor = (series, state, dark) => stateShade(series.states[state], dark).css;
