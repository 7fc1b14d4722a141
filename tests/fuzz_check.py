"""Every parser has a fuzz target, and every target a corpus. usage: fuzz_check.py REPOSITORY"""

import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
sounds_like = re.compile(
    r"^(PX|CF)\w*(From\w*(Data|File|Stream|Bytes|Disk|Path|String|Representation)|With\w*Bytes\w*|"
    r"With(Data|Stream)|FromXML\w*|SetICCData\w*|Read(Block|Line|PropertyList)\w*|MessageRead|"
    r"Parse\w*|WithFormat\w*|ReplacingPercent\w*|Import\w*)$", re.M)
exports, everything = set(), ""
for library in ("PXCore", "PXCoreFoundation"):
    text = (root / f"tests/data/exports_{library}.txt").read_text()
    everything += text
    exports |= {match[0] for match in sounds_like.finditer(text)}

listed, faults, used = set(), [], set()
for line in (root / "fuzz/parsers.txt").read_text().splitlines():
    words = line.split("#")[0].split()
    if not words:
        continue
    if words[0] == "-":
        listed.add(words[1])
        continue
    listed.add(words[0])
    used.update(words[1:])
    if len(words) == 1:
        faults.append(f"{words[0]} has no target")
for function in sorted(exports - listed):
    faults.append(f"{function} sounds like a parser and is not in fuzz/parsers.txt")
for function in sorted(listed):
    if not re.search(rf"^{function}$", everything, re.M):
        faults.append(f"{function} is not exported")
targets = {path.name.removesuffix("_fuzz.cpp") for path in (root / "fuzz").glob("*_fuzz.cpp")}
for target in sorted(used - targets):
    faults.append(f"there is no target {target}")
for target in sorted(targets):
    if not any((root / "fuzz/corpus" / target).glob("*")):
        faults.append(f"target {target} has no corpus")
print("\n".join(faults) or f"{len(listed)} functions, {len(targets)} targets")
sys.exit(1 if faults else 0)
