// Heart rate (left axis) and TVN (right axis, −1 to +1) over the last minutes.

const TREND_MIN_SECONDS = 180;
const TREND_MIN_CYCLES = 6;
// Around the plot, in heights of its lettering: room for the labels.
const TREND_MARGIN = { left: 2.7, right: 2.5, top: 1.5, bottom: 1.7 };
// Closer cycle lines would be a grey area.
const MIN_LINE_SPACING_PX = 4;

// The seconds shown; the newest point sets the end, once there is one.
function trend_window({ hr_series, elapsed, cycle_seconds }) {
  const seconds = Math.max(TREND_MIN_SECONDS, TREND_MIN_CYCLES * cycle_seconds);
  const to = Math.max(hr_series.length ? hr_series.at(-1).x : elapsed, seconds);
  return { from: to - seconds, to };
}

function heart_rate_axis(points) {
  let { low, high } = extent(points.map((point) => point.y));
  if (low > high) return { low: 50, high: 90 };
  if (high - low < 4) {
    low -= 3;
    high += 3;
  }
  const headroom = (high - low) * 0.14;
  return { low: low - headroom, high: high + headroom };
}

// The plot's edges, and how seconds, beats per minute, TVN and shares of its height map to pixels.
function trend_plot({ width, height }, snapshot) {
  const { em } = current_theme();
  const { from, to } = trend_window(snapshot);
  const visible = ({ x }) => x >= from && x <= to;
  const heart_rates = snapshot.hr_series.filter(visible);
  const axis = heart_rate_axis(heart_rates);
  const left = TREND_MARGIN.left * em, right = width - TREND_MARGIN.right * em;
  const top = TREND_MARGIN.top * em, bottom = height - TREND_MARGIN.bottom * em;
  const to_y = (share) => bottom - share * (bottom - top);
  return { from, to, axis, left, right, top, bottom, to_y, heart_rates,
           tvns: snapshot.tvn_series.filter(visible), cycle: snapshot.cycle_seconds,
           to_x: (t) => left + (t - from) / (to - from) * (right - left),
           hr_y: (bpm) => to_y((bpm - axis.low) / (axis.high - axis.low)),
           tvn_y: (value) => to_y((value + 1) / 2) };
}

// Most snapshots change nothing here.
function draw_trend(chart, snapshot) {
  const markers = shown_markers(snapshot);
  const key = [trend_window(snapshot).to, snapshot.cycle_seconds, ...markers.map(({ t }) => t)];
  if (chart.shown === (chart.shown = key + series.text)) return;
  const plot = trend_plot(chart, snapshot);
  const { hr, tvn, em } = current_theme();
  const { fixed, traces, width, height } = chart;
  const line = Math.max(1, em / 20);
  const fixed_key = [plot.to, plot.axis.low, plot.axis.high, plot.cycle].join();
  if (chart.fixed_key !== fixed_key) {
    chart.fixed_key = fixed_key;
    fixed.clearRect(0, 0, width, height);
    draw_trend_grid(fixed, plot);
    draw_trend_labels(fixed, plot);
  }
  traces.clearRect(0, 0, width, height);
  traces.drawImage(fixed.canvas, 0, 0, width, height);
  traces.strokeStyle = hr;
  traces.lineWidth = 1.75 * line;
  traces.stroke(series_path(plot.heart_rates, plot.to_x, plot.hr_y));
  traces.strokeStyle = tvn;
  traces.lineWidth = 3 * line;
  traces.stroke(series_path(plot.tvns, plot.to_x, plot.tvn_y));
  draw_trend_markers(traces, plot, markers);
}

function draw_trend_grid(ctx, { from, to, left, right, top, bottom, to_x, to_y, cycle }) {
  const { grid, muted } = current_theme();
  ctx.strokeStyle = grid;
  if (cycle / (to - from) * (right - left) >= MIN_LINE_SPACING_PX) {
    for (let n = Math.ceil(from / cycle); n * cycle <= to; ++n) {
      stroke_line(ctx, to_x(n * cycle), top, to_x(n * cycle), bottom);
    }
  }
  ctx.strokeStyle = muted;
  ctx.strokeRect(left, top, right - left, bottom - top);
  ctx.setLineDash([6, 5]);
  stroke_line(ctx, left, to_y(0.5), right, to_y(0.5));
  ctx.setLineDash([]);
}

function draw_trend_labels(ctx, { axis, from, to, left, right, bottom, to_x, to_y }) {
  const { hr, tvn, muted, em, font } = current_theme();
  const label = (colour, align, text, x, y) => {
    ctx.fillStyle = colour;
    ctx.textAlign = align;
    ctx.fillText(text, x, y);
  };
  ctx.font = `${em}px ${font}`;
  ctx.textBaseline = "middle";
  for (const n of [0, 1, 2]) {
    const bpm = axis.low + n / 2 * (axis.high - axis.low);
    const seconds = from + n / 2 * (to - from);
    label(hr, "right", whole(bpm), left - em / 2, to_y(n / 2));
    label(tvn, "right", ["−1", "0", "+1"][n], right + 2 * em, to_y(n / 2));
    label(muted, ["left", "center", "right"][n], whole(seconds) + " s", to_x(seconds),
          bottom + em);
  }
}

function draw_trend_markers(ctx, { from, to, top, bottom, to_x }, markers) {
  const { ink, em, font } = current_theme();
  ctx.strokeStyle = ctx.fillStyle = ink;
  ctx.lineWidth = 1;
  ctx.font = `bold ${em}px ${font}`;
  ctx.textAlign = "center";
  ctx.setLineDash([2, 4]);
  for (const { t, k } of markers) {
    if (t < from || t > to) continue;
    stroke_line(ctx, to_x(t), top, to_x(t), bottom);
    ctx.fillText(k, to_x(t), top - em / 3);
  }
  ctx.setLineDash([]);
}
