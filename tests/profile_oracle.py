"""Runs the built pxtool on colour profiles in folders made here.

usage: profile_oracle.py PXTOOL PROFILE_FOLDER
"""

import json
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "support"))
import pictures

PXTOOL, PROFILES = map(os.path.abspath, sys.argv[1:3])
ERROR_LINE = r"\Apxtool: [^\n]+\. Hint: [^\n]+\n\Z"


class Profiles(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="pxtool-profiles-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.system = os.path.join(self.folder, "data", "color", "icc", "maker")
        self.user = os.path.join(self.folder, "home", "Quarvo", "Profiles")
        os.makedirs(self.system)

    def put(self, name, data):
        with open(name, "wb") as file:
            file.write(data)
        return name

    def standard(self, name):
        with open(os.path.join(PROFILES, name), "rb") as file:
            return file.read()

    def run_tool(self, *arguments, want=0):
        environment = {"XDG_DATA_HOME": os.path.join(self.folder, "home"),
                       "XDG_DATA_DIRS": os.path.join(self.folder, "data"),
                       "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=" + self.folder + "/none"}
        done = subprocess.run([PXTOOL, "profile", *arguments], capture_output=True, text=True,
                              env=environment, cwd=self.folder)
        self.assertEqual(want, done.returncode, done.stderr)
        if want:
            self.assertRegex(done.stderr, ERROR_LINE)
            self.assertEqual("", done.stdout)
        return done.stdout

    def test_lists_what_is_there(self):
        self.put(os.path.join(self.system, "paper.icc"), pictures.cmyk_profile())
        self.put(os.path.join(self.system, "wide.ICM"), self.standard("ProPhoto.icm"))
        self.put(os.path.join(self.system, "broken.icc"), b"x" * 400)
        listed = json.loads(self.run_tool("list", "--json"))["profiles"]
        self.assertEqual({"paper.icc", "wide.ICM"}, {os.path.basename(r["path"]) for r in listed})
        printers = json.loads(self.run_tool("list", "--printers", "--json"))["profiles"]
        self.assertEqual(["CMYK"], [r["model"] for r in printers])
        self.assertEqual(2, self.run_tool("list").count("\n"))
        self.assertEqual({"profiles": []}, json.loads(self.run_tool("list", "--imported", "--json")))

    def test_shows_one(self):
        shown = json.loads(self.run_tool("info", "prophoto", "--json"))
        self.assertEqual(("prop", "RGB", "2.1", len(self.standard("ProPhoto.icm"))),
                         tuple(shown[key] for key in ("standard", "model", "version", "bytes")))
        lines = self.run_tool("info", os.path.join(PROFILES, "AdobeRGB1998.icc")).splitlines()
        self.assertIn("name: Adobe RGB (1998)", lines)
        self.run_tool("info", "prophota", want=2)
        self.run_tool("info", want=2)

    def test_imports(self):
        data = self.standard("AdobeRGB1998.icc")
        mine = self.put(os.path.join(self.folder, "mine.icc"), data)
        shown = json.loads(self.run_tool("import", "mine.icc", "--json"))
        self.assertEqual(os.path.join(self.user, "mine.icc"), shown["path"])
        with open(shown["path"], "rb") as file:
            self.assertEqual(data, file.read())
        self.run_tool("import", self.put(mine[:-8] + "PROPHOTO.icm", data), want=3)
        self.run_tool("import", self.put(mine[:-8] + "paper.icc", pictures.cmyk_profile()), want=3)
        self.run_tool("import", "gone.icc", want=3)
        self.assertEqual(["mine.icc"], os.listdir(self.user))
        imported = json.loads(self.run_tool("list", "--imported", "--json"))
        self.assertEqual({"profiles": [shown]}, imported)

    def test_knows_no_monitor_here(self):
        self.assertEqual({"source": "none"}, json.loads(self.run_tool("monitor", "--json")))
        self.run_tool("monitor", "x", want=2)
        self.run_tool("monitr", want=2)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=1)
