"""The report page, used in headless Chromium as a person would. Ends with 77 (skipped) without Chromium.

    browser_test.py ORB
"""
import json
import pathlib
import subprocess
import sys

sys.dont_write_bytecode = True  # the folder of the sources stays as it is
sys.path.append(str(pathlib.Path(__file__).resolve().parent.parent / "pictures"))
import browser as driver  # noqa: E402

EFFICIENCIES = ["59.5:0.011:0.0004", "122:0.021:0.0006", "344:0.0095:0.0003", "662:0.0052:0.0002", "1408:0.0027:0.0001"]

# Pixels of a chart's canvas that are not transparent.
PIXELS = """
const chart = %s, c = chart.ctx.canvas, data = chart.ctx.getImageData(0, 0, c.width, c.height).data;
let n = 0;
for (let i = 3; i < data.length; i += 4) n += data[i] > 0;
return n;"""


def make_files(orb, folder):
    """A full report and that of an empty file, and the results as orb itself prints them."""
    def run(*arguments):
        return subprocess.run([orb, *arguments], cwd=folder, check=True, capture_output=True, text=True).stdout

    run("simulate", "full.dat", "--nuclides", "Eu-152:3000,K-40:300", "--live-time", "600")
    run("calibrate", "full.dat", "--auto", "Eu-152", *[f"--efficiency={point}" for point in EFFICIENCIES])
    for parameter, value in (("ORB_T_CTITLE", "<script>window.hacked=1</script>\n & 'co'"), ("ORB_T_ACTUNIT", "kBq")):
        run("set", "full.dat", parameter, value)
    results = json.loads(run("analyze", "full.dat", "--json"))
    run("set", "full.dat", "0x20060056", "true", "--record", "2")  # the second peak is explained by nothing
    run("report", "full.dat", "-o", "full.html")
    run("create", "empty.dat", "--channels", "256")
    run("report", "empty.dat", "-o", "empty.html")
    return results


