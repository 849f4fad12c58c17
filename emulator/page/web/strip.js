// Draws what happened when, in a lane for each phone: in the last minute, or in a whole recording.

import { kindOf } from "./row.js";

const kMinute = 60000;
const kLane = 18;
const kLabel = 72;
const kRedrawMs = 100;
const kMostLanes = 12;
// The number of places on the strip that can have a mark.
const kPlaces = 2400;

const laneOf = (item) => (item.accessory === undefined ? "" : String(item.accessory));

// The marks of the last minute.
class Minute {
  constructor() {
    this.marks = [];
  }

  add(item) {
    // One mark stands for all items of its kind within about a pixel.
    const width = kMinute / kPlaces;
    const at = Math.round(item.t / 1000 / width) * width;
    const mark = { at, lane: laneOf(item), kind: kindOf(item) };
    const last = this.marks[this.marks.length - 1];
    if (last?.at === at && last.lane === mark.lane && last.kind === mark.kind) return;
    this.marks.push(mark);
    if (this.marks.length > 20000) this.marks.splice(0, 10000);
  }

  range() {
    const now = Date.now();
    while (this.marks.length > 0 && now - this.marks[0].at > kMinute) this.marks.shift();
    return [now - kMinute, now];
  }
}

// The marks of a recording.
class Whole {
  constructor(items) {
    let [from, to] = [Infinity, -Infinity];
    for (const { t } of items) {
      from = Math.min(from, t / 1000);
      to = Math.max(to, t / 1000);
    }
    this.from = items.length > 0 ? from : 0;
    this.to = Math.max(this.from + 1, to);
    const marks = new Map();
    for (const item of items) {
      const place = Math.round((item.t / 1000 - this.from) / (this.to - this.from) * kPlaces);
      const mark = { at: this.from + place / kPlaces * (this.to - this.from), lane: laneOf(item),
        kind: kindOf(item) };
      marks.set(`${place} ${mark.lane} ${mark.kind}`, mark);
    }
    this.marks = [...marks.values()];
  }

  range() {
    return [this.from, this.to];
  }
}

// Round spans of time in milliseconds, up to a day.
const kSteps = [1, 10, 100, 1000, 10000].flatMap((unit) => [unit, 2 * unit, 5 * unit]).concat(
  [60, 120, 300, 600, 1800, 3600, 7200, 21600, 43200, 86400].map((seconds) => seconds * 1000));

// Returns a span of milliseconds as a text with a unit that suits it.
function spoken(milliseconds) {
  const round = (number) => Number(number.toPrecision(3));
  if (milliseconds < 1000) return `${round(milliseconds)} ms`;
  if (milliseconds < 120000) return `${round(milliseconds / 1000)} s`;
  return milliseconds < 7200000 ? `${round(milliseconds / 60000)} min` : `${round(milliseconds / 3600000)} h`;
}

export class Strip {
  // Calls `onSeek` with the time in a recording that the person has clicked.
  constructor(canvas, onSeek) {
    this.canvas = canvas;
    this.minute = new Minute();
    this.marks = this.minute;
    this.lanes = [""];
    this.view = [];
    this.drawn = "";
    setInterval(() => this.draw(), kRedrawMs);
    canvas.addEventListener("click", (event) => {
      if (this.marks === this.minute) return;
      const [from, to] = this.marks.range();
      const share = (event.offsetX - kLabel) / (canvas.clientWidth - kLabel - 4);
      onSeek((from + Math.max(0, share) * (to - from)) * 1000);
    });
  }

  add(item) {
    if (item.t === undefined) return;
    this.minute.add(item);
    if (this.marks === this.minute) this.addLane(laneOf(item));
  }

  addLane(lane) {
    if (this.lanes.includes(lane) || this.lanes.length >= kMostLanes) return;
    this.lanes.push(lane);
    this.lanes.sort((a, b) => Number(a) - Number(b));
  }

  // Shows the items of a recording, or the last minute again.
  show(items) {
    this.marks = items === null ? this.minute : new Whole(items.filter((item) => item.t !== undefined));
    this.lanes = [""];
    for (const mark of this.marks.marks) this.addLane(mark.lane);
    this.drawn = "";
    this.canvas.classList.toggle("seeks", items !== null);
    this.canvas.setAttribute("aria-label", items === null ? "The last minute, a lane for each phone"
      : `The recording, which took ${spoken(this.marks.to - this.marks.from)}, a lane for each phone`);
  }

  // Takes the first and the last item that the table shows.
  look(first, last) {
    this.view = first === undefined ? [] : [first.t / 1000, last.t / 1000];
  }

  draw() {
    const [from, to] = this.marks.range();
    if (document.hidden) return;
    const { canvas } = this;
    const scale = window.devicePixelRatio;
    const width = canvas.parentElement.clientWidth - 2 * parseFloat(
      getComputedStyle(canvas.parentElement).paddingLeft);
    const dark = matchMedia("(prefers-color-scheme: dark)").matches;
    // A strip that would look the same is not drawn again. Only that of the last minute moves with time.
    const moves = this.marks === this.minute && this.marks.marks.length > 0;
    const look = [moves ? to : 0, width, scale, dark, this.lanes, this.marks !== this.minute && this.view].join();
    if (look === this.drawn) return;
    this.drawn = look;
    const height = this.lanes.length * kLane + 16;
    canvas.width = width * scale;
    canvas.height = height * scale;
    canvas.style.height = `${height}px`;
    const pen = canvas.getContext("2d");
    pen.scale(scale, scale);
    const x = (time) => kLabel + (width - kLabel - 4) * ((time - from) / (to - from));
    this.paint(pen, x, width, height, [from, to]);
  }

  paint(pen, x, width, height, [from, to]) {
    const style = getComputedStyle(document.documentElement);
    const colour = (name) => style.getPropertyValue(`--${name}`);
    pen.font = "12px system-ui, sans-serif";
    pen.textBaseline = "middle";
    const live = this.marks === this.minute;
    if (!live && this.view.length > 0) {
      pen.fillStyle = colour("soft");
      pen.fillRect(x(this.view[0]) - 2, 0, Math.max(6, x(this.view[1]) - x(this.view[0]) + 4), height - 16);
    }
    this.lanes.forEach((lane, i) => {
      const y = i * kLane + kLane / 2;
      pen.fillStyle = colour("quiet");
      pen.fillText(lane === "" ? "service" : `phone ${lane}`, 0, y, kLabel - 6);
      pen.fillStyle = colour("line");
      pen.fillRect(kLabel, y, width - kLabel, 1);
    });
    pen.fillStyle = colour("quiet");
    pen.textAlign = "center";
    const most = width < 600 ? 4 : 7;
    const step = kSteps.find((each) => (to - from) / each < most) ?? (to - from) / most;
    for (let span = step; span < (to - from) * 0.97; span += step) {
      pen.fillText(live ? `${spoken(span)} ago` : spoken(span), x(live ? to - span : from + span), height - 7);
    }
    const colours = { request: colour("accent"), event: colour("event"), bad: colour("bad"),
      record: colour("quiet"), note: colour("quiet") };
    for (const mark of this.marks.marks) {
      const y = this.lanes.indexOf(mark.lane) * kLane + kLane / 2;
      if (y < 0) continue;
      pen.fillStyle = colours[mark.kind];
      // The kinds also differ by height, for people who cannot tell the colours apart.
      const [top, size] = { event: [-7, 7], request: [0, 8] }[mark.kind] ?? [-7, 15];
      pen.fillRect(x(mark.at), y + top, 3, size);
    }
  }
}
