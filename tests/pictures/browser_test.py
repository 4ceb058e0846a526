"""The HTML page, used in headless Chromium as a person would. Ends with 77 (skipped) without Chromium.

    browser_test.py PLOT_SAMPLES
"""
import base64
import subprocess
import sys

sys.dont_write_bytecode = True  # the folder of the sources stays as it is
import browser as driver

# Whether pixels of the canvas between two heights, at the place of a channel, have the colour of the curve.
CURVE_AT = """
const chart = spectrumPlot.chart, ratio = devicePixelRatio;
const x = chart.valToPos(%s, 'x', true), top = chart.valToPos(%s, 'y', true), bottom = chart.valToPos(%s, 'y', true);
const width = 5, height = Math.max(Math.round(bottom - top), 1);
const pixels = chart.ctx.getImageData(Math.round(x) - 2, Math.round(top), width, height).data;
for (let i = 0; i < pixels.length; i += 4) {
  if (pixels[i] < 60 && pixels[i + 1] < 120 && pixels[i + 2] > 150 && pixels[i + 3] > 200) return true;
}
return false;"""


class BrowserTest(driver.PageTest):
    def scale(self, name):
        return self.browser.run(f"const s = spectrumPlot.chart.scales.{name}; return [s.min, s.max];")

    def assert_scale(self, name, low, high, tolerance):
        minimum, maximum = self.scale(name)
        self.assertAlmostEqual(minimum, low, delta=tolerance)
        self.assertAlmostEqual(maximum, high, delta=tolerance)

    def place(self, x_part, y_part=0.5):
        """A place in the window, as parts of the plotting area."""
        left, top, width, height = self.browser.run(
            "const r = spectrumPlot.chart.over.getBoundingClientRect(); return [r.left, r.top, r.width, r.height];")
        return left + x_part * width, top + y_part * height

    def drag(self, start, end):
        self.browser.mouse(self.place(start), "down", self.place((start + end) / 2), self.place(end), "up")

    def pressed(self, button):
        return self.browser.run(f"return document.getElementById('{button}').getAttribute('aria-pressed');") == "true"

    def test_it_draws_the_peak_where_it_is(self):
        self.open("peaks")
        self.assert_scale("x", 1, 2001, 1e-6)
        self.assertTrue(self.browser.run(CURVE_AT % (600, 9000, 5000)), "the peak at 600 keV")
        self.assertFalse(self.browser.run(CURVE_AT % (500, 9000, 5000)), "nothing beside it")
        self.assertEqual(self.browser.run("return performance.getEntriesByType('resource').length;"), 0)

    def test_a_single_channel_is_seen_among_many(self):
        self.open("crowded")
        for channel in (5000, 9999, 15007):
            self.assertTrue(self.browser.run(CURVE_AT % (channel, 900, 500)), channel)

    def test_dragging_zooms_and_a_double_click_shows_the_whole(self):
        self.open("peaks")
        self.drag(0.25, 0.5)
        self.assert_scale("x", 501, 1001, 5)
        self.assert_scale("y", 0, 12820, 10)
        self.drag(0.5, 0.9)  # the high peak is out of view now, the counts get a scale of their own
        self.assert_scale("x", 751, 951, 5)
        self.assertLess(self.scale("y")[1], 10)
        centre = self.place(0.5)
        self.browser.mouse(centre, "down", "up", "down", "up")
        self.assert_scale("x", 1, 2001, 1e-6)

    def test_zoom_stops_at_a_few_channels_and_at_the_ends(self):
        self.open("peaks")
        for _ in range(20):
            self.browser.press("+")
        low, high = self.scale("x")
        self.assertAlmostEqual(high - low, 8, delta=1e-6)  # 4 channels of 2 keV
        for _ in range(20):
            self.browser.press("-")
        self.assert_scale("x", 1, 2001, 1e-6)

    def test_the_log_switch_lifts_small_counts_and_sets_zeros_on_the_floor(self):
        self.open("peaks")
        small_peak = CURVE_AT % (1400, 20, 15)
        self.browser.click("#log")
        self.assertTrue(self.pressed("log"))
        low, high = self.scale("y")
        self.assertEqual(low, 1)
        self.assertGreater(high, 10000)
        self.assertTrue(self.browser.run(small_peak))
        self.assertFalse(self.browser.run(CURVE_AT % (1900, 3, 1.5)), "zeros lie below one count")
        self.browser.press("l")
        self.assertFalse(self.pressed("log"))
        self.assertEqual(self.scale("y")[0], 0)

    def test_the_axis_switch_keeps_what_is_in_view(self):
        self.open("peaks")
        self.drag(0.25, 0.5)
        low, high = self.scale("x")
        self.browser.click("#energy")
        self.assert_scale("x", low / 2, high / 2, 1e-6)
        self.assertEqual(self.browser.run("return spectrumPlot.chart.axes[0].label;"), "Channel")
        self.browser.press("e")
        self.assert_scale("x", low, high, 1e-6)
        self.assertEqual(self.browser.run("return spectrumPlot.chart.axes[0].label;"), "Energy (keV)")

    def test_the_read_out_tells_channel_energy_and_counts(self):
        self.open("peaks")
        self.browser.mouse(self.place((600 - 1) / 2000))
        text = self.browser.run("return document.getElementById('readout').textContent;")
        self.assertEqual(text.split(), ["channel", "300", "energy", "600.0", "keV", "counts", "10000"])

    def test_a_page_made_with_a_range_begins_with_it(self):
        self.open("ranged")
        self.assertTrue(self.pressed("log"))
        self.assert_scale("x", 399, 801, 1e-6)
        self.browser.click("#whole")
        self.assert_scale("x", 1, 2001, 1e-6)

    def test_odd_counts_arrive_as_they_are(self):
        self.open("odd")
        counts = self.browser.run("return [9, 10, 11, 20, 30].map((i) => String(spectrumPlot.counts[i]));")
        self.assertEqual(counts, ["-2.5", "NaN", "NaN", "7.25", "0"])
        self.assertFalse(self.browser.run("return document.getElementById('energy') !== null;"))
        self.browser.click("#log")
        self.assertGreater(self.scale("y")[0], 0)
        self.open("one")
        self.assert_scale("x", 0.5, 1.5, 1e-6)

    def test_texts_of_the_file_do_nothing(self):
        self.open("hostile")
        self.assertIsNone(self.browser.run("return window.hacked ?? null;"))
        self.assertEqual(self.browser.run("return document.querySelectorAll('script, img').length;"), 3)
        title = self.browser.run("return [document.title, document.querySelector('h1').textContent];")
        for text in title:
            self.assertIn("</script></title><script>window.hacked=1</script>", text)

    def test_printing_leaves_the_page_as_it_was(self):
        self.open("peaks")
        self.drag(0.25, 0.5)
        before = self.scale("x"), self.browser.run("return spectrumPlot.chart.width;")
        self.assertTrue(base64.b64decode(self.browser.print_page()).startswith(b"%PDF"))
        self.assertEqual((self.scale("x"), self.browser.run("return spectrumPlot.chart.width;")), before)


def make_pages(folder):
    status = subprocess.run([sys.argv[1], folder], check=False).returncode
    if status not in (0, driver.SKIPPED):
        sys.exit(f"plot_samples ended with {status}")
    return status == 0


if __name__ == "__main__":
    sys.exit(driver.main(BrowserTest, make_pages))
