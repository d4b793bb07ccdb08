// The lists: start-up's steps, key presses, the wire and the log.
import { keyName, letter } from "./keys.js";
import { breakable, make } from "./scale.js";

const $ = (id) => document.getElementById(id);
const most = { wire: 400, log: 300, queue: 60 };
const arrows = { tx: "→", rx: "←", rts: "⏚" };
const words = { tx: "to the console", rx: "from the console", rts: "reset line" };

let paused = false;
let kept = []; // of the wire, while it is paused

export function setUpLists() {
  $("pause").addEventListener("click", () => {
    paused = !paused;
    $("pause").setAttribute("aria-pressed", String(paused));
    if (!paused) addWire(kept.splice(0));
    labelPause();
  });
}

export function clearLists() {
  kept = [];
  for (const id of ["wire", "log", "queue"]) $(id).replaceChildren();
}

function labelPause() {
  $("pause").textContent = !paused ? "Pause" : kept.length > 0 ? `Go on (${kept.length} more)` : "Go on";
}

const clock = (t) => make("time", {}, t.toFixed(3));

/// Keeps the end in sight for whoever was looking at the end.
function append(list, rows) {
  if (rows.length === 0) return;
  const atEnd = list.scrollTop + list.clientHeight > list.scrollHeight - 24;
  list.append(...rows);
  while (list.children.length > most[list.id]) list.firstChild.remove();
  if (atEnd) list.scrollTop = list.scrollHeight;
}

function addWire(lines) {
  append($("wire"), lines.map((line) => make("li", { "data-dir": line.dir }, clock(line.t),
    make("span", { class: "dir", role: "img", "aria-label": words[line.dir] }, arrows[line.dir]),
    make("span", {}, line.bytes.replaceAll(" ", "␣")), make("span", { class: "meaning" }, line.meaning))));
}

export function showNews(news) {
  if (paused) {
    kept = kept.concat(news.wire).slice(-most.wire);
    labelPause();
  } else {
    addWire(news.wire);
  }
  append($("log"), news.log.map((line) => make("li", { "data-heading": line.heading }, clock(line.t),
    make("span", {}, ...breakable(line.text)))));
  for (const press of news.keys) {
    $("queue").prepend(make("li", {}, clock(press.t), make("kbd", {}, letter(press.key)),
      make("em", {}, `${keyName(press.key).slice(2) || `code ${press.code}`}, ${press.handled ? "handled" : "queued"}`)));
  }
  while ($("queue").children.length > most.queue) $("queue").lastChild.remove();
}

let shownSteps = "";

export function showSteps(steps) {
  const text = JSON.stringify(steps);
  if (text === shownSteps) return;
  shownSteps = text;
  const spoken = { waiting: "not yet", now: "now", done: "done", failed: "failed", unknown: "unknown" };
  $("steps").replaceChildren(...steps.map((step) => make("li", { "data-state": step.state, "data-step": step.name },
    make("b", {}, step.name), make("span", {}, ...breakable(step.text || spoken[step.state])),
    make("span", { class: "unseen" }, spoken[step.state]))));
}
