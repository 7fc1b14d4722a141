"""Runs the built pxtool on pictures made here and compares with independent tools.

usage: tool_oracle.py PXTOOL PROFILE_FOLDER

tificc converts the same pixels; djpeg and cjpeg are the other side of JPEG; PNG, TIFF, EXIF and
profiles are read and written by support/pictures.py.
"""

import dataclasses
import itertools
import os
import pty
import random
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
from pictures import BILEVEL_WHITE, CMYK, GREY, PALETTE, RGB, Picture, read_file, write_file

PXTOOL, PROFILES = map(os.path.abspath, sys.argv[1:3])
ADOBE = os.path.join(PROFILES, "AdobeRGB1998.icc")
SEED = int(os.environ.get("PX_TEST_SEED", "7"))
ERROR_LINE = r"\Apxtool: [^\n]+\. Hint: [^\n]+\n\Z"


def run(*arguments, cwd=None, **options):
    return subprocess.run([PXTOOL, *arguments], capture_output=True, text=True, cwd=cwd, **options)


def smooth(width, height, depth, channels, icc=None, opaque_alpha=False):
    """Slow waves with a touch of noise, so that every filter and predictor has something to do."""
    random.seed(SEED)
    top, out = (1 << depth) - 1, []
    for y, x, c in itertools.product(range(height), range(width), range(channels)):
        wave = 1 - abs(2 * ((x * (c + 2) / width / 4 + y * (3 - c) / height / 5 + c * 0.21) % 1) - 1)
        value = min(max(round(wave * top) + random.randint(-2, 2), 0), top)
        is_alpha = channels in (2, 4) and c == channels - 1 and opaque_alpha
        out.append(top if is_alpha else value)
    return Picture(width, height, depth, channels, out, icc)


def tags(icc):
    """A profile without its header, in which Little CMS puts its own platform."""
    return icc[128:]


def worst(a, b):
    assert len(a) == len(b), (len(a), len(b))
    return max((abs(x - y) for x, y in zip(a, b)), default=0)


