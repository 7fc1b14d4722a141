"""Picture files made and read with the standard library alone.

This is the independent side of the tool's tests: it shares no code with the codecs. A picture is a
Picture: samples are plain integers, row after row, channels interleaved.
"""

import dataclasses
import os
import struct
import zlib


@dataclasses.dataclass
class Picture:
    width: int
    height: int
    depth: int  # 8 or 16
    channels: int
    samples: list
    icc: bytes = None
    dpi: tuple = None
    exif: bytes = None

    def pixel(self, x, y):
        at = (y * self.width + x) * self.channels
        return self.samples[at : at + self.channels]

    def channels_of(self, first, count):
        """The picture with only some of its channels."""
        starts = range(first, len(self.samples), self.channels)
        taken = [s for i in starts for s in self.samples[i : i + count]]
        return dataclasses.replace(self, channels=count, samples=taken)


def read_file(path):
    with open(path, "rb") as file:
        return file.read()


def write_file(path, data):
    with open(path, "wb") as file:
        file.write(data)


def pack(samples, depth, order):
    return bytes(samples) if depth == 8 else struct.pack(f"{order}{len(samples)}H", *samples)


def unpack(data, depth, order):
    return list(data) if depth == 8 else list(struct.unpack(f"{order}{len(data) // 2}H", data))


# PNG

PNG_CHANNELS = {0: 1, 2: 3, 4: 2, 6: 4}


def png_chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def png_header(width, height, depth, kind, interlaced=False):
    return struct.pack(">IIBBBBB", width, height, depth, kind, 0, 0, interlaced)


def write_png_chunks(path, *chunks):
    write_file(path, b"\x89PNG\r\n\x1a\n" + b"".join(png_chunk(*c) for c in (*chunks, (b"IEND", b""))))


def write_png(path, picture, interlaced=False):
    w, h, depth = picture.width, picture.height, picture.depth
    kinds = {channels: kind for kind, channels in PNG_CHANNELS.items()}
    chunks = [(b"IHDR", png_header(w, h, depth, kinds[picture.channels], interlaced))]
    if picture.icc:
        chunks.append((b"iCCP", b"p\0\0" + zlib.compress(picture.icc)))
    if picture.dpi:
        chunks.append((b"pHYs", struct.pack(">IIB", *(round(d / 0.0254) for d in picture.dpi), 1)))
    if picture.exif:
        chunks.append((b"eXIf", picture.exif))
    seven = [(0, 8, 0, 8), (4, 8, 0, 8), (0, 4, 4, 8), (2, 4, 0, 4), (0, 2, 2, 4), (1, 2, 0, 2), (0, 1, 1, 2)]
    rows = b""
    for x0, dx, y0, dy in seven if interlaced else [(0, 1, 0, 1)]:
        for y in range(y0, h, dy):
            row = [s for x in range(x0, w, dx) for s in picture.pixel(x, y)]
            rows += b"\0" + pack(row, depth, ">") if row else b""
    write_png_chunks(path, *chunks, (b"IDAT", zlib.compress(rows)))


