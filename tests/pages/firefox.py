"""Drives a headless Firefox through its remote control (Marionette), with the standard library."""

import json
import os
import signal
import socket
import subprocess
import tempfile
import time

PREFERENCES = """user_pref("marionette.port", 0);
user_pref("browser.shell.checkDefaultBrowser", false);
user_pref("datareporting.policy.dataSubmissionEnabled", false);
user_pref("toolkit.telemetry.reportingpolicy.firstRun", false);
user_pref("app.update.enabled", false);
user_pref("network.captive-portal-service.enabled", false);
user_pref("network.connectivity-service.enabled", false);
"""


class FirefoxError(Exception):
    pass


class Firefox:
    def __init__(self, program, timeout=60):
        self.timeout = timeout
        self.folder = tempfile.TemporaryDirectory(prefix="tavrin-page-", ignore_cleanup_errors=True)
        profile = os.path.join(self.folder.name, "profile")
        os.mkdir(profile)
        with open(os.path.join(profile, "user.js"), "w") as file:
            file.write(PREFERENCES)
        self.process = subprocess.Popen(
            [program, "--headless", "--marionette", "--no-remote",
             "-remote-allow-system-access", "--profile", profile],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
            start_new_session=True, env={**os.environ, "HOME": self.folder.name})
        self.socket, self.last_id, self.buffer = None, 0, b""
        try:
            self.connect(os.path.join(profile, "MarionetteActivePort"))
            self.call("WebDriver:NewSession")
        except BaseException:
            self.__exit__()
            raise

    def connect(self, port_file):
        deadline = time.monotonic() + self.timeout
        while True:
            try:
                with open(port_file) as file:
                    port = int(file.read())
                self.socket = socket.create_connection(("127.0.0.1", port), self.timeout)
                self.receive()
                return
            except (OSError, ValueError):
                if time.monotonic() > deadline or self.process.poll() is not None:
                    raise FirefoxError("the browser did not start") from None
                time.sleep(0.05)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.socket:
            self.socket.close()
        try:
            os.killpg(self.process.pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
        self.process.wait()
        self.folder.cleanup()

    def receive(self):
        while b":" not in self.buffer:
            self.fill()
        length, _, self.buffer = self.buffer.partition(b":")
        while len(self.buffer) < int(length):
            self.fill()
        message, self.buffer = self.buffer[:int(length)], self.buffer[int(length):]
        return json.loads(message)

    def fill(self):
        data = self.socket.recv(1 << 16)
        if not data:
            raise FirefoxError("the browser ended")
        self.buffer += data

    def call(self, command, **params):
        self.last_id += 1
        text = json.dumps([0, self.last_id, command, params]).encode()
        self.socket.sendall(str(len(text)).encode() + b":" + text)
        while True:
            _, number, error, result = self.receive()
            if number == self.last_id:
                if error:
                    raise FirefoxError(f"{command}: {error['message']}")
                return result

    def evaluate(self, expression):
        return self.call("WebDriver:ExecuteScript", script=f"return {expression}",
                         args=[])["value"]

    def until(self, expression, seconds=15):
        deadline = time.monotonic() + seconds
        while not (value := self.evaluate(expression)):
            if time.monotonic() > deadline:
                raise FirefoxError(f"not true in {seconds} s: {expression}")
            time.sleep(0.05)
        return value

    def open(self, address):
        self.call("WebDriver:Navigate", url=address)

    def problems(self, name):
        """What the browser's log has about files of this name."""
        self.call("Marionette:SetContext", value="chrome")
        try:
            return self.evaluate(f"""Services.console.getMessageArray()
                .filter((one) => one instanceof Ci.nsIScriptError && !(one.flags & 4))
                .filter((one) => (one.sourceName + one.errorMessage).includes({json.dumps(name)}))
                .map((one) => one.errorMessage)""")
        finally:
            self.call("Marionette:SetContext", value="content")
