"use strict";
(() => {
  const spectrum = JSON.parse(document.getElementById("spectrum").textContent);
  const counts = decodeCounts(spectrum);
  const channels = new Float64Array(counts.length).map((_, i) => spectrum.first + i);
  const calibrated = spectrum.energy.length > 0;
  const wholeSpectrum = { from: spectrum.first - 0.5, to: spectrum.first + counts.length - 0.5 };
  // What is shown, in channels, so that it survives a change of the axis.
  const view = { log: spectrum.log, energy: calibrated, from: spectrum.view[0], to: spectrum.view[1] };
  const element = (id) => document.getElementById(id);
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
    const ratio = devicePixelRatio;
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

  // On paper the colours are those of a light page.
  const kPaper = { "--ink": "#000000", "--dim": "#444444", "--line": "#dddddd", "--curve": "#0b3d91",
                   "--area": "rgba(11, 61, 145, 0.14)", "--mark": "#8c1d18" };
  const colour = (name) =>
    printing ? kPaper[name] : getComputedStyle(document.documentElement).getPropertyValue(name).trim();

  function readOut(u) {
    const i = u.cursor.idx;
    if (i === null || i === undefined || u.cursor.left < 0) {
      element("readout").textContent = "";
      return;
    }
    const parts = [`channel ${channels[i]}`];
    if (calibrated) {
      const width = energyOf(channels[i] + 0.5) - energyOf(channels[i] - 0.5);
      const decimals = held(Math.ceil(1 - Math.log10(width)), 0, 12);
      parts.push(`energy ${energyOf(channels[i]).toFixed(decimals)} ${spectrum.unit}`);
    }
    parts.push(`counts ${Number.isFinite(counts[i]) ? counts[i] : "none"}`);
    element("readout").textContent = parts.join("   ");
  }

  function size() {
    if (printing) return { width: 980, height: 540 };
    const { clientWidth, clientHeight } = element("chart");
    return { width: Math.max(clientWidth, 280), height: Math.max(clientHeight, 280) };
  }

  function tickLabel(value) {
    if (value === null) return "";  // a mark of a logarithmic axis that goes without
    const size = Math.abs(value);
    const [factor, suffix] = size >= 1e9 ? [1e9, "G"] : size >= 1e6 ? [1e6, "M"] : size >= 1e5 ? [1e3, "k"] : [1, ""];
    return Number((value / factor).toPrecision(12)) + suffix;
  }

  function axis(label, extra) {
    return { label, values: (u, splits) => splits.map(tickLabel), labelSize: 24, labelFont: "14px system-ui, sans-serif", font: "13px system-ui, sans-serif",
             stroke: colour("--ink"), grid: { stroke: colour("--line"), width: 1 },
             ticks: { stroke: colour("--dim"), width: 1, size: 6 }, ...extra };
  }

  function remember(u, key) {
    if (key !== "x") return;
    view.from = channelOf(u.scales.x.min);
    view.to = channelOf(u.scales.x.max);
  }

  // The chart is made anew for another scale, axis or palette; what part is shown stays.
  function build() {
    const shown = { ...view };
    if (chart) chart.destroy();
    const name = view.energy ? (spectrum.unit ? `Energy (${spectrum.unit})` : "Energy") : "Channel";
    chart = new uPlot({
      ...size(),
      scales: { x: { time: false, range: xRange }, y: { distr: view.log ? 3 : 1, log: 10, range: yRange } },
      series: [{}, { stroke: colour("--curve"), fill: colour("--area"), width: 1, paths: stepPath, points: { show: false } }],
      axes: [axis(name, { size: 34 }), axis("Counts per channel", { size: 64 })],
      cursor: { y: false, points: { show: false }, drag: { x: true, y: false, dist: 5 } },
      legend: { show: false },
      padding: [12, 24, 0, 0],
      hooks: { setCursor: [readOut], setScale: [remember], draw: [drawPeaks] },
    }, [channels.map(axisOf), counts], element("chart"));
    show(shown.from, shown.to);
    element("log").setAttribute("aria-pressed", view.log);
    if (calibrated) element("energy").setAttribute("aria-pressed", view.energy);
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

  for (const id of ["log", "energy", "whole"]) {
    if (element(id)) element(id).addEventListener("click", actions[id]);
  }
  addEventListener("keydown", (event) => {
    if (event.ctrlKey || event.altKey || event.metaKey) return;
    const action = keys[event.key.length === 1 ? event.key.toLowerCase() : event.key];
    if (action) action();
  });
  element("chart").addEventListener("wheel", (event) => {
    event.preventDefault();
    const left = event.clientX - chart.over.getBoundingClientRect().left;
    zoom(event.deltaY < 0 ? 0.8 : 1.25, channelOf(chart.posToVal(left, "x")));
  }, { passive: false });
  addEventListener("resize", () => printing || chart.setSize(size()));
  matchMedia("(prefers-color-scheme: dark)").addEventListener("change", build);
  const onPaper = (paper) => () => {
    printing = paper;
    build();
  };
  addEventListener("beforeprint", onPaper(true));
  addEventListener("afterprint", onPaper(false));

  build();
  // A handle for the console of the browser.
  window.spectrumPlot = { view, counts, get chart() { return chart; } };
})();
