"""Compares what a shared library exports with the published list, both ways.
usage: exports_check.py LIBRARY LIST"""

import pathlib
import subprocess
import sys

library, listing = sys.argv[1:3]
output = subprocess.run(["nm", "-D", "--defined-only", "--demangle", library], check=True,
                        capture_output=True, text=True).stdout
built = set()
for line in output.splitlines():
    _, kind, name = line.split(" ", 2)
    if kind == "A":  # the version node
        continue
    built.add(name.split("@@")[0])
published = {line.strip() for line in pathlib.Path(listing).read_text().splitlines()
             if line.strip() and not line.startswith("#")}

for name in sorted(built - published):
    print(f"exported but not published: {name}")
for name in sorted(published - built):
    print(f"published but not exported: {name}")
print(f"{len(built)} exported, {len(published)} published")
sys.exit(0 if built and built == published else 1)
