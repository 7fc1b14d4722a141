"""Runs the built pxtool on presets made here and reads what it leaves with Python's own libraries.

usage: preset_oracle.py PXTOOL
"""

import json
import os
import plistlib
import random
import shutil
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ElementTree
import zipfile

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "support"))
from pictures import Picture, read_file, read_png, write_file, write_png

PXTOOL = os.path.abspath(sys.argv[1])
SEED = int(os.environ.get("PX_TEST_SEED", "8"))


def curve(name, points, slots=16, **more):
    list_ = [{"controlPointX": -1.0, "controlPointY": -1.0} for _ in range(slots)]
    for x, y in points:
        list_[round((slots - 1) * x)] = {"controlPointX": x, "controlPointY": y}
    return {"presetName": name, "curveVersion": 2, "id": 0, "controlPointCount": slots,
            "controlPoints": list_, "future": {"list": [1, 2.5, "x"], "bytes": b"\0\1"}, **more}


IDENTITY = curve("Plain", [(0.0, 1.0), (1.0, 0.0)])
NEGATIVE = curve("Negative", [(0.0, 0.0), (1.0, 1.0)])


class PresetTool(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="pxtool-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        for index, preset in enumerate((IDENTITY, NEGATIVE, curve("Ten 10", []), curve("Ten 9", []))):
            self.save("Curves/Warm", {**preset, "sortOrder": 4 - index})

    def path(self, name):
        return os.path.join(self.folder, name)

    def save(self, category, preset):
        os.makedirs(self.path(category), exist_ok=True)
        write_file(self.path(f"{category}/{preset['presetName']}.pxcurve"), plistlib.dumps(preset))

    def load(self, name):
        return plistlib.loads(read_file(self.path(name)))

    def run_tool(self, *arguments, code=0):
        result = subprocess.run([PXTOOL, *arguments], capture_output=True, text=True, cwd=self.folder)
        self.assertEqual(code, result.returncode, result.stderr)
        self.assertEqual(code == 0, result.stderr == "")
        return result.stdout

    def test_lists_shows_and_sorts(self):
        names = ["Negative", "Plain", "Ten 9", "Ten 10"]
        for folder in ("Curves", "Curves/.", "Curves/Warm/.."):
            self.assertEqual("Warm\nFavorites\n", self.run_tool("preset", "list", folder))
        self.assertEqual({"presets": names}, json.loads(self.run_tool("preset", "list", "Curves", "Warm", "--json")))
        shown = json.loads(self.run_tool("preset", "show", "Curves", "Warm", "Plain", "--json"))
        want = {**IDENTITY, "sortOrder": 4, "future": {**IDENTITY["future"], "bytes": "0001"}}
        self.assertEqual(want, shown["content"])
        listed = lambda: self.run_tool("preset", "list", "Curves", "Warm", "--sorted").splitlines()
        self.assertEqual(["Ten 9", "Ten 10", "Negative", "Plain"], listed())
        self.run_tool("preset", "sort", "Curves", "Warm", "Plain", "2")
        self.assertEqual(["Ten 9", "Plain", "Ten 10", "Negative"], listed())
        self.run_tool("preset", "sort", "Curves", "Warm")
        self.assertEqual(names, listed())
        self.assertEqual({**IDENTITY, "sortOrder": 2}, self.load("Curves/Warm/Plain.pxcurve"))

    def test_renames_and_lints(self):
        self.assertEqual({"faults": []}, json.loads(self.run_tool("preset", "lint", "Curves", "--json")))
        self.run_tool("preset", "rename", "Curves", "Warm", "Plain", "Simple \u00e9")
        self.assertEqual({**IDENTITY, "presetName": "Simple \u00e9", "sortOrder": 4},
                         self.load("Curves/Warm/Simple \u00e9.pxcurve"))
        self.run_tool("preset", "rename", "Curves", "Warm", "Negative", "../out", code=3)
        write_file(self.path("Curves/Warm/half.pxcurve"), b"<plist><dict>")
        faults = self.run_tool("preset", "lint", "Curves", code=3)
        self.assertEqual("Warm/half.pxcurve: it cannot be read\n", faults)
        self.run_tool("preset", "list", "Missing", code=3)
        self.run_tool("preset", "lst", "Curves", code=2)
        self.assertEqual(["Curves"], os.listdir(self.folder))

    def test_archives_are_plain_zip_both_ways(self):
        self.run_tool("preset", "export", "Curves", "Warm", "warm.zip")
        with zipfile.ZipFile(self.path("warm.zip")) as archive:
            self.assertIsNone(archive.testzip())
            self.assertEqual(NEGATIVE["future"], plistlib.loads(archive.read("Warm/Negative.pxcurve"))["future"])
            self.assertEqual(4, len(archive.namelist()))
        with zipfile.ZipFile(self.path("theirs.zip"), "w", zipfile.ZIP_DEFLATED) as archive:
            archive.writestr("Any/Mine.pxcurve", plistlib.dumps(curve("Mine", []), fmt=plistlib.FMT_BINARY))
        self.run_tool("preset", "import", "Curves", "theirs.zip", "New")
        self.assertEqual("Mine\n", self.run_tool("preset", "list", "Curves", "New"))
        self.run_tool("preset", "import", "Curves", "theirs.zip", "New", code=3)

    def test_lists_change_their_form(self):
        name = "Curves/Warm/Plain.pxcurve"
        self.run_tool("plist", "convert", name, "binary.plist", "--format", "binary")
        self.run_tool("plist", "convert", "binary.plist", "xml.plist")
        self.assertEqual(self.load(name), self.load("binary.plist"))
        self.assertEqual(self.load(name), self.load("xml.plist"))
        self.assertEqual("file: binary.plist\nformat: binary\n", self.run_tool("plist", "lint", "binary.plist"))
        write_file(self.path("bad"), b"<plist><dict>")
        self.assertIsNone(json.loads(self.run_tool("plist", "lint", "bad", "--json", code=3))["format"])

    def test_draws_and_applies_curves(self):
        random.seed(SEED)
        plain, negative = (f"Curves/Warm/{name}.pxcurve" for name in ("Plain", "Negative"))
        samples = json.loads(self.run_tool("curve", "show", negative, "--json"))["samples"]
        self.assertEqual(256, len(samples))
        self.assertTrue(all(abs(s - i / 255) < 1e-6 for i, s in enumerate(samples)))
        self.run_tool("curve", "plot", negative, "curve.svg")
        drawing = ElementTree.parse(self.path("curve.svg")).getroot()
        self.assertEqual(2, len(drawing.findall("{http://www.w3.org/2000/svg}circle")))
        self.run_tool("curve", "plot", negative, "curve.png", "--size", "64")
        pixels = read_png(self.path("curve.png")).samples
        at = lambda x, y: pixels[(y * 64 + x) * 3:(y * 64 + x) * 3 + 3]
        self.assertEqual([20, 20, 20], list(at(40, 40)))  # the curve, from upper left to lower right
        self.assertEqual([160, 160, 160], list(at(40, 23)))  # the identity
        self.assertEqual([255, 255, 255], list(at(55, 40)))
        for depth in (8, 16):
            top = (1 << depth) - 1
            source = [random.randint(0, top) for _ in range(20 * 10 * 3)]
            write_png(self.path("in.png"), Picture(20, 10, depth, 3, source))
            self.run_tool("curve", "apply", plain, "in.png", "same.png", "--force")
            self.assertEqual(source, list(read_png(self.path("same.png")).samples))
            self.run_tool("curve", "apply", negative, "in.png", "out.png", "--force")
            self.assertEqual([top - s for s in source], list(read_png(self.path("out.png")).samples))

    def test_makes_thumbnails(self):
        write_png(self.path("in.png"), Picture(600, 300, 8, 3, [99] * 600 * 300 * 3))
        self.run_tool("preset", "thumbnail", "Curves", "Warm", "Plain", "in.png", "--size", "100")
        picture = read_png(self.path("Curves/Warm/Plain.png"))
        self.assertEqual((100, 50), (picture.width, picture.height))
        self.assertEqual({99}, set(picture.samples))
        self.run_tool("preset", "rename", "Curves", "Warm", "Plain", "Other")
        self.assertTrue(os.path.exists(self.path("Curves/Warm/Other.png")))


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
