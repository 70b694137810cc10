#!/usr/bin/env python3
"""Trial: the source changes while it is imported. The import is stopped at a chosen call on its source, another
program does its worst, and the import goes on."""

import os
import signal
import sys

import sandbox as box
import trial

CALLS = "open,read,mmap,stat"
FLAVOURS = {
    "text-small": {"kind": "txt", "records": 60, "delete": True},
    # Beyond the size up to which a text file is held whole.
    "text-large": {"kind": "txt", "records": 8000, "delete": True},
    "dbf": {"kind": "dbf", "records": 2000, "delete": True},
    "xls": {"kind": "xls", "records": 60, "delete": True},
    "xlsx": {"kind": "xlsx", "records": 60, "delete": True},
    "mdb": {"kind": "mdb", "records": 60, "delete": True},
}
MORE = 20  # records that are appended


def make(programs, options, flavour):
    return box.Sandbox(programs, programs.template(), "%d/%s" % (options.seed, flavour), **FLAVOURS[flavour])


# --- Changes; each returns the records that the file holds afterwards ---

def touched(sandbox, _):
    os.utime(sandbox.source)
    return sandbox.records


def grown(sandbox, others):
    if sandbox.kind != "txt":
        # Bytes that belong to nothing yet, as a program that appends leaves them at first.
        with open(sandbox.source, "ab") as file:
            file.write(bytes(1000))
        return sandbox.records
    with open(sandbox.source, "ab") as file:
        file.write(box.table_text(others[:MORE], ";", "\r\n").split(b"\r\n", 1)[1])
    return sandbox.records + others[:MORE]


def rewritten(sandbox, others):
    """In place, so that an open file shows it."""
    aside = sandbox.path("work/neu." + sandbox.kind)
    sandbox.write_source(aside, others)
    with open(aside, "rb") as file:
        content = file.read()
    os.unlink(aside)
    with open(sandbox.source, "r+b") as file:
        file.write(content)
        file.truncate()
    return others


def cut(sandbox, _):
    if sandbox.kind == "txt":
        # Between two lines, so that the shorter file is a whole one.
        kept = sandbox.records[:len(sandbox.records) * 6 // 10]
        os.truncate(sandbox.source, len(box.table_text(kept, ";", "\r\n")))
        return kept
    os.truncate(sandbox.source, os.path.getsize(sandbox.source) * 6 // 10)
    return None


def replaced(sandbox, others):
    aside = sandbox.path("work/neu." + sandbox.kind)
    sandbox.write_source(aside, others)
    os.rename(aside, sandbox.source)
    return others


def deleted(sandbox, _):
    os.unlink(sandbox.source)
    return []


CHANGES = (touched, grown, rewritten, cut, replaced, deleted)


def make_cases(programs, options):
    for flavour in FLAVOURS:
        trace = os.path.join(programs.scratch, "trace-" + flavour)
        with make(programs, options, flavour) as sandbox:
            outcome = sandbox.import_source(programs.injection(folders=sandbox.source, calls=CALLS, trace=trace))
            if outcome.status != 0:
                sys.exit("undisturbed, %s fails: %s" % (flavour, outcome.errors))
            with open(trace, encoding="utf-8") as file:
                count = len(file.readlines())
        for change in CHANGES:
            for number in trial.spread(count, count if options.long else 9):
                yield "%s-%s-%d" % (flavour, change.__name__, number), (flavour, change, number)


def run_case(programs, options, _, case):
    flavour, change, number = case
    with make(programs, options, flavour) as sandbox:
        others = box.make_records(box.random.Random("others/%s" % sandbox.seed), len(sandbox.records), first=100001)
        sandbox.may_be_stored += others
        process = sandbox.start(sandbox.import_command(), programs.injection(
            folders=sandbox.source, calls=CALLS, first=number, action="stop"))
        if not sandbox.wait_until_stopped(process):
            # How often a file is looked at varies a little; nothing has disturbed this import.
            return box.examine_outcome(sandbox, sandbox.finish(process))
        after = change(sandbox, others)
        content = None
        if os.path.exists(sandbox.source):
            with open(sandbox.source, "rb") as file:
                content = file.read()
        os.killpg(process.pid, signal.SIGCONT)
        outcome = sandbox.finish(process)
        return examine(sandbox, outcome, change, after, content)


def examine(sandbox, outcome, change, after, content):
    """`after`: the records of the changed file, none where it is damaged; `content`: its bytes."""
    problems = sandbox.examine_database()
    stored = set() if problems else sandbox.stored()
    versions = [{record.number for record in records} for records in (sandbox.records, after) if records is not None]
    counts = {"read": outcome.told.get("records", 0), "stored": len(stored)}
    if outcome.status not in (0, 1, 4):
        return problems + ["status %s" % outcome.status], counts
    if outcome.told:
        problems += box.examine_told(outcome, stored, [len(version) for version in versions])
    elif outcome.status != 4 or stored or not outcome.errors.strip():
        problems.append("status %d without a result: %s" % (outcome.status, outcome.errors))
    if outcome.status == 0 and stored not in versions:
        problems.append("success, but the %d stored records are of no state of the file" % len(stored))
    if outcome.status != 0 and change in (touched, grown):
        problems.append("status %d, though every byte that was there still is: %s" %
                        (outcome.status, outcome.errors.strip()))
    if content is not None:
        if not os.path.exists(sandbox.source):
            if after is None or {record.number for record in after} != stored or sandbox.kind != "txt":
                problems.append("the changed source was removed, its records are not stored")
        else:
            with open(sandbox.source, "rb") as file:
                if file.read() != content:
                    problems.append("the source has been written to")
    return problems + sandbox.examine_leftovers(), counts


if __name__ == "__main__":
    sys.exit(trial.main("source_changes", make_cases, run_case))
