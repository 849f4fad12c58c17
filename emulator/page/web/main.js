import { byId, make, setText } from "./dom.js";
import { Answers } from "./answers.js";
import { Log } from "./log.js";
import { Phones } from "./phones.js";
import { Play } from "./play.js";
import { Recording } from "./recording.js";
import { Strip } from "./strip.js";
import { Table } from "./table.js";
import { listen, run } from "./service.js";

const banner = byId("banner");
let service = null;
let situation = "";
let deed = null; // "hang" or "die", when this page has sent it

function showBanner(...children) {
  banner.replaceChildren(...children);
  banner.hidden = false;
}

// Makes a command for a shell, with a button that copies it.
function shell(command) {
  return make("span", { class: "shell" }, make("code", {}, command),
    make("button", { type: "button", onclick: () => navigator.clipboard.writeText(command) }, "Copy"));
}

function showLoss() {
  setText(byId("service"), "The service does not answer");
  byId("service").className = "gone";
  if (service === null) return showBanner("The service does not answer. Is it running?");
  const wake = shell(`kill -CONT ${service.pid}`);
  const start = shell(service.command);
  if (deed === "hang") showBanner("The service hangs. Wake it with", wake);
  else if (deed === "die") showBanner("The service has ended. Start it again with", start);
  else showBanner("The service is gone. Start it again with", start, "or, if it hangs, wake it with", wake);
}

const vocabulary = await (await fetch("vocabulary")).json();
const phones = new Phones(byId("phone-list"), vocabulary);
const log = new Log();
const table = new Table(byId("grid"), log, (first, last) => strip.look(first, last));
const strip = new Strip(byId("strip"), (time) => table.seek(time));
new Recording((recording) => {
  table.show(recording ?? log, recording === null);
  strip.show(recording === null ? null : recording.rows.map((row) => row.item));
});
const play = new Play(byId("play"), vocabulary);
const answers = new Answers(byId("answers"), byId("departures"), vocabulary, (text) => play.say(text));

for (const name of ["hang", "die"]) {
  byId(name).addEventListener("click", () => {
    deed = name;
    // A service that ends or hangs cannot answer this command.
    run(name);
  });
}

listen({
  hello(hello, first) {
    if (first && service !== null) {
      phones.clear();
      table.added(log, log.note("the service was started again"));
    }
    service = hello;
    deed = null;
  },
  situation(now) {
    phones.know(now.accessories);
    play.know(now.accessories);
    answers.show(now.departures);
    situation = `Version ${now.version}, process ${service.pid}`;
    setText(byId("service"), situation);
    const names = now.clients.map((client) => `${client.pid}${client.listens ? "" : " (requests only)"}`);
    setText(byId("clients"), names.length === 0 ? "No client is connected"
      : `${names.length === 1 ? "Client" : "Clients"} ${names.join(", ")}`);
  },
  news(batch, first) {
    if (batch.missed > 0) {
      table.added(log, log.note(`${batch.missed} ${first ? "earlier happenings are no longer kept"
        : "happenings were not read in time"}`));
    }
    for (const item of batch.news) {
      phones.apply(item);
      const row = log.add(item);
      table.added(log, row);
      if (row !== null) strip.add(item);
    }
  },
  full(most, again) {
    setText(byId("service"), "Not connected");
    showBanner(`${most} pages are open already. Close one of them, and `,
      make("button", { type: "button", onclick: () => { banner.hidden = true; again(); } }, "try again"));
  },
  lives(does) {
    if (does) {
      banner.hidden = true;
      byId("service").className = "lives";
      setText(byId("service"), situation);
    } else {
      showLoss();
    }
  },
});
