// The switches: what can go wrong with the simulated desk, and what the host can be asked for.
import { send, whenRefused } from "./send.js";

const $ = (id) => document.getElementById(id);
const names = ["forward", "stop", "reverse", "jog"];

export function setUpFaults() {
  const faults = $("faults").elements;
  const host = $("host").elements;
  faults.unplugged.addEventListener("change", () => send({ do: "plug", on: !faults.unplugged.checked }));
  for (const name of ["noise", "silent"]) {
    faults[name].addEventListener("change", () => send({ do: name, on: faults[name].checked }));
  }
  faults.power.addEventListener("click", () => send({ do: "power" }));
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

let shown = "";

export function showFaults(state) {
  const text = JSON.stringify([state.faults, state.embedded]);
  if (text === shown) return;
  shown = text;
  const faults = $("faults").elements;
  for (const control of faults) control.disabled = !state.embedded;
  if (!state.embedded) {
    $("faults-note").textContent = "A real console is connected: it is shown here, and worked by hand.";
    return;
  }
  faults.unplugged.checked = !state.faults.plugged;
  faults.noise.checked = state.faults.noise;
  faults.silent.checked = state.faults.silent;
  $("faults-note").textContent = `The desk is of model ${state.faults.model === "V4" ? "V4" : "another"}, with firmware ${state.faults.firmware}.`;
}
