"""Reads from the server with the releases. A Folder or a Site is used by one thread.

Both have blocks(name, size, offset, fresh), which yields blocks of the content, each with its position.
The first block begins at offset, or at 0 if the server does not support ranges. size is None if it is not
known; fresh bypasses caches. A Failure is raised when the server gives no usable answer, and a Fault when
the content differs from the published one.
"""

from __future__ import annotations

import contextlib
import http.client
import os
import re
import ssl
import time
from urllib.parse import urljoin, urlsplit

from release import BLOCK_SIZE, MAX_SIZE, Fault, UpdateError, is_loopback, may_ask

REDIRECTS = (301, 302, 303, 307, 308)
MAX_REDIRECTS = 5
WORTH_A_RETRY = (408, 425, 429, 500, 502, 503, 504)
PAUSES = (0.25, 0.5, 1, 2, 4)  # seconds before each further attempt
PATIENCE = 45  # seconds of attempts without progress

UNREACHABLE = "{host} cannot be reached. Check the network connection and try again."
BROKEN_OFF = "The connection to {host} broke off. Try again: what has arrived is kept."
UNTRUSTED = ("The certificate of {host} is not valid. Check the date of this computer, or try another "
             "network.")
REFUSED = "{host} refuses the download. Try again later."
MISSING = "{host} does not have the files of the release. Try again later."
REDIRECTED = "{host} leads to an unsafe address. Try another network."
DAMAGED = "The release on the server is damaged. Try again later."


class Failure(Exception):
    """A failed attempt, with a sentence for the player. again: whether another attempt may succeed."""

    def __init__(self, sentence, host, reason, again=False):
        super().__init__(reason)
        self.sentence = sentence.format(host=host)
        self.again = again


class Attempts:
    """Repeats failed attempts, up to a limit. tell gets a line for the log."""

    def __init__(self, tell, fresh=False):
        self.tell = tell
        self.fresh = fresh  # whether to bypass caches
        self.progressed()

    def progressed(self):
        self.pauses = iter(PAUSES)
        self.end = time.monotonic() + PATIENCE

    def make(self, attempt):
        """The result of the first successful attempt(). Raises an UpdateError when it gives up."""
        while True:
            try:
                return attempt()
            except (Failure, Fault) as error:
                self.failed(error)

    def failed(self, error):
        if isinstance(error, Fault):  # perhaps from a cache, so the next attempt bypasses caches
            if self.fresh:
                raise UpdateError(DAMAGED) from error
            self.fresh = True
        else:
            pause = next(self.pauses, None)
            if not error.again or pause is None or time.monotonic() + pause > self.end:
                raise UpdateError(error.sentence) from error
            time.sleep(pause)
        self.tell(f"Trying again ({one_line(error)})")


def one_line(error):
    return " ".join(f"{type(error).__name__}: {error}".split())[:500]


def connect(config):
    return Site(config) if "://" in config.releases else Folder(config.releases)


def read(config, name, limit, accept, tell):
    """Reads a small file and returns accept(content). accept raises a Fault for wrong content."""
    def attempt():
        content = b""
        for _, block in connection.blocks(name, None, 0, attempts.fresh):
            content += block
            if len(content) > limit:
                raise Fault(f"{name} is too long")
            if time.monotonic() > attempts.end:
                raise Failure(BROKEN_OFF, "the server", f"{name} comes too slowly")
        return accept(content)

    attempts = Attempts(tell, fresh=True)
    with contextlib.closing(connect(config)) as connection:
        return attempts.make(attempt)


class Folder:
    """Releases in a folder of this computer, for trying them out."""

    def __init__(self, path):
        self.path = path

    def blocks(self, name, _size, offset, _fresh):
        try:
            with open(os.path.join(self.path, name), "rb") as source:
                source.seek(offset)
                while block := source.read(BLOCK_SIZE):
                    yield offset, block
                    offset += len(block)
        except FileNotFoundError as error:
            raise Failure(MISSING, self.path, error) from error

    def close(self):
        pass


