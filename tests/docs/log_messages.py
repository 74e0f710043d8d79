#!/usr/bin/env python3
"""log_messages.py SOURCE_DIR: docs/troubleshooting.md has each message that is logged by default, and no other."""
import re
import sys
from pathlib import Path

source = Path(sys.argv[1])
TEXT = r'((?:"(?:[^"\\]|\\.)*"\s*)+)'
LIBRARY = re.compile(r"TREL_CAP_LOG(?:_AS|_AT_CALLER)?\((?:\s*[\w()]+,)?\s*kError,\s*" + TEXT)
ANY_ERROR = re.compile(r"TREL_CAP_LOG\w*\([^;]*?\bkError\b")
CLIENT = re.compile(r"\btell\(\s*[^;\"]*?\bWords\(\s*" + TEXT)


def messages(place, pattern):
    found, calls = [], 0
    for file in sorted(source.glob(place)):
        text = file.read_text()
        calls += len(ANY_ERROR.findall(text))
        for literal in pattern.findall(text):
            parts = re.findall(r'"((?:[^"\\]|\\.)*)"', literal)
            found.append("".join(parts).replace("\\n", "").strip())
    return found, calls


def table_after(page, heading):
    section = page.split(f"## {heading}\n", 1)[1].split("\n## ", 1)[0]
    return re.findall(r"^\| `(.*?)` \|", section, re.M)


def compare(name, logged, told):
    wrong = [f"{name}: no entry for: {text}" for text in sorted(set(logged) - set(told))]
    wrong += [f"{name}: nobody logs: {text}" for text in sorted(set(told) - set(logged))]
    wrong += [f"{name}: twice: {text}" for text in sorted({text for text in told if told.count(text) > 1})]
    return wrong


def main():
    page = (source / "docs/troubleshooting.md").read_text()
    library, calls = messages("app/trel_cap/src/**/*.[ch]*", LIBRARY)
    client, _ = messages("platform/mom/**/*.cpp", CLIENT)
    wrong = compare("trel_cap", library, table_after(page, "Every message of the default level"))
    wrong += compare("ox_mom", client, table_after(page, "What the store's client says"))
    if calls != len(library):
        wrong.append(f"of {calls} calls that log errors the texts of {len(library)} were found")
    if wrong or len(library) < 20 or len(client) < 5:
        sys.exit("\n".join(wrong) or "the messages are not found")


main()
