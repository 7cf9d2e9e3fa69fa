// Which rows of a table are shown, and in which order.

/** @typedef {(string | number | null)[]} Row */
/** @typedef {{column: number, descending: boolean}} Order */

/**
 * @param {string | number | null} left
 * @param {string | number | null} right
 */
function compareCells(left, right) {
  if (typeof left === "number" && typeof right === "number") return left - right;
  return String(left).localeCompare(String(right), "en", { numeric: true });
}

/**
 * The rows in this order, equal ones as they came; cells without a value are last, whichever way.
 * @param {Row[]} rows
 * @param {Order} order
 */
export function sorted(rows, { column, descending }) {
  const known = rows.filter((row) => row[column] !== null && row[column] !== undefined);
  const unknown = rows.filter((row) => row[column] === null || row[column] === undefined);
  const sign = descending ? -1 : 1;
  known.sort((one, other) => sign * compareCells(one[column] ?? null, other[column] ?? null));
  return [...known, ...unknown];
}

/**
 * The next order when the head of `column` is pressed: numbers begin with the largest, texts with
 * the first; the third press gives the order of the report back.
 * @param {Order | null} order
 * @param {number} column
 * @param {boolean} numeric
 * @returns {Order | null}
 */
export function pressed(order, column, numeric) {
  if (!order || order.column !== column) return { column, descending: numeric };
  return order.descending === numeric ? { column, descending: !numeric } : null;
}

/**
 * The rows that have every word of `text` in one of their cells or in `title`.
 * @param {Row[]} rows
 * @param {string} title
 * @param {string} text
 */
export function matching(rows, title, text) {
  const words = text.toLowerCase().split(/\s+/).filter((word) => word !== "");
  const head = title.toLowerCase();
  const left = words.filter((word) => !head.includes(word));
  if (left.length === 0) return rows;
  return rows.filter((row) => {
    const cells = row.map((cell) => String(cell ?? "").toLowerCase());
    return left.every((word) => cells.some((cell) => cell.includes(word)));
  });
}
