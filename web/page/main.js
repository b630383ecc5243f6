// Ties the buttons and fields to what they do, and opens the page in Setup.

// The picker is emptied, so that the same file can be chosen again.
function on_files(id, action) {
  on("change", id, ({ target }) => {
    const files = [...target.files];
    target.value = "";
    if (files.length) action(files);
  });
}

function wire_setup() {
  on("click", "presets", ({ target }) => target.dataset.in && choose_preset(target));
  on("input", "setup", follow_input);
  on("change", "sources", ({ target }) => choose_source(target.value));
  on("click", "speeds", ({ target }) => target.value && choose_speed(Number(target.value)));
  on("click", "scan", scan_for_devices);
  on("click", "start", start_recording);
  on("click", "back", return_to_session);
}

function wire_files() {
  let folder_use = [];
  on("click", "import-file", () => {
    wake_sound();
    $("file-picker").click();
  });
  on_files("file-picker", ([file]) => import_file(file));
  for (const use of [["import-folder", "single"], ["batch-folder", "batch"]]) {
    on("click", use[0], () => {
      folder_use = use;
      $("folder-picker").click();
    });
  }
  on_files("folder-picker", (files) => process_folder(files, ...folder_use));
}

function wire_session() {
  on("click", "stop", stop_run);
  on("click", "new-session", new_session);
  on("click", "save", save_session);
  on("click", "tfr", compute_tfr);
  wire_slider();
  document.addEventListener("keydown", mark_by_key);
  make_chart("ecg-canvas", draw_ecg);
  make_chart("trend-canvas", draw_trend);
  watch_theme();
}

on("click", "about-open", () => $("about").showModal());
on("click", "about-close", () => $("about").close());
wire_setup();
wire_files();
wire_session();
wire_comfort();
// A reload keeps the radios.
choose_source(document.querySelector("#sources :checked").value);
choose_speed(speed);
show_cycle();
enter_setup();
