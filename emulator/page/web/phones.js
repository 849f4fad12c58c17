// The phones, with what each of them would show.

import { make, setText } from "./dom.js";
import { kActions, two } from "./row.js";

const kUsualWidth = 1280;
const kUsualHeight = 720;
const kTrailMs = 1500;
const kLiftMs = 1500;
const kKeyLightMs = 700;
// The names of the keys, by the service's numbers.
const kKeys = { 1: "power", 2: "menu", 4: "back", 5: "vol +", 6: "vol −", 7: "play", 8: "pause",
  9: "forward", 10: "rewind", 11: "next", 12: "previous", 13: "stop", 14: "play/pause", 3: "other" };
const kKeyOrder = [4, 2, 1, 6, 5, 10, 12, 7, 8, 14, 13, 11, 9, 3];

class Phone {
  constructor(id) {
    this.id = id;
    this.fingers = new Map();
    this.features = new Map();
    this.focus = new Map();
    this.facts = new Map();
    this.size = [kUsualWidth, kUsualHeight];
    this.svg = make("svg", { class: "screen", role: "img", "aria-label": `Screen of phone ${id}` });
    this.title = make("h3", {}, `Phone ${id}`);
    this.presence = make("span", { class: "chip" });
    this.touch = make("p", { class: "touch" });
    this.keys = new Map(kKeyOrder.map((code) =>
      [code, make("li", { class: "key", "data-key": code }, kKeys[code])]));
    this.list = make("dl", { class: "facts" });
    this.card = make("article", { class: "card phone", "data-phone": id, "aria-label": `Phone ${id}` },
      make("div", { class: "phone-head" }, this.title, this.presence),
      make("div", { class: "bezel" }, this.svg), this.touch,
      make("ul", { class: "keys", "aria-label": "Keys" }, ...this.keys.values()), this.list);
    this.resize([]);
    this.know(false);
  }

  know(attached) {
    this.attached = attached;
    setText(this.presence, attached ? "attached" : "not attached");
    this.card.classList.toggle("away", !attached);
  }

  resize(values) {
    const good = values[0] > 0 && values[1] > 0;
    this.size = good ? values.slice(0, 2) : [kUsualWidth, kUsualHeight];
    const [width, height] = this.size;
    this.svg.setAttribute("viewBox", `0 0 ${width} ${height}`);
    // The frame keeps the proportions of a phone, whatever numbers were sent.
    const ratio = Math.min(3, Math.max(1 / 3, width / height));
    this.svg.style.aspectRatio = String(ratio);
    this.svg.style.width = `min(100%, ${Math.round(Math.min(30, 30 * ratio) * 0.65)}rem)`;
    if (good) this.fact("display", values.join(" · "));
  }

  fact(name, text) {
    let value = this.facts.get(name);
    if (value === undefined) {
      value = make("dd");
      this.facts.set(name, value);
      this.list.append(make("div", {}, make("dt", {}, name), value));
    }
    setText(value, text);
  }

  onTouch({ action, array1, array2, array3 }, now) {
    const kind = kActions[action] ?? "move";
    const told = [];
    array1.forEach((finger, i) => {
      const point = { x: array2[i], y: array3[i], at: now };
      const known = this.fingers.get(finger);
      // A press also lists the fingers that were down before.
      const down = known !== undefined && known.kind !== "lift";
      const own = kind === "press" && down ? known.kind : kind;
      const trail = down ? known.trail : [];
      this.fingers.set(finger, { ...point, kind: own, trail: [...trail, point].slice(-64) });
      told.push(`${finger}: ${own} ${point.x}, ${point.y}`);
    });
    setText(this.touch, told.join("   "));
    this.draw(now);
  }

