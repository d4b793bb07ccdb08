// What the page draws and lists of what has happened: the needle, the strip chart, the last jog, the log.
import { expect, expectEqual, key, open, patience, putRing, until } from "./rig.mjs";

/// How far the needle leans to the right, in degrees, once it stands where it was told to; and where play speed is marked.
const needleLeans = () => {
  const needle = document.querySelector("#gauge .needle");
  const told = Number(needle.style.transform.match(/^rotate\((.+)deg\)$/)?.[1]);
  const { a, b } = new DOMMatrix(getComputedStyle(needle).transform);
  const [, mark] = document.querySelectorAll("#gauge .tick.play");
  const play = Math.atan2(mark.getAttribute("x2"), -mark.getAttribute("y2")) * 180 / Math.PI;
  return Math.abs(told - Math.atan2(b, a) * 180 / Math.PI) < 0.1 && { told, play };
};

/// The topmost and the lowest row of the strip chart that bears one of the page's colours; null when none does.
const rowsOf = (page, colour) => page.evaluate((name) => {
  const canvas = document.getElementById("chart");
  const wanted = getComputedStyle(document.documentElement).getPropertyValue(name).match(/[0-9a-f]{2}/g).map((part) => parseInt(part, 16));
  const { data } = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height);
  let rows = null;
  for (let at = 0; at < data.length; at += 4) {
    if (data[at + 3] < 255 || wanted.some((part, i) => Math.abs(data[at + i] - part) > 2)) continue;
    const row = Math.floor(at / 4 / canvas.width);
    rows = [rows?.[0] ?? row, row];
  }
  return rows;
}, colour);

/// Those rows once they are as wanted.
async function rowsWhen(page, colour, wanted, sentence) {
  let rows = null;
  for (const end = performance.now() + patience; performance.now() < end;) {
    rows = await rowsOf(page, colour);
    if (wanted(rows)) return rows;
    await page.waitForTimeout(20);
  }
  throw new Error(`${sentence}; but its rows are ${JSON.stringify(rows)}`);
}

const textIs = (page, id, wanted) => until(page, ([of, text]) => document.getElementById(of).textContent === text, [id, wanted]);

export const plotTests = [
  ["Ring_Moved_LeansTheNeedleAndDrawsTheSpeed", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    const needleAt = async (speed) => {
      await textIs(page, "speed-value", String(speed));
      return until(page, needleLeans);
    };
    expectEqual((await needleAt(0)).told, 0, "the needle at rest");
    const [rest] = await rowsWhen(page, "--speed", (rows) => rows && rows[1] - rows[0] < 4, "the strip is flat at rest");
    await page.focus("#ring");
    await putRing(page, 180);
    const { told, play } = await needleAt(1024);
    expect(play > 10 && Math.abs(told - play) < 0.1, `the needle leans ${told} degrees, play speed is marked at ${play}`);
    const [forward] = await rowsWhen(page, "--speed", (rows) => rows[0] < rest - 10, "the strip rises when the ring goes forward");
    await page.keyboard.press("Home");
    await putRing(page, 0);
    expectEqual((await needleAt(-11994)).told, -100, "the needle at full speed in reverse");
    await rowsWhen(page, "--speed", (rows) => rows[1] - rest > 2 * (rest - forward), "and falls further in fast reverse");
    const later = await open(browser, host);
    await rowsWhen(later, "--speed", (rows) => rows && rows[0] < rest - 2 && rows[1] > rest + 10, "a page opened later draws it too");
  }],

  ["Jog_Turned_ShowsTheLastMovementAndDrawsEach", async ({ browser, start }) => {
    const page = await open(browser, await start());
    await page.click(key(28));
    await page.waitForSelector("#jog.on");
    await rowsWhen(page, "--jogging", (rows) => rows === null, "no jog is drawn before there was one");
    await page.focus("#jog");
    await page.keyboard.press("ArrowUp");
    await textIs(page, "jog-last", "+1");
    const [, low] = await rowsWhen(page, "--jogging", (rows) => rows, "a jog is drawn");
    await page.keyboard.press("Shift+ArrowDown");
    await textIs(page, "jog-last", "-0.1");
    await textIs(page, "jog-total", "+0.9");
    await rowsWhen(page, "--jogging", (rows) => rows[0] < low && rows[1] > low + 2, "a jog back is drawn below the jogs forward");
  }],

  ["Log_SomethingHappens_IsListedOnceAtTheEnd", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    const log = () => page.locator("#log li").evaluateAll((lines) => lines.map((line) => `${line.dataset.heading}: ${line.querySelector("span").textContent}`));
    const opened = await log();
    const screen = `web: the console is on the screen at ${host.url}`;
    expectEqual(opened.filter((line) => line === screen), [screen], "the page's address");
    await page.getByLabel("Unplugged").click();
    await until(page, () => [...document.querySelectorAll('#log [data-heading="port"]')].some((line) => line.textContent.endsWith(" is lost")));
    const after = await log();
    expectEqual(after.slice(0, opened.length), opened, "what was there");
    expect(after.slice(opened.length).some((line) => /^port: .* is lost$/.test(line)), "the loss is told behind it");
  }],
];
