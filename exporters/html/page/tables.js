// The tables of the report: found by words, sorted by their heads, long ones shown in parts.

import { byId, element, shown } from "./dom.js";
import { matching, pressed, sorted } from "./tableorder.js";
import { counted, formatNumber } from "./units.js";

/** @typedef {import("./tableorder.js").Row} Row */
/** @typedef {{name: string, numeric: boolean}} Column */
/**
 * @typedef {{feature: string, title: string, notes: string[], columns: Column[],
 *   rows: Row[]}} Table
 */

/** Rows of a table at first, and how many more a press shows. */
const FIRST = 16;
const MORE = 500;
/** Tables stand open until so many rows are shown. */
const OPEN_ROWS = 48;
/** Tables of more columns do not stand beside one another. */
const WIDE = 6;
/** Rows that go to paper. */
const PRINTED = 40;

const twoDigits = new Intl.NumberFormat("en",
  { maximumFractionDigits: 2, minimumFractionDigits: 2 });
const whole = new Intl.NumberFormat("en", { maximumFractionDigits: 0 });

/** @param {number} value @param {boolean} fractions whether its column has some */
export function cellNumber(value, fractions) {
  if (!Number.isFinite(value)) return String(value);
  if (value !== 0 && Math.abs(value) < 0.005) return formatNumber(value);
  return (fractions ? twoDigits : whole).format(value);
}

/** @param {Table} table @returns {boolean[]} */
function columnsWithFractions(table) {
  return table.columns.map((_, column) => table.rows.some((row) => {
    const cell = row[column];
    return typeof cell === "number" && !Number.isInteger(cell);
  }));
}

/** @param {string | number | null | undefined} cell @param {boolean} fractions */
function cellText(cell, fractions) {
  if (cell === null || cell === undefined) return "";
  return typeof cell === "number" ? cellNumber(cell, fractions) : shown(cell);
}

/** @param {Row} row @param {Column[]} columns @param {boolean[]} fractions */
function rowElement(row, columns, fractions) {
  const cells = columns.map((column, index) => {
    const value = row[index];
    const text = cellText(value, fractions[index] ?? false);
    if (index === 0) return element("th", { scope: "row" }, text);
    const cell = element("td", column.numeric ? { class: "number" } : null, text);
    if (typeof value === "number" && text !== String(value)) cell.title = String(value);
    return cell;
  });
  return element("tr", null, ...cells);
}

/** What is shown of one table, and how it changes. */
class TablePanel {
  /** @param {Table} table */
  constructor(table) {
    this.table = table;
    this.fractions = columnsWithFractions(table);
    /** @type {import("./tableorder.js").Order | null} */
    this.order = null;
    this.limit = FIRST;
    this.rows = table.rows;
    this.body = element("tbody", null);
    this.heads = table.columns.map((column, index) => this.head_(column, index));
    this.rest = element("p", { class: "rest" });
    this.root = this.build_();
    this.draw_();
  }

  /**
   * Shows the rows that have these words; returns how many.
   * @param {string} words
   */
  filter(words) {
    this.rows = matching(this.table.rows, this.table.title, words);
    this.root.hidden = this.rows.length === 0 && this.table.rows.length > 0;
    this.draw_();
    return this.rows.length;
  }

  /** @param {Column} column @param {number} index */
  head_(column, index) {
    const button = element("button", { type: "button" }, shown(column.name, 80));
    button.addEventListener("click", () => {
      this.order = pressed(this.order, index, column.numeric);
      this.draw_();
    });
    return element("th", { scope: "col", class: column.numeric ? "number" : "" }, button);
  }

  build_() {
    const title = shown(this.table.title);
    const grid = element("table", null,
      element("thead", null, element("tr", null, ...this.heads)), this.body);
    const wide = this.table.columns.length > WIDE ? " wide" : "";
    return element("details", { class: `table${wide}` },
      element("summary", null, element("h4", null, title),
        element("span", { class: "soft" }, counted(this.table.rows.length, "row", "rows"))),
      element("div", { class: "scrolled", role: "region", tabindex: "0", "aria-label": title },
        grid),
      this.rest,
      ...this.table.notes.map((note) => element("p", { class: "soft small" }, shown(note, 2000))));
  }

  draw_() {
    const rows = this.order ? sorted(this.rows, this.order) : this.rows;
    this.body.replaceChildren(...rows.slice(0, this.limit).map((row, index) => {
      const made = rowElement(row, this.table.columns, this.fractions);
      if (index >= PRINTED) made.className = "unprinted";
      return made;
    }));
    this.heads.forEach((head, index) => {
      const way = this.order?.descending ? "descending" : "ascending";
      head.setAttribute("aria-sort", this.order?.column === index ? way : "none");
    });
    this.drawRest_();
  }

  drawRest_() {
    const left = this.rows.length - this.limit;
    this.rest.replaceChildren();
    if (this.rows.length > PRINTED) {
      const unprinted = formatNumber(this.rows.length - Math.min(this.limit, PRINTED));
      this.rest.append(element("span", { class: "printed" },
        `${unprinted} more rows are not printed.`));
    }
    if (left <= 0) return;
    this.rest.append(element("span", { class: "soft" },
      `${formatNumber(this.limit)} of ${formatNumber(this.rows.length)} rows `));
    for (const more of left > MORE ? [MORE, left] : [left]) {
      this.rest.append(this.moreButton_(more, left));
    }
  }

  /** @param {number} more @param {number} left */
  moreButton_(more, left) {
    const text = more === left ? `Show all ${formatNumber(this.rows.length)}` :
      `Show ${formatNumber(more)} more`;
    const button = element("button", { type: "button" }, text);
    button.addEventListener("click", () => {
      this.limit += more;
      this.draw_();
    });
    return button;
  }
}

/** @param {TablePanel[]} panels */
function filterField(panels) {
  const field = element("input",
    { type: "search", placeholder: "Words of a title or a row", size: "28" });
  const found = element("output", { class: "soft" });
  field.addEventListener("input", () => {
    const rows = panels.reduce((sum, panel) => sum + panel.filter(field.value), 0);
    if (field.value.trim() !== "") for (const panel of panels) panel.root.open = true;
    found.textContent = field.value.trim() === "" ? "" : `${counted(rows, "row", "rows")} found`;
    for (const section of byId("report").querySelectorAll("section")) {
      section.hidden = !section.querySelector("details:not([hidden])");
    }
  });
  return element("p", { class: "tools" }, element("label", null, "Filter ", field), " ", found);
}

/** @param {Table[]} tables */
export function showTables(tables) {
  if (tables.length === 0) return;
  const root = byId("report");
  const panels = tables.map((table) => new TablePanel(table));
  root.append(filterField(panels));
  let rows = 0;
  /** @type {HTMLElement | null} */
  let section = null;
  panels.forEach((panel, index) => {
    const feature = panel.table.feature;
    if (!section || feature !== tables[index - 1]?.feature) {
      section = element("section", null, element("h3", null, shown(feature)));
      root.append(section);
    }
    panel.root.open = rows < OPEN_ROWS;
    rows += Math.min(panel.table.rows.length, FIRST);
    section.append(panel.root);
  });
  root.hidden = false;
}
