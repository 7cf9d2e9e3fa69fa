// Work that may wait: it begins when things have been quiet, and goes on in short slices, so that
// the lanes stay fast.

/** Milliseconds of one slice. */
const SLICE = 5;

/**
 * Runs `steps` to its end in slices; returns a function that gives it up.
 * @template Result
 * @param {Generator<void, Result>} steps
 * @param {(result: Result) => void} done
 * @returns {() => void}
 */
export function inSlices(steps, done) {
  /** @type {ReturnType<typeof setTimeout>} */
  let timer;
  const slice = () => {
    const end = performance.now() + SLICE;
    let step = steps.next();
    while (!step.done && performance.now() < end) step = steps.next();
    if (step.done) done(step.value);
    else timer = setTimeout(slice, 0);
  };
  timer = setTimeout(slice, 0);
  return () => clearTimeout(timer);
}

/**
 * A function that calls `work` when it has not been called for `quietMs`, but at the latest
 * `latestMs` after the first call.
 * @param {() => void} work
 * @param {number} quietMs
 * @param {number} latestMs
 */
export function settled(work, quietMs, latestMs) {
  let due = 0;
  /** @type {ReturnType<typeof setTimeout> | undefined} */
  let timer;
  return () => {
    const now = performance.now();
    if (timer === undefined) due = now + latestMs;
    else clearTimeout(timer);
    timer = setTimeout(() => {
      timer = undefined;
      work();
    }, Math.max(0, Math.min(quietMs, due - now)));
  };
}
