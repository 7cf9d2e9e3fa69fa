// Paper: light colours, and the picture drawn anew at the width of a page.

import { isDark, setTheme, theme } from "./theme.js";

/** @param {import("./view.js").View} view */
export function followPrinting(view) {
  let onScreen = "auto";
  addEventListener("beforeprint", () => {
    onScreen = theme();
    document.documentElement.classList.add("printing");
    setTheme("light");
    view.setDark(false);
    view.lanesChanged();
    view.drawNow();
  });
  addEventListener("afterprint", () => {
    document.documentElement.classList.remove("printing");
    setTheme(onScreen);
    view.setDark(isDark());
    view.lanesChanged();
  });
}
