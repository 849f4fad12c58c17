// Writes what has happened as lines of a script for the emulator.

// Returns a word, in quotes if it needs them; null when it cannot be written in a script.
function word(text) {
  if (/["\n\r]/.test(text)) return null;
  return /[\s#]/.test(text) ? `"${text}"` : text;
}

// A script cannot expect the time of a touch, since it differs in each run.
const isRepeatable = (name) => name !== "time";

// Returns the line for a request or an event, and null for everything else.
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
