// Reports the link under the pointer, in every frame. Runs in the "quillo"
// world, so the page can neither see nor fake it.
(() => {
  let last = "";
  const report = (href) => {
    if (href === last) return;
    last = href;
    if (typeof quillo !== "undefined") quillo.post("quilloHover", href);
  };
  document.addEventListener("mouseover", (event) => {
    const target = event.target instanceof Element ? event.target : null;
    const link = target ? target.closest("a[href]") : null;
    if (!link) return report("");
    // SVG links keep their address in an animated value, not a string.
    const href = typeof link.href === "string" ? link.href : new URL(link.getAttribute("href"), document.baseURI).href;
    report(href);
  }, true);
  document.addEventListener("mouseout", (event) => {
    if (!event.relatedTarget) report("");
  }, true);
})();
