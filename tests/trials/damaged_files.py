#!/usr/bin/env python3
"""Trial: sources that are damaged, or cut short. What cannot be read is told, and nothing ends the program."""

import os
import sys

import sandbox as box
import trial

RECORDS = 60
SECTOR = 512


def make(programs, options, kind):
    return box.Sandbox(programs, programs.template(), "%d/%s" % (options.seed, kind), records=RECORDS, kind=kind,
                       delete=True)


def damaged(rng, content):
    """Some bytes changed, a stretch overwritten or moved, two sectors exchanged."""
    content = bytearray(content)
    way = rng.randrange(4)
    if way == 0:
        for _ in range(rng.randint(1, 8)):
            content[rng.randrange(len(content))] = rng.choice((0, 0xFF, 0x7F, 0x80, rng.randrange(256)))
        return bytes(content)
    size = min(rng.choice((2, 4, 16, 64, SECTOR)), len(content) // 2)
    one, other = sorted(rng.randrange(len(content) - size) for _ in range(2))
    if way == 1:
        content[one:one + size] = rng.choice((bytes(size), b"\xff" * size, rng.randbytes(size)))
    elif way == 2:
        content[one:one] = content[other:other + size]
    else:
        content[one:one + size], content[other:other + size] = content[other:other + size], content[one:one + size]
    return bytes(content)


def cut(rng, content):
    return content[:rng.randrange(len(content))]


def make_cases(_, options):
    for kind in box.KINDS:
        for change, long, short in ((damaged, 3000, 12), (cut, 800, 6)):
            for number in range(long if options.long else short):
                yield "%s-%s-%d" % (kind, change.__name__, number), (kind, change)


def run_case(programs, options, name, case):
    kind, change = case
    with make(programs, options, kind) as sandbox:
        rng = box.random.Random("%d/%s" % (options.seed, name))
        content = change(rng, sandbox.source_bytes)
        with open(sandbox.source, "wb") as file:
            file.write(content)
        return examine(sandbox, sandbox.import_source(), change, content)


def examine(sandbox, outcome, change, content):
    problems = sandbox.examine_storage() + sandbox.examine_leftovers()
    told = outcome.told
    counts = {"read": told.get("records", 0), "stored": told.get("stored", 0), "not opened": int(not told),
              "read without an error": int(outcome.status == 0)}
    if outcome.status not in (0, 1, 4):
        return problems + ["status %s: %s" % (outcome.status, outcome.errors.strip()[-300:])], counts
    if not told and (outcome.status != 4 or not outcome.errors.strip()):
        problems.append("status %d without a result or a reason: %s" % (outcome.status, outcome.errors.strip()))
    if told:
        if (outcome.status == 0) != told["message"].startswith(box.SUCCESS):
            problems.append("status %d with the message '%s'" % (outcome.status, told["message"]))
        if (outcome.status == 0) != (told["errors"] == 0):
            problems.append("status %d with %d errors" % (outcome.status, told["errors"]))
        kept = told["stored"] + told["duplicates"] + told["rejected"]
        if kept not in (told["records"], told["records"] - told.get("updated", 0)):
            problems.append("%d stored, held back or rejected of %d read" % (kept, told["records"]))
    if change is cut:
        problems += examine_cut(sandbox, outcome, content)
    if os.path.exists(sandbox.source):
        with open(sandbox.source, "rb") as file:
            if file.read() != content:
                problems.append("the source has been written to")
    elif outcome.status != 0:
        problems.append("the source is gone after status %d" % outcome.status)
    return problems, counts


def examine_cut(sandbox, outcome, content):
    """A shorter text file is a text file; all others tell what they should hold."""
    stored = sandbox.stored()
    wanted = {record.number for record in sandbox.records}
    if sandbox.kind == "txt":
        wanted = set(sorted(wanted)[:max(0, content.count(b"\r\n") - 1)])
        return [] if wanted <= stored else ["%d of %d whole lines are stored" % (len(stored), len(wanted))]
    problems = sandbox.examine_database()
    if outcome.status == 0 and stored != wanted:
        problems.append("success, but %d of %d records are stored" % (len(stored), len(wanted)))
    return problems


if __name__ == "__main__":
    sys.exit(trial.main("damaged_files", make_cases, run_case))
