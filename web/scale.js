// How speeds are written and drawn.

export const play = 1024;
export const centre = 127; // where the ring rests

/// -1 to 1, with room for the slow speeds that matter most.
export function share(speed, fastest) {
  return Math.sign(speed) * Math.min(1, (Math.abs(speed) / fastest) ** 0.42);
}

export function speedText(speed) {
  if (speed === null) return "unknown";
  if (speed === 0) return "stopped";
  return `×${(Math.abs(speed) / play).toFixed(2)} ${speed < 0 ? "reverse" : "forward"}`;
}

export function signed(value) {
  const text = String(Math.round(value * 10000) / 10000);
  return value > 0 ? `+${text}` : text;
}

/// An element of an SVG picture.
export function draw(parent, name, attributes, text) {
  const element = document.createElementNS("http://www.w3.org/2000/svg", name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  if (text !== undefined) element.textContent = text;
  parent.append(element);
  return element;
}

/// The text with places to break behind each slash, so that no line ends within a port's number.
export function breakable(text) {
  return text.split(/(?<=\/)(?!\/)/).flatMap((part) => [make("wbr"), part]).slice(1);
}

/// An element of the page.
export function make(name, attributes = {}, ...children) {
  const element = document.createElement(name);
  for (const [key, value] of Object.entries(attributes)) element.setAttribute(key, value);
  element.append(...children);
  return element;
}
