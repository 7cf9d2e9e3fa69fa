// What all parts of the page look at: the window of time, the pinned moment, the theme. Whoever
// shows any of these subscribes, and is called at most once per frame.

/** @typedef {{fromSec: number, toSec: number}} Window */
/** @typedef {"window"|"cursor"|"pin"|"theme"|"lanes"} Change */
/** @typedef {ReturnType<typeof createView>} View */

export const shortestSec = 1e-6;

/**
 * The window that was asked for, moved and narrowed to what there is: within the limits, and not
 * shorter than a microsecond.
 * @param {Window} wanted @param {Window} limits @returns {Window}
 */
export function withinLimits({ fromSec, toSec }, limits) {
  if (!Number.isFinite(fromSec) || !Number.isFinite(toSec)) return { ...limits };
  const whole = limits.toSec - limits.fromSec;
  const length = Math.min(whole, Math.max(Math.abs(toSec - fromSec), Math.min(shortestSec, whole)));
  const middle = (fromSec + toSec) / 2;
  const from = Math.max(limits.fromSec, Math.min(middle - length / 2, limits.toSec - length));
  return { fromSec: from, toSec: length === whole ? limits.toSec : from + length };
}

/** @param {Window} window @param {number} factor below 1: closer @param {number} aboutSec */
export function zoomed({ fromSec, toSec }, factor, aboutSec) {
  return { fromSec: aboutSec - (aboutSec - fromSec) * factor,
    toSec: aboutSec + (toSec - aboutSec) * factor };
}

/**
 * `#t=FROM,TO` in seconds, or null.
 * @param {string} hash @returns {Window|null}
 */
export function windowOfHash(hash) {
  const match = /[#&]t=(-?[\d.]+(?:e-?\d+)?),(-?[\d.]+(?:e-?\d+)?)(?:&|$)/.exec(hash);
  if (!match) return null;
  const [fromSec, toSec] = [Number(match[1]), Number(match[2])];
  return toSec > fromSec ? { fromSec, toSec } : null;
}

/** @param {Window} window @returns {string} */
export function hashOfWindow({ fromSec, toSec }) {
  // One digit more than a pixel of the narrowest screen needs.
  const digits = Math.min(9, Math.max(0, Math.ceil(4 - Math.log10(toSec - fromSec))));
  return `#t=${Number(fromSec.toFixed(digits))},${Number(toSec.toFixed(digits))}`;
}

/** @param {any} host @param {(hash: string) => void} onHash */
function addressOf(host, onHash) {
  let told = host.location?.hash ?? "";
  host.addEventListener?.("hashchange", () => {
    const hash = host.location.hash;
    if (hash !== told) onHash(hash);
    told = hash;
  });
  return {
    hash: told,
    /** @param {string} hash "" for the whole run */
    tell(hash) {
      if (hash === told || (hash === "" && !windowOfHash(told))) return;
      told = hash;
      try {
        host.history?.replaceState(null, "", hash || "#");
      } catch {
        // A page shown within another may have no address of its own.
      }
    },
  };
}

/**
 * @param {Window} run Its span limits that of the window.
 * @param {any} host The browser's window, or what stands for it in tests.
 */
export function createView(run, host = globalThis) {
  const limits = { fromSec: run.fromSec, toSec: run.toSec };
  let window = { ...limits };
  /** @type {{cursorSec: number|null, pinnedSec: number|null, dark: boolean, filter: string}} */
  const state = { cursorSec: null, pinnedSec: null, dark: false, filter: "" };
  /** @type {Set<(changes: Set<Change>) => void>} */
  const subscribers = new Set();
  /** @type {Set<Change>} */
  let changes = new Set();
  /** @type {any} */
  let addressTimer = 0;

  const redraw = () => {
    const now = changes;
    if (now.size === 0) return;
    changes = new Set();
    const start = host.performance?.now() ?? 0;
    for (const fn of [...subscribers]) fn(now);
    if (now.has("window")) {
      host.performance?.measure?.("tavrin-redraw", { start, end: host.performance.now() });
    }
  };
  /** @param {Change} what */
  const changed = (what) => {
    if (changes.size === 0) host.requestAnimationFrame(redraw);
    changes.add(what);
  };
  /** @param {Window} wanted */
  const show = (wanted) => {
    const next = withinLimits(wanted, limits);
    if (next.fromSec === window.fromSec && next.toSec === window.toSec) return false;
    window = next;
    changed("window");
    return true;
  };
  const isWhole = () => window.fromSec === limits.fromSec && window.toSec === limits.toSec;
  const address = addressOf(host, (hash) => show(windowOfHash(hash) ?? limits));
  const tellAddress = () => address.tell(isWhole() ? "" : hashOfWindow(window));
  show(windowOfHash(address.hash) ?? limits);

  const view = {
    limits,
    get fromSec() { return window.fromSec; },
    get toSec() { return window.toSec; },
    get lengthSec() { return window.toSec - window.fromSec; },
    get cursorSec() { return state.cursorSec; },
    get pinnedSec() { return state.pinnedSec; },
    get dark() { return state.dark; },
    get isWhole() { return isWhole(); },
    /** The words of the search. */
    get filter() { return state.filter; },

    /** Shows a window, as far as there is one. Returns whether that is another than before. */
    setWindow(/** @type {number} */ fromSec, /** @type {number} */ toSec) {
      const moved = show({ fromSec, toSec });
      // Browsers allow few changes of the address in a second.
      if (moved) {
        host.clearTimeout(addressTimer);
        addressTimer = host.setTimeout(tellAddress, 250);
      }
      return moved;
    },
    zoom(/** @type {number} */ factor, aboutSec = (window.fromSec + window.toSec) / 2) {
      const closest = Math.min(1, shortestSec / (window.toSec - window.fromSec));
      const { fromSec, toSec } = zoomed(window, Math.max(factor, closest), aboutSec);
      return view.setWindow(fromSec, toSec);
    },
    /** Moves the window by a part of its length, as far as it goes. */
    pan(/** @type {number} */ part) {
      const by = part * view.lengthSec;
      return view.setWindow(window.fromSec + by, window.toSec + by);
    },
    showAll() { return view.setWindow(limits.fromSec, limits.toSec); },
    /** The moment below the pointer or keyboard cursor, or null. */
    setCursor(/** @type {number|null} */ sec) {
      if (sec === state.cursorSec) return;
      state.cursorSec = sec;
      changed("cursor");
    },
    pin(/** @type {number|null} */ sec) {
      if (sec === state.pinnedSec) return;
      state.pinnedSec = sec;
      changed("pin");
    },
    setDark(/** @type {boolean} */ dark) {
      if (dark === state.dark) return;
      state.dark = dark;
      changed("theme");
    },
    setFilter(/** @type {string} */ filter) {
      if (filter === state.filter) return;
      state.filter = filter;
      changed("lanes");
    },
    /** Calls the subscribers now with what has changed, not in the next frame. */
    drawNow() { redraw(); },
    /** The list of lanes is another: order, folding, search, size. */
    lanesChanged() { changed("lanes"); },
    /**
     * Calls `fn` in the frame after any change with what has changed since the last.
     * @param {(changes: Set<Change>) => void} fn @returns {() => void} ends the subscription
     */
    subscribe(fn) {
      subscribers.add(fn);
      return () => subscribers.delete(fn);
    },
  };
  return view;
}
