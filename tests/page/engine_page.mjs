// As much of playwright's page as the states of the page are made with, over a WebDriver window, so
// that WebKitGTK and Firefox show the same states as Chromium.

import { eventually } from "./browser.mjs";

// Runs in the page: what a locator means, and what is done to the element it finds.
function perform([kind, wanted, exact], action, argument) {
  const says = (text) => exact ? text.trim() === wanted
    : text.toLowerCase().includes(wanted.toLowerCase());
  const all = (css) => [...document.querySelectorAll(css)];
  const found = kind === "css" ? document.querySelector(wanted)
    : kind === "label" ? all("input, select").find((control) =>
      [...control.labels ?? []].some((label) => says(label.textContent)))
    : kind === "button" ? all("button").find((button) => says(button.textContent))
    : all("body :not(script)").reverse().find((element) =>
      says(element.textContent) && element.getClientRects().length);
  if (!found) return "not there";
  const fire = (type) => found.dispatchEvent(new Event(type, { bubbles: true }));
  if (action === "click") {
    if (found.disabled) return "disabled";
    found.click();
  }
  if (action === "fill" || action === "select") {
    if (action === "select" && ![...found.options].some(({ value }) => value === argument)) {
      return "no such option";
    }
    found.value = argument;
    fire("input");
    fire("change");
  }
  if (action === "files") {
    const transfer = new DataTransfer();
    for (const { name, mimeType, text } of [argument].flat()) {
      transfer.items.add(new File([text], name, { type: mimeType }));
    }
    found.files = transfer.files;
    fire("change");
  }
}

export function make_engine_page(window) {
  const evaluate = async (action, argument) => {
    const made = `(${action})(${JSON.stringify(argument)})`;
    const text = await window.run(`return JSON.stringify(${made})`);
    return text ? JSON.parse(text) : undefined;
  };
  const locator = (...place) => {
    const act = (action, argument) => eventually(async () => {
      const [where, what, value] = [place, action, argument].map((part) => JSON.stringify(part));
      const trouble = await evaluate(`() => (${perform})(${where}, ${what}, ${value})`);
      if (trouble) throw new Error(`${place}: ${trouble}`);
    });
    return {
      first: () => locator(...place),
      waitFor: () => act("find"), click: () => act("click"), check: () => act("click"),
      fill: (text) => act("fill", text), selectOption: (value) => act("select", value),
      setInputFiles: (files) => act("files", [files].flat().map(({ buffer, ...rest }) =>
        ({ ...rest, text: buffer.toString("utf8") }))),
    };
  };
  return {
    evaluate,
    getByLabel: (text, { exact } = {}) => locator("label", text, exact),
    getByText: (text) => locator("text", text),
    getByRole: (_, { name, exact }) => locator("button", name, exact),
    locator: (css) => locator("css", css),
    waitForTimeout: (ms) => new Promise((passed) => setTimeout(passed, ms)),
    waitForFunction: (check, argument) => eventually(async () => {
      if (!await evaluate(check, argument)) throw new Error("not yet: " + check);
    }),
  };
}
