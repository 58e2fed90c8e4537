// Opens a page from a file in headless Chromium and looks at it over the DevTools pipe, so that
// nothing but Node itself is needed.
//
//   node browser-check.js CHROMIUM PAGE.html FIGURES.json SCREENSHOT.png
//
// Fails where the console says anything, where the page requests anything beyond itself and what it
// carries inside, or where a player or a picture does not hold what the figures say.
"use strict";
const { spawn } = require("child_process");
const fs = require("fs");
const os = require("os");
const path = require("path");
const { pathToFileURL } = require("url");

const [chromium, page, figures, screenshot] = process.argv.slice(2);
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
  const pictures = await Promise.all([...document.querySelectorAll("image")].map(async (image) => {
    const copy = new Image();
    copy.src = image.href.baseVal;
    await copy.decode().catch(() => {});
    return { width: copy.naturalWidth, height: copy.naturalHeight };
  }));
  // Sound must come, too, not only a header's promise.
  const first = players[0];
  first.muted = true;
  await first.play();
  await new Promise((resolve) => { first.ontimeupdate = () => first.currentTime > 0 && resolve(); });
  first.pause();
  first.currentTime = 0;
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
    links: [...document.querySelectorAll("a")].every(
      (link) => document.getElementById(link.hash.slice(1))),
    scripts: document.scripts.length,
  };
}

function judge(found, report) {
  const rates = new Set(report.results.map((result) => result.sampling_rate));
  const sounds = report.results.length + rates.size;
  const expect = (good, what) => { if (!good) faults.push(what); };
  expect(found.language === "en", `language ${found.language}`);
  expect(found.title.length > 0, "no title");
  expect(!found.wider, "the page is wider than its window");
  expect(found.rows === report.results.length, `${found.rows} rows`);
  expect(found.players.length === sounds, `${found.players.length} players, not ${sounds}`);
  expect(found.pictures.length === sounds, `${found.pictures.length} pictures, not ${sounds}`);
  expect(found.links, "a link leads nowhere");
  expect(found.scripts === 0, "there is a script");
  const length = Math.min(report.seconds, 120);
  for (const player of found.players) {
    // Half a sample at 8 kHz for the rounding of the length, a microsecond for the browser's clock.
    const good = (seconds) => Math.abs(seconds - length) < 0.5 / 8000 + 1e-6;
    expect(!player.error, `${player.name}: ${player.error}`);
    expect(good(player.seconds), `${player.name} lasts ${player.seconds} s, not ${length} s`);
    expect(good(player.claimed), `${player.name} says ${player.claimed} s, not ${length} s`);
  }
  for (const picture of found.pictures) {
    expect(picture.width > 0 && picture.height > 100,
           `a picture of ${picture.width} x ${picture.height}`);
  }
  const own = pathToFileURL(path.resolve(page)).href;
  expect(requests.includes(own), "the page itself was not seen to load");
  for (const url of requests) {
    expect(url === own || url.startsWith("data:"), `a request for ${url.slice(0, 200)}`);
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
  judge(result.value, JSON.parse(fs.readFileSync(figures, "utf8")));

  const { data } = await call("Page.captureScreenshot", { format: "png" });
  fs.writeFileSync(screenshot, Buffer.from(data, "base64"));
  // A telephone's window: the table scrolls by itself, the page does not.
  await call("Emulation.setDeviceMetricsOverride", { ...view, width: 390, mobile: true });
  const narrow = await call("Runtime.evaluate", {
    expression: "document.documentElement.scrollWidth > innerWidth",
  });
  if (narrow.result.value) faults.push("the page is wider than a telephone's window");
  console.log(`${result.value.players.length} players, ${result.value.pictures.length} pictures, ` +
              `${requests.length} requests, ${faults.length} faults`);
}
main().then(() => finish(), (error) => finish(error.stack));
