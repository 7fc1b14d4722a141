"""Compiles every installed header alone: those of the flat functions as C11 and C++20, class headers
as C++20, with GCC and Clang, without warnings. usage: headers_check.py REPOSITORY"""

import pathlib
import re
import subprocess
import sys
import tempfile

root = pathlib.Path(sys.argv[1])
common = root / "Common"
flags = ["-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only",
         f"-I{common}", f"-I{common / 'PXCoreFoundation'}"]

foundation = sorted((common / "PXCoreFoundation/CoreFoundation").glob("*.h"))
headers = sorted(path for path in common.glob("*/PX*.h") if not path.name.endswith("_p.h"))
named = re.search(r"foreach\(header ([^)]*)\)", (root / "cmake/PXInstall.cmake").read_text())[1]
headers += [common / f"Base/{name}.h" for name in named.split()] + [common / "Image/BaseTileSet.h"]

faults = 0
compiled = 0
with tempfile.TemporaryDirectory() as folder:
    for header in foundation + headers:
        languages = [("c++", "c++20")]
        if not re.search(r"^(class|template)\b", header.read_text(), re.M):
            languages.append(("c", "c11"))
        if header in foundation:
            languages += [("c++", "c++11"), ("c", "c99")]
        for language, standard in languages:
            source = pathlib.Path(folder) / ("one.c" if language == "c" else "one.cpp")
            # A header of macros alone leaves C without a single declaration, which it forbids.
            source.write_text(f'#include "{header}"\nextern int notEmpty;\n')
            for compiler in (("gcc", "clang") if language == "c" else ("g++", "clang++")):
                result = subprocess.run([compiler, f"-std={standard}", *flags, str(source)],
                                        capture_output=True, text=True)
                compiled += 1
                if result.returncode:
                    faults += 1
                    print(f"{header.name} as {standard} with {compiler}:\n{result.stderr}")
print(f"{compiled} compilations, {faults} with faults")
sys.exit(1 if faults or not compiled else 0)
