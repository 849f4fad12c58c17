// Functions with which the other modules build the page. A text always becomes a text node, so what
// a client has sent is shown and never interpreted.

export const byId = (id) => document.getElementById(id);

// Makes an element; `properties` are attributes, or handlers when they begin with "on".
export function make(name, properties = {}, ...children) {
  const space = ["svg", "circle", "line", "text", "g"].includes(name)
    ? "http://www.w3.org/2000/svg" : "http://www.w3.org/1999/xhtml";
  const element = document.createElementNS(space, name);
  for (const [key, value] of Object.entries(properties)) {
    if (key.startsWith("on")) element.addEventListener(key.slice(2), value);
    else if (value === true) element.setAttribute(key, "");
    else if (value !== false && value != null) element.setAttribute(key, value);
  }
  element.append(...children);
  return element;
}

// Sets a text only when it changes, since a screen reader would read it again.
export function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}
