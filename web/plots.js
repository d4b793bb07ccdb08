// The needle, the strip chart and the shuttle law.
import { draw, play, share, signed, speedText } from "./scale.js";

const $ = (id) => document.getElementById(id);
const span = 30; // seconds
const reach = 100; // degrees of the needle to either side

let law = null;
let fastest = 12 * play;
let samples = []; // [time, speed, sum of jog], as told
let clock = { told: 0, at: 0 };
let needle = null;
let here = null;

export function setUpPlots(newLaw) {
  law = newLaw;
  fastest = Math.max(play, Math.abs(law.speeds[0]), Math.abs(law.speeds[255]));
  samples = [];
  drawGauge();
  drawLaw();
}

function drawGauge() {
  const picture = $("gauge");
  picture.replaceChildren();
  const at = (speed, radius) => {
    const angle = share(speed, fastest) * reach * Math.PI / 180;
    return [(Math.sin(angle) * radius).toFixed(2), (-Math.cos(angle) * radius).toFixed(2)];
  };
  draw(picture, "path", { class: "arc", d: `M${at(-fastest, 78)}A78 78 0 1 1 ${at(fastest, 78)}` });
  for (const times of [0.1, 0.25, 0.5, 1, 2, 5, fastest / play]) {
    for (const speed of [-times * play, times * play]) {
      const [[x1, y1], [x2, y2], [x, y]] = [at(speed, 72), at(speed, 84), at(speed, 95)];
      draw(picture, "line", { class: times === 1 ? "tick play" : "tick", x1, y1, x2, y2 });
      if ([0.25, 1, 2, 5].includes(times) || times > 5) draw(picture, "text", { x, y: Number(y) + 3 }, times > 5 ? Math.round(times) : times);
    }
  }
  draw(picture, "line", { class: "tick", x1: 0, y1: -70, x2: 0, y2: -86 });
  draw(picture, "text", { x: 0, y: -93 }, "0");
  needle = draw(picture, "line", { class: "needle", x1: 0, y1: 10, x2: 0, y2: -76 });
  draw(picture, "circle", { class: "hub", r: 5 });
}

const plot = { left: 34, right: 312, top: 8, bottom: 168 };

function lawPoint(position) {
  const x = plot.left + (plot.right - plot.left) * position / 255;
  const y = (plot.top + plot.bottom) / 2 - share(law.speeds[position], fastest) * (plot.bottom - plot.top) / 2;
  return [x, y];
}

function drawLaw() {
  const picture = $("law");
  picture.replaceChildren();
  const { centre, deadBand, detentBegins, detentEnds } = law;
  const band = (name, from, to) => {
    const [x, end] = [lawPoint(from)[0], lawPoint(to)[0]];
    draw(picture, "rect", { class: name, x, width: end - x, y: plot.top, height: plot.bottom - plot.top });
  };
  band("area", centre - deadBand, centre + deadBand);
  for (const [from, to] of [[centre + detentBegins, centre + detentEnds], [centre - detentEnds, centre - detentBegins]]) band("detent", from, to);
  band("beyond", centre + detentEnds, 255);
  band("beyond", 0, centre - detentEnds);
  const line = (x1, y1, x2, y2) => draw(picture, "line", { class: "axis", x1, y1, x2, y2 });
  for (const times of [-fastest / play, -5, -1, 0, 1, 5, fastest / play]) {
    const y = (plot.top + plot.bottom) / 2 - share(times * play, fastest) * (plot.bottom - plot.top) / 2;
    line(plot.left, y, plot.right, y);
    draw(picture, "text", { x: plot.left - 5, y: y + 3, "text-anchor": "end" }, times < 0 ? `−${Math.round(-times)}` : Math.round(times));
  }
  const under = (position, text) => draw(picture, "text", { x: lawPoint(position)[0], y: 182, "text-anchor": "middle" }, text);
  under(centre, "dead band");
  under(centre + 57, "play");
  under(centre - 57, "play");
  under(centre + 100, "beyond play");
  under(centre - 100, "beyond play");
  draw(picture, "path", { class: "curve", d: "M" + law.speeds.map((_, position) => lawPoint(position).map((value) => value.toFixed(1)).join(" ")).join("L") });
  here = [draw(picture, "line", { class: "here", y1: plot.top, y2: plot.bottom }), draw(picture, "circle", { class: "dot", r: 4.5 })];
  $("law-note").textContent = `BeyondPlayMultiplier in force: ${law.multiplier}`;
}

export function showPlots(state, news) {
  samples.push(...news, [state.t, state.speed, state.jogTotal]);
  while (samples.length > 1 && samples[1][0] < state.t - span) samples.shift();
  clock = { told: state.t, at: performance.now() };
  showValues(state);
}

