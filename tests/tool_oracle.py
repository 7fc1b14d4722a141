"""Runs the built pxtool on pictures made here and compares with independent tools.

usage: tool_oracle.py PXTOOL PROFILE_FOLDER

tificc converts the same pixels; djpeg and cjpeg are the other side of JPEG; PNG, TIFF, EXIF and
profiles are read and written by support/pictures.py.
"""

import dataclasses
import glob
import itertools
import os
import pty
import random
import resource
import shutil
import signal
import stat
import struct
import subprocess
import sys
import tempfile
import time
import unittest
import zlib

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "support"))
import pictures
from pictures import CMYK, GREY, RGB, Picture

PXTOOL, PROFILES = map(os.path.abspath, sys.argv[1:3])
ADOBE = os.path.join(PROFILES, "AdobeRGB1998.icc")
SEED = int(os.environ.get("PX_TEST_SEED", "7"))

# The photographs of a Debian package that the setup installs.
PHOTOGRAPHS = sorted(glob.glob("/usr/share/backgrounds/*.jpg"))


def run(*arguments, cwd=None, **options):
    return subprocess.run([PXTOOL, *arguments], capture_output=True, text=True, cwd=cwd, **options)


def smooth(width, height, depth, channels, icc=None, opaque_alpha=False):
    """Slow waves with a touch of noise, so that every filter and predictor has something to do."""
    random.seed(SEED)
    top, out = (1 << depth) - 1, []
    for y, x, c in itertools.product(range(height), range(width), range(channels)):
        wave = (x * (c + 2) / width / 4 + y * (3 - c) / height / 5 + c * 0.21) % 1
        wave = 1 - abs(2 * wave - 1)
        value = min(max(round(wave * top) + random.randint(-2, 2), 0), top)
        is_alpha = channels in (2, 4) and c == channels - 1 and opaque_alpha
        out.append(top if is_alpha else value)
    return Picture(width, height, depth, channels, out, icc)


def worst(a, b):
    assert len(a) == len(b), (len(a), len(b))
    return max((abs(x - y) for x, y in zip(a, b)), default=0)


def content(path):
    with open(path, "rb") as file:
        return file.read()


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="pxtool-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.cmyk = self.file("cmyk.icc", pictures.cmyk_profile())
        self.grey = self.file("grey.icc", pictures.grey_profile())

    def path(self, name):
        return os.path.join(self.folder, name)

    def file(self, name, content):
        with open(self.path(name), "wb") as file:
            file.write(content)
        return self.path(name)

    def convert(self, source, target, to, *options, code=0):
        """Runs a conversion; a failure must say one line and leave no file."""
        before = set(os.listdir(self.folder))
        done = run("convert", self.path(source), self.path(target), "--to", to, *options)
        self.assertEqual(code, done.returncode, done.stderr)
        if code:
            self.assertRegex(done.stderr, r"\Apxtool: [^\n]+\. Hint: [^\n]+\n\Z")
            self.assertEqual(before, set(os.listdir(self.folder)))
        else:
            self.assertEqual("", done.stdout + done.stderr)
            self.assertEqual(before | {target}, set(os.listdir(self.folder)))
        return done.stderr

    def read(self, name):
        if name.endswith(".png"):
            return pictures.read_png(self.path(name))
        if name.endswith(".tif"):
            return pictures.read_tiff(self.path(name))
        plain = subprocess.run(["djpeg", "-dct", "int", self.path(name)], capture_output=True, check=True)
        return pictures.read_pnm(plain.stdout)

    def oracle(self, picture, photometric, source_profile, target_profile, intent=1):
        """The picture's colours as tificc converts them."""
        # As one row: tificc cuts its output into strips of its own height, which holds only then.
        row = dataclasses.replace(picture, width=picture.width * picture.height, height=1, icc=None)
        pictures.write_tiff(self.path("_in.tif"), row, photometric)
        command = ["tificc", f"-t{intent}", "-b", "-n", "-w", str(picture.depth), "-i", source_profile, "-o", target_profile]
        subprocess.run([*command, self.path("_in.tif"), self.path("_out.tif")], capture_output=True, check=True)
        converted = pictures.read_tiff(self.path("_out.tif"))
        os.remove(self.path("_in.tif"))
        os.remove(self.path("_out.tif"))
        return converted


SRGB = "*sRGB"

# Name, colour channels, TIFF photometric, alpha, and which profile is embedded.
MODELS = [
    ("grey", 1, GREY, False, None),
    ("grey with profile", 1, GREY, False, "grey"),
    ("grey with alpha", 1, GREY, True, None),
    ("grey with profile and alpha", 1, GREY, True, "grey"),
    ("RGB", 3, RGB, False, None),
    ("RGB with profile", 3, RGB, False, "adobe"),
    ("RGB with alpha", 3, RGB, True, None),
    ("CMYK", 4, CMYK, False, "cmyk"),
]


