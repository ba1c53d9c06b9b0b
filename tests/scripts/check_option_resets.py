#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
# The orvex tool binds each subcommand's options to static variables, and
# every Add...Commands sets them to their defaults each time it runs, so
# that a process that runs the tool many times (the fuzz target) starts
# each run from the defaults. This check fails for a static option variable
# of tools/orvex/*.cpp that is not set within the three lines after it.
import pathlib
import re
import sys

DECL = re.compile(r"^  static (?!const|constexpr)([\w:<>]+) ([\w, ]+);$")


def main(folder):
    missing = []
    for path in sorted(pathlib.Path(folder).glob("*.cpp")):
        lines = path.read_text().split("\n")
        for i, line in enumerate(lines):
            m = DECL.match(line)
            if not m:
                continue
            after = "\n".join(lines[i + 1:i + 4])
            for name in (n.strip() for n in m.group(2).split(",")):
                if not re.search(r"\b" + re.escape(name) + r" = ", after):
                    missing.append(f"{path}:{i + 1}: static {name} is not set to its default on each run")
    for m in missing:
        print(m)
    return 1 if missing else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
