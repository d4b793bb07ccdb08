// The transport on the page: what each hand does to the film, the timecode and the marks.
import { expect, expectEqual, key, open, putRing, until } from "./rig.mjs";

const text = (page, selector) => page.textContent(selector);
const frame = (page) => page.evaluate(() => Number(document.getElementById("strip").dataset.frame));
const middle = 7500; // of ten minutes at 25 frames a second

/// The strip as it is drawn: the colours of one row of its pixels.
const drawn = (page) => page.evaluate(() => {
  const strip = document.getElementById("strip");
  return [...strip.getContext("2d").getImageData(0, Math.round(strip.height * 0.8), strip.width, 1).data].join();
});

const inSight = (page, selector) => page.evaluate((wanted) => {
  const box = document.querySelector(wanted).getBoundingClientRect();
  return box.width > 0 && box.top >= 0 && box.left >= 0 && box.bottom <= innerHeight && box.right <= innerWidth;
}, selector);

async function expectSpeed(page, words) {
  await until(page, (wanted) => document.getElementById("moving").textContent === wanted, words);
}

export const filmTests = [
  ["Film_AtEachSize_IsInSightWithoutScrolling", async ({ browser, start }) => {
    const page = await open(browser, await start());
    for (const [width, height] of [[1024, 700], [390, 844], [360, 640], [1440, 900]]) {
      await page.setViewportSize({ width, height });
      for (const part of ["#timecode", "#strip", "#mark-in", "#mark-out", "#moving"]) expect(await inSight(page, part), `${part} is in sight at ${width}x${height}`);
      await page.evaluate(() => scrollTo(0, document.documentElement.scrollHeight));
      for (const part of ["#timecode", "#strip"]) expect(await inSight(page, part), `${part} stays in sight at ${width}x${height}`);
      await page.evaluate(() => scrollTo(0, 0));
    }
    await page.setViewportSize({ width: 1024, height: 700 });
    for (const code of [8, 13, 12, 11, 7, 28]) expect(await inSight(page, key(code)), `key ${code} is in sight beside the film`);
  }],

  ["Film_Untouched_StandsInTheMiddle", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    expectEqual(await frame(page), middle, "frame");
    await until(page, () => document.getElementById("timecode").textContent === "00:05:00:00");
    await expectSpeed(page, "stopped");
    expectEqual(host.count("playhead"), 0, "playhead events");
  }],

  ["TransportKey_Clicked_MovesTheFilmAtOnce", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    const rows = [[11, 1024, "×1.00 forward", "F"], [7, 30000, "×29.30 forward", "B"], [13, -1024, "×1.00 reverse", null], [8, -30000, "×29.30 reverse", null]];
    for (const [code, speed, words, lamp] of rows) {
      const before = await drawn(page);
      await page.click(key(code));
      await host.event("playhead", { speed });
      await expectSpeed(page, words);
      if (lamp) await page.waitForSelector(`${key(11)}[data-lamp="${lamp}"]`);
      await until(page, (seen) => {
        const strip = document.getElementById("strip");
        return [...strip.getContext("2d").getImageData(0, Math.round(strip.height * 0.8), strip.width, 1).data].join() !== seen;
      }, before);
      await page.click(key(12));
      await expectSpeed(page, "stopped");
      await page.waitForSelector(`${key(12)}[data-lamp="F"]`);
    }
  }],

  ["Film_Playing_RunsBetweenTheMessages", async ({ browser, start }) => {
    const page = await open(browser, await start());
    await page.click(key(11));
    const seen = new Set();
    for (const end = performance.now() + 20_000; seen.size < 12 && performance.now() < end;) seen.add(await text(page, "#timecode"));
    expect(seen.size >= 12, `the timecode runs: ${[...seen]}`);
  }],

  ["Ring_Turned_RunsTheFilmAtItsSpeed", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.focus("#ring");
    await putRing(page, 200);
    await host.event("playhead", { speed: 1495 });
    await expectSpeed(page, "×1.46 forward");
    await page.keyboard.press("Home");
    await expectSpeed(page, "stopped");
  }],

  ["Wheel_On_MovesTheFilmByItsCounts", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.click(key(28));
    await page.waitForSelector("#film.jogging");
    await page.focus("#jog");
    for (const step of ["ArrowUp", "ArrowUp", "PageUp", "ArrowDown"]) await page.keyboard.press(step);
    await until(page, (wanted) => Number(document.getElementById("strip").dataset.frame) === wanted, middle + 11);
    await until(page, () => document.getElementById("timecode").textContent === "00:05:00:11");
    expectEqual(host.events("playhead").at(-1).frame, middle + 11, "the last event's frame");
    expect(await page.isHidden("#hint"), "no hint while the wheel is on");
  }],

  ["Wheel_OffAndTurned_SaysPressJog", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.focus("#jog");
    await page.keyboard.press("ArrowUp");
    await page.waitForSelector("#hint:not([hidden])");
    expectEqual(await text(page, "#hint"), "press JOG", "hint");
    expectEqual(await frame(page), middle, "frame");
    await page.click(key(28));
    await page.waitForSelector("#hint", { state: "hidden" });
    await page.focus("#jog");
    await page.keyboard.press("ArrowUp");
    await host.event("playhead", { frame: middle + 1 });
  }],

  ["Marks_Set_ShowTheirTimecodes", async ({ browser, start }) => {
    const page = await open(browser, await start());
    await page.click(key(28));
    await page.click(key(9));
    await until(page, () => document.getElementById("mark-in").textContent === "00:05:00:00");
    await page.focus("#jog");
    await page.keyboard.press("PageUp");
    await page.click(key(15));
    await until(page, () => document.getElementById("mark-out").textContent === "00:05:00:10");
    await until(page, () => document.getElementById("touched").textContent === "O out");
  }],

  ["Film_AtTheClipsEnd_SaysSo", async ({ browser, start }) => {
    const host = await start(["--desk", "--clip", "50@25"]);
    const page = await open(browser, host);
    await page.click(key(7));
    await expectSpeed(page, "end of the clip");
    expectEqual(await text(page, "#timecode"), "00:00:01:24", "timecode");
    await page.click(key(8));
    await expectSpeed(page, "start of the clip");
    await page.waitForSelector(`${key(12)}[data-lamp="F"]`);
  }],

  ["Film_HostAway_IsUnknown", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await host.stop();
    await page.waitForSelector("#film.unknown-film");
    expectEqual(await text(page, "#timecode"), "--:--:--:--", "timecode");
    page.complaints = []; // of the browser, about the connection
  }],
];
