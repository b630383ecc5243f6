// Charts of two canvases: a fixed layer (grid, frame, labels), drawn only when it changes, under
// the traces. Here: what charts share, and the ECG.

const ECG_GRID_PX = 38;
const ECG_HEADROOM = 0.12;

const charts = [];
// What the canvases take from the style sheet, until light and dark change.
let theme = null;

function current_theme() {
  if (theme) return theme;
  const style = getComputedStyle(document.documentElement);
  theme = { font: style.fontFamily, em: Number.parseFloat(style.fontSize) * 0.8 };
  for (const name of ["hr", "tvn", "ink", "muted", "grid"]) {
    theme[name] = style.getPropertyValue("--" + name).trim();
  }
  return theme;
}

// A chart on the canvas of that id; draw(chart, snapshot) draws it.
function make_chart(id, draw) {
  const canvas = $(id);
  const below = make("canvas");
  canvas.before(below);
  const chart = { canvas, draw, fixed: below.getContext("2d"), traces: canvas.getContext("2d") };
  charts.push(chart);
  new ResizeObserver(refresh_charts).observe(canvas);
}

// For another size or theme: everything is fitted and drawn anew.
function refresh_charts() {
  theme = null;
  for (const chart of charts) chart.density = 0;
  paint();
}

function watch_theme() {
  for (const query of ["(prefers-color-scheme: dark)", "(forced-colors: active)", "print"]) {
    matchMedia(query).addEventListener("change", refresh_charts);
  }
  window.addEventListener("resize", refresh_charts);
}

// One element of the backing store per device pixel, whatever screen the window has moved to; the
// contexts go on in CSS pixels.
function fit_chart(chart) {
  const density = devicePixelRatio;
  if (chart.density === density) return;
  const { canvas, fixed, traces } = chart;
  Object.assign(chart, { density, fixed_key: "", width: canvas.clientWidth,
                         height: canvas.clientHeight });
  for (const layer of [fixed, traces]) {
    layer.canvas.width = Math.round(chart.width * density);
    layer.canvas.height = Math.round(chart.height * density);
    layer.setTransform(density, 0, 0, density, 0, 0);
    layer.lineJoin = "round";
  }
}

// Clears the traces, and the fixed layer if what it is to show (the key) is new: then true.
function clear_chart(chart, key) {
  const { fixed, traces, width, height, fixed_key } = chart;
  traces.clearRect(0, 0, width, height);
  if (key === fixed_key) return false;
  fixed.clearRect(0, 0, width, height);
  chart.fixed_key = key;
  return true;
}

function stroke_line(ctx, x1, y1, x2, y2) {
  ctx.beginPath();
  ctx.moveTo(x1, y1);
  ctx.lineTo(x2, y2);
  ctx.stroke();
}

// One path through the points; a null y breaks it.
function stroke_series(ctx, points, to_x, to_y) {
  let pen_down = false;
  ctx.beginPath();
  for (const { x, y } of points) {
    if (y !== null) ctx[pen_down ? "lineTo" : "moveTo"](to_x(x), to_y(y));
    pen_down = y !== null;
  }
  ctx.stroke();
}

// The least and greatest of the values that are not null; without any, low > high.
function extent(values) {
  let low = Infinity, high = -Infinity;
  for (const value of values) {
    if (value === null) continue;
    if (value < low) low = value;
    if (value > high) high = value;
  }
  return { low, high };
}

// The values at the edges of the trace; a flat one lies in the middle.
function ecg_axis(ecg) {
  const { low, high } = extent(ecg);
  const half = (high - low || 1) * (0.5 + ECG_HEADROOM);
  return { low: (low + high) / 2 - half, high: (low + high) / 2 + half };
}

function draw_ecg(chart, { ecg }) {
  const { fixed, traces, width, height } = chart;
  if (clear_chart(chart, "grid")) {
    fixed.strokeStyle = current_theme().grid;
    for (let at = ECG_GRID_PX; at < Math.max(width, height); at += ECG_GRID_PX) {
      stroke_line(fixed, at + 0.5, 0, at + 0.5, height);
      stroke_line(fixed, 0, at + 0.5, width, at + 0.5);
    }
  }
  const { low, high } = ecg_axis(ecg);
  traces.strokeStyle = current_theme().hr;
  traces.lineWidth = 1.75;
  stroke_series(traces, ecg.map((y, x) => ({ x, y })), (n) => n / (ecg.length - 1) * width,
                (value) => (high - value) / (high - low) * height);
}
