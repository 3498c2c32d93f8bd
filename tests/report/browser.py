"""Headless Chromium, driven through the DevTools protocol over a pair of pipes: no port, no library."""

import base64
import json
import os
import select
import shutil
import signal
import subprocess
import tempfile
import time

PATIENCE = 30  # seconds for an answer of the browser, which starts slowly on a busy machine

OPTIONS = [
    "--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--no-default-browser-check",
    "--disable-background-networking", "--disable-component-update", "--disable-sync", "--disable-extensions",
    "--disable-dev-shm-usage", "--host-resolver-rules=MAP * ~NOTFOUND", "--remote-debugging-pipe",
]


def find():
    """The browser's program, or None."""
    return shutil.which("chromium")


class BrowserError(Exception):
    pass


class Browser:
    """One browser with one page. Ends the processes it started, by the id of their group."""

    def __init__(self):
        self.profile = tempfile.TemporaryDirectory(prefix="vok-browser-", ignore_cleanup_errors=True)
        to_browser, self._out = os.pipe()
        self._in, from_browser = os.pipe()
        # The browser reads from descriptor 3 and writes to 4.
        command = [find(), *OPTIONS, f"--user-data-dir={self.profile.name}", "about:blank"]
        shell = ["/bin/sh", "-c", f'exec "$@" 3<&{to_browser} 4>&{from_browser}', "sh", *command]
        self._process = subprocess.Popen(
            shell, pass_fds=(to_browser, from_browser), stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL, start_new_session=True, env={**os.environ, "HOME": self.profile.name})
        os.close(to_browser)
        os.close(from_browser)
        self._number = 0
        self._buffer = b""
        self._session = None
        self.events = []
        target = self.call("Target.createTarget", url="about:blank")["targetId"]
        self._session = self.call("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        for domain in ("Page", "Runtime", "Network", "Log", "Accessibility"):
            self.call(f"{domain}.enable")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        for descriptor in (self._out, self._in):
            os.close(descriptor)
        for number in (signal.SIGTERM, signal.SIGKILL):
            try:
                os.killpg(self._process.pid, number)
            except ProcessLookupError:
                break
            try:
                self._process.wait(3)
            except subprocess.TimeoutExpired:
                continue
        self._process.wait()
        self.profile.cleanup()

    def call(self, method, **parameters):
        """The result of a command."""
        self._number += 1
        message = {"id": self._number, "method": method, "params": parameters}
        if self._session:
            message["sessionId"] = self._session
        self._send(json.dumps(message).encode() + b"\0")
        answer = self._await(lambda each: each.get("id") == self._number, method)
        if "error" in answer:
            raise BrowserError(f"{method}: {answer['error']}")
        return answer["result"]

    def _send(self, data):
        while data:
            data = data[os.write(self._out, data):]

    def _await(self, is_wanted, what):
        deadline = time.monotonic() + PATIENCE
        while True:
            message = self._receive(deadline, what)
            if is_wanted(message):
                return message
            if "method" in message:
                self.events.append(message)

    def _receive(self, deadline, what):
        while b"\0" not in self._buffer:
            left = deadline - time.monotonic()
            if left <= 0 or not select.select([self._in], [], [], left)[0]:
                raise BrowserError(f"no answer within {PATIENCE} s: {what}")
            more = os.read(self._in, 1 << 20)
            if not more:
                raise BrowserError(f"the browser has ended: {what}")
            self._buffer += more
        message, self._buffer = self._buffer.split(b"\0", 1)
        return json.loads(message)

    # --- the page ---

    def open(self, url, width=1600, height=1000, dark=False):
        """Loads the page in a window of this size. Earlier events are forgotten."""
        self.resize(width, height, dark)
        self.events = []
        self.call("Page.navigate", url=url)
        if not any(each["method"] == "Page.loadEventFired" for each in self.events):
            self.events.append(self._await(lambda each: each.get("method") == "Page.loadEventFired", "load"))

    def resize(self, width, height=1000, dark=False):
        """Gives the window this size and theme."""
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1,
                  mobile=False)
        self.call("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"},
            {"name": "prefers-reduced-motion", "value": "reduce"}])

    def value(self, expression):
        """The value of a JavaScript expression in the page."""
        result = self.call("Runtime.evaluate", expression=expression, returnByValue=True, awaitPromise=True)
        if "exceptionDetails" in result:
            raise BrowserError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def press(self, key):
        """One key, as from the keyboard."""
        codes = {"Tab": 9, "Enter": 13, "ArrowRight": 39, "ArrowLeft": 37, "End": 35}
        parameters = {"key": key, "code": key, "windowsVirtualKeyCode": codes[key]}
        if key == "Enter":  # a key that produces a character
            self.call("Input.dispatchKeyEvent", type="keyDown", text="\r", **parameters)
        else:
            self.call("Input.dispatchKeyEvent", type="rawKeyDown", **parameters)
        self.call("Input.dispatchKeyEvent", type="keyUp", **parameters)

    def type(self, text):
        self.call("Input.insertText", text=text)

    def complaints(self):
        """What the page wrote to the console, uncaught exceptions, and entries of the browser's log."""
        self.value("1")  # what happened before it has been reported
        names = ("Runtime.consoleAPICalled", "Runtime.exceptionThrown", "Log.entryAdded")
        return [each for each in self.events if each["method"] in names]

    def requests(self):
        """The address of each request since the page was opened."""
        self.value("1")
        sent = [each["params"] for each in self.events if each["method"] == "Network.requestWillBeSent"]
        return [each["request"]["url"] for each in sent]

    def accessibility(self):
        """The nodes of the accessibility tree that are not ignored."""
        return [node for node in self.call("Accessibility.getFullAXTree")["nodes"] if not node.get("ignored")]

    def screenshot(self, file, height_limit=6000):
        height = min(height_limit, int(self.value("document.documentElement.scrollHeight")))
        width = int(self.value("innerWidth"))
        clip = {"x": 0, "y": 0, "width": width, "height": height, "scale": 1}
        data = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=True, clip=clip)["data"]
        with open(file, "wb") as target:
            target.write(base64.b64decode(data))
