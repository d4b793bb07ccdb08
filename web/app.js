// The page: hears from cvhost what happens and shows it; says so when cvhost has gone, and comes back by itself.
import { setUpFaults, showFaults } from "./faults.js";
import { drawFilm, showFilm } from "./film.js";
import { setUpKeys, showKeys, showLegends } from "./keys.js";
import { clearLists, setUpLists, showNews, showSteps } from "./lists.js";
import { drawChart, setUpPlots, showPlots, showValues } from "./plots.js";
import { breakable } from "./scale.js";
import { sendOwed } from "./send.js";
import { warningOf } from "./warnings.js";
import { engrave, setUpWheel, showWheel } from "./wheel.js";

const $ = (id) => document.getElementById(id);
const again = 1000; // milliseconds
const longestSilence = 4000; // cvhost sends its state every second at least
const links = {
  looking: "Looking for a console",
  starting: "Starting up",
  active: "Console active",
  lost: "Console lost",
  gone: "cvhost is away",
};

let source = null;
let running = false;
let steps = [];
let layer = "";

/// All that is known of the run while cvhost is away.
const unknown = () => ({
  link: "gone", port: "", steps: steps.map(({ name }) => ({ name, state: "unknown", text: "" })),
  lamps: "?".repeat(46), held: [], deskWheel: false, speed: null, embedded: false, faults: null, met8: false,
});

function setText(element, text) {
  if (element.textContent !== text) element.textContent = text;
}

function plateText({ link, embedded, faults }) {
  if (link === "gone") return "unknown while cvhost is away";
  const text = embedded ? "simulated desk" : "mirror of a real console: its inputs are off here";
  return text + (embedded && !faults.plugged ? ", unplugged" : "") + (layer ? `, layer ${layer}` : "");
}

function showPort(text) {
  if ($("port").textContent !== text) $("port").replaceChildren(...breakable(text));
}

function showState(state) {
  const away = state.link === "gone";
  const warning = warningOf(state);
  document.body.classList.toggle("away", away);
  $("link").dataset.link = warning ? "limited" : state.link;
  setText($("link"), state.link === "active" ? `${links.active}, version ${state.version}` : links[state.link]);
  setText($("warning"), warning);
  $("warning").hidden = warning === "";
  showPort(state.port || (away ? "port unknown" : "no port yet"));
  $("desk").classList.toggle("mirror", !away && !state.embedded);
  $("desk").classList.toggle("absent", state.embedded && !state.faults.plugged);
  setText($("plate-text"), plateText(state));
  steps = state.steps;
  showSteps(state.steps);
  showKeys(state);
  showWheel(state);
  showFaults(state);
}

function take(news) {
  expectNews();
  if (news.law) { // the first news of a connection
    clearLists();
    setUpPlots(news.law);
    engrave(news.law);
    $("gone").hidden = true;
    running = true;
    sendOwed();
  }
  if (news.map !== undefined) {
    layer = news.map?.layer ?? "";
    showLegends(news.map?.keys);
  }
  showState(news.state);
  showFilm(news.state, news.keys);
  showPlots(news.state, news.samples);
  showNews(news);
}

function disconnect() {
  clearTimeout(connect.later);
  clearTimeout(expectNews.late);
  source?.close();
  source = null;
  running = false;
}

function connect() {
  disconnect();
  source = new EventSource("/events");
  source.onmessage = (event) => take(JSON.parse(event.data));
  source.onerror = lose;
  expectNews();
}

/// A process that is stopped keeps its connections and is silent.
function expectNews() {
  clearTimeout(expectNews.late);
  expectNews.late = setTimeout(() => {
    leave();
    tellGone("cvhost does not answer. This page comes back by itself when it does.");
  }, longestSilence);
}

function leave() {
  disconnect();
  connect.later = setTimeout(connect, again);
  showState(unknown());
  showFilm(unknown());
  showValues(unknown());
}

function tellGone(sentence) {
  setText($("gone"), sentence);
  $("gone").hidden = false;
}

async function lose() {
  leave();
  const there = await fetch("/icon.svg").then((response) => response.ok, () => false);
  if (running || document.hidden) return;
  tellGone(there ? "Too many pages are open already; close one of them." :
    "cvhost has stopped or cannot be reached. This page comes back by itself when cvhost runs again.");
}

// A browser has few connections to one place: a page that nobody sees gives its own back.
document.addEventListener("visibilitychange", () => {
  if (document.hidden) disconnect();
  else connect();
});

function frame() {
  drawFilm(running);
  drawChart(running);
  requestAnimationFrame(frame);
}

setUpKeys();
setUpWheel();
setUpLists();
setUpFaults();
connect();
requestAnimationFrame(frame);
