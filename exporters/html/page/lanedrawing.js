// Draws one lane for a window into a canvas.

import { nameShade } from "./colors.js";
import { groundOf, paintEvents, paintLine, paintProcess, paintStack, paintUnknown, wideStretches }
  from "./painter.js";
import { showsAverage } from "./readings.js";
import { averageOf, processorComposer, statesComposer } from "./stack.js";

/** @typedef {import("./lanelist.js").Lane} Lane */
/** @typedef {import("./model.js").Series} Series */
/** @typedef {import("./painter.js").Pixels} Pixels */
/** @typedef {import("./stack.js").Stack} Stack */
/**
 * @typedef {{fromSec: number, toSec: number, width: number, dark: boolean, scale: number}} Frame
 */

/**
 * Keeps the answer to the last question about each thing; `find` gets it to use it again.
 * @returns {(thing: object, question: string, find: (last: any) => any) => any}
 */
function lastAnswers() {
  /** @type {WeakMap<object, {question: string, answer: any}>} */
  const known = new WeakMap();
  return (thing, question, find) => {
    const last = known.get(thing);
    if (last?.question === question) return last.answer;
    const answer = find(last?.answer);
    known.set(thing, { question, answer });
    return answer;
  };
}

/**
 * The highest frequency of the run: all lines have one scale.
 * @param {import("./model.js").Run} run
 */
function highestFrequency(run) {
  const highest = run.series.filter(({ role, kind }) => role === "frequency" && kind === "value")
    .map((series) => (Number.isFinite(series.maximum) ? series.maximum
      : series.totals(run.fromSec, run.toSec).maximum));
  return Math.max(...highest.filter(Number.isFinite), 1e-9);
}

/**
 * Images to paint lanes on, one of each size, and that of nothing known.
 * @param {CanvasRenderingContext2D} context @param {Frame} frame @param {number} height
 */
function makeImage(context, { width, dark, scale }, height) {
  const image = context.createImageData(width, height);
  const pixels = { data: new Uint32Array(image.data.buffer), width, height };
  paintUnknown(pixels, groundOf(dark), scale);
  return { image, pixels, unknown: pixels.data.slice() };
}

/**
 * @param {CanvasRenderingContext2D} context @param {Stack} stack @param {number} height
 * @param {number} scale
 */
function writeNames(context, stack, height, scale) {
  const size = Math.round(Math.min(11, height / scale - 6) * scale);
  if (size < 7 * scale) return;
  context.font = `${size}px system-ui, sans-serif`;
  context.textBaseline = "middle";
  context.lineJoin = "round";
  context.lineWidth = 4 * scale;
  const padding = 5 * scale;
  for (const { from, to, layer } of wideStretches(stack, size * 2 + padding)) {
    const { name, shade } = stack.layers[layer];
    const text = name.length > 40 ? `${name.slice(0, 40)}…` : name;
    if (context.measureText(text).width + 2 * padding > to - from) continue;
    // Its ground goes with it where a line crosses.
    context.strokeStyle = shade.css;
    context.strokeText(text, from + padding, height / 2 + scale * 0.5);
    context.fillStyle = shade.ink;
    context.fillText(text, from + padding, height / 2 + scale * 0.5);
  }
}

/** @param {Frame} frame */
const questionOf = ({ fromSec, toSec, width, dark }) => `${fromSec} ${toSec} ${width} ${dark}`;

/** Stacks of lanes, each made once for a frame however many lanes show it. */
function createStacks() {
  const composers = lastAnswers();
  const shares = lastAnswers();
  const stacks = lastAnswers();

  /** @param {Series|undefined} series @param {Frame} frame */
  const sharesOf = (series, frame) => series?.shares
    ? shares(series, questionOf(frame), (last) =>
      series.shares?.(frame.fromSec, frame.toSec, frame.width, last))
    : null;
  /** @param {Lane} lane @param {Frame} frame @param {Stack|undefined} last @returns {Stack|null} */
  const ownStack = (lane, frame, last) => {
    const { task, idle, cpuTime, states } = lane.parts;
    const { dark, width } = frame;
    const busy = task ?? cpuTime;
    if (states) {
      const compose = composers(lane, String(dark), () => statesComposer(states, dark));
      return compose(sharesOf(states, frame), last);
    }
    if (!busy && !idle) return null;
    const compose = composers(lane, String(dark), () => processorComposer(busy, idle, dark));
    return compose(sharesOf(busy, frame), sharesOf(idle, frame), width, last);
  };
  /** @param {Lane} lane @param {Frame} frame @returns {Stack|null} */
  const stackOf = (lane, frame) => {
    const average = showsAverage(lane);
    return stacks(lane, `${questionOf(frame)} ${average}`, (last) => {
      if (!average) return ownStack(lane, frame, last);
      const below = lane.cpus.flatMap((cpu) => stackOf(cpu, frame) ?? []);
      return below.length > 0 ? averageOf(below, frame.width) : null;
    });
  };
  return stackOf;
}

