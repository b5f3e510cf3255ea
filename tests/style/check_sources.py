#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Checks the C++ sources: layout, first line, include guard, who includes whom, and that what is
neither C++ nor POSIX stays in the files that are for it.

A header that one .cpp file includes belongs into that file. Public headers and those of families, which
are there for more to come, are the exceptions.

Usage: check_sources.py ROOT CLANG_FORMAT

Who may include whom is read from the two tables in docs/architecture.md. No header may include
itself by way of others.
"""
import fnmatch
import re
import subprocess
import sys
from pathlib import Path

# REUSE-IgnoreStart
FIRST_LINE = "// SPDX-License-Identifier: MIT\n"
# REUSE-IgnoreEnd
FREE = ("tests", "bench", "fuzz", "examples")  # folders that may include everything
FOLDERS = ("conf", "families", "host", "kwhost", "kwlog", "lookup", "objects", "plugins", "sql",
           "text", "tools") + FREE
SEAM = ("text/DirectoryWatch.cpp", "text/Platform.h", "text/Platform.cpp", "text/SystemError.cpp",
        "host/KwExport.h", "tools/kwlookupd/net/Poller.cpp")
# Allowed everywhere: an attribute [[gnu::...]], which compilers ignore if they do not know it.
NOT_PORTABLE = re.compile(r"""\b(
    __attribute__ | __builtin_\w+ | __extension__ | __int128 | __typeof\w* | __BYTE_ORDER__ |
    __GNUC__ | __GLIBC__ | __linux__ | __libc_\w+ | program_invocation_\w+ |
    CLOCK_\w+_COARSE | CLOCK_BOOTTIME | MADV_\w+ | MAP_POPULATE | O_PATH | O_TMPFILE |
    RTLD_NOLOAD | RTLD_DEEPBIND | RTLD_DI_\w+ |
    accept4 | asprintf | canonicalize_file_name | copy_file_range | dladdr | dlinfo |
    dl_iterate_phdr | epoll_\w+ | eventfd | execvpe | fallocate | getauxval | getrandom | gettid |
    inotify_\w+ | madvise | memfd_create | memmem | mempcpy | memrchr | pipe2 | ppoll |
    pthread_\w+_np | qsort_r | rawmemchr | sched_\w*affinity | secure_getenv | signalfd\w* | statx |
    strcasestr | strchrnul | strerror_r | strverscmp | vasprintf )\b""", re.X)


def table(text, heading):
    """The rows of the table whose first column is headed `heading`, as lists of cells."""
    found = re.search(rf"^\| {heading} .*\n\|[-| ]+\|\n((?:\|.*\n)+)", text, re.M)
    rows = [line.strip("|").split("|") for line in found.group(1).splitlines()]
    return [[cell.strip() for cell in row] for row in rows]


def names(cell):
    return re.findall(r"`([^`]+)`", cell)


class Rules:
    def __init__(self, page):
        text = page.read_text(encoding="utf-8")
        self.folders = {names(row[0])[0]: names(row[2]) for row in table(text, "folder")}
        self.libraries = [(pattern, names(row[1]))
                          for row in table(text, "library") for pattern in names(row[0])]

    def folder(self, path):
        """The row of the folder that `path` is in, or None."""
        return max((row for row in self.folders if path.startswith(row)), key=len, default=None)

    def fault(self, path, included):
        """Why the file `path` may not include our file `included`, or None."""
        if Path(path).parent == Path(included).parent:
            return None
        folder = self.folder(path)
        if self.folder(included) in self.folders[folder]:
            return None
        return f"{folder} may not include {included}"

    def library_fault(self, path, included):
        folder = self.folder(path)
        for pattern, users in self.libraries:
            if fnmatch.fnmatch(included, pattern) and folder not in users:
                return f"{folder} may not use <{included}>"
        return None


def check(root, path, rules):
    text = (root / path).read_text(encoding="utf-8")
    if not text.startswith(FIRST_LINE):
        yield "the first line is not " + FIRST_LINE.strip()
    if path.endswith(".h") and "#pragma once\n" not in text:
        yield "no #pragma once"
    if set(path.split("/")[:-1]) & set(FREE):
        return
    if rules.folder(path) is None:
        yield "is in no folder of docs/architecture.md"
        return
    if path not in SEAM:
        code = re.sub(r"//.*", "", text)
        for name in sorted(set(NOT_PORTABLE.findall(code))):
            yield f"{name} is neither C++ nor POSIX; such calls stand in text/Platform"
    for included in re.findall(r'^\s*#\s*include\s*"([^"]+)"', text, re.M):
        beside = (Path(path).parent / included).as_posix()
        if (root / included).is_file():
            fault = rules.fault(path, included)
        elif path.startswith("tools/") and (root / beside).is_file():
            fault = None
        else:
            fault = f"{included} is not a path from the root"
        if fault:
            yield fault
    for included in re.findall(r"^\s*#\s*include\s*<([^>]+)>", text, re.M):
        if fault := rules.library_fault(path, included):
            yield fault


def circles(root, paths):
    """The headers that include themselves by way of others."""
    includes = {path: [name for name in re.findall(r'^\s*#\s*include\s*"([^"]+)"',
                                                   (root / path).read_text(encoding="utf-8"), re.M)
                       if (root / name).is_file()]
                for path in paths if path.endswith(".h")}
    done = set()

    def walk(path, way):
        if path in way:
            yield path
        elif path not in done:
            for name in includes.get(path, ()):
                yield from walk(name, [*way, path])
            done.add(path)

    for path in includes:
        yield from walk(path, [])


def lonely_headers(root, paths):
    """The private headers that only a .cpp file includes, each with that file."""
    public = re.findall(r"^ +(\S+\.h)\)?$", (root / "cmake/Install.cmake").read_text(encoding="utf-8"),
                        re.M)
    users = {path: set() for path in paths if path.endswith(".h") and path not in public
             and not set(path.split("/")[:-1]) & {*FREE, "families"}}
    for path in paths:
        text = (root / path).read_text(encoding="utf-8")
        for included in re.findall(r'^\s*#\s*include\s*"([^"]+)"', text, re.M):
            for name in (included, (Path(path).parent / included).as_posix()):
                if name in users:
                    users[name].add(path)
    return [(path, *files) for path, files in users.items()
            if len(files) == 1 and min(files).endswith(".cpp")]


def main():
    root, clang_format = Path(sys.argv[1]), sys.argv[2]
    rules = Rules(root / "docs/architecture.md")
    paths = sorted(path.relative_to(root).as_posix() for folder in FOLDERS
                   for path in (root / folder).rglob("*") if path.suffix in (".h", ".cpp"))
    faults = [f"{path}: {fault}" for path in paths for fault in check(root, path, rules)]
    faults += [f"{path}: includes itself by way of others" for path in circles(root, paths)]
    faults += [f"{path}: only {user} includes it" for path, user in lonely_headers(root, paths)]
    print(f"{len(paths)} files, {len(faults)} faults", *faults, sep="\n", flush=True)
    format_run = subprocess.run([clang_format, "--dry-run", "-Werror", *paths], cwd=root,
                                check=False)
    return 1 if faults or format_run.returncode else 0


if __name__ == "__main__":
    sys.exit(main())
