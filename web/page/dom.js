"use strict";
// Small helpers for the document. Every text from the program or a file is set as text, never as
// markup, and only when it changed.

const $ = (id) => document.getElementById(id);

function set_text(id, text) {
  const element = $(id);
  if (element.textContent !== text) element.textContent = text;
}

// Older browsers know ARIA by its attributes only.
const set_aria = (element, name, value) => element.setAttribute("aria-" + name, value);

// A line about a call: waiting, done, or failed, which a screen reader says at once.
function tell(id, text, failed = false) {
  const line = $(id);
  if (line.textContent === text) return;
  line.setAttribute("role", failed ? "alert" : "paragraph");
  set_aria(line, "live", failed ? "assertive" : "polite");
  line.textContent = text;
}

// What the style sheet asks of the body.
function set_state(name, value) {
  const { dataset } = document.body;
  if (dataset[name] !== value) dataset[name] = value;
}

// A continued heart rate may be below zero.
const whole = (value) => value?.toFixed(0).replace("-", "−") ?? "–";

function make(tag, text = "", class_name = "") {
  const made = document.createElement(tag);
  made.textContent = text;
  made.className = class_name;
  return made;
}

function on(event, id, action) {
  $(id).addEventListener(event, action);
}

// A disabled button loses the focus; it has it again afterwards, unless that went elsewhere.
let waiting_for_focus = null;

function set_busy(id, busy) {
  const button = $(id);
  if (busy && document.activeElement === button) waiting_for_focus = button;
  button.disabled = busy;
  set_aria(button, "busy", busy);
  if (busy || waiting_for_focus !== button) return;
  if (document.activeElement === document.body) button.focus({ preventScroll: true });
  waiting_for_focus = null;
}

const is_busy = (id) => $(id).getAttribute("aria-busy") === "true";
