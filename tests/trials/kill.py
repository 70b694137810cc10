#!/usr/bin/env python3
"""Trial: SIGKILL during an import, the making of a sample host, the saving of a specification.

Before chosen system calls, which repeats exactly, and at moments drawn from the length of an undisturbed import.
"""

import os
import signal
import sys
import time

import other_programs
import sandbox as box
import trial

CHANGES = "open,mkdir,rmdir,chmod,write,fsync,ftruncate,fallocate,rename,link,unlink"
FLAVOURS = {
    "plain": {"records": 400},
    "delete": {"records": 400, "delete": True, "backup": True},
    "mixed": {"records": 400, "mixed": True},
    "large": {"records": 12000, "delete": True},
}


def make(programs, options, flavour):
    seed = "%d/%s" % (options.seed, flavour)
    if flavour in other_programs.FLAVOURS:
        return other_programs.make(programs, seed, flavour)
    return box.Sandbox(programs, programs.template(), seed, **FLAVOURS[flavour])


def command_of(sandbox, flavour):
    if flavour in other_programs.FLAVOURS:
        return other_programs.command_of(sandbox, flavour)
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
    for flavour in [*FLAVOURS, *other_programs.FLAVOURS]:
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
        if flavour in other_programs.FLAVOURS:
            return other_programs.examine(sandbox, flavour, outcome)
        problems, counts = box.examine_outcome(sandbox, outcome)
        if outcome.status == -signal.SIGKILL:
            counts = {"stored": counts["stored"]}
        return problems + box.examine_next_import(sandbox), counts


if __name__ == "__main__":
    sys.exit(trial.main("kill", make_cases, run_case))
