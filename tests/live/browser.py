#!/usr/bin/python3
"""Opens pages in Chromium, without a screen, and reports what happens in them.

  browser.py CHROMIUM test PAGES       the tests of tests/live/new-chart.sh; PAGES has the pages by name
  browser.py CHROMIUM time PAGE        seconds until the first chart is visible, and of a zoom: medians
  browser.py CHROMIUM picture PAGE OUT WIDTH HEIGHT light|dark [SCRIPT]

Chromium is driven over a pipe, so no port is opened.
"""
import base64
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True  # beside this file
from pagetests import box, test


class Browser:
    def __init__(self, program):
        self.folder = tempfile.mkdtemp(prefix="wyrt-browser.")
        to_it, self.out = os.pipe()
        self.source, from_it = os.pipe()

        def place():  # it reads commands from 3 and writes answers to 4
            high = [os.dup2(fd, fd + 100) for fd in (to_it, from_it)]
            os.dup2(high[0], 3)
            os.dup2(high[1], 4)

        self.process = subprocess.Popen(
            [program, "--headless=new", "--remote-debugging-pipe", "--no-sandbox", "--disable-gpu", "--no-first-run",
             "--disable-background-networking", "--disable-component-update", "--disable-dev-shm-usage",
             "--hide-scrollbars", "--user-data-dir=" + self.folder, "about:blank"],
            preexec_fn=place, close_fds=False, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, env={**os.environ, "HOME": self.folder})
        os.close(to_it)
        os.close(from_it)
        self.number, self.rest, self.events = 0, b"", []
        self.session = None
        target = [t for t in self.call("Target.getTargets")["targetInfos"] if t["type"] == "page"][0]
        self.session = self.call("Target.attachToTarget", targetId=target["targetId"], flatten=True)["sessionId"]
        for area in ("Page", "Runtime", "Network", "Log"):
            self.call(area + ".enable")

    def close(self):
        try:
            self.session = None
            self.call("Browser.close")
            self.process.wait(5)
        except (OSError, EOFError, subprocess.TimeoutExpired):
            self.process.kill()
            self.process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)

    def message(self):
        while b"\0" not in self.rest:
            more = os.read(self.source, 1 << 20)
            if not more:
                raise EOFError("the browser has ended")
            self.rest += more
        text, self.rest = self.rest.split(b"\0", 1)
        return json.loads(text)

    def call(self, method, **parameters):
        self.number += 1
        request = {"id": self.number, "method": method, "params": parameters}
        if self.session:
            request["sessionId"] = self.session
        os.write(self.out, json.dumps(request).encode() + b"\0")
        while True:
            answer = self.message()
            if answer.get("id") == self.number:
                if "error" in answer:
                    raise RuntimeError(f"{method}: {answer['error']}")
                return answer["result"]
            if "method" in answer:
                self.events.append(answer)

    def size(self, width, height, dark=False, touch=False):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)
        self.call("Emulation.setEmulatedMedia",
                  features=[{"name": "prefers-color-scheme", "value": "dark" if dark else "light"}])
        self.call("Emulation.setTouchEmulationEnabled", enabled=touch, maxTouchPoints=2)

    def open(self, page):
        self.call("Page.navigate", url="about:blank")  # so that another place in the same page is opened anew
        self.events = []
        place, _, hash_ = page.partition("#")
        self.call("Page.navigate", url="file://" + os.path.abspath(place) + (hash_ and "#" + hash_))
        for _ in range(400):  # 20 s
            try:
                if self.run("""location.protocol === 'file:' && document.readyState === 'complete' &&
                        (document.querySelector('.graph canvas') !== null || document.querySelector('figure') === null)"""):
                    break
            except RuntimeError:  # the page before it has just gone
                pass
            time.sleep(0.05)
        self.wait()

    def run(self, script):
        """The value of an expression in the page, which may be a promise."""
        answer = self.call("Runtime.evaluate", expression=script, awaitPromise=True, returnByValue=True)
        if "exceptionDetails" in answer:
            raise RuntimeError(answer["exceptionDetails"].get("exception", {}).get("description", script))
        return answer["result"].get("value")

    def wait(self):
        """Until what has been asked of the page is drawn."""
        self.run("new Promise(done => requestAnimationFrame(() => requestAnimationFrame(() => setTimeout(done, 60))))")

    def troubles(self):
        """Errors, and requests for anything but the page itself."""
        found = []
        for event in self.events:
            method, values = event["method"], event["params"]
            if method == "Runtime.exceptionThrown":
                found.append("exception: " + str(values["exceptionDetails"].get("exception", {}).get("description")))
            if method == "Runtime.consoleAPICalled" and values["type"] in ("error", "warning", "assert"):
                found.append("console: " + str([a.get("value") for a in values["args"]]))
            if method == "Log.entryAdded" and values["entry"]["level"] in ("error", "warning"):
                found.append("log: " + values["entry"]["text"])
            if method == "Page.javascriptDialogOpening":
                found.append("dialog: " + values["message"])
                self.call("Page.handleJavaScriptDialog", accept=True)
            if method == "Network.requestWillBeSent":
                url = values["request"]["url"]
                if not url.startswith(("file:///", "about:")) or not values.get("type") == "Document":
                    found.append("request: " + url[:200])
        return found

    def mouse(self, kind, x, y, **more):
        self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, **more)

    def drag(self, x, y, to_x):
        self.mouse("mouseMoved", x, y)
        self.mouse("mousePressed", x, y, button="left", clickCount=1, buttons=1)
        for i in range(1, 6):
            self.mouse("mouseMoved", x + (to_x - x) * i / 5, y, button="left", buttons=1)
        self.mouse("mouseReleased", to_x, y, button="left", clickCount=1)
        self.wait()

    def key(self, key, shift=False):
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=key, modifiers=8 if shift else 0,
                      **({"text": key} if kind == "keyDown" and len(key) == 1 else {}))
        self.wait()

    def picture(self, out):
        with open(out, "wb") as file:
            file.write(base64.b64decode(self.call("Page.captureScreenshot", format="png")["data"]))


