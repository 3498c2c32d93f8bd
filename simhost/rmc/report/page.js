"use strict";
(() => {
  const announcement = document.getElementById("announcement");
  const announce = (text) => { announcement.textContent = text; };
  const make = (name, properties, ...children) => {
    const made = Object.assign(document.createElement(name), properties);
    made.append(...children);
    return made;
  };
  document.documentElement.classList.add("with-script");

  // Sorting: the headings become buttons. Rows that are equal keep their order.
  const collator = new Intl.Collator("en", { numeric: true, sensitivity: "base" });
  const valueOf = (row, column) => {
    const cell = row.cells[column];
    return cell.dataset.sort ?? cell.textContent;
  };
  const sort = (table, heading, column) => {
    const descending = heading.getAttribute("aria-sort") === "ascending";
    for (const other of table.tHead.rows[0].cells) other.removeAttribute("aria-sort");
    heading.setAttribute("aria-sort", descending ? "descending" : "ascending");
    const keyed = [...table.tBodies[0].rows].map((row) => [valueOf(row, column), row]);
    keyed.sort((left, right) => collator.compare(left[0], right[0]) * (descending ? -1 : 1));
    table.tBodies[0].append(...keyed.map(([, row]) => row));
    announce(`Sorted by ${heading.textContent}, ${descending ? "descending" : "ascending"}`);
  };

  // A filter shows the elements that hold all words, and whose kind is not switched off.
  const wordsOf = (input) => input.value.toLowerCase().split(/\s+/).filter(Boolean);
  const show = (elements, isWanted, what) => {
    let count = 0;
    for (const element of elements) {
      element.hidden = !isWanted(element);
      if (!element.hidden) count += 1;
    }
    announce(`${count} of ${elements.length} ${what}`);
  };
  const holds = (element, words) => {
    const text = element.textContent.toLowerCase();
    return words.every((word) => text.includes(word));
  };

  const tablesWithFilter = 8;
  for (const table of document.querySelectorAll("table")) {
    [...table.tHead.rows[0].cells].forEach((heading, column) => {
      const button = make("button", { type: "button", textContent: heading.textContent });
      button.addEventListener("click", () => sort(table, heading, column));
      heading.replaceChildren(button);
    });
    const rows = [...table.tBodies[0].rows];
    if (rows.length < tablesWithFilter) continue;
    const input = make("input", { type: "search", autocomplete: "off" });
    input.setAttribute("aria-controls", table.id);
    input.addEventListener("input", () => {
      const words = wordsOf(input);
      show(rows, (row) => holds(row, words), "rows");
    });
    table.parentElement.before(
      make("div", { className: "filter" }, make("label", {}, `Filter ${table.caption.textContent}`, input)));
  }

  // Time line: kinds and words.
  const entries = [...document.querySelectorAll(".entry")];
  const tools = document.getElementById("timeline-tools");
  if (entries.length > 1) {
    const kinds = new Map();  // in the order of urgency
    for (const kind of ["fault", "trouble", "recovery", "notice", "push"]) kinds.set(kind, { word: "", count: 0 });
    for (const entry of entries) {
      const word = entry.querySelector(".kind").textContent;
      kinds.set(entry.dataset.kind, { word, count: kinds.get(entry.dataset.kind).count + 1 });
    }
    const input = make("input", { type: "search", autocomplete: "off" });
    const boxes = [...kinds].filter(([, { count }]) => count > 0).map(([kind, { word, count }]) => {
      const box = make("input", { type: "checkbox", checked: true, value: kind });
      return [box, make("label", {}, box, `${word} (${count})`)];
    });
    const update = () => {
      const words = wordsOf(input);
      const wanted = new Set(boxes.filter(([box]) => box.checked).map(([box]) => box.value));
      show(entries, (entry) => wanted.has(entry.dataset.kind) && holds(entry, words), "entries");
    };
    input.addEventListener("input", update);
    for (const [box] of boxes) box.addEventListener("change", update);
    tools.append(
      make("fieldset", {}, make("legend", { className: "hidden", textContent: "Kinds of entries" }),
        ...boxes.map(([, label]) => label)),
      make("label", {}, "Filter time line", input));
  }

  // Picture: one tab stop for a group of units, and arrow keys within it.
  const steps = { ArrowRight: 1, ArrowDown: 1, ArrowLeft: -1, ArrowUp: -1 };
  for (const bank of document.querySelectorAll(".bank")) {
    const units = [...bank.querySelectorAll("a.unit")];
    const select = (unit) => {
      for (const other of units) other.setAttribute("tabindex", other === unit ? "0" : "-1");
    };
    if (units.length > 0) select(units[0]);
    bank.addEventListener("focusin", (event) => {
      const unit = event.target.closest("a.unit");
      if (unit) select(unit);
    });
    bank.addEventListener("keydown", (event) => {
      const at = units.indexOf(event.target.closest("a.unit"));
      if (at < 0 || event.ctrlKey || event.altKey || event.metaKey) return;
      let next = at + (steps[event.key] ?? 0);
      if (event.key === "Home") next = 0;
      if (event.key === "End") next = units.length - 1;
      if (next === at || !units[next]) return;
      event.preventDefault();
      units[next].focus();
    });
  }

  // A row that a filter hides is shown when a link leads to it.
  window.addEventListener("hashchange", () => {
    const target = document.getElementById(location.hash.slice(1));
    if (!target?.hidden) return;
    target.hidden = false;
    target.scrollIntoView();
    target.focus();
  });
})();