class Pixels(ToolTest):
    def targets(self):
        return [("adobergb", ADOBE, 3), (self.grey, self.grey, 1), (self.cmyk, self.cmyk, 4), ("srgb", SRGB, 3)]

    def profile_of(self, name):
        return {None: SRGB, "grey": self.grey, "adobe": ADOBE, "cmyk": self.cmyk}[name]

    def write_source(self, name, picture, photometric, alpha):
        if name.endswith(".png"):
            pictures.write_png(self.path(name), picture)
        else:
            pictures.write_tiff(self.path(name), picture, photometric, extra=2 if alpha else None)

    def check(self, source, target, to, expected, alpha, depth):
        self.convert(source, target, to)
        got = self.read(target)
        colours = expected.channels
        self.assertEqual((depth, colours + (alpha is not None)), (got.depth, got.channels))
        self.assertLessEqual(worst(expected.samples, got.channels_of(0, colours).samples), 1)
        if alpha is not None:
            self.assertEqual(alpha, got.channels_of(colours, 1).samples)

    def test_every_model_depth_and_target_agrees_with_tificc(self):
        for (name, colours, photometric, has_alpha, profile), depth, ending, target in itertools.product(
            MODELS, (8, 16), (".png", ".tif"), self.targets()
        ):
            if colours == 4 and ending == ".png":
                continue
            to, to_path, to_colours = target
            if has_alpha and to_colours == 4:
                continue
            with self.subTest(model=name, depth=depth, source=ending, to=os.path.basename(to)):
                source_profile = self.profile_of(profile)
                icc = None if profile is None else content(source_profile)
                picture = smooth(37, 23, depth, colours + has_alpha, icc)
                self.write_source("in" + ending, picture, photometric, has_alpha)
                plain = picture.channels_of(0, colours)
                alpha = picture.channels_of(colours, 1).samples if has_alpha else None
                if colours == 1 and profile is None:  # grey without a profile is RGB with equal parts
                    tripled = [s for s in plain.samples for _ in range(3)]
                    plain, photometric_in = Picture(37, 23, depth, 3, tripled), RGB
                else:
                    photometric_in = photometric
                expected = self.oracle(plain, photometric_in, source_profile, to_path)
                for out in (".tif",) if to_colours == 4 else (".png", ".tif"):
                    self.check("in" + ending, "out" + out, to, expected, alpha, depth)
                    os.remove(self.path("out" + out))
                os.remove(self.path("in" + ending))

    def test_jpeg_in_agrees_with_djpeg_and_tificc(self):
        for colours, options in itertools.product((1, 3), ([], ["-progressive"], ["-arithmetic"], ["-restart", "1"])):
            with self.subTest(colours=colours, options=options):
                pictures.write_pnm(self.path("in.pnm"), smooth(67, 45, 8, colours))
                cjpeg = ["cjpeg", "-quality", "95", *options, "-outfile", self.path("in.jpg")]
                subprocess.run([*cjpeg, self.path("in.pnm")], check=True)
                decoded = self.read("in.jpg")
                if colours == 1:
                    decoded = Picture(67, 45, 8, 3, [s for s in decoded.samples for _ in range(3)])
                expected = self.oracle(decoded, RGB, SRGB, ADOBE)
                self.check("in.jpg", "out.png", "adobergb", expected, None, 8)
                os.remove(self.path("out.png"))

    def test_jpeg_out_is_close_and_whole_in_colour(self):
        for depth, (name, colours, photometric) in itertools.product(
            (8, 16), (("grey", 1, GREY), ("RGB", 3, RGB))
        ):
            with self.subTest(depth=depth, model=name):
                picture = smooth(64, 48, depth, colours, content(self.grey) if colours == 1 else None)
                pictures.write_tiff(self.path("in.tif"), picture, photometric)
                self.convert("in.tif", "out.jpg", self.grey if colours == 1 else "srgb", "--quality", "100")
                got = self.read("out.jpg")
                scale = 1 if depth == 8 else 257
                self.assertLessEqual(worst([round(s / scale) for s in picture.samples], got.samples), 4)
                self.assertEqual([0x11] * colours, pictures.read_jpeg_facts(self.path("out.jpg"))[3])
                small = os.path.getsize(self.path("out.jpg"))
                self.convert("in.tif", "out.jpg", self.grey if colours == 1 else "srgb", "--quality", "30")
                self.assertLess(os.path.getsize(self.path("out.jpg")), small)
                os.remove(self.path("out.jpg"))

    def test_cmyk_jpeg_survives_a_round_trip_and_jpgicc_reads_it(self):
        picture = smooth(64, 48, 8, 4, content(self.cmyk))
        pictures.write_tiff(self.path("in.tif"), picture, CMYK)
        self.convert("in.tif", "out.jpg", self.cmyk, "--quality", "100")
        self.convert("out.jpg", "back.tif", self.cmyk)
        first = self.oracle(picture, CMYK, self.cmyk, self.cmyk)
        second = self.oracle(first, CMYK, self.cmyk, self.cmyk)
        self.assertLessEqual(worst(second.samples, self.read("back.tif").samples), 12)
        jpgicc = ["jpgicc", "-t1", "-b", "-q100", "-o", SRGB, self.path("out.jpg"), self.path("theirs.jpg")]
        subprocess.run(jpgicc, check=True, capture_output=True)
        self.convert("out.jpg", "ours.png", "srgb")
        ours, theirs = self.read("ours.png").samples, self.read("theirs.jpg").samples
        self.assertLess(sum(abs(a - b) for a, b in zip(ours, theirs)) / len(ours), 3)

    def test_perceptual_intent_and_from_are_heeded(self):
        picture = smooth(37, 23, 8, 3)
        pictures.write_tiff(self.path("in.tif"), picture, RGB)
        self.convert("in.tif", "out.tif", self.cmyk, "--from", ADOBE, "--intent", "perceptual")
        expected = self.oracle(picture, RGB, ADOBE, self.cmyk, intent=0)
        self.assertLessEqual(worst(expected.samples, self.read("out.tif").samples), 1)

    def test_bands_do_not_change_a_byte(self):
        pictures.write_png(self.path("in.png"), smooth(9, 2311, 16, 3))
        outputs = set()
        for bands in ("1", "2", "3", "64"):
            self.convert("in.png", "out.png", "prophoto", "--bands", bands)
            with open(self.path("out.png"), "rb") as file:
                outputs.add(file.read())
        self.assertEqual(1, len(outputs))

    def test_photograph(self):
        self.assertTrue(PHOTOGRAPHS, "no photographs in /usr/share/backgrounds: install lomiri-wallpapers-16.04")
        photograph = min(PHOTOGRAPHS, key=os.path.getsize)
        shutil.copy(photograph, self.path("in.jpg"))
        self.convert("in.jpg", "out.tif", "adobergb")
        plain = subprocess.run(["djpeg", "-dct", "int", photograph], capture_output=True, check=True)
        head, samples = plain.stdout[:20], pictures.read_pnm(plain.stdout)
        self.assertTrue(head.startswith(b"P6"))
        got = self.read("out.tif")
        self.assertEqual((samples.width, samples.height), (got.width, got.height))
        # Every 13th row goes through tificc; the rest went through the same code.
        rows = range(0, samples.height, 13)
        stride = samples.width * 3
        some = lambda p: [s for y in rows for s in p.samples[y * stride : (y + 1) * stride]]
        part = Picture(samples.width, len(rows), 8, 3, some(samples))
        self.assertLessEqual(worst(self.oracle(part, RGB, SRGB, ADOBE).samples, some(got)), 1)


