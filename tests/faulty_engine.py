"""A time series engine on the loopback that answers as a test wants it to, and keeps what it takes."""

import collections
import contextlib
import gzip
import socket
import ssl
import threading
import time

# Answers that are no HTTP, or not all of it: what is sent, and whether the connection is kept open.
RAW = {
    "close": (b"", False),
    "garbage": (b"\x16\x03\x01 nothing of the kind\r\n\r\n", False),
    "half": (b"HTTP/1.1 204 No Con", False),
    "cut": (b"HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nshort", False),
    "hang": (b"", True),
}


class FaultyEngine:
    """Takes lines at `url`. Each request with lines other than ship's own gets the next of
    `answers`, and 204 when there are no more: a status, a tuple of status, headers and body, one of
    RAW, "slow", "endless", or a function of the text that returns one of these."""

    def __init__(self, answers=(), tls=None, flags=404, port=0, limit=None):
        self.answers = collections.deque(answers)
        self.flags, self.limit = flags, limit
        self.lock = threading.Lock()
        self.requests = []  # (method, path, headers, text, seconds)
        self.lines = collections.Counter()  # that were acknowledged
        self.order = []
        self.own = []
        self.connections = set()
        self.quit = threading.Event()
        self.listener = socket.create_server(("127.0.0.1", port), backlog=64)
        self.port = self.listener.getsockname()[1]
        self.tls = tls
        self.server = f"{'https' if tls else 'http'}://127.0.0.1:{self.port}"
        self.url = self.server + "/write"
        threading.Thread(target=self.accept, daemon=True).start()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.quit.set()
        self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        self.cut()

    def accept(self):
        with contextlib.suppress(OSError):
            while True:
                connection, _ = self.listener.accept()
                with self.lock:
                    self.connections.add(connection)
                threading.Thread(target=self.serve, args=(connection,), daemon=True).start()

    def cut(self, forget=()):
        """Ends every connection as a kill would do, and loses the lines."""
        with self.lock:
            for line in forget:
                del self.lines[line]
            for connection in self.connections:
                with contextlib.suppress(OSError):
                    connection.shutdown(socket.SHUT_RDWR)
            self.connections.clear()

    def serve(self, connection):
        with contextlib.suppress(OSError, ssl.SSLError):
            if self.tls:
                connection = self.tls.wrap_socket(connection, server_side=True)
            with connection, connection.makefile("rb") as stream:
                while self.answer(connection, stream):
                    pass

    def answer(self, connection, stream):
        start = stream.readline().split()
        if len(start) < 2:
            return False
        headers = {}
        while (line := stream.readline().strip()):
            name, _, value = line.partition(b":")
            headers[name.decode().lower()] = value.strip().decode()
        body = stream.read(int(headers.get("content-length", 0)))
        text = gzip.decompress(body).decode() if body else ""
        is_own = text.startswith("tavrin_ship,")
        with self.lock:
            self.requests.append((start[0].decode(), start[1].decode(), headers, text,
                                  time.monotonic()))
            answer = 204
            if start[0] == b"GET":
                answer = self.flags
            elif self.limit and len(text) > self.limit:
                answer = 413
            elif not is_own and self.answers:
                answer = self.answers.popleft()
        answer = answer(text) if callable(answer) else answer
        return self.give(connection, answer, text, is_own)

    def give(self, connection, answer, text, is_own):
        if isinstance(answer, str) and answer in RAW:
            piece, is_kept = RAW[answer]
            connection.sendall(piece)
            if is_kept:
                self.quit.wait(30)
            return False
        if answer in ("slow", "endless"):
            return self.drip(connection, answer)
        status, headers, body = answer if isinstance(answer, tuple) else (answer, {}, "")
        if 200 <= status < 300 and text:
            self.keep(text, is_own)
        lines = [f"HTTP/1.1 {status} Answer"] + [f"{name}: {value}" for name, value in
                                                 headers.items()]
        if status != 204:
            lines.append(f"Content-Length: {len(body)}")
        connection.sendall("\r\n".join([*lines, "", body]).encode())
        return headers.get("Connection") != "close"

    def keep(self, text, is_own):
        with self.lock:
            if is_own:
                self.own.append(text)
                return
            lines = text.splitlines()
            self.lines.update(lines)
            self.order.append(lines[0])

    def drip(self, connection, answer):
        """An answer that says it is fine, but does not end."""
        connection.sendall(b"HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n")
        piece = b"x" * (10000 if answer == "endless" else 1)
        while not self.quit.is_set():
            connection.sendall(b"%x\r\n%s\r\n" % (len(piece), piece))
            if answer == "slow":
                self.quit.wait(0.05)

    def posts(self):
        """The requests with lines other than ship's own."""
        with self.lock:
            return [request for request in self.requests
                    if request[0] == "POST" and not request[3].startswith("tavrin_ship,")]
