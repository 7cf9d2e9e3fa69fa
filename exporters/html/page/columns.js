// The points of the run: one buffer of columns, as docs/formats/html.md lays them out.

/** @typedef {Float64Array|Uint16Array|Uint8Array} Numbers */
/** @typedef {{at: number, n: number, type: "u8"|"u16"|"f64"|"delta"}} Column */
/** @typedef {(column: any) => Numbers} ColumnReader */

const bytesOf = { u8: 1, u16: 2, f64: 8, delta: 1 };

/** @param {any} column @param {ArrayBuffer} buffer @returns {column is Column} */
function isWithin(column, buffer) {
  if (!column || !Object.hasOwn(bytesOf, column.type)) return false;
  const width = bytesOf[/** @type {Column} */ (column).type];
  return Number.isInteger(column.at) && Number.isInteger(column.n) && column.at >= 0 &&
    column.n >= 0 && column.at + column.n * width <= buffer.byteLength && column.at % width === 0;
}

/**
 * Differences as LEB128 of their zigzag, up to 53 bits: beyond 28 bits by multiplication, as the
 * bits of integers are 32 here.
 * @param {Uint8Array} bytes @param {number} at @param {number} n
 */
function integersOf(bytes, at, n) {
  const values = new Float64Array(n);
  let last = 0;
  for (let i = 0; i < n; i++) {
    let byte = bytes[at++];
    let zigzag = byte & 127;
    let scale = 128;
    while (byte >= 128) {
      byte = bytes[at++];
      zigzag += (byte & 127) * scale;
      scale *= 128;
    }
    if (byte === undefined) return values.subarray(0, i);
    last += zigzag % 2 === 0 ? zigzag / 2 : -(zigzag + 1) / 2;
    values[i] = last;
  }
  return values;
}

/** @param {Column} column @param {ArrayBuffer} buffer @returns {Numbers} */
function numbersOf({ at, n, type }, buffer) {
  if (type === "u8") return new Uint8Array(buffer, at, n);
  if (type === "u16") return new Uint16Array(buffer, at, n);
  if (type === "f64") return new Float64Array(buffer, at, n);
  return integersOf(new Uint8Array(buffer), at, n);
}

/**
 * Reads columns of the buffer, each once however many series share it. What is absent, or would be
 * beyond the buffer, is empty.
 * @param {ArrayBuffer} buffer
 * @returns {ColumnReader}
 */
export function columnReader(buffer) {
  /** @type {Map<string, Numbers>} */
  const known = new Map();
  return (column) => {
    if (!isWithin(column, buffer)) return new Float64Array(0);
    const key = `${column.at} ${column.n} ${column.type}`;
    const before = known.get(key);
    if (before) return before;
    const numbers = numbersOf(column, buffer);
    known.set(key, numbers);
    return numbers;
  };
}
