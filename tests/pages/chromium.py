"""Drives a headless Chromium through a pair of pipes (DevTools protocol), with the standard library.

    with Chromium("/usr/bin/chromium-headless-shell") as browser:
        page = browser.open("file:///tmp/run.html")
        page.until("performance.getEntriesByName('tavrin-lanes').length")

Every wait has an end; the browser and its processes are gone when the block is left.
"""
import base64
import json
import os
import select
import signal
import struct
import subprocess
import sys
import tempfile
import time
import zlib

# Gives the browser the descriptors 3 and 4, whatever the numbers of ours.
LAUNCH = """import fcntl, os, sys
low, high = (fcntl.fcntl(int(fd), fcntl.F_DUPFD, 10) for fd in sys.argv[1:3])
os.dup2(low, 3), os.dup2(high, 4)
os.execv(sys.argv[3], sys.argv[3:])"""

KEYS = {"ArrowLeft": 37, "ArrowUp": 38, "ArrowRight": 39, "ArrowDown": 40, "Enter": 13, "Escape": 27,
        "Home": 36, "End": 35, "Tab": 9, " ": 32, "+": 187, "-": 189}


class BrowserError(Exception):
    pass


def first_row(png):
    """The colours of the first row of a PNG image of 8 bits without interlace."""
    at, packed, header = 8, b"", None
    while at < len(png):
        length, kind = struct.unpack(">I4s", png[at:at + 8])
        if kind == b"IHDR":
            header = struct.unpack(">IIBBBBB", png[at + 8:at + 21])
        elif kind == b"IDAT":
            packed += png[at + 8:at + 8 + length]
        at += length + 12
    size = {2: 3, 6: 4}[header[3]]
    data = zlib.decompress(packed)
    kind, row = data[0], bytearray(data[1:1 + header[0] * size])
    # Without a row above, "up" adds nothing, "Paeth" is "left", and "average" halves the left one.
    for at in range(size, len(row)):
        if kind in (1, 4):
            row[at] = row[at] + row[at - size] & 255
        elif kind == 3:
            row[at] = row[at] + row[at - size] // 2 & 255
    return ["#" + row[at:at + 3].hex() for at in range(0, len(row), size)]


class Chromium:
    def __init__(self, program, *extra, timeout=60):
        self.timeout = timeout
        self.folder = tempfile.TemporaryDirectory(prefix="tavrin-page-")
        ours_in, theirs_out = os.pipe()
        theirs_in, ours_out = os.pipe()
        self.reading, self.writing = ours_in, ours_out
        options = ["--headless", "--remote-debugging-pipe", f"--user-data-dir={self.folder.name}",
                   "--no-first-run", "--disable-gpu", "--hide-scrollbars", "--mute-audio",
                   "--disable-dev-shm-usage", "--force-color-profile=srgb",
                   *extra]
        if os.geteuid() == 0:
            options.append("--no-sandbox")
        self.log = open(os.path.join(self.folder.name, "log"), "wb")
        self.process = subprocess.Popen(
            [sys.executable, "-c", LAUNCH, str(theirs_in), str(theirs_out), program, *options],
            pass_fds=(theirs_in, theirs_out), stdin=subprocess.DEVNULL, stdout=self.log,
            stderr=self.log, start_new_session=True)
        os.close(theirs_in)
        os.close(theirs_out)
        self.buffer = b""
        self.last_id = 0
        self.pages = {}

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()
        for descriptor in (self.reading, self.writing):
            os.close(descriptor)
        self.log.close()
        self.folder.cleanup()

    def send(self, method, params, session):
        self.last_id += 1
        message = {"id": self.last_id, "method": method, "params": params}
        if session:
            message["sessionId"] = session
        data = json.dumps(message).encode() + b"\0"
        while data:
            data = data[os.write(self.writing, data):]
        return self.last_id

    def receive(self, deadline):
        """The next message; None when there is none until the deadline."""
        while b"\0" not in self.buffer:
            left = deadline - time.monotonic()
            if left <= 0 or not select.select([self.reading], [], [], left)[0]:
                return None
            data = os.read(self.reading, 1 << 20)
            if not data:
                raise BrowserError(f"the browser ended (status {self.process.poll()})")
            self.buffer += data
        line, self.buffer = self.buffer.split(b"\0", 1)
        message = json.loads(line)
        page = self.pages.get(message.get("sessionId"))
        if page and "method" in message:
            page.note(message["method"], message["params"])
        return message

    def call(self, method, session=None, **params):
        sent = self.send(method, params, session)
        deadline = time.monotonic() + self.timeout
        while True:
            message = self.receive(deadline)
            if message is None:
                raise BrowserError(f"{method}: no answer in {self.timeout} s")
            if message.get("id") == sent:
                if "error" in message:
                    raise BrowserError(f"{method}: {message['error']['message']}")
                return message["result"]

    def open(self, address, width=1280, height=900, before="", media=None):
        """Opens a page in a context of its own; `before` is a script that runs ahead of its own."""
        context = self.call("Target.createBrowserContext")["browserContextId"]
        target = self.call("Target.createTarget", url="about:blank", browserContextId=context)
        session = self.call("Target.attachToTarget", targetId=target["targetId"], flatten=True)
        page = Page(self, session["sessionId"], target["targetId"])
        self.pages[page.session] = page
        page.prepare(width, height, before, media or {})
        page.go(address)
        return page


