// Reader mode: finds the page's article and returns it cleaned, as JSON text (null when there is none).
// Runs in the "quillo" world, so the page's own scripts can neither see nor bend it.
(() => {
  const collapse = (text) => text.replace(/\s+/g, " ").trim();
  // In characters, not UTF-16 units: a pair of surrogates is one character.
  const count = (text) => {
    const pairs = text.match(/[\uD800-\uDBFF][\uDC00-\uDFFF]/g);
    return text.length - (pairs ? pairs.length : 0);
  };
  const textLength = (element) => count(collapse(element.textContent));

  // Paragraphs score their parent fully and their grandparent by half; every
  // ancestor also keeps the whole total of what lies within it, which later
  // tells a block of paragraphs from one section of a longer article.
  const scores = new Map();
  const within = new Map();
  const add = (table, element, amount) => table.set(element, (table.get(element) || 0) + amount);
  const outside = "nav, aside, footer, form, [role=navigation], [role=complementary]";
  for (const paragraph of document.querySelectorAll("p, pre, blockquote")) {
    const text = collapse(paragraph.textContent);
    const length = count(text);
    if (length < 40) continue;
    const parent = paragraph.parentElement;
    if (!parent || parent.closest(outside)) continue;
    const commas = (text.match(/[,\uFF0C\u3001]/g) || []).length;
    const score = 1 + Math.min(length / 100, 3) + 0.1 * commas;
    add(scores, parent, score);
    if (parent.parentElement) add(scores, parent.parentElement, score / 2);
    for (let up = parent; up; up = up.parentElement) add(within, up, score);
  }

  let best = null;
  let bestScore = 0;
  for (const [element, score] of scores) {
    if (!best || score > bestScore) {
      best = element;
      bestScore = score;
    }
  }
  // An article cut into sections scores each section alone: take the
  // container that holds clearly more of the text.
  // Wrappers around the same paragraphs say nothing either way: look past them.
  for (let up = best && best.parentElement; up; up = up.parentElement) {
    if (within.get(up) === within.get(best)) continue;
    if (!(within.get(up) >= 1.6 * within.get(best))) break;
    best = up;
  }

  // The page's own word for its article wins when it says so once and holds
  // about as much text.
  const marked = document.querySelectorAll("article, [itemprop=articleBody]");
  if (marked.length === 1 && (!best || textLength(marked[0]) >= 0.8 * textLength(best))) best = marked[0];
  if (!best || textLength(best) < 500) return null;

  // The copy lives in a document of its own with no window: its images load
  // nothing while it is cleaned, and nothing in it runs.
  const copy = document.implementation.createHTMLDocument("").importNode(best, true);
  // Taken before anything is removed, so the copy's images pair with the
  // page's by order.
  const liveImages = best.querySelectorAll("img");
  const copiedImages = copy.querySelectorAll("img");

  const dropped =
    "script, style, noscript, iframe, form, button, input, select, textarea, nav, aside, footer, svg, canvas, " +
    "[hidden], [aria-hidden=true], [role=navigation], [role=dialog]";
  for (const element of copy.querySelectorAll(dropped)) element.remove();

  const clutterWords =
    "comment|share|social|related|promo|newsletter|sidebar|subscribe|advert|ad|ads|cookie|banner|editsection|" +
    "popup|modal|toolbar|byline|meta";
  // Whole words only: "share-buttons" is clutter, "shared" is not.
  const clutter = new RegExp(`(^|[-_ ])(${clutterWords})($|[-_ ])`, "i");
  for (const element of copy.querySelectorAll("[class], [id]")) {
    if (!copy.contains(element)) continue;  // already gone with an ancestor
    const className = typeof element.className === "string" ? element.className : element.className?.baseVal || "";
    const names = className + " " + (element.id || "");
    if (clutter.test(names) && textLength(element) < 300) element.remove();
  }

  // Lazy pages keep the real address aside. What the browser picked (from a
  // srcset or a <picture>) beats it, but not when that pick is only the src
  // attribute: on a lazy page that is the placeholder.
  copiedImages.forEach((image, index) => {
    if (!copy.contains(image)) return;
    for (const name of ["data-src", "data-lazy-src", "data-original"]) {
      if (image.hasAttribute(name)) {
        image.setAttribute("src", image.getAttribute(name));
        break;
      }
    }
    const live = liveImages[index];
    if (live && live.currentSrc && live.currentSrc !== live.src) image.setAttribute("src", live.currentSrc);
  });

  // Only what the reader needs survives: no style, no handler, no data. Ids
  // and names stay as the targets of the article's own "#part" links.
  const kept = new Set(["href", "src", "alt", "title", "colspan", "rowspan", "id", "name"]);
  for (const element of [copy, ...copy.querySelectorAll("*")]) {
    for (const name of element.getAttributeNames()) if (!kept.has(name)) element.removeAttribute(name);
  }
  const base = document.baseURI;
  const safe = new Set(["http:", "https:", "mailto:"]);
  for (const element of [copy, ...copy.querySelectorAll("[href], [src]")]) {
    for (const name of ["href", "src"]) {
      const value = element.getAttribute(name);
      if (value === null) continue;
      let address = null;
      try {
        address = new URL(value, base);
      } catch (error) {}
      if (address && safe.has(address.protocol)) element.setAttribute(name, address.href);
      else element.removeAttribute(name);
    }
  }

  const meta = (name) => {
    const element = document.querySelector(`meta[property="${name}"], meta[name="${name}"]`);
    return element ? (element.getAttribute("content") || "").trim() : "";
  };
  const h1 = document.querySelector("h1");
  const heading = h1 ? collapse(h1.textContent) : "";
  const fullTitle = meta("og:title") || document.title;
  // "Heading - Site" titles: the heading alone says it.
  const title = count(heading) >= 3 && (!fullTitle || fullTitle.includes(heading)) ? heading : fullTitle || heading;
  // The reader shows the title itself; the article's own copy of it would repeat it.
  const repeated = copy.querySelector("h1, h2");
  if (repeated && collapse(repeated.textContent) === title) repeated.remove();

  const author = document.querySelector("[rel=author], [itemprop=author]");
  const byline = Array.from(meta("author") || (author ? author.textContent.trim() : "")).slice(0, 120).join("");
  const site = meta("og:site_name") || location.hostname.replace(/^www\./, "");
  return JSON.stringify({title, byline, site, html: copy.innerHTML});
})();
