"""Compares property lists with Python's plistlib, with plistutil and with xmllint, both ways.

usage: lists_oracle.py <pxtool>

Random nested values are written by plistlib and read by ours, written by ours and read by plistlib.
Binary lists are compared byte for byte, which tells every value and its type: what we read of any
form is right when the binary that we write of it is plistlib's. Our XML is compared with what
plistutil makes of our binary.
The seed is printed; the environment variable PX_TEST_SEED sets another. Tools that the machine does
not have are named and left out.
"""

import datetime
import os
import pathlib
import plistlib
import random
import re
import shutil
import struct
import subprocess
import sys
import tempfile

EPOCH = datetime.datetime(2001, 1, 1)
SEED = int(os.environ.get("PX_TEST_SEED", "20010101"), 0)


def text(rng):
    """ASCII, or characters of random planes that XML can carry; none between U+D800 and U+FFFF,
    where the order by UTF-16 units differs from Python's order by characters."""
    planes = [range(0x20, 0x7F)]
    if rng.random() < 0.5:
        planes += [[9, 10, *range(0xA0, 0x100)], range(0x100, 0xD800), range(0x1F300, 0x1F700)]
    length = rng.choice([0, 1, 2, 5, 14, 15, 16, 40])
    return "".join(chr(rng.choice(rng.choice(planes))) for _ in range(length))


def integer(rng):
    border = 1 << rng.randrange(0, 65)
    value = rng.choice([border, -border, rng.getrandbits(64)]) + rng.randrange(-2, 3)
    return min(max(value, -(1 << 63)), (1 << 64) - 1)


def real(rng):
    """Any bits but NaN and -0.0, which plistlib does not keep apart from 0.0."""
    while True:
        value = struct.unpack(">d", struct.pack(">Q", rng.getrandbits(64)))[0]
        if rng.random() < 0.5:
            value = rng.choice([0.0, 0.1, 1.0, 2.5, -1e-5, 1e16, 1e17, 1e300, float("inf")])
        if value == value:
            return value


def date(rng):
    return EPOCH + datetime.timedelta(days=rng.randrange(-730000, 2900000),
                                      seconds=rng.randrange(86400))


def value(rng, depth):
    size = rng.choice([0, 1, 3, 14, 15, 20])
    kinds = [
        lambda: text(rng),
        lambda: integer(rng),
        lambda: real(rng),
        lambda: date(rng),
        lambda: rng.randbytes(rng.randrange(0, 300)),
        lambda: rng.random() < 0.5,
        lambda: [value(rng, depth - 1) for _ in range(size)],
        lambda: {text(rng): value(rng, depth - 1) for _ in range(size)},
        lambda: {text(rng): value(rng, depth - 1) for _ in range(size)},
    ]
    return rng.choice(kinds if depth > 0 else kinds[:6])()


class Oracle:
    def __init__(self, tool, folder, count):
        self.tool = tool
        self.folder = folder
        self.count = count
        self.faults = 0

    def path(self, index, kind):
        return pathlib.Path(self.folder, f"{index}.{kind}")

    def convert(self, form, source, target):
        for i in range(self.count):
            subprocess.run([self.tool, "plist", "convert", self.path(i, source),
                            self.path(i, target), "--format", form], check=True)

    def reads(self, kind, what):
        """Expects that we read the lists of this kind as the values they were made of."""
        self.convert("binary", kind, kind + ".bin")
        self.same(kind + ".bin", "pybin", what + " is read or written as another value")

    def fault(self, message):
        self.faults += 1
        if self.faults <= 20:
            print("FAULT:", message)

    def same(self, kind, other, what):
        for i in range(self.count):
            first, second = (self.path(i, each).read_bytes() for each in (kind, other))
            if first != second:
                lines = zip(first.split(b"\n"), second.split(b"\n"))
                where = next((pair for pair in lines if pair[0] != pair[1]), "one ends early")
                self.fault(f"value {i}: {what}: {where}")


def compare_with_plistlib(oracle, values):
    for i, item in enumerate(values):
        for kind, form in (("pyxml", plistlib.FMT_XML), ("pybin", plistlib.FMT_BINARY)):
            oracle.path(i, kind).write_bytes(plistlib.dumps(item, fmt=form))
    oracle.reads("pyxml", "plistlib's XML")
    oracle.reads("pybin", "plistlib's binary")
    oracle.convert("xml", "pybin", "xml")
    oracle.convert("xml", "xml", "xml2")
    oracle.reads("xml", "our XML")
    oracle.same("xml", "xml2", "XML changes when it is read and written again")
    for i, item in enumerate(values):
        for kind in ("xml", "pyxml.bin"):
            if plistlib.loads(oracle.path(i, kind).read_bytes()) != item:
                oracle.fault(f"value {i}: plistlib reads our {kind} as another value")


def compare_with_plistutil(oracle, tool):
    for i in range(oracle.count):
        for ours, form in (("pyxml.bin", "xml"), ("xml", "bin")):
            subprocess.run([tool, "-i", oracle.path(i, ours), "-f", form, "-o",
                            oracle.path(i, "pu." + form)], check=True)
        # It does not fill years before 1000 up to four digits.
        file = oracle.path(i, "pu.xml")
        file.write_bytes(re.sub(rb"<date>(\d+)-", lambda year: b"<date>%04d-" % int(year[1]),
                                file.read_bytes()))
    oracle.same("pu.xml", "xml", "plistutil writes other XML")
    oracle.reads("pu.bin", "plistutil's binary of our XML")


def check_with_xmllint(oracle, tool):
    files = [oracle.path(i, "xml") for i in range(oracle.count)]
    if subprocess.run([tool, "--noout", "--nonet", *files], check=False).returncode:
        oracle.fault("xmllint finds fault with our XML")


def main():
    count = 100
    print("seed", SEED)
    rng = random.Random(SEED)
    # Each second list is of five values in one.
    values = [[value(rng, rng.randrange(5)) for _ in range(5)] if i % 2 else
              value(rng, rng.randrange(5)) for i in range(count)]
    deep = "bottom"
    for level in range(12):
        deep = [deep, rng.randbytes(100)] if level % 2 else {"data": rng.randbytes(100), "d": deep}
    values[0] = deep
    values[1] = {"k" * (i % 150) + ("é" if i % 7 == 0 else "") + str(i): i for i in range(2000)}
    # The second key in UTF-8 has the bytes of the first in Latin-1.
    values[7] = [{"a": 1, "Ã©": 2}, {"a": 1, "é": 2}]
    # Around the counts where references and offsets get larger.
    values[2:7] = [list(range(count)) for count in (254, 255, 256, 65534, 65535)]
    with tempfile.TemporaryDirectory() as folder:
        oracle = Oracle(sys.argv[1], folder, count)
        compare_with_plistlib(oracle, values)
        for name, check in (("plistutil", compare_with_plistutil), ("xmllint", check_with_xmllint)):
            tool = shutil.which(name)
            if tool:
                check(oracle, tool)
            else:
                print(name, "is not here: left out")
    print(f"{count} lists, {oracle.faults} faults")
    return 1 if oracle.faults else 0


sys.exit(main())
