// The table of what has happened. Only the rows that can be seen are elements, so it stays quick
// with a hundred thousand of them.

import { byId, make, setText } from "./dom.js";
import { script, scriptLine } from "./script.js";

const kRowHeight = 26;
const kMost = 200000;
const kForget = 20000;
const kColumns = 7;

const two = (number, digits = 2) => String(number).padStart(digits, "0");

function clock(microseconds) {
  const date = new Date(microseconds / 1000);
  return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}` +
    `.${two(date.getMilliseconds(), 3)}`;
}

const pairs = (values) => Object.entries(values).map(([name, value]) =>
  `${name}=${typeof value === "string" ? value : JSON.stringify(value)}`).join(" ");

function duration(microseconds) {
  if (microseconds === undefined) return "";
  return microseconds < 10000 ? `${microseconds} µs` : `${Math.round(microseconds / 1000)} ms`;
}

// What each column of a row shows.
function cells(row) {
  const { item } = row;
  if (item.note !== undefined) return ["", "", item.note, "", "", "", ""];
  const at = clock(item.t);
  const phone = item.accessory === undefined ? "" : String(item.accessory);
  if (item.command !== undefined) return [at, "", item.event, phone, item.command, "", ""];
  const answer = pairs(item.answer);
  return [at, String(item.pid), item.request, phone, pairs(item.arguments), answer, duration(row.took)];
}

const departs = ({ answer }) => answer !== undefined &&
  ((answer.result ?? 0) !== 0 || answer.silent || answer.noReply || answer.mistype !== undefined);

export class Table {
  constructor(grid) {
    this.grid = grid;
    this.body = byId("rows");
    this.rows = [];
    this.shown = [];
    this.pending = new Map();
    this.waiting = 0;
    this.paused = false;
    this.follows = true;
    this.selected = null;
    this.pool = [];
    this.words = [];
    this.kind = "all";
    this.asked = false;
    grid.addEventListener("scroll", () => {
      this.follows = grid.scrollTop + grid.clientHeight > grid.scrollHeight - kRowHeight;
      this.redraw();
    });
    grid.addEventListener("keydown", (event) => this.onKey(event));
    new ResizeObserver(() => this.redraw()).observe(grid);
    byId("filter").addEventListener("input", (event) => {
      this.words = event.target.value.toLowerCase().split(/\s+/).filter((word) => word !== "");
      this.refilter();
    });
    byId("kind").addEventListener("change", (event) => {
      this.kind = event.target.value;
      this.refilter();
    });
    byId("pause").addEventListener("click", () => this.pause(!this.paused));
    byId("copy").addEventListener("click", () => this.copy());
    byId("export").addEventListener("click", () => this.save());
    byId("clear").addEventListener("click", () => {
      this.rows = [];
      this.pending.clear();
      this.refilter();
    });
    this.redraw();
  }

  note(text) {
    this.put({ note: `— ${text} —` });
  }

  add(item) {
    if (item.settled === undefined) return this.put(item);
    const row = this.pending.get(item.settled);
    if (row === undefined) return undefined;
    this.pending.delete(item.settled);
    row.took = item.took;
    return this.redraw();
  }

  put(item) {
    const row = { item };
    this.rows.push(row);
    if (item.request !== undefined) this.pending.set(item.n, row);
    if (this.rows.length > kMost) {
      for (const old of this.rows.splice(0, kForget)) this.pending.delete(old.item.n);
      this.refilter();
    } else if (this.paused) {
      ++this.waiting;
    } else if (this.fits(row)) {
      this.shown.push(row);
    }
    this.redraw();
  }

  fits(row) {
    const { item } = row;
    if (this.kind !== "all" && item.note === undefined && item[this.kind] === undefined) return false;
    if (this.words.length === 0) return true;
    row.text ??= cells(row).join(" ").toLowerCase();
    return this.words.every((word) => row.text.includes(word));
  }

  refilter() {
    const until = this.paused ? this.rows.length - this.waiting : this.rows.length;
    this.shown = this.rows.slice(0, Math.max(0, until)).filter((row) => this.fits(row));
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
    const active = this.pool.find((element) => element.row === this.selected && element.isConnected);
    if (active) grid.setAttribute("aria-activedescendant", active.id);
    else grid.removeAttribute("aria-activedescendant");
    setText(byId("count"), `${shown.length.toLocaleString("en")} of ` +
      `${this.rows.length.toLocaleString("en")} rows` + (this.paused ? ", paused" : "") +
      (this.waiting > 0 ? `, ${this.waiting.toLocaleString("en")} waiting` : ""));
  }

  fill(element, index) {
    const row = this.shown[index];
    element.row = row;
    element.id = `row-${index}`;
    element.style.top = `${index * kRowHeight}px`;
    element.setAttribute("aria-rowindex", index + 2);
    element.setAttribute("aria-selected", row === this.selected);
    element.className = `row ${row.item.note !== undefined ? "note"
      : row.item.event !== undefined ? "event" : departs(row.item) ? "departs" : "request"}`;
    cells(row).forEach((text, i) => {
      const cell = element.children[i];
      setText(cell, text);
      cell.title = i === 4 || i === 5 ? text : "";
    });
  }

  select(row) {
    this.selected = row;
    this.redraw();
  }

  onKey(event) {
    const step = { ArrowDown: 1, ArrowUp: -1, PageDown: 10, PageUp: -10 }[event.key];
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
    if (item === undefined || item.note !== undefined) {
      setText(byId("said"), "Select a row of the table first.");
      return;
    }
    await navigator.clipboard.writeText(scriptLine(item));
    setText(byId("said"), `Copied: ${scriptLine(item)}`);
  }

  save() {
    const items = this.shown.map((row) => row.item).filter((item) => item.note === undefined);
    const link = make("a", { download: "mirvo.scenario",
      href: URL.createObjectURL(new Blob([script(items)], { type: "text/plain" })) });
    link.click();
    setTimeout(() => URL.revokeObjectURL(link.href), 1000);
  }
}
