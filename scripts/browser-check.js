// Opens a page from a file in headless Chromium and looks at it over the DevTools pipe, so that
// nothing but Node itself is needed. It hears and sees as a listener would: plays, switches, presses
// keys, and takes pictures at a desk, on a telephone and in the dark.
//
//   node browser-check.js CHROMIUM PAGE.html FIGURES.json SCREENSHOTS   the page of quel eval
//   node browser-check.js CHROMIUM PAGE.html - SCREENSHOTS              the page of scripts/demo
//
// Writes SCREENSHOTS-desk.png, -telephone.png and -dark.png. Fails where the console says anything,
// where the page requests anything beyond itself and what it carries inside (the demo: files beside
// it), where a player or a picture does not hold what the figures say, or where a switch does not
// switch.
"use strict";
const { spawn } = require("child_process");
const fs = require("fs");
const os = require("os");
const path = require("path");
const { pathToFileURL } = require("url");

const [chromium, page, figures, screenshots] = process.argv.slice(2);
const profile = fs.mkdtempSync(path.join(os.tmpdir(), "quel-browser-"));
const faults = [];
const requests = [];

const browser = spawn(chromium, [
  "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
  "--disable-background-networking", "--disable-component-update", "--disable-sync",
  "--disable-dev-shm-usage", `--user-data-dir=${profile}`, "--remote-debugging-pipe", "about:blank",
], { stdio: ["ignore", "ignore", "ignore", "pipe", "pipe"] });

function finish(message) {
  if (message) faults.push(message);
  browser.removeAllListeners("exit");
  browser.on("exit", () => {
    fs.rmSync(profile, { recursive: true, force: true, maxRetries: 5 });
    for (const fault of faults) console.error(`browser-check: ${fault}`);
    process.exit(faults.length > 0 ? 1 : 0);
  });
  browser.kill();
}
browser.on("error", (error) => { console.error(String(error)); process.exit(1); });
browser.on("exit", () => { console.error("browser-check: the browser ended"); process.exit(1); });
setTimeout(() => finish("no answer within two minutes"), 120000).unref();

// Messages both ways are JSON texts, each ended by a zero byte.
let last = 0, buffered = "";
const waiting = new Map();
function send(method, params, sessionId) {
  const id = ++last;
  browser.stdio[3].write(JSON.stringify({ id, method, params, sessionId }) + "\0");
  return new Promise((resolve, reject) => waiting.set(id, { method, resolve, reject }));
}
browser.stdio[4].setEncoding("utf8");
browser.stdio[4].on("data", (text) => {
  const parts = (buffered + text).split("\0");
  buffered = parts.pop();
  for (const part of parts) receive(JSON.parse(part));
});
function receive(message) {
  const call = waiting.get(message.id);
  if (call) {
    waiting.delete(message.id);
    if (message.error) call.reject(new Error(`${call.method}: ${message.error.message}`));
    else call.resolve(message.result);
    return;
  }
  const params = message.params || {};
  switch (message.method) {
    case "Runtime.consoleAPICalled":
      faults.push(`console: ${params.args.map((arg) => arg.value || arg.description).join(" ")}`);
      break;
    case "Runtime.exceptionThrown":
      faults.push(`exception: ${params.exceptionDetails.text}`);
      break;
    case "Log.entryAdded":
      faults.push(`log: ${params.entry.text}`);
      break;
    case "Network.requestWillBeSent":
      requests.push(params.request.url);
      break;
    case "Network.loadingFailed":
      faults.push(`not loaded: ${params.errorText}`);
      break;
  }
}

