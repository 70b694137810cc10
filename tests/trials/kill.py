#!/usr/bin/env python3
"""Trial: SIGKILL during an import, the making of a sample host, the saving of a specification.

Before chosen system calls, which repeats exactly, and at moments drawn from the length of an undisturbed import.
"""

import os
import signal
import sys
import time

import sandbox as box
import trial

CHANGES = "open,mkdir,rmdir,chmod,write,fsync,ftruncate,fallocate,rename,link,unlink"
FLAVOURS = {
    "plain": {"records": 400},
    "delete": {"records": 400, "delete": True, "backup": True},
    "mixed": {"records": 400, "mixed": True},
    "large": {"records": 20000, "delete": True},
}


def make(programs, options, flavour):
    template = None if flavour == "init" else programs.template()
    return box.Sandbox(programs, template, "%d/%s" % (options.seed, flavour), **FLAVOURS.get(flavour, {}))


def command_of(sandbox, flavour):
    if flavour == "init":
        return ["kestrel-import", "init", sandbox.host]
    if flavour == "save":
        return ["trial_save_schema", sandbox.specification]
    return sandbox.import_command()


def calls_of(programs, options, flavour):
    """The changing calls of an undisturbed program, and how long it takes in seconds."""
    trace = os.path.join(programs.scratch, "trace-" + flavour)
    with make(programs, options, flavour) as sandbox:
        begin = time.monotonic()
        outcome = sandbox.run(command_of(sandbox, flavour),
                              programs.injection(folders=sandbox.folder, calls=CHANGES, trace=trace))
        if outcome.status not in (0, 1):
            sys.exit("undisturbed, it fails: " + outcome.errors)
        seconds = time.monotonic() - begin
        with open(trace, encoding="utf-8", errors="replace") as file:
            return [trial.kind_of_call(line, sandbox.folder) for line in file], seconds


def make_cases(programs, options):
    for flavour in [*FLAVOURS, "init", "save"]:
        calls, seconds = calls_of(programs, options, flavour)
        most = (200 if flavour == "large" else len(calls)) if options.long else (1 if flavour == "large" else 2)
        for number in trial.one_of_each(calls, most):
            yield "%s-%s-%d" % (flavour, calls[number - 1][0], number), (flavour, number, None)
        for moment in range(200 if options.long else 5):
            yield "%s-moment-%d" % (flavour, moment), (flavour, None, seconds)


def start_killed(programs, sandbox, name, case):
    flavour, number, seconds = case
    command = command_of(sandbox, flavour)
    if number is not None:
        return sandbox.run(command, programs.injection(folders=sandbox.folder, calls=CHANGES, first=number,
                                                       action="kill"))
    process = sandbox.start(command)
    time.sleep(sandbox.draw(name) * seconds)  # when it is killed; nothing waits for anything here
    process.kill()
    return sandbox.finish(process)


def run_case(programs, options, name, case):
    flavour = case[0]
    with make(programs, options, flavour) as sandbox:
        outcome = start_killed(programs, sandbox, name, case)
        if flavour == "init":
            return examine_init(sandbox), {"made": 1}
        if flavour == "save":
            return examine_save(sandbox, outcome), {"saves": 1}
        problems, counts = box.examine_outcome(sandbox, outcome)
        if outcome.status == -signal.SIGKILL:
            counts = {"stored": counts["stored"]}
        return problems + box.examine_next_import(sandbox), counts


def examine_init(sandbox):
    """The second attempt must make a whole host, whatever the first one left."""
    outcome = sandbox.run(["kestrel-import", "init", sandbox.host])
    if outcome.status == 4:
        # What the first attempt left is not overwritten unless asked for.
        outcome = sandbox.run(["kestrel-import", "init", "--force", sandbox.host])
    if outcome.status != 0:
        return ["init again: status %s, %s" % (outcome.status, outcome.errors.strip())]
    outcome = sandbox.run(["kestrel-import", "run", "Kunden", "--folder", sandbox.host, "--format", "json"])
    if outcome.status != 0 or not outcome.told.get("records"):
        return ["the sample import: status %s, %s" % (outcome.status, outcome.errors.strip())]
    wanted = sorted(os.listdir(os.path.join(sandbox.programs.template(), "Import")))
    found = sandbox.listing("host/Import")
    return [] if found == wanted else ["the Import folder holds " + ", ".join(found)]


def examine_save(sandbox, outcome):
    """The specification is the old or the new one, each whole."""
    problems = []
    with open(sandbox.specification, "rb") as file:
        found = file.read()
    # A second save makes the new one of either; it and the next program take away what the first one left.
    sandbox.run(command_of(sandbox, "save"))
    sandbox.run(["kestrel-import", "list", "--folder", sandbox.host])
    with open(sandbox.specification, "rb") as file:
        saved = file.read()
    if b"CONST:neu" not in saved:
        problems.append("the second save did not save")
    if found not in (sandbox.spec_bytes, saved):
        problems.append("the specification is neither the old nor the new one")
    if outcome.output.startswith("saved") and found != saved:
        problems.append("told as saved, and it is not")
    return problems + sandbox.examine_leftovers()


if __name__ == "__main__":
    sys.exit(trial.main("kill", make_cases, run_case))
