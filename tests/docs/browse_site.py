#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Looks at the web site of the documentation in a browser without a window, on a screen and on a
phone, in light and in dark.

Usage: browse_site.py SITE BROWSER [PICTURES]

BROWSER is a directory of unpack_packages. Pictures of some pages are written to PICTURES.
"""
import base64
import sys
import tempfile
from pathlib import Path

sys.path.append(str(Path(__file__).parent.parent / "kwlookupd"))
from browse_status_page import LEAST_CONTRAST, Browser, check  # noqa: E402

SHOWN = ("index", "object-lists", "mail-servers", "kwlookupd", "architecture", "man/kwlookup.1",
         "man/kw_lookup_ldap.5", "reference/classKwLookupHolder", "reference/annotated",
         "source/examples/plugin")


# What a page looks like: the element that is wider than the page, and so on.
LOOK = """(() => {
    const box = id => document.getElementById(id).getBoundingClientRect();
    const scrolls = node => node && (/auto|scroll/.test(getComputedStyle(node).overflowX) ||
        scrolls(node.parentElement));
    const page = document.documentElement;
    const wide = page.scrollWidth > innerWidth && [...document.querySelectorAll('body *')].find(
        node => node.getBoundingClientRect().right > innerWidth && !scrolls(node));
    return {
        wide: wide ? wide.outerHTML.slice(0, 200) : page.scrollWidth > innerWidth,
        light: getComputedStyle(document.body).backgroundColor.match(/[0-9]+/)[0] > 128,
        beside: box('pages').left < box('text').left,
        letters: parseFloat(getComputedStyle(document.querySelector('main p, main code')).fontSize),
        contrast: """ + LEAST_CONTRAST + """
    };
})()"""


def look(browser, file, name, pictures):
    browser.go(file.as_uri())
    for width, scheme in ((1280, "light"), (390, "dark"), (390, "light"), (1280, "dark")):
        if (width == 390) == (scheme == "light") and not (pictures and name in SHOWN):
            continue
        where = f"{name} at {width} pixels, {scheme}"
        browser.call("Emulation.setDeviceMetricsOverride", width=width, height=1000,
                     deviceScaleFactor=1, mobile=False)
        browser.call("Emulation.setEmulatedMedia",
                     features=[{"name": "prefers-color-scheme", "value": scheme}])
        seen = browser.eval(LOOK)
        check(not seen["wide"], f"{where}: too wide: {seen['wide']}")
        check(seen["light"] == (scheme == "light"), where + ": the colours of the other scheme, or no style")
        check(seen["beside"] == (width == 1280), where + ": the navigation is in the wrong place")
        check(seen["letters"] >= 14, f"{where}: letters of {seen['letters']} pixels")
        check(seen["contrast"] >= 4.5, f"{where}: contrast {seen['contrast']}")
        if pictures and name in SHOWN:
            picture = browser.call("Page.captureScreenshot", format="png")["data"]
            Path(pictures, f"{name.replace('/', '-')}-{width}-{scheme}.png").write_bytes(
                base64.b64decode(picture))


def main():
    site, root = Path(sys.argv[1]).resolve(), Path(sys.argv[2])
    pictures = sys.argv[3] if len(sys.argv) > 3 else None
    files = sorted(site.rglob("*.html"))
    check(len(files) > 40, f"only {len(files)} pages")
    # The pages of the reference are alike, so some of them will do.
    alike = [file for file in files if file.parent.name == "reference"
             and "reference/" + file.stem not in SHOWN]
    files = [file for file in files if file not in alike] + alike[::5]
    with tempfile.TemporaryDirectory() as home:
        browser = Browser(root / "root", Path(home))
        try:
            for file in files:
                look(browser, file, file.relative_to(site).with_suffix("").as_posix(), pictures)
            complaints = browser.complaints()
            check(not complaints, f"the browser complains: {complaints}")
            asked = {event["params"]["request"]["url"] for event in browser.events
                     if event.get("method") == "Network.requestWillBeSent"}
            foreign = [url for url in asked if not url.startswith((site.as_uri(), "data:", "about:"))]
            check(not foreign, f"the pages ask elsewhere: {foreign}")
        finally:
            browser.process.terminate()
            browser.process.wait()
    print(f"{len(files)} pages")


if __name__ == "__main__":
    main()
