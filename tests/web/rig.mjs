// What the tests of the page share: cvhost and cvdesk as processes, their events, and a browser.
import { spawn } from "node:child_process";
import { once } from "node:events";
import { mkdtempSync, rmSync } from "node:fs";
import { createRequire } from "node:module";
import { tmpdir } from "node:os";
import { join } from "node:path";
import { createInterface } from "node:readline";

const require = createRequire(`${process.env.WEB_MODULES}/`);
const { chromium } = require("playwright-core");
export const axeSource = require("axe-core").source;

const programs = process.env.WEB_PROGRAMS;
export const patience = 30_000;

export function expect(truth, sentence) {
  if (!truth) throw new Error(sentence);
}

export function expectEqual(found, wanted, what) {
  const [is, should] = [JSON.stringify(found), JSON.stringify(wanted)];
  expect(is === should, `${what}: ${is} instead of ${should}`);
}

/// A program whose lines on one of its outputs can be waited for.
class Program {
  lines = [];
  errors = "";
  #waiting = new Set();

  constructor(name, args, environment) {
    this.process = spawn(join(programs, name), args, { env: { ...process.env, ...environment } });
    this.ended = once(this.process, "close");
    createInterface({ input: this.process.stdout }).on("line", (line) => {
      this.lines.push(line);
      this.#look();
    });
    this.process.stderr.on("data", (text) => {
      this.errors += text;
      this.#look();
    });
  }

  #look() {
    for (const look of this.#waiting) look();
  }

  /// The first result of `find` that counts as true.
  async until(find, what) {
    const found = find();
    if (found) return found;
    return new Promise((resolve, reject) => {
      const finish = (act, value) => {
        clearTimeout(timer);
        this.#waiting.delete(look);
        act(value);
      };
      const look = () => { const value = find(); if (value) finish(resolve, value); };
      const timer = setTimeout(() => finish(reject, new Error(`${what} did not happen; so far:\n${this.lines.slice(-20).join("\n")}\n${this.errors}`)), patience);
      this.#waiting.add(look);
    });
  }

  async stop() {
    this.process.kill("SIGTERM");
    await this.ended;
  }
}

export class Host extends Program {
  static async start(args, port = 0) {
    const folder = mkdtempSync(join(tmpdir(), "web-test-"));
    const host = new Host("cvhost", ["run", "--events", "json", "--wire", "--web", String(port), ...args],
      { XDG_CONFIG_HOME: folder, XDG_STATE_HOME: folder });
    host.ended.then(() => rmSync(folder, { recursive: true, force: true }));
    host.url = await host.until(() => host.errors.match(/on the screen at (\S+)/)?.[1], "the page's address");
    return host;
  }

  get port() { return Number(new URL(this.url).port); }

  events(name) { return this.lines.map((line) => JSON.parse(line)).filter((event) => event.event === name); }
  count(name) { return this.events(name).length; }

  /// The first event from number `from` on with these members.
  event(name, members, from = 0) {
    const fits = (event) => Object.entries(members).every(([key, value]) => event[key] === value);
    return this.until(() => this.events(name).slice(from).find(fits), `${name} ${JSON.stringify(members)}`);
  }

  sent(direction) { return this.events("wire").filter((event) => event.dir === direction).map((event) => event.bytes).join(""); }
}

export async function startDesk(script) {
  const desk = new Program("cvdesk", ["--rfc2217", "0", "--script", script], {});
  desk.name = await desk.until(() => desk.lines.map((line) => line.match(/^Listening on ([^,\s]+)/)?.[1]).find(Boolean), "the desk's name");
  return desk;
}

export const launch = () => chromium.launch({
  executablePath: process.env.WEB_BROWSER,
  args: process.getuid() === 0 ? ["--no-sandbox"] : [],
});

export const key = (code) => `[data-code="${code}"]`;

