#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Compares kwlookupd(8) with the options and commands of the daemon, and kwlookupd.conf(5) with the
keys that it takes.

Usage: check_daemon_pages.py KWLOOKUPD FOLDER    FOLDER has the pages, and the source of the daemon
"""
import re
import subprocess
import sys
import tempfile
from pathlib import Path


def entries(help_text, section):
    """The first words in a section of a help text."""
    part = re.search(rf"^{section}:\n((?:  .*\n)*)", help_text, re.M)
    return re.findall(r"^  ([^ ]\S*)", part[1], re.M) if part else []


def options_and_commands(program, words=()):
    text = subprocess.run([program, *words, "--help"], text=True, check=True,
                          stdout=subprocess.PIPE).stdout
    options = {name for entry in entries(text, "Options") for name in entry.split(",")}
    commands = {" ".join((*words, name)) for name in entries(text, "Subcommands")}
    for command in set(commands):
        more, inner = options_and_commands(program, command.split())
        options |= more
        commands |= inner
    return options, commands


def section(text, heading):
    return text.partition(f"\n.Sh {heading}\n")[2].partition("\n.Sh ")[0]


def page_options_and_commands(text):
    synopsis, description = section(text, "SYNOPSIS"), section(text, "DESCRIPTION")
    used = {"-" + name for name in re.findall(r"\bFl (\S+)", synopsis)}
    described = {"-" + name for line in re.findall(r"^\.It Fl .*", description, re.M)
                 for name in re.findall(r"\bFl (\S+)", line)}
    inner = {"-" + name for line in re.findall(r"^\.It Cm .*", description, re.M)
             for name in re.findall(r"\bFl (\S+)", line)}
    described |= inner
    assert used <= described, f"SYNOPSIS has {used - described}, which DESCRIPTION lacks"
    commands = re.findall(r"^\.Cm (.*)", synopsis, re.M)
    assert {name.split()[-1] for name in commands} == \
        set(re.findall(r"^\.It Cm (\S+)", description, re.M)), "the commands in both sections differ"
    return described, {" ".join(name.split()[:n + 1]) for name in commands
                       for n in range(len(name.split()))}


def differences(what, page, program):
    yield from (f"the page has the {what} {name}, the program has not" for name in sorted(page - program))
    yield from (f"the program has the {what} {name}, the page has not" for name in sorted(program - page))


def page_keys(text):
    """The keys on the page: names with a capital letter, by the section that they belong to."""
    return {heading: {name for line in re.findall(r"^\.It Li ([A-Z].*)", section(text, heading), re.M)
                      for name in line.split(" , ")} for heading in ("DAEMON", "LISTS", "DOORS")}


def unknown_keys(program, keys):
    """The keys of the page that the daemon does not know in their sections."""
    sections = {"DAEMON": "[kwlookupd]", "LISTS": "[list one]", "DOORS": "[door one]\nProtocol = http"}
    text = "".join(sections[heading] + "\n" + "".join(
        f"{key} = ?\n" for key in sorted(names - {"Protocol"})) for heading, names in keys.items())
    with tempfile.NamedTemporaryFile("w", suffix=".conf") as config:
        config.write(text)
        config.flush()
        run = subprocess.run([program, "--check", "--config", config.name], text=True, check=False,
                             stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
    assert run.returncode == 78 and "'IoThreads'" in run.stdout, run.stdout
    return re.findall(r"unknown key '(\w+)'", run.stdout)


def source_keys(folder):
    keys = set(re.findall(r'"([A-Z][A-Za-z]+)"',
                          (folder / "DaemonConfig.cpp").read_text(encoding="utf-8")))
    assert {"IoThreads", "Objects", "Address", "Mode", "Token"} <= keys, keys
    return keys


def main():
    program, folder = sys.argv[1], Path(sys.argv[2])
    options, commands = options_and_commands(program)
    assert {"--config", "--force"} <= options and "ctl reload" in commands, (options, commands)
    page = (folder / "kwlookupd.8").read_text(encoding="utf-8")
    page_options, page_commands = page_options_and_commands(page)
    faults = [*differences("option", page_options, options),
              *differences("command", page_commands, commands)]
    keys = page_keys((folder / "kwlookupd.conf.5").read_text(encoding="utf-8"))
    faults += [f"the page has the key {key}, the daemon does not know it"
               for key in unknown_keys(program, keys)]
    faults += differences("key", set().union(*keys.values()), source_keys(folder))
    print(*faults, sep="\n", end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
