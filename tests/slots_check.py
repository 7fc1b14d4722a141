"""Compares the virtual tables of a shared library with the published order of their slots, a class
a line. Behind a bar stands the table of a further base.
usage: slots_check.py LIBRARY LIST"""

import pathlib
import re
import subprocess
import sys

library, listing = sys.argv[1:3]


def matches(pattern, *command):
    output = subprocess.run([*command, library], check=True, capture_output=True, text=True).stdout
    return re.findall(pattern, output, re.M)


names, tables = {}, {}  # of functions by address; the addresses of the slots by class
for address, size, name in matches(r"^(\w+) (\w+) \w (.*)$", "nm", "-SC"):
    address = int(address, 16)
    # Functions with the same body may share an address, and destructors are as often the base's.
    short = re.sub(r"\(.*| for .*|(?<=~)\w+", "", name).split("::")[-1]
    names.setdefault(address, set()).add(short)
    if name.startswith("vtable for "):
        tables[name.removeprefix("vtable for ")] = range(address, address + int(size, 16), 8)
targets = {int(address, 16): names.get(int(target, 16), set()) for address, target in
           matches(r"^(\w+) .*_(?:RELATIVE|64) +(\w+)", "readelf", "-rW")}

faults = 0
published = [line.split(": ") for line in pathlib.Path(listing).read_text().splitlines()
             if not line.startswith("#")]
for name, functions in published:
    # Each table begins with an offset, which is no address, and the type.
    built = [targets[slot] for slot in tables.get(name, ()) if slot in targets]
    wanted = ["typeinfo", *functions.replace("|", "typeinfo").split()]
    if len(built) != len(wanted) or any(want not in got for want, got in zip(wanted, built)):
        faults += 1
        print(name, "has", *("/".join(got) for got in built))
print(f"{len(published)} tables, {faults} faults")
sys.exit(1 if faults or not published else 0)
