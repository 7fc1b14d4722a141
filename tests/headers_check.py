"""Compiles every exported header alone: those of the flat functions as C11 and C++20, class headers
as C++20, with GCC and Clang, without warnings. usage: headers_check.py REPOSITORY"""

import pathlib
import subprocess
import sys
import tempfile

root = pathlib.Path(sys.argv[1])
common = root / "Common"
flags = ["-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only",
         f"-I{common}", f"-I{common / 'PXCoreFoundation'}"]

flat = sorted((common / "PXCoreFoundation/CoreFoundation").glob("*.h"))
classes = [common / f"Base/{name}.h" for name in ("BaseCore", "BaseCondition", "BaseMutex",
                                               "BroadcastConn", "Connection", "HTTPMessage", "Msg",
                                               "MsgBroadcaster", "Ref", "Server", "ServerAPI", "Signal",
                                               "Stream", "StreamFile", "StreamMemory", "StreamSocket",
                                               "StreamSub", "Task", "TaskQueue")]
classes += [common / f"PXCore/{name}.h"
            for name in ("PXBezierCurve", "PXColor", "PXDictionary", "PXImageIterator", "PXPreset",
                         "PXPresetData", "PXPresetManager", "PXPresetWatcher", "PXString",
                         "PXVariant", "PXVariantPointerContainer")]
classes.append(common / "Image/BaseTileSet.h")
flat += sorted(path for folder in ("PXCore", "Base", "PXAccelerate", "Image")
               for path in (common / folder).glob("PX*.h")
               if path not in classes and not path.name.endswith("_p.h"))

faults = 0
compiled = 0
with tempfile.TemporaryDirectory() as folder:
    for header in flat + classes:
        languages = [("c++", "c++20"), ("c++", "c++11")]
        if header in classes or "PXCoreFoundation" not in header.parts:
            languages = languages[:1]
        if header in flat:
            languages.append(("c", "c11"))
            if "PXCoreFoundation" in header.parts:
                languages.append(("c", "c99"))
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
