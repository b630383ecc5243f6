// What the two charts share, and the ECG. What changes rarely is a layer of its own: the grid of
// the ECG is the style sheet's, grid and labels of the trend are kept on a canvas not shown. A
// chart remembers what it shows, and is not drawn again for it.

const ECG_HEADROOM = 0.12;

const charts = [];
// What the canvases take from the style sheet.
let theme = null;

function current_theme() {
  if (theme) return theme;
  const style = getComputedStyle(document.documentElement);
  theme = { font: style.fontFamily, em: parseFloat(getComputedStyle($("trend-canvas")).fontSize) };
  for (const name of ["hr", "tvn", "ink", "muted", "grid"]) {
    theme[name] = style.getPropertyValue("--" + name).trim();
  }
  return theme;
}

// Drawn by the processor: where there is no graphics card, playing one costs ten times as much.
function make_chart(id, draw) {
  const canvas = $(id);
  const [traces, fixed] = [canvas, make("canvas")].map((layer) =>
    layer.getContext("2d", { willReadFrequently: true }));
  charts.push({ canvas, draw, traces, fixed });
  new ResizeObserver(refresh_charts).observe(canvas);
}

// For another size or theme everything is drawn anew.
function refresh_charts() {
  theme = null;
  for (const chart of charts) chart.density = 0;
  paint();
}

function watch_theme() {
  for (const query of ["(prefers-color-scheme: dark)", "(forced-colors: active)", "print"]) {
    matchMedia(query).addEventListener("change", refresh_charts);
  }
  addEventListener("resize", refresh_charts);
}

// One element of the backing store per device pixel; contexts in CSS pixels.
function fit_chart(chart) {
  const density = devicePixelRatio;
  if (chart.density === density) return;
  const { canvas, fixed, traces } = chart;
  Object.assign(chart, { density, fixed_key: "", shown: null, width: canvas.clientWidth,
                         height: canvas.clientHeight });
  for (const layer of [fixed, traces]) {
    layer.canvas.width = Math.round(chart.width * density);
    layer.canvas.height = Math.round(chart.height * density);
    layer.setTransform(density, 0, 0, density, 0, 0);
    layer.lineJoin = "round";
  }
}

function stroke_line(ctx, x1, y1, x2, y2) {
  ctx.beginPath();
  ctx.moveTo(x1, y1);
  ctx.lineTo(x2, y2);
  ctx.stroke();
}

// One path through the points; a null y breaks it.
function series_path(points, to_x, to_y) {
  const path = new Path2D();
  let pen_down = false;
  for (const { x, y } of points) {
    if (y !== null) path[pen_down ? "lineTo" : "moveTo"](to_x(x), to_y(y));
    pen_down = y !== null;
  }
  return path;
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
  if (chart.shown === (chart.shown = String(ecg))) return;
  const { traces, width, height } = chart;
  const { low, high } = ecg_axis(ecg);
  const path = series_path(ecg.map((y, x) => ({ x, y })), (n) => n / (ecg.length - 1) * width,
                           (value) => (high - value) / (high - low) * height);
  traces.clearRect(0, 0, width, height);
  traces.strokeStyle = current_theme().hr;
  traces.lineWidth = 0.5;
  // Five hairlines take less time than one broad line.
  for (const [dx, dy] of [[0, 0], [0.5, 0.5], [-1, 0], [0, -1], [1, 0]]) {
    traces.translate(dx, dy);
    traces.stroke(path);
  }
  traces.translate(-0.5, 0.5);
}
