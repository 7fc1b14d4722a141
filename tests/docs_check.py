"""Checks that the documentation says what the code does.

usage: docs_check.py pages REPOSITORY             programs, plots and links are right
       docs_check.py output PAGE PROGRAM          a page shows what its program prints
       docs_check.py statuses REPOSITORY LIBRARY  each status has a page with the library's text
       docs_check.py reference REPOSITORY XML     Doxygen describes each symbol that is exported
"""

import ctypes
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import xml.etree.ElementTree

faults = []


def blocks(page, *languages):
    return re.findall(rf"^```(?:{'|'.join(languages)})\n(.*?)^```", page.read_text(), re.S | re.M)


def check_examples(root):
    """A page's blocks of code, with a blank line between, are its program; the README shows two."""
    pages = {"tour": root / "doc/tour.md"}
    for page in (root / "doc/howto").glob("[0-9]*.md"):
        pages["howto_" + page.stem.split("-", 1)[1].replace("-", "_")] = page
    examples = {path.stem: path for path in (root / "examples").iterdir()
                if path.suffix in (".c", ".cpp")}
    for name in ("convert", "values"):
        if examples.pop(name).read_text() not in blocks(root / "README.md", "c", "cpp"):
            faults.append(f"README.md does not show {name}")
    for name in sorted(pages.keys() ^ examples.keys()):
        faults.append(f"{name}: a page without a program, or a program without a page")
    for name in pages.keys() & examples.keys():
        if "\n".join(blocks(pages[name], "c", "cpp")) != examples[name].read_text():
            faults.append(f"{pages[name].name} does not show {examples[name].name} as it is")
    return len(pages)


def check_links(root):
    count = 0
    for page in [root / "README.md", *(root / "doc").rglob("*.md")]:
        text = re.sub(r"^```.*?^```", "", page.read_text(), flags=re.S | re.M)
        for target in re.findall(r"\]\(([^)#]+)(?:#[^)]*)?\)", text):
            count += 1
            if "://" not in target and not (page.parent / target).exists():
                faults.append(f"{page.relative_to(root)}: no {target}")
    return count


def check_plots(root):
    """The plots are those of the numbers beside them, and all are shown."""
    shown = re.findall(r"\(plots/(\w+\.svg)\)", (root / "doc/performance.md").read_text())
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([sys.executable, "-B", root / "bench/plot", "draw", folder], check=True)
        drawn = {path.name: path.read_text() for path in pathlib.Path(folder).iterdir()}
    for name in sorted(drawn.keys() ^ set(shown)):
        faults.append(f"doc/performance.md and bench/plot disagree about {name}")
    for name in drawn:
        if (root / "doc/plots" / name).read_text() != drawn[name]:
            faults.append(f"{name} is not what bench/plot draws")


def pages(root):
    root = pathlib.Path(root)
    check_plots(root)
    print(f"{check_examples(root)} programs, {check_links(root)} links")


def output(page, program):
    """Runs the program as a new user would, with folders of its own. Lines of sources move."""
    def without_lines(text):
        return re.sub(r"on line \d+", "on line N", text)

    with tempfile.TemporaryDirectory() as folder:
        environment = dict(os.environ, HOME=folder, XDG_DATA_HOME=folder, TMPDIR=folder)
        result = subprocess.run([os.path.abspath(program)], capture_output=True, text=True, env=environment,
                                cwd=folder, timeout=120)
    shown = [without_lines(text) for text in blocks(pathlib.Path(page), "text")[:1]]
    if result.returncode:
        faults.append(f"exit code {result.returncode}: {result.stderr}")
    if [without_lines(result.stdout)] != shown:
        faults.append(f"{page} does not show what the program prints:\n{result.stdout}")


def statuses(root, library):
    """The title is number and text; the headings are the same on each page."""
    root = pathlib.Path(root)
    text_of = ctypes.CDLL(library).PXErrorGetText
    text_of.restype, text_of.argtypes = ctypes.c_char_p, [ctypes.c_uint32]
    constant = r"\b(kPXErr\w+|kPXWaitTimeout|kPXServerVersionMismatch)(?: =)? (0xF+|-?\d+)"
    texts = {"unknown status"}
    numbers = {int(number, 0): name for header in (root / "Common").rglob("PX*.h")
               for name, number in re.findall(constant, header.read_text())}
    index = (root / "doc/status/README.md").read_text()
    found = {path.stem for path in (root / "doc/status").glob("[0-9]*.md")}
    for number, name in numbers.items():
        number &= 0xFFFFFFFF
        page = root / f"doc/status/{number}.md"
        found.discard(page.stem)
        if not page.exists():
            faults.append(f"no page for {name}")
            continue
        text = text_of(number).decode()
        if text in texts:
            faults.append(f"{name} has no text of its own")
        texts.add(text)
        lines = page.read_text().splitlines()
        headings = [line for line in lines if line.startswith("#")]
        if headings != [f"# {number}: {text}", "## Meaning", "## Usual cause", "## Remedy"]:
            faults.append(f"{page.name} has other headings than its text and the three")
        if lines[2] != f"`{name}`":
            faults.append(f"{page.name} does not name {name}")
        if f"({page.name}) | {text} |" not in index:
            faults.append(f"the index does not list {page.name}")
    faults.extend(f"{stem}.md is the page of no status" for stem in found)
    print(f"{len(numbers)} statuses")
    if not numbers:
        faults.append("no status was found")


def plain(name):
    """One name for all conversions: the type is written in several ways."""
    return re.sub(r"operator [A-Z_a-z].*", "operator T", name)


def described(folder):
    """Whether each name, of a class or member, has text; of overloads, all of them. What is private
    leaves the library with its class and needs no description, nor does what is deleted."""
    names = {}
    for path in pathlib.Path(folder).glob("*.xml"):
        for compound in xml.etree.ElementTree.parse(path).getroot().iter("compounddef"):
            kind = compound.get("kind")
            scope = compound.findtext("compoundname") + "::" if kind in ("class", "struct") else ""
            members = [(scope[:-2], compound)] if scope else []
            members += [(scope + plain(member.findtext("name")), member)
                        for member in compound.iter("memberdef")]
            for name, element in members:
                needs_none = element.get("prot") == "private" or \
                    (element.findtext("argsstring") or "").endswith("=delete")
                parts = element.find("briefdescription"), element.find("detaileddescription")
                has_text = any("".join(part.itertext()).strip() for part in parts)
                names[name] = names.get(name, True) and (needs_none or has_text)
    return names


def reference(root, folder):
    names = described(folder)
    count = 0
    for listing in sorted((pathlib.Path(root) / "tests/data").glob("exports_*.txt")):
        for symbol in listing.read_text().splitlines()[1:]:
            name = re.sub(r"^(vtable|typeinfo|typeinfo name|non-virtual thunk) (for|to) ", "", symbol)
            name = plain(re.sub(r"(\[abi:\w+\])?\(.*", "", name))
            count += 1
            if not names.get(name):
                faults.append(f"{symbol}: " + ("no description" if name in names else "not found"))
    print(f"{count} exported symbols")


{"pages": pages, "output": output, "statuses": statuses,
 "reference": reference}[sys.argv[1]](*sys.argv[2:])
for fault in faults:
    print(fault)
sys.exit(1 if faults else 0)
