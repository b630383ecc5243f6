"use strict";
// The two canvases: the ECG trace and, below it, heart rate and TVN over time.

const ECG_GRID_PX = 38;
const ECG_HEADROOM = 0.12;
const TREND_MIN_SECONDS = 180;
const TREND_MIN_CYCLES = 6;
const TREND_MARGIN = { left: 36, right: 30, top: 18, bottom: 20 };
// Cycle lines closer than this would be a grey area rather than lines.
const MIN_LINE_SPACING_PX = 4;

// A 2D context in CSS pixels on a canvas with one element per device pixel, cleared.
function prepare_canvas(canvas) {
  const scale = window.devicePixelRatio || 1;
  const width = canvas.clientWidth;
  const height = canvas.clientHeight;
  const device_width = Math.round(width * scale);
  const device_height = Math.round(height * scale);
  if (canvas.width !== device_width || canvas.height !== device_height) {
    canvas.width = device_width;
    canvas.height = device_height;
  }
  const ctx = canvas.getContext("2d");
  ctx.setTransform(scale, 0, 0, scale, 0, 0);
  ctx.clearRect(0, 0, width, height);
  ctx.lineJoin = "round";
  return { ctx, width, height };
}

function theme_colours() {
  const style = getComputedStyle(document.documentElement);
  const colour = (name) => style.getPropertyValue(name).trim();
  return { hr: colour("--hr"), tvn: colour("--tvn"), ink: colour("--ink"),
           muted: colour("--muted"), line: colour("--line"), font: style.fontFamily };
}

function stroke_line(ctx, x1, y1, x2, y2) {
  ctx.beginPath();
  ctx.moveTo(x1, y1);
  ctx.lineTo(x2, y2);
  ctx.stroke();
}

// One line through the points; a null y breaks it.
function stroke_series(ctx, points, to_x, to_y) {
  let pen_down = false;
  ctx.beginPath();
  for (const { x, y } of points) {
    if (y === null) {
      pen_down = false;
    } else if (pen_down) {
      ctx.lineTo(to_x(x), to_y(y));
    } else {
      ctx.moveTo(to_x(x), to_y(y));
      pen_down = true;
    }
  }
  ctx.stroke();
}

function draw_square_grid(ctx, width, height) {
  for (let x = ECG_GRID_PX; x < width; x += ECG_GRID_PX) {
    stroke_line(ctx, x + 0.5, 0, x + 0.5, height);
  }
  for (let y = ECG_GRID_PX; y < height; y += ECG_GRID_PX) {
    stroke_line(ctx, 0, y + 0.5, width, y + 0.5);
  }
}

function draw_ecg(canvas, ecg) {
  const { ctx, width, height } = prepare_canvas(canvas);
  const colours = theme_colours();
  ctx.strokeStyle = colours.line;
  ctx.lineWidth = 1;
  draw_square_grid(ctx, width, height);
  const values = ecg.filter((value) => value !== null);
  if (values.length < 2) return;

  let low = Math.min(...values);
  const range = Math.max(...values) - low || 1;
  low -= range * ECG_HEADROOM;
  const span = range * (1 + 2 * ECG_HEADROOM);
  ctx.strokeStyle = colours.hr;
  ctx.lineWidth = 1.6;
  stroke_series(ctx, ecg.map((y, x) => ({ x, y })),
                (index) => index / (ecg.length - 1) * width,
                (value) => height - (value - low) / span * height);
}

// The seconds that the trend shows. It ends at the newest heart-rate point or, as passes come
// only once a second, at the elapsed time when that is further.
function trend_window(snapshot) {
  const seconds = Math.max(TREND_MIN_SECONDS, TREND_MIN_CYCLES * snapshot.cycle_seconds);
  const newest = snapshot.hr_series.length > 0 ? snapshot.hr_series.at(-1).x : 0;
  const to = Math.max(newest, snapshot.elapsed, seconds);
  return { from: to - seconds, to };
}

function heart_rate_axis(points) {
  const values = points.map((point) => point.y).filter((y) => y !== null);
  if (values.length === 0) return { low: 50, high: 90 };
  let low = Math.min(...values);
  let high = Math.max(...values);
  if (high - low < 4) {
    low -= 3;
    high += 3;
  }
  const headroom = (high - low) * 0.14;
  return { low: low - headroom, high: high + headroom };
}

