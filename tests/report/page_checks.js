// Evaluated in the page by pageTest.py; each function returns what is wrong, as texts.
({
  // Elements that reach beyond the window, apart from what scrolls in a region of its own.
  overflowing() {
    const width = document.documentElement.clientWidth;
    const wrong = [];
    if (document.documentElement.scrollWidth > width) wrong.push(`the page is ${document.documentElement.scrollWidth} wide`);
    const within = (selector) => selector.split(", ").map((each) => `${each}, ${each} *`).join(", ");
    const exempt = within(".scroll table, .hidden, .skip, symbol");
    for (const element of document.body.querySelectorAll(`:not(${exempt})`)) {
      const box = element.getBoundingClientRect();
      if (box.width === 0 || (box.right <= width + 1 && box.left >= -1)) continue;
      wrong.push(`${element.tagName}.${element.getAttribute("class")}`);
    }
    return wrong;
  },

  // Texts whose contrast with what is behind them is below 4.5 to 1, and symbols below 3 to 1 (WCAG 2.2, 1.4.3, 1.4.11).
  faint() {
    const channels = (text) =>
      [...text.matchAll(/rgba?\(([^)]*)\)/g)].map((found) => found[1].split(/[\s,/]+/).map(Number));
    const luminance = ([red, green, blue]) => {
      const part = (value) =>
        (value / 255 <= 0.04045 ? value / 255 / 12.92 : ((value / 255 + 0.055) / 1.055) ** 2.4);
      return 0.2126 * part(red) + 0.7152 * part(green) + 0.0722 * part(blue);
    };
    const ratio = (one, other) => {
      const [high, low] = [luminance(one), luminance(other)].sort((left, right) => right - left);
      return (high + 0.05) / (low + 0.05);
    };
    const isOpaque = (colour) => colour.length < 4 || colour[3] === 1;
    // All colours that may be behind an element: those of a gradient are several.
    const behind = (element) => {
      if (element.ownerSVGElement) {
        for (let at = element; at.ownerSVGElement; at = at.parentElement) {
          for (let before = at.previousElementSibling; before; before = before.previousElementSibling) {
            const fill = before.tagName === "rect" ? channels(getComputedStyle(before).fill) : [];
            if (fill.length > 0 && isOpaque(fill[0])) return fill;
          }
        }
      }
      for (let at = element; at; at = at.parentElement) {
        const style = getComputedStyle(at);
        const gradient = channels(style.backgroundImage);
        if (gradient.length > 0) return gradient;
        const plain = channels(style.backgroundColor).filter(isOpaque);
        if (plain.length > 0) return plain;
      }
      return [[255, 255, 255]];
    };
    const wrong = new Set();
    const check = (element, colour, least, what) => {
      const worst = Math.min(...behind(element).map((ground) => ratio(channels(colour)[0], ground)));
      if (worst < least) wrong.add(`${what} ${colour}: ${worst.toFixed(2)}`);
    };
    let checked = 0;
    for (const element of document.body.querySelectorAll("*")) {
      const hasText = [...element.childNodes].some((node) => node.nodeType === 3 && node.textContent.trim());
      if (!hasText || element.closest(".hidden, symbol, title, desc, script")) continue;
      if (element.getClientRects().length === 0) continue;
      const style = getComputedStyle(element);
      const colour = element.tagName === "text" ? style.fill : style.color;
      check(element, colour, 4.5, `${element.tagName} "${element.textContent.trim().slice(0, 30)}"`);
      checked += 1;
    }
    for (const symbol of document.querySelectorAll("svg.symbol, svg a.unit use")) {
      check(symbol, getComputedStyle(symbol).color, 3, "symbol");
      checked += 1;
    }
    const mark = getComputedStyle(document.querySelector("symbol .mark")).stroke;
    for (const name of ["ok", "unknown", "warning", "critical"]) {
      const probe = document.body.appendChild(document.createElement("span"));
      probe.className = name;
      if (ratio(channels(mark)[0], channels(getComputedStyle(probe).color)[0]) < 3) wrong.add(`mark on ${name}`);
      probe.remove();
    }
    return checked > 20 ? [...wrong] : ["too few texts were looked at"];
  },

  headings() {
    const levels = [...document.querySelectorAll("h1, h2, h3, h4")].map((heading) => Number(heading.tagName[1]));
    const skipping = levels.filter((level, at) => at > 0 && level > levels[at - 1] + 1);
    const wrong = skipping.map((level) => `h${level} after a heading two levels above`);
    return levels.filter((level) => level === 1).length === 1 ? wrong : [...wrong, "not one h1"];
  },

  identifiers() {
    const seen = new Set();
    const wrong = [];
    for (const element of document.querySelectorAll("[id]")) {
      if (seen.has(element.id)) wrong.push(`${element.id} twice`);
      seen.add(element.id);
    }
    for (const link of document.querySelectorAll("a")) {
      const target = link.getAttribute("href");
      if (!target.startsWith("#") || !seen.has(target.slice(1))) wrong.push(`a link to ${target}`);
    }
    return wrong;
  },
})