class Storage(ToolTest):
    def test_every_form_of_tiff_reads_alike(self):
        random.seed(SEED)
        forms = [
            dict(order=order, big=big, planar=planar, tile=tile, deflate=deflate)
            for order in "<>"
            for big in (False, True)
            for planar in (False, True)
            for tile in (None, 16)
            for deflate in (False, True)
        ]
        for depth, (channels, photometric, extra) in itertools.product((8, 16), ((1, GREY, None), (3, RGB, None), (4, RGB, 2))):
            picture = smooth(37, 23, depth, channels)
            pictures.write_png(self.path("plain.png"), picture)
            self.convert("plain.png", "plain-out.png", "adobergb")
            expected = self.read("plain-out.png").samples
            for form in forms:
                with self.subTest(depth=depth, channels=channels, **form):
                    pictures.write_tiff(self.path("in.tif"), picture, photometric, extra=extra, **form)
                    self.convert("in.tif", "out.png", "adobergb")
                    self.assertEqual(expected, self.read("out.png").samples)
                    os.remove(self.path("out.png"))

    def test_every_compression_of_tiffcp_reads_alike(self):
        pictures.write_tiff(self.path("in.tif"), smooth(64, 40, 8, 3), RGB)
        self.convert("in.tif", "plain.png", "adobergb")
        for compression in ("none", "lzw", "lzw:2", "zip", "zip:2", "packbits", "lzma", "zstd"):
            with self.subTest(compression=compression):
                copy = ["tiffcp", "-c", compression, self.path("in.tif"), self.path("packed.tif")]
                subprocess.run(copy, check=True)
                self.convert("packed.tif", "out.png", "adobergb")
                self.assertEqual(self.read("plain.png").samples, self.read("out.png").samples)
                os.remove(self.path("out.png"))
        for mode in ("jpeg:95", "jpeg:r:95"):
            subprocess.run(["tiffcp", "-r", "16", "-c", mode, self.path("in.tif"), self.path("packed.tif")], check=True)
            self.convert("packed.tif", "out.png", "adobergb")
            self.assertLess(worst(self.read("plain.png").samples, self.read("out.png").samples), 60)
            os.remove(self.path("out.png"))

    def test_fax_and_small_samples(self):
        rows = ["1100110011", "0000000000", "1111100000", "1010101010"]
        packed = [bytes([int(r[:8], 2), int(r[8:] + "000000", 2)]) for r in rows]
        want = [255 * int(b) for r in rows for b in r]
        for photometric in (GREY, pictures.BILEVEL_WHITE):
            tiff = pictures.TiffWriter()
            for field in ((256, 4, 10), (257, 4, 4), (258, 3, 1), (259, 3, 1), (262, 3, photometric), (277, 3, 1), (278, 4, 4)):
                tiff.field(*field)
            tiff.write(self.path("bits.tif"), [b"".join(packed)])
            for compression in ("none", "g3", "g4", "packbits"):
                with self.subTest(photometric=photometric, compression=compression):
                    subprocess.run(["tiffcp", "-c", compression, self.path("bits.tif"), self.path("in.tif")], check=True)
                    self.convert("in.tif", "out.png", "srgb")
                    got = self.read("out.png").channels_of(0, 1).samples
                    self.assertEqual(want if photometric == GREY else [255 - s for s in want], got)
                    os.remove(self.path("out.png"))

    def test_palettes(self):
        colours = [(10, 20, 30), (200, 100, 50), (0, 255, 128), (255, 255, 255)]
        for wide in (257, 1):
            tiff = pictures.TiffWriter()
            for field in ((256, 4, 4), (257, 4, 1), (258, 3, 4), (259, 3, 1), (262, 3, 3), (277, 3, 1), (278, 4, 1)):
                tiff.field(*field)
            tiff.field(320, 3, *[wide * v for c in range(3) for v in [k[c] for k in colours] + [0] * 12])
            tiff.write(self.path("in.tif"), [b"\x01\x23"])
            self.convert("in.tif", "out.png", "srgb")
            flat = [v for colour in colours for v in colour]
            self.assertLessEqual(worst(flat, self.read("out.png").samples), 1)
            os.remove(self.path("out.png"))

    def test_png_palettes_and_small_samples(self):
        colours = [(10, 20, 30), (200, 100, 50), (0, 255, 128), (255, 255, 255)]
        indexes = [0, 1, 2, 3, 3, 2, 1, 0, 1]
        for bits in (2, 4, 8):
            for alphas in (None, [7, 255, 128]):
                packed = int("".join(f"{i:0{bits}b}" for i in indexes).ljust(72, "0"), 2).to_bytes(9, "big")
                chunks = [(b"IHDR", struct.pack(">IIBBBBB", 9, 1, bits, 3, 0, 0, 0)), (b"PLTE", bytes(sum(colours, ())))]
                if alphas:
                    chunks.append((b"tRNS", bytes(alphas)))
                chunks += [(b"IDAT", zlib.compress(b"\0" + packed[: (9 * bits + 7) // 8])), (b"IEND", b"")]
                self.file("in.png", b"\x89PNG\r\n\x1a\n" + b"".join(pictures.png_chunk(*c) for c in chunks))
                self.convert("in.png", "out.png", "srgb")
                got = self.read("out.png")
                self.assertLessEqual(worst([v for i in indexes for v in colours[i]], got.channels_of(0, 3).samples), 1)
                if alphas:
                    self.assertEqual([(alphas + [255])[i] for i in indexes], got.channels_of(3, 1).samples)
                os.remove(self.path("out.png"))
        grey = [(b"IHDR", struct.pack(">IIBBBBB", 8, 1, 1, 0, 0, 0, 0)), (b"IDAT", zlib.compress(b"\0\xa5")), (b"IEND", b"")]
        self.file("in.png", b"\x89PNG\r\n\x1a\n" + b"".join(pictures.png_chunk(*c) for c in grey))
        self.convert("in.png", "out.png", "srgb")
        self.assertEqual([255 * int(b) for b in "10100101"], self.read("out.png").channels_of(0, 1).samples)

    def test_interlaced_png_reads_like_a_plain_one(self):
        for depth, channels in itertools.product((8, 16), (1, 2, 3, 4)):
            picture = smooth(29, 19, depth, channels)
            pictures.write_png(self.path("a.png"), picture)
            pictures.write_png(self.path("b.png"), picture, interlaced=True)
            self.convert("a.png", "a-out.png", "adobergb")
            self.convert("b.png", "b-out.png", "adobergb")
            self.assertEqual(self.read("a-out.png").samples, self.read("b-out.png").samples)
            os.remove(self.path("b-out.png"))
            os.remove(self.path("a-out.png"))

    def test_associated_alpha_is_divided_out(self):
        straight = [200, 100, 50, 128, 255, 0, 7, 255, 90, 80, 70, 0, 10, 250, 128, 64]
        for depth in (8, 16):
            top, scale = (255, 1) if depth == 8 else (65535, 257)
            wide = [s * scale for s in straight]
            multiplied = [
                v if i % 4 == 3 else round(v * wide[i // 4 * 4 + 3] / top) for i, v in enumerate(wide)
            ]
            pictures.write_tiff(self.path("in.tif"), Picture(4, 1, depth, 4, multiplied), RGB, extra=1)
            self.convert("in.tif", "out.png", "srgb")
            got = self.read("out.png").samples
            want = [0 if i // 4 == 2 and i % 4 < 3 else v for i, v in enumerate(wide)]
            self.assertLessEqual(worst(want, got), 3 if depth == 8 else 8)
            os.remove(self.path("out.png"))

    def test_transparency(self):
        for ending in (".png", ".tif"):
            picture = smooth(8, 8, 16, 4)
            opaque = smooth(8, 8, 16, 4, opaque_alpha=True)
            for name, one in (("clear", picture), ("opaque", opaque)):
                if ending == ".png":
                    pictures.write_png(self.path(name + ending), one)
                else:
                    pictures.write_tiff(self.path(name + ending), one, RGB, extra=2)
            self.assertIn("transparent", self.convert("clear" + ending, "out.jpg", "srgb", code=4))
            self.assertIn("transparent", self.convert("clear" + ending, "out.tif", self.cmyk, code=4))
            self.convert("opaque" + ending, "out.jpg", "srgb")
            os.remove(self.path("out.jpg"))

    def test_refusals(self):
        rgb = smooth(8, 8, 8, 3)
        extra_fields = {
            "float": [(339, 3, 3, 3, 3)],
            "signed": [(339, 3, 2, 2, 2)],
            "Lab": [(262, 3, 8)],
            "preview": [(254, 4, 1)],
            "compression": [(259, 3, 6)],
        }
        for word, fields in extra_fields.items():
            with self.subTest(word):
                pictures.write_tiff(self.path("in.tif"), rgb, RGB, fields=fields)
                self.assertRegex(self.convert("in.tif", "out.png", "srgb", code=3), word)
        pictures.write_tiff(self.path("in.tif"), smooth(8, 8, 8, 4), RGB, extra=0)
        self.assertIn("unknown meaning", self.convert("in.tif", "out.png", "srgb", code=3))
        pictures.write_tiff(self.path("in.tif"), smooth(8, 8, 8, 4), CMYK)
        self.assertIn("--from", self.convert("in.tif", "out.tif", "srgb", code=3))
        self.assertIn("CMYK", self.convert("in.tif", "out.png", self.cmyk, code=4))
        pictures.write_tiff(self.path("a.tif"), rgb, RGB)
        subprocess.run(["tiffcp", self.path("a.tif"), self.path("a.tif"), self.path("in.tif")], check=True)
        self.assertIn("more than one page", self.convert("in.tif", "out.png", "srgb", code=3))
        self.file("text.jpg", b"no picture at all")
        self.assertIn("neither", self.convert("text.jpg", "out.png", "srgb", code=3))
        self.file("empty.png", b"")
        self.assertIn("empty", self.convert("empty.png", "out.png", "srgb", code=3))

    def test_profiles_that_do_not_fit(self):
        pictures.write_png(self.path("in.png"), smooth(8, 8, 8, 3))
        self.assertIn("grey", self.convert("in.png", "out.png", "srgb", "--from", self.grey, code=3))
        broken = self.file("broken.icc", pictures.grey_profile()[:150])
        self.assertIn("not a valid", self.convert("in.png", "out.png", broken, code=3))
        self.assertIn("no such", self.convert("in.png", "out.png", self.path("x/none.icc"), code=3))
        for ending in (".png", ".tif"):
            picture = smooth(8, 8, 8, 3, icc=b"\0\0\0\x90" + b"rubbish!" * 18)
            if ending == ".png":
                pictures.write_png(self.path("in" + ending), picture)
            else:
                pictures.write_tiff(self.path("in" + ending), picture, RGB)
            self.assertIn("profile is damaged", self.convert("in" + ending, "out.png", "srgb", code=3))
            self.convert("in" + ending, "out.png", "srgb", "--from", "srgb")
            os.remove(self.path("out.png"))


# Where each pixel of the upright picture comes from: columns and rows of the stored one.
UPRIGHT = {
    1: lambda w, h, x, y: (x, y),
    2: lambda w, h, x, y: (w - 1 - x, y),
    3: lambda w, h, x, y: (w - 1 - x, h - 1 - y),
    4: lambda w, h, x, y: (x, h - 1 - y),
    5: lambda w, h, x, y: (y, x),
    6: lambda w, h, x, y: (y, h - 1 - x),
    7: lambda w, h, x, y: (w - 1 - y, h - 1 - x),
    8: lambda w, h, x, y: (w - 1 - y, x),
}


class Facts(ToolTest):
    def turned(self, picture, orientation):
        w, h = picture.width, picture.height
        size = (w, h) if orientation < 5 else (h, w)
        samples = []
        for y in range(size[1]):
            for x in range(size[0]):
                samples += picture.pixel(*UPRIGHT[orientation](w, h, x, y))
        return Picture(*size, picture.depth, picture.channels, samples)

    def test_orientation_turns_the_pixels(self):
        for depth, channels in ((8, 3), (16, 3), (8, 4), (16, 4), (8, 1), (16, 2)):
            # Larger than the squares that a turn works in.
            picture = smooth(131, 70, depth, channels) if channels == 3 else smooth(21, 14, depth, channels)
            picture.dpi = (300, 150)
            pictures.write_png(self.path("plain.png"), picture)
            self.convert("plain.png", "plain-out.png", "adobergb")
            plain = self.read("plain-out.png")
            os.remove(self.path("plain-out.png"))
            for orientation in range(1, 9):
                with self.subTest(depth=depth, channels=channels, orientation=orientation):
                    want = self.turned(plain, orientation)
                    pictures.write_tiff(
                        self.path("in.tif"), picture, GREY if channels < 3 else RGB,
                        extra=2 if channels in (2, 4) else None, orientation=orientation)
                    picture.exif = pictures.make_exif("<>"[orientation % 2], orientation)
                    pictures.write_png(self.path("in.png"), picture)
                    for source, target in (("in.tif", "out.png"), ("in.png", "out.tif")):
                        self.convert(source, target, "adobergb")
                        got = self.read(target)
                        self.assertEqual((want.width, want.height), (got.width, got.height))
                        self.assertEqual(want.samples, got.samples)
                        dpi = (150, 300) if orientation >= 5 else (300, 150)
                        self.assertEqual(dpi, tuple(round(d) for d in got.dpi))
                        os.remove(self.path(target))

    def test_exif_is_kept_and_made_true(self):
        pictures.write_pnm(self.path("in.pnm"), smooth(40, 24, 8, 3))
        for order, orientation, to, ending in itertools.product("<>", (1, 3, 6), ("srgb", "adobergb"), (".jpg", ".png")):
            with self.subTest(order=order, orientation=orientation, to=to, ending=ending):
                subprocess.run(["cjpeg", "-outfile", self.path("in.jpg"), self.path("in.pnm")], check=True)
                exif = pictures.make_exif(order, orientation, color_space=7, width=40, height=24)
                pictures.insert_jpeg_segment(self.path("in.jpg"), 0xE1, b"Exif\0\0" + exif)
                self.convert("in.jpg", "out" + ending, to)
                out = self.path("out" + ending)
                kept = pictures.read_jpeg_facts(out)[1] if ending == ".jpg" else self.read("out.png").exif
                self.assertEqual(len(exif), len(kept))
                fields, following = pictures.read_exif(kept)
                self.assertEqual([1], fields[0x112])
                self.assertEqual(b"Nobody Ltd\0", fields[0x10F])
                self.assertEqual([1] if to == "srgb" else [0xFFFF], fields[0xA001])
                sides = (24, 40) if orientation == 6 else (40, 24)
                self.assertEqual(sides, (fields[0xA002][0], fields[0xA003][0]))
                self.assertEqual((150, 300) if orientation == 6 else (300, 150), (fields[0x11A][0], fields[0x11B][0]))
                self.assertEqual(orientation == 1, following != 0)
                os.remove(out)

    def test_resolution_is_kept(self):
        picture = smooth(16, 16, 8, 3)
        picture.dpi = (300, 240)
        pictures.write_png(self.path("in.png"), picture)
        pictures.write_tiff(self.path("in.tif"), picture, RGB)
        for source in ("in.png", "in.tif"):
            self.convert(source, "out.jpg", "srgb")
            self.assertEqual((300, 240), pictures.read_jpeg_facts(self.path("out.jpg"))[2])
            for target in ("out.png", "out.tif"):
                self.convert("out.jpg", target, "srgb")
                self.assertEqual((300, 240), tuple(round(d) for d in self.read(target).dpi))
                os.remove(self.path(target))
            self.convert(source, "ink.jpg", self.cmyk)
            exif = pictures.read_exif(pictures.read_jpeg_facts(self.path("ink.jpg"))[1])[0]
            self.assertEqual((300, 240), (round(exif[0x11A][0]), round(exif[0x11B][0])))
            os.remove(self.path("ink.jpg"))
            os.remove(self.path("out.jpg"))

    def test_the_destination_profile_is_embedded(self):
        pictures.write_png(self.path("in.png"), smooth(16, 16, 8, 3))
        found = []
        for target in ("out.jpg", "out.png", "out.tif"):
            self.convert("in.png", target, ADOBE)
            path = self.path(target)
            found.append(pictures.read_jpeg_facts(path)[0] if target == "out.jpg" else self.read(target).icc)
        self.assertEqual(1, len(set(found)))
        # Saving a profile names the platform it was saved on, and nothing else differs.
        original = content(ADOBE)
        self.assertEqual(original[:40] + original[44:], found[0][:40] + found[0][44:])


class Behaviour(ToolTest):
    def test_wrong_arguments_end_with_2_and_a_hint(self):
        pictures.write_png(self.path("in.png"), smooth(4, 4, 8, 3))
        rows = [
            ([], "see"),
            (["convrt", "in.png", "out.png"], "'convert'"),
            (["convert"], "see"),
            (["convert", "in.png", "out.png"], "--to"),
            (["convert", "in.png", "out.png", "--to"], "--to"),
            (["convert", "in.png", "out.png", "--to", "adobrgb"], "'adobergb'"),
            (["convert", "in.png", "out.png", "--to", "Prophoto-22"], "'prophoto22'"),
            (["convert", "in.png", "out.png", "--to", "AdobeRGB1989.icc"], "'AdobeRGB1998.icc'"),
            (["convert", "in.png", "out.png", "--to", "zzzzzz"], "prophoto22"),
            (["convert", "in.png", "out.png", "--to", ""], "prophoto22"),
            (["convert", "in.png", "out.png", "--to", "srgb", "--from", "srbg"], "'srgb'"),
            (["convert", "in.png", "out.png", "--to", "srgb", "--qualty", "3"], "'--quality'"),
            (["convert", "in.png", "out.png", "--to", "srgb", "--quality", "0"], "see"),
            (["convert", "in.png", "out.png", "--to", "srgb", "--quality", "high"], "see"),
            (["convert", "in.png", "out.png", "--to", "srgb", "--bands", "-1"], "see"),
            (["convert", "in.png", "out.png", "--to", "srgb", "--intent", "perceptul"], "'perceptual'"),
            (["convert", "in.png", "out.webp", "--to", "srgb"], ".tif"),
            (["convert", "in.png", "png", "--to", "srgb"], ".tif"),
            (["convert", "in.png", "out.png", "more.png", "--to", "srgb"], "see"),
        ]
        for arguments, hint in rows:
            with self.subTest(arguments):
                done = run(*arguments, cwd=self.folder)
                self.assertEqual(2, done.returncode, done.stderr)
                self.assertRegex(done.stderr, r"\Apxtool: [^\n]+\. Hint: [^\n]+\n\Z")
                self.assertIn(hint, done.stderr)
                self.assertEqual({"in.png", "cmyk.icc", "grey.icc"}, set(os.listdir(self.folder)))

    def test_help_and_version_go_to_standard_output(self):
        for arguments, word in ((["--help"], "convert"), (["convert", "--help"], "PROFILE"), (["--version"], "pxtool ")):
            done = run(*arguments)
            self.assertEqual((0, ""), (done.returncode, done.stderr))
            self.assertIn(word, done.stdout)

    def test_names_of_profiles(self):
        pictures.write_png(self.path("in.png"), smooth(4, 4, 8, 3))
        for name in ("ADOBERGB", "AdobeRGB1998.icc", "Adobe RGB (1998)", "prophoto", "ProPhoto22", "ProPhoto(2.2) RGB", "sRGB"):
            with self.subTest(name):
                self.convert("in.png", "out.png", name)
                os.remove(self.path("out.png"))
        done = run("convert", "in.png", "out.png", "--to", "grey.icc", cwd=self.folder)
        self.assertEqual((0, ""), (done.returncode, done.stderr))

    def test_files_that_cannot_be_opened(self):
        pictures.write_png(self.path("in.png"), smooth(4, 4, 8, 3))
        os.mkdir(self.path("folder.png"))
        os.mkfifo(self.path("pipe.png"))
        self.convert("none.png", "out.png", "srgb", code=3)
        self.convert("folder.png", "out.png", "srgb", code=3)
        self.convert("pipe.png", "out.png", "srgb", code=3)
        self.convert("in.png", "folder.png", "srgb", code=4)
        self.convert("in.png", "pipe.png", "srgb", code=4)
        self.convert("in.png", "none/out.png", "srgb", code=4)
        self.convert("in.png", "line\nbreak.webp", "srgb", code=2)

    def test_permissions_links_and_the_same_file(self):
        pictures.write_png(self.path("in.png"), smooth(8, 8, 8, 3))
        mode = lambda name: stat.S_IMODE(os.stat(self.path(name)).st_mode)
        for umask, want in ((0o022, 0o644), (0o077, 0o600)):
            done = run("convert", self.path("in.png"), self.path("new.png"), "--to", "srgb", umask=umask)
            self.assertEqual((0, want), (done.returncode, mode("new.png")))
            os.remove(self.path("new.png"))
        self.file("old.png", b"old")
        os.chmod(self.path("old.png"), 0o640)
        os.symlink("old.png", self.path("link.png"))
        self.convert("in.png", "link.png", "srgb")
        self.assertTrue(os.path.islink(self.path("link.png")))
        self.assertEqual(0o640, mode("old.png"))
        self.assertEqual(8, self.read("old.png").width)
        os.chmod(self.path("old.png"), 0o444)
        self.assertIn("write-protected", self.convert("in.png", "old.png", "srgb", code=4))
        self.convert("in.png", "in.png", "adobergb")
        self.assertEqual(8, self.read("in.png").width)
        with open(self.path("in.png"), "rb") as file:
            cut = self.file("cut.png", file.read()[:-20])
        before = content(cut)
        self.convert("cut.png", "cut.png", "srgb", code=3)
        self.assertEqual(before, content(cut))

    @unittest.skipIf(os.geteuid() == 0, "root may write everywhere")
    def test_a_folder_without_permission(self):
        pictures.write_png(self.path("in.png"), smooth(8, 8, 8, 3))
        os.mkdir(self.path("shut"), 0o555)
        self.convert("in.png", "shut/out.png", "srgb", code=4)

    def test_a_full_disk_leaves_nothing(self):
        def limit():
            resource.setrlimit(resource.RLIMIT_FSIZE, (20000, 20000))

        noise = random.Random(SEED)
        picture = Picture(160, 120, 8, 3, [noise.randrange(256) for _ in range(160 * 120 * 3)])
        pictures.write_png(self.path("in.png"), picture)
        before = set(os.listdir(self.folder))
        for target in ("out.png", "out.tif", "out.jpg"):
            done = run("convert", self.path("in.png"), self.path(target), "--to", "srgb", "--quality", "100", preexec_fn=limit)
            self.assertEqual(4, done.returncode, done.stderr)
            self.assertIn("too large", done.stderr)
            self.assertEqual(before, set(os.listdir(self.folder)))

    def test_headers_that_promise_too_much(self):
        pictures.write_png(self.path("in.png"), smooth(8, 8, 8, 3))
        with open(self.path("in.png"), "rb") as file:
            data = file.read()
        for side in (20000, 200000, 0x7FFFFFFF):
            header = struct.pack(">IIBBBBB", side, side, 8, 2, 0, 0, 0)
            self.file("in.png", data[:8] + pictures.png_chunk(b"IHDR", header) + data[33:])
            self.convert("in.png", "out.png", "srgb", code=3)
        pictures.write_tiff(self.path("in.tif"), smooth(8, 8, 8, 3), RGB, fields=[(256, 4, 100000), (257, 4, 100000)])
        self.convert("in.tif", "out.png", "srgb", code=3)

    def test_ctrl_c_leaves_nothing(self):
        # Writing takes long enough to be caught in the act: the signal follows the temporary file.
        row = [random.Random(SEED).randrange(65536) for _ in range(3000 * 3)]
        pictures.write_tiff(self.path("in.tif"), Picture(3000, 1600, 16, 3, row * 1600), RGB, rows_per_strip=400)
        before = set(os.listdir(self.folder))
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            for _ in range(5):
                child = subprocess.Popen(
                    [PXTOOL, "convert", self.path("in.tif"), self.path("out.png"), "--to", "prophoto"],
                    stderr=subprocess.PIPE, text=True)
                while child.poll() is None and set(os.listdir(self.folder)) == before:
                    time.sleep(0.001)
                child.send_signal(number)
                _, said = child.communicate()
                if child.returncode:
                    break
                os.remove(self.path("out.png"))  # it was done before the signal came
            self.assertEqual(130, child.returncode)
            self.assertEqual("pxtool: cancelled\n", said)
            self.assertEqual(before, set(os.listdir(self.folder)))

    def test_progress_shows_on_a_terminal_only(self):
        row = [random.Random(SEED).randrange(65536) for _ in range(3000 * 3)]
        pictures.write_tiff(self.path("in.tif"), Picture(3000, 1600, 16, 3, row * 1600), RGB, rows_per_strip=400)
        self.convert("in.tif", "out.png", "prophoto")  # checks that nothing is said
        ours, theirs = pty.openpty()
        command = [PXTOOL, "convert", self.path("in.tif"), self.path("out.png"), "--to", "prophoto"]
        child = subprocess.Popen(command, stderr=theirs)
        os.close(theirs)
        shown = b""
        try:
            while piece := os.read(ours, 65536):
                shown += piece
        except OSError:  # the other side is closed
            pass
        os.close(ours)
        self.assertEqual(0, child.wait())
        self.assertRegex(shown.decode(), r"\r\[#+\.*\] +\d+%  in.tif -> out.png")
        self.assertTrue(shown.endswith(b"\r\x1b[K"), shown[-80:])


class Damage(ToolTest):
    def sources(self):
        picture = smooth(48, 32, 8, 3, content(ADOBE))
        picture.exif = pictures.make_exif("<", 6)
        pictures.write_png(self.path("in.png"), picture)
        pictures.write_tiff(self.path("in.tif"), picture, RGB, deflate=True)
        pictures.write_tiff(self.path("tiles.tif"), picture, RGB, tile=16, planar=True)
        self.convert("in.png", "in.jpg", "adobergb")
        pictures.write_pnm(self.path("in.pnm"), picture)
        subprocess.run(["cjpeg", "-progressive", "-outfile", self.path("p.jpg"), self.path("in.pnm")], check=True)
        os.remove(self.path("in.pnm"))
        return ["in.png", "in.tif", "tiles.tif", "in.jpg", "p.jpg"]

    def test_flipped_bits_and_cuts_end_in_order(self):
        chance = random.Random(SEED)
        for name in self.sources():
            with open(self.path(name), "rb") as file:
                data = file.read()
            ending = os.path.splitext(name)[1]
            for i in range(30):
                damaged = bytearray(data)
                if i % 3 == 0:
                    del damaged[chance.randrange(len(damaged)) :]
                else:
                    for _ in range(i % 3):
                        damaged[chance.randrange(len(damaged))] ^= 1 << chance.randrange(8)
                self.file("damaged" + ending, bytes(damaged))
                before = set(os.listdir(self.folder))
                done = run("convert", self.path("damaged" + ending), self.path("out.png"), "--to", "srgb")
                with self.subTest(name=name, round=i):
                    # A flipped bit of a size may ask for more memory than there is.
                    self.assertIn(done.returncode, (3,) if i % 3 == 0 else (0, 3, 4, 5), done.stderr)
                    after = set(os.listdir(self.folder))
                    self.assertEqual(before | ({"out.png"} if done.returncode == 0 else set()), after)
                    self.assertLessEqual(done.stderr.count("\n"), 1)
                if done.returncode == 0:
                    os.remove(self.path("out.png"))


if __name__ == "__main__":
    print("seed", SEED)
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=1)
