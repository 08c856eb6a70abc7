// Answers whether this frame holds something a reload would lose: text the
// user typed (a field changed from its default value, a text area, focus in
// an editable element) or a fullscreen element. Run in the "quillo" world in
// every frame before an idle page is unloaded.
(() => {
  const notTyped = new Set(["checkbox", "radio", "submit", "button", "reset", "image", "hidden", "range", "color", "file"]);
  const visible = (element) => element.getClientRects().length > 0 && getComputedStyle(element).visibility !== "hidden";
  for (const input of document.querySelectorAll("input")) {
    if (notTyped.has((input.type || "text").toLowerCase())) continue;
    if (input.value !== input.defaultValue && visible(input)) return true;
  }
  for (const area of document.querySelectorAll("textarea"))
    if (area.value !== area.defaultValue) return true;
  const focused = document.activeElement;
  if (focused && focused.isContentEditable) return true;
  return !!(document.fullscreenElement || document.webkitFullscreenElement);
})();
