// Opens a recording that is dropped on the page or chosen. The service reads it, and strip and table
// show it until the person goes back.

import { byId, setText } from "./dom.js";
import { Log } from "./log.js";

const kMostBytes = 64 << 20;

// Passes the value of each line of a response on.
async function eachLine(response, take) {
  const reader = response.body.pipeThrough(new TextDecoderStream()).getReader();
  let rest = "";
  for (;;) {
    const { value, done } = await reader.read();
    if (done) return;
    const lines = (rest + value).split("\n");
    rest = lines.pop();
    for (const line of lines) take(JSON.parse(line));
  }
}

// Returns what there is to know about the whole recording.
function remarks({ rows, torn, missing }, shown) {
  const told = [`${rows.toLocaleString("en")} rows`];
  if (rows > shown) told.push(`of which the first ${shown.toLocaleString("en")} are shown`);
  if (missing > 0) told.push(`${missing.toLocaleString("en")} records are missing in it`);
  if (torn) told.push("its end is torn");
  return told.join(", ");
}

export class Recording {
  // Calls `onShow` with the log of a recording, or with null when the service is to be shown again.
  constructor(onShow) {
    this.onShow = onShow;
    this.turn = 0;
    const field = byId("recording-file");
    byId("open").addEventListener("click", () => field.click());
    field.addEventListener("change", () => {
      if (field.files.length > 0) this.open(field.files[0]);
      // Without this, the browser would not report that the same file is chosen again.
      field.value = "";
    });
    byId("close").addEventListener("click", () => this.close());
    this.listenToDrops();
  }

  listenToDrops() {
    let inside = 0;
    const hint = (shown) => byId("drop").classList.toggle("shown", shown);
    const on = (name, handle) => document.addEventListener(name, (event) => {
      if (!event.dataTransfer?.types.includes("Files")) return;
      event.preventDefault();
      handle(event);
    });
    on("dragenter", () => hint(++inside > 0));
    on("dragleave", () => hint(--inside > 0));
    on("dragover", () => {});
    on("drop", (event) => {
      inside = 0;
      hint(false);
      if (event.dataTransfer.files.length > 0) this.open(event.dataTransfer.files[0]);
    });
  }

  say(text) {
    byId("viewing").hidden = false;
    setText(byId("recorded"), text);
  }

  close() {
    ++this.turn;
    byId("viewing").hidden = true;
    this.onShow(null);
    byId("open").focus();
  }

  async open(file) {
    const turn = ++this.turn;
    const name = `“${file.name}”`;
    if (file.size > kMostBytes) {
      return this.say(`${name} is larger than 64 MiB, the most that is shown here. “mirvoctl recording show”` +
        " shows recordings of any size.");
    }
    this.say(`Reading ${name}…`);
    const log = new Log();
    let end = null;
    try {
      const response = await fetch("recording", { method: "POST", body: file });
      if (!response.ok) throw new Error(`the service answered ${response.status}`);
      await eachLine(response, (line) => {
        if (Array.isArray(line)) line.forEach((item) => log.add(item));
        else end = line;
      });
      if (end === null) throw new Error("the service has ended it too early");
    } catch (error) {
      end = { error: `It could not be read: ${error.message}.` };
    }
    // In the meantime the person has opened another recording, or gone back.
    if (turn !== this.turn) return undefined;
    if (end.error !== undefined) return this.say(`${name}: ${end.error}`);
    const { program, process } = log.rows[0].item;
    const whose = program === undefined ? "" : ` of ${program}, process ${process}`;
    this.say(`Recording ${name}${whose}: ${remarks(end, log.rows.length)}`);
    return this.onShow(log);
  }
}
