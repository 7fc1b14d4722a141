"""Picture files and ICC profiles made and read with the standard library alone.

This is the independent side of the tool's tests: it shares no code with the codecs. A picture is a
Picture: samples are plain integers, row after row, channels interleaved.
"""

import dataclasses
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
        taken = [
            s
            for i in range(0, len(self.samples), self.channels)
            for s in self.samples[i + first : i + first + count]
        ]
        return dataclasses.replace(self, channels=count, samples=taken)


def pack(samples, depth, order):
    if depth == 8:
        return bytes(samples)
    return struct.pack(f"{order}{len(samples)}H", *samples)


def unpack(data, depth, order):
    if depth == 8:
        return list(data)
    return list(struct.unpack(f"{order}{len(data) // 2}H", data))


# PNG

PNG_CHANNELS = {0: 1, 2: 3, 4: 2, 6: 4}


def png_chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


def png_scanlines(picture, xs, ys):
    rows = b""
    for y in ys:
        row = [s for x in xs for s in picture.pixel(x, y)]
        if row:
            rows += b"\0" + pack(row, picture.depth, ">")
    return rows


def write_png(path, picture, interlaced=False, extra=b""):
    kinds = {v: k for k, v in PNG_CHANNELS.items()}
    header = struct.pack(
        ">IIBBBBB", picture.width, picture.height, picture.depth, kinds[picture.channels], 0, 0, interlaced
    )
    out = b"\x89PNG\r\n\x1a\n" + png_chunk(b"IHDR", header)
    if picture.icc:
        out += png_chunk(b"iCCP", b"p\0\0" + zlib.compress(picture.icc))
    if picture.dpi:
        out += png_chunk(b"pHYs", struct.pack(">IIB", *(round(d / 0.0254) for d in picture.dpi), 1))
    if picture.exif:
        out += png_chunk(b"eXIf", picture.exif)
    out += extra
    w, h = picture.width, picture.height
    if interlaced:
        passes = [(0, 8, 0, 8), (4, 8, 0, 8), (0, 4, 4, 8), (2, 4, 0, 4), (0, 2, 2, 4), (1, 2, 0, 2), (0, 1, 1, 2)]
        rows = b"".join(png_scanlines(picture, range(x, w, dx), range(y, h, dy)) for x, dx, y, dy in passes)
    else:
        rows = png_scanlines(picture, range(w), range(h))
    out += png_chunk(b"IDAT", zlib.compress(rows)) + png_chunk(b"IEND", b"")
    with open(path, "wb") as file:
        file.write(out)


