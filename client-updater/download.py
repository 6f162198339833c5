"""Downloads objects over several connections at once, and verifies each before it gets its name. An
incomplete object is kept in a file of its own, and the next attempt continues it."""

from __future__ import annotations

import collections
import contextlib
import hashlib
import os
import threading
import time
import zlib

from fetch import Attempts, connect
from release import BLOCK_SIZE, Fault, percent
from store import remove

PROGRESS_INTERVAL = 0.12  # seconds between two lines
WORTHWHILE = 1 << 16  # after this many bytes, an object's attempts are counted from 0 again


class Download:
    def __init__(self, config, parts, targets):
        """parts: the folder of incomplete objects; targets: the path of each object."""
        self.config, self.parts, self.targets = config, parts, targets
        # Large objects first: a large one at the end would leave the other connections idle.
        self.waiting = collections.deque(sorted(targets, key=lambda content: -content.wire_size))
        self.total = sum(content.wire_size for content in targets)
        self.received = sum(map(self.size_of_part, targets))
        self.lock = threading.Lock()
        self.notes, self.errors = collections.deque(), []

    def part(self, content):
        return os.path.join(self.parts, os.path.basename(content.name))

    def size_of_part(self, content):
        with contextlib.suppress(OSError):
            return min(os.path.getsize(self.part(content)), content.wire_size)
        return 0

    def space_needed(self):
        """Bytes on the disk. While a packed object is unpacked, it needs space for both forms."""
        packed = sorted(content.wire_size for content in self.targets if content.is_packed)
        return (sum(content.size for content in self.targets) - self.received
                + sum(packed[-self.config.connections:]))

    def run(self, say, say_percent):
        """After an error, the threads are not stopped: they end with the process."""
        count = min(self.config.connections, len(self.targets))
        threads = [threading.Thread(target=self.work, daemon=True) for _ in range(count)]
        shown, said = -1, 0.0
        for thread in threads:
            thread.start()
        while True:
            running = [thread for thread in threads if thread.is_alive()]
            now = percent(self.received, self.total)
            while self.notes:
                say(self.notes.popleft())
            if self.errors:
                raise self.errors[0]
            if now > shown and (not running or time.monotonic() > said + PROGRESS_INTERVAL):
                shown, said = now, time.monotonic()
                say_percent(now)
            if not running:
                return
            running[0].join(PROGRESS_INTERVAL)

    # --- In the threads ---

    def work(self):
        try:
            with contextlib.closing(connect(self.config)) as connection:
                while True:
                    try:
                        content = self.waiting.popleft()
                    except IndexError:
                        break
                    self.fetch(connection, content)
        except BaseException as error:  # the main thread raises it
            self.errors.append(error)

    def fetch(self, connection, content):
        def attempt():
            try:
                self.receive(connection, content, attempts)
            except Fault:
                self.count(-self.size_of_part(content))
                remove(self.part(content))
                raise

        attempts = Attempts(self.notes.append)
        attempts.make(attempt)

    def count(self, size):
        with self.lock:
            self.received += size

    def receive(self, connection, content, attempts):
        with open(self.part(content), "a+b") as part:
            digest, at = hashlib.sha256(), part.tell()
            if at > content.wire_size:
                raise Fault("more was there than there is")
            part.seek(0)
            while block := part.read(BLOCK_SIZE):
                digest.update(block)
            worthwhile = at + WORTHWHILE
            blocks = connection.blocks(content.name, content.wire_size, at, attempts.fresh)
            for place, block in blocks if at < content.wire_size else ():
                if place != at:  # the server begins again
                    part.truncate(0)
                    self.count(-at)
                    digest, at = hashlib.sha256(), place
                part.write(block)
                digest.update(block)
                at += len(block)
                self.count(len(block))
                if at >= worthwhile:
                    attempts.progressed()
            if content.is_packed:
                part.seek(0)
                unpack(part, part.name + ".unpacked", content)
            elif digest.hexdigest() != content.sha256:
                raise Fault(f"{content.name} has another hash")
            elif hasattr(os, "posix_fadvise"):  # begins to write to the disk, so the last sync is short
                part.flush()
                os.posix_fadvise(part.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)
        if content.is_packed:
            os.unlink(part.name)
        os.replace(part.name + ".unpacked" * content.is_packed, self.targets[content])


def unpack(source, path, content):
    """Unpacks to path. Raises a Fault if the content is not the published one; limits its size."""
    unpacker, digest, left = zlib.decompressobj(), hashlib.sha256(), content.size
    try:
        with open(path, "wb") as target:
            while not unpacker.eof and left >= 0:
                packed = unpacker.unconsumed_tail or source.read(BLOCK_SIZE)
                block = unpacker.decompress(packed, BLOCK_SIZE)
                if not (block or packed):
                    break
                left -= len(block)
                digest.update(block)
                target.write(block)
    except zlib.error as error:
        raise Fault(f"{content.name} cannot be unpacked ({error})") from error
    if left or not unpacker.eof or digest.hexdigest() != content.sha256:
        raise Fault(f"{content.name} has another content")
