// What the hands do, on its way to the desk: one request at a time, in order; turns that wait are put together.
import { centre } from "./scale.js";

const together = 32; // as many actions as one request may hold
const pause = 33;    // milliseconds between requests
const farthest = 127;

let waiting = [];
let owed = []; // a request that failed has not brought them
let busy = false;
let onRefusal = () => {};

export function whenRefused(tell) { onRefusal = tell; }

export function send(action) {
  const last = waiting.at(-1);
  if (last?.do === "ring" && action.do === "ring") last.position = action.position;
  else if (last?.do === "jog" && action.do === "jog" && Math.abs(last.turn + action.turn) <= farthest)
    last.turn = rounded(last.turn + action.turn);
  else waiting.push(action.do === "jog" ? { ...action, turn: rounded(action.turn) } : action);
  if (!busy) run();
}

/// When the page goes away while something is held. The page may be shown again: what has waited must not come behind this.
export function sendLast(actions) {
  waiting = [];
  navigator.sendBeacon?.("/do", new Blob([JSON.stringify(actions)], { type: "application/json" }));
}

/// When cvhost can be reached again: nothing stays held because a request has failed.
export function sendOwed() {
  const last = new Map(owed.map((action) => [action.key, action]));
  owed = [];
  for (const action of last.values()) send(action);
}

function letsGo(action) { return action.do === "release" || (action.do === "ring" && action.position === centre); }

function rounded(turn) { return Math.round(Math.max(-farthest, Math.min(farthest, turn)) * 10000) / 10000; }

async function run() {
  busy = true;
  while (waiting.length > 0) {
    const actions = waiting.splice(0, together);
    try {
      const response = await fetch("/do", {
        method: "POST",
        headers: { "Content-Type": "application/json" },
        body: JSON.stringify(actions),
      });
      if (!response.ok) onRefusal(await response.text());
    } catch { // cvhost cannot be reached; the page says so elsewhere
      owed = [...owed, ...actions, ...waiting].filter(letsGo);
      waiting = [];
    }
    await new Promise((done) => setTimeout(done, pause));
  }
  busy = false;
}
