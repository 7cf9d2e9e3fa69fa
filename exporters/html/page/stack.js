// What a lane shows in each column of pixels: shares of layers, one above the other.

import { awake, idleShade, isIdleTask, others, stateShade } from "./colors.js";

/** @typedef {import("./colors.js").Color} Color */
/** @typedef {import("./lanelist.js").Lane} Lane */
/** @typedef {import("./model.js").Series} Series */
/** @typedef {import("./model.js").State} State */
/** @typedef {import("./shares.js").StateColumns} StateColumns */
/** @typedef {{name: string, shade: Color, idle: boolean}} Layer */
/**
 * Column `c` has `used[c]` layers from the bottom up: `layer[c * slots + i]` takes
 * `share[c * slots + i]` of the height. What is missing of 1 is unknown.
 * @typedef {{width: number, slots: number, layers: Layer[], used: Uint8Array, layer: Uint16Array,
 *   share: Float32Array}} Stack
 */

const mostSlots = 12;

/**
 * @param {number} width @param {Layer[]} layers
 * @param {Stack} [into] one of the same layers that is used again where its width fits
 * @returns {Stack}
 */
export function emptyStack(width, layers, into) {
  if (into?.width === width && into.layers === layers) {
    into.used.fill(0);
    return into;
  }
  const slots = Math.max(1, Math.min(mostSlots, layers.length));
  return { width, slots, layers, used: new Uint8Array(width),
    layer: new Uint16Array(width * slots), share: new Float32Array(width * slots) };
}

/**
 * Adds a share of a layer to a column, in the order of the layers; what finds no place any more
 * counts for the last one.
 * @param {Stack} stack @param {number} column @param {number} layer @param {number} amount
 */
export function addShare({ slots, used, layer: layers, share }, column, layer, amount) {
  const base = column * slots;
  let at = base + used[column];
  while (at > base && layers[at - 1] > layer) at--;
  if (at > base && layers[at - 1] === layer) {
    share[at - 1] += amount;
    return;
  }
  if (used[column] === slots) {
    share[base + slots - 1] += amount;
    return;
  }
  for (let i = base + used[column]; i > at; i--) {
    layers[i] = layers[i - 1];
    share[i] = share[i - 1];
  }
  layers[at] = layer;
  share[at] = amount;
  used[column]++;
}

/** @param {State} state */
const rests = ({ name, depth }) => isIdleTask(name) || (depth ?? 0) > 0;

/** @param {State} state @param {boolean} dark @returns {Layer} */
const layerOf = (state, dark) => ({ name: isIdleTask(state.name) ? "idle" : state.name,
  shade: stateShade(state, dark), idle: rests(state) });

/**
 * A series of states: the awake ones below, the deeper the higher.
 * @param {Series} series @param {boolean} dark
 */
function layersOfStates(series, dark) {
  const order = series.states.map((_, i) => i)
    .sort((a, b) => (series.states[a].depth ?? -1) - (series.states[b].depth ?? -1) || a - b);
  const layers = [...order.map((i) => layerOf(series.states[i], dark)),
    { name: "others", shade: others, idle: false }];
  const place = new Uint16Array(order.length + 1);
  order.forEach((state, at) => { place[state] = at; });
  place[order.length] = order.length;
  return { layers, place };
}

/**
 * @param {Series} series @param {boolean} dark
 * @returns {(shares: StateColumns, into?: Stack) => Stack}
 */
export function statesComposer(series, dark) {
  const { layers, place } = layersOfStates(series, dark);
  return ({ count, slots, state, share }, into) => {
    const stack = emptyStack(count, layers, into);
    for (let i = 0; i < count * slots; i++) {
      if (share[i] > 0) addShare(stack, (i / slots) | 0, place[state[i]], share[i]);
    }
    return stack;
  };
}

/**
 * Where the states of a CPU's series go: who used it below, how it slept above. `busy` tells tasks,
 * or kinds of processor time; `idle` the idle states.
 * @param {Series|undefined} busy @param {Series|undefined} idle @param {boolean} dark
 */
function processorLayers(busy, idle, dark) {
  /** @type {Layer[]} */
  const layers = [];
  const add = (/** @type {Layer} */ layer) => layers.push(layer) - 1;
  const ofBusy = (busy?.states ?? []).map((state) =>
    (rests(state) ? -1 : add({ name: state.name, shade: stateShade(state, dark), idle: false })));
  if (busy) ofBusy.push(add({ name: "others", shade: others, idle: false }));
  const active = idle?.states.find(({ depth }) => depth === 0)?.name ?? "awake";
  const awakeLayer = add({ name: active, shade: awake, idle: false });
  const idleLayer = add({ name: "idle", shade: idleShade(0.05, dark), idle: true });
  const deeper = (idle ?? busy)?.states ?? [];
  const ofIdle = deeper.map(() => -1);
  deeper.map((state, index) => ({ state, index })).filter(({ state }) => (state.depth ?? 0) > 0)
    .sort((a, b) => Number(a.state.depth) - Number(b.state.depth))
    .forEach(({ state, index }) => { ofIdle[index] = add(layerOf(state, dark)); });
  ofIdle.push(add({ name: "other states", shade: others, idle: true }));
  return { layers, ofBusy, ofIdle, awakeLayer, idleLayer };
}

