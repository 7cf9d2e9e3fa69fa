// Values with units, as people write them.

/** What a unit is a multiple of, and how many of these it is. */
const MULTIPLES = new Map(Object.entries({
  W: ["W", 1], mW: ["W", 1e-3], uW: ["W", 1e-6],
  J: ["J", 1], mJ: ["J", 1e-3], uJ: ["J", 1e-6],
  Hz: ["Hz", 1], kHz: ["Hz", 1e3], MHz: ["Hz", 1e6], GHz: ["Hz", 1e9],
  s: ["s", 1], ms: ["s", 1e-3], us: ["s", 1e-6], ns: ["s", 1e-9],
  V: ["V", 1], mV: ["V", 1e-3], uV: ["V", 1e-6],
  A: ["A", 1], mA: ["A", 1e-3], uA: ["A", 1e-6],
  Wh: ["Wh", 1], mWh: ["Wh", 1e-3], uWh: ["Wh", 1e-6],
  Ah: ["Ah", 1], mAh: ["Ah", 1e-3], uAh: ["Ah", 1e-6],
  B: ["B", 1], kB: ["B", 1e3], KiB: ["B", 1024], MiB: ["B", 1024 ** 2], GiB: ["B", 1024 ** 3],
  "B/s": ["B/s", 1], "kB/s": ["B/s", 1e3], "KiB/s": ["B/s", 1024],
}));

const PREFIXES = [
  { text: "T", factor: 1e12 }, { text: "G", factor: 1e9 }, { text: "M", factor: 1e6 },
  { text: "k", factor: 1e3 }, { text: "", factor: 1 }, { text: "m", factor: 1e-3 },
  { text: "µ", factor: 1e-6 }, { text: "n", factor: 1e-9 },
];

/** How units that are no multiples are written. */
const WRITTEN = new Map([["C", "°C"], ["degC", "°C"], ["count", ""]]);

const grouped = new Intl.NumberFormat("en", { maximumSignificantDigits: 15, useGrouping: true });

/**
 * Three digits, or all in front of the point where these are more: "12.3", "12,345".
 * @param {number} value
 */
export function formatNumber(value) {
  if (!Number.isFinite(value)) return "–";
  const size = Math.abs(value);
  if (size !== 0 && (size < 1e-4 || size >= 1e12)) return value.toPrecision(3);
  return grouped.format(size >= 1000 ? Math.round(value) : Number(value.toPrecision(3)));
}

/**
 * "1 row", "1,234 rows".
 * @param {number} count
 * @param {string} one
 * @param {string} many
 */
export function counted(count, one, many) {
  return `${formatNumber(count)} ${count === 1 ? one : many}`;
}

/** @param {string} number @param {string} unit */
function join(number, unit) {
  return unit === "" ? number : `${number}\u00a0${unit}`;
}

/** @param {number} size @param {string} base the smallest and the largest prefix that people use */
function prefixFor(size, base) {
  const largest = base === "s" ? 1 : Infinity;
  const smallest = base.startsWith("B") || base === "Hz" ? 1 : 0;
  const usable = PREFIXES.filter(({ factor }) => factor <= largest && factor >= smallest);
  return usable.find(({ factor }) => size >= factor) ?? usable[usable.length - 1];
}

/**
 * "12.3 W", "1.5 GHz", "2 ms": three digits and the prefix that suits. "–" of what is no number.
 * @param {number} value
 * @param {string} unit
 * @returns {string}
 */
export function formatValue(value, unit) {
  if (!Number.isFinite(value)) return "–";
  const multiple = MULTIPLES.get(unit);
  if (!multiple || value === 0) {
    return join(formatNumber(value), WRITTEN.get(unit) ?? String(multiple ? multiple[0] : unit));
  }
  const [base, factor] = /** @type {[string, number]} */ (multiple);
  const rounded = Number((value * factor).toPrecision(3));
  if (base === "s" && Math.abs(rounded) >= 100) return formatSpan(value * factor);
  const prefix = prefixFor(Math.abs(rounded), base);
  return join(formatNumber(rounded / prefix.factor), prefix.text + base);
}

/**
 * The value in the unit that its unit is a multiple of: 5 ms are 0.005 s.
 * @param {number} value
 * @param {string} unit
 * @returns {{value: number, base: string}}
 */
export function inBase(value, unit) {
  const [base, factor] = MULTIPLES.get(unit) ?? [unit, 1];
  return { value: value * Number(factor), base: String(base) };
}

/**
 * The value with all its digits, in the unit that it has.
 * @param {number} value
 * @param {string} unit
 */
export function exactValue(value, unit) {
  return Number.isFinite(value) ? join(grouped.format(value), WRITTEN.get(unit) ?? unit) : "–";
}

/**
 * A length of time: "1.25 ms", "12.3 s", "2 min 5 s", "1 h 2 min".
 * @param {number} seconds
 * @returns {string}
 */
export function formatSpan(seconds) {
  if (!Number.isFinite(seconds)) return "–";
  if (Math.abs(seconds) < 100) return formatValue(seconds, "s");
  const sign = seconds < 0 ? "−" : "";
  const whole = Math.round(Math.abs(seconds));
  const [hours, minutes] = [Math.floor(whole / 3600), Math.floor(whole / 60) % 60];
  if (hours > 0) return `${sign}${hours} h ${minutes} min`;
  return `${sign}${minutes} min ${whole % 60} s`;
}

/**
 * A part of a whole: "12.3 %", "< 0.1 %".
 * @param {number} part 0 to 1
 */
export function formatShare(part) {
  if (!Number.isFinite(part)) return "–";
  if (part > 0 && part < 0.0005) return "<\u00a00.1\u00a0%";
  return `${(part * 100).toFixed(1)}\u00a0%`;
}
