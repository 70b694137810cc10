#!/usr/bin/env python3
"""Trial: SIGKILL during an import, during its undoing, and during both; the undo after that puts everything back.

Half of the records update addresses that the host has, the others are new. However the programs ended, the tables
hold in the end what they held before the import, byte by byte, and the same import can be made again.
"""

import os
import random
import sys
import time

import sandbox as box
import trial

CHANGES = "open,write,fsync,ftruncate,fallocate,unlink"
RUN = 2  # of the ledger; the first one stored what the second one updates


def snapshot(sandbox):
    """All of the tables that an import changes, with the kinds of the values."""
    content = []
    for table in ("Kunden", "Adressindex"):
        columns = [row[1] for row in sandbox.query("PRAGMA table_info(%s)" % table)]
        quoted = ", ".join("quote(%s)" % column for column in columns)
        content += sorted(sandbox.query("SELECT %s FROM %s" % (quoted, table)))
    return content


def undo_command(sandbox):
    return ["kestrel-import", "undo", str(RUN), "--host", sandbox.database, "--format", "json"]


def make(programs, options, case):
    """A host with half of the addresses, and a source that changes those and adds the others."""
    sandbox = box.Sandbox(programs, programs.template(), "%d/%s" % (options.seed, case), records=1500)
    earlier = box.make_records(random.Random(case), len(sandbox.records) // 2)
    sandbox.write_source(sandbox.source, earlier)
    outcome = sandbox.import_source()
    if outcome.status != 0:
        sys.exit("undisturbed, it fails: " + outcome.errors)
    sandbox.write_source(sandbox.source, sandbox.records)
    return sandbox


def disturbed(programs, sandbox, command, kill, name):
    """Runs it, killed before that call, or at a moment of so many seconds, or not at all."""
    number, seconds = kill
    if number is not None:
        plan = programs.injection(folders=sandbox.folder, calls=CHANGES, first=number, action="kill")
        return sandbox.run(command, plan)
    process = sandbox.start(command)
    if seconds is not None:
        time.sleep(sandbox.draw(name) * seconds)  # when it is killed; nothing waits for anything here
        process.kill()
    return sandbox.finish(process)


def calls_of(programs, sandbox, command, name):
    trace = os.path.join(programs.scratch, "trace-undo-" + name)
    begin = time.monotonic()
    outcome = sandbox.run(command, programs.injection(folders=sandbox.folder, calls=CHANGES, trace=trace))
    if outcome.status != 0:
        sys.exit("undisturbed, it fails: " + outcome.errors)
    with open(trace, encoding="utf-8", errors="replace") as file:
        return [trial.kind_of_call(line, sandbox.folder) for line in file], time.monotonic() - begin


def make_cases(programs, options):
    with make(programs, options, "calls") as sandbox:
        importing, import_seconds = calls_of(programs, sandbox, sandbox.import_command(), "import")
        undoing, undo_seconds = calls_of(programs, sandbox, undo_command(sandbox), "undo")
    never = (None, None)
    most = 50 if options.long else 2
    for number in trial.one_of_each(importing, most):
        yield "import-%s-%d" % (importing[number - 1][0], number), ((number, None), never)
    for number in trial.one_of_each(undoing, most):
        yield "undo-%s-%d" % (undoing[number - 1][0], number), (never, (number, None))
    for moment in range(100 if options.long else 5):
        yield "both-moment-%d" % moment, ((None, import_seconds), (None, undo_seconds))


def examine(sandbox):
    return sandbox.examine_storage() + sandbox.examine_references()


def examine_ledger(sandbox, before):
    """What is wrong with what the ledger tells of the import, behind its end."""
    told = sandbox.query("SELECT coalesce(sum(Anzahl), 0) FROM Importlaufzeilen WHERE LaufNr = %d AND Ereignis = 'neu'"
                         % RUN)[0][0]
    stored = sandbox.query("SELECT COUNT(*) FROM Kunden")[0][0]
    return [] if told == stored - before else ["%d new addresses, the ledger tells %d" % (stored - before, told)]


def run_case(programs, options, name, case):
    kill_import, kill_undo = case
    with make(programs, options, name) as sandbox:
        before = snapshot(sandbox)
        customers = len(sandbox.stored())
        disturbed(programs, sandbox, sandbox.import_command(), kill_import, name)
        problems = examine(sandbox) + examine_ledger(sandbox, customers)
        stored = len(sandbox.stored()) - customers
        disturbed(programs, sandbox, undo_command(sandbox), kill_undo, name + "/undo")
        problems += examine(sandbox)
        outcome = sandbox.run(undo_command(sandbox))
        states = sandbox.query("SELECT Zustand FROM Importlauf WHERE LaufNr = %d" % RUN)
        # Before the first record the ledger may not know of the run.
        if outcome.status != (0 if states else 4):
            problems.append("undo: status %s, %s" % (outcome.status, outcome.errors.strip()))
        if states not in ([], [("zurückgenommen",)]):
            problems.append("the run is %s" % states[0])
        if snapshot(sandbox) != before:
            problems.append("the tables are not as they were before the import")
        again = sandbox.import_source()
        if again.status != 0 or len(sandbox.stored()) != len(sandbox.records):
            problems.append("imported again: status %s, %s" % (again.status, again.errors.strip()))
        problems += examine(sandbox) + sandbox.examine_leftovers()
        return problems, {"taken back": stored}


if __name__ == "__main__":
    sys.exit(trial.main("undo", make_cases, run_case))
