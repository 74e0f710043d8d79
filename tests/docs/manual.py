#!/usr/bin/env python3
"""manual.py SOURCE_DIR: docs/man has a page for each function, declared as in the headers, with each code, in good form."""
import re
import shutil
import subprocess
import sys
from pathlib import Path

source = Path(sys.argv[1])
HEADERS = source / "app/trel_cap/include/trel_cap"
wrong = []


def squeezed(text):
    return re.sub(r"\s+", " ", text).replace("( ", "(").strip()


def declared_functions():
    found = {}
    for header in sorted(HEADERS.glob("*.h")):
        text = re.sub(r"/\*.*?\*/", "", header.read_text(), flags=re.S)
        for result, name, arguments in re.findall(
                r"^(?:static inline )?((?:const )?\w+ \*?)(trel_cap_\w+)\(([^;{]*?)\)\s*[;{]", text, re.M):
            found[name] = (header.name, squeezed(f"{result}{name}({arguments});"))
    return found


def sections(page):
    parts = re.split(r"^\.SH (.+)$", page.read_text(), flags=re.M)
    return {title.strip('"'): body for title, body in zip(parts[1::2], parts[2::2])}


def names_of(section):
    return re.findall(r"\w+", section["NAME"].split("\\-")[0])


def check_page(page, functions, codes_of):
    section = sections(page)
    for title in ("NAME", "SYNOPSIS", "DESCRIPTION", "RETURN VALUE", "SEE ALSO"):
        if title not in section:
            wrong.append(f"{page.name} has no {title}")
            return []
    names = names_of(section)
    if names[0] != page.stem:
        wrong.append(f"{page.name} begins with another name: {names[0]}")
    shown = [line.strip() for line in re.findall(r'^\.B "(.*)"$', section["SYNOPSIS"], re.M)]
    declared = {squeezed(text + ";") for text in " ".join(shown).split(";") if text.strip()}
    wanted = {functions[name][1] for name in names if name in functions}
    wrong.extend(f"{page.name} declares, and no header does: {text}" for text in sorted(declared - wanted))
    wrong.extend(f"{page.name} does not declare: {text}" for text in sorted(wanted - declared))
    included = set(re.findall(r"#include <trel_cap/(\w+\.h)>", section["SYNOPSIS"]))
    for name in names:
        if name in functions and functions[name][0] not in included | {"trel_cap.h"}:
            # What declares a type's release may be any header that the function's own one is included by.
            wrong.append(f"{page.name} does not include {functions[name][0]}, which declares {name}")
    for header in included:
        codes_of.setdefault(header, set()).update(re.findall(r"(?:TREL_CAP|OX_MOM)_E_[A-Z_.]+", section["RETURN VALUE"]))
    for other, number in re.findall(r"^\.BR (\w+) \((\d)\)", section["SEE ALSO"], re.M):
        if number == "3" and other.startswith("trel_cap") and not (page.parent / f"{other}.3").exists():
            wrong.append(f"{page.name} refers to {other}(3), which is no page")
    return names


def check_form(page):
    for command in (["mandoc", "-T", "lint", "-W", "style", page], ["man", "--warnings", "-l", "-Tutf8", page]):
        if shutil.which(command[0]) is None:
            sys.exit(f"manual.py: there is no {command[0]}")
        done = subprocess.run(command, capture_output=True, text=True, env={"PATH": "/usr/bin:/bin", "LC_ALL": "C.UTF-8"})
        complaints = done.stdout + done.stderr if command[0] == "mandoc" else done.stderr
        if complaints.strip():
            wrong.append(complaints.strip())


def main():
    functions, codes_of, told = declared_functions(), {}, []
    pages = sorted((source / "docs/man").glob("*.3"))
    for page in pages:
        told += check_page(page, functions, codes_of)
        check_form(page)
    wrong.extend(f"no page for {name}" for name in sorted(set(functions) - set(told)))
    wrong.extend(f"two pages for {name}" for name in sorted({name for name in told if told.count(name) > 1}))
    wrong.extend(f"nobody declares {name}" for name in sorted(set(told) - set(functions) - {"trel_cap"}))
    for header, codes in codes_of.items():
        named = set(re.findall(r"\b((?:TREL_CAP|OX_MOM)_E_(?:[A-Z]\w*|\.\.\.))", (HEADERS / header).read_text()))
        if header not in ("trel_cap.h", "status.h"):
            wrong.extend(f"no page of {header} tells of {code}" for code in sorted(named - codes))
    exported = set(re.findall(r"^    (trel_cap_\w+);", (source / "app/trel_cap/src/libtrel_cap.map").read_text(), re.M))
    wrong.extend(f"exported, and in no page: {name}" for name in sorted(exported - set(told) - VARIABLES))
    if wrong or len(functions) < 100:
        sys.exit("\n".join(wrong) or f"{len(functions)} functions are found")


VARIABLES = {"trel_cap_dbg_inited"}
main()
