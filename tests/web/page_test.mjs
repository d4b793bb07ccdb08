// The page in a real browser, against a real cvhost.
import { mkdtempSync, writeFileSync } from "node:fs";
import { createServer } from "node:http";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { filmTests } from "./film_tests.mjs";
import { lookTests } from "./look_tests.mjs";
import { mapTests } from "./map_tests.mjs";
import { plotTests } from "./plot_tests.mjs";
import { warningTests } from "./warning_tests.mjs";
import { around, expect, expectEqual, key, launch, open, putRing, run, startDesk, startsWell, stepsAre, until } from "./rig.mjs";

const text = (page, selector) => page.textContent(selector);
const sum = (events) => events.filter((event) => event.code === 47).reduce((total, event) => total + event.jog_exact, 0);

async function turn(page, selector, share, degrees) {
  const at = await around(page, selector, share);
  await page.mouse.move(...at(0));
  await page.mouse.down();
  for (let part = 1; part <= 10; ++part) await page.mouse.move(...at(degrees * part / 10));
}

const tests = [
  ["Startup_DeskSilentThenNot_ShowsEachStepAsItHappens", async ({ browser, start }) => {
    const page = await open(browser, await start());
    await startsWell(page);
    expectEqual(await text(page, '[data-step="model"] span'), "V4 Corvane EPROM 1.0", "model");
    await page.getByLabel("Silent").click();
    await page.getByLabel("Unplugged").click();
    await stepsAre(page, "failed,waiting,waiting,waiting,waiting,waiting");
    await page.getByLabel("Unplugged").click();
    await stepsAre(page, "done,now,waiting,waiting,waiting,waiting");
    await stepsAre(page, "done,done,now,waiting,waiting,waiting");
    await stepsAre(page, "done,done,failed,failed,failed,now");
    expect((await text(page, "#link")).startsWith("Starting"), "the page says that the console starts");
    await page.getByLabel("Silent").click();
    await startsWell(page);
    expectEqual(await text(page, "#link"), "Console active, version 7", "connection");
  }],

  ["Key_Clicked_ReachesTheDriver", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.click(key(5));
    await host.event("key", { code: 5, handled: true });
    await page.click(key(20));
    await host.event("key", { code: 20, handled: false });
    await until(page, () => document.querySelectorAll("#queue li").length === 2);
    expect((await text(page, "#queue li:first-child")).includes("code 20, queued"), "the newest press is on top");
  }],

  ["Key_QueuedUnderAnothersCode_IsShownByItsOwnLetter", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    for (const [code, queued, letter] of [[39, 31, "g"], [40, 39, "h"], [31, 40, "_"]]) {
      await page.click(key(code));
      await host.event("key", { code: queued, handled: false });
      await until(page, (wanted) => document.querySelector("#queue li:first-child kbd")?.textContent === wanted, letter);
      expect((await text(page, "#queue li:first-child em")).startsWith("trim, "), "the key's name");
    }
  }],

  ["Key_Held_IsReleasedWhenLetGo", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.hover(key(5));
    await page.mouse.down();
    await host.event("key", { code: 5 });
    expect(!host.sent("rx").includes("EU "), "no release while it is held");
    await page.mouse.up();
    await host.until(() => host.sent("rx").includes("E EU "), "the release");
  }],

  ["Keyboard_Typed_PressesTheDesksKeys", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.keyboard.press("T");
    await host.event("key", { code: 20 });
    await page.getByLabel("Type on the desk").uncheck();
    await page.keyboard.press("S");
    await page.getByLabel("Type on the desk").check();
    await page.keyboard.press("a");
    await host.event("key", { code: 33 });
    expectEqual(host.events("key").map((event) => event.code), [20, 33], "keys");
  }],

  ["KeyboardOnly_FromTabToTab_WorksAll", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    const focused = () => page.evaluate(() => document.activeElement.dataset.code ?? document.activeElement.id);
    const tabTo = async (wanted) => {
      for (let i = 0; i < 40 && await focused() !== wanted; ++i) await page.keyboard.press("Tab");
      expectEqual(await focused(), wanted, "focus");
    };
    await tabTo("1");
    for (const arrow of ["ArrowRight", "ArrowDown", "ArrowLeft"]) await page.keyboard.press(arrow);
    expectEqual(await focused(), "10", "the key that the arrows lead to");
    await page.keyboard.press("Enter");
    await host.event("key", { code: 10 });
    await tabTo("ring");
    await putRing(page, 200);
    await host.event("handler", { code: 0, ispeed: 1495 });
    await tabTo("jog");
    await host.event("handler", { code: 0, ispeed: 0 });
    await tabTo("8");
    for (let i = 0; i < 5; ++i) await page.keyboard.press("ArrowRight");
    await page.keyboard.press(" ");
    await host.event("handler", { code: 28 });
    await page.keyboard.press("Shift+Tab");
    expectEqual(await focused(), "jog", "focus");
    await page.keyboard.press("ArrowDown");
    await host.event("handler", { code: 47, jog_exact: -1 });
    await page.keyboard.press("Shift+ArrowUp");
    await host.event("handler", { code: 47, jog_exact: 0.1 });
    await tabTo("pause");
    await page.keyboard.press(" ");
    expectEqual(await page.getAttribute("#pause", "aria-pressed"), "true", "pause");
  }],

  ["Lamp_SetByTheHost_LightsOnThePage", async ({ browser, start }) => {
    const page = await open(browser, await start());
    await page.waitForSelector(`${key(12)}[data-lamp="F"]`);
    await page.focus("#ring");
    await putRing(page, 150);
    await page.waitForSelector(`${key(11)}[data-lamp="H"]`);
    await page.waitForSelector(`${key(12)}[data-lamp="O"]`);
    await page.keyboard.press("Home");
    await page.waitForSelector(`${key(12)}[data-lamp="F"]`);
    await page.waitForSelector(`${key(11)}[data-lamp="O"]`); // a command of its own, which may come later
    expect((await page.getAttribute(key(12), "aria-label")).endsWith("lamp on"), "the lamp is told in words");
  }],

  ["Lamp_EachState_LooksDifferent", async ({ browser, start }) => {
    const page = await open(browser, await start());
    const looks = new Set();
    for (const state of ["off", "on", "half", "blinking"]) {
      await page.locator('#host [name="lamp"]').selectOption("5");
      await page.locator('#host [name="state"]').selectOption({ label: state });
      await page.getByRole("button", { name: "Set" }).click();
      await page.waitForSelector(`${key(0)}[data-lamp="${{ off: "O", on: "F", half: "H", blinking: "B" }[state]}"]`);
      looks.add(await page.evaluate((selector) => {
        const style = getComputedStyle(document.querySelector(selector));
        return style.backgroundImage + style.animationName;
      }, `${key(0)} .lamp`));
    }
    expectEqual(looks.size, 4, "different looks");
  }],

  ["Wheel_Dragged_GivesJogWithItsSign", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.click(key(28));
    await page.waitForSelector("#jog.on");
    await turn(page, "#jog", 0.7, 90);
    await page.mouse.up();
    await host.until(() => Math.abs(sum(host.events("handler")) - 15) < 0.01, "a quarter turn, 15 counts forward");
    await turn(page, "#jog", 0.7, -120);
    await page.mouse.up();
    await host.until(() => Math.abs(sum(host.events("handler")) + 5) < 0.01, "a third of a turn, 20 counts back");
    await until(page, () => Number(document.getElementById("jog-total").textContent) === -5);
  }],

  ["Wheel_ScrolledAndTouched_GivesJogWithItsSign", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host, { hasTouch: true });
    await page.click(key(28));
    await page.waitForSelector("#jog.on");
    await page.hover("#jog");
    await page.mouse.wheel(0, -120);
    await host.until(() => sum(host.events("handler")) === 3, "three counts forward");
    const at = await around(page, "#jog", 0.7);
    const touch = await page.context().newCDPSession(page);
    const send = (type, degrees) => touch.send("Input.dispatchTouchEvent",
      { type, touchPoints: degrees === null ? [] : [{ x: at(degrees)[0], y: at(degrees)[1] }] });
    await send("touchStart", 0);
    for (const degrees of [-20, -40, -60]) await send("touchMove", degrees);
    await send("touchEnd", null);
    await host.until(() => Math.abs(sum(host.events("handler")) + 7) < 0.01, "ten counts back");
  }],

  ["Ring_Dragged_SpringsBack", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await turn(page, "#ring", 0.85, 60);
    await host.event("handler", { code: 0, ispeed: 1024 });
    const from = host.count("handler");
    await page.mouse.up();
    await host.event("handler", { code: 0, ispeed: 0 }, from);
    await until(page, () => document.getElementById("speed").textContent === "stopped");
    expectEqual(await page.getAttribute("#ring", "aria-valuetext"), "centre", "ring");
  }],

  ["Ring_PageReloadedWhileItIsTurned_SpringsBack", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.focus("#ring");
    await putRing(page, 207);
    await host.event("handler", { code: 0, ispeed: 1877 });
    const from = host.count("handler");
    await page.reload();
    await host.event("handler", { code: 0, ispeed: 0 }, from);
    await page.waitForSelector('#ring[aria-valuetext="centre"]');
  }],

  ["Ring_TabClosedWhileItIsDragged_SpringsBack", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await turn(page, "#ring", 0.85, 60);
    await host.event("handler", { code: 0, ispeed: 1024 });
    const from = host.count("handler");
    await page.close({ runBeforeUnload: true });
    await host.event("handler", { code: 0, ispeed: 0 }, from);
  }],

  ["Ring_PageKeptAsideAndShownAgain_StandsAtTheCentre", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.focus("#ring");
    await putRing(page, 207);
    await host.event("handler", { code: 0, ispeed: 1877 });
    const from = host.count("handler");
    await page.evaluate(() => { dispatchEvent(new PageTransitionEvent("pagehide", { persisted: true })); });
    expectEqual(await page.getAttribute("#ring", "aria-valuetext"), "centre", "ring");
    await host.event("handler", { code: 0, ispeed: 0 }, from);
  }],

  ["Ring_TurnedElsewhere_SpringsBackByHomeAndEscape", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.focus("#ring");
    for (const back of ["Home", "Escape"]) {
      await page.evaluate(() => fetch("/do", { method: "POST", headers: { "Content-Type": "application/json" },
        body: '{"do":"ring","position":207}' }));
      await page.waitForSelector('#ring[aria-valuenow="207"]');
      await until(page, () => document.getElementById("speed-value").textContent === "1877");
      const from = host.count("handler");
      await page.keyboard.press(back);
      await host.event("handler", { code: 0, ispeed: 0 }, from);
      await until(page, () => document.getElementById("speed-value").textContent === "0");
    }
  }],

  ["Ring_PutAnywhere_GivesTheLawsSpeed", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.focus("#ring");
    const law = [[132, 0], [180, 1024], [189, 1024], [200, 1495], [203, 1653], [253, 11994], [255, 11994], [65, -1024], [0, -11994]];
    for (const [position, speed] of law) {
      await putRing(page, position);
      await until(page, (wanted) => document.getElementById("speed-value").textContent === String(wanted), speed);
      await until(page, (wanted) => document.getElementById("law").getAttribute("aria-label").includes(`The ring is at ${wanted}, `), position);
      const from = host.count("handler");
      await page.keyboard.press("Home");
      if (speed !== 0) await host.event("handler", { code: 0, ispeed: 0 }, from);
    }
    const reported = host.events("handler").filter((event) => event.code === 0).map((event) => event.ispeed);
    for (const [, speed] of law) expect(reported.includes(speed), `the driver reports ${speed}`);
  }],

  ["Law_MultiplierInForce_IsDrawn", async ({ browser, start }) => {
    const host = await start(["--desk", "--set", "BeyondPlayMultiplier=2.0"]);
    const page = await open(browser, host);
    expectEqual(await text(page, "#law-note"), "BeyondPlayMultiplier in force: 2", "note");
    await page.focus("#ring");
    await putRing(page, 255);
    await host.event("handler", { code: 0, ispeed: 19914 });
    await until(page, () => document.getElementById("law").getAttribute("aria-label").includes("×19.45 forward"));
  }],

  ["Desk_UnpluggedAndBack_IsFoundAgain", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.click(key(28));
    await until(page, () => document.getElementById("wheel-state").textContent === "on");
    await page.getByLabel("Unplugged").click();
    await host.event("port", { state: "lost" });
    await until(page, () => document.getElementById("wheel-state").textContent === "off");
    await page.waitForSelector("#desk.absent");
    await until(page, () => document.getElementById("link").dataset.link !== "active");
    const from = host.count("port");
    await page.getByLabel("Unplugged").click();
    await host.event("port", { state: "open" }, from);
    await page.waitForSelector('#link[data-link="active"]');
    await page.waitForSelector("#jog.on"); // the host switches it on again
    await until(page, () => document.getElementById("wheel-state").textContent === "on");
    await page.click(key(3));
    await host.event("key", { code: 3 });
  }],

  ["Desk_PowerCycled_GoesDarkAndComesBack", async ({ browser, start }) => {
    const page = await open(browser, await start());
    await page.waitForSelector(`${key(12)}[data-lamp="F"]`);
    await page.getByRole("button", { name: "Power-cycle" }).click();
    await page.waitForSelector(`${key(12)}[data-lamp="O"]`);
    await page.waitForSelector('#link[data-link="active"]');
    await page.waitForSelector(`${key(12)}[data-lamp="F"]`);
  }],

  ["Firmware_NoneOrOutOfRange_StaysAsItIs", async ({ browser, start }) => {
    const page = await open(browser, await start());
    const asked = [];
    page.on("request", (request) => { if (request.url().endsWith("/do")) asked.push(request.postData()); });
    for (const wrong of ["", "4096", "9999", "-1", "1.5"]) {
      await page.getByLabel("Firmware").fill(wrong);
      await page.getByRole("button", { name: "Swap" }).click();
      expectEqual(await page.evaluate(() => document.activeElement.name), "firmware", `focus after "${wrong}"`);
      expect(await page.getByLabel("Firmware").evaluate((field) => field.validationMessage), `the browser objects to "${wrong}"`);
    }
    await page.getByLabel("Firmware").fill("4095");
    await page.getByRole("button", { name: "Swap" }).click();
    await until(page, () => document.getElementById("faults-note").textContent.includes("firmware 4095"));
    expectEqual(asked.map((body) => JSON.parse(body)), [[{ do: "be", firmware: 4095, model: "V4" }]], "what was asked for");
  }],

  ["Desk_Noise_ShowsOnTheWire", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.getByLabel("Noise on the line").click();
    for (let i = 0; i < 60; ++i) await page.keyboard.press("T");
    await until(page, () => /not a packet|key [^T]/.test(document.getElementById("wire").textContent));
  }],

  ["Wire_Paused_StandsStillAndMissesNothing", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.click("#pause");
    const before = await page.locator("#wire li").count();
    await page.click(key(5));
    await until(page, () => /more/.test(document.getElementById("pause").textContent));
    expectEqual(await page.locator("#wire li").count(), before, "lines while it is paused");
    await page.click("#pause");
    await until(page, () => document.getElementById("wire").textContent.includes("key E (code 5) released"));
  }],

  ["Tabs_Two_ShowTheSameDesk", async ({ browser, start }) => {
    const host = await start();
    const one = await open(browser, host);
    const two = await open(browser, host);
    await one.hover(key(5));
    await one.mouse.down();
    await two.waitForSelector(`${key(5)}.down`);
    await one.mouse.up();
    await two.waitForSelector(`${key(5)}:not(.down)`);
    await one.focus("#ring");
    await putRing(one, 200);
    await two.waitForSelector('#ring[aria-valuenow="200"]');
    await until(two, () => document.getElementById("speed-value").textContent === "1495");
    await two.getByLabel("Silent").click();
    await until(one, () => document.getElementById("faults").elements.silent.checked);
  }],

  ["Host_StopsAndStartsAgain_PageSaysSoAndRecovers", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    await page.waitForSelector(`${key(12)}[data-lamp="F"]`);
    await page.click(key(28));
    await page.waitForSelector("#jog.on");
    await page.focus("#ring");
    await putRing(page, 200);
    await until(page, () => document.getElementById("speed-value").textContent === "1495");
    await page.evaluate(() => dispatchEvent(new KeyboardEvent("keydown", { key: "E", code: "KeyE" })));
    await page.waitForSelector(`${key(5)}.down`);
    await host.stop();
    await until(page, () => document.getElementById("gone").textContent.startsWith("cvhost has stopped"));
    expect(await page.isVisible("#gone"), "the page says so");
    const shown = await page.evaluate(() => ({
      steps: [...document.querySelectorAll("#steps li")].map((step) => step.dataset.state),
      lamps: [...new Set([...document.querySelectorAll(".key")].map((button) => button.dataset.lamp))],
      down: document.querySelectorAll(".key.down").length,
      works: [...document.querySelectorAll(".key, #ring, #jog")].filter((part) => part.getAttribute("aria-disabled") !== "true").length,
      switches: document.querySelectorAll("#faults :enabled:not(fieldset), #host :enabled:not(fieldset)").length,
      ring: document.getElementById("ring").getAttribute("aria-valuenow"),
      jog: document.getElementById("jog").classList.contains("on"),
      numbers: ["speed", "speed-value", "jog-last", "jog-total", "wheel-state"].map((id) => document.getElementById(id).textContent),
      needle: getComputedStyle(document.querySelector(".needle")).visibility,
      link: document.getElementById("link").textContent,
      dimmed: getComputedStyle(document.getElementById("desk")).filter !== "none",
    }));
    expectEqual(shown, { steps: Array(6).fill("unknown"), lamps: ["?"], down: 0, works: 0, switches: 0, ring: "127", jog: false,
      numbers: ["unknown", "–", "–", "–", "–"], needle: "hidden", link: "cvhost is away", dimmed: true }, "what the page shows");
    await page.evaluate(() => dispatchEvent(new KeyboardEvent("keyup", { key: "E", code: "KeyE" })));

    const again = await start(["--desk"], host.port);
    await page.waitForSelector('#link[data-link="active"]');
    await startsWell(page);
    await page.waitForSelector(`${key(12)}[data-lamp="F"]`);
    expect(await page.isHidden("#gone"), "and no longer says so");
    expect(await page.evaluate(() => getComputedStyle(document.querySelector(".needle")).visibility === "visible"), "the needle is back");
    expect(await page.evaluate(() => getComputedStyle(document.getElementById("desk")).filter === "none"), "the desk is lit again");
    await until(page, () => document.getElementById("speed").textContent === "stopped");
    expect(await page.getByLabel("Unplugged").isEnabled(), "the switches work");
    await page.click(key(2));
    await again.event("key", { code: 2 });
    page.complaints = []; // of the browser, about the connection
  }],

  ["RealConsole_Shown_ItsInputsAreOff", async ({ browser, start }) => {
    const script = join(mkdtempSync(join(tmpdir(), "web-test-")), "script");
    writeFileSync(script, "wait active\nsleep 500ms\npress E\nshuttle 200\n");
    const desk = await startDesk(script);
    try {
      const host = await start(["--port", desk.name]);
      const page = await open(browser, host);
      await page.waitForSelector(`${key(5)}.down`);
      await page.waitForSelector('#ring[aria-valuenow="200"]');
      await page.waitForSelector(`${key(11)}[data-lamp="H"]`);
      expect((await text(page, "#plate-text")).includes("its inputs are off"), "the plate says so");
      expectEqual(await page.getAttribute(key(3), "aria-disabled"), "true", "a key");
      await page.locator(key(3)).click({ force: true });
      await page.keyboard.press("T");
      expect(await page.getByLabel("Unplugged").isDisabled(), "the faults are off");
      await page.getByRole("button", { name: "Set" }).click(); // sent after the clicks, were they sent
      await page.waitForSelector(`${key(11)}[data-lamp="F"]`);
      expectEqual(host.events("key").map((event) => event.code), [5], "keys");
      expectEqual(await text(page, "#answer"), "", "refusals");
    } finally {
      await desk.stop();
    }
  }],

  ["ForeignPage_ActsOrListens_IsRefused", async ({ browser, start }) => {
    const host = await start();
    const page = await open(browser, host);
    const other = createServer((_, response) => response.setHeader("Content-Type", "text/html").end("<title>other</title>"));
    await new Promise((done) => other.listen(0, "127.0.0.1", done));
    try {
      const foreign = await (await browser.newContext()).newPage();
      await foreign.goto(`http://127.0.0.1:${other.address().port}/`);
      const heard = await foreign.evaluate(async (url) => {
        await fetch(`${url}do`, { method: "POST", mode: "no-cors", body: '{"do":"press","key":3}' }).catch(() => {});
        const read = await fetch(`${url}do`, { method: "POST", headers: { "Content-Type": "application/json" },
          body: '{"do":"press","key":4}' }).then(() => true, () => false);
        return read || new Promise((done) => {
          const source = new EventSource(`${url}events`);
          source.onmessage = () => done(true);
          source.onerror = () => done(false);
        });
      }, host.url);
      expectEqual(heard, false, "what the foreign page can read");
      await page.click(key(20));
      await host.event("key", { code: 20 });
      expectEqual(host.events("key").map((event) => event.code), [20], "keys");
    } finally {
      other.close();
    }
  }],

  ["Desk_InUse_LooksAsInTheReadme", async ({ browser, start }) => {
    const page = await open(browser, await start(), { viewport: { width: 1280, height: 1000 } });
    for (const [lampNumber, state] of [[5, "F"], [6, "H"], [12, "F"], [20, "H"], [33, "F"]]) {
      await page.locator('#host [name="lamp"]').selectOption(String(lampNumber));
      await page.locator('#host [name="state"]').selectOption(state);
      await page.getByRole("button", { name: "Set" }).click();
      await until(page, ([n, s]) => [...document.querySelectorAll(".key")].some((element) =>
        element.title.endsWith(`lamp ${n}`) && element.dataset.lamp === s), [lampNumber, state]);
    }
    await page.click(key(28));
    for (const typed of "ABPGT") await page.keyboard.press(typed);
    await turn(page, "#jog", 0.7, 70);
    await page.mouse.up();
    await turn(page, "#jog", 0.7, -40);
    await page.mouse.up();
    const at = await around(page, "#ring", 0.85);
    await page.mouse.move(...at(0));
    await page.mouse.down();
    for (const degrees of [25, 45, 58, 80, 58, 20, -30, -62, -20, 30, 62, 90, 74]) {
      await page.mouse.move(...at(degrees));
      await page.waitForTimeout(140); // for a curve to look at
    }
    await page.waitForSelector(`${key(11)}[data-lamp="H"]`);
    await page.evaluate(() => scrollTo(0, 0));
    const picture = await page.screenshot({ fullPage: true });
    expect(picture.length > 100_000, "there is a picture");
    if (process.env.WEB_SCREENSHOT) writeFileSync(process.env.WEB_SCREENSHOT, picture);
  }],
];

const browser = await launch();
const passed = await run([...tests, ...filmTests, ...plotTests, ...warningTests, ...mapTests, ...lookTests], browser);
await browser.close();
process.exitCode = passed ? 0 : 1;
