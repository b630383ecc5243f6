// The Setup view: who breathes how, and which source to start.

let source = "live";
let speed = 2;
let bluetooth_missing = false;

// The word in the header, and the tab's title.
function set_status_word(word, name) {
  set_text("status-word", word);
  set_state("status", word);
  const title = word + " · " + (name || "Talvern Live");
  if (document.title !== title) document.title = title;
}

function show_view(view) {
  for (const id of ["setup", "session"]) $(id).hidden = id !== view;
  scrollTo(0, 0);
}

function enter_setup() {
  show_view("setup");
  set_status_word("Setup");
  tell("start-hint", "");
  // What is chosen from a list that is about to be replaced would be lost without a word.
  $("recording").replaceChildren();
  load_recordings();
  check_bluetooth();
}

const parse_seconds = (text) => parseFloat(text.replace(",", ".")) || 0;

function show_cycle() {
  const [inhale, exhale] = ["indur", "outdur"].map((id) => parse_seconds($(id).value));
  const cycle = Math.round((inhale + exhale) * 100) / 100;
  set_text("cycle-line", `Cycle ${cycle} s · ${cycle ? (1 / cycle).toFixed(4) : 0} Hz`);
  for (const preset of $("presets").children) {
    set_aria(preset, "pressed", preset.dataset.in == inhale && preset.dataset.out == exhale);
  }
}

function choose_preset({ dataset }) {
  $("indur").value = dataset.in;
  $("outdur").value = dataset.out;
  show_cycle();
}

function choose_source(value) {
  source = value;
  for (const id of ["live", "replay"]) $(id + "-source").hidden = id !== source;
  for (const label of $("sources").children) label.dataset.chosen = label.control.checked;
  tell("start-hint", "");
}

function choose_speed(value) {
  speed = value;
  for (const button of $("speeds").querySelectorAll("button")) {
    set_aria(button, "pressed", button.value == speed);
  }
}

async function load_recordings() {
  const { saved, samples } = await try_call("/recordings");
  if ($("setup").hidden) return;
  if (!samples) {
    show_trouble("lost");
    setTimeout(load_recordings, LOST_RETRY_MS);
    return;
  }
  show_trouble();
  offer_run();
  $("recording").replaceChildren(new Option("Select a recording", ""),
    recording_group("Saved recordings", "saved", saved),
    recording_group("Bundled samples", "samples", samples));
}

function recording_group(label, dir, files) {
  const group = make("optgroup");
  group.label = label;
  for (const file of files) {
    const option = new Option(file, file);
    // The list of a recording's markers cannot be played.
    option.disabled = file.endsWith("_markers.csv");
    option.dataset.dir = dir;
    group.append(option);
  }
  return group;
}

// A recording carries its person's values in its name: name_onX_offY_SEXAGE_time.csv. Fills the
// fields, or a person's values would go with another's recording. Gives what to say about it.
function fill_from(file) {
  const found = file.match(/^(?:recovered_|imported_)*(.*)_on([\d.]+)_off([\d.]+)_([MF])(-?\d+)_/);
  if (!found) return "";
  const [, name, ...values] = found;
  // A live run without a name is called by its strap.
  $("name").value = name.startsWith("Live__") ? "" : name;
  ["indur", "outdur", "sex", "age"].forEach((id, n) => { $(id).value = values[n]; });
  return "Filled in from the recording; change what is not right.";
}

// What a hint was about has changed. Not when a field is left: that may be by the click on Start,
// which would miss a button that moves with the hint.
function follow_input({ target }) {
  tell("start-hint", target.id === "recording" ? fill_from(target.value) : "");
  if (target.id === "fs") tell("import-hint", "");
  show_cycle();
}

async function check_bluetooth() {
  bluetooth_missing = (await try_call("/bt_available")).available === false;
  $("bluetooth-note").hidden = !bluetooth_missing;
  show_scan_button();
}

// A scan would cut off the strap of a recording that is running.
function show_scan_button() {
  $("scan").disabled = bluetooth_missing || run?.running || is_busy("scan");
}

async function scan_for_devices() {
  set_busy("scan", true);
  tell("scan-line", "Scanning for Bluetooth devices (~10 s)…");
  const reply = await try_call("/scan");
  set_busy("scan", false);
  show_scan_button();
  if (reply.success) show_devices(reply.devices);
  else tell("scan-line", refusal_text(reply, "Scan failed: no answer"), true);
}

function show_devices(devices) {
  const other = ({ name }) => !/polar/i.test(name);
  devices.sort((a, b) => other(a) - other(b));
  const options = devices.map(({ name, address }) => {
    // Two ordinary blanks would be shown as one.
    const option = new Option(`${name || "(unknown)"}\xa0\xa0—\xa0\xa0${address}`, address);
    option.dataset.name = name;
    return option;
  });
  const count = devices.length;
  $("device").replaceChildren(new Option(count ? "Select a device" : "none found", ""),
                                  ...options);
  tell("scan-line", count ? `Found ${count} device(s). Select your Polar H10.`
    : "No devices found. Wear the strap, wet its electrodes and scan again.");
}

// The call that starts the chosen source; nothing when none is chosen yet.
function start_request() {
  const [chosen] = $(source === "live" ? "device" : "recording").selectedOptions;
  if (!chosen?.value) return;
  const value = encodeURIComponent(chosen.value);
  return (source === "live"
    ? `/start_live?address=${value}&device=${encodeURIComponent(chosen.dataset.name)}`
    : `/start_replay?dir=${chosen.dataset.dir}&file=${value}&speed=${speed}`) + start_parameters();
}

async function start_recording() {
  wake_sound();
  const request = start_request();
  if (!request) {
    tell("start-hint", source === "live" ? "Scan and select your Polar H10 first."
      : "Pick or import a recording.", true);
    return;
  }
  tell("start-hint", "");
  set_busy("start", true);
  const reply = await try_call(request);
  set_busy("start", false);
  if (reply.ok) enter_session();
  else tell("start-hint", refusal_text(reply, "Could not start."), true);
}