/** Images of all heights for frames of one kind, made when they are needed. */
function createImages() {
  /** @type {Map<number, ReturnType<typeof makeImage>>} */
  const images = new Map();
  let kind = "";
  return (/** @type {CanvasRenderingContext2D} */ context, /** @type {Frame} */ frame,
    /** @type {number} */ height) => {
    const now = `${frame.width} ${frame.dark} ${frame.scale}`;
    if (now !== kind) images.clear();
    kind = now;
    const image = images.get(height) ?? makeImage(context, frame, height);
    images.set(height, image);
    return image;
  };
}

/**
 * What lanes show beside stacks: lines, lives and events.
 * @param {import("./model.js").Run} run
 */
function createPainters(run) {
  const highest = highestFrequency(run);
  const columns = lastAnswers();

  /** @param {Series} series @param {Frame} frame @returns {Float64Array|undefined} */
  const meansOf = (series, frame) => columns(series, questionOf(frame), (last) =>
    series.columns?.(frame.fromSec, frame.toSec, frame.width, last))?.mean;
  return {
    /** @param {import("./lanelist.js").Parts} parts @param {Frame} frame @param {Pixels} pixels */
    life({ process, processTime }, frame, pixels) {
      if (!process) return;
      const { fromSec, toSec, width, dark } = frame;
      const columnOf = (/** @type {number} */ sec) => ((sec - fromSec) / (toSec - fromSec)) * width;
      const life = { from: columnOf(process.fromSec ?? run.fromSec),
        to: columnOf(process.toSec ?? run.toSec) };
      const highestUse = processTime?.maximum || 1;
      const full = processTime?.unit === "%" ? Math.max(100, highestUse) : highestUse;
      const use = processTime && meansOf(processTime, frame)?.map((one) => Math.min(1, one / full));
      const { pixel } = nameShade(process.name, dark);
      paintProcess(pixels, life, use ?? null, pixel, groundOf(dark));
    },
    /** @param {Series} events @param {Frame} frame @param {Pixels} pixels */
    events(events, { fromSec, toSec, width, dark }, pixels) {
      const counts = events.counts?.(fromSec, toSec, width) ?? new Float64Array(width);
      paintEvents(pixels, counts, nameShade(events.metric, dark).pixel, groundOf(dark).ground);
    },
    /** @param {Series} frequency @param {Frame} frame @param {Pixels} pixels */
    frequency(frequency, frame, pixels) {
      const line = meansOf(frequency, frame);
      if (line) paintLine(pixels, line, highest, groundOf(frame.dark), frame.scale);
    },
  };
}

/**
 * Draws lanes into canvases of the frame's width.
 * @param {import("./model.js").Run} run
 */
export function createLaneDrawing(run) {
  const stackOf = createStacks();
  const imageOf = createImages();
  const paint = createPainters(run);
  return (/** @type {Lane} */ lane, /** @type {HTMLCanvasElement} */ canvas,
    /** @type {Frame} */ frame) => {
    const context = canvas.getContext("2d", { alpha: false });
    if (!context) return;
    const { events, process, frequency } = lane.parts;
    const { image, pixels, unknown } = imageOf(context, frame, canvas.height);
    const stack = stackOf(lane, frame);
    pixels.data.set(unknown);
    if (events) paint.events(events, frame, pixels);
    if (process) paint.life(lane.parts, frame, pixels);
    if (stack) paintStack(pixels, stack);
    if (frequency && !showsAverage(lane)) paint.frequency(frequency, frame, pixels);
    context.putImageData(image, 0, 0);
    if (stack) writeNames(context, stack, canvas.height, frame.scale);
  };
}
/** @typedef {ReturnType<typeof createLaneDrawing>} LaneDrawing */
