"""Compares property lists with Python's plistlib, with plistutil and with xmllint, both ways.

usage: lists_oracle.py <pxcfplist> [values]

Random nested values are written by plistlib and read by ours, written by ours and read by plistlib;
binary lists are compared byte for byte, and so is our XML with what plistutil makes of our binary.
The seed is printed; the environment variable PX_TEST_SEED sets another. Tools that the machine does
not have are named and left out.
"""

import datetime
import os
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


def characters(rng):
    """A character of a random plane that XML can carry; none between U+D800 and U+FFFF, where the
    order by UTF-16 units differs from Python's order by characters."""
    kind = rng.randrange(5)
    if kind <= 1:
        return chr(rng.randrange(0x20, 0x7F))
    if kind == 2:
        return chr(rng.choice([9, 10, *range(0xA0, 0x100)]))
    if kind == 3:
        return chr(rng.randrange(0x100, 0xD800))
    return chr(rng.randrange(0x1F300, 0x1F700))


def text(rng):
    length = rng.choice([0, 1, 2, 5, 14, 15, 16, 40])
    if rng.random() < 0.5:
        return "".join(chr(rng.randrange(0x20, 0x7F)) for _ in range(length))
    return "".join(characters(rng) for _ in range(length))


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
    kind = rng.randrange(9 if depth > 0 else 6)
    if kind == 0:
        return text(rng)
    if kind == 1:
        return integer(rng)
    if kind == 2:
        return real(rng)
    if kind == 3:
        return date(rng)
    if kind == 4:
        return rng.randbytes(rng.randrange(0, 300))
    if kind == 5:
        return rng.random() < 0.5
    if kind == 6:
        return [value(rng, depth - 1) for _ in range(rng.choice([0, 1, 3, 14, 15, 20]))]
    return {text(rng): value(rng, depth - 1) for _ in range(rng.choice([0, 1, 3, 14, 15, 20]))}


def canonical(item, lines):
    """The same lines as pxcfplist's canon, keys in sorted order."""
    if isinstance(item, dict):
        lines.append(f"dict {len(item)}")
        for key in sorted(item):
            lines.append("key " + key.encode("utf-16-be").hex())
            canonical(item[key], lines)
    elif isinstance(item, list):
        lines.append(f"array {len(item)}")
        for element in item:
            canonical(element, lines)
    elif isinstance(item, str):
        lines.append("string " + item.encode("utf-16-be").hex())
    elif isinstance(item, bool):
        lines.append("true" if item else "false")
    elif isinstance(item, int):
        lines.append(f"integer {item}")
    elif isinstance(item, float):
        lines.append("real " + struct.pack(">d", item).hex())
    elif isinstance(item, datetime.datetime):
        lines.append("date " + struct.pack(">d", (item - EPOCH).total_seconds()).hex())
    else:
        lines.append("data " + item.hex())
    return lines


class Oracle:
    def __init__(self, tool, folder, count):
        self.tool = tool
        self.folder = folder
        self.count = count
        self.faults = 0

    def path(self, index, kind):
        return os.path.join(self.folder, f"{index}.{kind}")

    def read(self, index, kind):
        with open(self.path(index, kind), "rb") as file:
            return file.read()

    def write(self, index, kind, data):
        with open(self.path(index, kind), "wb") as file:
            file.write(data)

    def convert(self, form, source, target):
        pairs = [path for i in range(self.count) for path in
                 (self.path(i, source), self.path(i, target))]
        result = subprocess.run([self.tool, form, *pairs], check=False)
        if result.returncode != 0:
            self.fault(f"converting {source} to {target} failed")
            sys.exit(1)

    def fault(self, message):
        self.faults += 1
        if self.faults <= 20:
            print("FAULT:", message)

    def expect(self, good, index, what):
        if not good:
            self.fault(f"value {index}: {what}")

    def same(self, kind, other, what):
        for i in range(self.count):
            first, second = self.read(i, kind), self.read(i, other)
            if first == second:
                continue
            lines = list(zip(first.split(b"\n"), second.split(b"\n")))
            where = next((pair for pair in lines if pair[0] != pair[1]), "one ends early")
            self.fault(f"value {i}: {what}: {where}")


