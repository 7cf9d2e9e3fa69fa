"""A forwarder of TCP connections that a test can shut, open again, and stop after so many bytes."""

import contextlib
import socket
import threading

from engine import DEADLINE

PIECE = 16384


class Gate:
    """Listens on a port of its own from the start; `passed` counts the bytes sent to the engine."""

    def __init__(self, target):
        self.target = target
        self.passed, self.limit = 0, None
        self.changed = threading.Condition()
        self.pairs = set()
        self.listener = None
        self.port = 0
        self.open()
        self.url = f"http://127.0.0.1:{self.port}"

    def open(self):
        self.listener = socket.create_server(("127.0.0.1", self.port), reuse_port=False)
        self.port = self.listener.getsockname()[1]
        threading.Thread(target=self.accept, args=(self.listener,), daemon=True).start()

    def shut(self):
        """Refuses connections from here on, and cuts those that there are."""
        # Closing alone would leave the thread in accept() and the port taken.
        with contextlib.suppress(OSError):
            self.listener.shutdown(socket.SHUT_RDWR)
        self.listener.close()
        with self.changed:
            pairs, self.pairs = self.pairs, set()
        for pair in pairs:
            self.cut(pair)

    def accept(self, listener):
        with contextlib.suppress(OSError):  # how shut() ends it
            while True:
                client, _ = listener.accept()
                try:
                    pair = (client, socket.create_connection(("127.0.0.1", self.target)))
                except OSError:  # the engine is not there
                    client.close()
                    continue
                with self.changed:
                    self.pairs.add(pair)
                for source, sink in (pair, pair[::-1]):
                    threading.Thread(target=self.pump, args=(pair, source, sink, sink is pair[1]),
                                     daemon=True).start()

    def pump(self, pair, source, sink, counts):
        with contextlib.suppress(OSError):
            while piece := source.recv(PIECE):
                if counts:
                    self.count(len(piece))
                sink.sendall(piece)
        with self.changed:
            self.pairs.discard(pair)
        self.cut(pair)

    @staticmethod
    def cut(pair):
        for end in pair:
            with contextlib.suppress(OSError):
                end.shutdown(socket.SHUT_RDWR)
            end.close()

    def count(self, size):
        """Waits while the limit is reached."""
        with self.changed:
            self.passed += size
            self.changed.notify_all()
            self.changed.wait_for(lambda: self.limit is None or self.passed < self.limit)

    def pass_bytes(self, count, ended=lambda: False):
        """Lets through about so many bytes more and then nothing. Returns false where `ended` became
        true before."""
        with self.changed:
            self.limit = self.passed + count
            self.changed.notify_all()
            for _ in range(DEADLINE * 10):
                if self.changed.wait_for(lambda: self.passed >= self.limit, timeout=0.1):
                    return True
                if ended():
                    return False
        raise AssertionError(f"{self.passed} bytes came within {DEADLINE} s")

    def pass_all(self):
        with self.changed:
            self.limit = None
            self.changed.notify_all()
