#!/usr/bin/env python3
"""Holds what ranks were counted to send, write and sync against the formulas of docs/parallel.md.

mpi_cost runs the ranks' own code over a stand-in of MPI that counts. The formulas are those of the table there whose first
column says the step; they are Python's. What parts from them is printed, and the exit code is 1.

Usage: cost.py MPI_COST docs/parallel.md RANKS...            (10,000 ranks take two minutes and 8 GB)
       cost.py --table MPI_COST docs/parallel.md RANKS...    prints the figures as well
"""

import json
import pathlib
import re
import subprocess
import sys
import tempfile

PAGE, PIECE = 4096, 4 << 20
OPENING = {"system_open": 1, "system_statfs": 1, "system_lock": 2, "system_read": 1}  # of each rank but rank 0


def formulas(document):
    """The table's rows: step, and messages, turns, bytes and syncs."""
    rows = re.findall(r"^\| ([a-z0-9 ,]+) \| `(.+?)` \| `(.+?)` \| `(.+?)` \| `(.+?)` \|$",
                      pathlib.Path(document).read_text(), re.M)
    return {name: dict(zip(("messages", "turns", "bytes", "syncs"), row)) for name, *row in rows}


def layout(step):
    """What the formulas speak of."""
    ranks, rows, row_bytes = step["ranks"], step["rows"], step["rowBytes"]
    share, size = rows // ranks, rows * row_bytes
    block_bytes = max(65536, -(-(size // 4096) // 65536) * 65536)
    block = min(-(-block_bytes // row_bytes), rows)
    moved, to = 0, {}
    for rank in range(ranks):
        first = rank * share
        head = min(-(-first // block) * block, first + share) - first
        if head:
            moved += head * row_bytes
            owner = first // block * block // share
            to[owner] = to.get(owner, 0) + 1
    return {"P": ranks, "D": ranks - 1, "L": (ranks - 1).bit_length(), "N": size, "K": -(-rows // block), "E": sum(to.values()),
            "H": max(to.values(), default=0), "M": moved, "Q": size // PIECE}


def check(step, formula):
    """What the step did otherwise than the formulas say."""
    known = layout(step)
    wanted = {name: eval(text, {"__builtins__": {}}, known) for name, text in formula.items()}
    syncs = step["syncs"][0] + step["system_sync"][0]
    messages, turns, sent = step["messages"][0], step["turns"], step["bytes"][0]
    if abs(messages - wanted["messages"]) > 2 + wanted["messages"] / 200:
        yield f"{messages} messages, not {wanted['messages']:.0f}"
    if turns > wanted["turns"] + 2:
        yield f"{turns} turns, more than {wanted['turns']:.0f}"
    if abs(sent - wanted["bytes"]) > 4 * PAGE + wanted["bytes"] / 20:
        yield f"{sent} bytes, not {wanted['bytes']:.0f}"
    if syncs != (wanted["syncs"] if step["option"] == 2 else 0):
        yield f"{syncs} syncs, not {wanted['syncs']}"
    if step["step"] == "open" and step["ranks"] > 1:
        asked = {name: step[name][2] for name in OPENING}
        if asked != OPENING:
            yield f"a rank asks the system {asked}"


def run(program, option, ranks):
    with tempfile.TemporaryDirectory(dir="/dev/shm" if pathlib.Path("/dev/shm").is_dir() else None) as folder:
        done = subprocess.run([program, folder, str(option), *ranks], stdout=subprocess.PIPE, text=True)
    if done.returncode:
        sys.exit(f"{program} ended with {done.returncode}")
    return [json.loads(line) for line in done.stdout.splitlines()]


def rounded(number):
    for unit, size in (("GB", 1e9), ("MB", 1e6), ("kB", 1e3)):
        if number >= size:
            return f"{number / size:.3g} {unit}"
    return f"{number} B"


def table(steps, ranks):
    print("| step | " + " | ".join(f"{int(rank):,}" for rank in ranks) + " |\n|---|" + "---|" * len(ranks))
    for name in dict.fromkeys(step["step"] for step in steps):
        cells = {str(step["ranks"]): f"{step['messages'][0]:,}; {step['turns']:,}; {rounded(step['bytes'][0])}"
                 for step in steps if step["step"] == name}
        print(f"| {name} | " + " | ".join(cells.get(rank, "") for rank in ranks) + " |")
    for name, what in (("write", "writes"), ("write", "writtenBytes"), ("read", "reads"), ("read", "readBytes")):
        shown = [rounded(s[what][0]) if "Bytes" in what else f"{s[what][0]:,}" for s in steps if s["step"] == name]
        print(f"| {name}, {what} | " + " | ".join(shown) + " |")


def main():
    shows = sys.argv[1] == "--table"
    program, document, *ranks = sys.argv[1 + shows:]
    known, parted, seen = formulas(document), 0, set()
    for option in (1, 2):
        steps = run(program, option, ranks if option == 1 else [rank for rank in ranks if int(rank) <= 1000])
        for step in steps:
            seen.add(step["step"])
            for what in check(step, known[step["step"]]) if step["step"] in known else ["no formula"]:
                print(f"{step['step']}, {step['ranks']} ranks, option {option}: {what}")
                parted += 1
        if shows and option == 1:
            table(steps, ranks)
    if known.keys() != seen:
        sys.exit(f"steps without a count: {sorted(known.keys() - seen)}")
    sys.exit(1 if parted else 0)


if __name__ == "__main__":
    main()
