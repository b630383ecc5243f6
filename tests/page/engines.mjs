// WebKitGTK and Firefox, which are spoken to in WebDriver's commands (W3C WebDriver, 2018): WebKit
// over its driver's HTTP, Firefox over Marionette, its own socket, which needs no driver.

import { spawn } from "node:child_process";
import { once } from "node:events";
import { existsSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { connect } from "node:net";
import { tmpdir } from "node:os";
import { join } from "node:path";

const MINI_BROWSER = process.env.TVN_MINI_BROWSER ||
  "/usr/lib/x86_64-linux-gnu/webkit2gtk-4.1/MiniBrowser".replace("x86_64",
    { x64: "x86_64", arm64: "aarch64" }[process.arch]);
const FIREFOX = [process.env.TVN_FIREFOX, "/usr/bin/firefox-esr", "/usr/bin/firefox",
                 "/Applications/Firefox.app/Contents/MacOS/firefox"].find(existsSync);
// Nothing of it asks the network, and a session begins at once.
const FIREFOX_PREFERENCES = {
  "marionette.port": 0, "app.update.enabled": false, "browser.shell.checkDefaultBrowser": false,
  "browser.startup.page": 0, "datareporting.policy.dataSubmissionEnabled": false,
  "services.settings.server": "data:,", "toolkit.telemetry.enabled": false,
};
// The key under which WebDriver hands out an element.
const ELEMENT = "element-6066-11e4-a52e-4f735466cecf";

// WebDriver's command: Marionette's name, HTTP method and path below the session.
const COMMANDS = {
  rect: ["WebDriver:SetWindowRect", "POST", () => "window/rect"],
  go: ["WebDriver:Navigate", "POST", () => "url"],
  run: ["WebDriver:ExecuteScript", "POST", () => "execute/sync"],
  find: ["WebDriver:FindElement", "POST", () => "element"],
  click: ["WebDriver:ElementClick", "POST", ({ id }) => `element/${id}/click`],
  actions: ["WebDriver:PerformActions", "POST", () => "actions"],
  picture: ["WebDriver:TakeScreenshot", "GET", () => "screenshot"],
};

// A folder of its own, the programs started in it, and their end.
function make_nest() {
  const folder = mkdtempSync(join(tmpdir(), "tvn-engine-"));
  const children = [];
  return {
    folder,
    start(file, args, { env = {}, stdio = "ignore" } = {}) {
      const child = spawn(file, args, { stdio, env: { ...process.env, HOME: folder, ...env } });
      child.failed = new Promise((_, fail) => child.on("error", fail));
      child.failed.catch(() => {});
      children.push(child);
      return child;
    },
    async clear() {
      for (const child of children.reverse()) {
        if (child.exitCode !== null || child.signalCode !== null || !child.pid) continue;
        const gone = once(child, "exit");
        child.kill();
        await gone;
      }
      rmSync(folder, { recursive: true, force: true, maxRetries: 5 });
    },
  };
}

// The first result of attempt that is not undefined.
async function until(attempt, child) {
  const end = Date.now() + 30_000;
  for (;;) {
    const found = await Promise.race([attempt(), child.failed]);
    if (found !== undefined) return found;
    if (Date.now() > end) throw new Error(child.spawnfile + " does not answer");
    await new Promise((again) => setTimeout(again, 50));
  }
}

// What tests use of a window, over send(command, parameters). A run script is the text of a
// function's body, with `arguments`.
function make_window(send, end) {
  const run = (script, ...args) => send("run", { script, args });
  const find = async (css) => (await send("find", { using: "css selector", value: css }))[ELEMENT];
  return {
    run, end,
    go: (url) => send("go", { url }),
    click: async (css) => send("click", { id: await find(css) }),
    press: (key) => send("actions", { actions: [{ type: "key", id: "keys", actions: [
      { type: "keyDown", value: key }, { type: "keyUp", value: key }] }] }),
    picture: async () => Buffer.from(await send("picture", {}), "base64"),
    // The size that the page itself gets.
    async resize(width, height) {
      for (const _ of [1, 2, 3]) {
        const [around_x, around_y, fits] = await run("return [outerWidth - innerWidth, " +
          "outerHeight - innerHeight, innerWidth === arguments[0] && " +
          "innerHeight === arguments[1]]", width, height);
        if (fits) return;
        await send("rect", { width: width + around_x, height: height + around_y });
        await new Promise((settled) => setTimeout(settled, 200));
      }
    },
  };
}

// WebKit draws on a screen of its own that nobody sees.
export async function open_webkit({ dark = false } = {}) {
  const nest = make_nest();
  const screen = nest.start("Xvfb", ["-displayfd", "3", "-screen", "0", "4000x2400x24",
                                     "-nolisten", "tcp"],
                            { stdio: ["ignore", "ignore", "ignore", "pipe"] });
  const [number] = await Promise.race([once(screen.stdio[3], "data"), screen.failed]);
  const port = 20000 + process.pid % 20000;
  const driver = nest.start("WebKitWebDriver", [`--port=${port}`], { env: {
    DISPLAY: ":" + String(number).trim(), NO_AT_BRIDGE: "1", LIBGL_ALWAYS_SOFTWARE: "1",
    ...dark && { GTK_THEME: "Adwaita:dark" } } });
  const ask = async (method, path, body) => {
    const reply = await fetch(`http://127.0.0.1:${port}/${path}`,
                              { method, body: method === "POST" ? JSON.stringify(body) : undefined });
    const { value } = await reply.json();
    if (value?.error) throw new Error(`${path}: ${value.error}: ${value.message}`);
    return value;
  };
  await until(() => ask("GET", "status").catch(() => {}), driver);
  const { sessionId } = await ask("POST", "session", { capabilities: { alwaysMatch: {
    "webkitgtk:browserOptions": { binary: MINI_BROWSER, args: ["--automation"] } } } });
  const send = (name, params) => {
    const [, method, path] = COMMANDS[name];
    return ask(method, `session/${sessionId}/${path(params)}`, params);
  };
  return make_window(send, async () => {
    await ask("DELETE", "session/" + sessionId).catch(() => {});
    await nest.clear();
  });
}

export async function open_firefox({ dark = false } = {}) {
  const nest = make_nest();
  const preferences = { ...FIREFOX_PREFERENCES, "ui.systemUsesDarkTheme": Number(dark) };
  writeFileSync(join(nest.folder, "user.js"), Object.entries(preferences).map((entry) =>
    `user_pref(${entry.map((part) => JSON.stringify(part)).join()});\n`).join(""));
  const firefox = nest.start(FIREFOX, ["--headless", "--marionette", "--no-remote",
                                       "--profile", nest.folder]);
  const port_file = join(nest.folder, "MarionetteActivePort");
  const port = await until(() => existsSync(port_file) && Number(readFileSync(port_file)) ||
                           undefined, firefox);
  const ask = await connect_marionette(port);
  await ask("WebDriver:NewSession", {});
  return make_window(async (name, params) => {
    const reply = await ask(COMMANDS[name][0], params);
    return reply && "value" in reply ? reply.value : reply;
  }, () => nest.clear());
}

// Messages are a length, a colon and JSON: [0, number, command, parameters] there,
// [1, number, error, result] back.
async function connect_marionette(port) {
  const socket = connect(port, "127.0.0.1");
  await once(socket, "connect");
  const waiting = new Map();
  let received = Buffer.alloc(0), sent = 0;
  socket.on("data", (chunk) => {
    received = Buffer.concat([received, chunk]);
    for (;;) {
      const colon = received.indexOf(":");
      const end = colon + 1 + Number(received.subarray(0, colon));
      if (colon < 0 || received.length < end) return;
      const message = JSON.parse(received.subarray(colon + 1, end));
      received = received.subarray(end);
      if (Array.isArray(message)) waiting.get(message[1])(message);
    }
  });
  return async (command, params) => {
    const text = JSON.stringify([0, ++sent, command, params]);
    const reply = new Promise((answered) => waiting.set(sent, answered));
    socket.write(Buffer.byteLength(text) + ":" + text);
    const [, , error, result] = await reply;
    if (error) throw new Error(`${command}: ${error.error}: ${error.message}`);
    return result;
  };
}