// Runs inside the page.
async function inspect() {
  const players = [...document.querySelectorAll("audio")];
  await Promise.all(players.map((player) => player.readyState > 0 || player.error ? 0 :
    new Promise((resolve) => { player.onloadedmetadata = player.onerror = resolve; })));
  const sources = [...document.querySelectorAll("image")].map((image) => image.href.baseVal)
    .concat([...document.querySelectorAll(".figure img")].map((image) => image.src));
  const pictures = await Promise.all(sources.map(async (source) => {
    const copy = new Image();
    copy.src = source;
    await copy.decode().catch(() => {});
    return { width: copy.naturalWidth, height: copy.naturalHeight };
  }));

  // Each section's switch: one sound is seen and heard at a time, and goes on where the other was.
  const until = async (what, holds) => {
    const start = performance.now();
    while (!holds()) {
      if (performance.now() - start > 20000) throw new Error(`${what} never came`);
      await new Promise((resolve) => setTimeout(resolve, 20));
    }
  };
  const press = (key) => document.body.dispatchEvent(
    new KeyboardEvent("keydown", { key, bubbles: true, cancelable: true }));
  const switches = [];
  for (const section of document.querySelectorAll("section.compare")) {
    const sounds = [...section.querySelectorAll(".sound")];
    const audio = sounds.map((sound) => sound.querySelector("audio"));
    const buttons = [...section.querySelectorAll(".switch [role=radio]")];
    const play = section.querySelector(".switch button");
    const seen = () => sounds.map((sound, i) => sound.offsetParent ? i : -1).filter((i) => i >= 0);
    const heard = () => audio.map((player, i) => player.paused ? -1 : i).filter((i) => i >= 0);
    for (const player of audio) player.muted = true;
    const faults = [];
    const expect = (good, what) => { if (!good) faults.push(what); };
    expect(buttons.length === sounds.length, `${buttons.length} buttons`);
    expect(String(seen()) === "0", `sounds ${seen()} are seen at first`);
    section.dispatchEvent(new PointerEvent("pointerdown", { bubbles: true }));
    const middle = audio[0].duration / 2;
    const slider = section.querySelector("input");
    slider.value = 0.5;
    slider.dispatchEvent(new Event("input"));
    play.click();
    await until("sound", () => audio[0].currentTime > middle);
    const last = sounds.length - 1;
    const before = audio[0].currentTime;
    press(String(last + 1));
    await until("the switch", () => String(heard()) === String(last));
    expect(String(seen()) === String(last), `sounds ${seen()} are seen after a key`);
    expect(audio[last].currentTime >= before && audio[last].currentTime < before + 2,
           `the switch went from ${before} to ${audio[last].currentTime} s`);
    expect(buttons[last].getAttribute("aria-checked") === "true", "the chosen button is not marked");
    press(" ");
    await until("a pause", () => heard().length === 0);
    const rest = audio[last].currentTime;
    press("ArrowLeft");
    play.click();
    await until("sound after a step", () => String(heard()) === String(last));
    expect(audio[last].currentTime < rest, "the left arrow did not go back");
    buttons[0].click();
    await until("the first sound", () => String(heard()) === "0");
    const mark = sounds[0].querySelector(".head");
    expect(mark && mark.getBoundingClientRect().width > 0, "no mark on the picture");
    play.click();
    expect(heard().length === 0, "the pause did not hold");
    switches.push({ name: section.querySelector("h2").textContent, faults });
  }
  return {
    language: document.documentElement.lang,
    title: document.title,
    wider: document.documentElement.scrollWidth > innerWidth,
    rows: document.querySelectorAll("tbody tr").length,
    players: players.map((player) => ({
      name: player.getAttribute("aria-label"),
      error: player.error && player.error.message,
      seconds: player.duration,
      claimed: Number(player.dataset.seconds),
    })),
    pictures,
    switches,
    links: [...document.querySelectorAll("a")].every(
      (link) => document.getElementById(link.hash.slice(1))),
  };
}

const expect = (good, what) => { if (!good) faults.push(what); };

function judge(found) {
  expect(found.language === "en", `language ${found.language}`);
  expect(found.title.length > 0, "no title");
  expect(!found.wider, "the page is wider than its window");
  expect(found.links, "a link leads nowhere");
  expect(found.pictures.length === found.players.length,
         `${found.pictures.length} pictures for ${found.players.length} players`);
  expect(found.switches.length > 0, "there is no switch");
  for (const one of found.switches) {
    for (const fault of one.faults) faults.push(`${one.name}: ${fault}`);
  }
  for (const player of found.players) expect(!player.error, `${player.name}: ${player.error}`);
  for (const picture of found.pictures) {
    expect(picture.width > 0 && picture.height > 100,
           `a picture of ${picture.width} x ${picture.height}`);
  }
}

