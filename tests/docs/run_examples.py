#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the examples of a page, and checks what else of it can be checked.

Usage: run_examples.py TOOL ROOT PAGE [SHOWN=RUN]...

Where the page shows SHOWN in a command or in a file examples/*.conf, RUN is run in its place.

In a block marked "console", a line "$ COMMAND" is run by bash, and the lines up to the next one
are what it must print. The commands of a page run in order in one fresh directory, which holds a
copy of examples/ and the tool as build/kwlookup; it is also found as kwlookup.
The pages in the root leave nothing behind outside of build/.
A block marked "cpp" stands, word for word, in a file of examples/. A relative link leads somewhere.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path


def blocks(text, language):
    """The line number and the text of each block of `language`."""
    for found in re.finditer(rf"^```{language}\n(.*?)^```$", text, re.M | re.S):
        yield text.count("\n", 0, found.start()) + 2, found.group(1)


def commands(text):
    """The line number, the command and the expected output of each console command."""
    found = []
    for first, block in blocks(text, "console"):
        for number, line in enumerate(block.splitlines(keepends=True), first):
            if line.startswith("$ "):
                found.append([number, line[2:], ""])
            elif found and found[-1][0] >= first:
                found[-1][2] += line
            else:
                sys.exit(f"line {number}: output without a command")
    return found


def run(command, directory):
    environment = dict(os.environ, LC_ALL="C")
    environment["PATH"] = f"{directory}/build:{environment['PATH']}"
    done = subprocess.run(["bash", "-c", command], cwd=directory, env=environment,
                          stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                          stderr=subprocess.STDOUT, timeout=60, check=False)
    return done.stdout.decode("utf-8", "backslashreplace")


def as_run(text, replaced):
    for shown, run_instead in replaced:
        text = text.replace(shown, run_instead)
    return text


def as_shown(text, replaced):
    return as_run(text, [(run_instead, shown) for shown, run_instead in replaced])


def main():
    tool, root, page = Path(sys.argv[1]).resolve(), Path(sys.argv[2]), Path(sys.argv[3])
    replaced = [argument.split("=", 1) for argument in sys.argv[4:]]
    text = page.read_text(encoding="utf-8")
    faults = []

    asked = 0
    with tempfile.TemporaryDirectory() as directory:
        shutil.copytree(root / "examples", f"{directory}/examples")
        # A configuration file that others may write to is refused, and the umask may allow that.
        subprocess.run(["chmod", "-R", "go-w", f"{directory}/examples"], check=True)
        for conf in Path(directory, "examples").glob("*.conf"):
            conf.write_text(as_run(conf.read_text(encoding="utf-8"), replaced), encoding="utf-8")
        os.mkdir(f"{directory}/build")
        os.symlink(tool, f"{directory}/build/kwlookup")
        for number, command, expected in commands(text):
            printed = as_shown(run(as_run(command, replaced), directory), replaced)
            asked += "kwlookup" in command
            if printed != expected:
                faults.append(f"{page}:{number}: $ {command}prints\n{printed}instead of\n{expected}")
        left = set(os.listdir(directory)) - {"build", "examples"}
        if page.parent == root and left:
            faults.append(f"{page}: the reader's tree would be left with {sorted(left)}")

    code = [path.read_text(encoding="utf-8") for path in (root / "examples").rglob("*.[ch]*")
            if path.suffix in (".cpp", ".h")]
    for number, block in blocks(text, "cpp"):
        if not any(block in source for source in code):
            faults.append(f"{page}:{number}: this code is in no file of examples/")

    for target in re.findall(r"\]\(([^)#:]+)(?:#[^)]*)?\)", text):
        if not (page.parent / target).exists():
            faults.append(f"{page}: the link {target} leads nowhere")

    print(f"{page}: {asked} questions asked, {len(faults)} faults")
    print("\n".join(faults))
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