/// The page, with the console active on it. Whatever it complains of fails the test at its end.
export async function open(browser, host, options = {}) {
  const context = await browser.newContext({ viewport: { width: 1280, height: 900 }, ...options });
  const page = await context.newPage();
  page.setDefaultTimeout(patience);
  page.complaints = [];
  page.on("pageerror", (error) => page.complaints.push(String(error)));
  page.on("console", (message) => { if (message.type() === "error") page.complaints.push(message.text()); });
  await page.goto(host.url);
  await page.waitForSelector('#link[data-link="active"]');
  return page;
}

/// The first result of `find`, run in the page with `argument`, that counts as true. (The page's policy on scripts keeps the
/// browser driver's own way of waiting out.)
export async function until(page, find, argument) {
  for (const end = performance.now() + patience; performance.now() < end;) {
    const found = await page.evaluate(find, argument);
    if (found) return found;
    await new Promise((done) => setTimeout(done, 20));
  }
  throw new Error(`this did not come true in the page: ${find}, ${JSON.stringify(argument)}`);
}

/// The states of start-up's steps, as the page shows them.
export const stepsOf = (page) => page.evaluate(() => [...document.querySelectorAll("#steps li")].map((step) => step.dataset.state).join());

export const stepsAre = (page, states) => until(page, (wanted) =>
  [...document.querySelectorAll("#steps li")].map((step) => step.dataset.state).join() === wanted, states);

/// Waits until start-up has taken each step. On a busy machine the console may be late for one and become active all the same: it
/// is then unplugged and plugged in again.
export async function startsWell(page) {
  for (let attempts = 10; attempts > 0; --attempts) {
    await page.waitForSelector('#link[data-link="active"]');
    if (await stepsOf(page) === "done,done,done,done,done,done") return;
    await page.getByLabel("Unplugged").click();
    await stepsAre(page, "failed,waiting,waiting,waiting,waiting,waiting");
    await page.getByLabel("Unplugged").click();
  }
  throw new Error(`the steps are ${await stepsOf(page)}`);
}

/// Moves the pointer round an element's middle: `degrees` clockwise from the top, at a share of its half width.
export async function around(page, selector, share) {
  await page.locator(selector).scrollIntoViewIfNeeded();
  const box = await page.locator(selector).boundingBox();
  const [x, y, radius] = [box.x + box.width / 2, box.y + box.height / 2, box.width / 2 * share];
  return (degrees) => [x + Math.sin(degrees * Math.PI / 180) * radius, y - Math.cos(degrees * Math.PI / 180) * radius];
}

/// Puts the ring, which has the focus, from the centre to a position.
export async function putRing(page, position) {
  const way = position - 127;
  const [far, near] = way > 0 ? ["PageUp", "ArrowUp"] : ["PageDown", "ArrowDown"];
  for (let i = 0; i < Math.floor(Math.abs(way) / 10); ++i) await page.keyboard.press(far);
  for (let i = 0; i < Math.abs(way) % 10; ++i) await page.keyboard.press(near);
}

/// Runs the tests in order, each with a host of its own.
export async function run(tests, browser) {
  let failed = 0;
  const wanted = tests.filter(([name]) => process.argv.length < 3 || process.argv.slice(2).some((part) => name.includes(part)));
  for (const [name, test, args = ["--desk"]] of wanted) {
    const begin = performance.now();
    const hosts = [];
    const start = async (more = args, port = 0) => {
      hosts.push(await Host.start(more, port));
      return hosts.at(-1);
    };
    let problem = null;
    try {
      await test({ browser, start });
      const pages = browser.contexts().flatMap((context) => context.pages());
      const complaints = pages.flatMap((page) => page.complaints ?? []);
      expect(complaints.length === 0, `the page complains: ${complaints.join("; ")}`);
    } catch (error) {
      problem = error;
      ++failed;
    }
    for (const context of browser.contexts()) await context.close();
    for (const host of hosts) await host.stop();
    console.log(`  ${problem ? "FAILED" : "ok"}: ${name} (${Math.round(performance.now() - begin)} ms)${problem ? `\n    ${problem.stack}` : ""}`);
  }
  console.log(`test-web: ${wanted.length - failed} passed, ${failed} failed`);
  return failed === 0 && wanted.length > 0;
}
