// The last minute, with a lane for each phone.

const kMinute = 60000;
const kLane = 18;
const kLabel = 72;
const kRedrawMs = 100;

export class Strip {
  constructor(canvas) {
    this.canvas = canvas;
    this.marks = [];
    this.lanes = [""];
    setInterval(() => this.draw(), kRedrawMs);
  }

  add(item) {
    if (item.t === undefined || item.settled !== undefined) return;
    const lane = item.accessory === undefined ? "" : String(item.accessory);
    if (!this.lanes.includes(lane) && this.lanes.length < 12) {
      this.lanes.push(lane);
      this.lanes.sort((a, b) => Number(a) - Number(b));
    }
    const kind = item.event !== undefined ? "event"
      : (item.answer.result ?? 0) !== 0 || item.answer.silent || item.answer.noReply ? "bad" : "request";
    // One mark stands for all of its kind within a pixel or so.
    const at = Math.round(item.t / 1000 / 25) * 25;
    const last = this.marks[this.marks.length - 1];
    if (last?.at === at && last.lane === lane && last.kind === kind) return;
    this.marks.push({ at, lane, kind });
    if (this.marks.length > 20000) this.marks.splice(0, 10000);
  }

  draw() {
    const now = Date.now();
    while (this.marks.length > 0 && now - this.marks[0].at > kMinute) this.marks.shift();
    const empty = this.marks.length === 0;
    if (document.hidden || (empty && this.wasEmpty)) return;
    this.wasEmpty = empty;
    const { canvas } = this;
    const scale = window.devicePixelRatio;
    const width = canvas.parentElement.clientWidth;
    const height = this.lanes.length * kLane + 16;
    canvas.width = width * scale;
    canvas.height = height * scale;
    canvas.style.height = `${height}px`;
    const style = getComputedStyle(document.documentElement);
    const colour = (name) => style.getPropertyValue(`--${name}`);
    const pen = canvas.getContext("2d");
    pen.scale(scale, scale);
    pen.font = "12px system-ui, sans-serif";
    pen.textBaseline = "middle";
    this.lanes.forEach((lane, i) => {
      const y = i * kLane + kLane / 2;
      pen.fillStyle = colour("quiet");
      pen.fillText(lane === "" ? "service" : `phone ${lane}`, 0, y);
      pen.fillStyle = colour("line");
      pen.fillRect(kLabel, y, width - kLabel, 1);
    });
    pen.fillStyle = colour("quiet");
    const x = (time) => kLabel + (width - kLabel - 4) * (1 - (now - time) / kMinute);
    for (let ago = 50; ago >= 10; ago -= 10) {
      pen.fillText(`${ago} s`, x(now - ago * 1000) - 12, height - 7);
    }
    const colours = { request: colour("accent"), event: colour("event"), bad: colour("bad") };
    for (const mark of this.marks) {
      const y = this.lanes.indexOf(mark.lane) * kLane + kLane / 2;
      if (y < 0) continue;
      pen.fillStyle = colours[mark.kind];
      // Kinds differ by height as well as by colour.
      if (mark.kind === "event") pen.fillRect(x(mark.at), y - 7, 3, 7);
      else pen.fillRect(x(mark.at), mark.kind === "bad" ? y - 7 : y, 3, mark.kind === "bad" ? 15 : 8);
    }
  }
}
