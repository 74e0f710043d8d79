#!/usr/bin/env python3
"""header_filter.py HEADER: prints an exported header as Doxygen reads it. The headers are written for people, in plain C.

A comment before declarations documents all of them, up to the next blank line; one behind a declaration documents that.
The first comment is the file's. A line of a code, two blanks and words is a value that a function returns.
"""
import re
import sys
from pathlib import Path


def lines_of(comment):
    body = re.sub(r"^/\*|\*/$", "", comment)
    return [re.sub(r"^ \* ?", "", line.rstrip()) for line in body.strip("\n").split("\n")]


def escaped(text):
    return re.sub(r"([\\<>@])", r"\\\1", text)


def documented(lines, prefix):
    """The text of a comment, with its codes and its lists marked."""
    text = []
    for line in lines:
        entry = re.match(r"^ ?([\w.]+) {2,}(\S.*)$", line)
        if entry is None:
            text.append(line if line.startswith("     ") else escaped(line.strip()))
        elif re.fullmatch(r"[A-Z_]+(\.\.\.)?", entry[1]):
            text.append(f"- **{entry[1] if '_E_' in entry[1] else prefix + entry[1]}** {escaped(entry[2])}")
        else:
            text.append(f"- {entry[1]}: {escaped(entry[2])}")
    return "\n".join(text).strip()


def with_codes(text):
    """The codes are listed by a macro of which the enum is made: here they stand in the enum."""
    found = re.search(r"#define (\w+)_ERRORS\(X\)((?:.*\\\n)*.*)\n", text)
    if found is None:
        return text
    codes = re.findall(r'X\((\w+), (-\d+),\s*\\?\s*"(.*?)"\)', found[2])
    members = "\n".join(f"    {found[1]}_E_{name} = {code}, /**< {words} */" for name, code, words in codes)
    text = re.sub(r"(?m)^ *\w+_ERRORS\(\w+_ENUM\)$", members, text)
    return re.sub(r"(?m)^#(define|undef) \w+_ERROR_(ENUM|TEXT)\b(.*\\\n)*.*\n", "", text)


def declarations(text):
    """Several only where each is at home on lines of its own."""
    if text.startswith("#define"):
        return re.findall(r"#define (?:.*\\\n)*.*\n?", text)
    if re.match(r"(typedef )?(enum|struct)|#|static inline", text):
        return [text]
    return re.findall(r"\S[^;]*;[^\n]*\n?", text) or [text]


def main():
    path = Path(sys.argv[1])
    prefix = "OX_MOM_E_" if path.name == "ox_mom.h" else ""
    text = path.read_text()
    first = re.search(r"/\*.*?\*/", text, re.S)
    about = documented(lines_of(first[0]), "").removeprefix(f"{path.name} - ")
    out = [f"/** @file\n{about[0].upper()}{about[1:]}\n*/"]

    rest = with_codes(text[first.end():])
    # Behind a declaration, on its line or going on below it.
    rest = re.sub(r"(?m)^([^\n/]*[;,\w)][^\n/]*?)/\* ([^*]*?) \*/$", lambda m: f"{m[1]}/**< {escaped(m[2])} */", rest)
    rest = re.sub(r"(?<=[^\n])\n(?=/\*)", "\n\n", rest)
    for block in re.split(r"\n\n+", rest):
        found = re.match(r"\s*(/\*.*?\*/)\n(?=\S)", block, re.S)
        if found:
            comment = documented(lines_of(found[1]), prefix)
            block = "\n".join(f"/** {comment} */\n{one}" for one in declarations(block[found.end():]))
        out.append(block)
    print("\n\n".join(out))


main()
