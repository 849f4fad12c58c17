// The rows of the table that come from one source, which is the service or a recording.

import { cells } from "./row.js";

const kMost = 200000;
const kForget = 20000;

export class Log {
  constructor() {
    this.clear();
  }

  clear() {
    this.rows = [];
    this.pending = new Map();
  }

  note(text) {
    return this.add({ note: `— ${text} —` });
  }

  // Returns the new row, or null when the item is about an earlier one.
  add(item) {
    if (item.settled !== undefined) {
      const about = this.pending.get(item.settled);
      this.pending.delete(item.settled);
      if (about !== undefined) about.took = item.took;
      return null;
    }
    const row = { item, took: item.took };
    this.rows.push(row);
    if (item.request !== undefined && item.took === undefined) this.pending.set(item.n, row);
    return row;
  }

  // Forgets the oldest rows when there are too many. Returns whether there were.
  forget() {
    if (this.rows.length <= kMost) return false;
    for (const old of this.rows.splice(0, kForget)) this.pending.delete(old.item.n);
    return true;
  }
}

// Decides which rows the table shows.
export class Filter {
  constructor() {
    this.words = [];
    this.kind = "all";
  }

  fits(row) {
    const { item } = row;
    if (this.kind !== "all" && item.note === undefined && item[this.kind] === undefined) return false;
    if (this.words.length === 0) return true;
    // A number that is typed is that of a phone or the value of an argument. The columns with times
    // would contain it by chance, so they are left out.
    row.text ??= cells(row).slice(1, -1).join(" ").toLowerCase();
    row.numbers ??= new Set(row.text.match(/\d+/g));
    return this.words.every((word) => (/^\d+$/.test(word) ? row.numbers.has(word) : row.text.includes(word)));
  }
}