class ReportTest(driver.PageTest):
    results = {}

    def rows(self, table):
        return self.browser.run(f"return [...document.querySelectorAll('#{table} tbody tr')].map("
                                "(row) => [...row.cells].map((cell) => cell.textContent));")

    def assert_pair(self, text, value, uncertainty):
        """A number as printed, with the coverage factor 2."""
        printed, half_width = (float(part) for part in text.split(" ± "))
        self.assertAlmostEqual(printed, value, delta=half_width)
        self.assertAlmostEqual(half_width / (2 * uncertainty), 1, delta=0.06)

    def scale(self, chart, axis="x"):
        return self.browser.run(f"const s = spectrumReport.{chart}.scales.{axis}; return [s.min, s.max];")

    def test_every_chart_is_drawn_and_nothing_is_loaded(self):
        self.open("full")
        for chart in ("spectrumReport.plot.chart", "spectrumReport.residualChart",
                      *[f"spectrumReport.calibrations[{i}]()" for i in range(3)]):
            self.assertGreater(self.browser.run(PIXELS % chart), 5000, chart)
        self.assertEqual(self.browser.run("return performance.getEntriesByType('resource').length;"), 0)

    def test_tables_have_the_rows_of_the_file(self):
        self.open("full")
        rows, peaks = self.rows("peaks"), self.results["peaks"]
        self.assertEqual(len(rows), len(peaks))
        for row, peak in zip(rows, peaks):
            self.assert_pair(row[1], peak["energy_keV"], peak["energy_unc_keV"])
        rows, nuclides = self.rows("nuclides"), self.results["nuclides"]
        self.assertEqual([row[0] for row in rows], ["Eu-152", "K-40"])
        for row, nuclide in zip(rows, nuclides):
            self.assert_pair(row[2], nuclide["activity_bq"] / 1000, nuclide["activity_unc_bq"] / 1000)
        self.assertEqual(len(self.rows("lines")), sum(len(nuclide["lines"]) for nuclide in nuclides))
        rows, limits = self.rows("limits"), self.results["not_found"]
        self.assertEqual([row[0] for row in rows], [limit["name"] for limit in limits])
        for row, limit in zip(rows, limits):
            self.assertAlmostEqual(float(row[2]) / limit["decision_threshold"] * 1000, 1, delta=0.01)
            self.assertAlmostEqual(float(row[3]) / limit["detection_limit"] * 1000, 1, delta=0.01)
        self.assertEqual([row[0] for row in self.rows("unidentified")], ["2"])
        self.assertEqual(len(self.rows("points-2")), len(EFFICIENCIES))

    def test_the_fit_follows_the_counts(self):
        self.open("full")
        n, within = self.browser.run(
            "const { model, plot } = spectrumReport;"
            "const pulls = model.map((m, i) => m === null ? null : (plot.counts[i] - m) / Math.sqrt(m)).filter((p) => p !== null);"
            "return [pulls.length, pulls.filter((p) => Math.abs(p) < 2).length];")
        self.assertGreater(n, 200)
        self.assertGreater(within / n, 0.9)

    def test_zooming_moves_both_charts(self):
        self.open("full")
        left, top, width, height = self.browser.run(
            "const r = spectrumReport.plot.chart.over.getBoundingClientRect(); return [r.left, r.top, r.width, r.height];")
        low, high = self.scale("plot.chart")
        self.browser.mouse((left + 0.25 * width, top + 50), "down", (left + 0.3 * width, top + 50),
                           (left + 0.5 * width, top + 50), "up")
        zoomed = self.scale("plot.chart")
        self.assertAlmostEqual(zoomed[0], low + 0.25 * (high - low), delta=0.01 * (high - low))
        self.assertAlmostEqual(zoomed[1], low + 0.5 * (high - low), delta=0.01 * (high - low))
        self.assertEqual(self.scale("residualChart"), zoomed)
        self.browser.click("#energy")
        self.assertEqual(self.scale("residualChart"), self.scale("plot.chart"))
        self.assertGreater(self.scale("plot.chart", "y")[0], 0)  # logarithmic to begin with
        self.browser.click("#log")
        self.assertEqual(self.scale("plot.chart", "y")[0], 0)
        self.browser.click("#whole")
        self.assertEqual(self.scale("residualChart"), [0.5, 8192.5])

    def test_the_number_of_a_peak_shows_it(self):
        self.open("full")
        self.browser.click("#peak-3 button")
        low, high = self.scale("plot.chart")
        self.assertLess(low, self.results["peaks"][2]["energy_keV"])
        self.assertGreater(high, self.results["peaks"][2]["energy_keV"])
        self.assertLess(high - low, 50)
        self.browser.press("r")  # the chart has the focus now
        self.assertGreater(self.scale("plot.chart")[1], 2000)

    def test_texts_of_the_file_do_nothing(self):
        self.open("full")
        self.assertIsNone(self.browser.run("return window.hacked ?? null;"))
        self.assertEqual(self.browser.run("return document.querySelectorAll('script, img').length;"), 5)
        self.assertEqual(self.browser.run("return document.querySelector('h1').textContent;"),
                         "<script>window.hacked=1</script>  & 'co'")

    def test_a_file_without_results_has_a_page_too(self):
        self.open("empty")
        text = self.browser.run("return document.body.textContent;")
        self.assertIn("No peaks have been searched for", text)
        self.assertIn("No identification has been made", text)
        self.assertGreater(self.browser.run(PIXELS % "spectrumReport.plot.chart"), 5000)
        self.assertFalse(self.browser.run("return document.getElementById('residuals') !== null;"))


def make_pages(folder):
    try:
        ReportTest.results = make_files(str(pathlib.Path(sys.argv[1]).resolve()), folder)
        return True
    except subprocess.CalledProcessError as error:
        if "without HTML pages" in (error.stderr or ""):
            return False
        sys.exit(error.stderr)


if __name__ == "__main__":
    sys.exit(driver.main(ReportTest, make_pages))
