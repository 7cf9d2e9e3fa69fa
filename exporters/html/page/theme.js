// Light, dark or as the system has it: the choice in the header, which the style sheet follows by
// itself, and what it comes to for those who draw.

import { byId } from "./dom.js";

const system = matchMedia("(prefers-color-scheme: dark)");

/** @returns {boolean} whether the page is dark now */
export function isDark() {
  const choice = document.documentElement.dataset.theme;
  return choice === "dark" || (choice !== "light" && system.matches);
}

/**
 * Follows the choice and the system; `changed` is called after each change.
 * @param {(dark: boolean) => void} changed
 */
export function followTheme(changed) {
  byId("theme").addEventListener("change", (event) => {
    setTheme(/** @type {HTMLInputElement} */ (event.target).value);
    changed(isDark());
  });
  system.addEventListener("change", () => changed(isDark()));
}

/** @param {string} choice "auto", "light" or "dark" */
export function setTheme(choice) {
  document.documentElement.dataset.theme = choice;
}

/** @returns {string} */
export function theme() {
  return document.documentElement.dataset.theme ?? "auto";
}
