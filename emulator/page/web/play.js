// The part in which a person plays the phone: a button for every event, with fields for its
// arguments, and a line for any command. All of it is made from the emulator's table of commands.

import { byId, make, setText } from "./dom.js";
import { post, run } from "./service.js";

const kDates = ["date1", "date2", "date3", "hour", "minute", "second", "fraction", "week", "dayOfWeek"];

function now(name) {
  const date = new Date();
  const values = [date.getFullYear(), date.getMonth() + 1, date.getDate(), date.getHours(),
    date.getMinutes(), date.getSeconds(), date.getMilliseconds(), 1, date.getDay()];
  return values[kDates.indexOf(name)];
}

export class Play {
  constructor(box, vocabulary) {
    this.phone = make("input", { id: "play-phone", inputmode: "numeric", value: "7", size: "6",
      autocomplete: "off", list: "play-phones" });
    this.known = make("datalist", { id: "play-phones" });
    this.touched = false;
    this.phone.addEventListener("input", () => { this.touched = true; });
    const events = vocabulary.commands.filter((command) => command.section === "Events");
    const simple = events.filter((command) => command.arguments.length === 1);
    const others = events.filter((command) => command.arguments.length > 1);
    box.append(make("label", { class: "together" }, "Phone", this.phone), this.known,
      make("div", { class: "buttons" }, ...simple.map((command) => make("button",
        { type: "button", "data-command": command.name, title: command.help,
          onclick: () => this.send(command, []) }, command.name))),
      ...others.map((command) => this.form(command)));
    this.listenToLine();
  }

  form(command) {
    const fields = command.arguments.slice(1).map((argument) => make("input",
      { name: argument.name, "aria-label": `${command.name}: ${argument.name}`,
        placeholder: argument.shown, autocomplete: "off", spellcheck: "false",
        value: now(argument.name) }));
    return make("form", { class: "event-form", onsubmit: (event) => {
      event.preventDefault();
      this.send(command, fields.map((field) => field.value));
    } }, make("button", { "data-command": command.name, title: command.help }, command.name),
    make("span", { class: "fields" }, ...fields));
  }

  know(ids) {
    this.known.replaceChildren(...ids.map((id) => make("option", { value: id })));
    if (!this.touched && ids.length > 0 && !ids.includes(Number(this.phone.value))) {
      this.phone.value = ids[0];
    }
  }

  async send(command, values) {
    const line = [command.name, this.phone.value, ...values].join(" ").trim();
    this.say(await run(line) || `Done: ${line}`);
  }

  say(text) {
    setText(byId("said"), text);
  }

  listenToLine() {
    const field = byId("line");
    field.addEventListener("input", async () => {
      const lines = await post("complete", field.value).catch(() => []);
      byId("completions").replaceChildren(...lines.map((line) => make("option", { value: line })));
    });
    byId("line-form").addEventListener("submit", async (event) => {
      event.preventDefault();
      const error = await run(field.value);
      this.say(error || `Done: ${field.value}`);
      if (error === "") field.value = "";
    });
  }
}
