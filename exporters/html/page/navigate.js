// Moving through time with wheel, pointer, fingers and keys, on anything drawn below the axis.

/** @typedef {import("./view.js").View} View */
/**
 * What a drag does (a part of the axis is chosen, or the window moves), whether the element takes
 * keys, and which pointers are for somebody else.
 * @typedef {{dragSelects?: boolean, keys?: boolean,
 *   ignore?: (event: MouseEvent) => boolean}} NavigationOptions
 */

const wheelStep = 0.0015;
const clickSlack = 4;

/**
 * Zooms or pans by a key. Returns whether it was one of these.
 * @param {View} view @param {KeyboardEvent} event
 */
export function followKey(view, event) {
  if (event.ctrlKey || event.metaKey || event.altKey) return false;
  const about = view.cursorSec ?? undefined;
  switch (event.key) {
    case "+": case "=": view.zoom(0.5, about); return true;
    case "-": case "_": view.zoom(2, about); return true;
    case "0": case "Home": view.showAll(); return true;
    case "ArrowLeft": view.pan(event.shiftKey ? -0.5 : -0.1); return true;
    case "ArrowRight": view.pan(event.shiftKey ? 0.5 : 0.1); return true;
    case "Escape": view.pin(null); return true;
    default: return false;
  }
}

/**
 * Where a time is within an element, and what time is there.
 * @param {HTMLElement} element @param {View} view @param {() => number} left
 */
function geometry(element, view, left) {
  return () => {
    const box = element.getBoundingClientRect();
    const from = box.left + left();
    const width = Math.max(1, box.right - from);
    return { from, width, top: box.top,
      secAt: (/** @type {number} */ x) => view.fromSec + ((x - from) / width) * view.lengthSec };
  };
}

/**
 * @param {HTMLElement} element @param {View} view @param {ReturnType<typeof geometry>} measure
 * @param {NavigationOptions} options
 */
function attachWheel(element, view, measure, options) {
  // A wheel that has begun to scroll the page goes on scrolling it.
  let scrolledAt = -Infinity;
  element.addEventListener("wheel", (event) => {
    if (options.ignore?.(event)) return;
    const unit = event.deltaMode === 0 ? 1 : event.deltaMode === 1 ? 16 : 400;
    const sideways = event.shiftKey && event.deltaX === 0 ? event.deltaY : event.deltaX;
    if (event.timeStamp - scrolledAt < 250 && !event.ctrlKey) {
      scrolledAt = event.timeStamp;
      return;
    }
    const { width, secAt } = measure();
    const zooms = !event.shiftKey && Math.abs(event.deltaY) >= Math.abs(event.deltaX);
    const moved = zooms
      ? view.zoom(Math.exp(event.deltaY * unit * wheelStep), secAt(event.clientX))
      : view.pan((sideways * unit) / width);
    if (moved || event.ctrlKey || !zooms) event.preventDefault();
    else scrolledAt = event.timeStamp;
  }, { passive: false });
  addEventListener("wheel", (event) => {
    if (!element.contains(/** @type {Node} */ (event.target))) scrolledAt = event.timeStamp;
  }, { passive: true });
}

/**
 * The rectangle of a range that is being chosen.
 * @param {HTMLElement} element
 */
function createBand(element) {
  const band = document.createElement("div");
  band.className = "chosen";
  band.hidden = true;
  element.append(band);
  return {
    show(/** @type {number} */ from, /** @type {number} */ to) {
      band.hidden = false;
      const left = element.getBoundingClientRect().left;
      band.style.left = `${Math.min(from, to) - left}px`;
      band.style.width = `${Math.abs(to - from)}px`;
    },
    hide() { band.remove(); },
  };
}

/**
 * Two fingers: what was below each of them stays there.
 * @param {View} view @param {ReturnType<ReturnType<typeof geometry>>} place @param {number[]} x
 */
function pinch(view, place, x) {
  const [a, b] = [...x].sort((one, other) => one - other);
  const held = { from: place.secAt(a), to: place.secAt(b) };
  return (/** @type {number[]} */ now) => {
    const [left, right] = [...now].sort((one, other) => one - other);
    const perPixel = (held.to - held.from) / Math.max(8, right - left);
    const fromSec = held.from - (left - place.from) * perPixel;
    view.setWindow(fromSec, fromSec + place.width * perPixel);
  };
}

