"""Checks that the README shows the examples as they are compiled and run.
usage: readme_examples.py REPOSITORY"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
blocks = re.findall(r"```(?:cpp|c)\n(.*?)```", (root / "README.md").read_text(), re.S)
faults = 0
for name in ("convert.cpp", "values.c"):
    text = (root / "examples" / name).read_text()
    if text not in blocks:
        print(f"README.md does not show examples/{name} as it is")
        faults += 1
sys.exit(1 if faults else 0)
