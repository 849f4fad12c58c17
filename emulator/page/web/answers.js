// Controls how the service answers: switches for each operation, and a list of all answers that depart
// from normal.

import { byId, make } from "./dom.js";
import { run } from "./service.js";

// The commands of the switches. Behind some of them stands a value.
const kSwitches = [
  { name: "silent", label: "silent", value: false },
  { name: "no-reply", label: "no reply", value: false },
  { name: "mistype", label: "wrong class", value: false },
  { name: "answer", label: "result", value: "1", sort: (rest) => !rest.startsWith("bytes") },
  { name: "answer", label: "bytes", value: "00", before: "bytes ", sort: (rest) => rest.startsWith("bytes") },
  { name: "delay", label: "delay in ms", value: "500" },
];
// Of these commands only the one that was sent last counts.
const kInstead = ["silent", "no-reply", "mistype"];

export class Answers {
  constructor(box, list, vocabulary, say) {
    this.list = list;
    this.say = say;
    this.departures = [];
    this.told = "";
    this.operation = make("select", { id: "answer-operation" }, ...vocabulary.operations.map(
      ({ name }) => make("option", { value: name }, name)));
    this.operation.value = "sendKeyEvent";
    this.only = make("input", { id: "answer-phone", inputmode: "numeric", size: "6",
      placeholder: "all", autocomplete: "off" });
    this.byName = new Map(vocabulary.operations.map((operation) => [operation.name, operation]));
    this.switches = kSwitches.map((each) => this.makeSwitch(each));
    this.endAll = byId("end-all");
    this.endAll.addEventListener("click", () => this.end([...new Set(this.departures.map((each) => each.target))]));
    const update = () => this.update();
    this.operation.addEventListener("change", update);
    this.only.addEventListener("input", update);
    box.append(make("label", {}, "Operation ", this.operation),
      make("label", { class: "together" }, "of phone", this.only),
      ...this.switches.map((each) => each.row));
    this.update();
  }

  makeSwitch(kind) {
    const button = make("button", { type: "button", role: "switch", "aria-checked": "false",
      class: "switch", "data-switch": kind.label });
    const field = kind.value === false ? null : make("input",
      { value: kind.value, "aria-label": `${kind.label} of the operation`, autocomplete: "off", size: "8" });
    const label = make("span", { id: `switch-${kind.label.replaceAll(" ", "-")}` }, kind.label);
    button.setAttribute("aria-labelledby", label.id);
    const one = { kind, button, field,
      row: make("div", { class: "switch-row" }, button, label, ...(field === null ? [] : [field])) };
    button.addEventListener("click", () => this.toggle(one));
    return one;
  }

  target() {
    const concerns = this.byName.get(this.operation.value).accessory;
    this.only.disabled = !concerns;
    const only = concerns ? this.only.value.trim() : "";
    return this.operation.value + (only === "" ? "" : `@${only}`);
  }

  // Returns the commands that are in force for the target.
  commands() {
    const target = this.target();
    return this.departures.find((each) => each.target === target && !each.once)?.commands ?? [];
  }

  // Returns the words behind the target in the command of a switch; undefined when the switch is off.
  inForce({ kind }) {
    const begin = `${kind.name} ${this.target()}`;
    const found = this.commands().find((command) => (command === begin || command.startsWith(`${begin} `)) &&
      (kind.sort?.(command.slice(begin.length + 1)) ?? true));
    return found?.slice(begin.length + 1);
  }

  async toggle(one) {
    const target = this.target();
    const { kind } = one;
    let lines = [];
    if (this.inForce(one) === undefined) {
      lines = [`${kind.name} ${target} ${kind.before ?? ""}${one.field?.value ?? ""}`.trim()];
    } else {
      const others = this.switches.filter((other) => other !== one && this.inForce(other) !== undefined);
      lines = [`normal ${target}`, ...others.map((other) =>
        `${other.kind.name} ${target} ${this.inForce(other)}`.trim())];
      lines.sort((a, b) => kInstead.includes(a.split(" ")[0]) - kInstead.includes(b.split(" ")[0]));
    }
    this.say(await run(lines.join("\n")) || `Done: ${lines.join("; ")}`);
  }

  show(departures) {
    // The buttons are not made anew while other things change, so that the focus stays where it is.
    if (this.told === JSON.stringify(departures)) return;
    this.told = JSON.stringify(departures);
    this.departures = departures;
    const end = (target) => make("button", { type: "button", "aria-label": `End what departs for ${target}`,
      onclick: () => this.end([target]) }, "End");
    const rows = departures.map((each) => make("li", {},
      make("code", {}, each.commands.map((command) => (each.once ? "once " : "") + command).join("; ")),
      end(each.target)));
    this.endAll.hidden = rows.length === 0;
    this.list.replaceChildren(...(rows.length > 0 ? rows
      : [make("li", { class: "quiet" }, "Everything is answered as by a healthy service.")]));
    this.update();
  }

  async end(targets) {
    const lines = targets.map((target) => `normal ${target}`);
    this.say(await run(lines.join("\n")) || `Done: ${lines.join("; ")}`);
  }

  update() {
    for (const one of this.switches) {
      const value = this.inForce(one);
      one.button.setAttribute("aria-checked", value !== undefined);
      if (one.field !== null && value) one.field.value = value.replace(/^bytes /, "");
    }
  }
}