/**
 * Adds the shares of a column that have a layer, so much of each; returns the sum of the others.
 * @param {Stack} stack @param {StateColumns} columns @param {number} column
 * @param {number[]} layerOf state to layer, -1 none @param {number} scale
 */
function addLayers(stack, { slots, state, share }, column, layerOf, scale) {
  let others = 0;
  const end = (column + 1) * slots;
  for (let i = column * slots; i < end && share[i] > 0; i++) {
    const layer = layerOf[state[i]];
    if (layer < 0) others += share[i];
    else if (scale > 0) addShare(stack, column, layer, share[i] * scale);
  }
  return others;
}

/**
 * The sum of a column's shares that have a layer.
 * @param {StateColumns} columns @param {number} column @param {number[]} layerOf
 */
function sumOfLayers({ slots, state, share }, column, layerOf) {
  let sum = 0;
  const end = (column + 1) * slots;
  for (let i = column * slots; i < end && share[i] > 0; i++) {
    if (layerOf[state[i]] >= 0) sum += share[i];
  }
  return sum;
}

// Shares are kept in 32 bits; less than this is rounding.
const least = 1e-3;

/**
 * @param {Series|undefined} busy @param {Series|undefined} idle @param {boolean} dark
 * @returns {(busyShares: StateColumns|null, idleShares: StateColumns|null, width: number,
 *   into?: Stack) => Stack}
 */
export function processorComposer(busy, idle, dark) {
  const { layers, ofBusy, ofIdle, awakeLayer, idleLayer } = processorLayers(busy, idle, dark);
  // Kinds of time tell how the CPU slept where nothing else does.
  const ofBoth = idle ? ofBusy
    : ofBusy.map((layer, state) => (layer < 0 ? ofIdle[state] ?? -1 : layer));
  return (busyShares, idleShares, width, into) => {
    const stack = emptyStack(width, layers, into);
    for (let column = 0; column < width; column++) {
      let [used, resting, awakeShare, slept] = [0, 0, 0, 0];
      if (busyShares) {
        used = sumOfLayers(busyShares, column, ofBoth);
        resting = addLayers(stack, busyShares, column, ofBoth, 1);
      }
      const room = Math.max(0, 1 - used);
      if (idleShares) {
        slept = sumOfLayers(idleShares, column, ofIdle);
        awakeShare = addLayers(stack, idleShares, column, ofIdle, slept > room ? room / slept : 1);
        slept = Math.min(slept, room);
      }
      const unnamed = Math.max(0, Math.min(awakeShare - used, room - slept));
      if (unnamed > least) addShare(stack, column, awakeLayer, unnamed);
      const asleep = Math.min(resting - slept, room - slept - unnamed);
      if (asleep > least) addShare(stack, column, idleLayer, asleep);
    }
    return stack;
  };
}

/**
 * What several CPUs did on average: busy, and their idle states by name.
 * @param {Stack[]} stacks of one width @param {number} width
 * @returns {Stack}
 */
export function averageOf(stacks, width) {
  const names = new Map([["busy", { name: "busy", shade: awake, idle: false, rank: -1 }]]);
  for (const { layers } of stacks) {
    layers.forEach((layer, rank) => {
      if (layer.idle && !names.has(layer.name)) names.set(layer.name, { ...layer, rank });
    });
  }
  const layers = [...names.values()].sort((a, b) => a.rank - b.rank);
  const result = emptyStack(width, layers);
  const sums = new Float64Array(width * layers.length);
  for (const stack of stacks) {
    const place = stack.layers.map(({ name, idle }) =>
      (idle ? layers.findIndex((one) => one.name === name) : 0));
    for (let column = 0; column < width; column++) {
      const end = column * stack.slots + stack.used[column];
      for (let i = column * stack.slots; i < end; i++) {
        sums[column * layers.length + place[stack.layer[i]]] += stack.share[i];
      }
    }
  }
  for (let i = 0; i < sums.length; i++) {
    if (sums[i] > 0) {
      addShare(result, (i / layers.length) | 0, i % layers.length, sums[i] / stacks.length);
    }
  }
  return result;
}