class Page:
    # Refusals of the content security policy, and calls that would ask for something.
    WATCH = """window.refused = [];
        addEventListener("securitypolicyviolation", (event) =>
          window.refused.push(`${event.violatedDirective} ${event.blockedURI} ${event.sample}`));"""

    def __init__(self, browser, session, target):
        self.browser, self.session, self.target = browser, session, target
        self.problems, self.requests = [], []
        self.loaded = False

    def call(self, method, **params):
        return self.browser.call(method, self.session, **params)

    def prepare(self, width, height, before, media):
        for domain in ("Page", "Runtime", "Log", "Network"):
            self.call(domain + ".enable")
        self.resize(width, height)
        self.media(**media)
        self.call("Page.addScriptToEvaluateOnNewDocument", source=self.WATCH + before)

    def note(self, method, params):
        if method == "Runtime.exceptionThrown":
            details = params["exceptionDetails"]
            self.problems.append(details.get("exception", {}).get("description", details["text"]))
        elif method == "Runtime.consoleAPICalled":
            if params["type"] in ("error", "warning", "assert"):
                self.problems.append(" ".join(str(one.get("value", one.get("description")))
                                              for one in params["args"]))
        elif method == "Log.entryAdded" and params["entry"]["level"] in ("error", "warning"):
            self.problems.append(params["entry"]["text"])
        elif method == "Network.requestWillBeSent":
            self.requests.append(params["request"]["url"])
        elif method == "Page.loadEventFired":
            self.loaded = True

    def go(self, address):
        self.loaded = False
        answer = self.call("Page.navigate", url=address)
        if "errorText" in answer:
            raise BrowserError(f"{address}: {answer['errorText']}")
        deadline = time.monotonic() + self.browser.timeout
        while not self.loaded:
            if self.browser.receive(deadline) is None:
                raise BrowserError(f"{address} was not loaded in {self.browser.timeout} s")

    def evaluate(self, expression):
        """The value of an expression, or of what its promise becomes."""
        answer = self.call("Runtime.evaluate", expression=expression, returnByValue=True,
                           awaitPromise=True)
        if "exceptionDetails" in answer:
            details = answer["exceptionDetails"]
            raise BrowserError(details.get("exception", {}).get("description", details["text"]))
        return answer["result"].get("value")

    def until(self, expression, seconds=10):
        """Waits until the expression, or what its promise becomes, is true."""
        deadline = time.monotonic() + seconds
        while not self.evaluate(f"Promise.resolve({expression}).then(Boolean)"):
            if time.monotonic() > deadline:
                raise BrowserError(f"not true in {seconds} s: {expression}")
            self.frames(2)

    def frames(self, count=2):
        """Lets the page draw."""
        self.evaluate(f"""new Promise((done) => {{
            let left = {count};
            const next = () => left-- > 0 ? requestAnimationFrame(next) : done();
            next(); }})""")

    def resize(self, width, height, scale=1):
        self.call("Emulation.setDeviceMetricsOverride", width=width, height=height,
                  deviceScaleFactor=scale, mobile=False)

    def media(self, **features):
        """`scheme="dark"`, `motion="reduce"`"""
        names = {"scheme": "prefers-color-scheme", "motion": "prefers-reduced-motion"}
        self.call("Emulation.setEmulatedMedia", features=[
            {"name": names[name], "value": value} for name, value in features.items()])

    def box(self, selector):
        """Left, top, width and height of an element on the screen, scrolled to if need be."""
        return self.evaluate(f"""(() => {{
            const found = document.querySelector({json.dumps(selector)});
            if (!found) return null;
            found.scrollIntoView({{block: "nearest"}});
            const box = found.getBoundingClientRect();
            return [box.left, box.top, box.width, box.height]; }})()""")

    def mouse(self, kind, x, y, **params):
        self.call("Input.dispatchMouseEvent", type=kind, x=x, y=y, **params)

    def click(self, x, y, modifiers=0):
        self.mouse("mouseMoved", x, y)
        for kind in ("mousePressed", "mouseReleased"):
            self.mouse(kind, x, y, button="left", clickCount=1, modifiers=modifiers)
        self.frames()

    def press(self, selector):
        """A click on the middle of an element."""
        left, top, width, height = self.box(selector)
        self.click(left + width / 2, top + height / 2)

    def drag(self, start, end):
        self.mouse("mouseMoved", *start)
        self.mouse("mousePressed", *start, button="left", buttons=1, clickCount=1)
        for step in range(1, 9):
            self.mouse("mouseMoved", *(a + (b - a) * step / 8 for a, b in zip(start, end)),
                       button="left", buttons=1)
        self.mouse("mouseReleased", *end, button="left", clickCount=1)
        self.frames()

    def key(self, name, modifiers=0):
        text = {"text": name} if len(name) == 1 else {"text": "\r"} if name == "Enter" else {}
        code = KEYS.get(name, ord(name[0].upper()))
        for kind in ("keyDown", "keyUp"):
            self.call("Input.dispatchKeyEvent", type=kind, key=name, windowsVirtualKeyCode=code,
                      modifiers=modifiers, **(text if kind == "keyDown" else {}))
        self.frames()

    def write(self, text):
        self.call("Input.insertText", text=text)
        self.frames()

    def screenshot(self, path, whole=True):
        shot = self.call("Page.captureScreenshot", format="png", captureBeyondViewport=whole)
        with open(path, "wb") as file:
            file.write(base64.b64decode(shot["data"]))

    def colors(self, x, y, width=1):
        """The colours of pixels of the screen from (x, y) to the right, "#rrggbb" each."""
        clip = {"x": x, "y": y, "width": width, "height": 1, "scale": 1}
        shot = self.call("Page.captureScreenshot", format="png", clip=clip)
        return first_row(base64.b64decode(shot["data"]))

    def pdf(self):
        return base64.b64decode(self.call("Page.printToPDF", printBackground=False,
                                          preferCSSPageSize=True)["data"])

    def close(self):
        self.browser.call("Target.closeTarget", targetId=self.target)
        self.browser.pages.pop(self.session, None)
