#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Looks at the status page of a daemon in a browser without a window, as an administrator would.

Usage: browse_status_page.py KWLOOKUPD BROWSERS [SCREENSHOT]

KWLOOKUPD is the program, BROWSERS the directory of unpack_servers. The browser is driven through
pipes with its own protocol of debugging. A picture of the page is written to SCREENSHOT.
"""
import base64
import json
import os
import socket
import subprocess
import sys
import tempfile
import threading
import time
import urllib.request
from pathlib import Path

LISTS = {"blocked": "lab.example\nbulk.example reject\nspam@corp.lan\n",
         "access": "example.org allow\n"}

# The least contrast of a text with what is behind it. WCAG wants 4.5.
LEAST_CONTRAST = """(() => {
    const light = text => text.match(/[0-9.]+/g).slice(0, 3).map(v => v / 255)
        .map(v => v <= .04045 ? v / 12.92 : ((v + .055) / 1.055) ** 2.4)
        .reduce((sum, v, i) => sum + v * [.2126, .7152, .0722][i], 0);
    const behind = node => {
        for (; node; node = node.parentElement) {
            const colour = getComputedStyle(node).backgroundColor;
            if (!/, 0\\)$/.test(colour)) return colour;
        }
    };
    let worst = 21;
    for (const node of document.querySelectorAll('h1,h2,h3,p,span,b,code,th,td,dt,dd,label,button'))
        if (node.checkVisibility() && node.textContent.trim()) {
            const a = light(getComputedStyle(node).color), b = light(behind(node));
            worst = Math.min(worst, (Math.max(a, b) + .05) / (Math.min(a, b) + .05));
        }
    return worst;
})()"""


class Browser:
    def __init__(self, root, home):
        down, up = os.pipe(), os.pipe()
        library = root / "usr/lib" / os.uname().machine.__add__("-linux-gnu")
        fonts = home / "fonts.conf"
        fonts.write_text(f'<?xml version="1.0"?><fontconfig><dir>{root}/usr/share/fonts</dir>'
                         f"<cachedir>{home}/fonts</cachedir></fontconfig>")
        environment = dict(os.environ, HOME=str(home), FONTCONFIG_FILE=str(fonts), TZ="UTC",
                           LD_LIBRARY_PATH=f"{library}:{library}/pulseaudio")

        def use_pipes():
            os.dup2(down[0], 103), os.dup2(up[1], 104)
            os.dup2(103, 3), os.dup2(104, 4)

        self.process = subprocess.Popen(
            [str(root / "usr/lib/chromium/chromium-headless-shell"), "--remote-debugging-pipe",
             "--no-sandbox", "--disable-gpu", "--disable-dev-shm-usage", "--hide-scrollbars",
             f"--user-data-dir={home}/profile", "about:blank"],
            env=environment, close_fds=False, preexec_fn=use_pipes, stderr=subprocess.DEVNULL)
        os.close(down[0]), os.close(up[1])
        self.out, self.input = down[1], os.fdopen(up[0], "rb")
        self.number, self.buffer, self.events = 0, b"", []
        target = self.call("Target.createTarget", url="about:blank", session=None)["targetId"]
        self.session = None
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")

    def call(self, method, session="own", **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if session and getattr(self, "session", None):
            message["sessionId"] = self.session
        os.write(self.out, json.dumps(message).encode() + b"\0")
        while True:
            while b"\0" not in self.buffer:
                read = self.input.read1(65536)
                if not read:
                    raise RuntimeError("the browser has ended")
                self.buffer += read
            text, self.buffer = self.buffer.split(b"\0", 1)
            answer = json.loads(text)
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]
            self.events.append(answer)

    def eval(self, expression):
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True,
                           awaitPromise=True)
        if "exceptionDetails" in result:
            raise RuntimeError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def wait(self, expression):
        """Waits until the expression is true."""
        end = time.monotonic() + 60
        while not self.eval(expression):
            if time.monotonic() > end:
                raise AssertionError("not true within a minute: " + expression)
            time.sleep(0.05)

    def go(self, url):
        self.call("Page.navigate", url=url)
        self.wait(f"location.href === {json.dumps(url)} && document.readyState === 'complete'")

    def complaints(self):
        """What the page did that the browser did not like."""
        found = []
        for event in self.events:
            parameters = event.get("params", {})
            if event.get("method") == "Runtime.exceptionThrown":
                found.append(str(parameters))
            entry = parameters.get("entry", {})
            if event.get("method") == "Log.entryAdded" and entry.get("level") in ("error", "warning"):
                found.append(entry["text"])
        return found


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def wait_for(url):
    end = time.monotonic() + 60
    while True:
        try:
            with urllib.request.urlopen(url) as answer:
                return answer.read()
        except OSError:
            if time.monotonic() > end:
                raise
            time.sleep(0.05)


def check(holds, what):
    if not holds:
        raise AssertionError(what)


def browse(browser, url, screenshot):
    # Without scripts all is there, and the form works.
    browser.call("Emulation.setScriptExecutionDisabled", value=True)
    browser.go(url + "?list=blocked&text=x%40bulk.example")
    root = browser.call("DOM.getDocument", depth=-1)["root"]["nodeId"]
    html = browser.call("DOM.getOuterHTML", nodeId=root)["outerHTML"]
    for part in ("2 of 2 lists loaded", "Found</b>", "<code>reject</code>", "<dt>Line</dt><dd>2</dd>",
                 "<svg"):
        check(part in html, part + " is missing without scripts")
    browser.call("Emulation.setScriptExecutionDisabled", value=False)

    browser.go(url)
    browser.wait("document.getElementById('state').textContent === 'live'")
    # The form answers in place.
    browser.eval("window.stays = true;"
                 "document.querySelector('select').value = 'blocked';"
                 "document.querySelector('input').value = '<i>x@bulk.example';"
                 "document.querySelector('button').click()")
    browser.wait("/Found/.test(document.getElementById('answer').textContent)")
    check(browser.eval("window.stays && !document.querySelector('#answer i')"),
          "the page was loaded again, or shows markup")
    # The page renews itself.
    before = browser.eval("document.getElementById('summary').textContent")
    browser.wait("document.getElementById('summary').textContent !== " + json.dumps(before))

    pictures = []
    for width, scheme in ((1200, "light"), (1200, "dark"), (390, "light"), (390, "dark")):
        browser.call("Emulation.setDeviceMetricsOverride", width=width, height=1100,
                     deviceScaleFactor=1, mobile=False)
        browser.call("Emulation.setEmulatedMedia",
                     features=[{"name": "prefers-color-scheme", "value": scheme}])
        check(browser.eval("document.documentElement.scrollWidth <= innerWidth"),
              f"the page is wider than {width} pixels")
        light = browser.eval("getComputedStyle(document.body).backgroundColor.match(/[0-9]+/)[0] > 128")
        check(light == (scheme == "light"), f"the colours are not those of the {scheme} scheme")
        check(browser.eval("getComputedStyle(document.querySelector('thead')).display === 'none'")
              == (width == 390), f"the table has the wrong form at {width} pixels")
        worst = browser.eval(LEAST_CONTRAST)
        check(worst >= 4.5, f"contrast {worst} in the {scheme} scheme")
        picture = browser.call("Page.captureScreenshot", format="png")["data"]
        pictures.append(base64.b64decode(picture))
    if screenshot:
        Path(screenshot).write_bytes(pictures[0])
        Path(screenshot).with_suffix(".dark.png").write_bytes(pictures[1])
        Path(screenshot).with_suffix(".narrow.png").write_bytes(pictures[2])
    complaints = browser.complaints()
    check(not complaints, f"the browser complains: {complaints}")
    foreign = [event["params"]["request"]["url"] for event in browser.events
               if event.get("method") == "Network.requestWillBeSent"
               and not event["params"]["request"]["url"].startswith((url, "data:", "about:"))]
    check(not foreign, f"the page asks elsewhere: {foreign}")


def main():
    program, browsers = sys.argv[1], Path(sys.argv[2])
    screenshot = sys.argv[3] if len(sys.argv) > 3 else None
    with tempfile.TemporaryDirectory() as name:
        home = Path(name)
        for list_name, text in LISTS.items():
            (home / list_name).write_text(text)
        port = free_port()
        config = home / "kwlookupd.conf"
        config.write_text("[kwlookupd]\nControl = @/control\n[list blocked]\nObjects = file:@/blocked\n"
                          "[list access]\nObjects = file:@/access, lab.example\n"
                          "[door postfix]\nProtocol = socketmap\nAddress = unix:@/maps\n"
                          f"[door web]\nProtocol = http\nAddress = 127.0.0.1:{port}\n"
                          .replace("@", name))
        daemon = subprocess.Popen([program, "--config", str(config)])
        browser = None
        try:
            url = f"http://127.0.0.1:{port}/"
            wait_for(url + "healthz")
            with socket.socket(socket.AF_UNIX) as client:
                client.connect(str(home / "maps"))
                for _ in range(200):
                    for request in (b"22:blocked x@bulk.example,", b"15:access x@y.test,"):
                        client.sendall(request)
                        client.recv(1000)
                time.sleep(11)  # a sample of the history
            browser = Browser(browsers / "root", home)
            browse(browser, url, screenshot)
        finally:
            for process in (browser and browser.process, daemon):
                if process:
                    process.terminate()
                    process.wait()


if __name__ == "__main__":
    main()
