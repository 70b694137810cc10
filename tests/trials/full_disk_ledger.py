#!/usr/bin/env python3
"""Trial: the disk of the host's database fills up in the middle of a long import. What is told, what is stored and what
the list of imports says are the same, the message names a way out, and going on with the record that it names completes
the import. A real file system in memory, as in full_disk.py."""

import json
import sqlite3
import sys

import full_disk
import sandbox as box
import trial

RECORDS = 30000  # several write groups
FLAVOURS = {"plain": {}, "mixed": {"mixed": True}}
STATES = {0: "fertig", 1: "fertig", 4: "abgebrochen"}


def make_cases(_, options):
    if full_disk.OWN_SPACE not in full_disk.os.environ:
        raise trial.Skip("no file system can be mounted here")
    frees = range(0, 16 << 10, 512) if options.long else (16, 600, 2500, 5000, 9000)
    for flavour in FLAVOURS:
        for free in frees:
            yield "%s-%d" % (flavour, free), (flavour, free)


def runs(sandbox):
    """The list of imports as the program tells it, and what it says beside."""
    outcome = sandbox.run(["kestrel-import", "runs", "--folder", sandbox.host, "--host", sandbox.host_connection(),
                           "--format", "json"])
    return [json.loads(line) for line in outcome.output.splitlines()], outcome


def examine_list(sandbox, outcome, stored, when):
    """What is wrong with what the list of imports says of the one import that there was. What was held back in a group
    that was lost stands in no list, as it is looked at again."""
    listed, command = runs(sandbox)
    told = outcome.told
    if not listed and not stored:
        return []
    if command.status != 0 or len(listed) != 1:
        return ["%s: the list of imports has %d, status %s, %s" % (when, len(listed), command.status, command.errors)]
    run = listed[0]
    problems = []
    if run["state"] != STATES[outcome.status]:
        problems.append("%s: the import is listed as '%s' after status %d" % (when, run["state"], outcome.status))
    if run["storedNew"] != len(stored):
        problems.append("%s: %d listed as stored, %d are" % (when, run["storedNew"], len(stored)))
    if run["heldBack"] > told["duplicates"]:
        problems.append("%s: %d listed as held back, %d are" % (when, run["heldBack"], told["duplicates"]))
    return problems


def examine_stop(sandbox, outcome, stored):
    """What is wrong with the end that the full disk has made."""
    told = outcome.told
    problems = []
    if "kein Platz mehr" not in told["stopReason"] or "Platz" not in outcome.errors:
        problems.append("the reason is not told: %s" % outcome.errors[-300:])
    if outcome.errors.count("Der Import wurde angehalten") != 1:
        problems.append("the stop is told more than once: %s" % outcome.errors[-600:])
    behind = [record.number for record in sandbox.records if record.number >= told["nextRecord"]]
    if stored.intersection(behind):
        problems.append("the record to go on with is %d, but %d is stored" % (told["nextRecord"], max(stored)))
    return problems


def examine_going_on(sandbox, outcome):
    """What is wrong behind an import that goes on with the record that was told, on a disk with room."""
    further = sandbox.run(sandbox.import_command("--from", str(outcome.told["nextRecord"])))
    refused = {record.number for record in sandbox.records if record.is_refused()}
    missing = {record.number for record in sandbox.records} - sandbox.covered(sandbox.stored()) - refused
    problems = ["going on: " + problem for problem in sandbox.examine_database()]
    if further.status not in (0, 1):
        problems.append("going on: status %s, %s" % (further.status, further.errors[-300:]))
    if missing:
        problems.append("going on with record %d: %d are missing, first %d" %
                        (outcome.told["nextRecord"], len(missing), min(missing)))
    return problems


def examine_refusal(sandbox, disk, outcome):
    """What is wrong where there was not even room to open the database."""
    problems = [] if "Platz" in outcome.errors else ["the reason is not told: %s" % outcome.errors[-300:]]
    disk.leave(full_disk.ROOM)
    if sandbox.stored():
        problems.append("%d records are stored" % len(sandbox.stored()))
    return problems + sandbox.examine_database()


def run_case(programs, options, _, case):
    flavour, free = case
    with box.Sandbox(programs, programs.template(), "%d/%s" % (options.seed, flavour), records=RECORDS,
                     **FLAVOURS[flavour]) as sandbox:
        disk = full_disk.SmallDisk(sandbox.path("host"))
        try:
            disk.leave(free)
            outcome = sandbox.import_source()
            if outcome.status == 4 and not outcome.told:
                return examine_refusal(sandbox, disk, outcome), {}
            problems, counts = box.examine_outcome(sandbox, outcome)
            if outcome.status not in STATES:
                return problems + ["status %s, %s" % (outcome.status, outcome.errors[-300:])], counts
            stored = sandbox.stored()
            problems += examine_list(sandbox, outcome, stored, "while the disk is full")
            if outcome.status == 4:
                problems += examine_stop(sandbox, outcome, stored)
            disk.leave(full_disk.ROOM)
            problems += examine_list(sandbox, outcome, stored, "with room again")
            if outcome.status == 4:
                problems += examine_going_on(sandbox, outcome)
            return problems, counts
        except sqlite3.Error as error:
            return ["the host database cannot be read: %s" % error], {}
        finally:
            disk.close()


if __name__ == "__main__":
    full_disk.enter_own_space()
    sys.exit(trial.main("full_disk_ledger", make_cases, run_case))
