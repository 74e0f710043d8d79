#!/usr/bin/env python3
"""site.py OUTPUT: makes one site of the pages, the reference and the manual pages, and checks every link within it."""
import html
import os
import re
import shutil
import subprocess
import sys
from pathlib import Path

SOURCE = Path(__file__).resolve().parents[2]
if len(sys.argv) != 2 or sys.argv[1].startswith("-"):
    sys.exit("usage: site.py OUTPUT")
OUTPUT = Path(sys.argv[1]).resolve()
PAGES = [*map(SOURCE.joinpath, ("README.md", "CHANGELOG.md", "CONTRIBUTING.md", "examples/README.md")),
         *sorted(SOURCE.glob("docs/*.md"))]
MANUALS = [SOURCE / "tools/trel_capctl.1", SOURCE / "platform/quib/console/quib.1",
           SOURCE / "examples/demo/trel_cap_demo.1", *sorted(SOURCE.glob("docs/man/*.3"))]

STYLE = """
body { margin: 0; font: 16px/1.5 system-ui, sans-serif; color: #1c2329; background: #fff; display: flex }
nav { flex: 0 0 15rem; padding: 1.5rem; background: #f3f5f7; box-sizing: border-box; min-height: 100vh }
nav a { display: block; padding: .1rem 0; color: #1f4e79; text-decoration: none }
nav p { margin: 1rem 0 .2rem; font-weight: 600; font-size: .85rem; color: #5a6670 }
main { padding: 1.5rem 2.5rem; max-width: 56rem; min-width: 0 }
pre, code { font-family: ui-monospace, monospace; font-size: .85em; background: #f3f5f7 }
pre { padding: .8rem 1rem; overflow-x: auto }
table { border-collapse: collapse; display: block; overflow-x: auto }
th, td { border: 1px solid #d5dbe0; padding: .3rem .6rem; text-align: left; vertical-align: top }
img { max-width: 100% }
@media (max-width: 50rem) { body { display: block } nav { min-height: 0 } }
"""


def run(*command, text=None):
    done = subprocess.run(command, input=text, capture_output=True, text=True, cwd=SOURCE)
    if done.returncode != 0 or done.stderr.strip():
        sys.exit(f"{' '.join(map(str, command))}:\n{done.stderr}{done.stdout}")
    return done.stdout


def target(page):
    """Where a page goes. A folder's README is its index."""
    return page.relative_to(SOURCE).with_name("index.html" if page.name == "README.md" else page.stem + ".html")


def slug(heading):
    """The anchor of a heading, as the sites that show these pages make it."""
    words = html.unescape(re.sub(r"<[^>]*>", "", heading)).lower()
    return re.sub(r"[^a-z0-9 _-]", "", words).replace(" ", "-")


def linked(page, link):
    """What a link of a page is on the site; what it leads to, and is no page, is taken along."""
    place, _, anchor = link.partition("#")
    if re.match(r"[a-z]+:", link) or not place:
        return link
    found = (page.parent / place).resolve()
    if found in PAGES:
        place = os.path.relpath(target(found), target(page).parent)
    elif found.is_file():
        copy = OUTPUT / found.relative_to(SOURCE)
        copy.parent.mkdir(parents=True, exist_ok=True)
        shutil.copyfile(found, copy)
    return place + ("#" + anchor if anchor else "")


def navigation(page):
    """Made of the list in docs/README.md, and of what is no page of Markdown."""
    index, lines = SOURCE / "docs/README.md", []
    for title, name, link in re.findall(r"^## (.*)$|^- \[(.*?)\]\((.*?)\):", index.read_text(), re.M):
        if title:
            lines.append(f"<p>{title}</p>")
        else:
            there = os.path.relpath(target((index.parent / link).resolve()), page.parent)
            lines.append(f'<a href="{there}">{name}</a>')
    lines.append("<p>Reference</p>")
    for name, there in (("Headers", "api/files.html"), ("Manual pages", "man/index.html")):
        lines.append(f'<a href="{os.path.relpath(there, page.parent)}">{name}</a>')
    return "\n".join(lines)


def write(place, title, body):
    file = OUTPUT / place
    file.parent.mkdir(parents=True, exist_ok=True)
    file.write_text(f'<!DOCTYPE html>\n<html lang="en"><head><meta charset="utf-8"><title>{title}</title>'
                    f'<meta name="viewport" content="width=device-width"><style>{STYLE}</style></head>\n'
                    f"<body><nav>{navigation(place)}</nav><main>\n{body}</main></body></html>\n")


def make_page(page):
    body = run("cmark-gfm", "-e", "table", text=page.read_text())
    body = re.sub(r"<(h\d)>(.*?)</\1>", lambda found: f'<{found[1]} id="{slug(found[2])}">{found[2]}</{found[1]}>', body)
    body = re.sub(r'(href|src)="(.*?)"', lambda found: f'{found[1]}="{linked(page, html.unescape(found[2]))}"', body)
    title = re.sub(r"<[^>]*>", "", re.search(r"<h1.*?>(.*?)</h1>", body)[1])
    write(target(page), title, body.replace("<!-- raw HTML omitted -->", ""))


def make_manuals():
    entries = []
    for manual in MANUALS:
        body = run("mandoc", "-T", "html", "-O", "fragment,man=%N.%S.html", manual)
        # Pages of others are not here.
        body = re.sub(r'<a class="Xr" href="(.*?)">(.*?)</a>',
                      lambda found: found[0] if (found[1].removesuffix(".html") in {one.name for one in MANUALS}) else found[2], body)
        about = re.search(r"\.SH NAME\n.*?\\-\s+(.*?)\n\.SH", manual.read_text(), re.S)[1].replace("\n", " ")
        write(Path("man") / f"{manual.name}.html", manual.stem, body)
        entries.append(f'<tr><td><a href="{manual.name}.html">{manual.stem}({manual.suffix[1]})</a></td><td>{about}</td></tr>')
    write(Path("man/index.html"), "Manual pages", "<h1>Manual pages</h1>\n<table>\n" + "\n".join(entries) + "</table>\n")


def make_reference():
    settings = (SOURCE / "docs/site/Doxyfile").read_text() + f"OUTPUT_DIRECTORY = {OUTPUT}\nHTML_OUTPUT = api\n"
    run("doxygen", "-", text=settings)


def check_links():
    texts = {page: page.read_text() for page in OUTPUT.rglob("*.html")}
    anchors = {page: set(re.findall(r'(?:id|name)="(.*?)"', text)) for page, text in texts.items()}
    wrong = set()
    for page, text in texts.items():
        for link in re.findall(r'(?:href|src)="(.*?)"', text):
            place, _, anchor = html.unescape(link).partition("#")
            if re.match(r"[a-z]+:", place):
                continue
            found = (page.parent / place).resolve() if place else page
            if not found.exists() or (anchor and found in anchors and anchor not in anchors[found]):
                wrong.add(f"{page.relative_to(OUTPUT)}: {link} leads nowhere")
    unlisted = [page for page in PAGES if page.parent == SOURCE / "docs" and page.name != "README.md"
                and f"]({page.name})" not in (SOURCE / "docs/README.md").read_text()]
    wrong.update(f"docs/README.md does not list {page.name}" for page in unlisted)
    if wrong:
        sys.exit("\n".join(sorted(wrong)))
    return len(texts)


def main():
    shutil.rmtree(OUTPUT, ignore_errors=True)
    OUTPUT.mkdir(parents=True)
    for page in PAGES:
        make_page(page)
    make_manuals()
    make_reference()
    print(f"{check_links()} pages in {OUTPUT}")


main()
