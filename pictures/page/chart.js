"use strict";
// The value of a style property; on paper that of its twin, "--paper-ink" for "--ink".
function pageColour(name, printing) {
  const property = printing ? name.replace("--", "--paper-") : name;
  return getComputedStyle(document.documentElement).getPropertyValue(property).trim();
}

// Calls `draw(printing)` whenever the colours change: before and after printing, and with the scheme of the system.
function onPalette(draw) {
  let printing = false;
  const print = (paper) => () => {
    printing = paper;
    draw(printing);
  };
  addEventListener("beforeprint", print(true));
  addEventListener("afterprint", print(false));
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", () => draw(printing));
}

function tickLabel(value) {
  if (value === null) return "";  // a mark of a logarithmic axis that goes without
  const size = Math.abs(value);
  const [factor, suffix] = size >= 1e9 ? [1e9, "G"] : size >= 1e6 ? [1e6, "M"] : size >= 1e5 ? [1e3, "k"] : [1, ""];
  return Number((value / factor).toPrecision(12)) + suffix;
}

// The axes of all charts. `scale`: how many times larger than usual everything is drawn.
function chartAxis(label, printing, scale, extra) {
  return { label, values: (u, splits) => splits.map(tickLabel), labelSize: 24 * scale,
           labelFont: `${14 * scale}px system-ui, sans-serif`, font: `${13 * scale}px system-ui, sans-serif`,
           space: (u, axis) => (axis === 0 ? 50 : 30) * scale, gap: 5 * scale,
           stroke: pageColour("--ink", printing), grid: { stroke: pageColour("--line", printing), width: scale },
           ticks: { stroke: pageColour("--dim", printing), width: scale, size: 6 * scale }, ...extra };
}

