#!/usr/bin/env python3
"""Prints each suite's totals from CTest's log of its last run, then the sum of all.

usage: test_totals.py LastTest.log
"""
import re
import sys
from pathlib import Path

TOTALS = re.compile(r"^Totals: (\d+) passed, (\d+) failed, (\d+) skipped")


def suites(log):
    """Yields (name, [passed, failed, skipped]); a suite that reports no totals counts as one test."""
    for block in re.split(r"^\d+/\d+ Testing: ", log, flags=re.MULTILINE)[1:]:
        name = block.splitlines()[0].strip()
        counts = [tuple(map(int, match.groups())) for line in block.splitlines() if (match := TOTALS.match(line))]
        passed = re.search(r"^Test Passed\.", block, re.MULTILINE) is not None
        totals = [sum(column) for column in zip(*counts)] if counts else [int(passed), 0, 0]
        if not passed and totals[1] == 0:
            totals[1] = 1  # crashed, timed out, or reported nothing
        yield name, totals


def main():
    if len(sys.argv) != 2:
        print(__doc__, file=sys.stderr)
        return 2
    total = [0, 0, 0]
    for name, counts in suites(Path(sys.argv[1]).read_text(encoding="utf-8", errors="replace")):
        print(f"{name}: {counts[0]} passed, {counts[1]} failed, {counts[2]} skipped")
        total = [a + b for a, b in zip(total, counts)]
    print(f"{total[0]} passed, {total[1]} failed, {total[2]} skipped")
    return 0


if __name__ == "__main__":
    sys.exit(main())