def compare_with_plistlib(oracle, values):
    for i, item in enumerate(values):
        oracle.write(i, "pyxml", plistlib.dumps(item, fmt=plistlib.FMT_XML, sort_keys=True))
        oracle.write(i, "pybin", plistlib.dumps(item, fmt=plistlib.FMT_BINARY, sort_keys=True))
        oracle.write(i, "want", ("\n".join(canonical(item, [])) + "\n").encode())
    oracle.convert("canon", "pyxml", "canon1")
    oracle.convert("canon", "pybin", "canon2")
    oracle.same("canon1", "want", "plistlib's XML is read as another value")
    oracle.same("canon2", "want", "plistlib's binary is read as another value")
    oracle.convert("xml", "pybin", "xml")
    oracle.convert("bin", "pyxml", "bin")
    oracle.convert("xml", "xml", "xml2")
    oracle.convert("canon", "xml", "canon3")
    oracle.same("bin", "pybin", "our binary differs from plistlib's")
    oracle.same("xml", "xml2", "XML changes when it is read and written again")
    oracle.same("canon3", "want", "our XML is read as another value")
    for i, item in enumerate(values):
        for kind in ("xml", "bin"):
            oracle.expect(plistlib.loads(oracle.read(i, kind)) == item, i,
                          f"plistlib reads our {kind} as another value")


def compare_with_plistutil(oracle):
    tool = shutil.which("plistutil")
    if not tool:
        print("plistutil is not here: left out")
        return
    for i in range(oracle.count):
        subprocess.run([tool, "-i", oracle.path(i, "bin"), "-f", "xml", "-o",
                        oracle.path(i, "pu.xml")], check=True)
        # It does not fill years before 1000 up to four digits.
        padded = re.sub(rb"<date>(\d+)-", lambda year: b"<date>%04d-" % int(year[1]),
                        oracle.read(i, "pu.xml"))
        oracle.write(i, "pu.xml", padded)
        subprocess.run([tool, "-i", oracle.path(i, "xml"), "-f", "bin", "-o",
                        oracle.path(i, "pu.bin")], check=True)
    oracle.same("pu.xml", "xml", "plistutil writes other XML")
    oracle.convert("canon", "pu.bin", "canon4")
    oracle.same("canon4", "want", "plistutil's binary of our XML is read as another value")


def check_with_xmllint(oracle):
    tool = shutil.which("xmllint")
    if not tool:
        print("xmllint is not here: left out")
        return
    oracle.convert("bare", "bin", "bare")
    paths = [oracle.path(i, kind) for i in range(oracle.count) for kind in ("xml", "bare")]
    result = subprocess.run([tool, "--noout", "--nonet", *paths], check=False)
    oracle.expect(result.returncode == 0, "all", "xmllint finds fault with our XML")


def main():
    tool = sys.argv[1]
    count = int(sys.argv[2]) if len(sys.argv) > 2 else 300
    print("seed", SEED)
    rng = random.Random(SEED)
    values = [value(rng, rng.randrange(5)) for _ in range(count)]
    deep = "bottom"
    for level in range(12):
        deep = [deep, rng.randbytes(100)] if level % 2 else {"data": rng.randbytes(100), "d": deep}
    values[0] = deep
    with tempfile.TemporaryDirectory() as folder:
        oracle = Oracle(tool, folder, count)
        compare_with_plistlib(oracle, values)
        compare_with_plistutil(oracle)
        check_with_xmllint(oracle)
    print(f"{count} values, {oracle.faults} faults")
    return 1 if oracle.faults else 0


sys.exit(main())
