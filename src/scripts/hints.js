// Link hints in one frame: finds what can be clicked in view, draws the tags the browser labels, and acts on the
// chosen one. Evaluated in the "quillo" world of every frame only when hints are asked for, so pages pay nothing
// otherwise and cannot see or fake any of it.
globalThis.quilloHints ??= (() => {
  const named =
    "a[href],area[href],button,input:not([type=hidden]),select,textarea,summary,label," +
    "[role=button],[role=link],[role=tab],[role=checkbox],[role=menuitem],[onclick]," +
    "[contenteditable=''],[contenteditable=true]";
  const anything = named + ",[tabindex]";
  const links = "a[href],area[href]";
  // Input types that take typing rather than a click.
  const typing = /^(text|search|email|url|tel|password|number|date|datetime-local|month|week|time|range)$/;

  let token = "";
  let elements = [];
  let places = [];  // each element's top-left corner in this frame's viewport
  let tags = [];
  let labels = [];
  let host = null;

  const end = () => {
    if (typeof quillo !== "undefined") quillo.post("quilloHintsEnd", null);
  };
  const listen = (on) => {
    for (const type of ["scroll", "mousedown", "resize", "pagehide"])
      (on ? addEventListener : removeEventListener)(type, end, true);
  };

  const clickable = (element) => {
    // A label counts when it works a check box; a [tabindex] when it takes focus.
    if (element.localName === "label") return !!element.control && /^(checkbox|radio)$/.test(element.control.type);
    if (element.tabIndex < 0 && element.hasAttribute("tabindex") && !element.matches(named)) return false;
    return !element.disabled;
  };

  const textOf = (element) =>
    (element.innerText || element.getAttribute("aria-label") || element.labels?.[0]?.innerText ||
     element.getAttribute("placeholder") ||
     element.value || element.title || element.alt || "").trim().slice(0, 120);

  const editable = (element) =>
    element.isContentEditable || element.localName === "textarea" || element.localName === "select" ||
    (element.localName === "input" && typing.test(element.type));

  // Drops the tags and lets go of the page's elements.
  const clear = () => {
    listen(false);
    host?.remove();
    host = null;
    tags = [];
    elements = [];
    places = [];
  };

  return {
    // Tags already shown are dropped; returns what is in view with its
    // top-left corner and text, and the frames in view by address and place,
    // so the browser can order everything by the top viewport.
    collect(linksOnly) {
      clear();
      token = Math.random().toString(36).slice(2);
      const items = [];
      const width = innerWidth, height = innerHeight;
      for (const element of document.querySelectorAll(linksOnly ? links : anything)) {
        const box = element.getBoundingClientRect();
        if (box.width <= 0 || box.height <= 0 || box.bottom <= 0 || box.right <= 0 || box.top >= height ||
            box.left >= width)
          continue;
        // A link wrapped over two lines is tagged and hit-tested on its first part.
        let part = box;
        for (const rect of element.getClientRects()) {
          if (rect.width > 0 && rect.height > 0 && rect.bottom > 0 && rect.top < height) {
            part = rect;
            break;
          }
        }
        // Hidden or covered elements are not what is hit at their centre.
        const x = (Math.max(part.left, 0) + Math.min(part.right, width)) / 2;
        const y = (Math.max(part.top, 0) + Math.min(part.bottom, height)) / 2;
        const hit = document.elementFromPoint(x, y);
        if (!hit || !(hit === element || element.contains(hit) || (element.localName === "label" && hit === element.control)))
          continue;
        if (!clickable(element)) continue;
        const place = [Math.round(Math.max(part.left, 0)), Math.round(Math.max(part.top, 0))];
        elements.push(element);
        places.push(place);
        items.push([place[0], place[1], textOf(element)]);
      }
      // A label around its check box needs no tag of its own when the box has one.
      const tagged = new Set(elements);
      for (let i = elements.length - 1; i >= 0; --i) {
        const control = elements[i].localName === "label" ? elements[i].control : null;
        if (control && elements[i].contains(control) && tagged.has(control)) {
          elements.splice(i, 1);
          places.splice(i, 1);
          items.splice(i, 1);
        }
      }
      const frames = [];
      for (const frame of document.querySelectorAll("iframe,frame")) {
        const box = frame.getBoundingClientRect();
        if (box.width > 0 && box.height > 0 && box.bottom > 0 && box.right > 0 && box.top < height && box.left < width)
          frames.push([frame.src, box.left + frame.clientLeft, box.top + frame.clientTop]);
      }
      return {token, url: location.href, items, frames};
    },

    // Draws this frame's tags: `all` maps each frame's token to its labels.
    show(all) {
      labels = all[token] || [];
      if (!labels.length) return;
      host = document.createElement("quillo-hints");
      host.style.cssText = "all:initial;display:block;position:fixed;left:0;top:0;width:100%;height:100%;" +
        "z-index:2147483647;pointer-events:none";
      const root = host.attachShadow({mode: "closed"});
      let html = "<style>b{position:absolute;box-sizing:border-box;padding:1px 4px;font:bold 11px/1.2 sans-serif;" +
        "text-transform:uppercase;color:#fff;background:#1c1c1e;border:1px solid #e8e8e8;" +
        "white-space:nowrap}i{font-style:normal;color:#8e8e93}</style>";
      for (let i = 0; i < labels.length && i < places.length; ++i)
        html += "<b style=\"left:" + places[i][0] + "px;top:" + places[i][1] + "px\">" + labels[i] + "</b>";
      root.innerHTML = html;
      tags = Array.from(root.querySelectorAll("b"));
      (document.documentElement || document).append(host);
      listen(true);
    },

    // Leaves shown only the tags `all[token].shown` names, their first
    // `typed` letters dimmed.
    narrow(all) {
      const mine = all[token];
      if (!mine || !tags.length) return;
      const shown = new Set(mine.shown);
      tags.forEach((tag, i) => {
        tag.hidden = !shown.has(i);
        if (!tag.hidden) tag.innerHTML = "<i>" + labels[i].slice(0, mine.typed) + "</i>" + labels[i].slice(mine.typed);
      });
    },

    clear,

    // Acts on the chosen element when it is this frame's; every frame drops
    // its tags. Links are handed to the browser (`open`: any mode but
    // following) and followed by it; fields get the caret at their end.
    act(which, index, mode) {
      const element = which === token ? elements[index] : null;
      clear();
      if (!element || !element.isConnected) return null;
      const link = element.closest(links);
      const href = link && typeof link.href === "string" ? link.href : "";
      if (mode !== "follow") return href ? {kind: "link", href} : null;
      if (editable(element)) {
        element.focus();
        try {
          if (element.isContentEditable) {
            const range = document.createRange();
            range.selectNodeContents(element);
            range.collapse(false);
            getSelection().removeAllRanges();
            getSelection().addRange(range);
          } else if (element.setSelectionRange) {
            element.setSelectionRange(element.value.length, element.value.length);
          }
        } catch (_) {
          // Some input types keep no caret.
        }
        return {kind: "field"};
      }
      if (/^(https?|file):/.test(href) && !link.hasAttribute("download")) return {kind: "link", href};
      element.click();
      return {kind: "clicked"};
    },
  };
})();
