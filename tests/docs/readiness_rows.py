#!/usr/bin/env python3
"""readiness_rows.py TREL_CAPCTL SOURCE_DIR: tries the library on every row of the tables in docs/readiness.md."""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

CLASSES = {"lc": "glb", "fab": "fab", "cm": "cm", "hps": "hps"}
# A class event that no row's own card has anything to do with, so that a row that tells nobody has something to wait for.
MARKER = {"lc": "cm", "fab": "cm", "cm": "fab", "hps": "fab"}
EVENTS = ["system", "fe_node", "cm", "fab", "fab_node", "cm_node", "hps_node", "hps", "lc_and_hps"]


def steps_of(word, scope, readiness, other_model):
    state = f"cap_{scope}_state" if scope == "glb" else f"cap_{scope}_glb_state"
    steps = {
        "installed": ["{insert: card}"],
        "removed": ["{remove: card}"],
        "passed": ["{check: card, result: pass}"],
        "denied": ["{check: card, result: deny}"],
        "check withdrawn": ["{check: card, result: withdraw}"],
        "ready": ["{ready: card}"],
        "ready in advance": ["{ready: card, real_time: no}"],
        "not ready": ["{unready: card}"],
        "readiness withdrawn": ["{withdraw: card}"],
        "ready as another model": [f"{{set: '{readiness}:17:{other_model}', fields: "
                                   "{ready: true, real_time: true, node_type: 7}}"],
        "class ready": [f"{{scope_ready: {scope}}}"],
        "class not ready": [f"{{scope_unready: {scope}}}"],
        "class withdrawn": [f"{{del: {state}}}"],
    }
    if word not in steps:
        sys.exit(f"docs/readiness.md: nobody knows the word '{word}'")
    return steps[word]


def expected(told):
    if told == "nobody":
        return []
    events = []
    for text in told.split(", "):
        event, _, state = text.partition(" ")
        if event not in EVENTS or state not in ("", "ready", "not ready"):
            sys.exit(f"docs/readiness.md: nobody knows the event '{text}'")
        events.append(f"{{event: {event}, node: card, ready: {'yes' if state == 'ready' else 'no'}}}" if state else event)
    return events


def scenario(row):
    card, before, *then, told = row
    card_class, _, node_type = card.partition(" of type ")
    changes = [] if before == "–" else before.split(", ")
    follow = EVENTS
    if changes and changes[0].startswith("only "):
        follow = changes.pop(0)[len("only "):].split(" and ")
    def play(words):
        return [step for word in words for step in
                steps_of(word, CLASSES[card_class], "cap_cm_ready" if card_class == "cm" else "cap_fe_ready", 999)]
    marker = MARKER[card_class]
    forget = ["{expect: {events: [], others: yes}}"] if then else []
    steps = (play(changes) + forget if then else []) + play(then)
    steps += [f"{{expect: [{', '.join(expected(told))}]}}", f"{{scope_ready: {marker}}}"]
    return "\n".join(
        [f"about: {' | '.join(row)}",
         f"cards: {{card: {{class: {card_class}, node: 17{', type: ' + node_type if node_type else ''}}}}}",
         f"follow: [{', '.join(dict.fromkeys([*follow, marker]))}]",
         "before:" + "".join(f"\n  - {step}" for step in play([] if then else changes)) if not then and changes else "",
         "steps:", *(f"  - {step}" for step in steps),
         f"expect: {{events: [{marker}], others: yes}}", ""])


def rows(page):
    found, header = [], None
    for line in page.splitlines():
        cells = [cell.strip() for cell in line.strip("|").split("|")] if line.startswith("|") else None
        if cells is None:
            header = None
        elif header is None:
            header = cells
        elif not set(line) <= set("|-") and header[0] == "card" and header[-1] == "told":
            found.append(cells)
    return found


def check_events(page, headers):
    """The codes are those of events.h, the registrations those of registration.h."""
    table = re.findall(r"^\| `(\w+)` \| (\d) \| `(\w+)` \|$", page, re.M)
    codes = {name.lower(): code for name, code in
             re.findall(r"TREL_CAP_EVENT_(\w+) = (\d)", (headers / "events.h").read_text())}
    registered = {}
    for function, names in re.findall(r"^ \* (trel_cap_\w+_reg) +([A-Z_, ]+)$",
                                      (headers / "registration.h").read_text(), re.M):
        registered.update({name.lower(): function for name in names.split(", ")})
    if {(name, code, registered.get(name)) for name, code in codes.items()} != set(table):
        sys.exit("docs/readiness.md: its events are not those of the headers")


def main():
    capctl, source = sys.argv[1], Path(sys.argv[2])
    page = (source / "docs/readiness.md").read_text()
    check_events(page, source / "app/trel_cap/include/trel_cap")
    table = rows(page)
    if len(table) < 100 or len({tuple(row[:-1]) for row in table}) != len(table):
        sys.exit(f"docs/readiness.md: {len(table)} rows, some of them perhaps twice")
    with tempfile.TemporaryDirectory() as place:
        files = [Path(place) / f"row{number:03}.yaml" for number in range(len(table))]
        for file, row in zip(files, table):
            file.write_text(scenario(row))
        run = subprocess.run([capctl, "test", *files], capture_output=True, text=True)
    wrong = set()
    for line in run.stdout.splitlines():
        found = re.match(r"(not )?ok \d+ - row(\d+)(.*)", line)
        if found:
            wrong.discard(None)
            if found[1] or found[3]:
                wrong.add(" | ".join(table[int(found[2])]))
                print("not so: " + " | ".join(table[int(found[2])]) + found[3])
        elif line.startswith("#") or line.startswith("  "):
            print(line)
    if run.returncode != 0 or wrong or run.stdout.count("\nok ") != len(table):
        sys.exit(f"{len(table)} rows, {len(wrong)} are not so {run.stderr}")
    print(f"{len(table)} rows are so")


main()
