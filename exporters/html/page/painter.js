// Pixels of lanes: stacks of shares, lines, bars of processes, marks of events, as image data.

/** @typedef {import("./stack.js").Stack} Stack */
/** @typedef {{data: Uint32Array, width: number, height: number}} Pixels */
/**
 * Colours of the ground, as pixels.
 * @typedef {{ground: number, hatch: number, ink: number, halo: number}} Ground
 */

/** @param {[number, number, number]} rgb */
export const pixelOf = ([r, g, b]) => (0xff000000 | (b << 16) | (g << 8) | r) >>> 0;

/** @param {boolean} dark @returns {Ground} */
export const groundOf = (dark) => (dark
  ? { ground: pixelOf([25, 31, 38]), hatch: pixelOf([52, 62, 74]), ink: pixelOf([255, 255, 255]),
    halo: pixelOf([10, 14, 20]) }
  : { ground: pixelOf([255, 255, 255]), hatch: pixelOf([214, 220, 227]), ink: pixelOf([16, 22, 30]),
    halo: pixelOf([255, 255, 255]) });

/**
 * A mixture of two pixels.
 * @param {number} a @param {number} b @param {number} part of b
 */
export function mixed(a, b, part) {
  let result = 0xff;
  for (const shift of [16, 8, 0]) {
    const [from, to] = [(a >>> shift) & 255, (b >>> shift) & 255];
    result = result * 256 + Math.round(from + (to - from) * part);
  }
  return result;
}

/**
 * Nothing known: fine oblique lines.
 * @param {Pixels} pixels @param {Ground} ground @param {number} scale device pixels per CSS pixel
 */
export function paintUnknown({ data, width, height }, { ground, hatch }, scale) {
  const period = Math.round(6 * scale);
  const thick = Math.max(1, Math.round(scale));
  for (let y = 0, at = 0; y < height; y++) {
    for (let x = 0, phase = y % period; x < width; x++, at++) {
      data[at] = phase < thick ? hatch : ground;
      if (++phase === period) phase = 0;
    }
  }
}

/**
 * Layers from the bottom up. Whatever is not idle has at least one pixel, so that short work shows.
 * @param {Pixels} pixels @param {Stack} stack as wide as these
 */
export function paintStack({ data, width, height }, stack) {
  const { slots, layers, used, layer, share } = stack;
  const colors = Uint32Array.from(layers, ({ shade }) => shade.pixel);
  for (let x = 0; x < width; x++) {
    let sum = 0;
    let y = height;
    for (let i = x * slots; i < x * slots + used[x]; i++) {
      sum += share[i];
      let top = Math.max(0, Math.round(height * (1 - sum)));
      if (top === height && !layers[layer[i]].idle && share[i] > 1e-4) top = height - 1;
      const color = colors[layer[i]];
      while (y > top) data[--y * width + x] = color;
    }
  }
}

/**
 * Texts for what is wide enough: stretches in which one layer has nearly the whole height.
 * @param {Stack} stack @param {number} least columns
 * @returns {{from: number, to: number, layer: number}[]}
 */
export function wideStretches({ width, slots, used, layer, share }, least) {
  const found = [];
  let start = 0;
  let current = -1;
  for (let x = 0; x <= width; x++) {
    let now = -1;
    if (x < width) {
      for (let i = x * slots; i < x * slots + used[x]; i++) if (share[i] > 0.9) now = layer[i];
    }
    if (now === current) continue;
    if (current >= 0 && x - start >= least) found.push({ from: start, to: x, layer: current });
    current = now;
    start = x;
  }
  return found;
}

/**
 * The middle of two pixels, without its last bits.
 * @param {number} a @param {number} b
 */
const between = (a, b) => (((a >>> 1) & 0x7f7f7f7f) + ((b >>> 1) & 0x7f7f7f7f)) | 0xff000000;

/**
 * A line of means with a rim of the other lightness, so that it shows on any colour. NaN is a gap.
 * @param {Pixels} pixels @param {Float64Array} values @param {number} highest at the top
 * @param {Ground} ground @param {number} scale
 */
export function paintLine({ data, width, height }, values, highest, { ink, halo }, scale) {
  const thick = Math.max(1, Math.round(scale));
  const room = height - thick - 2;
  const rowOf = (/** @type {number} */ value) =>
    1 + Math.round(room * (1 - Math.min(1, Math.max(0, value / highest))));
  let last = -1;
  for (let x = 0; x < width; x++) {
    const value = values[x];
    if (!(value === value)) {
      last = -1;
      continue;
    }
    const row = rowOf(value);
    const top = last < 0 ? row : Math.min(row, last);
    const end = (last < 0 ? row : Math.max(row, last)) + thick;
    for (let y = Math.max(0, top - 1); y < Math.min(height, end + 1); y++) {
      const at = y * width + x;
      data[at] = y < top || y >= end ? between(data[at], halo) : ink;
    }
    last = row;
  }
}

/**
 * A process: pale while it lives, between its begin and its end, as high as its use.
 * @param {Pixels} pixels @param {{from: number, to: number}} life columns
 * @param {Float64Array|null} use 0 ... 1 of the height, NaN unknown
 * @param {number} color @param {Ground} ground
 */
export function paintProcess({ data, width, height }, life, use, color, { ground }) {
  data.fill(ground);
  const pale = mixed(ground, color, use ? 0.25 : 0.55);
  const rim = Math.max(1, Math.round(height * 0.12));
  const first = Math.max(0, Math.floor(life.from));
  const last = Math.min(width, Math.max(first + 1, Math.ceil(life.to)));
  if (last <= first) return;
  for (let y = rim; y < height - rim; y++) {
    data.fill(pale, y * width + first, y * width + last);
    if (life.from >= 0) data[y * width + first] = color;
    if (life.to <= width) data[y * width + last - 1] = color;
  }
  if (!use) return;
  for (let x = first; x < last; x++) {
    if (!(use[x] > 0)) continue;
    const top = Math.min(height - rim - 1, Math.round(height - rim - use[x] * (height - 2 * rim)));
    for (let y = top; y < height - rim; y++) data[y * width + x] = color;
  }
}

/**
 * Events: a mark where there are some, the higher the more there are.
 * @param {Pixels} pixels @param {Float64Array} counts @param {number} color @param {number} ground
 */
export function paintEvents({ data, width, height }, counts, color, ground) {
  data.fill(ground);
  for (let x = 0; x < width; x++) {
    if (!(counts[x] > 0)) continue;
    const part = Math.min(1, 0.45 + 0.1 * Math.log2(Math.max(1, counts[x])));
    for (let y = Math.round(height * (1 - part)); y < height; y++) data[y * width + x] = color;
  }
}