class Site:
    def __init__(self, config):
        self.address = config.releases.rstrip("/") + "/"
        self.timeout = config.timeout  # seconds, to connect and of silence
        self.has_key = bool(config.public_keys)
        self.connections = {}  # by scheme and host: a redirect needs another connection
        self.host = None  # of the last request

    def blocks(self, name, size, offset, fresh):
        sentence = UNREACHABLE
        try:
            response = self.answer(self.address + name, offset, fresh)
            sentence = BROKEN_OFF
            place = judged(response, self.host, size, offset)
            end = MAX_SIZE if size is None else size
            # Reads one byte more than wanted, to notice content that is too long.
            while block := response.read1(min(BLOCK_SIZE, end - place + 1)):
                yield place, block
                place += len(block)
                if place > end:
                    raise Fault(f"{name} is too long")
            if response.length or size not in (None, place):
                raise Failure(BROKEN_OFF, self.host, f"{name} ends at {place}", again=True)
            response.close()  # the connection stays, for the next request
        except BaseException as error:  # also GeneratorExit, when the caller stops reading
            self.close()
            if isinstance(error, ssl.SSLCertVerificationError):
                raise Failure(UNTRUSTED, self.host, error) from error
            if isinstance(error, (OSError, http.client.HTTPException, ValueError)):
                again = not isinstance(error, ValueError)
                raise Failure(sentence, self.host, one_line(error), again) from error
            raise

    def answer(self, address, offset, fresh):
        """The server's answer, after redirects."""
        for _ in range(MAX_REDIRECTS + 1):
            self.host = urlsplit(address).hostname
            response = self.ask(address, offset, fresh)
            if response.status not in REDIRECTS:
                break
            target = urljoin(address, response.getheader("Location", ""))
            if not may_ask(target, self.has_key, asked_before=address):
                raise Failure(REDIRECTED, self.host, f"redirected to {target}")
            address = target
            if response.length is None or response.length > BLOCK_SIZE:
                self.close()
            else:
                response.read()  # otherwise the connection could not be used again
        return response

    def ask(self, address, offset, fresh):
        headers = {"User-Agent": "tarvex-updater", "Accept-Encoding": "identity"}
        if offset:
            headers["Range"] = f"bytes={offset}-"
        if fresh:
            headers["Cache-Control"] = "no-cache"
        parts = urlsplit(address)
        proxy, authorization = proxy_for(parts)
        target = parts._replace(scheme="", netloc="", fragment="").geturl()
        if proxy and parts.scheme == "http":
            target = address
            headers.update(authorization)
        key = (parts.scheme, parts.netloc)
        if key not in self.connections:
            self.connections[key] = self.connection(parts, proxy, authorization)
        self.connections[key].request("GET", target, headers=headers)
        return self.connections[key].getresponse()

    def connection(self, parts, proxy, authorization):
        secure = parts.scheme == "https"
        kind = http.client.HTTPSConnection if secure else http.client.HTTPConnection
        if not proxy:
            return kind(parts.hostname, parts.port, timeout=self.timeout)
        connection = kind(proxy.hostname, proxy.port or 80, timeout=self.timeout)
        if secure:
            connection.set_tunnel(parts.hostname, parts.port, authorization)
        return connection

    def close(self):
        for connection in self.connections.values():
            connection.close()
        self.connections = {}


def judged(response, host, size, offset):
    """The position of the body's first byte in the content."""
    status, length = response.status, response.length
    if status == 416:
        raise Fault("the server has less than was there already")
    if status not in (200, 206):
        sentence = MISSING if status in (404, 410) else REFUSED
        raise Failure(sentence, host, f"HTTP status {status}", status in WORTH_A_RETRY)
    place = 0
    if status == 206:
        place = offset
        said = response.getheader("Content-Range", "")
        found = re.fullmatch(r"bytes (\d{1,18})-(\d{1,18})/(\d{1,18}|\*)", said)
        if not offset or not found or (int(found[1]), int(found[2])) != (offset, size - 1) or (
                found[3] not in ("*", str(size))):
            raise Fault(f"the server answers with the range “{said}”")
    if None not in (length, size) and length != size - place:
        raise Fault(f"{length} bytes in place of {size - place}")
    return place


def proxy_for(parts):
    """The proxy from the environment, and the headers for it."""
    named = any(name.lower().endswith("_proxy") for name in os.environ)
    if not named or is_loopback(parts.hostname):
        return None, {}
    from base64 import b64encode
    from urllib.parse import unquote
    from urllib.request import getproxies_environment, proxy_bypass_environment

    proxies = getproxies_environment()
    address = proxies.get(parts.scheme) or proxies.get("all")
    if not address or proxy_bypass_environment(parts.netloc):
        return None, {}
    proxy = urlsplit(address if "://" in address else "http://" + address)
    if proxy.scheme != "http" or not proxy.hostname:
        raise ValueError("a proxy of an unknown kind")
    if proxy.username is None:
        return proxy, {}
    secret = f"{unquote(proxy.username)}:{unquote(proxy.password or '')}".encode()
    return proxy, {"Proxy-Authorization": "Basic " + b64encode(secret).decode()}