/// What is unknown is null.
export function showValues(state) {
  const known = state.speed !== null;
  needle?.classList.toggle("unknown", !known);
  for (const part of here ?? []) part.classList.toggle("unknown", !known);
  $("speed").textContent = speedText(state.speed);
  $("gauge").setAttribute("aria-label", `Speed needle: ${speedText(state.speed)}`);
  $("speed-value").textContent = known ? state.speed : "–";
  $("jog-last").textContent = known ? signed(state.jog) : "–";
  $("jog-total").textContent = known ? signed(state.jogTotal) : "–";
  $("wheel-state").textContent = !known ? "–" : state.wheel ? "on" : "off";
  if (known) pointAt(state);
  else $("law").setAttribute("aria-label", "Speed against the ring's position, which is unknown");
}

function pointAt(state) {
  needle.style.transform = `rotate(${share(state.speed, fastest) * reach}deg)`;
  const [x, y] = lawPoint(state.ring);
  here[0].setAttribute("x1", x);
  here[0].setAttribute("x2", x);
  here[1].setAttribute("cx", x);
  here[1].setAttribute("cy", y);
  $("law").setAttribute("aria-label", `Speed against the ring's position. The ring is at ${state.ring}, the law gives ${speedText(law.speeds[state.ring])}`);
}

/// Draws the strip as it stands now; for every animation frame.
export function drawChart(running) {
  const canvas = $("chart");
  const [width, height] = [canvas.clientWidth, canvas.clientHeight];
  const ratio = devicePixelRatio;
  if (canvas.width !== Math.round(width * ratio) || canvas.height !== Math.round(height * ratio)) {
    canvas.width = Math.round(width * ratio);
    canvas.height = Math.round(height * ratio);
  }
  const pen = canvas.getContext("2d");
  pen.setTransform(ratio, 0, 0, ratio, 0, 0);
  pen.clearRect(0, 0, width, height);
  const style = getComputedStyle(document.documentElement);
  const colour = (name) => style.getPropertyValue(name);
  const now = clock.told + (running ? (performance.now() - clock.at) / 1000 : 0);
  const xAt = (time) => width - 8 - (now - time) / span * (width - 44);
  const middle = height * 0.36;
  const yAt = (speed) => middle - share(speed, fastest) * (middle - 10);
  drawGrid(pen, { width, height, xAt, yAt, now, colour });
  drawSpeed(pen, { xAt, yAt, now, colour });
  drawJog(pen, { xAt, height, now, colour });
}

function drawGrid(pen, { width, height, xAt, yAt, now, colour }) {
  pen.lineWidth = 1;
  pen.strokeStyle = colour("--rule");
  pen.fillStyle = colour("--soft");
  pen.font = "11px system-ui, 'DejaVu Sans', sans-serif";
  pen.textAlign = "right";
  pen.textBaseline = "middle";
  for (const times of [-fastest / play, -1, 0, 1, fastest / play]) {
    const y = Math.round(yAt(times * play)) + 0.5;
    pen.beginPath();
    pen.moveTo(36, y);
    pen.lineTo(width - 8, y);
    pen.stroke();
    pen.fillText(times === 0 ? "0" : `${times < 0 ? "−" : ""}×${Math.round(Math.abs(times))}`, 31, y);
  }
  pen.textAlign = "center";
  for (let back = 0; back <= span; back += 10) {
    pen.fillText(back === 0 ? "now" : `−${back} s`, Math.min(width - 16, xAt(now - back)), height - 8);
  }
}

function drawSpeed(pen, { xAt, yAt, now, colour }) {
  if (samples.length === 0) return;
  pen.strokeStyle = colour("--speed");
  pen.lineWidth = 2;
  pen.lineJoin = "round";
  pen.beginPath();
  let y = yAt(samples[0][1]);
  pen.moveTo(Math.max(36, xAt(samples[0][0])), y);
  for (const [time, speed] of samples) {
    const x = Math.max(36, xAt(time));
    pen.lineTo(x, y);
    pen.lineTo(x, y = yAt(speed));
  }
  pen.lineTo(xAt(now), y);
  pen.stroke();
}

function drawJog(pen, { xAt, height, now, colour }) {
  const base = Math.round(height * 0.83) + 0.5;
  const room = height * 0.12;
  pen.strokeStyle = colour("--rule");
  pen.beginPath();
  pen.moveTo(36, base);
  pen.lineTo(xAt(now), base);
  pen.stroke();
  pen.fillStyle = colour("--soft");
  pen.textAlign = "right";
  pen.fillText("jog", 31, base);
  pen.strokeStyle = colour("--jogging");
  pen.lineWidth = 2.5;
  for (let i = 1; i < samples.length; ++i) {
    const by = samples[i][2] - samples[i - 1][2];
    const x = xAt(samples[i][0]);
    if (by === 0 || x < 36) continue;
    pen.beginPath();
    pen.moveTo(x, base);
    pen.lineTo(x, base - Math.sign(by) * Math.max(6, Math.min(1, Math.abs(by) / 6) * room));
    pen.stroke();
  }
}