  // Returns whether anything is left that changes with time.
  draw(now) {
    const parts = [];
    // The number of a finger must be readable on a screen that is drawn 300 pixels wide.
    const unit = Math.max(...this.size) / 65;
    let changing = false;
    for (const [finger, touch] of this.fingers) {
      if (touch.kind === "lift" && now - touch.at > kLiftMs) {
        this.fingers.delete(finger);
        continue;
      }
      touch.trail = touch.trail.filter((point) => now - point.at < kTrailMs);
      changing ||= touch.trail.length > 1 || touch.kind === "lift";
      for (let i = 1; i < touch.trail.length; ++i) {
        const [a, b] = [touch.trail[i - 1], touch.trail[i]];
        parts.push(make("line", { x1: a.x, y1: a.y, x2: b.x, y2: b.y, class: "trail",
          "stroke-width": unit * 0.6, opacity: (1 - (now - b.at) / kTrailMs).toFixed(2) }));
      }
      const fade = touch.kind === "lift" ? 1 - (now - touch.at) / kLiftMs : 1;
      const at = { cx: touch.x, cy: touch.y, opacity: fade.toFixed(2) };
      if (touch.kind === "press") {
        parts.push(make("circle", { ...at, r: unit * 4, class: "halo", "stroke-width": unit * 0.5 }));
      }
      parts.push(make("circle", { ...at, r: unit * 2.2, class: `finger ${touch.kind}`,
        "stroke-width": unit * 0.5, "data-finger": finger, "data-kind": touch.kind }));
      parts.push(make("text", { x: touch.x, y: touch.y, class: `number ${touch.kind}`,
        opacity: fade.toFixed(2), "font-size": unit * 2.6, dy: "0.36em" }, String(finger)));
    }
    this.svg.replaceChildren(...parts);
    return changing;
  }

  onKey({ keyCode, flag }) {
    const cap = this.keys.get(keyCode) ?? this.keys.get(3);
    cap.classList.toggle("down", flag);
    // A short press must be visible, too.
    cap.classList.add("lit");
    clearTimeout(cap.timer);
    if (!flag) cap.timer = setTimeout(() => cap.classList.remove("lit"), kKeyLightMs);
  }

  apply(item, now) {
    const given = item.arguments;
    const onOff = (flag) => (flag ? "on" : "off");
    const handlers = {
      sendTouchEvent: () => this.onTouch(given, now),
      sendKeyEvent: () => this.onKey(given),
      sendDisplayConfiguration: () => this.resize(Object.values(given)),
      sendForceLandscape: () => this.fact("landscape", given.flag ? "forced" : "not forced"),
      sendVideoFocus: () => {
        this.focus.set(given.focus, onOff(given.flag));
        this.fact("video focus", [...this.focus].map(([n, on]) => `${n} ${on}`).join(", "));
      },
      sendOnReadyForPairing: () => this.fact("pairing", given.flag ? "ready" : "not ready"),
      sendTimeDateInquiry: () => this.fact("time-date", "asked"),
      setFeature: () => {
        this.features.set(given.feature, given.data.slice(0, 16) + (given.data.length > 16 ? "…" : ""));
        this.fact("features", [...this.features].map(([n, data]) => `${n}: ${data}`).join(", "));
      },
      onRunningStateChange: () => this.fact("state", String(item.state)),
      onScreenOrientationChange: () => this.fact("orientation", String(item.orientation)),
      onControlUnavailable: () => this.fact("control", "unavailable"),
      onTimeDateResponse: () => this.fact("time-date",
        `${item.date1}-${two(item.date2)}-${two(item.date3)} ` +
        `${two(item.hour)}:${two(item.minute)}:${two(item.second)}`),
      error: () => this.fact("error", String(item.code)),
    };
    handlers[item.request ?? item.event]?.();
  }
}

export class Phones {
  constructor(box) {
    this.box = box;
    this.phones = new Map();
    this.drawing = false;
    this.clear();
  }

  clear() {
    this.phones.clear();
    this.box.replaceChildren(make("p", { class: "quiet" },
      "No phone is attached. Attach one with the command ", make("code", {}, "attach 7"), "."));
  }

  phone(id) {
    let phone = this.phones.get(id);
    if (phone === undefined) {
      if (this.phones.size === 0) this.box.replaceChildren();
      phone = new Phone(id);
      this.phones.set(id, phone);
      const after = [...this.phones.values()].filter((other) => other.id > id);
      after.sort((a, b) => a.id - b.id);
      this.box.insertBefore(phone.card, after[0]?.card ?? null);
    }
    return phone;
  }

  know(ids) {
    for (const id of ids) this.phone(id);
    for (const phone of this.phones.values()) phone.know(ids.includes(phone.id));
  }

  apply(item) {
    if (item.settled !== undefined || item.accessory === undefined) return;
    // A request that was refused does not show that there is such a phone.
    const phone = item.answer?.result === 2 ? this.phones.get(item.accessory)
      : this.phone(item.accessory);
    phone?.apply(item, performance.now());
    this.animate();
  }

  animate() {
    if (this.drawing) return;
    this.drawing = true;
    const frame = (now) => {
      let changing = false;
      for (const phone of this.phones.values()) changing = phone.draw(now) || changing;
      this.drawing = changing;
      if (changing) requestAnimationFrame(frame);
    };
    requestAnimationFrame(frame);
  }
}
