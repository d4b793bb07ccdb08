// The switches: what can go wrong with the simulated desk, and what the host can be asked for.
import { send, whenRefused } from "./send.js";
import { warningOfSwap } from "./warnings.js";

const $ = (id) => document.getElementById(id);
const names = ["forward", "stop", "reverse", "jog"];
let state = null; // as shown last

export function setUpFaults() {
  const faults = $("faults").elements;
  const host = $("host").elements;
  faults.unplugged.addEventListener("change", () => send({ do: "plug", on: !faults.unplugged.checked }));
  for (const name of ["noise", "silent"]) {
    faults[name].addEventListener("change", () => send({ do: name, on: faults[name].checked }));
  }
  faults.power.addEventListener("click", () => send({ do: "power" }));
  faults.firmware.addEventListener("input", warn);
  faults.be.addEventListener("click", () => {
    if (faults.firmware.reportValidity())
      send({ do: "be", firmware: Number(faults.firmware.value), model: faults.model.value });
  });
  for (let lamp = 1; lamp <= 46; ++lamp) {
    const name = names[lamp - 1];
    host.lamp.add(new Option(name ? `${lamp} ${name}` : lamp, lamp));
  }
  host.set.addEventListener("click", () => send({ do: "lamp", lamp: Number(host.lamp.value), state: host.state.value }));
  for (const form of [$("faults"), $("host")]) form.addEventListener("submit", (event) => event.preventDefault());
  for (const form of [$("faults"), $("host")]) form.addEventListener("click", () => { $("answer").textContent = ""; });
  whenRefused((sentence) => { $("answer").textContent = sentence; });
}

/// Before the swap, in words; and the button says that it is meant.
function warn() {
  const { firmware, be } = $("faults").elements;
  const text = state?.embedded && firmware.validity.valid ? warningOfSwap(state, Number(firmware.value)) : "";
  if ($("swap-warning").textContent !== text) $("swap-warning").textContent = text;
  be.textContent = text ? "Swap anyway" : "Swap";
}

function noteOf({ link, embedded, faults }) {
  if (link === "gone") return "";
  if (!embedded) return "A real console is connected: it is shown here, and worked by hand.";
  const model = [...$("faults").elements.model.options].find(({ value }) => value === faults.model).text;
  return `The desk is of model ${model}, with firmware ${faults.firmware}.`;
}

let shown = "";

export function showFaults(news) {
  state = news;
  const text = JSON.stringify([state.faults, state.embedded, state.met8, state.link === "gone"]);
  if (text === shown) return;
  shown = text;
  const faults = $("faults").elements;
  for (const control of faults) control.disabled = !state.embedded;
  for (const control of $("host").elements) control.disabled = state.link === "gone";
  faults.unplugged.checked = state.embedded && !state.faults.plugged;
  faults.noise.checked = state.embedded && state.faults.noise;
  faults.silent.checked = state.embedded && state.faults.silent;
  $("faults-note").textContent = noteOf(state);
  warn();
}
