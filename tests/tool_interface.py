"""What the tool has in common over all commands: help, JSON keys beside their documentation, dry
runs, completions in bash, manual pages, diff; profiles in folders made here.

usage: tool_interface.py PXTOOL SOURCE_FOLDER
"""

import contextlib
import json
import os
import plistlib
import pty
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "support"))
import pictures
from pictures import Picture, read_file, write_file

PXTOOL, SOURCE = map(os.path.abspath, sys.argv[1:3])
DOCUMENT = read_file(os.path.join(SOURCE, "doc/pxtool.md")).decode()


def keys_of(value, prefix=""):
    """The paths of all keys, as the documentation writes them."""
    if isinstance(value, dict):
        found = set()
        for key, inner in value.items():
            path = f"{prefix}.{key}" if prefix else key
            found |= {path} if path in ("content", "body") else keys_of(inner, path)
        return found
    if isinstance(value, list):
        return set().union({prefix + "[]"} if not value else set(), *(keys_of(each, prefix + "[]") for each in value[:1] if isinstance(each, dict)),
                           {prefix + "[]"} if value and not isinstance(value[0], dict) else set())
    return {prefix}


class Interface(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="pxtool-interface-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.environment = {"PATH": os.environ["PATH"], "HOME": self.folder, "TMPDIR": self.folder, "XDG_DATA_HOME": self.folder + "/data",
                            "XDG_DATA_DIRS": self.folder + "/shared", "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/none"}
        self.environment.update({name: value for name, value in os.environ.items() if name.endswith("SAN_OPTIONS")})
        self.picture("a.png", [10, 20, 30] * 64)
        self.picture("b.png", [10, 20, 30] * 63 + [13, 20, 30])
        os.makedirs(self.path("Curves/Warm"))
        for name in ("Warm/Plain", "Warm/Other"):
            write_file(self.path(f"Curves/{name}.pxcurve"), plistlib.dumps({"presetName": name[5:]}))
        os.makedirs(self.path("shared/color/icc"))
        write_file(self.path("shared/color/icc/ink.icc"), pictures.made_profile("cmyk.icc"))

    def path(self, name):
        return os.path.join(self.folder, name)

    def picture(self, name, samples, side=8):
        pictures.write_png(self.path(name), Picture(side, side, 8, 3, samples))

    def run_tool(self, *arguments, code=0):
        done = subprocess.run([PXTOOL, *arguments], capture_output=True, text=True, cwd=self.folder, env=self.environment)
        self.assertEqual(code, done.returncode, (arguments, done.stderr))
        if code > 1 and not done.stdout:
            self.assertRegex(done.stderr, r"\Apxtool: [^\n]+\. Hint: [^\n]+\n\Z")
        return done

    def serve(self):
        """The port of a server that runs until the test ends."""
        server = subprocess.Popen([PXTOOL, "serve", "--product", "Test"], stdout=subprocess.PIPE, text=True, env=self.environment)
        self.addCleanup(server.communicate)
        self.addCleanup(server.terminate)
        return server.stdout.readline().split()[-1]

    def commands(self):
        """The names in the help of the tool."""
        return re.findall(r"^  ([a-z]+(?: [a-z]+)?)(?:  |\n)", self.run_tool("--help").stdout, re.M)

    def profiles(self, *arguments):
        return json.loads(self.run_tool("profile", "list", *arguments, "--json").stdout)["profiles"]

    def standard(self, name):
        """The bytes of a profile that comes with the library."""
        folders = json.loads(self.run_tool("doctor", "--json").stdout)["profileFolders"]
        return read_file(os.path.join(folders[0]["folder"], name))

    def test_profiles_are_listed_and_shown(self):
        write_file(self.path("shared/color/icc/wide.ICM"), self.standard("ProPhoto.icm"))
        write_file(self.path("shared/color/icc/broken.icc"), b"x" * 400)
        self.assertEqual({"ink.icc", "wide.ICM"}, {os.path.basename(row["path"]) for row in self.profiles()})
        self.assertEqual(["CMYK"], [row["model"] for row in self.profiles("--printers")])
        self.assertEqual(2, self.run_tool("profile", "list").stdout.count("\n"))
        self.assertEqual([], self.profiles("--imported"))
        shown = json.loads(self.run_tool("profile", "info", "prophoto", "--json").stdout)
        self.assertEqual(("prop", "RGB", "2.1", len(self.standard("ProPhoto.icm"))),
                         tuple(shown[key] for key in ("standard", "model", "version", "bytes")))
        self.assertIn("name: Plain inks\n", self.run_tool("profile", "info", "shared/color/icc/ink.icc").stdout)
        self.assertEqual({"source": "none"}, json.loads(self.run_tool("profile", "monitor", "--json").stdout))
        for row in ("info prophota", "info", "monitor x", "monitr"):
            self.run_tool("profile", *row.split(), code=2)

    def test_profiles_are_imported(self):
        data, user = self.standard("AdobeRGB1998.icc"), self.path("data/Quarvo/Profiles")
        for name in ("mine.icc", "PROPHOTO.icm"):
            write_file(self.path(name), data)
        shown = json.loads(self.run_tool("profile", "import", "mine.icc", "--json").stdout)
        self.assertEqual(os.path.join(user, "mine.icc"), shown["path"])
        self.assertEqual(data, read_file(shown["path"]))
        for name in ("PROPHOTO.icm", "shared/color/icc/ink.icc", "gone.icc"):
            self.run_tool("profile", "import", name, code=3)
        self.assertEqual(["mine.icc"], os.listdir(user))
        self.assertEqual([shown], self.profiles("--imported"))

    def test_json_keys_are_the_documented_ones(self):
        rows = re.findall(r"^\| `([^|]+)` \| (.*) \|$", DOCUMENT, re.M)
        documented = {command: set(re.findall(r"`([A-Za-z0-9.\[\]]+)`", keys)) for command, keys in rows}
        queries = {
            "info": ["a.png"], "diff": ["a.png", "a.png"], "profile list": [], "profile info": ["prophoto"],
            "profile import": [self.path("wide.icc")], "profile monitor": [], "cube measure": ["a.cube", "--to", "adobergb", "--samples", "3"],
            "curve show": ["Curves/Warm/Plain.pxcurve"], "preset show": ["Curves", "Warm", "Plain"], "preset lint": ["Curves"],
            "plist lint": ["Curves/Warm/Plain.pxcurve"], "send": ["echo", "--port", self.serve()], "doctor": [], "selftest": [],
        }
        write_file(self.path("Curves/Warm/stray.txt"), b"")
        self.assertEqual({*queries, "preset list"}, set(documented))
        answering = {name for name in self.commands() if re.search(r"--json\s", self.run_tool(*name.split(), "--help").stdout)}
        self.assertEqual({*documented, "listen"}, answering)  # whose keys are the message's own
        self.run_tool("cube", "make", "a.cube", "--to", "adobergb", "--size", "3")
        write_file(self.path("wide.icc"), self.standard("ProPhoto.icm"))
        for command, arguments in queries.items():
            with self.subTest(command):
                answer = json.loads(self.run_tool(*command.split(), *arguments, "--json", code=3 if command == "preset lint" else 0).stdout)
                found = keys_of(answer)
                self.assertEqual(documented[command], found)
        lists = [json.loads(self.run_tool("preset", "list", "Curves", *category, "--json").stdout) for category in ([], ["Warm"])]
        self.assertEqual(documented["preset list"], keys_of(lists[0]) | keys_of(lists[1]))
        stats = json.loads(self.run_tool("info", "a.png", "--json", "--stats").stdout)["stats"]
        self.assertLessEqual({f"`stats.{key}`" for key in stats}, set(re.findall(r"`[^`]+`", DOCUMENT)))
        self.assertGreater(stats["peakMemoryBytes"], 1 << 20)

    def test_exit_codes_are_the_documented_ones(self):
        rows = dict(re.findall(r"^\| (\d+) \| (.*) \|$", DOCUMENT.replace("`", ""), re.M))
        page = self.run_tool("man").stdout.replace("\\-", "-")
        self.assertEqual(rows, dict(re.findall(r"^\.TP\n\.B (\d+)\n(.*)$", page, re.M)))

    def test_every_command_has_help_completions_and_a_page(self):
        names = self.commands()
        self.assertGreater(len(names), 30)
        os.mkdir(self.path("man"))
        self.run_tool("man", "--into", "man")
        self.assertEqual({f"pxtool-{name.replace(' ', '-')}.1" for name in names} | {"pxtool.1"}, set(os.listdir(self.path("man"))))
        for name in names:
            with self.subTest(name):
                text = self.run_tool(*name.split(), "--help").stdout
                self.assertIn(f"Usage: pxtool {name} ", text)
                self.assertLessEqual(max(map(len, text.splitlines())), 80)
                self.assertNotIn("()", text)
                page = self.path(f"man/pxtool-{name.replace(' ', '-')}.1")
                if shutil.which("groff"):
                    done = subprocess.run(["groff", "-man", "-Tutf8", "-ww", page], capture_output=True, text=True)
                    self.assertEqual("", done.stderr)
                # No line that roff would take for a request of its own.
                self.assertNotRegex(read_file(page), rb"(?m)^[.'](?!(TH|SH|TP|PP|BR?|I|br)\b)")

    def completions(self, shell, name):
        write_file(self.path(name), self.run_tool("completions", shell).stdout.encode())
        return self.path(name)

    def bash_offers(self, lines):
        """What bash offers for the last word of each line."""
        script = self.completions("bash", "completions")
        line = f'source {script}; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _pxtool 2>/dev/null; printf "%s\\n" "${{COMPREPLY[@]}}"'
        return [subprocess.run(["bash", "--norc", "-c", line, "bash", *each.replace("=", " = ").split(" ")], capture_output=True, text=True, cwd=self.folder).stdout
                for each in lines]

    def fish_offers(self, lines):
        script = self.completions("fish", "completions")
        offers = [subprocess.run(["fish", "--no-config", "-c", f"source {script}; complete -C {shlex.quote(each)}"], capture_output=True, text=True, cwd=self.folder,
                                 env=self.environment) for each in lines]
        self.assertEqual("", "".join(each.stderr for each in offers))
        return [re.sub(r"\t.*|^--\w+=", "", each.stdout, flags=re.M) for each in offers]

    def zsh_offers(self, lines):
        """Types the lines at a terminal, each with a tabulator; what is offered is noted on its way to the shell."""
        self.completions("zsh", "_pxtool")
        write_file(self.path(".zshrc"), b"fpath=($ZDOTDIR $fpath); autoload -Uz compinit; compinit -u -D\npxtool() { print ';' >> $ZDOTDIR/offers }\n"
                   b'compadd() {\n local -a hits\n if [[ "$*" != *-[OAD]\\ * ]] { builtin compadd -O hits "$@"; print -l -- $hits >> $ZDOTDIR/offers }\n builtin compadd "$@"\n}\n')
        terminal, other = pty.openpty()
        shell = subprocess.Popen(["zsh", "-d", "-i"], stdin=other, stdout=other, stderr=other, cwd=self.folder, start_new_session=True,
                                 env={**self.environment, "ZDOTDIR": self.folder, "TERM": "dumb"})
        os.close(other)
        os.write(terminal, "".join(line + "\t\n" for line in [*lines, "exit"]).encode())
        with contextlib.suppress(OSError), os.fdopen(terminal, "rb", buffering=0) as screen:  # its end is an error
            while screen.read(4096):
                pass
        shell.wait()
        return read_file(self.path("offers")).decode().split(";")[:-1]

    def test_shells_complete(self):
        rows = {
            "pxtool res": "resize", "pxtool c": "completions convert crop cube curve", "pxtool cube m": "make measure", "pxtool resize --siz": "--size",
            "pxtool resize a.png --filter bi": "bilinear bicubic", "pxtool resize --filter=lan": "lanczos", "pxtool cube make --inte": "--intent",
            "pxtool convert --to prop": "prophoto prophoto22", "pxtool cube apply --cube a.": "a.png", "pxtool preset list --so": "--sorted",
            "pxtool completions ": "bash zsh fish", "pxtool resize --size ": "",
        }
        shells = [shell for shell in ("bash", "zsh", "fish") if shutil.which(shell)]
        for shell in shells:
            offers = getattr(self, shell + "_offers")(rows)
            self.assertEqual(len(rows), len(offers))
            for (line, want), found in zip(rows.items(), offers):
                with self.subTest(shell, line=line):
                    self.assertEqual(set(want.split()), set(found.split()))
        told = subprocess.run(["bash", "--norc", "-c", f"source {self.completions('bash', 'completions')}; complete -p pxtool"], capture_output=True, text=True)
        self.assertIn("-F _pxtool pxtool", told.stdout)

    def test_a_dry_run_writes_nothing_and_force_replaces(self):
        rows = ["resize a.png out.png --size 4x4", "convert a.png out.tif --to adobergb", "mips a.png out.png --levels 1", "cube make out.cube --to srgb",
                "plist convert Curves/Warm/Plain.pxcurve out.plist", "preset export Curves Warm out.zip", "preset rename Curves Warm Plain New",
                "preset sort Curves Warm", "diff a.png a.png --heat out.png", "crop a.png out.jpg --rect 0,0,2,2"]
        list_files = lambda: {name: os.stat(os.path.join(at, name)).st_mtime_ns for at, _, names in os.walk(self.folder) for name in names}
        for row in rows:
            with self.subTest(row):
                before = list_files()
                self.assertIn("would write", self.run_tool(*row.split(), "--dry-run").stdout)
                self.assertEqual(before, list_files())
        for row in rows[:6]:
            with self.subTest(row):
                words = row.split()
                self.run_tool(*words)
                before = list_files()
                self.assertIn("--force", self.run_tool(*words, code=4).stderr)
                self.assertIn("--force", self.run_tool(*words, "--dry-run", code=4).stderr)
                self.assertEqual(before, list_files())
                self.assertIn("would replace", self.run_tool(*words, "--dry-run", "--force").stdout)
                self.run_tool(*words, "--force")
                for name in set(list_files()) - {"a.png", "b.png"}:
                    if name.startswith("out"):
                        os.remove(self.path(name))

    def test_numbers_are_asked_for_with_their_range(self):
        for row, want in {"rotate a.png x.png --angle ninety": "--angle takes a number, not 'ninety'.", "mips a.png x.png --levels 9e9": "--levels takes 1 to 30, not '9e9'.",
                          "serve --port 99999999999": "--port takes 1 to 65535, not '99999999999'."}.items():
            self.assertIn(want, self.run_tool(*row.split(), code=2).stderr)

    def test_diff_measures_thresholds_and_draws(self):
        answer = lambda *options, code=0: json.loads(self.run_tool("diff", "a.png", "b.png", "--json", *options, code=code).stdout)
        found = answer(code=1)
        self.assertEqual((False, 64, 1, 3, 0), (found["alike"], found["pixels"], found["differing"], found["levels"]["max"], found["levels"]["p99"]))
        self.assertAlmostEqual(3 / 192, found["levels"]["mean"])
        self.assertAlmostEqual(61.42, found["psnr"], places=2)  # 10 log10(192 * 255^2 / 9)
        for options in (["--threshold", "3"], ["--max", "2"], ["--profile-aware", "--threshold", "5"]):
            self.assertTrue(answer(*options)["alike"])
        for options in (["--threshold", "2.9"], ["--max", "1"], ["--profile-aware"]):
            self.assertFalse(answer(*options, code=1)["alike"])
        self.assertIsNone(json.loads(self.run_tool("diff", "a.png", "a.png", "--json").stdout)["psnr"])
        self.run_tool("diff", "a.png", "b.png", "--heat", "heat.png", code=1)
        heat = pictures.read_png(self.path("heat.png")).samples
        self.assertEqual(([0] * 189, [255] * 3), (list(heat[:189]), list(heat[189:])))
        self.picture("small.png", [1] * 12, side=2)
        self.assertIn('"sameSize": false', self.run_tool("diff", "a.png", "small.png", "--json", code=1).stdout)
        # The same colours in another profile and depth.
        self.run_tool("convert", "a.png", "wide.tif", "--to", "adobergb")
        self.run_tool("diff", "a.png", "wide.tif", code=1)
        self.run_tool("diff", "a.png", "wide.tif", "--profile-aware", "--threshold", "1")

    def test_doctor_finds_a_cache_folder_that_takes_nothing(self):
        self.assertEqual([], json.loads(self.run_tool("doctor", "--json").stdout)["problems"])
        self.environment["TMPDIR"] = self.path("none")
        self.assertIn("takes no files", self.run_tool("doctor", code=1).stdout)
        self.assertIn("see pxtool doctor", self.run_tool("selftest", code=4).stderr)


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=1)
