// The shuttle ring, which springs back, and the jog wheel, which turns without end.
import { centre, draw, signed, speedText } from "./scale.js";
import { send, sendLast } from "./send.js";

const widest = 135;      // degrees to either side
const perCount = 6;      // degrees of the jog wheel
const patience = 1000;   // milliseconds until the desk has told where the ring is
const scrollCount = 40;  // pixels of scrolling

const $ = (id) => document.getElementById(id);
let works = false;
let speeds = [];

const degrees = (position) => (position - centre) / 128 * widest;
const kept = (position) => Math.max(0, Math.min(255, Math.round(position)));

function angleIn(element, event) {
  const box = element.getBoundingClientRect();
  return Math.atan2(event.clientX - box.x - box.width / 2, box.y + box.height / 2 - event.clientY) * 180 / Math.PI;
}

/// Tells `turned` by how many degrees the pointer goes round the element, and calls `ended` once it lets go.
function follow(element, { began, turned, ended }) {
  let last = null;
  element.addEventListener("pointerdown", (event) => {
    if (event.button !== 0 || !works) return;
    element.setPointerCapture(event.pointerId);
    element.classList.add("held");
    last = angleIn(element, event);
    began?.();
  });
  element.addEventListener("pointermove", (event) => {
    if (last === null || !works) return;
    const angle = angleIn(element, event);
    turned(((angle - last + 540) % 360) - 180);
    last = angle;
  });
  element.addEventListener("lostpointercapture", () => {
    last = null;
    element.classList.remove("held");
    ended?.();
  });
}

const ring = {
  position: centre,
  mine: false, // this page holds it, or has let go of it and the desk has not told so yet
  until: Infinity,
  exact: centre,
  put(position) {
    ring.mine = true;
    ring.until = Infinity;
    if (kept(position) === ring.position) return;
    ring.show(kept(position));
    send({ do: "ring", position: ring.position });
  },
  springBack() {
    ring.put(centre);
    ring.until = performance.now() + patience;
  },
  letGo() {
    if (ring.mine) ring.springBack();
  },
  leave() { // what is sent in the ordinary way might not arrive
    if (!ring.mine) return;
    ring.show(centre);
    ring.until = performance.now() + patience;
    sendLast([{ do: "ring", position: centre }]);
  },
  hear(position) {
    if (ring.mine && ring.until < Infinity && (position === ring.position || performance.now() > ring.until)) ring.mine = false;
    if (!ring.mine && position !== ring.position) ring.show(position);
  },
  show(position) {
    ring.position = position;
    const element = $("ring");
    element.style.setProperty("--turn", degrees(position));
    element.setAttribute("aria-valuenow", position);
    const speed = speeds[position] ?? 0;
    element.setAttribute("aria-valuetext", position === centre ? "centre" : speedText(speed));
  },
};

const jog = {
  angle: 0,    // counts
  mine: 0,     // of those, the ones that the desk has not told of yet
  told: null,  // what the desk has told in all
  turn(counts) {
    if (!works || counts === 0) return;
    jog.mine += counts;
    jog.angle += counts;
    jog.show();
    send({ do: "jog", turn: counts });
  },
  hear(total) {
    const heard = total - (jog.told ?? total);
    const own = Math.sign(heard) === Math.sign(jog.mine) ? Math.sign(heard) * Math.min(Math.abs(heard), Math.abs(jog.mine)) : 0;
    jog.mine -= own;
    jog.angle += heard - own;
    jog.told = total;
    if (heard !== own) jog.show();
  },
  show() {
    const element = $("jog");
    element.style.setProperty("--jog", jog.angle * perCount % 360);
    element.setAttribute("aria-valuenow", Math.round(jog.angle * 10) / 10);
    element.setAttribute("aria-valuetext", `${signed(jog.angle)} counts`);
  },
};

function ringKeys(event) {
  const step = { ArrowRight: 1, ArrowUp: 1, ArrowLeft: -1, ArrowDown: -1, PageUp: 10, PageDown: -10 }[event.key];
  const back = event.key === "Home" || event.key === "Escape";
  if (!works || (!step && !back)) return;
  event.preventDefault();
  if (back) ring.springBack();
  else ring.put(ring.position + step);
}

function jogKeys(event) {
  const step = { ArrowRight: 1, ArrowUp: 1, ArrowLeft: -1, ArrowDown: -1, PageUp: 10, PageDown: -10 }[event.key];
  if (!works || !step) return;
  event.preventDefault();
  jog.turn(event.shiftKey ? step / 10 : step);
}

export function setUpWheel() {
  follow($("ring"), {
    began: () => { ring.exact = ring.position; },
    turned: (by) => ring.put(ring.exact = Math.max(0, Math.min(255, ring.exact + by / widest * 128))),
    ended: ring.letGo,
  });
  follow($("jog"), { turned: (by) => jog.turn(by / perCount) });
  $("ring").addEventListener("keydown", ringKeys);
  $("ring").addEventListener("blur", ring.letGo);
  addEventListener("pagehide", ring.leave);
  $("jog").addEventListener("keydown", jogKeys);
  $("jog").addEventListener("wheel", (event) => {
    if (!works) return;
    event.preventDefault();
    jog.turn(-(event.deltaMode === 0 ? event.deltaY / scrollCount : event.deltaY) || 0);
  }, { passive: false });
}

export function showWheel(state) {
  works = state.embedded;
  for (const id of ["ring", "jog"]) $(id).setAttribute("aria-disabled", String(!works));
  if (state.link === "gone") {
    ring.letGo(); // cvhost may only be out of sight
    ring.show(centre);
  } else {
    ring.hear(state.ring);
    jog.hear(state.turned);
  }
  $("jog").classList.toggle("on", state.deskWheel);
}

/// The scale around the ring.
export function engrave(law) {
  speeds = law.speeds;
  jog.told = null;
  jog.mine = 0;
  const picture = $("engraving");
  picture.replaceChildren();
  const at = (position, radius) => {
    const angle = degrees(position) * Math.PI / 180;
    return [Math.sin(angle) * radius, -Math.cos(angle) * radius].map((value) => value.toFixed(2));
  };
  const arc = (from, to, radius) => `M${at(from, radius)}A${radius} ${radius} 0 0 1 ${at(to, radius)}`;
  const { deadBand, detentBegins, detentEnds } = law;
  for (let position = 7; position <= 247; position += 8) {
    const [x1, y1] = at(position, 77);
    const [x2, y2] = at(position, (position - centre) % 40 === 0 ? 83 : 80);
    draw(picture, "line", { class: "tick", x1, y1, x2, y2 });
  }
  draw(picture, "path", { class: "band dead", d: arc(centre - deadBand, centre + deadBand, 86.5) });
  draw(picture, "path", { class: "band detent", d: arc(centre + detentBegins, centre + detentEnds, 86.5) });
  draw(picture, "path", { class: "band detent", d: arc(centre - detentEnds, centre - detentBegins, 86.5) });
  const label = (position, text) => {
    const [x, y] = at(position, 98);
    draw(picture, "text", { x, y }, text);
  };
  const middle = (detentBegins + detentEnds) / 2;
  label(centre, "0");
  label(centre + middle, "×1");
  label(centre - middle, "−×1");
  label(253, `×${Math.round(speeds[255] / 1024)}`);
  label(1, `−×${Math.round(speeds[255] / 1024)}`);
}
