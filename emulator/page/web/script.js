// What has happened, as lines of a script of the emulator.

// A word, quoted where that is needed. Null for what cannot be written in a script.
function word(text) {
  if (/["\n\r]/.test(text)) return null;
  return /[\s#]/.test(text) ? `"${text}"` : text;
}

// A touch's own time differs each time.
const isRepeatable = (name) => name !== "time";

// Null for what is neither a request nor an event.
export function scriptLine(item) {
  if (item.note !== undefined || item.record !== undefined) return null;
  if (item.command !== undefined) return item.command;
  if (item.request === "unknown") return "# a request that no operation has";
  const target = item.accessory === undefined ? item.request : `${item.request}@${item.accessory}`;
  const words = ["expect", target];
  for (const [name, value] of Object.entries(item.arguments)) {
    if (!isRepeatable(name) || (typeof value === "string" && value.endsWith("…"))) continue;
    const given = word(`${name}=${typeof value === "string" ? value : JSON.stringify(value)}`);
    if (given !== null) words.push(given);
  }
  return words.join(" ");
}

export function script(items) {
  return items.map(scriptLine).filter((line) => line !== null).map((line) => `${line}\n`).join("");
}