// A spectrum that can be zoomed into, for every page that shows one. `place` is the element that it is drawn into;
//   size()   width and height of the chart on the screen, `paper` those when it is printed, where everything is drawn
//            `paperScale` times as large
//   curves   more curves: { values: one a channel, null for a gap; colour: name of a style property; width; dash }
//   changed  called with the chart whenever another part of the spectrum comes into view
//   readOut  called with the words for the channel under the mouse, empty when there is none
function spectrumChart(spectrum, place, options) {
  const { size, paper, paperScale = 1, curves = [], changed = () => {}, readOut = () => {} } = options;
  const counts = decodeCounts(spectrum);
  const channels = new Float64Array(counts.length).map((_, i) => spectrum.first + i);
  const calibrated = spectrum.energy.length > 0;
  const wholeSpectrum = { from: spectrum.first - 0.5, to: spectrum.first + counts.length - 0.5 };
  // What is shown, in channels, so that it survives a change of the axis.
  const view = { log: spectrum.log, energy: calibrated, from: spectrum.view[0], to: spectrum.view[1] };
  let chart = null;
  let printing = false;

  // Whole counts come as differences between neighbours: zigzag numbers of 7 bits a byte, the lowest first; a 0 is
  // followed by the number of further zeros. Other counts come as doubles.
  function decodeCounts({ channels: n, encoding, counts: text }) {
    const characters = atob(text);
    const bytes = new Uint8Array(characters.length);
    for (let i = 0; i < bytes.length; i++) bytes[i] = characters.charCodeAt(i);
    if (encoding === "float64") return new Float64Array(bytes.buffer);
    const values = new Float64Array(n);
    let at = 0;
    const next = () => {
      let value = 0;
      for (let factor = 1; ; factor *= 128) {
        const byte = bytes[at++];
        value += (byte & 127) * factor;
        if (byte < 128) return value;
      }
    };
    for (let i = 0, value = 0; i < n; ) {
      const code = next();
      value += code % 2 ? -(code + 1) / 2 : code / 2;
      const repeats = code === 0 ? next() : 0;
      values.fill(value, i, i + repeats + 1);
      i += repeats + 1;
    }
    return values;
  }

  const energyOf = (channel) => spectrum.energy.reduceRight((sum, c) => sum * channel + c, 0);
  const axisOf = (channel) => (view.energy ? energyOf(channel) : channel);

  function channelOf(value) {
    if (!view.energy) return value;
    let { from, to } = wholeSpectrum;
    for (let i = 0; i < 60; i++) {
      const middle = (from + to) / 2;
      if (energyOf(middle) <= value) from = middle;
      else to = middle;
    }
    return from;
  }

  const held = (value, low, high) => Math.min(Math.max(value, low), high);

  // Holds what is asked for inside the spectrum and at no less than a few channels.
  function xRange(u, min, max) {
    const least = Math.min(4, counts.length);
    let from = min <= axisOf(channels[0]) ? wholeSpectrum.from : channelOf(min);
    let to = max >= axisOf(channels[counts.length - 1]) ? wholeSpectrum.to : channelOf(max);
    if (to - from < least) {
      const middle = held((from + to) / 2, wholeSpectrum.from + least / 2, wholeSpectrum.to - least / 2);
      from = middle - least / 2;
      to = middle + least / 2;
    }
    return [axisOf(from), axisOf(to)];
  }

  // Counts of 0 have no place on a logarithmic scale, they lie on its floor: half a decade or more below the least
  // count in view.
  function yRange(u, min, max) {
    const free = spectrum.peaks.length ? 0.22 : 0.05;  // part of the height, for labels
    const headroom = free / (1 - free);
    if (!view.log) {
      if (!Number.isFinite(max) || min === null || max === null) return [0, 1];
      const low = Math.min(min, 0);
      const high = Math.max(max, 0);
      const span = high - low || 1;
      return [low < 0 ? low - span * 0.05 : 0, high === low ? low + 1 : high + (high > 0 ? span * headroom : 0)];
    }
    if (!(max > 0) || !Number.isFinite(max)) return [0.5, 10];
    const decade = 10 ** Math.floor(Math.log10(min));
    const low = Math.max(min > decade ? decade : decade / 2, max / 1e12);
    const high = Math.max(max, low * 10);
    return [low, high * (high / low) ** headroom];
  }

  // A step curve with one column for each pixel, from the smallest to the largest count of the channels in it. It
  // begins and ends on the base line, where its area closes.
  function stepPath(u, series, first, last) {
    const { left, width } = u.bbox;
    const { min, max } = u.scales.x;
    const [x, y] = u.data;
    const pixel = (value) => left + ((value - min) / (max - min)) * width;
    const floor = u.scales.y.min;
    const height = (count) => Math.round(u.valToPos(Math.max(count, floor), "y", true));
    // Left edge of a channel: half way to its neighbour, which spares the polynomial.
    const edge = (i) => pixel(i > 0 && i < x.length ? (x[i - 1] + x[i]) / 2 : axisOf(spectrum.first + i - 0.5));
    const path = new Path2D();
    const base = height(0);
    let drawing = false;
    let level = base;
    let column = null;
    const flush = () => {
      if (!column) return;
      if (!drawing) path.moveTo(column.at, base);
      drawing = true;
      for (const count of [column.low, column.high, column.last]) path.lineTo(column.at, height(count));
      level = height(column.last);
      column = null;
    };
    const close = (at) => {
      flush();
      if (drawing) path.lineTo(at, level);
      if (drawing) path.lineTo(at, base);
      drawing = false;
    };
    // Channels whose centre is out of view may still reach into it.
    const begin = first > 0 && edge(first) > left ? first - 1 : first;
    const end = last + 1 < counts.length && edge(last + 1) < left + width ? last + 1 : last;
    for (let i = begin; i <= end; i++) {
      const at = Math.round(edge(i));
      const count = y[i];
      if (Number.isNaN(count)) {
        close(at);
        continue;
      }
      if (column && column.at === at) {
        column.low = Math.min(column.low, count);
        column.high = Math.max(column.high, count);
        column.last = count;
        continue;
      }
      flush();
      if (drawing) path.lineTo(at, level);
      column = { at, low: count, high: count, last: count };
    }
    close(Math.round(edge(end + 1)));
    return { stroke: path, fill: path, clip: null, band: null, gaps: null, flags: 0 };
  }

  function drawPeaks(u) {
    const { ctx, bbox } = u;
    const ratio = devicePixelRatio * (printing ? paperScale : 1);
    const taken = [];
    ctx.save();
    ctx.strokeStyle = ctx.fillStyle = colour("--mark");
    ctx.font = `${12 * ratio}px system-ui, sans-serif`;
    ctx.textAlign = "left";
    ctx.textBaseline = "alphabetic";
    const marks = spectrum.peaks.map(({ channel, label }) => {
      const i = Math.round(channel) - spectrum.first;
      const top = counts.slice(Math.max(i - 1, 0), i + 2).reduce((a, b) => (b > a ? b : a), u.scales.y.min);
      return { x: u.valToPos(axisOf(channel), "x", true), y: u.valToPos(top, "y", true), label };
    });
    for (const { x, y, label } of marks.sort((a, b) => a.y - b.y)) {
      if (x < bbox.left || x > bbox.left + bbox.width) continue;
      ctx.fillRect(Math.round(x), y - 12 * ratio, ratio, 8 * ratio);
      if (taken.some((other) => Math.abs(other - x) < 14 * ratio)) continue;
      taken.push(x);
      ctx.save();
      ctx.translate(x + 4 * ratio, y - 15 * ratio);
      ctx.rotate(-Math.PI / 2);
      ctx.fillText(label, 0, 0, Math.max(y - 15 * ratio - bbox.top, 1));
      ctx.restore();
    }
    ctx.restore();
  }

  const colour = (name) => pageColour(name, printing);

  function tellReadOut(u) {
    const i = u.cursor.idx;
    if (i === null || i === undefined || u.cursor.left < 0) {
      readOut("");
      return;
    }
    const parts = [`channel ${channels[i]}`];
    if (calibrated) {
      const width = energyOf(channels[i] + 0.5) - energyOf(channels[i] - 0.5);
      const decimals = held(Math.ceil(1 - Math.log10(width)), 0, 12);
      parts.push(`energy ${energyOf(channels[i]).toFixed(decimals)} ${spectrum.unit}`);
    }
    parts.push(`counts ${Number.isFinite(counts[i]) ? counts[i] : "none"}`);
    readOut(parts.join("   "));
  }

  function remember(u, key) {
    if (key !== "x") return;
    view.from = channelOf(u.scales.x.min);
    view.to = channelOf(u.scales.x.max);
    changed(u);
  }

  // The chart is made anew for another scale, axis or palette; what part is shown stays.
  function build() {
    const shown = { ...view };
    if (chart) chart.destroy();
    const name = view.energy ? (spectrum.unit ? `Energy (${spectrum.unit})` : "Energy") : "Channel";
    const scale = printing ? paperScale : 1;
    const more = curves.map(({ colour: property, width, dash = [] }) => (
      { stroke: colour(property), width: width * scale, dash: dash.map((part) => part * scale), auto: false,
        pxAlign: 0, points: { show: false } }));
    chart = new uPlot({
      ...(printing ? paper : size()),
      scales: { x: { time: false, range: xRange }, y: { distr: view.log ? 3 : 1, log: 10, range: yRange } },
      series: [{}, { stroke: colour("--curve"), fill: colour("--area"), width: scale, paths: stepPath, points: { show: false } },
               ...more],
      axes: [chartAxis(name, printing, scale, { size: 34 * scale }),
             chartAxis("Counts per channel", printing, scale, { size: 64 * scale })],
      cursor: { y: false, points: { show: false }, drag: { x: true, y: false, dist: 5 } },
      legend: { show: false },
      padding: [12 * scale, 24 * scale, 0, 0],
      hooks: { setCursor: [tellReadOut], setScale: [remember], draw: [drawPeaks] },
    }, [channels.map(axisOf), counts, ...curves.map((curve) => curve.values)], place);
    show(shown.from, shown.to);
  }

  function show(from, to) {
    chart.setScale("x", { min: axisOf(held(from, wholeSpectrum.from, wholeSpectrum.to)),
                          max: axisOf(held(to, wholeSpectrum.from, wholeSpectrum.to)) });
  }

  function zoom(factor, centre = (view.from + view.to) / 2) {
    show(centre - (centre - view.from) * factor, centre + (view.to - centre) * factor);
  }

  function pan(part) {
    const width = view.to - view.from;
    const from = held(view.from + part * width, wholeSpectrum.from, wholeSpectrum.to - width);
    show(from, from + width);
  }

  const actions = {
    log() {
      view.log = !view.log;
      build();
    },
    energy() {
      if (!calibrated) return;
      view.energy = !view.energy;
      build();
    },
    whole: () => show(wholeSpectrum.from, wholeSpectrum.to),
  };
  const keys = {
    l: actions.log, e: actions.energy, r: actions.whole, Escape: actions.whole,
    "+": () => zoom(0.5), "-": () => zoom(2), ArrowLeft: () => pan(-0.25), ArrowRight: () => pan(0.25),
  };

  // Whether the key meant something.
  function press(event) {
    if (event.ctrlKey || event.altKey || event.metaKey) return false;
    const action = keys[event.key.length === 1 ? event.key.toLowerCase() : event.key];
    if (action) action();
    return action !== undefined;
  }

  addEventListener("resize", () => printing || chart.setSize(size()));
  onPalette((paper) => {
    printing = paper;
    build();
  });
  build();
  return { view, counts, channels, actions, press, show, zoom, energyOf, axisOf, channelOf, get chart() { return chart; } };
}
