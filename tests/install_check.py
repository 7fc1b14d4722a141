"""Installs the build, moves the tree elsewhere, and builds against it: a stranger's C and C++ program
through CMake and through pkg-config, and the examples that were installed; of these it runs the tour.
usage: install_check.py BUILD REPOSITORY CXX"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile

build, repository, compiler = sys.argv[1:4]
consumer = pathlib.Path(repository) / "tests/consumer"


def run(*command, **options):
    print("+", *command, flush=True)
    return subprocess.run(command, check=True, text=True, **options)


with tempfile.TemporaryDirectory() as folder:
    first = pathlib.Path(folder) / "first"
    moved = pathlib.Path(folder) / "moved tree"
    run("cmake", "--install", build, "--prefix", str(first), stdout=subprocess.DEVNULL)
    shutil.move(first, moved)

    out = pathlib.Path(folder)
    for name, source in (("consumer", consumer), ("examples", next(moved.rglob("examples")))):
        run("cmake", "-S", str(source), "-B", str(out / name), "-G", "Ninja",
            f"-DCMAKE_PREFIX_PATH={moved}", f"-DCMAKE_CXX_COMPILER={compiler}",
            stdout=subprocess.DEVNULL)
        run("cmake", "--build", str(out / name), stdout=subprocess.DEVNULL)
    run(str(out / "consumer/consumer_cpp"))
    run(str(out / "consumer/consumer_c"))
    run(str(out / "examples/tour"), env=dict(os.environ, XDG_DATA_HOME=folder, TMPDIR=folder))

    pc = next(moved.rglob("pxcore.pc"))
    environment = dict(os.environ, PKG_CONFIG_PATH=str(pc.parent))
    flags = subprocess.run(["pkg-config", "--cflags", "--libs", "pxcore"], check=True, text=True,
                           capture_output=True, env=environment).stdout
    # pkg-config escapes the blank of the moved tree the shell's way.
    program = pathlib.Path(folder) / "by_pkg_config"
    subprocess.run(f"gcc '{consumer}/consumer.c' -o '{program}' {flags}", shell=True, check=True)
    library = next(moved.rglob("libPXCore.so.1")).parent
    run(str(program), env=dict(os.environ, LD_LIBRARY_PATH=str(library)))

    version = run(str(moved / "bin/pxtool"), "--version", capture_output=True)
    print(version.stdout.strip())
    for name in ("LICENSE", "NOTICE", "pxtool.1.gz", "pxtool-cube-make.1.gz",
                 "bash-completion/completions/pxtool", "_pxtool", "pxtool.fish"):
        if not list(moved.rglob(name)):
            sys.exit(f"{name} is not installed")