# --- Figures and pictures

def measure(browser, page):
    """Seconds from the start of the navigation until the first chart is on the screen, and of a zoom, of which there are twenty."""
    browser.size(1400, 1000)
    browser.call("Page.addScriptToEvaluateOnNewDocument", source="""
        new MutationObserver((list, observer) => { if (!document.querySelector('.graph canvas')) return;
            observer.disconnect(); requestAnimationFrame(() => setTimeout(() => { window.shownAfter = performance.now(); })); })
            .observe(document, { childList: true, subtree: true });""")
    shown, zooms = [], []
    for _ in range(3):
        browser.open(page)
        shown.append(browser.run("""new Promise(done => { const look = () => window.shownAfter
            ? done(window.shownAfter) : setTimeout(look, 20); look(); })""") / 1000)
    box(browser)
    browser.wait()
    for button in 2 * ["closer", "later", "closer", "earlier", "closer", "wider", "wider", "later", "whole", "closer"]:
        zooms.append(browser.run(f"""new Promise(done => {{ const start = performance.now();
            document.getElementById('{button}').click();
            requestAnimationFrame(() => setTimeout(() => done(performance.now() - start))); }})""") / 1000)
    return sorted(shown)[1], sorted(zooms)[10]


def main():
    program, task, page = sys.argv[1:4]
    browser = Browser(program)
    try:
        if task == "test":
            test(browser, page)
        elif task == "time":
            print("%.3f %.3f" % measure(browser, page))
        elif task == "picture":
            browser.size(int(sys.argv[5]), int(sys.argv[6]), dark=sys.argv[7] == "dark")
            browser.open(page)
            if len(sys.argv) > 8:
                browser.run(sys.argv[8])
                browser.wait()
            browser.picture(sys.argv[4])
            for trouble in browser.troubles():
                print(trouble)
    finally:
        browser.close()


if __name__ == "__main__":
    main()
