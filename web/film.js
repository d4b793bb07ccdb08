// The transport: a film strip that moves under the playhead, the timecode, the marks.
import { keyName } from "./keys.js";
import { play, speedText } from "./scale.js";

const $ = (id) => document.getElementById(id);
const frameWidth = 12; // pixels
const hintTime = 4000; // milliseconds
const keys = [7, 8, 9, 11, 12, 13, 15, 28];

let film = null; // as told
let clock = { told: 0, at: 0 };
let turned = null; // the wheel, in all
let hintUntil = 0;

const nominal = () => Math.ceil(film.rate[0] / film.rate[1]);

function timecode(frame) {
  const second = Math.floor(frame / nominal());
  return [Math.floor(second / 3600), Math.floor(second / 60) % 60, second % 60, frame % nominal()]
    .map((part) => String(part).padStart(2, "0")).join(":");
}

/// Where the playhead is now, in frames. Between two messages it moves at the last speed received.
function placeNow(running) {
  const since = running ? Math.max(0, clock.told - film.at + (performance.now() - clock.at) / 1000) : 0;
  const place = film.place + film.speed / play * film.rate[0] / film.rate[1] * since;
  return Math.max(0, Math.min(film.frames - 1, place));
}

function frameAt(place) {
  if (film.speed === 0) return film.frame;
  return film.speed > 0 ? Math.floor(place + 1e-6) : Math.ceil(place - 1e-6);
}

function sign(speed) {
  if (speed === 0) return "■";
  return (speed < 0 ? "◀" : "▶").repeat(Math.abs(speed) > 2 * play ? 2 : 1);
}

function words() {
  if (film.speed !== 0) return speedText(film.speed);
  if (film.frame === 0) return "start of the clip";
  return film.frame === film.frames - 1 ? "end of the clip" : "stopped";
}

function setText(id, text) {
  if ($(id).textContent !== text) $(id).textContent = text;
}

/// Shows that a hand was felt, whatever it changes.
function flash() {
  for (const animation of $("film").getAnimations()) animation.cancel();
  $("film").animate([{ outlineColor: "#ffb02e" }, { outlineColor: "#ffb02e00" }], { duration: 600 });
}

function hint(state) {
  const moved = turned !== null && state.turned !== turned;
  turned = state.turned;
  if (state.wheel) hintUntil = 0;
  else if (moved && state.link === "active") {
    hintUntil = performance.now() + hintTime;
    flash();
  }
}

export function showFilm(state, presses = []) {
  film = state.transport ?? null;
  clock = { told: state.t, at: performance.now() };
  $("film").classList.toggle("unknown-film", film === null);
  if (film === null) {
    turned = null;
    hintUntil = 0;
    for (const id of ["mark-in", "mark-out", "timecode"]) setText(id, "--:--:--:--");
    setText("moving", "unknown");
    setText("moving-sign", "");
    return;
  }
  hint(state);
  setText("moving", words());
  setText("moving-sign", sign(film.speed));
  setText("mark-in", film.in === null ? "–" : timecode(film.in));
  setText("mark-out", film.out === null ? "–" : timecode(film.out));
  $("film").classList.toggle("jogging", state.wheel);
  const pressed = presses.filter((press) => keys.includes(press.code)).at(-1);
  if (pressed) {
    setText("touched", keyName(pressed.key));
    flash();
  }
  const told = timecode(film.frame);
  $("strip").setAttribute("aria-label", `Film strip at ${told}, ${words()}`);
  $("strip").dataset.frame = film.frame;
}

function fit(canvas) {
  const [width, height, ratio] = [canvas.clientWidth, canvas.clientHeight, devicePixelRatio];
  if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
  }
  const pen = canvas.getContext("2d");
  pen.setTransform(ratio, 0, 0, ratio, 0, 0);
  pen.clearRect(0, 0, width, height);
  return { pen, width, height };
}

/// Each second has a colour; within it a sun rises and sets.
function drawFrame(pen, frame, x, height) {
  const second = Math.floor(frame / nominal());
  const part = frame % nominal() / nominal();
  pen.fillStyle = `hsl(${second * 47 % 360} 32% ${frame % 2 === 0 ? 34 : 38}%)`;
  pen.fillRect(x + 0.5, 9, frameWidth - 1, height - 18);
  pen.fillStyle = "#ffd27a";
  pen.beginPath();
  pen.arc(x + frameWidth / 2, height - 15 - Math.sin(part * Math.PI) * (height - 34), 2.2, 0, 7);
  pen.fill();
  pen.fillStyle = "#d8d2c6";
  for (const y of [3, height - 6]) pen.fillRect(x + frameWidth / 2 - 2, y, 4, 3);
}

function drawMarks(pen, xOf, height) {
  const [from, to] = [film.in, film.out];
  if (from !== null && to !== null) {
    pen.fillStyle = "#ffb02e2e";
    pen.fillRect(xOf(from), 8, xOf(to + 1) - xOf(from), height - 16);
  }
  pen.fillStyle = "#ffb02e";
  for (const [frame, side] of [[from, 1], [to, -1]]) {
    if (frame === null) continue;
    const x = xOf(side > 0 ? frame : frame + 1);
    pen.fillRect(side > 0 ? x : x - 3, 4, 3, height - 8);
    pen.fillRect(side > 0 ? x : x - 8, 4, 8, 3);
    pen.fillRect(side > 0 ? x : x - 8, height - 7, 8, 3);
  }
}

function drawStrip(place) {
  const { pen, width, height } = fit($("strip"));
  const middle = width / 2;
  const xOf = (frame) => middle + (frame - place - 0.5) * frameWidth;
  const reach = Math.ceil(middle / frameWidth) + 1;
  const first = Math.max(0, Math.floor(place) - reach);
  const last = Math.min(film.frames - 1, Math.ceil(place) + reach);
  for (let frame = first; frame <= last; ++frame) drawFrame(pen, frame, xOf(frame), height);
  pen.fillStyle = "#f4f0e8";
  pen.font = "600 10px system-ui, 'DejaVu Sans', sans-serif";
  for (let frame = Math.ceil(first / nominal()) * nominal(); frame <= last; frame += nominal()) pen.fillText(timecode(frame).slice(3, 8), xOf(frame) + 3, 19);
  drawMarks(pen, xOf, height);
  pen.fillStyle = "#ff5a3c";
  pen.fillRect(middle - 1, 0, 2, height);
  pen.beginPath();
  pen.moveTo(middle - 6, 0);
  pen.lineTo(middle + 6, 0);
  pen.lineTo(middle, 8);
  pen.fill();
}

/// The whole clip, with the marks and the playhead.
function drawWhole(place) {
  const { pen, width, height } = fit($("whole"));
  const xOf = (frame) => frame / Math.max(1, film.frames - 1) * (width - 2);
  pen.fillStyle = "#ffb02e";
  if (film.in !== null && film.out !== null) pen.fillRect(xOf(film.in), 0, Math.max(2, xOf(film.out) - xOf(film.in)), height);
  for (const frame of [film.in, film.out]) if (frame !== null) pen.fillRect(xOf(frame), 0, 2, height);
  pen.fillStyle = "#ff5a3c";
  pen.fillRect(xOf(place), 0, 2, height);
}

/// Draws the strip as it stands now; for every animation frame.
export function drawFilm(running) {
  const hinted = performance.now() < hintUntil;
  if ($("hint").hidden === hinted) $("hint").hidden = !hinted;
  if (film === null) return;
  const place = placeNow(running);
  setText("timecode", timecode(frameAt(place)));
  drawStrip(film.speed === 0 ? film.frame : place);
  drawWhole(place);
}
