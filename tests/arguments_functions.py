"""Writes the list of exported flat functions for arguments_test: one line FUNCTION(name, gives a
status) for each that the library exports, and an include of every header that declares one.
usage: arguments_functions.py REPOSITORY OUTPUT"""

import pathlib
import re
import sys

common = pathlib.Path(sys.argv[1]) / "Common"
exports = set(re.findall(r"^PX\w+$", (common.parent / "tests/data/exports_PXCore.txt").read_text(), re.M))
functions = {}
# Not called: variables, and what takes any number of arguments.
others = {"PXAccelerateDot", "PXAccelerateDot4", "PXLogUTF8"}
headers = []
for header in sorted(common.glob("*/PX*.h")):
    if header.name.endswith("_p.h"):
        continue
    text = re.sub(r"/\*.*?\*/|//[^\n]*", " ", header.read_text(), flags=re.S)
    found = re.findall(r"PX_API\s+(?!extern)([\w\s*]*?)\b(PX\w+)\s*\(([^;{}]*)\)\s*PX_NOEXCEPT\s*;", text)
    if found:
        headers.append(header.relative_to(common))
    functions.update((name, result.strip() == "PXStatus") for result, name, _ in found)
    others.update(name for _, name, arguments in found if "..." in arguments)

missing = exports - functions.keys() - others
if missing:
    sys.exit(f"exported, but found in no header: {sorted(missing)}")
lines = [f'#include "{header}"' for header in headers]
lines.append("#ifdef FUNCTION")
lines += [f"FUNCTION({name}, {str(functions[name]).lower()})" for name in sorted(exports - others)]
lines.append("#endif\n")
pathlib.Path(sys.argv[2]).write_text("\n".join(lines))
