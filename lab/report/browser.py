"""Opens the page in headless Chromium: a cell opens, nothing is fetched, nothing complains; pictures are kept."""

import base64
import contextlib
import json
import os
import select
import shutil
import subprocess
import tempfile
import time

from report import runner

LIMIT = 60  # seconds for an answer
LOOK = runner.ROOT / "lab/report/look.js"
OPTIONS = ("--headless", "--no-sandbox", "--disable-gpu", "--disable-background-networking", "--disable-extensions",
           "--disable-component-update", "--disable-sync", "--no-first-run", "--remote-debugging-pipe")


def look_at(html):
    """Prints what was seen; the exit code is 1 when something is wrong with the page."""
    if not shutil.which("chromium"):
        raise runner.UsageError("chromium is missing; ./dev lab --html installs it")
    with chromium() as browser:
        problems = views(browser, html)
    for problem in problems:
        print(f"  page: {problem}")
    print(f"the page was opened in Chromium, {len(problems)} problem{'s' if len(problems) != 1 else ''}; "
          f"pictures: {html.relative_to(runner.ROOT).with_suffix('')}*.png")
    return 1 if problems else 0


def views(browser, html):
    """The page as different readers see it; what is wrong with it."""
    address = html.as_uri()
    problems = []
    for name, width, scheme, cell in (("", 1440, "light", False), ("-dark", 1440, "dark", False),
                                      ("-narrow", 400, "light", False), ("-cell", 1440, "light", True),
                                      ("-cell-dark", 1440, "dark", True), ("-cell-narrow", 400, "dark", True)):
        browser.call("Emulation.setDeviceMetricsOverride", width=width, height=900, deviceScaleFactor=1, mobile=False)
        browser.call("Emulation.setEmulatedMedia", media="screen",
                     features=[{"name": "prefers-color-scheme", "value": scheme}])
        browser.open(address)
        if cell:
            browser.evaluate("openCell()", LOOK.read_text())
        seen = browser.evaluate("look()", LOOK.read_text())
        problems += [f"{problem} ({width} pixels, {scheme})" for problem in seen]
        picture = browser.call("Page.captureScreenshot", captureBeyondViewport=True)
        html.with_name(f"{html.stem}{name}.png").write_bytes(base64.b64decode(picture["data"]))
    browser.call("Emulation.setEmulatedMedia", media="", features=[])
    printed = browser.call("Page.printToPDF", preferCSSPageSize=True, printBackground=True)
    html.with_suffix(".pdf").write_bytes(base64.b64decode(printed["data"]))
    fetched = {asked for asked in browser.requests
               if asked.split("#")[0] not in (address, "about:blank") and not asked.startswith("data:")}
    return problems + [f"fetched {asked}" for asked in sorted(fetched)] + browser.complaints


@contextlib.contextmanager
def chromium():
    """A browser of its own, with a profile that goes with it."""
    to_browser, our_end = os.pipe()
    from_browser, its_end = os.pipe()
    with tempfile.TemporaryDirectory(dir=runner.LAB) as profile:
        # Chromium reads commands from descriptor 3 and answers on 4.
        process = subprocess.Popen(
            ["bash", "-c", f'exec chromium "$@" 3<&{to_browser} 4>&{its_end}', "chromium", *OPTIONS,
             f"--user-data-dir={profile}", "about:blank"], pass_fds=(to_browser, its_end),
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(to_browser)
        os.close(its_end)
        try:
            yield Browser(our_end, from_browser)
        finally:
            os.close(our_end)  # ends the browser
            process.wait(LIMIT)
            os.close(from_browser)


class Browser:
    """One page of a browser that is driven through a pipe by the DevTools protocol."""

    def __init__(self, writer, reader):
        self.writer, self.reader = writer, reader
        self.buffer, self.number, self.session = b"", 0, None
        self.requests, self.complaints, self.loaded = [], [], False
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self.session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(f"{domain}.enable")

    def call(self, method, **parameters):
        """Sends a command and waits for its answer."""
        self.number += 1
        command = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            command["sessionId"] = self.session
        os.write(self.writer, json.dumps(command).encode() + b"\0")
        while True:
            message = self.receive()
            if message.get("id") == self.number:
                if "error" in message:
                    raise RuntimeError(f"{method}: {message['error']['message']}")
                return message["result"]

    def receive(self):
        """The next message; an event is noted."""
        until = time.monotonic() + LIMIT
        while b"\0" not in self.buffer:
            if not select.select([self.reader], [], [], max(0, until - time.monotonic()))[0]:
                raise RuntimeError(f"Chromium did not answer within {LIMIT} s")
            piece = os.read(self.reader, 1 << 20)
            if not piece:
                raise RuntimeError("Chromium ended")
            self.buffer += piece
        text, self.buffer = self.buffer.split(b"\0", 1)
        message = json.loads(text)
        self.note(message.get("method"), message.get("params", {}))
        return message

    def note(self, event, details):
        """What the page asked for and what it complained about."""
        if event == "Network.requestWillBeSent":
            self.requests.append(details["request"]["url"])
        elif event == "Runtime.consoleAPICalled" and details["type"] in ("error", "warning", "assert"):
            self.complaints.append(f"console: {details['args'][0].get('value')}")
        elif event == "Log.entryAdded" and details["entry"]["level"] in ("error", "warning"):
            self.complaints.append(f"log: {details['entry']['text']}")
        elif event == "Runtime.exceptionThrown":
            self.complaints.append(f"exception: {details['exceptionDetails']['text']}")
        elif event == "Page.loadEventFired":
            self.loaded = True

    def open(self, address):
        """Loads a page anew, also where it would only move to another place in it."""
        for each in ("about:blank", address):
            self.loaded = False
            if "errorText" in self.call("Page.navigate", url=each):
                raise RuntimeError(f"Chromium cannot open {each}")
            while not self.loaded:
                self.receive()

    def evaluate(self, expression, script=""):
        """The value of an expression in the page."""
        answer = self.call("Runtime.evaluate", expression=f"{script}\n{expression}", returnByValue=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(f"{expression}: {answer['exceptionDetails']['exception']['description']}")
        return answer["result"].get("value")
