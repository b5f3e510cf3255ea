#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the configurations on a page about the daemon, and asks it what the page asks with curl.

Usage: run_daemon_examples.py KWLOOKUPD PAGE

A configuration is a block that begins with a section. It gets the lists that its doors name, if it has
none, and sockets and files of its own. Then kwlookupd --check must find no fault. The answer below a
line "$ curl 'URL'" is that of the first configuration with a door for HTTP. A manual page has no such
line: its door for Postfix is asked about an address of each item.
"""
import re
import shutil
import socket
import subprocess
import sys
import tempfile
import time
import urllib.request
from pathlib import Path

LISTED = "lab.example\ncorp.example\nbulk.example reject\n"
TABLE = Path(__file__).parents[2] / "examples/lists/access.cdb"
# Texts and answers of the list on a manual page.
ANSWERS = {"x@bulk.example": "OK reject", "x@lab.example": "OK lab.example",
           "postmaster@corp.lan": "OK accept", "x@a.partner.example":
           "OK accept, not from the main office", "x@corp.lan": "NOTFOUND "}


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def as_run(text, home, port):
    """The text with our own files and port in place of those of the reader."""
    text = text.replace("192.0.2.1:", "127.0.0.1:").replace("127.0.0.1:8825", f"127.0.0.1:{port}")
    text = text.replace("127.0.0.1:8823", f"127.0.0.1:{free_port()}")
    text = re.sub(r"192\.0\.2\.11:[0-9]+", f"127.0.0.1:{port}", text)
    text = re.sub(r"/(etc/mail|etc/kwlookupd|run/kwlookupd)/", f"{home}/", text)
    if "[list " not in text:
        text = f"[list blocked]\nObjects = file:{home}/blocked\n" + text
    return f"[kwlookupd]\nControl = {home}/control\n" + text


def ask(path, text):
    """The answer of the list "blocked" at a door for Postfix."""
    end = time.monotonic() + 60
    while True:
        try:
            with socket.socket(socket.AF_UNIX) as door:
                door.connect(path)
                door.sendall(b"%d:blocked %s," % (len(text) + 8, text.encode()))
                door.shutdown(socket.SHUT_WR)
                return door.makefile("rb").read().decode().partition(":")[2].rstrip(",")
        except OSError:
            if time.monotonic() > end:
                raise
            time.sleep(0.05)


def get(url):
    end = time.monotonic() + 60
    while True:
        try:
            with urllib.request.urlopen(url) as answer:
                return answer.read().decode()
        except OSError:
            if time.monotonic() > end:
                raise
            time.sleep(0.05)


def main():
    program, page = sys.argv[1], Path(sys.argv[2])
    text = page.read_text(encoding="utf-8")
    manual = page.suffix == ".5"
    begin, after = (r"\.Bd -literal.*?", r"\.Ed") if manual else ("```", "```")
    configurations = re.findall(rf"^{begin}\n(\[(?:list|door) .*?)^{after}$", text, re.M | re.S)
    if not configurations:
        sys.exit(f"{page}: there is no configuration")
    with tempfile.TemporaryDirectory() as home:
        Path(home, "blocked").write_text(LISTED)
        shutil.copy(TABLE, home)
        Path(home, "token").write_text("0123456789abcdef\n")
        Path(home, "token").chmod(0o600)
        port = free_port()
        names = []
        for number, configuration in enumerate(configurations):
            name = Path(home, f"{number}.conf")
            name.write_text(as_run(configuration, home, port))
            name.chmod(0o600)
            names.append(name)
            subprocess.run([program, "--check", "--config", str(name)], check=True)
        asked = re.findall(r"^\$ curl '(.*)'\n(.*\n)", text, re.M)
        if asked or manual:
            daemon = subprocess.Popen([program, "--config", str(names[0])])
            try:
                for question, expected in ANSWERS.items() if manual else ():
                    answer = ask(f"{home}/socketmap", question)
                    if answer != expected:
                        sys.exit(f"{page}: {question} is answered {answer} instead of {expected}")
                for url, expected in asked:
                    answer = get(url.replace(":8825/", f":{port}/")).replace(home, "/etc/mail")
                    if answer != expected:
                        sys.exit(f"{page}: {url} gives\n{answer}instead of\n{expected}")
            finally:
                daemon.kill()
                daemon.wait()
    questions = len(ANSWERS) if manual else len(asked)
    print(f"{page}: {len(configurations)} configurations, {questions} questions")


if __name__ == "__main__":
    main()
