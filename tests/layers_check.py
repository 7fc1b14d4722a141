"""Fails on an include that points upward in the layer picture, or on a system header outside the
platform folder. usage: layers_check.py REPOSITORY"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
common = root / "Common"

VOCABULARY = {"PXCore/PXTypes.h", "PXCore/PXExport.h", "PXCore/PXStatus.h"}

# Layer by how a path begins, the first match counts.
LAYERS = [
    ("Base/Platform/", 0),
    ("(PX)?CoreFoundation/", 1),
    ("Base/(Stream|Task|ThreadPool|HTTP|Msg|Connection|BroadcastConn|PXServer|Server)", 4),
    ("Base/", 2),
    ("PXAccelerate/", 4),
    ("Image/", 5),
    (r"PXCore/PX(Geometry|String|Variant|Dictionary|Utils|PresetData|Preset\.|BezierCurve|Color\.)", 3),
    # The interface headers that layer 5 implements are declarations over the vocabulary.
    (r"PXCore/PX(Image(Access|Cache|Tiles|Stream)?|ColorProfile(Desc)?|ColorCube|Stream|HttpMessage)\.h", 3),
    ("PXCore/", 6),
]

SYSTEM_HEADERS = re.compile(
    r"^(unistd|fcntl|pthread|dirent|dlfcn|sched|poll|netdb|syslog|termios|windows|winsock2|io|direct"
    r"|(sys|arpa|netinet|net|linux|asm)/.*)\.h$")
INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)')
PLATFORM_TEST = re.compile(r"^\s*#.*\b(_WIN32|_WIN64|__linux__)\b")


def layer_of(path):
    return next((layer for start, layer in LAYERS if re.match(start, path)), None)


def resolve(source, name):
    """The path below Common that an include names, or None for third-party headers."""
    for base in (common, common / "PXCoreFoundation", source.parent):
        candidate = (base / name).resolve()
        if candidate.is_file() and common.resolve() in candidate.parents:
            return candidate.relative_to(common.resolve()).as_posix()
    return None


faults = []
checked = 0
for source in sorted(common.rglob("*")):
    if source.suffix not in (".h", ".cpp", ".c"):
        continue
    own = source.relative_to(common).as_posix()
    own_layer = layer_of(own)
    if own_layer is None:
        faults.append(f"{own}: belongs to no layer")
        continue
    for number, line in enumerate(source.read_text().splitlines(), 1):
        where = f"Common/{own}:{number}"
        may_ask_system = own.startswith("Base/Platform/") or own == "PXCore/PXExport.h"
        # The value headers are a library of their own with its own linkage glue.
        if (PLATFORM_TEST.match(line) and not may_ask_system
                and own != "PXCoreFoundation/CoreFoundation/CFBase.h"):
            faults.append(f"{where}: asks for the system outside the platform folder")
        match = INCLUDE.match(line)
        if not match:
            continue
        checked += 1
        name = match.group(1) or match.group(2)
        if SYSTEM_HEADERS.match(name) and not own.startswith("Base/Platform/"):
            faults.append(f"{where}: system header {name}")
            continue
        target = resolve(source, name)
        if target is None or target in VOCABULARY:
            continue
        if own in VOCABULARY:
            faults.append(f"{where}: vocabulary includes {target}")
        elif layer_of(target) > own_layer:
            faults.append(f"{where}: layer {own_layer} includes {target} of layer {layer_of(target)}")

print("\n".join(faults) or f"{checked} includes are in order")
sys.exit(1 if faults or checked == 0 else 0)
