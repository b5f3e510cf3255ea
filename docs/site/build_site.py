#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Makes a web site of the documentation: README.md, docs/, the manual pages and the public headers.

Usage: build_site.py ROOT OUT    replaces the directory OUT

The groups of pages in the navigation are those of the table "Where to read on" of README.md.
"""
import html
import os
import re
import shutil
import subprocess
import sys
import tempfile
import xml.etree.ElementTree as ElementTree
from pathlib import Path
from string import Template

TOOLS = {"cmark-gfm": "cmark-gfm", "doxygen": "doxygen", "mandoc": "mandoc"}
MANUAL = "https://manpages.debian.org/bookworm/"  # where pages of others are
REST = "The project"  # the group of pages for which README.md names no reader


def run(*command, text=None, **more):
    return subprocess.run(command, input=text, encoding="utf-8", stdout=subprocess.PIPE, check=True,
                          **more).stdout


def plain(markup):
    return html.unescape(re.sub(r"<[^>]+>", "", markup)).strip()


def slug(heading, used):
    """The anchor of a heading, as on GitHub."""
    name = re.sub(r"[^\w\- ]", "", plain(heading).lower()).replace(" ", "-")
    used[name] = used.get(name, -1) + 1
    return f"{name}-{used[name]}" if used[name] else name


class Page:
    """A page of the site; `source` is the path of what it is made from."""

    def __init__(self, path, title, kind, content, source=None):
        self.path, self.title, self.kind = path, title, kind
        self.content, self.source = content, source

    def headings(self):
        """The anchors and texts of the headings in the page."""
        found = re.findall(r'<h2[^>]* id="([^"]+)"[^>]*>(.*?)</h2>', self.content, re.S)
        texts = [" ".join(plain(text).split()) for _, text in found]
        return [(anchor, text.capitalize() if text.isupper() else text)
                for (anchor, _), text in zip(found, texts)]


class Site:
    def __init__(self, root, out):
        self.root, self.out = root, out
        self.pages = {}  # by path in the site
        self.files = {}  # pages and copies, by path in the tree
        cmake = (root / "CMakeLists.txt").read_text(encoding="utf-8")
        self.version = re.search(r"^project\(kwlookup VERSION (\S+)", cmake, re.M)[1]

    def add(self, page):
        self.pages[page.path] = page
        if page.source:
            self.files[page.source] = page.path

    def build(self):
        self.add_manual()
        self.add_texts()
        self.add_reference()
        for page in list(self.pages.values()):
            if page.kind == "text":
                page.content = self.with_links(page)
        for page in self.pages.values():
            page.content = self.with_manual_links(page)
        template = Template((self.root / "docs/site/page.html").read_text(encoding="utf-8"))
        for page in self.pages.values():
            file = self.out / page.path
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(template.substitute(
                title=html.escape(page.title if page.path == "index.html" else page.title + " - kwlookup"),
                base="../" * page.path.count("/"), kind=page.kind, version=self.version,
                content=page.content, nav=self.navigation(page)), encoding="utf-8")
        shutil.copy(self.root / "docs/site/style.css", self.out)

    # Manual pages

    def add_manual(self):
        for file in (file for folder in ("tools", "lookup", "families", "plugins")
                     for file in sorted((self.root / folder).rglob("*.[1-8]"))):
            name = f"{file.stem}({file.suffix[1]})"
            text = run("mandoc", "-T", "html", "-O", "fragment", str(file))
            text = re.sub(r'<table class="(head|foot)">.*?</table>\n?', "", text, flags=re.S)
            for level in (2, 1):
                text = re.sub(rf"(</?)h{level}\b", rf"\1h{level + 1}", text)
            content = f"<h1>{name}</h1>\n" + tidied(text)
            page = Page(f"man/{file.name}.html", name, "manual", content,
                        file.relative_to(self.root).as_posix())
            page.about = plain(re.search(r'<span class="Nd">(.*?)</span>', text, re.S)[1])
            self.add(page)

    def manual(self):
        return [page for page in self.pages.values() if page.kind == "manual"]

    def with_manual_links(self, page):
        """Links what names a manual page, such as kwlookup(1)."""

        def link(found):
            name = f"{found[1]}.{found[2]}"
            if f"man/{name}.html" == page.path:
                return found[0]
            if f"man/{name}.html" in self.pages:
                return f'<a href="{relative(f"man/{name}.html", page)}">{found[0]}</a>'
            return found[0] if page.kind != "manual" else f'<a href="{MANUAL}{name}">{found[0]}</a>'

        text = re.sub(r'<a class="Xr">([\w.-]+)\((\d)\)</a>', lambda found: link(
            re.match(r"([\w.-]+)\((\d)\)", found[0][len('<a class="Xr">'):-len("</a>")])), page.content)
        if page.kind == "manual":
            return text
        return re.sub(r"(?<=<code>)(kw[\w.]+)\((\d)\)(?=</code>)", link, text)

    # Pages in Markdown

    def add_texts(self):
        files = [self.root / "README.md", *sorted(self.root.glob("docs/*.md")),
                 *sorted(self.root.glob("[A-Z]*.md")), self.root / "NEWS"]
        for file in dict.fromkeys(files):
            text = file.read_text(encoding="utf-8")
            if file.name == "NEWS":
                text = "# News\n\n" + re.sub(r"^(\d+\.\d+\.\d+.*)$", r"## \1", text, flags=re.M)
            content = run("cmark-gfm", "-e", "table", "-e", "autolink", text=text)
            used = {}
            content = re.sub(r"<(h[1-6])>(.*?)</\1>", lambda found:
                             f'<{found[1]} id="{slug(found[2], used)}">{found[2]}</{found[1]}>',
                             content, flags=re.S)
            content = re.sub(r'(<pre><code class="language-console">)(.*?)(</code>)', lambda found:
                             found[1] + consoles(found[2]) + found[3], content, flags=re.S)
            title = plain(re.search(r"<h1.*?</h1>", content, re.S)[0])
            path = "index.html" if file.name == "README.md" else file.stem.lower() + ".html"
            if path == "index.html":
                content = re.sub(r'(<h2 id="where-to-read-on">.*?)(?=<h2|\Z)',
                                 lambda found: found[1] + self.manual_table(), content, flags=re.S)
            self.add(Page(path, title, "text", tidied(content), file.relative_to(self.root).as_posix()))

    def manual_table(self):
        rows = "".join(f'<tr><td><code>{page.title}</code></td><td>{html.escape(page.about)}</td></tr>\n'
                       for page in self.manual())
        return ('<h2 id="manual-pages">Manual pages</h2>\n<table>\n<thead><tr><th>page</th>'
                f"<th>about</th></tr></thead>\n<tbody>\n{rows}</tbody>\n</table>\n")

    def with_links(self, page):
        """Leads the links of a page in Markdown to pages of the site."""

        def link(found):
            if re.match(r"[a-z]+:|#", found[2]):
                return found[0]
            target, _, anchor = html.unescape(found[2]).partition("#")
            source = os.path.normpath(os.path.join(os.path.dirname(page.source), target))
            path = self.files.get(source) or self.add_file(source)
            text = found[4] if found[4] != target else html.escape(self.title(path))
            return (f'<a href="{relative(path, page)}{"#" + anchor if anchor else ""}"{found[3]}>'
                    f"{text}</a>")

        def image(found):
            source = os.path.normpath(os.path.join(os.path.dirname(page.source), found[2]))
            (self.out / "images").mkdir(exist_ok=True)
            shutil.copy(self.root / source, self.out / "images")
            return found[1] + relative("images/" + os.path.basename(source), page) + '"'

        text = re.sub(r'(<a href=")([^"]+)"([^>]*)>(.*?)</a>', link, page.content, flags=re.S)
        return re.sub(r'(<img src=")([^":]+)"', image, text)

    def title(self, path):
        return self.pages[path].title

    def add_file(self, source):
        """Adds a page that shows a file of the tree, or the files of a directory."""
        top = self.root / source
        parts = []
        for file in sorted(top.iterdir()) if top.is_dir() else [top]:
            text = file.read_text(encoding="utf-8")
            heading = f'<h2 id="{file.name}">{file.name}</h2>\n' if top.is_dir() else ""
            parts.append(f"{heading}<pre><code>{html.escape(text)}</code></pre>\n")
        page = Page(f"source/{source}.html", source, "source",
                    f"<h1>{source}</h1>\n" + "".join(parts), source)
        self.add(page)
        return page.path

    # The public headers

    def add_reference(self):
        install = (self.root / "cmake/Install.cmake").read_text(encoding="utf-8")
        headers = re.findall(r"^  ([a-z]+/.*\.h)\)?$", install, re.M)
        with tempfile.TemporaryDirectory() as directory:
            config = (self.root / "docs/Doxyfile").read_text(encoding="utf-8")
            run("doxygen", "-", cwd=self.root,
                text=f"{config}\nPROJECT_NUMBER = {self.version}\nINPUT = {' '.join(headers)}\n"
                     f"OUTPUT_DIRECTORY = {directory}\n")
            silent = sorted(undocumented(Path(directory, "xml")))
            if silent:
                sys.exit("write a comment for each of these names:\n" + "\n".join(silent))
            for file in sorted(Path(directory, "html").glob("*.html")):
                if not file.name.endswith("-members.html") and \
                        file.name not in ("index.html", "classes.html", "hierarchy.html"):
                    self.add_reference_page(file)

    def add_reference_page(self, file):
        text = file.read_text(encoding="utf-8")
        contents = re.search(r'<div class="contents">(.*)</div><!-- contents -->', text, re.S)
        title = re.search(r'<div class="title">(.*?)</div>', text, re.S)
        if not contents or not title:
            return
        name = plain(re.sub(r'<div class="ingroups">.*', "", title[1], flags=re.S))
        # Without lines between rows, and without members of bases, which are on other pages.
        contents = re.sub(r'<table class="memberdecls">\n<tr class="heading"><td colspan="2">'
                          r'<h2 class="groupheader"><a id="inherited".*?</table>', "", contents[1],
                          flags=re.S)
        body = re.sub(r'<tr class="(?:separator:|mem\w+:\w+ inherit ).*?</tr>\n?', "", contents, flags=re.S)
        body = body.replace('href="index.html"', 'href="annotated.html"')
        lists = [("annotated.html", "Classes"), ("namespaces.html", "Namespaces"), ("files.html", "Headers")]
        links = "\n".join(f'<a href="{target}">{label}</a>' for target, label in lists)
        self.add(Page(f"reference/{file.name}", name, "reference",
                      f'<p class="lists">{links}</p>\n<h1>{html.escape(name)}</h1>\n' + tidied(body)))

    # The navigation

    def groups(self):
        """The pages by who reads them."""
        readme = (self.root / "README.md").read_text(encoding="utf-8")
        groups = {}
        for target, reader in re.findall(r"^\| \[[^]]*\]\(([^)]+)\) \| (?:(\w+):)?", readme, re.M):
            groups.setdefault(f"For {reader}" if reader else REST, []).append(self.files[target])
        listed = {path for paths in groups.values() for path in paths}
        groups.setdefault(REST, []).extend(
            path for path, page in self.pages.items()
            if page.kind == "text" and path not in {*listed, "index.html"})
        for reader, paths in groups.items():
            if "programmers" in reader:
                paths.append("reference/annotated.html")
        return groups

    def navigation(self, current):
        def entry(path, label):
            here = ' aria-current="page"' if path == current.path else ""
            if path == "reference/annotated.html" and current.kind == "reference" and not here:
                here = ' aria-current="true"'
            text = f'<a href="{relative(path, current)}"{here}>{html.escape(label)}</a>'
            inner = current.headings() if here and current.kind in ("text", "manual") else []
            if len(inner) > 1:
                text += "<ul>" + "".join(f'<li><a href="#{anchor}">{html.escape(heading)}</a></li>'
                                         for anchor, heading in inner) + "</ul>"
            return f"<li>{text}</li>\n"

        parts = [f'<ul>\n{entry("index.html", "Start")}</ul>']
        for heading, paths in self.groups().items():
            entries = "".join(entry(path, "Library reference" if path.startswith("reference/")
                                    else self.title(path)) for path in paths)
            parts.append(f"<h2>{heading}</h2>\n<ul>\n{entries}</ul>")
        entries = "".join(entry(page.path, page.title) for page in self.manual())
        parts.insert(2, f"<h2>Manual pages</h2>\n<ul>\n{entries}</ul>")
        return "\n".join(parts)


def relative(path, page):
    return os.path.relpath(path, os.path.dirname(page.path) or ".")


def consoles(text):
    """Sets off the commands of a console from what they print."""
    return re.sub(r"^(\$ )(.*)$", r'<span class="prompt">\1</span><b>\2</b>', text, flags=re.M)


def tidied(markup):
    """Without styles and scripts of generators, and with tables that scroll."""
    markup = re.sub(r"<script\b.*?</script>", "", markup, flags=re.S)
    markup = re.sub(r' style="width:(\d+)px;display:inline-block;"', r' class="in\1"', markup)
    markup = re.sub(r'<div class="levels">.*?</div>', "", markup)
    markup = re.sub(r' (?:style|on\w+|align|valign|nowrap|border|cellspacing|cellpadding|width)="[^"]*"',
                    "", markup)
    markup = re.sub(r'<img src="(?:closed|open)\.png"[^>]*>', "", markup)
    markup = re.sub(r"<p class=\"Pp\"></p>\n?", "", markup)
    return re.sub(r'(<table(?: class="(?:doxtable|markdownTable)")?>.*?</table>)',
                  r'<div class="wide" tabindex="0">\1</div>', markup, flags=re.S)


def undocumented(directory):
    """The public names that Doxygen found without a comment."""
    for file in directory.glob("*.xml"):
        for compound in ElementTree.parse(file).getroot().iter("compounddef"):
            if compound.get("kind") not in ("class", "struct", "namespace", "file") or \
                    compound.get("prot") == "private":
                continue
            for member in compound.iter("memberdef"):
                name, arguments = member.findtext("name"), member.findtext("argsstring") or ""
                if member.get("prot") == "private" or name.startswith("~") or \
                        arguments.endswith(("=delete", "=default")):
                    continue
                if not described(member):
                    yield f"{member.find('location').get('file')}: {compound.findtext('compoundname')} {name}"
            if compound.get("kind") in ("class", "struct") and not described(compound):
                yield f"{compound.find('location').get('file')}: {compound.findtext('compoundname')}"


def described(element):
    return any("".join(element.find(part).itertext()).strip()
               for part in ("briefdescription", "detaileddescription", "inbodydescription")
               if element.find(part) is not None)


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    missing = [package for tool, package in TOOLS.items() if not shutil.which(tool)]
    if missing:
        sys.exit("the site needs the packages " + " ".join(missing))
    out = Path(sys.argv[2]).resolve()
    shutil.rmtree(out, ignore_errors=True)
    out.mkdir(parents=True)
    Site(Path(sys.argv[1]).resolve(), out).build()
    print(f"{out}/index.html")


if __name__ == "__main__":
    main()