/**
 * What one pointer does from its going down: a drag, or a click.
 * @param {HTMLElement} element @param {View} view
 * @param {ReturnType<ReturnType<typeof geometry>>} place
 * @param {PointerEvent} down @param {boolean} selects
 */
function drag(element, view, place, down, selects) {
  const start = { x: down.clientX, sec: place.secAt(down.clientX), fromSec: view.fromSec };
  const perPixel = view.lengthSec / place.width;
  const band = selects ? createBand(element) : null;
  let moved = false;
  return {
    move(/** @type {number} */ x) {
      moved ||= Math.abs(x - start.x) > clickSlack;
      if (!moved) return;
      if (band) {
        band.show(start.x, x);
        return;
      }
      const fromSec = start.fromSec - (x - start.x) * perPixel;
      view.setWindow(fromSec, fromSec + perPixel * place.width);
    },
    end(/** @type {number|null} */ x) {
      band?.hide();
      if (x === null) return;
      const sec = place.secAt(x);
      if (!moved) clickAt(view, start.sec, perPixel);
      else if (band) view.setWindow(Math.min(start.sec, sec), Math.max(start.sec, sec));
    },
  };
}

/**
 * A click pins the moment, or looses the pin that is there.
 * @param {View} view @param {number} sec @param {number} perPixel
 */
function clickAt(view, sec, perPixel) {
  const away = view.pinnedSec === null ? Infinity : Math.abs(view.pinnedSec - sec);
  view.pin(away <= clickSlack * perPixel ? null : sec);
}

/**
 * @param {HTMLElement} element @param {View} view @param {ReturnType<typeof geometry>} measure
 * @param {NavigationOptions} options
 */
function attachPointers(element, view, measure, options) {
  /** @type {Map<number, number>} */
  const down = new Map();
  /** @type {ReturnType<typeof drag>|null} */
  let dragging = null;
  /** @type {ReturnType<typeof pinch>|null} */
  let pinching = null;

  element.addEventListener("pointerdown", (event) => {
    if (event.button !== 0 || options.ignore?.(event)) return;
    element.setPointerCapture(event.pointerId);
    down.set(event.pointerId, event.clientX);
    dragging?.end(null);
    dragging = null;
    if (down.size === 2) pinching = pinch(view, measure(), [...down.values()]);
    else if (down.size === 1) {
      const selects = Boolean(options.dragSelects) !== event.shiftKey;
      dragging = drag(element, view, measure(), event, selects);
    }
  });
  element.addEventListener("pointermove", (event) => {
    if (down.has(event.pointerId)) down.set(event.pointerId, event.clientX);
    if (pinching) pinching([...down.values()]);
    else if (dragging) dragging.move(event.clientX);
    view.setCursor(options.ignore?.(event) && !dragging ? null : measure().secAt(event.clientX));
  });
  const up = (/** @type {PointerEvent} */ event, /** @type {boolean} */ ends) => {
    if (!down.delete(event.pointerId)) return;
    if (ends && !pinching) dragging?.end(event.clientX);
    else dragging?.end(null);
    dragging = null;
    if (down.size === 0) pinching = null;
  };
  element.addEventListener("pointerup", (event) => up(event, true));
  element.addEventListener("pointercancel", (event) => up(event, false));
  element.addEventListener("pointerleave", () => view.setCursor(null));
  element.addEventListener("dblclick", (event) => {
    if (options.ignore?.(event)) return;
    if (options.dragSelects) view.showAll();
    else view.zoom(event.shiftKey ? 4 : 0.25, measure().secAt(event.clientX));
  });
}

/**
 * Wheel (zooms about the pointer; with shift, or sideways, pans), drag (pans; with shift, or on
 * the axis, chooses a range), click (pins), double click (zooms in, on the axis out), two fingers,
 * keys.
 * @param {HTMLElement} element @param {View} view
 * @param {() => number} left where its drawing begins, pixels from its left edge
 * @param {NavigationOptions} options
 */
export function attachNavigation(element, view, left = () => 0, options = {}) {
  const measure = geometry(element, view, left);
  attachWheel(element, view, measure, options);
  attachPointers(element, view, measure, options);
  if (options.keys) {
    element.addEventListener("keydown", (event) => {
      if (followKey(view, event)) event.preventDefault();
    });
  }
}
