"""Downloads objects over several connections at once, each verified before it gets its place. What has
arrived of an object is kept in a file of its own, and the next attempt goes on behind it."""

from __future__ import annotations

import collections
import contextlib
import hashlib
import os
import threading
import time
import zlib

from fetch import Attempts, Failure, connect
from release import BLOCK_SIZE, Fault, percent
from store import remove

PROGRESS_INTERVAL = 0.12  # seconds between two lines
WORTHWHILE = 1 << 16  # bytes after which an object's attempts are counted anew


class Stopped(Exception):
    """Another thread has failed, or the updater has been asked to end."""


class Download:
    def __init__(self, config, parts, targets, say, product):
        """parts: a folder; targets: where each object belongs."""
        self.config, self.parts, self.say, self.product = config, parts, say, product
        self.targets = targets
        # Large ones first, or the last one would keep a single connection busy.
        self.waiting = collections.deque(sorted(targets, key=lambda content: -content.wire_size))
        self.total = sum(content.wire_size for content in targets)
        self.received = sum(min(self.size_of_part(content), content.wire_size) for content in targets)
        self.shown, self.said = -1, 0.0
        self.lock = threading.Lock()
        self.stop = threading.Event()
        self.connections, self.notes, self.errors = [], collections.deque(), []

    def part(self, content):
        return os.path.join(self.parts, os.path.basename(content.name))

    def size_of_part(self, content):
        with contextlib.suppress(OSError):
            return os.path.getsize(self.part(content))
        return 0

    def space_needed(self):
        """Bytes of the disk. What is packed is there twice while it is being unpacked."""
        packed = sorted(content.wire_size for content in self.targets if content.is_packed)
        return (sum(content.size for content in self.targets) - self.received
                + sum(packed[-self.config.connections:]))

    def run(self):
        count = min(self.config.connections, len(self.targets))
        threads = [threading.Thread(target=self.work, daemon=True) for _ in range(count)]
        try:
            for thread in threads:
                thread.start()
            for thread in threads:
                while thread.is_alive():
                    self.report()
                    thread.join(PROGRESS_INTERVAL)
        finally:
            self.stop.set()
            for connection in self.connections:
                connection.abort()
            for thread in threads:
                if thread.ident:
                    thread.join(2)
            self.report()
        if self.errors:
            raise self.errors[0]

    def report(self):
        while self.notes:
            self.say(self.notes.popleft())
        now = percent(self.received, self.total)
        if now > self.shown and (now == 100 or time.monotonic() > self.said + PROGRESS_INTERVAL):
            self.shown, self.said = now, time.monotonic()
            self.say(f"Downloading {self.product}: {now}%")

    # --- What the threads do ---

    def work(self):
        connection = connect(self.config)
        self.connections.append(connection)
        try:
            while self.waiting and not self.stop.is_set():
                with contextlib.suppress(IndexError):  # another one was faster
                    self.fetch(connection, self.waiting.popleft())
        except Stopped:
            pass
        except BaseException as error:  # for the main thread
            self.errors.append(error)
            self.stop.set()
        finally:
            connection.close()

    def fetch(self, connection, content):
        attempts = Attempts(self.notes.append, self.pause)
        while True:
            try:
                return self.attempt(connection, content, attempts)
            except (Failure, Fault) as error:
                if self.stop.is_set():
                    raise Stopped from error
                if isinstance(error, Fault):
                    self.count(-self.size_of_part(content))
                    remove(self.part(content))
                attempts.failed(error)

    def pause(self, seconds):
        if self.stop.wait(seconds):
            raise Stopped

    def count(self, size):
        with self.lock:
            self.received += size

    def attempt(self, connection, content, attempts):
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
                if self.stop.is_set():
                    raise Stopped
            if at != content.wire_size:
                raise Fault(f"{content.name} has the wrong length")
            if content.is_packed:
                part.seek(0)
                unpacked = self.part(content) + ".unpacked"
                unpack(part, unpacked, content)
            elif hasattr(os, "posix_fadvise"):  # begins to write, so that the end need not wait long
                part.flush()
                os.posix_fadvise(part.fileno(), 0, 0, os.POSIX_FADV_DONTNEED)
        if content.is_packed:
            os.replace(unpacked, self.targets[content])
            os.unlink(part.name)
        elif digest.hexdigest() == content.sha256:
            os.replace(part.name, self.targets[content])
        else:
            raise Fault(f"{content.name} has another hash")


def unpack(source, path, content):
    with open(path, "wb") as target:
        for block in unpacked_blocks(source, content):
            target.write(block)


def unpacked_blocks(source, content):
    """What is compressed in a file, never more of it than there may be, and its end only if it has the
    right hash."""
    unpacker, digest, left = zlib.decompressobj(), hashlib.sha256(), content.size
    try:
        while not unpacker.eof:
            packed = unpacker.unconsumed_tail or source.read(BLOCK_SIZE)
            block = unpacker.decompress(packed, BLOCK_SIZE)
            left -= len(block)
            if left < 0 or not (block or packed):
                break
            digest.update(block)
            yield block
    except zlib.error as error:
        raise Fault(f"{content.name} cannot be unpacked ({error})") from error
    if left or not unpacker.eof or digest.hexdigest() != content.sha256:
        raise Fault(f"{content.name} has another content")
