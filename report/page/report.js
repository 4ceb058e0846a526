(() => {
  const element = (id) => document.getElementById(id);
  const dataOf = (id) => (element(id) ? JSON.parse(element(id).textContent) : null);
  const kAxisWidth = 64;
  const kPaperScale = 2;  // of the charts on paper, as in the style sheet
  const kPaperWidth = 680;
  const kLeastCount = 1e-3;  // has a place on a logarithmic scale
  const onPaper = (height, width = kPaperWidth) => ({ width: width * kPaperScale, height: height * kPaperScale });
  const sizeOf = (place) => ({ width: Math.max(place.clientWidth, 280), height: Math.max(place.clientHeight, 100) });

  // One value a channel, null where no region was fitted.
  function fittedCurves(fits, first, n) {
    const model = new Array(n).fill(null);
    const continuum = new Array(n).fill(null);
    for (const region of fits) {
      region.model.forEach((count, i) => {
        const at = region.first - first + i;
        if (at < 0 || at >= n || count === null) return;
        model[at] = Math.max(count, kLeastCount);
        continuum[at] = Math.max(region.continuum[i], kLeastCount);
      });
    }
    return { model, continuum };
  }

  const residualsOf = (counts, model) =>
    model.map((expected, i) => (expected > 0 && Number.isFinite(counts[i]) ? (counts[i] - expected) / Math.sqrt(expected) : null));

  // A chart below the spectrum that always shows the same channels.
  function residualChart(place, plot, values) {
    let chart = null;
    let printing = false;
    const span = (u, low, high) => {
      const most = Math.max(4, -(low ?? 0), high ?? 0) * 1.08;
      return [-most, most];
    };
    // Two standard deviations to both sides of 0.
    function drawBand(u) {
      const top = u.valToPos(2, "y", true);
      u.ctx.fillStyle = pageColour("--area", printing);
      u.ctx.fillRect(u.bbox.left, top, u.bbox.width, u.valToPos(-2, "y", true) - top);
    }
    function build() {
      if (chart) chart.destroy();
      const colour = pageColour("--model", printing);
      const scale = printing ? kPaperScale : 1;
      chart = new uPlot({
        ...(printing ? onPaper(130) : sizeOf(place)),
        scales: { x: { time: false, range: (u, min, max) => [min, max] }, y: { range: span } },
        series: [{}, { stroke: colour, paths: () => null, points: { show: true, size: 3 * scale, fill: colour, width: 0 } }],
        axes: [chartAxis(null, printing, scale, { size: 26 * scale, labelSize: 0 }),
               chartAxis("Residual (σ)", printing, scale, { size: kAxisWidth * scale, space: 18 * scale,
                                                            incrs: [2, 5, 10, 20, 50, 100, 1000, 1e4, 1e5] })],
        cursor: { show: false },
        legend: { show: false },
        padding: [6 * scale, 24 * scale, 0, 0],
        hooks: { drawClear: [drawBand] },
      }, [Array.from(plot.channels, plot.axisOf), values], place);
      follow(plot.chart);
    }
    let energy = plot.view.energy;
    // The axis may have changed from energies to channels.
    function follow(main) {
      if (energy !== plot.view.energy) {
        energy = plot.view.energy;
        chart.setData([Array.from(plot.channels, plot.axisOf), values], false);
      }
      chart.setScale("x", { min: main.scales.x.min, max: main.scales.x.max });
    }
    onPalette((paper) => {
      printing = paper;
      build();
    });
    addEventListener("resize", () => printing || chart.setSize(sizeOf(place)));
    build();
    return { follow, get chart() { return chart; } };
  }

  function drawSpectrum(spectrum) {
    const place = element("chart");
    const fits = dataOf("fits");
    const { model, continuum } = fittedCurves(fits, spectrum.first, spectrum.channels);
    let residuals = null;
    const plot = spectrumChart(spectrum, place, {
      size: () => sizeOf(place),
      paper: onPaper(300),
      paperScale: kPaperScale,
      curves: fits.length === 0 ? [] : [
        { values: continuum, colour: "--continuum", width: 1.5, dash: [5, 4] },
        { values: model, colour: "--model", width: 2 },
      ],
      changed: (u) => residuals && residuals.follow(u),
      readOut: (words) => {
        element("readout").textContent = words;
      },
    });
    if (element("residuals")) residuals = residualChart(element("residuals"), plot, residualsOf(plot.counts, model));
    connect(plot, place);
    return { plot, residuals, model, continuum };
  }

  function connect(plot, place) {
    const tellSwitches = () => {
      element("log").setAttribute("aria-pressed", plot.view.log);
      if (element("energy")) element("energy").setAttribute("aria-pressed", plot.view.energy);
    };
    for (const id of ["log", "energy", "whole"]) {
      if (!element(id)) continue;
      element(id).addEventListener("click", () => {
        plot.actions[id]();
        tellSwitches();
      });
    }
    place.addEventListener("keydown", (event) => {
      if (!plot.press(event)) return;
      event.preventDefault();
      tellSwitches();
    });
    for (const button of document.querySelectorAll("button.go")) {
      button.addEventListener("click", () => {
        showChannel(plot, Number(button.dataset.channel));
        place.scrollIntoView({ block: "center" });
        place.focus({ preventScroll: true });
      });
    }
    tellSwitches();
  }

  // The surroundings of a peak: its region, if it has one, with as much again on both sides.
  function showChannel(plot, channel) {
    const region = dataOf("fits").find(({ first, model }) => channel >= first && channel < first + model.length);
    const half = region ? region.model.length : plot.counts.length / 100;
    const centre = region ? region.first + (region.model.length - 1) / 2 : channel;
    plot.show(centre - half, centre + half);
  }

  // Low and high end of an axis that holds all values with some room.
  function spanOf(values, log) {
    const usable = values.filter((value) => Number.isFinite(value) && (!log || value > 0));
    if (usable.length === 0) return log ? [0.1, 1] : [0, 1];
    const low = Math.min(...usable);
    const high = Math.max(...usable);
    if (log) return [low / 1.25, high * 1.25];
    const room = (high - low) * 0.06 || Math.abs(high) * 0.1 || 1;
    return [low >= 0 ? Math.max(0, low - room) : low - room, high + room];
  }

  // 1, 2 and 5 of each decade; log axes alone.
  function logTicks(u, axis, min, max) {
    const ticks = [];
    for (let decade = 10 ** Math.floor(Math.log10(min)); decade <= max; decade *= 10)
      for (const tick of [decade, 2 * decade, 5 * decade]) if (tick >= min && tick <= max) ticks.push(tick);
    return ticks;
  }
  const ticksOf = (log) => (log ? { splits: logTicks, filter: (u, splits) => splits } : {});

  // A calibration: its curve, and its points with their uncertainties; those that were not used are hollow.
  function drawCalibration(place, { x, y, logX, logY, curve, points }) {
    let chart = null;
    let printing = false;
    const spanX = spanOf([...curve.map((p) => p[0]), ...points.map((p) => p[0])], logX);
    const spanY = spanOf([...curve.map((p) => p[1]), ...points.flatMap((p) => [p[1], p[1] - p[2], p[1] + p[2]])], logY);
    function build(paper) {
      printing = paper;
      if (chart) chart.destroy();
      const scale = printing ? kPaperScale : 1;
      const colour = pageColour("--model", printing);
      const ink = pageColour("--ink", printing);
      function drawPoints(u) {
        const radius = 3 * scale * devicePixelRatio;
        const px = (value) => u.valToPos(value, "x", true);
        const py = (value) => u.valToPos(Math.max(value, logY ? spanY[0] : -Infinity), "y", true);
        u.ctx.save();
        u.ctx.strokeStyle = u.ctx.fillStyle = ink;
        u.ctx.lineWidth = scale * devicePixelRatio;
        for (const [at, value, uncertainty, used] of points) {
          if (at === null || value === null || (logX && at <= 0) || (logY && value <= 0)) continue;
          u.ctx.beginPath();
          u.ctx.moveTo(px(at), py(value - uncertainty));
          u.ctx.lineTo(px(at), py(value + uncertainty));
          u.ctx.stroke();
          u.ctx.beginPath();
          u.ctx.arc(px(at), py(value), radius, 0, 2 * Math.PI);
          if (used) u.ctx.fill();
          else u.ctx.stroke();
        }
        u.ctx.restore();
      }
      chart = new uPlot({
        ...(printing ? onPaper(210, 440) : sizeOf(place)),
        scales: { x: { time: false, distr: logX ? 3 : 1, range: () => spanX }, y: { distr: logY ? 3 : 1, range: () => spanY } },
        series: [{}, { stroke: colour, width: 2 * scale, pxAlign: 0, points: { show: false } }],
        axes: [chartAxis(x, printing, scale, { size: 30 * scale, ...ticksOf(logX) }),
               chartAxis(y, printing, scale, { size: 60 * scale, ...ticksOf(logY) })],
        cursor: { show: false },
        legend: { show: false },
        padding: [8 * scale, 16 * scale, 0, 0],
        hooks: { draw: [drawPoints] },
      }, curve.length ? [curve.map((p) => p[0]), curve.map((p) => p[1])] : [spanX, [null, null]], place);
    }
    onPalette(build);
    addEventListener("resize", () => printing || chart.setSize(sizeOf(place)));
    build(false);
    return () => chart;
  }

  const spectrum = dataOf("spectrum");
  const drawn = spectrum ? drawSpectrum(spectrum) : null;
  const calibrations = dataOf("calibrations").map((data, i) => drawCalibration(element(`curve-${i}`), data));
  // A handle for the console of the browser.
  window.spectrumReport = { ...drawn, get residualChart() { return drawn.residuals.chart; }, calibrations };
})();
