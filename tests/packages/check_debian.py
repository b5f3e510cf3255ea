#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks that debian/ has what CMake installs: each file in one package, that of its component.

Usage: check_debian.py SOURCE_DIR BUILD_DIR VERSION TYPE...
"""
import fnmatch
import os
import re
import subprocess
import sys
import tempfile

source, build, version, *types = sys.argv[1:]
faults = []


def read(name):
    with open(os.path.join(source, name), encoding="utf-8") as file:
        return file.read()


def patterns(name):
    """What a file of debian/ takes from the installed tree: the first word of a line."""
    lines = [line.split()[0] for line in read(name).splitlines() if line and line[0] != "#"]
    return [line for line in lines if line.startswith("usr/")]


def installed(component):
    """The files of a component, named as in debian/tmp when debian/rules moves them."""
    with tempfile.TemporaryDirectory() as root:
        subprocess.run(["cmake", "--install", build, "--prefix", "/usr", "--component", component],
                       env={**os.environ, "DESTDIR": root}, stdout=subprocess.DEVNULL, check=True)
        names = [os.path.relpath(os.path.join(folder, name), root)
                 for folder, _, files in os.walk(root) for name in files]
    names = [re.sub(r"^usr/lib/(?:[^/]*-linux-gnu/)?(?=libkw|kwlookup/|cmake/|pkgconfig/)",
                    "usr/lib/MACHINE/", name) for name in names]
    return [name.replace("zsh/site-functions", "zsh/vendor-completions") for name in names]


def takes(pattern, name):
    """Whether dh_install takes a file: a '*' ends at a '/', and a folder stands for all in it."""
    parts, wanted = name.split("/"), pattern.split("/")
    return len(parts) >= len(wanted) and all(map(fnmatch.fnmatchcase, parts, wanted))


packages = re.findall(r"^Package: (\S+)", read("debian/control"), re.MULTILINE)
plugins = ["libkwlookup1-" + name for name in types]
if sorted(plugins) != sorted(name for name in packages if name.startswith("libkwlookup1-")):
    faults.append(f"debian/control has other packages of plug-ins than {plugins}")

wanted = [(pattern, name) for name in packages for pattern in patterns(f"debian/{name}.install")]
wanted += [(pattern, None) for pattern in patterns("debian/not-installed")]
used = set()
for component in packages:
    names = installed(component)
    if not names:
        faults.append(f"CMake installs nothing for {component}")
    for name in names:
        matches = [(pattern, package) for pattern, package in wanted if takes(pattern, name)]
        used.update(matches)
        if [package for _, package in matches] not in ([component], [None]):
            faults.append(f"{name} of {component} is taken by {matches}")
faults += [f"{pattern} of {package} takes nothing" for pattern, package in wanted
           if (pattern, package) not in used]

first = re.match(r"kwlookup \(([^)]*)\)", read("debian/changelog"))
if not first or first[1] != version:
    faults.append(f"debian/changelog does not begin with version {version}")
if not re.search(rf"^{re.escape(version)} ", read("NEWS"), re.MULTILINE):
    faults.append(f"NEWS has no section for {version}")

block = re.search(r"^Build-Depends:\n((?: .*\n)*)", read("debian/control"), re.MULTILINE)
needed = {name.strip(" ,") for name in block[1].splitlines() if "debhelper" not in name
          and "dh-sequence" not in name}
listed = set(re.search(r"^build_packages=\(([^)]*)\)", read(".ci/common.sh"), re.MULTILINE)[1].split())
if needed | {"g++"} != listed:
    faults.append(f"only in debian/control or only in .ci/common.sh: {needed ^ listed - {'g++'}}")

print("\n".join(faults))
sys.exit(bool(faults))