def read_png(path):
    with open(path, "rb") as file:
        data = file.read()
    assert data[:8] == b"\x89PNG\r\n\x1a\n"
    at, chunks = 8, {}
    while at < len(data):
        (length,) = struct.unpack_from(">I", data, at)
        kind, body = data[at + 4 : at + 8], data[at + 8 : at + 8 + length]
        assert struct.unpack_from(">I", data, at + 8 + length)[0] == zlib.crc32(kind + body)
        chunks[kind] = chunks.get(kind, b"") + body
        at += length + 12
    width, height, depth, kind, _, _, interlaced = struct.unpack(">IIBBBBB", chunks[b"IHDR"])
    assert not interlaced
    channels = PNG_CHANNELS[kind]
    step = channels * depth // 8
    rows, stride = zlib.decompress(chunks[b"IDAT"]), width * step
    former, plain = bytearray(stride), bytearray()
    for y in range(height):
        kind_of_filter = rows[y * (stride + 1)]
        row = bytearray(rows[y * (stride + 1) + 1 : (y + 1) * (stride + 1)])
        for i in range(stride):
            a = row[i - step] if i >= step else 0
            b, c = former[i], former[i - step] if i >= step else 0
            p = a + b - c
            paeth = min((abs(p - a), 0, a), (abs(p - b), 1, b), (abs(p - c), 2, c))[2]
            row[i] = (row[i] + (0, a, b, (a + b) // 2, paeth)[kind_of_filter]) & 255
        former = row
        plain += row
    icc = None
    if b"iCCP" in chunks:
        icc = zlib.decompress(chunks[b"iCCP"].split(b"\0", 1)[1][1:])
    dpi = None
    if b"pHYs" in chunks:
        dpi = tuple(n * 0.0254 for n in struct.unpack_from(">II", chunks[b"pHYs"]))
    samples = unpack(bytes(plain), depth, ">")
    return Picture(width, height, depth, channels, samples, icc, dpi, chunks.get(b"eXIf"))


# TIFF

BILEVEL_WHITE, GREY, RGB, PALETTE, CMYK = 0, 1, 2, 3, 5
TIFF_SIZES = {1: 1, 2: 1, 3: 2, 4: 4, 5: 8, 7: 1, 16: 8}


class TiffWriter:
    """A file of strips or tiles whose layout the caller chooses."""

    def __init__(self, order="<", big=False):
        self.order, self.big = order, big
        self.fields = {}

    def field(self, tag, kind, *values):
        codes = {1: "B", 2: "B", 3: "H", 4: "I", 7: "B", 16: "Q"}
        if kind == 5:
            body = b"".join(struct.pack(self.order + "II", round(v * 1000), 1000) for v in values)
        else:
            body = struct.pack(f"{self.order}{len(values)}{codes[kind]}", *values)
        self.fields[tag] = (kind, len(values), body)

    def write(self, path, pieces, offsets_tag=273):
        word, kind = ("Q", 16) if self.big else ("I", 4)
        head = (b"II" if self.order == "<" else b"MM") + struct.pack(self.order + "H", 43 if self.big else 42)
        if self.big:
            head += struct.pack(self.order + "HH", 8, 0)
        start = len(head) + struct.calcsize("=" + word)
        offsets, blob = [], b""
        for piece in pieces:
            blob += b"\0" * (len(blob) % 2)
            offsets.append(start + len(blob))
            blob += piece
        self.field(offsets_tag, kind, *offsets)
        self.field(offsets_tag + (6 if offsets_tag == 273 else 1), kind, *map(len, pieces))
        blob += b"\0" * (len(blob) % 2)
        inline = 8 if self.big else 4
        placed = {}
        for tag, (_, _, body) in self.fields.items():
            if len(body) > inline:
                placed[tag] = start + len(blob)
                blob += body + b"\0" * (len(body) % 2)
        folder = struct.pack(self.order + ("Q" if self.big else "H"), len(self.fields))
        for tag, (kind, count, body) in sorted(self.fields.items()):
            value = struct.pack(self.order + word, placed[tag]) if tag in placed else body.ljust(inline, b"\0")
            folder += struct.pack(self.order + "HH" + word, tag, kind, count) + value
        folder += struct.pack(self.order + word, 0)
        with open(path, "wb") as file:
            file.write(head + struct.pack(self.order + word, start + len(blob)) + blob + folder)


def write_tiff(path, picture, photometric, *, order="<", big=False, extra=None, orientation=1, planar=False,
               tile=None, deflate=False, rows_per_strip=7, fields=()):
    tiff = TiffWriter(order, big)
    w, h, n = picture.width, picture.height, picture.channels
    tiff.field(256, 4, w)
    tiff.field(257, 4, h)
    tiff.field(258, 3, *[picture.depth] * n)
    tiff.field(259, 3, 8 if deflate else 1)
    tiff.field(262, 3, photometric)
    tiff.field(274, 3, orientation)
    tiff.field(277, 3, n)
    tiff.field(284, 3, 2 if planar else 1)
    if extra is not None:
        tiff.field(338, 3, extra)
    if picture.icc:
        tiff.field(34675, 7, *picture.icc)
    if picture.dpi:
        tiff.field(282, 5, picture.dpi[0])
        tiff.field(283, 5, picture.dpi[1])
        tiff.field(296, 3, 2)
    for field in fields:
        tiff.field(*field)
    planes = [picture.channels_of(c, 1) for c in range(n)] if planar else [picture]
    pieces = []
    for plane in planes:
        c = plane.channels
        if tile:
            for y0 in range(0, h, tile):
                for x0 in range(0, w, tile):
                    block = []
                    for y in range(y0, y0 + tile):
                        for x in range(x0, x0 + tile):
                            block += plane.pixel(x, y) if x < w and y < h else [0] * c
                    pieces.append(pack(block, picture.depth, order))
        else:
            for y0 in range(0, h, rows_per_strip):
                strip = plane.samples[y0 * w * c : (y0 + rows_per_strip) * w * c]
                pieces.append(pack(strip, picture.depth, order))
    if deflate:
        pieces = [zlib.compress(p) for p in pieces]
    if tile:
        tiff.field(322, 3, tile)
        tiff.field(323, 3, tile)
        tiff.write(path, pieces, 324)
    else:
        tiff.field(278, 4, rows_per_strip)
        tiff.write(path, pieces)


def read_tiff_fields(data):
    order = "<" if data[:2] == b"II" else ">"
    big = struct.unpack_from(order + "H", data, 2)[0] == 43
    word, count_code, inline = ("Q", "Q", 8) if big else ("I", "H", 4)
    (at,) = struct.unpack_from(order + word, data, 8 if big else 4)
    (count,) = struct.unpack_from(order + count_code, data, at)
    at += struct.calcsize("=" + count_code)
    fields = {}
    for _ in range(count):
        tag, kind, n = struct.unpack_from(order + "HH" + word, data, at)
        value_at = at + 4 + inline
        size = TIFF_SIZES.get(kind, 1) * n
        if size > inline:
            (value_at,) = struct.unpack_from(order + word, data, value_at)
        body = data[value_at : value_at + size]
        if kind == 5:
            parts = struct.unpack(f"{order}{2 * n}I", body)
            fields[tag] = [parts[i] / parts[i + 1] for i in range(0, 2 * n, 2)]
        elif kind in (3, 4, 16):
            fields[tag] = list(struct.unpack(f"{order}{n}{ {3: 'H', 4: 'I', 16: 'Q'}[kind] }", body))
        else:
            fields[tag] = body
        at += 4 + 2 * inline
    return order, fields


def read_tiff(path):
    """Reads chunky strips, plain or deflated, with or without the horizontal predictor."""
    with open(path, "rb") as file:
        data = file.read()
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
    picture = Picture(width, height, depth, channels, samples, fields.get(34675), dpi)
    picture.fields = fields
    return picture


# PNM, which cjpeg and djpeg speak


def write_pnm(path, picture):
    assert picture.depth == 8
    with open(path, "wb") as file:
        file.write(b"P%d %d %d 255\n" % (6 if picture.channels == 3 else 5, picture.width, picture.height))
        file.write(bytes(picture.samples))


def read_pnm(data):
    kind, width, height, top, rest = data.split(maxsplit=4) if data[:2] in (b"P5", b"P6") else (None,) * 5
    assert top == b"255"
    channels = 3 if kind == b"P6" else 1
    size = int(width) * int(height) * channels
    return Picture(int(width), int(height), 8, channels, list(data[len(data) - size :]))


# JPEG markers


def jpeg_segments(data):
    """Pairs of marker and body up to the first scan."""
    at, segments = 2, []
    while data[at + 1] != 0xDA:
        (length,) = struct.unpack_from(">H", data, at + 2)
        segments.append((data[at + 1], data[at + 4 : at + 2 + length]))
        at += 2 + length
    return segments


def read_jpeg_facts(path):
    """The profile, EXIF bytes, JFIF resolution and sampling factors of a JPEG file."""
    with open(path, "rb") as file:
        data = file.read()
    icc, exif, dpi, sampling = b"", None, None, None
    for marker, body in jpeg_segments(data):
        if marker == 0xE2 and body.startswith(b"ICC_PROFILE\0"):
            icc += body[14:]
        if marker == 0xE1 and body.startswith(b"Exif\0\0"):
            exif = body[6:]
        if marker == 0xE0 and body.startswith(b"JFIF\0") and body[7] == 1:
            dpi = struct.unpack_from(">HH", body, 8)
        if marker in (0xC0, 0xC1, 0xC2):
            sampling = [body[7 + 3 * i] for i in range(body[5])]
    return icc or None, exif, dpi, sampling


def insert_jpeg_segment(path, marker, body):
    with open(path, "rb") as file:
        data = file.read()
    segment = bytes([0xFF, marker]) + struct.pack(">H", len(body) + 2) + body
    with open(path, "wb") as file:
        file.write(data[:2] + segment + data[2:])


# EXIF


def make_exif(order, orientation, *, color_space=1, width=0, height=0, preview=True):
    """A folder with a maker, an orientation and a resolution, an EXIF folder, and a preview's folder."""
    maker = b"Nobody Ltd\0\0"
    entries = 6
    values = 8 + 2 + 12 * entries + 4
    exif_at = values + len(maker) + 16
    exif_entries = 3
    preview_at = exif_at + 2 + 12 * exif_entries + 4

    def entry(tag, kind, count, value):
        short = kind == 3 and count == 1
        return struct.pack(order + "HHI", tag, kind, count) + (
            struct.pack(order + "HH", value, 0) if short else struct.pack(order + "I", value)
        )

    out = (b"II" if order == "<" else b"MM") + struct.pack(order + "HI", 42, 8)
    out += struct.pack(order + "H", entries)
    out += entry(0x10F, 2, 11, values) + entry(0x112, 3, 1, orientation)
    out += entry(0x11A, 5, 1, values + len(maker)) + entry(0x11B, 5, 1, values + len(maker) + 8)
    out += entry(0x128, 3, 1, 2) + entry(0x8769, 4, 1, exif_at)
    out += struct.pack(order + "I", preview_at if preview else 0)
    out += maker + struct.pack(order + "IIII", 300, 1, 150, 1)
    out += struct.pack(order + "H", exif_entries)
    out += entry(0xA001, 3, 1, color_space) + entry(0xA002, 4, 1, width) + entry(0xA003, 4, 1, height)
    out += struct.pack(order + "I", 0)
    return out + struct.pack(order + "H", 1) + entry(0x103, 3, 1, 6) + struct.pack(order + "I", 0)


def read_exif(data):
    """The fields of the first and the EXIF folder, and the offset of the next folder."""
    order, fields = read_tiff_fields(data)
    (count,) = struct.unpack_from(order + "H", data, 8)
    (following,) = struct.unpack_from(order + "I", data, 10 + 12 * count)
    if 0x8769 in fields:
        head = data[:4] + struct.pack(order + "I", fields[0x8769][0])
        fields.update(read_tiff_fields(head + data[8:])[1])
    return fields, following


# ICC profiles


def icc_profile(kind, space, pcs, tags):
    count, at, table, body = len(tags), 132 + 12 * len(tags), b"", b""
    for name, content in tags:
        content += b"\0" * (-len(content) % 4)
        table += name + struct.pack(">II", at + len(body), len(content))
        body += content
    header = struct.pack(
        ">I4sI4s4s4s12s4s4sI4sIQI12s4s44s", at + len(body), b"none", 0x02100000, kind, space, pcs,
        struct.pack(">6H", 2020, 1, 1, 0, 0, 0), b"acsp", b"\0" * 4, 0, b"none", 0, 0, 0,
        struct.pack(">III", 0xF6D6, 0x10000, 0xD32D), b"none", b"\0" * 44)
    assert len(header) == 128
    return header + struct.pack(">I", count) + table + body


def icc_text(text):
    return b"desc\0\0\0\0" + struct.pack(">I", len(text) + 1) + text.encode() + b"\0" * 79


COMMON_TAGS = [
    (b"cprt", b"text\0\0\0\0free\0"),
    (b"wtpt", b"XYZ \0\0\0\0" + struct.pack(">III", 0xF6D6, 0x10000, 0xD32D)),
]


def grey_profile():
    curve = b"curv\0\0\0\0" + struct.pack(">IH", 1, int(1.9 * 256))
    return icc_profile(b"mntr", b"GRAY", b"XYZ ", [(b"desc", icc_text("test grey")), (b"kTRC", curve)] + COMMON_TAGS)


def lut16(inputs, outputs, grid, function):
    """A 16-bit table with straight curves; `function` maps inputs on 0…1 to outputs on 0…1."""
    line = struct.pack(">HH", 0, 65535)
    out = b"mft2\0\0\0\0" + bytes([inputs, outputs, grid, 0])
    out += struct.pack(">9i", 0x10000, 0, 0, 0, 0x10000, 0, 0, 0, 0x10000)
    out += struct.pack(">HH", 2, 2) + line * inputs
    for node in range(grid**inputs):
        place = [node // grid**k % grid / (grid - 1) for k in reversed(range(inputs))]
        values = function(place)
        out += struct.pack(f">{outputs}H", *(round(min(max(v, 0), 1) * 65535) for v in values))
    return out + line * outputs


def cmyk_profile():
    """A printer that never was: smooth, monotonous, and darker with every ink."""

    def to_lab(ink):
        c, m, y, k = ink
        light = (1 - 0.45 * c) * (1 - 0.5 * m) * (1 - 0.1 * y) * (1 - 0.9 * k)
        # Legacy 16-bit encoding: L 0…100 on 0…0xFF00, a and b with 0 at 0x8000.
        shade = 1 - k
        a = (0.5 * m - 0.3 * c) * shade
        b = (0.55 * y - 0.3 * c) * shade
        return [light * 0xFF00 / 0xFFFF, (0x8000 + a * 0x7000) / 0xFFFF, (0x8000 + b * 0x7000) / 0xFFFF]

    def from_lab(lab):
        light = lab[0] * 0xFFFF / 0xFF00
        a, b = lab[1] - 0x8000 / 0xFFFF, lab[2] - 0x8000 / 0xFFFF
        return [(1 - light) * 0.7 - a, (1 - light) * 0.7 + a, (1 - light) * 0.6 + b, max(0.0, 0.6 - light)]

    return icc_profile(b"prtr", b"CMYK", b"Lab ", [
        (b"desc", icc_text("test printer")),
        (b"A2B0", lut16(4, 3, 5, to_lab)),
        (b"B2A0", lut16(3, 4, 9, from_lab)),
    ] + COMMON_TAGS)