// What the page of quel eval says against its figures; it carries everything inside.
function judge_figures(found, report) {
  const rates = new Set(report.results.map((result) => result.sampling_rate));
  const sounds = report.results.length + rates.size;
  expect(found.rows === report.results.length, `${found.rows} rows`);
  expect(found.players.length === sounds, `${found.players.length} players, not ${sounds}`);
  expect(found.switches.length === rates.size, `${found.switches.length} switches`);
  const length = Math.min(report.seconds, 120);
  for (const player of found.players) {
    // Half a sample at 8 kHz for the rounding of the length, a microsecond for the browser's clock.
    const good = (seconds) => Math.abs(seconds - length) < 0.5 / 8000 + 1e-6;
    expect(good(player.seconds), `${player.name} lasts ${player.seconds} s, not ${length} s`);
    expect(good(player.claimed), `${player.name} says ${player.claimed} s, not ${length} s`);
  }
}

function judge_requests(allowed) {
  const own = pathToFileURL(path.resolve(page)).href;
  expect(requests.includes(own), "the page itself was not seen to load");
  for (const url of requests) {
    expect(url === own || url.startsWith(allowed), `a request for ${url.slice(0, 200)}`);
  }
}

async function main() {
  const { targetInfos } = await send("Target.getTargets");
  const { targetId } = targetInfos.find((target) => target.type === "page");
  const { sessionId } = await send("Target.attachToTarget", { targetId, flatten: true });
  const call = (method, params = {}) => send(method, params, sessionId);
  for (const domain of ["Page", "Runtime", "Log", "Network"]) await call(`${domain}.enable`);
  const view = { width: 1100, height: 1400, deviceScaleFactor: 1, mobile: false };
  await call("Emulation.setDeviceMetricsOverride", view);
  await call("Page.navigate", { url: pathToFileURL(path.resolve(page)).href });
  for (let state = ""; state !== "complete";) {
    await new Promise((resolve) => setTimeout(resolve, 100));
    const { result } = await call("Runtime.evaluate", {
      expression: "location.protocol === 'file:' ? document.readyState : ''",
    });
    state = result.value;
  }
  const { result, exceptionDetails } = await call("Runtime.evaluate", {
    expression: `(${inspect})()`, awaitPromise: true, returnByValue: true, userGesture: true,
  });
  if (exceptionDetails) throw new Error(exceptionDetails.exception.description);
  judge(result.value);
  if (figures === "-") {
    judge_requests(pathToFileURL(path.dirname(path.resolve(page))).href + "/");
  } else {
    judge_figures(result.value, JSON.parse(fs.readFileSync(figures, "utf8")));
    judge_requests("data:");
  }

  const shoot = async (name) => {
    const { data } = await call("Page.captureScreenshot", { format: "png" });
    fs.writeFileSync(`${screenshots}-${name}.png`, Buffer.from(data, "base64"));
  };
  await shoot("desk");
  const dark = [{ name: "prefers-color-scheme", value: "dark" }];
  await call("Emulation.setEmulatedMedia", { features: dark });
  await shoot("dark");
  const colour = await call("Runtime.evaluate", {
    expression: "getComputedStyle(document.body).backgroundColor",
  });
  expect(colour.result.value !== "rgb(255, 255, 255)", "the page is white in the dark");
  await call("Emulation.setEmulatedMedia", { features: [] });
  // A telephone's window: tables and pictures scroll by themselves, the page does not.
  await call("Emulation.setDeviceMetricsOverride",
             { ...view, width: 390, height: 844, mobile: true });
  const narrow = await call("Runtime.evaluate", {
    expression: "[document.documentElement.scrollWidth, innerWidth]", returnByValue: true,
  });
  const [content, window] = narrow.result.value;
  expect(content <= window && window === 390, `${content} pixels on a telephone of ${window}`);
  await shoot("telephone");
  console.log(`${result.value.players.length} players, ${result.value.pictures.length} pictures, ` +
              `${requests.length} requests, ${faults.length} faults`);
}
main().then(() => finish(), (error) => finish(error.stack));
