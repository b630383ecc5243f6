"use strict";
// The Setup view: who breathes how, and which source to start.

let source = "live";
let speed = 2;

function enter_setup() {
  show_view("setup");
  set_status_word("Setup");
  load_recordings();
  check_bluetooth();
}

function parse_seconds(text) {
  const value = Number.parseFloat(text.replace(",", "."));
  return Number.isFinite(value) ? value : 0;
}

function show_cycle() {
  const in_seconds = parse_seconds(by_id("indur").value);
  const out_seconds = parse_seconds(by_id("outdur").value);
  const cycle = Math.round((in_seconds + out_seconds) * 100) / 100;
  const frequency = cycle === 0 ? "0" : (1 / cycle).toFixed(4);
  set_text("cycle-line", "Cycle " + cycle + " s · " + frequency + " Hz");
  for (const preset of document.querySelectorAll(".presets button")) {
    const chosen = Number(preset.dataset.in) === in_seconds &&
      Number(preset.dataset.out) === out_seconds;
    preset.setAttribute("aria-pressed", String(chosen));
  }
}

function choose_preset(preset) {
  by_id("indur").value = preset.dataset.in;
  by_id("outdur").value = preset.dataset.out;
  show_cycle();
}

function choose_source(value) {
  source = value;
  by_id("live-source").hidden = source !== "live";
  by_id("replay-source").hidden = source !== "replay";
  set_text("start-hint", "");
}

function choose_speed(value) {
  speed = value;
  for (const button of document.querySelectorAll(".speeds button")) {
    button.setAttribute("aria-pressed", String(Number(button.dataset.speed) === speed));
  }
}

// A number outside its field's limits would be replaced by the program without a word, so the
// field shows the nearest allowed one at once.
function keep_in_range(field) {
  const value = Number.parseFloat(field.value);
  const kept = Number.isFinite(value)
    ? Math.min(Math.max(value, Number(field.min)), Number(field.max))
    : Number(field.defaultValue);
  if (kept !== value) field.value = kept;
}

async function load_recordings() {
  const reply = await try_call("/recordings");
  const list = by_id("recording");
  const chosen = list.selectedOptions[0];
  const was = chosen && { dir: chosen.dataset.dir, file: chosen.value };
  list.replaceChildren(
    ...recording_group("Saved recordings", "saved", reply.saved || [], was),
    ...recording_group("Bundled samples", "samples", reply.samples || [], was));
}

function recording_group(label, dir, files, was) {
  if (files.length === 0) return [];
  const group = document.createElement("optgroup");
  group.label = label;
  for (const file of files) {
    const option = new Option(file, file);
    option.dataset.dir = dir;
    option.selected = Boolean(was) && was.dir === dir && was.file === file;
    group.append(option);
  }
  return [group];
}

async function check_bluetooth() {
  const reply = await try_call("/bt_available");
  const missing = reply.available === false;
  by_id("scan").disabled = missing;
  by_id("bluetooth-note").hidden = !missing;
}

async function scan_for_devices() {
  const button = by_id("scan");
  button.disabled = true;
  set_text("scan-line", "Scanning for Bluetooth devices (~10 s)…");
  const reply = await try_call("/scan");
  button.disabled = false;
  if (reply.success) {
    show_devices(reply.devices);
  } else {
    set_text("scan-line", refusal_text(reply, "The scan failed."));
  }
}

function show_devices(devices) {
  const is_polar = (device) => device.name.toLowerCase().includes("polar");
  const polar_first = [...devices.filter(is_polar), ...devices.filter((d) => !is_polar(d))];
  const options = polar_first.map((device) => {
    const option = new Option((device.name || "(unknown)") + "  —  " + device.address,
                              device.address);
    option.dataset.name = device.name;
    return option;
  });
  if (options.length === 0) {
    const none = new Option("none found", "");
    none.disabled = true;
    options.push(none);
  }
  by_id("device").replaceChildren(...options);
  set_text("scan-line", devices.length === 0
    ? "Put the strap on, moisten its electrodes and scan again."
    : "Found " + devices.length + " device(s). Select your Polar H10.");
}

// The call that starts the chosen source, or a hint when nothing is chosen yet.
function start_request() {
  const list = by_id(source === "live" ? "device" : "recording");
  const chosen = list.selectedOptions[0];
  if (!chosen || chosen.value === "") {
    return { hint: source === "live" ? "Scan and select your Polar H10 first."
                                     : "Pick or import a recording." };
  }
  const value = encodeURIComponent(chosen.value);
  return { path: (source === "live"
    ? "/start_live?address=" + value + "&device=" + encodeURIComponent(chosen.dataset.name)
    : "/start_replay?dir=" + chosen.dataset.dir + "&file=" + value + "&speed=" + speed) +
    start_parameters() };
}

async function start_recording() {
  wake_sound();
  const request = start_request();
  set_text("start-hint", request.hint || "");
  if (!request.path) return;
  by_id("start").disabled = true;
  const reply = await try_call(request.path);
  by_id("start").disabled = false;
  if (reply.ok) {
    enter_session();
  } else {
    set_text("start-hint", refusal_text(reply, "Could not start."));
  }
}