class ToolTest(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp(prefix="pxtool-test-")
        self.addCleanup(shutil.rmtree, self.folder)
        self.cmyk, self.grey = self.path("cmyk.icc"), self.path("grey.icc")
        write_file(self.cmyk, pictures.made_profile("cmyk.icc"))
        write_file(self.grey, pictures.made_profile("grey.icc"))

    def path(self, name):
        return os.path.join(self.folder, name)

    def names(self):
        return set(os.listdir(self.folder))

    def write(self, name, picture, photometric=None, **form):
        """Writes a PNG, TIFF or PNM file; the second and fourth channels are alpha unless photometric is given."""
        if name.endswith(".png"):
            pictures.write_png(self.path(name), picture, **form)
        elif name.endswith(".pnm"):
            pictures.write_pnm(self.path(name), picture)
        else:
            if photometric is None:
                photometric = RGB if picture.channels > 2 else GREY
                form = {"extra": 2 if picture.channels in (2, 4) else None, **form}
            pictures.write_tiff(self.path(name), picture, photometric, **form)

    def write_jpeg(self, name, picture, *options):
        self.write("in.pnm", picture)
        subprocess.run(["cjpeg", *options, "-outfile", self.path(name), self.path("in.pnm")], check=True)

    def tiffcp(self, source, *options, target="in.tif"):
        subprocess.run(["tiffcp", *options, self.path(source), self.path(target)], check=True)

    def convert(self, source, target, to, *options, code=0):
        """Runs a conversion; a failure must say one line and leave no file."""
        before = self.names()
        done = run("convert", self.path(source), self.path(target), "--to", to, "--force", *options)
        self.assertEqual(code, done.returncode, done.stderr)
        if code:
            self.assertRegex(done.stderr, ERROR_LINE)
        else:
            self.assertEqual("", done.stdout + done.stderr)
        self.assertEqual(before if code else before | {target}, self.names())
        return done.stderr

    def converted(self, source, target, to, *options):
        """The picture that a conversion writes; the file is removed."""
        self.convert(source, target, to, *options)
        picture = self.read(target)
        os.remove(self.path(target))
        return picture

    def read(self, name):
        path = self.path(name)
        if name.endswith(".png"):
            return pictures.read_png(path)
        if name.endswith(".tif"):
            return pictures.read_tiff(path)
        plain = subprocess.run(["djpeg", "-dct", "int", path], capture_output=True, check=True)
        picture = pictures.read_pnm(plain.stdout)
        picture.icc, picture.dpi, picture.exif, picture.sampling = self.read_facts(name)
        return picture

    def read_facts(self, name):
        return pictures.read_jpeg_facts(self.path(name))

    def oracle(self, picture, photometric, source_profile, target_profile, intent=1):
        """The picture's colours as tificc converts them."""
        # As one row: tificc cuts its output into strips of its own height, which holds only then.
        row = dataclasses.replace(picture, width=picture.width * picture.height, height=1, icc=None)
        with tempfile.TemporaryDirectory() as folder:
            before, after = os.path.join(folder, "in.tif"), os.path.join(folder, "out.tif")
            pictures.write_tiff(before, row, photometric)
            command = ["tificc", f"-t{intent}", "-b", "-n", "-w", str(picture.depth), "-i", source_profile]
            subprocess.run([*command, "-o", target_profile, before, after], capture_output=True, check=True)
            return pictures.read_tiff(after)

    def assert_near(self, want, got, most=1):
        self.assertLessEqual(worst(want, got), most)


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


def tripled(picture):
    """Grey as RGB with equal parts."""
    return dataclasses.replace(picture, channels=3, samples=[s for s in picture.samples for _ in range(3)])


class Pixels(ToolTest):
    def check(self, source, target, to, to_path, expected, alpha, depth):
        got = self.converted(source, target, to)
        self.assertEqual(tags(got.icc if to_path == SRGB else read_file(to_path)), tags(got.icc))
        colours = expected.channels
        self.assertEqual((depth, colours + (alpha is not None)), (got.depth, got.channels))
        self.assert_near(expected.samples, got.channels_of(0, colours).samples)
        if alpha is not None:
            self.assertEqual(alpha, got.channels_of(colours, 1).samples)

    def test_every_model_depth_and_target_agrees_with_tificc(self):
        profiles = {None: SRGB, "grey": self.grey, "adobe": ADOBE, "cmyk": self.cmyk}
        targets = [("adobergb", ADOBE, 3), (self.grey, self.grey, 1), (self.cmyk, self.cmyk, 4), ("srgb", SRGB, 3)]
        for (name, colours, photometric, has_alpha, profile), depth, ending, (to, to_path, to_colours) in itertools.product(
            MODELS, (8, 16), (".png", ".tif"), targets
        ):
            if colours == 4 and ending == ".png" or has_alpha and to_colours == 4:
                continue
            with self.subTest(model=name, depth=depth, source=ending, to=os.path.basename(to)):
                icc = None if profile is None else read_file(profiles[profile])
                picture = smooth(37, 23, depth, colours + has_alpha, icc)
                self.write("in" + ending, picture, **({"photometric": CMYK} if colours == 4 else {}))
                plain = picture.channels_of(0, colours)
                alpha = picture.channels_of(colours, 1).samples if has_alpha else None
                if colours == 1 and profile is None:
                    plain, photometric = tripled(plain), RGB
                expected = self.oracle(plain, photometric, profiles[profile], to_path)
                for out in (".tif",) if to_colours == 4 else (".png", ".tif"):
                    self.check("in" + ending, "out" + out, to, to_path, expected, alpha, depth)

    def test_jpeg_in_agrees_with_djpeg_and_tificc(self):
        for colours, options in itertools.product((1, 3), ([], ["-progressive"], ["-arithmetic"], ["-restart", "1"])):
            with self.subTest(colours=colours, options=options):
                self.write_jpeg("in.jpg", smooth(67, 45, 8, colours), "-quality", "95", *options)
                decoded = self.read("in.jpg")
                expected = self.oracle(tripled(decoded) if colours == 1 else decoded, RGB, SRGB, ADOBE)
                self.check("in.jpg", "out.png", "adobergb", ADOBE, expected, None, 8)

    def test_jpeg_out_is_close_and_whole_in_colour(self):
        for depth, (colours, to) in itertools.product((8, 16), ((1, self.grey), (3, "srgb"))):
            with self.subTest(depth=depth, colours=colours):
                picture = smooth(64, 48, depth, colours, read_file(self.grey) if colours == 1 else None)
                self.write("in.tif", picture)
                sizes = []
                for quality, most in (("100", 4), ("30", 255)):
                    self.convert("in.tif", "out.jpg", to, "--quality", quality)
                    got = self.read("out.jpg")
                    self.assert_near([round(s / (1 if depth == 8 else 257)) for s in picture.samples], got.samples, most)
                    self.assertEqual([0x11] * colours, got.sampling)
                    sizes.append(os.path.getsize(self.path("out.jpg")))
                self.assertLess(sizes[1], sizes[0])

    def test_cmyk_jpeg_survives_a_round_trip_and_jpgicc_reads_it(self):
        picture = smooth(64, 48, 8, 4, read_file(self.cmyk))
        self.write("in.tif", picture, CMYK)
        self.convert("in.tif", "out.jpg", self.cmyk, "--quality", "100")
        self.assertEqual(picture.icc, self.read_facts("out.jpg")[0])  # in pieces
        first = self.oracle(picture, CMYK, self.cmyk, self.cmyk)
        second = self.oracle(first, CMYK, self.cmyk, self.cmyk)
        self.assert_near(second.samples, self.converted("out.jpg", "back.tif", self.cmyk).samples, 12)
        jpgicc = ["jpgicc", "-t1", "-b", "-q100", "-o", SRGB, self.path("out.jpg"), self.path("theirs.jpg")]
        subprocess.run(jpgicc, check=True, capture_output=True)
        ours, theirs = self.converted("out.jpg", "ours.png", "srgb").samples, self.read("theirs.jpg").samples
        self.assertEqual(len(theirs), len(ours))
        self.assertLess(sum(abs(a - b) for a, b in zip(ours, theirs)) / len(ours), 3)

    def test_perceptual_intent_and_from_are_heeded(self):
        picture = smooth(37, 23, 8, 3)
        self.write("in.tif", picture)
        got = self.converted("in.tif", "out.tif", self.cmyk, "--from", ADOBE, "--intent", "perceptual")
        self.assert_near(self.oracle(picture, RGB, ADOBE, self.cmyk, intent=0).samples, got.samples)

    def test_bands_do_not_change_a_byte(self):
        self.write("in.png", smooth(9, 2311, 16, 3))
        one, *others = (self.converted("in.png", "out.png", "prophoto", "--bands", bands) for bands in ("1", "2", "3", "64"))
        self.assertEqual([one] * 3, others)


COLOURS = [(10, 20, 30), (200, 100, 50), (0, 255, 128), (255, 255, 255)]


class Storage(ToolTest):
    def test_every_form_of_tiff_and_png_reads_alike(self):
        forms = itertools.product(("-L", "-B"), ("", "-8"), ("", "-t -w 16 -l 16"), ("none", "zip"))
        forms = [f"{order} {big} {pieces} -c {packing}".split() for order, big, pieces, packing in forms]
        for depth, channels in itertools.product((8, 16), (1, 2, 3, 4)):
            picture = smooth(37, 23, depth, channels)
            self.write("plain.png", picture)
            self.write("in.png", picture, interlaced=1)
            expected = self.converted("plain.png", "out.png", "adobergb").samples
            self.assertEqual(expected, self.converted("in.png", "out.png", "adobergb").samples)
            for planar, form in itertools.product((False, True), forms):
                if planar and depth == 16 and "-t" in form:
                    continue  # of which tiffcp makes another picture
                with self.subTest(form, depth=depth, channels=channels, planar=planar):
                    self.write("plain.tif", picture, planar=planar)
                    self.tiffcp("plain.tif", *form)
                    self.assertEqual(expected, self.converted("in.tif", "out.png", "adobergb").samples)

    def test_every_compression_of_tiffcp_reads_alike(self):
        self.write("plain.tif", smooth(64, 40, 8, 3))
        plain = self.converted("plain.tif", "out.png", "adobergb").samples
        exact = [(mode, 0) for mode in ("none", "lzw", "lzw:2", "zip", "zip:2", "packbits", "lzma", "zstd")]
        for compression, most in exact + [("jpeg:95", 60), ("jpeg:r:95", 60)]:
            with self.subTest(compression):
                self.tiffcp("plain.tif", "-r", "16", "-c", compression)
                self.assert_near(plain, self.converted("in.tif", "out.png", "adobergb").samples, most)

    def test_fax_and_bilevel_tiff(self):
        rows = ["1100110011", "0000000000", "1111100000", "1010101010"]
        packed = b"".join(int(row.ljust(16, "0"), 2).to_bytes(2, "big") for row in rows)
        for photometric, compression in itertools.product((GREY, BILEVEL_WHITE), ("none", "g3", "g4", "packbits")):
            with self.subTest(photometric=photometric, compression=compression):
                fields = [(256, 4, 10), (257, 4, 4), (258, 3, 1), (259, 3, 1), (262, 3, photometric), (277, 3, 1), (278, 4, 4)]
                pictures.write_tiff_file(self.path("bits.tif"), fields, [packed])
                self.tiffcp("bits.tif", "-c", compression)
                white = "1" if photometric == GREY else "0"
                want = [255 * (bit == white) for row in rows for bit in row]
                self.assertEqual(want, self.converted("in.tif", "out.png", "srgb").channels_of(0, 1).samples)

    def test_tiff_palettes(self):
        for wide in (257, 1):  # some writers leave the upper byte empty
            fields = [(256, 4, 4), (257, 4, 1), (258, 3, 4), (259, 3, 1), (262, 3, PALETTE), (277, 3, 1), (278, 4, 1)]
            fields.append((320, 3, *[wide * v for c in range(3) for v in [k[c] for k in COLOURS] + [0] * 12]))
            pictures.write_tiff_file(self.path("in.tif"), fields, [b"\x01\x23"])
            self.assert_near(sum(COLOURS, ()), self.converted("in.tif", "out.png", "srgb").samples)

    def test_png_palettes_and_bits(self):
        indexes, alphas = [0, 1, 2, 3, 3, 2, 1, 0, 1], [7, 255, 128]
        palette = (b"PLTE", bytes(sum(COLOURS, ())))
        for bits, transparency in itertools.product((2, 4, 8), ([], [(b"tRNS", bytes(alphas))])):
            row = int("".join(f"{i:0{bits}b}" for i in indexes).ljust(72, "0"), 2).to_bytes(9, "big")
            row = zlib.compress(b"\0" + row[: (9 * bits + 7) // 8])
            header = (b"IHDR", pictures.png_header(9, 1, bits, 3))
            pictures.write_png_chunks(self.path("in.png"), header, palette, *transparency, (b"IDAT", row))
            got = self.converted("in.png", "out.png", "srgb")
            self.assert_near([v for i in indexes for v in COLOURS[i]], got.channels_of(0, 3).samples)
            if transparency:
                self.assertEqual([(alphas + [255])[i] for i in indexes], got.channels_of(3, 1).samples)
        grey = [(b"IHDR", pictures.png_header(8, 1, 1, 0)), (b"IDAT", zlib.compress(b"\0\xa5"))]
        pictures.write_png_chunks(self.path("in.png"), *grey)
        got = self.converted("in.png", "out.png", "srgb").channels_of(0, 1).samples
        self.assertEqual([255 * int(b) for b in "10100101"], got)

    def test_associated_alpha_is_divided_out(self):
        straight = [200, 100, 50, 128, 255, 0, 7, 255, 90, 80, 70, 0, 10, 250, 128, 64]
        for depth, scale, most in ((8, 1, 3), (16, 257, 8)):
            wide = [s * scale for s in straight]
            multiplied = [
                v if i % 4 == 3 else round(v * wide[i // 4 * 4 + 3] / (255 * scale)) for i, v in enumerate(wide)]
            self.write("in.tif", Picture(4, 1, depth, 4, multiplied), RGB, extra=1)
            want = wide[:8] + [0] * 4 + wide[12:]  # nothing is left of a clear pixel
            self.assert_near(want, self.converted("in.tif", "out.png", "srgb").samples, most)

    def test_transparency(self):
        for ending in (".png", ".tif"):
            self.write("clear" + ending, smooth(8, 8, 16, 4))
            self.write("opaque" + ending, smooth(8, 8, 16, 4, opaque_alpha=True))
            self.assertIn("transparent", self.convert("clear" + ending, "out.jpg", "srgb", code=4))
            self.assertIn("transparent", self.convert("clear" + ending, "out.tif", self.cmyk, code=4))
            self.converted("opaque" + ending, "out.jpg", "srgb")

    def test_refused_pictures(self):
        def tiff(channels, *photometric, **form):
            return lambda: self.write("in.tif", smooth(8, 8, 8, channels), *photometric, **form)

        def pages():
            self.write("a.tif", smooth(8, 8, 8, 3))
            self.tiffcp("a.tif", self.path("a.tif"))

        def png(side):
            chunks = (b"IHDR", pictures.png_header(side, side, 8, 2)), (b"IDAT", zlib.compress(bytes(200)))
            return lambda: pictures.write_png_chunks(self.path("in.tif"), *chunks)

        rows = [
            ("float", tiff(3, fields=[(339, 3, 3, 3, 3)])),
            ("signed", tiff(3, fields=[(339, 3, 2, 2, 2)])),
            ("Lab", tiff(3, fields=[(262, 3, 8)])),
            ("preview", tiff(3, fields=[(254, 4, 1)])),
            ("compression", tiff(3, fields=[(259, 3, 6)])),
            ("unknown meaning", tiff(4, RGB, extra=0)),
            ("--from", tiff(4, CMYK)),
            ("more than one page", pages),
            ("neither", lambda: write_file(self.path("in.tif"), b"no picture at all")),
            ("empty", lambda: write_file(self.path("in.tif"), b"")),
            ("cannot read", tiff(3, fields=[(256, 4, 100000), (257, 4, 100000)])),  # promises too much, as the next
            *(("cannot read", png(side)) for side in (20000, 200000, 0x7FFFFFFF)),
        ]
        for word, make in rows:
            with self.subTest(word):
                make()
                self.assertIn(word, self.convert("in.tif", "out.png", "srgb", code=3))
        self.write("in.tif", smooth(8, 8, 8, 4), CMYK)
        self.assertIn("CMYK", self.convert("in.tif", "out.png", self.cmyk, code=4))

    def test_profiles_that_do_not_fit(self):
        self.write("in.png", smooth(8, 8, 8, 3))
        write_file(self.path("broken.icc"), pictures.made_profile("grey.icc")[:150])
        self.assertIn("grey", self.convert("in.png", "out.png", "srgb", "--from", self.grey, code=3))
        self.assertIn("not a valid", self.convert("in.png", "out.png", self.path("broken.icc"), code=3))
        self.assertIn("no such", self.convert("in.png", "out.png", self.path("x/none.icc"), code=3))
        for name in ("in.png", "in.tif"):
            self.write(name, smooth(8, 8, 8, 3, icc=b"\0\0\0\x90" + b"rubbish!" * 18))
            self.assertIn("profile is damaged", self.convert(name, "out.png", "srgb", code=3))
            self.converted(name, "out.png", "srgb", "--from", "srgb")


# Whether the columns and rows of the stored picture run backwards, for orientations from 1; from 5
# they have changed places, too.
BACKWARDS = [(0, 0), (1, 0), (1, 1), (0, 1), (0, 0), (0, 1), (1, 1), (1, 0)]


class Facts(ToolTest):
    def turned(self, picture, orientation):
        w, h = picture.width, picture.height
        across, down = BACKWARDS[orientation - 1]
        columns, rows = range(w)[:: -1 if across else 1], range(h)[:: -1 if down else 1]
        if orientation < 5:
            return (w, h, [s for y in rows for x in columns for s in picture.pixel(x, y)])
        return (h, w, [s for x in columns for y in rows for s in picture.pixel(x, y)])

    def test_orientation_turns_the_pixels(self):
        for depth, channels in ((8, 3), (16, 3), (8, 4), (16, 4), (8, 1), (16, 2)):
            # Larger than the squares that a turn works in.
            picture = smooth(131, 70, depth, channels) if channels == 3 else smooth(21, 14, depth, channels)
            picture.dpi = (300, 150)
            self.write("plain.png", picture)
            plain = self.converted("plain.png", "out.png", "adobergb")
            for orientation in range(1, 9):
                picture.exif = pictures.make_exif("<>"[orientation % 2], orientation)
                self.write("in.tif", picture, orientation=orientation)
                self.write("in.png", picture)
                for source, target in (("in.tif", "out.png"), ("in.png", "out.tif")):
                    with self.subTest(source, depth=depth, channels=channels, orientation=orientation):
                        got = self.converted(source, target, "adobergb")
                        self.assertEqual(self.turned(plain, orientation), (got.width, got.height, got.samples))
                        self.assertEqual((150, 300) if orientation >= 5 else (300, 150), tuple(map(round, got.dpi)))

    def test_exif_is_kept_and_made_true(self):
        for order, orientation, to, ending in itertools.product("<>", (1, 3, 6), ("srgb", "adobergb"), (".jpg", ".png")):
            with self.subTest(order=order, orientation=orientation, to=to, ending=ending):
                self.write_jpeg("in.jpg", smooth(40, 24, 8, 3))
                exif = pictures.make_exif(order, orientation, color_space=7, width=40, height=24)
                pictures.insert_jpeg_segment(self.path("in.jpg"), 0xE1, b"Exif\0\0" + exif)
                kept = self.converted("in.jpg", "out" + ending, to).exif
                self.assertEqual(len(exif), len(kept))
                fields, following = pictures.read_exif(kept)
                width, height, across, down = (24, 40, 150, 300) if orientation == 6 else (40, 24, 300, 150)
                want = {0x112: [1], 0x10F: b"Nobody Ltd\0", 0xA001: [1 if to == "srgb" else 0xFFFF], 0xA002: [width],
                        0xA003: [height], 0x11A: [across], 0x11B: [down]}
                self.assertEqual(want, {tag: fields[tag] for tag in want})
                self.assertEqual(orientation == 1, following != 0)

    def test_xmp_is_kept_and_made_true(self):
        def packet(orientation, side, profile):
            """With a picture's own facts, or with spaces in their place."""
            return b"""<?xpacket begin='\xef\xbb\xbf' id='W5M0MpCehiHzreSzNTczkc9d'?><x:xmpmeta xmlns:x='adobe:ns:meta/'>
<rdf:RDF xmlns:rdf='http://www.w3.org/1999/02/22-rdf-syntax-ns#'><rdf:Description rdf:about=''
 xmlns:t='http://ns.adobe.com/tiff/1.0/' xmlns:xmp='http://ns.adobe.com/xap/1.0/' xmp:Rating='5'
 xmlns:photoshop='http://ns.adobe.com/photoshop/1.0/' t:Make="a t:Orientation='8'" %s
 xmp:Label='Sea &amp; sky'>%s<t:Artist>Nobody</t:Artist>%s</rdf:Description></rdf:RDF></x:xmpmeta>
 <?xpacket end='w'?>""" % (orientation, side, profile)

        facts = b't:Orientation = "6"', b"<t:ImageWidth\n>40</t:ImageWidth>", b"<photoshop:ICCProfile/>"
        spaces = packet(*(b" " * len(fact) for fact in facts))
        start, source = b"http://ns.adobe.com/xap/1.0/\0", "in.jpg"
        self.write_jpeg(source, smooth(40, 24, 8, 3))
        pictures.insert_jpeg_segment(self.path(source), 0xE1, start + packet(*facts))
        for number, ending in enumerate((".jpg", ".png", ".tif", ".png", ".jpg", ".tif", ".jpg")):
            target = f"{number}{ending}"
            self.convert(source, target, "adobergb")
            before, found, _ = pictures.read_file(self.path(target)).partition(spaces)
            self.assertTrue(found, target)
            self.assertTrue(ending == ".tif" or before.endswith(start if ending == ".jpg" else b"XML:com.adobe.xmp" + bytes(5)))
            source = target
        for broken in (b"<!DOCTYPE x><x/>", b"<x>", "<x/>".encode("utf-16"), b"<x>\xff</x>"):
            self.write_jpeg("in.jpg", smooth(40, 24, 8, 3))
            pictures.insert_jpeg_segment(self.path("in.jpg"), 0xE1, start + broken)
            self.convert("in.jpg", "out.jpg", "adobergb")
            self.assertNotIn(start, pictures.read_file(self.path("out.jpg")))

    def test_resolution_is_kept(self):
        picture = smooth(16, 16, 8, 3)
        picture.dpi = (300, 240)
        for source in ("in.png", "in.tif"):
            self.write(source, picture)
            self.convert(source, "out.jpg", "srgb")
            self.assertEqual((300, 240), self.read("out.jpg").dpi)
            for target in ("out.png", "out.tif"):
                self.assertEqual((300, 240), tuple(map(round, self.converted("out.jpg", target, "srgb").dpi)))
            self.convert(source, "ink.jpg", self.cmyk)
            exif = pictures.read_exif(self.read_facts("ink.jpg")[2])[0]
            self.assertEqual((300, 240), (round(exif[0x11A][0]), round(exif[0x11B][0])))


class Sizes(ToolTest):
    """resize, crop and mips."""

    def change(self, *arguments, code=0):
        done = run(*arguments, "--force", cwd=self.folder)
        self.assertEqual(code, done.returncode, done.stderr)
        return done.stderr

    def pixels(self, name):
        picture = self.read(name)
        step = picture.channels
        rows = [picture.samples[i : i + picture.width * step] for i in range(0, len(picture.samples), picture.width * step)]
        return [[tuple(row[x : x + step]) for x in range(0, len(row), step)] for row in rows]

    def test_crop_cuts_the_upright_picture(self):
        self.write("in.tif", smooth(31, 17, 16, 4), orientation=3)
        upright = [row[::-1] for row in self.pixels("in.tif")[::-1]]
        for rect, left, top, right, bottom in (("5,3,20,10", 5, 3, 25, 13), ("-4,-4,9,9", 0, 0, 5, 5), ("30,16,99,99", 30, 16, 31, 17)):
            self.change("crop", "in.tif", "out.png", f"--rect={rect}")
            self.assertEqual([row[left:right] for row in upright[top:bottom]], self.pixels("out.png"))
        self.assertIn("31 x 17", self.change("crop", "in.tif", "no.png", "--rect", "31,0,5,5", code=2))

    def test_resize_by_size_box_and_percent(self):
        for depth, channels in ((8, 1), (8, 2), (16, 3), (8, 4)):
            self.write("in.png", smooth(40, 30, depth, channels))
            for options, size in (("--size 7x61", (7, 61)), ("--fit 100x60", (80, 60)), ("--percent 25.5", (10, 8))):
                self.change("resize", "in.png", "out.png", *options.split())
                made = self.read("out.png")
                self.assertEqual((*size, depth, channels), (made.width, made.height, made.depth, made.channels))
            self.change("resize", "in.png", "out.png", "--percent", "200", "--filter", "nearest")
            twice = [[pixel for pixel in row for _ in "ab"] for row in self.pixels("in.png") for _ in "ab"]
            self.assertEqual(twice, self.pixels("out.png"))

    def test_quarter_turns_and_mirrors_lose_nothing(self):
        turns = {"rotate --angle 90": lambda rows: [list(row) for row in zip(*rows[::-1])], "rotate --angle -450": lambda rows: [list(row) for row in zip(*rows)][::-1],
                 "rotate --angle 540 --keep-size": lambda rows: [row[::-1] for row in rows[::-1]],
                 "transform --matrix -1,0,0,1,41,0": lambda rows: [row[::-1] for row in rows]}
        for depth, channels in ((8, 1), (8, 2), (16, 3), (8, 4), (16, 4)):
            self.write("in.png", smooth(41, 30, depth, channels))
            rows = self.pixels("in.png")
            for method, (command, turned) in itertools.product(("nearest", "bilinear", "bicubic"), turns.items()):
                with self.subTest((depth, channels, method, command)):
                    name, *options = command.split()
                    self.change(name, "in.png", "out.png", *options, "--method", method)
                    self.assertEqual(turned(rows), self.pixels("out.png"))

    def test_what_lies_beyond(self):
        self.write("in.png", Picture(30, 20, 8, 4, [200, 100, 50, 255] * 600))
        self.write("in.tif", Picture(30, 20, 16, 3, [50000, 100, 9000] * 600))
        # 20 sin 30 + 30 cos 30 is 35.98, 30 sin 30 + 20 cos 30 is 32.32.
        for name, options, corner in (("in.png", [], (0,)), ("in.png", ["--fill", "0.2"], (51, 51, 51, 255)), ("in.png", ["--replicate"], (200, 100, 50, 255)),
                                      ("in.tif", [], (65535,) * 3), ("in.tif", ["--fill", "0,1,0.2"], (0, 65535, 13107))):
            for size, flags in (((36, 33), []), ((30, 20), ["--keep-size"])):
                with self.subTest((name, options, flags)):
                    self.change("rotate", name, "out" + name[2:], "--angle", "30", *options, *flags)
                    rows = self.pixels("out" + name[2:])
                    self.assertEqual(size, (len(rows[0]), len(rows)))
                    self.assertEqual(corner, rows[0][0][-len(corner):])
                    self.assertEqual(self.pixels(name)[0][0], rows[size[1] // 2][size[0] // 2])
                    if name == "in.png" and not options:  # no fringe: colours do not blend with what is transparent
                        self.assertEqual({(200, 100, 50)}, {pixel[:3] for row in rows for pixel in row})
        self.change("transform", "in.png", "out.png", "--matrix", "2,0,0,2,10,0", "--size", "80x44", "--fill", "0,0,1,1")
        rows = self.pixels("out.png")
        self.assertEqual((80, 44, (0, 0, 255, 255), (200, 100, 50, 255)), (len(rows[0]), len(rows), rows[43][79], rows[20][40]))
        self.assertIn("3 colours and alpha", self.change("rotate", "in.png", "no.png", "--angle", "3", "--fill", "0,1", code=2))

    def test_profile_stays_and_exif_tells_the_new_size(self):
        icc = read_file(ADOBE)
        self.write("in.png", smooth(40, 30, 8, 3, icc))
        self.write_jpeg("in.jpg", smooth(40, 30, 8, 3))
        insert = pictures.make_exif("<", 6, color_space=0xFFFF, width=40, height=30)
        pictures.insert_jpeg_segment(self.path("in.jpg"), 0xE1, b"Exif\0\0" + insert)
        self.change("resize", "in.png", "out.png", "--fit", "20x20")
        self.assertEqual(icc, self.read("out.png").icc)
        self.change("resize", "in.jpg", "out.jpg", "--percent", "50")
        fields, preview = pictures.read_exif(self.read("out.jpg").exif)
        self.assertEqual(([15], [20], [1], 0), (fields[0xA002], fields[0xA003], fields[0x112], preview))

    def test_mips_are_files_down_to_one_pixel(self):
        self.write("in.png", Picture(21, 6, 8, 3, [7, 200, 90] * 126))
        before = self.names()
        self.change("mips", "in.png", "out.png")
        self.assertEqual(before | {f"out-{i}.png" for i in range(1, 5)}, self.names())
        for i, (width, height) in enumerate(((10, 3), (5, 1), (2, 1), (1, 1)), 1):
            self.assertEqual([[(7, 200, 90)] * width] * height, self.pixels(f"out-{i}.png"))

    def test_a_level_that_cannot_be_written_leaves_nothing(self):
        self.write("in.png", smooth(40, 30, 8, 3))
        os.mkdir(self.path("out-3.png"))
        before = self.names()
        self.change("mips", "in.png", "out.png", code=4)
        self.write("clear.png", Picture(1, 1, 8, 4, [1, 2, 3, 4]))
        self.assertIn("transparent", self.change("resize", "clear.png", "out.jpg", "--size", "2x2", code=4))
        self.change("resize", "in.png", "out.png", "--size", "2000000000x2000000000", code=5)
        self.assertEqual(before | {"clear.png"}, self.names())


class Behaviour(ToolTest):
    def setUp(self):
        super().setUp()
        self.write("in.png", smooth(8, 8, 8, 3))

    def test_wrong_arguments_end_with_2_and_a_hint(self):
        plain = "convert in.png out.png"
        srgb = plain + " --to srgb"
        rows = {
            "see": ["", "convert", srgb + " --quality 0", srgb + " --quality high", srgb + " --bands -1", srgb + " more.png"],
            "'convert'": ["convrt in.png out.png"],
            "'cube make'": ["cube mak"],
            "'bash'": ["completions bsh"],
            "--to": [plain, plain + " --to"],
            "'adobergb'": [plain + " --to adobrgb"],
            "'prophoto22'": [plain + " --to Prophoto-22"],
            "'AdobeRGB1998.icc'": [plain + " --to AdobeRGB1989.icc"],
            "pxtool profile list": [plain + " --to zzzzzz", plain + " --to "],
            "'srgb'": [srgb + " --from srbg"],
            "'--quality'": [srgb + " --qualty 3"],
            "'perceptual'": [srgb + " --intent perceptul"],
            "--size": ["resize in.png out.png", "resize in.png out.png --size 3x4 --percent 9", "resize in.png out.png --sise 3x4"],
            "pxtool resize": ["resize in.png out.png --size 3", "resize in.png out.png --fit 0x4", "resize in.png out.png --percent 0"],
            "'lanczos'": ["resize in.png out.png --size 3x4 --filter lanczoss"],
            "pxtool crop": ["crop in.png out.png --rect 1,2,3", "crop in.png out.png --rect 1,2,3,4,5"],
            "pxtool rotate": ["rotate in.png out.png", "rotate in.png out.png --angle nan", "rotate in.png out.png --angle 3 --fill 2", "rotate in.png out.png --angle 3 --fill 1 --replicate"],
            "'bicubic'": ["rotate in.png out.png --angle 3 --method bicubc"],
            "pxtool transform": ["transform in.png out.png --matrix 1,0,0,1,0", "transform in.png out.png --matrix 1,0,0,1,0,0,", "transform in.png out.png --matrix 1,1,1,1,0,0", "transform in.png out.png --matrix 1,0,0,1,inf,0"],
            "pxtool mips": ["mips in.png out.png --levels 0"],
            ".tif": [f"convert in.png {name} --to srgb" for name in ("out.webp", "png", "line\nbreak.webp")],
        }
        for hint, command in ((hint, command) for hint, commands in rows.items() for command in commands):
            with self.subTest(command):
                done = run(*(command.split(" ") if command else ()), cwd=self.folder)
                self.assertEqual(2, done.returncode, done.stderr)
                self.assertRegex(done.stderr, ERROR_LINE)
                self.assertIn(hint, done.stderr)
                self.assertEqual({"in.png", "cmyk.icc", "grey.icc"}, self.names())

    def test_help_and_version_go_to_standard_output(self):
        for arguments, word in ((["--help"], "convert"), (["convert", "--help"], "PROFILE"), (["--version"], "pxtool ")):
            done = run(*arguments)
            self.assertEqual((0, ""), (done.returncode, done.stderr))
            self.assertIn(word, done.stdout)

    def test_names_of_profiles(self):
        rows = {"AdobeRGB1998.icc": ("ADOBERGB", "AdobeRGB1998.icc", "Adobe RGB (1998)"), "ProPhoto.icm": ("prophoto",),
                "ProPhoto(2.2) RGB.icc": ("ProPhoto22", "ProPhoto(2.2) RGB")}
        for file, name in ((file, name) for file, names in rows.items() for name in names):
            for target in ("out.png", "out.tif", "out.jpg"):
                with self.subTest(name, target=target):
                    self.assertEqual(tags(read_file(os.path.join(PROFILES, file))), tags(self.converted("in.png", target, name).icc))
        self.convert("in.png", "out.png", "sRGB")
        done = run("convert", "in.png", "out.png", "--to", "grey.icc", "--force", cwd=self.folder)
        self.assertEqual((0, ""), (done.returncode, done.stderr))

    def test_files_that_cannot_be_opened(self):
        os.mkdir(self.path("folder.png"))
        os.mkfifo(self.path("pipe.png"))
        for name in ("none/in.png", "folder.png", "pipe.png"):
            self.convert(name, "out.png", "srgb", code=3)
            self.convert("in.png", name, "srgb", code=4)

    def test_permissions_links_and_the_same_file(self):
        mode = lambda name: stat.S_IMODE(os.stat(self.path(name)).st_mode)
        for umask, want in ((0o022, 0o644), (0o077, 0o600)):
            name = f"new{umask}.png"
            done = run("convert", self.path("in.png"), self.path(name), "--to", "srgb", umask=umask)
            self.assertEqual((0, want), (done.returncode, mode(name)))
        write_file(self.path("old.png"), b"old")
        os.chmod(self.path("old.png"), 0o640)
        os.symlink("old.png", self.path("link.png"))
        self.convert("in.png", "link.png", "srgb")
        self.assertTrue(os.path.islink(self.path("link.png")))
        self.assertEqual((0o640, 8), (mode("old.png"), self.read("old.png").width))
        os.chmod(self.path("old.png"), 0o444)
        self.assertIn("write-protected", self.convert("in.png", "old.png", "srgb", code=4))
        self.convert("in.png", "in.png", "adobergb")
        self.assertEqual(8, self.read("in.png").width)
        before = read_file(self.path("in.png"))[:-20]
        write_file(self.path("cut.png"), before)
        self.convert("cut.png", "cut.png", "srgb", code=3)
        self.assertEqual(before, read_file(self.path("cut.png")))

    @unittest.skipIf(os.geteuid() == 0, "root may write everywhere")
    def test_a_folder_without_permission(self):
        os.mkdir(self.path("shut"), 0o555)
        self.convert("in.png", "shut/out.png", "srgb", code=4)

    def large(self):
        """The command of a conversion that takes long enough to be watched."""
        row = [random.Random(SEED).randrange(65536) for _ in range(3000 * 3)]
        self.write("in.tif", Picture(3000, 1600, 16, 3, row * 1600), rows_per_strip=400)
        return [PXTOOL, "convert", self.path("in.tif"), self.path("out.png"), "--to", "prophoto", "--force"]

    def test_cut_files_are_refused(self):
        chance = random.Random(SEED)
        self.write("strips.tif", smooth(48, 32, 16, 4))
        self.write("planes.tif", smooth(48, 32, 8, 3), planar=True)
        self.tiffcp("planes.tif", *"-t -w 16 -l 16 -c zip".split(), target="tiles.tif")
        self.write("rows.png", smooth(48, 32, 16, 4))
        self.write_jpeg("plain.jpg", smooth(48, 32, 8, 3))
        self.write_jpeg("scans.jpg", smooth(48, 32, 8, 3), "-progressive")
        for name, i in itertools.product(("tiles.tif", "strips.tif", "rows.png", "plain.jpg", "scans.jpg"), range(10)):
            with self.subTest(name, round=i):
                data = read_file(self.path(name))
                write_file(self.path("cut"), data[: chance.randrange(len(data))])
                self.convert("cut", "out.png", "srgb", code=3)

    def test_ctrl_c_leaves_nothing(self):
        command = self.large()
        before = self.names()
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            for _ in range(5):
                child = subprocess.Popen(command, stderr=subprocess.PIPE, text=True)
                # Writing is caught in the act: the signal follows the temporary file.
                while child.poll() is None and self.names() == before:
                    time.sleep(0.001)
                child.send_signal(number)
                _, said = child.communicate()
                if child.returncode:
                    break
                os.remove(self.path("out.png"))  # it was done before the signal came
            self.assertEqual(130, child.returncode)
            self.assertEqual("pxtool: cancelled\n", said)
            self.assertEqual(before, self.names())

    def test_progress_shows_on_a_terminal_only(self):
        command = self.large()
        self.convert("in.tif", "out.png", "prophoto")  # checks that nothing is said
        ours, theirs = pty.openpty()
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
        self.assertRegex(shown.decode(), r"\r\[#+\.*\] +\d+%  [\d.]+ MP/s  \d+:\d\d left  in.tif -> out.png")
        self.assertTrue(shown.endswith(b"\r\x1b[K"), shown[-80:])


if __name__ == "__main__":
    print("seed", SEED)
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]], verbosity=1)
