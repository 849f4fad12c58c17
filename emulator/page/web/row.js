// Finds the texts of a row of the table, and the kind of the row.

export const kColumns = 7;
export const kActions = { 1: "press", 2: "lift", 3: "move" };

export const two = (number, digits = 2) => String(number).padStart(digits, "0");

function clock(microseconds) {
  const date = new Date(microseconds / 1000);
  return `${two(date.getHours())}:${two(date.getMinutes())}:${two(date.getSeconds())}` +
    `.${two(date.getMilliseconds(), 3)}`;
}

const pairs = (values) => Object.entries(values).map(([name, value]) =>
  `${name}=${typeof value === "string" ? value : JSON.stringify(value)}`).join(" ");

function duration(microseconds) {
  if (microseconds === undefined) return "";
  return microseconds < 10000 ? `${microseconds} µs` : `${Math.round(microseconds / 1000)} ms`;
}

// Returns the arguments of a request; for a touch, only the places of the fingers.
function said({ request, arguments: given }) {
  if (request !== "sendTouchEvent" || !(given.action in kActions)) return pairs(given);
  const { array1, array2, array3 } = given;
  return [kActions[given.action], ...array1.map((finger, i) => `${finger}:${array2[i]},${array3[i]}`)].join(" ");
}

// Returns the texts of a row, one for each column.
export function cells({ item, took }) {
  if (item.note !== undefined) return ["", "", item.note, "", "", "", ""];
  const at = clock(item.t);
  const phone = item.accessory === undefined ? "" : String(item.accessory);
  if (item.command !== undefined) return [at, "", item.event, phone, item.command, "", duration(took)];
  if (item.record !== undefined) {
    const { t, took: passed, record, ...told } = item;
    return [at, "", record, "", pairs(told), "", ""];
  }
  const answer = item.answer === null ? "none in the recording" : pairs(item.answer);
  return [at, String(item.pid), item.request, phone, said(item), answer, duration(took)];
}

// Returns all arguments of a request or an event.
export const told = (item) => item.command ?? (item.arguments === undefined ? "" : pairs(item.arguments));

// Whether an item is a request that was not answered as by a healthy service.
export function failed({ answer }) {
  return answer != null && ((answer.result ?? 0) !== 0 || answer.silent === true ||
    answer.noReply === true || answer.mistype !== undefined || answer.class !== undefined);
}

// Returns "note", "record", "event", "bad" or "request".
export function kindOf(item) {
  return ["note", "record", "event"].find((kind) => item[kind] !== undefined) ??
    (failed(item) ? "bad" : "request");
}