def read_png(path):
    data = read_file(path)
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    at, chunks = 8, {}
    while at < len(data):
        (length,) = struct.unpack_from(">I", data, at)
        kind, body = data[at + 4 : at + 8], data[at + 8 : at + 8 + length]
        assert data[at : at + length + 12] == png_chunk(kind, body)
        chunks[kind] = chunks.get(kind, b"") + body
        at += length + 12
    width, height, depth, kind, _, _, interlaced = struct.unpack(">IIBBBBB", chunks[b"IHDR"])
    assert not interlaced
    channels = PNG_CHANNELS[kind]
    step = channels * depth // 8
    rows, stride = zlib.decompress(chunks[b"IDAT"]), width * step
    former, plain = bytearray(stride), bytearray()
    for start in range(0, height * (stride + 1), stride + 1):
        row = bytearray(rows[start + 1 : start + 1 + stride])
        for i in range(stride):
            a, c = (row[i - step], former[i - step]) if i >= step else (0, 0)
            b = former[i]
            p = a + b - c
            paeth = min((abs(p - a), 0, a), (abs(p - b), 1, b), (abs(p - c), 2, c))[2]
            row[i] = (row[i] + (0, a, b, (a + b) // 2, paeth)[rows[start]]) & 255
        former = row
        plain += row
    icc = zlib.decompress(chunks[b"iCCP"].split(b"\0", 1)[1][1:]) if b"iCCP" in chunks else None
    dpi = tuple(n * 0.0254 for n in struct.unpack_from(">II", chunks[b"pHYs"])) if b"pHYs" in chunks else None
    return Picture(width, height, depth, channels, unpack(plain, depth, ">"), icc, dpi, chunks.get(b"eXIf"))


# TIFF

BILEVEL_WHITE, GREY, RGB, PALETTE, CMYK = 0, 1, 2, 3, 5
TIFF_KINDS = {1: ("B", 1), 2: ("B", 1), 3: ("H", 2), 4: ("I", 4), 5: ("I", 8), 7: ("B", 1)}


def write_tiff_file(path, fields, strips):
    """Writes strips, then a folder of `fields`, rows of tag, kind and values."""
    blob = b""

    def add(data):
        nonlocal blob
        at = 8 + len(blob)
        blob += data + b"\0" * (len(data) % 2)
        return at

    offsets = [add(strip) for strip in strips]
    fields = [*fields, (273, 4, *offsets), (279, 4, *map(len, strips))]
    table = {}  # the last field of a tag counts
    for tag, kind, *values in fields:
        count = len(values)
        if kind == 5:
            values = [v for d in values for v in (round(d * 1000), 1000)]
        body = struct.pack(f"<{len(values)}{TIFF_KINDS[kind][0]}", *values)
        value = body.ljust(4, b"\0") if len(body) <= 4 else struct.pack("<I", add(body))
        table[tag] = struct.pack("<HHI", tag, kind, count) + value
    folder = struct.pack("<H", len(table)) + b"".join(table[t] for t in sorted(table))
    write_file(path, struct.pack("<2sHI", b"II", 42, 8 + len(blob)) + blob + folder + bytes(4))


def write_tiff(path, picture, photometric, *, extra=None, orientation=1, planar=False, rows_per_strip=7, fields=()):
    w, h, n = picture.width, picture.height, picture.channels
    all_fields = [
        (256, 4, w), (257, 4, h), (258, 3, *[picture.depth] * n), (259, 3, 1), (262, 3, photometric),
        (274, 3, orientation), (277, 3, n), (278, 4, rows_per_strip), (284, 3, 2 if planar else 1)]
    if extra is not None:
        all_fields.append((338, 3, extra))
    if picture.icc:
        all_fields.append((34675, 7, *picture.icc))
    if picture.dpi:
        all_fields += [(282, 5, picture.dpi[0]), (283, 5, picture.dpi[1]), (296, 3, 2)]
    strips = []
    for plane in [picture.channels_of(c, 1) for c in range(n)] if planar else [picture]:
        size = rows_per_strip * w * plane.channels
        pieces = range(0, len(plane.samples), size)
        strips += [pack(plane.samples[at : at + size], picture.depth, "<") for at in pieces]
    write_tiff_file(path, [*all_fields, *fields], strips)


def read_tiff_fields(data):
    order = "<" if data[:2] == b"II" else ">"
    (at,) = struct.unpack_from(order + "I", data, 4)
    (count,) = struct.unpack_from(order + "H", data, at)
    at += 2
    fields = {}
    for _ in range(count):
        tag, kind, n = struct.unpack_from(order + "HHI", data, at)
        value_at = at + 8
        code, size = TIFF_KINDS[kind][0], TIFF_KINDS[kind][1] * n
        if size > 4:
            (value_at,) = struct.unpack_from(order + "I", data, value_at)
        body = data[value_at : value_at + size]
        values = struct.unpack(f"{order}{size // struct.calcsize(code)}{code}", body)
        if kind == 5:
            values = [a / b for a, b in zip(values[::2], values[1::2])]
        fields[tag] = body if code == "B" else list(values)
        at += 12
    return order, fields


def read_tiff(path):
    """Reads chunky strips, plain or deflated, with or without the horizontal predictor."""
    data = read_file(path)
    order, fields = read_tiff_fields(data)
    width, height, depth = fields[256][0], fields[257][0], fields[258][0]
    channels = fields.get(277, [1])[0]
    compression = fields.get(259, [1])[0]
    assert compression in (1, 8, 32946), compression
    samples = []
    for at, size in zip(fields[273], fields[279]):
        strip = data[at : at + size]
        samples += unpack(zlib.decompress(strip) if compression != 1 else strip, depth, order)
    if fields.get(317, [1])[0] == 2:
        mask = (1 << depth) - 1
        for y in range(height):
            row = y * width * channels
            for i in range(row + channels, row + width * channels):
                samples[i] = (samples[i] + samples[i - channels]) & mask
    dpi = (fields[282][0], fields[283][0]) if 282 in fields else None
    return Picture(width, height, depth, channels, samples, fields.get(34675), dpi)


# PNM, which cjpeg and djpeg speak


def write_pnm(path, picture):
    kind = 6 if picture.channels == 3 else 5
    write_file(path, b"P%d %d %d 255\n" % (kind, picture.width, picture.height) + bytes(picture.samples))


def read_pnm(data):
    kind, width, height, top, _ = data.split(maxsplit=4)
    assert kind in (b"P5", b"P6") and top == b"255"
    w, h, channels = int(width), int(height), 3 if kind == b"P6" else 1
    return Picture(w, h, 8, channels, list(data[len(data) - w * h * channels :]))


# JPEG markers


def read_jpeg_facts(path):
    """The profile, JFIF resolution, EXIF bytes and sampling factors of a JPEG file."""
    data, at = read_file(path), 2
    icc, dpi, exif, sampling = b"", None, None, None
    while data[at + 1] != 0xDA:
        (length,) = struct.unpack_from(">H", data, at + 2)
        marker, body = data[at + 1], data[at + 4 : at + 2 + length]
        at += 2 + length
        if marker == 0xE2 and body.startswith(b"ICC_PROFILE\0"):
            icc += body[14:]
        if marker == 0xE1 and body.startswith(b"Exif\0\0"):
            exif = body[6:]
        if marker == 0xE0 and body.startswith(b"JFIF\0") and body[7] == 1:
            dpi = struct.unpack_from(">HH", body, 8)
        if marker in (0xC0, 0xC1, 0xC2):
            sampling = [body[7 + 3 * i] for i in range(body[5])]
    return icc or None, dpi, exif, sampling


def insert_jpeg_segment(path, marker, body):
    data = read_file(path)
    write_file(path, data[:2] + struct.pack(">BBH", 0xFF, marker, len(body) + 2) + body + data[2:])


# EXIF


def make_exif(order, orientation, *, color_space=1, width=0, height=0):
    """A folder with a maker, an orientation and a resolution, an EXIF folder, and a preview's folder."""

    def folder(entries, following=0):
        out = struct.pack(order + "H", len(entries))
        for tag, kind, count, value in entries:
            out += struct.pack(order + "HHI", tag, kind, count)
            out += struct.pack(order + "HH", value, 0) if kind == 3 else struct.pack(order + "I", value)
        return out + struct.pack(order + "I", following)

    values = b"Nobody Ltd\0\0" + struct.pack(order + "IIII", 300, 1, 150, 1)
    at = 8 + 2 + 12 * 6 + 4
    exif_at = at + len(values)
    exif = folder([(0xA001, 3, 1, color_space), (0xA002, 4, 1, width), (0xA003, 4, 1, height)])
    first = [(0x10F, 2, 11, at), (0x112, 3, 1, orientation), (0x11A, 5, 1, at + 12), (0x11B, 5, 1, at + 20),
             (0x128, 3, 1, 2), (0x8769, 4, 1, exif_at)]
    head = (b"II" if order == "<" else b"MM") + struct.pack(order + "HI", 42, 8)
    return head + folder(first, exif_at + len(exif)) + values + exif + folder([(0x103, 3, 1, 6)])


def read_exif(data):
    """The fields of the first and the EXIF folder, and the offset of the next folder."""
    order, fields = read_tiff_fields(data)
    (count,) = struct.unpack_from(order + "H", data, 8)
    (following,) = struct.unpack_from(order + "I", data, 10 + 12 * count)
    if 0x8769 in fields:
        head = data[:4] + struct.pack(order + "I", fields[0x8769][0])
        fields.update(read_tiff_fields(head + data[8:])[1])
    return fields, following


# ICC profiles of a printer and of a grey device, as pxprofiles writes them


def made_profile(name):
    return read_file(os.path.join(os.environ["PX_TEST_PROFILES"], name))
