#!/usr/bin/env python3
"""publishers.py SOURCE_DIR BUILD_DIR: what docs/integrating.md says of servers and of publishing, on servers of its own."""
import os
import re
import socket
import subprocess
import sys
import tempfile
import time
from pathlib import Path

source, build = Path(sys.argv[1]), Path(sys.argv[2])
page = (source / "docs/integrating.md").read_text()
CAPCTL = build / "tools/verbs/trel_capctl"
EXPECTED = ["line card 17 is ready", "the device is ready", "room for 4096 ARP entries"]


def fail(*reason):
    sys.exit("publishers.py: " + " ".join(map(str, reason)))


def block(language, beginning):
    for text in re.findall(rf"^```{language}\n(.*?)^```$", page, re.M | re.S):
        if text.startswith(beginning):
            return text
    fail("docs/integrating.md has no", beginning)


def until(condition, what):
    for _ in range(3000):
        if condition():
            return
        time.sleep(0.01)
    fail("in vain:", what)


def schema():
    """The page's table, made of the .proto files."""
    types = {}
    for file in source.glob("app/trel_cap/schema/*.proto"):
        text = file.read_text()
        package = re.search(r"^package (\w+);", text, re.M)[1]
        for name, body in re.findall(r"^message (\w+) \{\n(.*?)^\}", text, re.M | re.S):
            types[f"{package}.{name}"] = re.findall(r"^  ([\w.]+) (\w+) = (\d+);", body, re.M)
    rows = []
    for name, fields in types.items():
        package = name.split(".")[0]
        index = next((kind for kind, field, _ in fields if field == "index"), None)
        if name.endswith("_index"):
            continue
        addressed = ", ".join(field for _, field, _ in types.get(index) or types[f"{package}.{index}"]) if index else "–"
        listed = ", ".join(f"{number} {field} {kind}" for kind, field, number in fields if field != "index")
        rows.append(f"| `{name}` | {1 if package == 'p_dev' else 28} | {addressed} | {listed} |")
    return sorted(rows)


class Server:
    def __init__(self, place, configuration, *arguments):
        file = Path(place) / "server.conf"
        file.write_text(configuration)
        self.log = open(Path(place) / "log", "w")
        self.process = subprocess.Popen(["redis-server", file, *arguments, "--dir", str(place)], stdout=self.log)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.kill()
        self.process.wait()
        self.log.close()


class Follower:
    def __init__(self, environment, place):
        self.output = Path(place) / "told"
        self.file = open(self.output, "w")
        self.errors = Path(place) / "errors"
        with open(self.errors, "w") as errors:
            self.process = subprocess.Popen([build / "examples/first_application"], env=environment, stdout=self.file,
                                            stderr=errors)
        until(lambda: "tmp_state" in self.errors.read_text(), "the start of first_application")

    def expect(self, lines, what):
        until(lambda: self.output.read_text().count("\n") >= len(lines), what)
        if self.output.read_text().splitlines() != lines:
            fail(what, "told", self.output.read_text())

    def end(self):
        self.process.kill()
        self.process.wait()
        self.file.close()


def run(environment, *command):
    done = subprocess.run(command, env=environment, capture_output=True, text=True)
    if done.returncode != 0:
        fail(*command, "ended with", done.returncode, done.stdout, done.stderr)
    return done.stdout


def published(environment, place, what, *command):
    """Everything that is stored after a publisher, which a program of the library has understood."""
    run(environment, "redis-cli", "-s", f"{place}/socket", "flushall")
    follower = Follower(environment, place)
    try:
        run(environment, *command)
        follower.expect(EXPECTED, what)
    finally:
        follower.end()
    return sorted(run(environment, CAPCTL, "dump", "--output", "ndjson").splitlines())


def publishers(place):
    path = f"{place}/socket"
    configuration = block("text", "# redis.conf").replace("/run/redis/redis.sock", path)
    environment = {**os.environ, "OX_MOM_STORE": f"unix://{path}", "PATH": f"{CAPCTL.parent}:{os.environ['PATH']}"}
    with Server(place, configuration):
        until(lambda: Path(path).exists(), "a server with the configuration of docs/integrating.md")
        by_python = published(environment, place, "Python", sys.executable, source / "examples/publish_card.py", path, "17")
        by_shell = published(environment, place, "the shell", "sh", source / "examples/publish_card.sh", "17")
        if by_python != by_shell or len(by_python) != 5:
            fail("Python and the shell have not published the same:", by_python, by_shell)
        (Path(place) / "chassis.ndjson").write_text(run(environment, CAPCTL, "dump", "--output", "ndjson"))
        run(environment, "redis-cli", "-s", path, "flushall")
        run(environment, CAPCTL, "load", f"{place}/chassis.ndjson")
        if run(environment, CAPCTL, "diff", f"{place}/chassis.ndjson"):
            fail("what was loaded differs from what was dumped")


def free_port():
    with socket.socket() as one:
        one.bind(("127.0.0.1", 0))
        return one.getsockname()[1]


def sentinel(place):
    servers_port, sentinels_port = free_port(), free_port()
    configuration = block("text", "# sentinel.conf").replace("port 26379", f"port {sentinels_port}")
    configuration = configuration.replace("10.0.0.1 6379 2", f"127.0.0.1 {servers_port} 1")
    environment = {**os.environ, "OX_MOM_STORE": f"sentinel://127.0.0.1:{sentinels_port}/chassis"}
    watcher = Path(place) / "sentinel"
    watcher.mkdir()
    with Server(place, f"port {servers_port}\ndatabases 29\nsave ''\n"), Server(watcher, configuration, "--sentinel"):
        until(lambda: subprocess.run([CAPCTL, "set", "/l3/mtu", "--int", "9216"], env=environment,
                                     capture_output=True).returncode == 0, "a write by way of the sentinel")
        if run(environment, CAPCTL, "get", "/l3/mtu", "--int") != "9216\n":
            fail("another value is read by way of the sentinel")


def main():
    table = sorted(line for line in page.splitlines() if re.match(r"\| `\w+\.\w+` \|", line))
    if table != schema():
        fail("the table of records is not that of the .proto files")
    for language, name in (("sh", "publish_card.sh"), ("python", "publish_card.py")):
        if (source / "examples" / name).read_text() not in re.findall(rf"^```{language}\n(.*?)^```$", page, re.M | re.S):
            fail("docs/integrating.md has another", name)
    for trial in (publishers, sentinel):
        with tempfile.TemporaryDirectory() as place:
            trial(place)


main()
