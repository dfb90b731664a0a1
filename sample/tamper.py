#!/usr/bin/env python3
"""Copies a PE file with one byte of its first section changed, so that a signature on it no longer holds.

usage: tamper.py <source> <target>

The byte is the section's last: alignment filling, so the image still runs.
"""
import struct
import sys
from pathlib import Path


def last_byte_of_first_section(image):
    file_header = struct.unpack_from("<I", image, 0x3C)[0] + 4
    optional_header_size = struct.unpack_from("<H", image, file_header + 16)[0]
    first_section = file_header + 20 + optional_header_size
    size, start = struct.unpack_from("<II", image, first_section + 16)
    return start + size - 1


def main(arguments):
    if len(arguments) != 2:
        sys.exit("usage: tamper.py <source> <target>")
    source, target = map(Path, arguments)
    try:
        image = bytearray(source.read_bytes())
        image[last_byte_of_first_section(image)] ^= 0xFF
        target.write_bytes(image)
    except (OSError, struct.error, IndexError) as error:
        sys.exit(f"tamper.py: {error}; give a PE file as source and a writable target")


if __name__ == "__main__":
    main(sys.argv[1:])