function draw_trend(canvas, snapshot) {
  const { ctx, width, height } = prepare_canvas(canvas);
  const colours = theme_colours();
  const { from, to } = trend_window(snapshot);
  const visible = (point) => point.x >= from && point.x <= to;
  const hr_points = snapshot.hr_series.filter(visible);
  const plot = {
    left: TREND_MARGIN.left, top: TREND_MARGIN.top,
    right: width - TREND_MARGIN.right, bottom: height - TREND_MARGIN.bottom,
    axis: heart_rate_axis(hr_points), from, to,
    to_x: (t) => plot.left + (t - from) / (to - from) * (plot.right - plot.left),
    // A share of 0 is the bottom of the plot, 1 its top.
    to_y: (share) => plot.bottom - share * (plot.bottom - plot.top),
  };
  const hr_y = (bpm) => plot.to_y((bpm - plot.axis.low) / (plot.axis.high - plot.axis.low));
  const tvn_y = (value) => plot.to_y((value + 1) / 2);

  draw_trend_grid(ctx, plot, snapshot.cycle_seconds, colours);
  draw_trend_labels(ctx, plot, colours);
  ctx.lineWidth = 2;
  ctx.strokeStyle = colours.hr;
  stroke_series(ctx, hr_points, plot.to_x, hr_y);
  ctx.lineWidth = 2.4;
  ctx.strokeStyle = colours.tvn;
  stroke_series(ctx, snapshot.tvn_series.filter(visible), plot.to_x, tvn_y);
  draw_trend_markers(ctx, plot, snapshot.markers, colours);
}

function draw_trend_grid(ctx, plot, cycle, colours) {
  ctx.strokeStyle = colours.line;
  ctx.lineWidth = 1;
  for (const share of [0, 1]) {
    stroke_line(ctx, plot.left, plot.to_y(share), plot.right, plot.to_y(share));
  }
  const spacing = cycle / (plot.to - plot.from) * (plot.right - plot.left);
  if (spacing >= MIN_LINE_SPACING_PX) {
    for (let n = Math.ceil(plot.from / cycle); n * cycle <= plot.to; ++n) {
      stroke_line(ctx, plot.to_x(n * cycle), plot.top, plot.to_x(n * cycle), plot.bottom);
    }
  }
  ctx.strokeStyle = colours.muted;
  ctx.setLineDash([5, 5]);
  stroke_line(ctx, plot.left, plot.to_y(0.5), plot.right, plot.to_y(0.5));
  ctx.setLineDash([]);
}

function draw_trend_labels(ctx, plot, colours) {
  const { low, high } = plot.axis;
  ctx.font = "12px " + colours.font;
  ctx.textBaseline = "middle";
  for (const share of [0, 0.5, 1]) {
    ctx.fillStyle = colours.hr;
    ctx.textAlign = "right";
    ctx.fillText(String(Math.round(low + share * (high - low))), plot.left - 7, plot.to_y(share));
    ctx.fillStyle = colours.tvn;
    ctx.fillText(["−1", "0", "+1"][share * 2], plot.right + 24, plot.to_y(share));
    const seconds = plot.from + share * (plot.to - plot.from);
    ctx.fillStyle = colours.muted;
    ctx.textAlign = ["left", "center", "right"][share * 2];
    ctx.fillText(Math.round(seconds) + " s", plot.to_x(seconds), plot.bottom + 12);
  }
}

function draw_trend_markers(ctx, plot, markers, colours) {
  ctx.strokeStyle = colours.ink;
  ctx.fillStyle = colours.ink;
  ctx.lineWidth = 1;
  ctx.font = "bold 12px " + colours.font;
  ctx.textAlign = "center";
  ctx.setLineDash([2, 4]);
  for (const { t, k } of markers) {
    if (t < plot.from || t > plot.to) continue;
    stroke_line(ctx, plot.to_x(t), plot.top, plot.to_x(t), plot.bottom);
    ctx.fillText(String(k), plot.to_x(t), plot.top - 8);
  }
  ctx.setLineDash([]);
}
