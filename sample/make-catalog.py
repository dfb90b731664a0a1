#!/usr/bin/env python3
"""Writes an unsigned security catalog that lists the given files.

usage: make-catalog.py <catalog> <file>...

A .sys file is listed twice: by the digest of its image, which Windows looks up for executables, and by the
digest of the whole file, which is what other readers compute. SHA-1 is the one catalog hash that every Windows
version reads.
"""
import hashlib
import struct
import sys
from pathlib import Path

SIGNED_DATA = "1.2.840.113549.1.7.2"
SHA1 = "1.3.14.3.2.26"
CERT_TRUST_LIST = "1.3.6.1.4.1.311.10.1"
CATALOG_LIST = "1.3.6.1.4.1.311.12.1.1"
CATALOG_LIST_MEMBER = "1.3.6.1.4.1.311.12.1.2"
CATALOG_MEMBER_INFO = "1.3.6.1.4.1.311.12.2.2"
INDIRECT_DATA = "1.3.6.1.4.1.311.2.1.4"
PE_IMAGE_DATA = "1.3.6.1.4.1.311.2.1.15"
CAB_DATA = "1.3.6.1.4.1.311.2.1.25"
PE_SUBJECT = "{C689AAB8-8E78-11D0-8C47-00C04FC295EE}"
FLAT_SUBJECT = "{DE351A42-8E59-11D0-8C47-00C04FC295EE}"

# The same moment in every catalog: building twice gives the same bytes.
LIST_TIME = b"240101000000Z"


def der(tag, *contents):
    body = b"".join(contents)
    if len(body) < 0x80:
        return bytes([tag, len(body)]) + body
    length = len(body).to_bytes((len(body).bit_length() + 7) // 8, "big")
    return bytes([tag, 0x80 | len(length)]) + length + body


def sequence(*contents):
    return der(0x30, *contents)


def set_of(*contents):
    return der(0x31, *sorted(contents))


def integer(value):
    return der(0x02, bytes([value]))


def octets(value):
    return der(0x04, value)


def oid(dotted):
    first, second, *rest = (int(arc) for arc in dotted.split("."))
    encoded = bytearray()
    for arc in [first * 40 + second, *rest]:
        groups = [arc & 0x7F]
        while arc := arc >> 7:
            groups.append(0x80 | arc & 0x7F)
        encoded += bytes(reversed(groups))
    return der(0x06, bytes(encoded))


def algorithm(dotted):
    return sequence(oid(dotted), der(0x05))


def bmp_string(text):
    return der(0x1E, text.encode("utf-16-be"))


def spc_link():
    """The "<<<Obsolete>>>" file link that signing tools put where a link is required."""
    return der(0xA2, der(0x80, "<<<Obsolete>>>".encode("utf-16-be")))


def image_digest(data):
    """The Authenticode digest: all but the checksum, the signature and the pointer to the signature."""
    optional_header = struct.unpack_from("<I", data, 0x3C)[0] + 24
    is_64_bit = struct.unpack_from("<H", data, optional_header)[0] == 0x20B
    checksum = optional_header + 64
    security_directory = optional_header + (144 if is_64_bit else 128)
    signature = struct.unpack_from("<I", data, security_directory)[0] or len(data)
    hashed = data[:checksum] + data[checksum + 4 : security_directory] + data[security_directory + 8 : signature]
    return hashlib.sha1(hashed).digest()


def member(digest, subject, data_type, data):
    """One entry, tagged with its digest in hexadecimal."""
    return sequence(
        octets(digest.hex().upper().encode("utf-16-le") + b"\0\0"),
        set_of(
            sequence(
                oid(CATALOG_MEMBER_INFO),
                set_of(sequence(bmp_string(subject), integer(2)))),
            sequence(
                oid(INDIRECT_DATA),
                set_of(sequence(
                    sequence(oid(data_type), data),
                    sequence(algorithm(SHA1), octets(digest)))))))


def members(path):
    data = path.read_bytes()
    yield member(hashlib.sha1(data).digest(), FLAT_SUBJECT, CAB_DATA, spc_link())
    if data.startswith(b"MZ"):
        flags = der(0x03, b"\0")
        yield member(image_digest(data), PE_SUBJECT, PE_IMAGE_DATA, sequence(flags, der(0xA0, spc_link())))


def catalog(paths):
    entries = sorted(entry for path in paths for entry in members(path))
    identifier = hashlib.md5(b"".join(entries), usedforsecurity=False).digest()
    trust_list = sequence(
        sequence(oid(CATALOG_LIST)),
        octets(identifier),
        der(0x17, LIST_TIME),
        algorithm(CATALOG_LIST_MEMBER),
        sequence(*entries))
    signed_data = sequence(
        integer(1),
        set_of(),
        sequence(oid(CERT_TRUST_LIST), der(0xA0, trust_list)),
        set_of())
    return sequence(oid(SIGNED_DATA), der(0xA0, signed_data))


def main(arguments):
    if len(arguments) < 2:
        sys.exit("usage: make-catalog.py <catalog> <file>...")
    try:
        Path(arguments[0]).write_bytes(catalog([Path(argument) for argument in arguments[1:]]))
    except (OSError, struct.error) as error:
        sys.exit(f"make-catalog.py: {error}; give existing files, and only whole images as .sys")


if __name__ == "__main__":
    main(sys.argv[1:])
