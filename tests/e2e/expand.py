#!/usr/bin/python3
"""Expands a scenario file for one Windows version of the lab: expand.py <file> <version>.

    block <name>                 lines that others call by "@<name> <arguments>"; $1, $2, ... in them, "-" for an
                                 argument that is left out
    scenario <name> [<where>]    lines in their order; without <where> on every Windows version

A line may start with "[<where>]", one of the conditions below; "!" in front negates. "@each <block>" and "@backwards
<block>" call a block for every driver, whose name is its first argument; of an argument with commas each driver gets its
part. A file's own blocks hide those of blocks.txt; its blocks "before" and "after" surround each of its scenarios.

Out come lines "<file>:<number>: <text>" for the scenarios program, whose source says what they mean.
"""

import re
import sys
from pathlib import Path

DRIVERS = "qxcomm", "qxevtmgr", "qxactmon"
OLD = "winxp64", "vista", "win2008", "win7", "win2008r2"
# What the Windows versions differ in, as far as the plug-in is concerned.
CONDITIONS = {
    "seven": lambda version: version == "win7",
    "stops": lambda version: version in OLD,  # drivers are stopped for a change
    "restart": lambda version: version not in OLD,  # changes need a restart
    "overwrites": lambda version: version in ("win8", "win81"),  # images under running drivers, which Wine refuses
    "renames": lambda version: version not in OLD + ("win8", "win81"),  # images in use, and catalogs are kept
    "boot": lambda version: version == "win7" or version not in OLD,  # the shared driver starts at boot
}


class Script:
    """A scenario file and the blocks.txt beside it."""

    def __init__(self, file, version):
        self.version = version
        self.blocks = {"before": [], "after": []}
        self.scenarios = []
        for part in (file.parent / "blocks.txt", file):
            self.read(part)

    def read(self, file):
        """Adds what a file holds."""
        lines = None
        for number, line in enumerate(file.read_text().splitlines(), 1):
            place, words = f"{file.name}:{number}", line.split()
            if not words or words[0].startswith("#") or words == ["restart"]:
                continue
            if words[0] == "block":
                lines = self.blocks[words[1]] = []
            elif words[0] == "scenario":
                lines = [] if self.holds("".join(words[2:])) else [(place, "skip")]
                self.scenarios.append((place, words[1], lines))
            else:
                lines.append((place, line.strip()))

    def holds(self, condition):
        """Whether a condition does on this version; none at all does."""
        return not condition or CONDITIONS[condition.lstrip("!")](self.version) != condition.startswith("!")

    def expand(self, lines, arguments=()):
        """The lines with their arguments, without those that are for other versions, calls replaced."""
        given = {str(number): argument for number, argument in enumerate(arguments, 1) if argument != "-"}
        for place, text in lines:
            text = re.sub(r"\$([1-9])", lambda number: given.get(number[1], ""), text)
            conditions, text = re.fullmatch(r"((?:\[\S+\] *)*)(.*)", text).groups()
            if not all(map(self.holds, re.findall(r"\[(\S+?)\]", conditions))):
                continue
            if not text.startswith("@"):
                yield place, text
                continue
            try:
                yield from self.call(*text[1:].split())
            except KeyError as unknown:
                sys.exit(f"{place}: there is no {unknown}")

    def call(self, block, *arguments):
        """The lines of a block."""
        if block not in ("each", "backwards"):
            yield from self.expand(self.blocks[block], arguments)
            return
        for index in (0, 1, 2) if block == "each" else (2, 1, 0):
            parts = [argument.split(",") for argument in arguments[1:]]
            yield from self.call(arguments[0], DRIVERS[index], *(part[index % len(part)] for part in parts))


def main(file, version):
    """Prints the scenarios."""
    script = Script(Path(file), version)
    for place, name, lines in script.scenarios:
        print(f"{place}: scenario {name}")
        for line in script.expand(lines if (place, "skip") in lines
                                  else script.blocks["before"] + lines + script.blocks["after"]):
            print(": ".join(line))


main(*sys.argv[1:])
