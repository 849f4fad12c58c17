// The table of what has happened. Only the visible rows are elements of the page, so the table stays
// quick with a hundred thousand rows.

import { byId, make, setText } from "./dom.js";
import { Filter } from "./log.js";
import { cells, kColumns, kindOf, told } from "./row.js";
import { script, scriptLine } from "./script.js";

const kRowHeight = 26;

export class Table {
  // Shows the rows of a log. Calls `onView` with the first and the last item that can be seen.
  constructor(grid, log, onView) {
    this.grid = grid;
    this.body = byId("rows");
    this.log = log;
    this.onView = onView;
    this.filter = new Filter();
    this.shown = [];
    this.waiting = 0;
    this.paused = false;
    this.follows = true;
    this.selected = null;
    this.pool = [];
    this.asked = false;
    grid.addEventListener("scroll", () => {
      this.follows = grid.scrollTop + grid.clientHeight > grid.scrollHeight - kRowHeight;
      this.redraw();
    });
    grid.addEventListener("keydown", (event) => this.onKey(event));
    new ResizeObserver(() => this.redraw()).observe(grid);
    byId("filter").addEventListener("input", (event) => {
      this.filter.words = event.target.value.toLowerCase().split(/\s+/).filter((word) => word !== "");
      this.refilter();
    });
    byId("kind").addEventListener("change", (event) => {
      this.filter.kind = event.target.value;
      this.refilter();
    });
    byId("pause").addEventListener("click", () => this.pause(!this.paused));
    byId("copy").addEventListener("click", () => this.copy());
    byId("export").addEventListener("click", () => this.save());
    byId("clear").addEventListener("click", () => {
      this.log.clear();
      this.waiting = 0;
      this.refilter();
    });
    this.redraw();
  }

  // Shows another log, from its beginning, or from its end while it grows.
  show(log, follows) {
    this.log = log;
    this.selected = null;
    this.follows = follows;
    if (!follows) this.grid.scrollTop = 0;
    this.pause(false);
  }

  // Must be called when a log has a new row, or, with null, when one of its rows has changed.
  added(log, row) {
    const forgotten = log.forget();
    if (log !== this.log) return;
    if (row !== null && this.paused) ++this.waiting;
    if (forgotten) this.refilter();
    else if (row !== null && !this.paused && this.filter.fits(row)) this.shown.push(row);
    this.redraw();
  }

  // Scrolls to the first row of this time or later.
  seek(time) {
    const index = this.shown.findIndex((row) => row.item.t >= time);
    if (index < 0) return;
    this.select(this.shown[index]);
    // The list must have its height before it can be scrolled.
    this.follows = false;
    this.draw();
    this.grid.scrollTop = Math.max(0, (index - 3) * kRowHeight);
  }

  refilter() {
    const { rows } = this.log;
    const until = this.paused ? rows.length - this.waiting : rows.length;
    this.shown = rows.slice(0, Math.max(0, until)).filter((row) => this.filter.fits(row));
    this.redraw();
  }

  pause(paused) {
    this.paused = paused;
    this.waiting = 0;
    byId("pause").setAttribute("aria-pressed", paused);
    this.refilter();
  }

  redraw() {
    if (this.asked) return;
    this.asked = true;
    requestAnimationFrame(() => {
      this.asked = false;
      this.draw();
    });
  }

  draw() {
    const { grid, shown } = this;
    this.body.style.height = `${shown.length * kRowHeight}px`;
    if (this.follows && !this.paused) grid.scrollTop = grid.scrollHeight;
    const first = Math.max(0, Math.floor(grid.scrollTop / kRowHeight) - 1);
    const count = Math.min(shown.length - first, Math.ceil(grid.clientHeight / kRowHeight) + 2);
    while (this.pool.length < count) {
      const row = make("div", { role: "row", class: "row" });
      for (let i = 0; i < kColumns; ++i) row.append(make("span", { role: "gridcell" }));
      row.addEventListener("click", () => this.select(row.row));
      this.pool.push(row);
    }
    this.body.replaceChildren(...this.pool.slice(0, Math.max(0, count)));
    this.pool.slice(0, Math.max(0, count)).forEach((element, i) => this.fill(element, first + i));
    grid.setAttribute("aria-rowcount", shown.length + 1);
    const seen = shown.slice(first + 1, first + count - 1).filter((row) => row.item.t !== undefined);
    this.onView(seen[0]?.item, seen[seen.length - 1]?.item);
    const active = this.pool.find((element) => element.row === this.selected && element.isConnected);
    if (active) grid.setAttribute("aria-activedescendant", active.id);
    else grid.removeAttribute("aria-activedescendant");
    setText(byId("count"), `${shown.length.toLocaleString("en")} of ` +
      `${this.log.rows.length.toLocaleString("en")} rows` + (this.paused ? ", paused" : "") +
      (this.waiting > 0 ? `, ${this.waiting.toLocaleString("en")} waiting` : ""));
  }

  fill(element, index) {
    const row = this.shown[index];
    element.row = row;
    element.id = `row-${index}`;
    element.style.top = `${index * kRowHeight}px`;
    element.setAttribute("aria-rowindex", index + 2);
    element.setAttribute("aria-selected", row === this.selected);
    element.className = `row ${kindOf(row.item)}`;
    cells(row).forEach((text, i) => {
      const cell = element.children[i];
      setText(cell, text);
      cell.title = i === 4 ? told(row.item) : i === 5 ? text : "";
    });
  }

  select(row) {
    this.selected = row;
    this.redraw();
  }

  onKey(event) {
    const all = this.shown.length;
    const step = { ArrowDown: 1, ArrowUp: -1, PageDown: 10, PageUp: -10, Home: -all, End: all }[event.key];
    if (step === undefined) {
      if (event.key === "Enter") this.copy();
      return;
    }
    event.preventDefault();
    const before = this.shown.indexOf(this.selected);
    const from = before >= 0 ? before : this.shown.length - 1;
    const index = Math.min(this.shown.length - 1, Math.max(0, from + step));
    this.select(this.shown[index] ?? null);
    const top = index * kRowHeight;
    const seen = this.grid.clientHeight - 2 * kRowHeight;
    if (top < this.grid.scrollTop) this.grid.scrollTop = top;
    else if (top > this.grid.scrollTop + seen) this.grid.scrollTop = top - seen;
  }

  async copy() {
    const item = this.selected?.item;
    if (item === undefined || scriptLine(item) === null) {
      setText(byId("said"), "Select the row of a request or an event in the table first.");
      return;
    }
    await navigator.clipboard.writeText(scriptLine(item));
    setText(byId("said"), `Copied: ${scriptLine(item)}`);
  }

  save() {
    const items = this.shown.map((row) => row.item);
    const link = make("a", { download: "mirvo.scenario",
      href: URL.createObjectURL(new Blob([script(items)], { type: "text/plain" })) });
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 1000);
  }
}
