#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes the web site of the documentation, and checks its links and its markup.

Usage: check_site.py ROOT OUT
"""
import subprocess
import sys
from html.parser import HTMLParser
from pathlib import Path
from urllib.parse import unquote, urlsplit

VOID = {"area", "base", "br", "col", "embed", "hr", "img", "input", "link", "meta", "wbr"}
# The end of these may be left out.
OPTIONAL = {"p", "li", "dt", "dd", "td", "th", "tr", "tbody", "thead"}


class Page(HTMLParser):
    def __init__(self, text):
        super().__init__()
        self.links, self.sources, self.anchors, self.faults, self.open = [], [], [], [], []
        self.counts, self.policy = {}, ""
        self.feed(text)
        self.close()
        self.faults += [f"<{tag}> has no end" for tag in self.open if tag not in OPTIONAL]

    def handle_starttag(self, tag, attrs):
        values = dict(attrs)
        self.counts[tag] = self.counts.get(tag, 0) + 1
        if tag not in VOID:
            self.open.append(tag)
        self.anchors += {values.get("id"), tag == "a" and values.get("name")} - {None, False}
        if tag == "a" and "href" in values:
            self.links.append(values["href"])
        if tag == "img":
            self.sources.append(values["src"])
            if not values.get("alt"):
                self.faults.append("an image has no text")
        if tag == "link":
            self.sources.append(values["href"])
        if tag in ("script", "style", "iframe", "object", "form"):
            self.faults.append(f"has a <{tag}>")
        if values.get("http-equiv") == "Content-Security-Policy":
            self.policy = values["content"]
        self.faults += [f"<{tag}> has the attribute {name}" for name in values
                        if name == "style" or name.startswith("on")]

    def handle_startendtag(self, tag, attrs):
        self.handle_starttag(tag, attrs)
        if tag not in VOID:
            self.handle_endtag(tag)

    def handle_endtag(self, tag):
        while self.open and self.open[-1] != tag and self.open[-1] in OPTIONAL and tag in self.open:
            self.open.pop()
        if not self.open or self.open[-1] != tag:
            self.faults.append(f"</{tag}> at line {self.getpos()[0]} ends nothing")
        else:
            self.open.pop()


def faults(root):
    pages = {path: Page(path.read_text(encoding="utf-8")) for path in sorted(root.rglob("*.html"))}
    if len(pages) < 40:
        yield f"only {len(pages)} pages"
    reached, to_visit = set(), [root / "index.html"]
    while to_visit:
        path = to_visit.pop()
        if path in reached:
            continue
        reached.add(path)
        to_visit += {target for link in pages[path].links if (target := resolved(path, link)) in pages}
    for path, page in pages.items():
        name = path.relative_to(root)
        yield from (f"{name}: {fault}" for fault in page.faults)
        if path not in reached:
            yield f"{name}: no link leads here from the start"
        if page.counts.get("h1") != 1 or page.counts.get("title") != 1 or page.counts.get("main") != 1:
            yield f"{name}: not one <h1>, one <title> and one <main>"
        if "default-src 'none'" not in page.policy:
            yield f"{name}: no strict policy"
        yield from (f"{name}: the anchor {anchor} is there twice"
                    for anchor in sorted({a for a in page.anchors if page.anchors.count(a) > 1}))
        for source in page.sources:
            if source != "data:," and (urlsplit(source).scheme or not resolved(path, source).is_file()):
                yield f"{name}: {source} is not a file of the site"
        for link in sorted(set(page.links)):
            if urlsplit(link).scheme in ("https", "mailto"):
                continue
            target, anchor = resolved(path, link), unquote(urlsplit(link).fragment)
            if urlsplit(link).scheme or target not in pages:
                yield f"{name}: the link {link} leads nowhere"
            elif anchor and anchor not in pages[target].anchors:
                yield f"{name}: the link {link} leads to no anchor"


def resolved(path, link):
    name = unquote(urlsplit(link).path)
    return Path(path.parent, name).resolve() if name else path


def main():
    root, out = Path(sys.argv[1]), Path(sys.argv[2]).resolve()
    subprocess.run([sys.executable, root / "docs/site/build_site.py", root, out], check=True)
    found = list(faults(out))
    print(f"{len(found)} faults", *found, sep="\n")
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
