#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the form of manual pages, and that the pages they name exist.

Usage: check_page.py ROOT PAGE...             the pages, as mandoc and man see them
       check_page.py ROOT --packages PAGE...  the pages of others, in Debian's packages that it
                                              downloads
"""
import re
import subprocess
import sys
import tempfile
from pathlib import Path

# Pages of others, and the packages that have them.
FOREIGN = {
    "cdb(1)": "tinycdb", "cdb(5)": "tinycdb", "db5.3_load(1)": "db5.3-util",
    "db5.3_verify(1)": "db5.3-util", "fork(2)": "manpages-dev", "ldapsearch(1)": "ldap-utils",
    "mariadb(1)": "mariadb-client-core", "pcre2pattern(3)": "libpcre2-dev", "postmap(1)": "postfix",
    "psql(1)": "postgresql-client-15", "redis-cli(1)": "redis-tools", "smtpd(8)": "opensmtpd",
    "sqlite3(1)": "sqlite3", "tcp_table(5)": "postfix"}
# mandoc looks for these in the manual of this machine; references() does it for all machines.
OF_THIS_MACHINE = re.compile(r"referenced manual not found|outdated mandoc\.db")


def own_pages(root):
    return {f"{page.stem}({page.suffix[1]})" for folder in ("families", "lookup", "plugins", "tools")
            for page in (Path(root) / folder).rglob("*.[1-8]")}


def complaints(page):
    for command in (["mandoc", "-T", "lint", "-W", "style", page],
                    ["man", "--local-file", "--warnings", "-Tutf8", "--ditroff", page]):
        run = subprocess.run(command, encoding="utf-8", stdout=subprocess.PIPE,
                             stderr=subprocess.PIPE, check=False)
        if command[0] == "man" and run.returncode:
            yield f"man: {run.returncode}"
        output = run.stdout + run.stderr if command[0] == "mandoc" else run.stderr
        yield from (line for line in output.splitlines() if not OF_THIS_MACHINE.search(line))


def references(page):
    """The pages that this one names, and those that it shall be read with."""
    text = Path(page).read_text(encoding="utf-8")

    def named(part):
        return [f"{name}({section})" for name, section in
                re.findall(r"^\.(?:It )?Xr (\S+) (\d)", part, re.M)]

    return named(text), named(text.partition("\n.Sh SEE ALSO\n")[2].partition("\n.Sh ")[0])


def faults(page, own):
    yield from complaints(page)
    every, also = references(page)
    if not also:
        yield "SEE ALSO is missing or empty"
    if f"{Path(page).stem}({page[-1]})" in also:
        yield "SEE ALSO names the page itself"
    yield from (f"no page {name}" for name in sorted(set(every)) if name not in own | FOREIGN.keys())


def missing_in_packages(pages):
    """The pages of others that their packages do not have."""
    every = {name for page in pages for name in references(page)[0] if name in FOREIGN}
    for package in sorted({FOREIGN[name] for name in every}):
        with tempfile.TemporaryDirectory() as directory:
            subprocess.run(["apt-get", "-q", "-o", "APT::Sandbox::User=", "download", package],
                           cwd=directory, stdout=subprocess.DEVNULL, check=True)
            archive, = Path(directory).iterdir()
            listing = subprocess.run(["dpkg-deb", "--contents", archive], text=True, check=True,
                                     stdout=subprocess.PIPE).stdout
        for name in sorted(name for name in every if FOREIGN[name] == package):
            file = "/man{1}/{0}.{1}".format(*re.match(r"(.*)\((.)\)", name).groups())
            if not re.search(re.escape(file) + r"\w*\.gz", listing):
                yield f"{package} has no page {name}"


def main():
    root, pages = sys.argv[1], sys.argv[2:]
    if pages[0] == "--packages":
        found = list(missing_in_packages(pages[1:]))
    else:
        own = own_pages(root)
        found = [f"{page}: {fault}" for page in pages for fault in faults(page, own)]
    print(*found, sep="\n", end="\n" if found else "")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
