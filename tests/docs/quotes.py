#!/usr/bin/env python3
"""quotes.py SOURCE_DIR: C code in docs/ is that of a program which is compiled and run, and tests that hold a page exist."""
import re
import sys
from pathlib import Path

source = Path(sys.argv[1])


def plain(text):
    """Without its indentation, which a quotation may have less of."""
    return "\n".join(line.strip() for line in text.strip().splitlines())


def programs():
    files = [*source.glob("examples/*.c"), *source.glob("examples/*.cpp"), *source.glob("tests/docs/*.c")]
    return [plain(file.read_text()) for file in files]


def names_of_tests():
    names = set()
    for file in source.glob("tests/**/*.cpp"):
        names.update(re.findall(r"TEST[_A-Z]*\(\w+, (\w+)\)", file.read_text()))
    return names | set(re.findall(r'\{"(\w+)", ', (source / "tests/docs/answers.c").read_text()))


def main():
    known, tests, wrong, quoted, held = programs(), names_of_tests(), [], 0, 0
    for page in sorted(source.glob("docs/*.md")):
        text = page.read_text()
        for code in re.findall(r"^```c(?:pp)?\n(.*?)^```$", text, re.M | re.S):
            quoted += 1
            if not any(plain(code) in program for program in known):
                wrong.append(f"{page}: no program has this code:\n{code}")
        for names in re.findall(r"<!-- held by: (.*?) -->", text, re.S):
            held += 1
            wrong += [f"{page}: no test is called {name}" for name in re.split(r",\s*", names) if name not in tests]
    if wrong or quoted < 3 or held < 3:
        sys.exit("\n".join(wrong) or f"{quoted} quotations and {held} answers were found")


main()
