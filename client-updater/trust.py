"""Signatures in minisign's format (https://jedisct1.github.io/minisign/), the prehashed kind that
minisign makes by default. release.json is an object with two strings: "release", the description, and
"signature", the content of minisign's signature file for it. They are in one file, so a server cannot
send a new description with an old signature."""

from __future__ import annotations

import base64
import os

from release import Fault, UpdateError, member, read_json

LIBRARIES = ("libsodium.so.23", "libsodium.so.26")  # both have the functions that are used here


def library():
    """libsodium: the package's own, or the system's."""
    import ctypes

    resources = os.path.dirname(os.path.abspath(__file__))
    frameworks = os.path.join(resources, "../Frameworks")
    for path in (*(os.path.join(frameworks, name) for name in LIBRARIES), *LIBRARIES):
        try:
            sodium = ctypes.CDLL(path)
            if sodium.sodium_init() >= 0:
                sodium.crypto_sign_verify_detached.argtypes = (
                    ctypes.c_char_p, ctypes.c_char_p, ctypes.c_ulonglong, ctypes.c_char_p)
                return sodium
        except (OSError, AttributeError):
            continue
    raise UpdateError("The signatures of releases cannot be verified here. Install the launcher anew.")


def decoded(text, size, what):
    try:
        data = base64.b64decode(text, validate=True)
    except ValueError as error:
        raise Fault(f"{what} is not base64") from error
    if len(data) != size:
        raise Fault(f"{what} has the wrong length")
    return data


def verify(content, signature, public_keys):
    """Raises a Fault unless one of the keys has signed content. The texts have minisign's formats."""
    from hashlib import blake2b

    lines = signature.split("\n")
    if len(lines) < 4 or not lines[2].startswith("trusted comment: "):
        raise Fault("the signature has another form than minisign's")
    packet = decoded(lines[1], 74, "the signature")
    comment_signature = decoded(lines[3], 64, "the comment's signature")
    keys = [decoded(key, 42, "the key") for key in public_keys]
    key = next((key for key in keys if key[:10] == b"Ed" + packet[2:10]), None)
    if not key or packet[:2] != b"ED":
        raise Fault("the signature is by another key, or of another kind")
    comment = lines[2][len("trusted comment: "):].encode()
    sodium = library()
    for signed, data in ((packet[10:], blake2b(content).digest()),
                         (comment_signature, packet[10:] + comment)):
        if sodium.crypto_sign_verify_detached(signed, data, len(data), key[10:]) != 0:
            raise Fault("the signature does not fit")


def opened(envelope, public_keys):
    """The description in release.json; if there are keys, after its signature is verified."""
    value = read_json(envelope)
    content = member(value, "release", str).encode()
    if public_keys:
        verify(content, member(value, "signature", str), public_keys)
    return content
