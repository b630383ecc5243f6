"use strict";
// Ties the buttons and fields to what they do, and opens the page in Setup.

function show_view(view) {
  document.body.dataset.view = view;
  for (const id of ["setup", "session"]) by_id(id).hidden = id !== view;
  window.scrollTo(0, 0);
}

// The word in the header: "Setup", "Recording" or "Stopped".
function set_status_word(word) {
  set_text("status-word", word);
  document.body.dataset.status = word.toLowerCase();
}

function on_click(id, action) {
  by_id(id).addEventListener("click", action);
}

// A picker's files are gone once it is emptied, and it must be emptied so that the same file
// can be chosen again.
function take_files(picker) {
  const files = [...picker.files];
  picker.value = "";
  return files;
}

function wire_setup() {
  for (const preset of document.querySelectorAll(".presets button")) {
    preset.addEventListener("click", () => choose_preset(preset));
  }
  for (const id of ["indur", "outdur"]) by_id(id).addEventListener("input", show_cycle);
  for (const id of ["age", "fs"]) {
    by_id(id).addEventListener("change", (event) => keep_in_range(event.target));
  }
  for (const radio of document.querySelectorAll("input[name=source]")) {
    radio.addEventListener("change", () => choose_source(radio.value));
  }
  for (const button of document.querySelectorAll(".speeds button")) {
    button.addEventListener("click", () => choose_speed(Number(button.dataset.speed)));
  }
  on_click("scan", scan_for_devices);
  on_click("start", start_recording);
  by_id("recording").addEventListener("dblclick", start_recording);
}

function wire_files() {
  let folder_mode = "batch";
  on_click("import-file", () => {
    wake_sound();
    by_id("file-picker").click();
  });
  by_id("file-picker").addEventListener("change", (event) => {
    const [file] = take_files(event.target);
    if (file) import_file(file);
  });
  for (const [id, mode] of [["import-folder", "single"], ["batch-folder", "batch"]]) {
    on_click(id, () => {
      folder_mode = mode;
      by_id("folder-picker").click();
    });
  }
  by_id("folder-picker").addEventListener("change", (event) => {
    process_folder(take_files(event.target), folder_mode);
  });
}

function wire_session() {
  on_click("stop", stop_run);
  on_click("new-session", new_session);
  on_click("save", save_session);
  on_click("tfr", compute_tfr);
  wire_position_slider(by_id("position"));
  document.addEventListener("keydown", mark_by_key);
  new ResizeObserver(render_last).observe(by_id("ecg-canvas"));
  new ResizeObserver(render_last).observe(by_id("trend-canvas"));
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", render_last);
}

on_click("about-open", () => by_id("about").showModal());
wire_setup();
wire_files();
wire_session();
// The browser may have kept a radio from before a reload.
choose_source(document.querySelector("input[name=source]:checked").value);
choose_speed(speed);
show_cycle();
enter_setup();
