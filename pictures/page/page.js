(() => {
  const element = (id) => document.getElementById(id);
  const place = element("chart");
  const plot = spectrumChart(JSON.parse(element("spectrum").textContent), place, {
    size: () => ({ width: Math.max(place.clientWidth, 280), height: Math.max(place.clientHeight, 280) }),
    paper: { width: 980, height: 540 },
    readOut: (words) => {
      element("readout").textContent = words;
    },
  });

  function tellSwitches() {
    element("log").setAttribute("aria-pressed", plot.view.log);
    if (element("energy")) element("energy").setAttribute("aria-pressed", plot.view.energy);
  }

  for (const id of ["log", "energy", "whole"]) {
    if (!element(id)) continue;
    element(id).addEventListener("click", () => {
      plot.actions[id]();
      tellSwitches();
    });
  }
  addEventListener("keydown", (event) => plot.press(event) && tellSwitches());
  place.addEventListener("wheel", (event) => {
    event.preventDefault();
    const left = event.clientX - plot.chart.over.getBoundingClientRect().left;
    plot.zoom(event.deltaY < 0 ? 0.8 : 1.25, plot.channelOf(plot.chart.posToVal(left, "x")));
  }, { passive: false });
  tellSwitches();
  // A handle for the console of the browser.
  window.spectrumPlot = plot;
})();
