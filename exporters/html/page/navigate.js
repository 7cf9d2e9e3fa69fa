// Until there are lanes: the wheel zooms.

/**
 * @param {HTMLElement} element
 * @param {import("./view.js").View} view
 */
export function attachNavigation(element, view) {
  element.addEventListener("wheel", (event) => {
    event.preventDefault();
    view.zoom(event.deltaY > 0 ? 1.25 : 0.8);
  });
}
