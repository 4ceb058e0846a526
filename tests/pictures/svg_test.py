"""The SVG pictures are well-formed XML and show their texts as they are, whatever the texts hold.

    svg_test.py PLOT_SAMPLES
"""
import pathlib
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree

SVG = "{http://www.w3.org/2000/svg}"
PICTURES = ("peaks", "ranged", "crowded", "odd", "hostile", "one")
SKIPPED = 77  # no HTML pages in this build, but the SVG pictures are there


class SvgTest(unittest.TestCase):
    folder = None

    def read(self, name):
        return ElementTree.parse(self.folder / f"{name}.svg").getroot()

    def test_every_picture_is_well_formed_and_draws_a_curve(self):
        for name in PICTURES:
            with self.subTest(name):
                root = self.read(name)
                self.assertEqual(root.tag, SVG + "svg")
                curves = [p for p in root.iter(SVG + "path") if p.get("class") == "curve"]
                self.assertEqual(len(curves), 1)
                self.assertTrue(curves[0].get("d").startswith("M"))

    def test_hostile_texts_become_text(self):
        root = self.read("hostile")
        self.assertIn("</script></title><script>window.hacked=1</script>", root.find(SVG + "title").text)
        known = {"svg", "title", "style", "rect", "path", "text"}
        self.assertEqual({element.tag.removeprefix(SVG) for element in root.iter()} - known, set())
        texts = [element.text or "" for element in root.iter(SVG + "text")]
        self.assertTrue(any(text.startswith("[31m") and text.endswith(" end") for text in texts), texts)


if __name__ == "__main__":
    with tempfile.TemporaryDirectory() as folder:
        status = subprocess.run([sys.argv[1], folder], check=False).returncode
        if status not in (0, SKIPPED):
            sys.exit(f"plot_samples ended with {status}")
        SvgTest.folder = pathlib.Path(folder)
        unittest.main(argv=sys.argv[:1])
