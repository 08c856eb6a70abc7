// The icons a page declares: every <link> whose rel has the word "icon" or
// begins with "apple-touch-icon", with its resolved address, sizes and type.
// Evaluated in the "quillo" world after each finished navigation; answers
// JSON text.
(() => {
  const links = [];
  for (const link of document.querySelectorAll("link[rel][href]")) {
    const rel = (link.getAttribute("rel") || "").toLowerCase();
    if (!rel.split(/\s+/).includes("icon") && !rel.startsWith("apple-touch-icon")) continue;
    links.push({ href: link.href, sizes: link.getAttribute("sizes") || "", type: link.getAttribute("type") || "" });
  }
  return JSON.stringify(links);
})()
