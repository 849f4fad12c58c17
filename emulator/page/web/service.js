// The connection to the service, in both directions.

const kBeatsMissing = 3000;
const kRetry = 1000;

export async function post(what, body) {
  const response = await fetch(what, { method: "POST", body });
  if (!response.ok) throw new Error(`the service answered ${response.status}`);
  return response.json();
}

// Runs command lines. Returns the emulator's sentence about a fault in them, or "".
export async function run(lines) {
  try {
    return (await post("command", lines)).error;
  } catch (error) {
    return String(error.message);
  }
}

// Calls `on.hello`, `on.situation`, `on.news` and `on.full` with what the service sends, and `on.lives`
// with whether the service is heard at all. Connects by itself to the next service at the same place.
export function listen(on) {
  let source = null;
  let heard = 0;
  let lives = null;
  let refused = false; // since enough pages are open
  let position = { run: "", n: 0 };

  function tellWhetherItLives(does) {
    if (lives === does) return;
    lives = does;
    on.lives(does);
  }

  function open() {
    if (source !== null) return;
    refused = false;
    const query = new URLSearchParams({ run: position.run, after: position.n });
    source = new EventSource(`stream?${query}`);
    const when = (name, handle) => source.addEventListener(name, (event) => {
      heard = Date.now();
      handle(JSON.parse(event.data));
    });
    when("hello", (hello) => {
      const first = hello.run !== position.run;
      if (first) position = { run: hello.run, n: 0 };
      on.hello(hello, first);
      tellWhetherItLives(true);
    });
    when("situation", on.situation);
    when("heartbeat", () => tellWhetherItLives(true));
    when("news", (batch) => {
      on.news(batch, position.n === 0);
      position.n = batch.n;
    });
    when("full", (most) => {
      source.close();
      source = null;
      refused = true;
      lives = null;
      on.full(most, () => {
        heard = Date.now();
        open();
      });
    });
    source.onerror = () => {
      source.close();
      source = null;
      setTimeout(open, kRetry);
    };
  }

  open();
  heard = Date.now();
  setInterval(() => {
    if (lives !== false && !refused && Date.now() - heard > kBeatsMissing) tellWhetherItLives(false);
  }, 250);
}
