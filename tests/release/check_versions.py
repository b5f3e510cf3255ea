#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that every place with the version of this tree has the same one.

Usage: check_versions.py SOURCE_DIR

CMakeLists.txt has the version. NEWS and the changelog of the packages repeat it, because readers
and tools expect it there. No page has it.
"""
import pathlib
import re
import sys

root = pathlib.Path(sys.argv[1])
faults = []


def read(name):
    return (root / name).read_text(encoding="utf-8")


def expect(place, pattern, text, wanted):
    found = re.search(pattern, text, re.M)
    if not found or found[1] != wanted:
        faults.append(f"{place}: {found and found[1]} instead of {wanted}")


version = re.search(r"^project\(kwlookup VERSION (\d+\.\d+\.\d+)", read("CMakeLists.txt"), re.M)[1]
major, minor, _ = version.split(".")
expect("NEWS", r"^(\d\S*) \((?:not released yet|\d{4}-\d\d-\d\d)\)$", read("NEWS"), version)
expect("lookup/PluginVersion.h", r"MAJOR_VERSION = (\d+);", read("lookup/PluginVersion.h"), major)
if (root / "debian/changelog").exists():
    expect("debian/changelog", r"\A\S+ \((\S+)\)", read("debian/changelog"), version)

for name in ("lookup/libkwlookup.map", "kwlog/libkwlog.map", "kwhost/libkwhost.map"):
    for node in re.findall(r"^KW[A-Z]+_([\d.]+) \{", read(name), re.M):
        if (int(node.split(".")[0]) != int(major)
                or int(node.split(".")[1]) > int(minor)):
            faults.append(f"{name}: symbols of {node} in version {version}")

pages = [page for pattern in ("*.md", "docs/*.md", "lookup/*/*.[1-8]", "tools/*/*.[1-8]",
                              "families/*/*.[1-8]", "plugins/*/*.[1-8]")
         for page in root.glob(pattern)]
whole = re.compile(rf"(?<![\d.]){re.escape(version)}(?![\d.]*\d)")
for page in pages:
    if whole.search(page.read_text(encoding="utf-8")):
        faults.append(f"{page.relative_to(root)}: names the version {version}")
if len(pages) < 10:
    faults.append("there are no pages")

print("\n".join(faults))
sys.exit(1 if faults else 0)
