// Elements made of texts that nobody trusts: everything goes in as text, nothing as markup.

/**
 * @template {keyof HTMLElementTagNameMap} Tag
 * @param {Tag} tag
 * @param {Record<string, string> | null} attributes
 * @param {...(Node | string)} children strings become text
 * @returns {HTMLElementTagNameMap[Tag]}
 */
export function element(tag, attributes, ...children) {
  const made = document.createElement(tag);
  for (const [name, value] of Object.entries(attributes ?? {})) made.setAttribute(name, value);
  made.append(...children);
  return made;
}

/**
 * The element of the document that has this id.
 * @param {string} id
 * @returns {HTMLElement}
 */
export function byId(id) {
  const found = document.getElementById(id);
  if (!found) throw new Error(`The page has no element "${id}"`);
  return found;
}

/**
 * A text from the run for a line of its own: long ones end in "…", what would turn the direction
 * of the text around it or hide in it stands as a code.
 * @param {string} text
 * @param {number} [limit] characters
 */
export function shown(text, limit = 300) {
  const cut = text.length > limit ? Array.from(text).slice(0, limit).join("") + "…" : text;
  return cut.replace(/[\u0000-\u001f\u007f-\u009f\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff]/g,
    (control) => `\\u${control.charCodeAt(0).toString(16).padStart(4, "0")}`);
}
