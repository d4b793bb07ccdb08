// The 46 keys: where they sit, what is engraved on them, their lamps, and the hands on them.
import { make } from "./scale.js";
import { send, sendLast } from "./send.js";

// There is no key of code 22: its character, "V", begins a version.
const block = [1, 2, 3, 4, 5, 6, 0, 9,
               10, 14, 15, 16, 17, 18, 19, 20,
               21, 46, 23, 24, 25, 26, 27, 29,
               30, 32, 33, 34, 35, 36, 37, 38,
               41, 42, 43, 44, 45, 31, 39, 40];
const jog = 28; // switches the wheel, with every map
const transport = [8, 13, 12, 11, 7, jog];

// What the host does with a key, where that is known; [sign, word, group].
const known = {
  7: ["▶▶", "Fast fwd"], 8: ["◀◀", "Rewind"], 9: [null, "In"], 15: [null, "Out"], 11: ["▶", "Play", "play"], 12: ["■", "Stop", "stop"],
  13: ["◀", "Reverse", "play"], 28: ["◉", "Jog", "jog"],
  31: [null, "Trim", "trim"], 39: [null, "Trim", "trim"], 40: [null, "Trim", "trim"],
};
for (const code of [1, 2, 3, 4, 5, 6]) known[code] = [null, "Hand", "hand"];

// Lamps 1 to 4 are those of forward, stop, reverse and jog; the others follow the keys in order.
const lampOfKey = { 11: 1, 12: 2, 13: 3, 28: 4 };
for (let code = 0, lamp = 5; code < 47; ++code) {
  if (code !== 22) lampOfKey[code] ??= lamp++;
}

const lampWords = { O: "off", F: "on", H: "half lit", B: "blinking", "?": "unknown" };

const keys = new Map(); // by code
const mine = new Map(); // code: how many hands of this page hold it
const typed = new Map(); // a key of the keyboard: code
let held = new Set();
let works = false;

export const letter = (code) => String.fromCharCode(64 + code);

export function keyName(code) {
  const word = known[code]?.[1];
  return word && word !== "Hand" ? `${letter(code)} ${word.toLowerCase()}` : letter(code);
}

function ownWord(code) {
  const word = known[code]?.[1];
  return word === "Hand" || !word ? String(code) : word;
}

export function setUpKeys() {
  for (const [id, codes] of [["keys", block], ["transport", transport]]) {
    const group = document.getElementById(id);
    codes.forEach((code) => group.append(makeKey(code)));
    group.querySelector("button").tabIndex = 0;
    group.addEventListener("keydown", (event) => moveFocus(event, codes));
  }
  addEventListener("keydown", typeDown);
  addEventListener("keyup", typeUp);
  addEventListener("blur", letGo);
  addEventListener("pagehide", () => mine.size > 0 && sendLast([...mine.keys()].map((key) => ({ do: "release", key }))));
}

function makeKey(code) {
  const [sign, , group] = known[code] ?? [];
  const key = make("button", { type: "button", class: "key", tabindex: -1, "data-code": code },
    make("span", { class: "lamp" }), make("span", { class: "mark" }, sign ?? letter(code)), " ",
    make("small", {}));
  if (group) key.dataset.group = group;
  keys.set(code, key);
  label(code, ownWord(code));
  key.addEventListener("pointerdown", (event) => {
    if (event.button !== 0) return;
    key.setPointerCapture(event.pointerId);
    press(code);
  });
  key.addEventListener("lostpointercapture", () => release(code));
  key.addEventListener("keydown", (event) => handKey(event, () => press(code)));
  key.addEventListener("keyup", (event) => handKey(event, () => release(code)));
  key.addEventListener("blur", () => mine.has(code) && ![...typed.values()].includes(code) && release(code));
  key.addEventListener("click", (event) => { // a screen reader's, with no pointer and no key
    if (event.detail !== 0) return;
    press(code);
    release(code);
  });
  return key;
}

/// Writes what the key does below its mark.
function label(code, legend) {
  const key = keys.get(code);
  const mark = key.querySelector(".mark").textContent;
  key.querySelector("small").textContent = legend;
  key.dataset.name = `${mark}${legend && ` ${legend}`}${legend === String(code) ? "" : `, code ${code}`}`;
  key.title = `${letter(code)}, code ${code}, lamp ${lampOfKey[code]}${legend && legend !== ownWord(code) ? `: ${legend}` : ""}`;
  delete key.dataset.lamp; // the accessible name is written anew with it
}

/// What each key does by the map in force, by code; without a map the keys' own words stay.
export function showLegends(legends) {
  for (const [code, key] of keys) {
    const mapped = Boolean(legends) && code !== jog;
    key.classList.toggle("mapped", mapped);
    label(code, mapped ? legends[code] : ownWord(code));
  }
}

function handKey(event, act) {
  if (event.key !== "Enter" && event.key !== " ") return;
  event.preventDefault();
  if (!event.repeat) act();
}

function press(code) {
  if (!works) return;
  mine.set(code, (mine.get(code) ?? 0) + 1);
  if (mine.get(code) === 1) send({ do: "press", key: code });
  show(code);
}

function release(code) {
  if (!mine.has(code)) return;
  mine.set(code, mine.get(code) - 1);
  if (mine.get(code) === 0) {
    mine.delete(code);
    send({ do: "release", key: code });
  }
  show(code);
}

function letGo() {
  typed.clear();
  for (const code of [...mine.keys()]) {
    mine.set(code, 1);
    release(code);
  }
}

// The keyboard's characters are the desk's own.
function typeDown(event) {
  const elsewhere = event.target.closest?.("input:not([type=checkbox]), select, textarea");
  if (event.repeat || event.ctrlKey || event.metaKey || event.altKey || elsewhere || event.key.length !== 1) return;
  const code = event.key.charCodeAt(0) - 64;
  if (!keys.has(code) || !document.getElementById("typing").checked || typed.has(event.code)) return;
  typed.set(event.code, code);
  press(code);
}

function typeUp(event) {
  if (!typed.has(event.code)) return;
  release(typed.get(event.code));
  typed.delete(event.code);
}

function moveFocus(event, codes) {
  const columns = getComputedStyle(event.currentTarget).gridTemplateColumns.split(" ").length;
  const step = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: columns, ArrowUp: -columns }[event.key];
  const here = codes.indexOf(Number(event.target.dataset?.code));
  if (!step || here < 0) return;
  event.preventDefault();
  const next = keys.get(codes[here + step]);
  if (!next) return;
  event.target.tabIndex = -1;
  next.tabIndex = 0;
  next.focus();
}

function show(code) {
  keys.get(code)?.classList.toggle("down", held.has(code) || mine.has(code));
}

export function showKeys(state) {
  works = state.embedded;
  if (state.link === "gone") letGo(); // cvhost may only be out of sight
  held = new Set(state.held);
  for (const code of keys.keys()) show(code);
  for (const [code, key] of keys) {
    const lamp = state.lamps[lampOfKey[code] - 1];
    const off = String(!works);
    if (key.dataset.lamp === lamp && key.getAttribute("aria-disabled") === off) continue;
    key.dataset.lamp = lamp;
    key.setAttribute("aria-disabled", off);
    key.setAttribute("aria-label", `${key.dataset.name}, lamp ${lampWords[lamp]}`);
  }
}
