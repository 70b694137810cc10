#!/usr/bin/env python3
"""Trial: a system call fails, once or from then on for ever (a dying disk), during an import, the making of a sample
host, the saving of a specification."""

import errno
import os
import sys

import other_programs
import sandbox as box
import trial

ERRORS = ("EIO", "ENOSPC", "EMFILE", "EACCES")
# What each call may fail with.
LIKELY = {
    "open": ERRORS, "mkdir": ("ENOSPC", "EACCES"), "opendir": ("EMFILE", "EACCES"), "rmdir": ("EIO",),
    "chmod": ("EIO",), "read": ("EIO",), "write": ("ENOSPC", "EIO"), "fsync": ("EIO", "ENOSPC"),
    "ftruncate": ("EIO",), "fallocate": ("ENOSPC",), "mmap": ("ENOMEM",), "rename": ("EIO", "EACCES"),
    "link": ("EIO",), "unlink": ("EIO",), "stat": ("EIO",),
}
FLAVOURS = {
    "plain": {},
    "delete": {"delete": True, "backup": True},
    "mixed": {"mixed": True},
}


def make(programs, options, flavour):
    seed = "%d/%s" % (options.seed, flavour)
    if flavour in other_programs.FLAVOURS:
        return other_programs.make(programs, seed, flavour)
    return box.Sandbox(programs, programs.template(), seed, **FLAVOURS[flavour])


def run(sandbox, flavour, environment):
    if flavour in other_programs.FLAVOURS:
        return sandbox.run(other_programs.command_of(sandbox, flavour), environment)
    return sandbox.import_source(environment)


def calls_of(programs, options, flavour):
    """The calls of an undisturbed program, each with its kind of file."""
    with make(programs, options, flavour) as sandbox:
        trace = os.path.join(programs.scratch, "trace-" + flavour)
        outcome = run(sandbox, flavour, programs.injection(folders=sandbox.folder, trace=trace))
        if outcome.status != (1 if flavour == "mixed" else 0):
            sys.exit("undisturbed, it fails: " + outcome.errors)
        with open(trace, encoding="utf-8", errors="replace") as file:
            return [trial.kind_of_call(line, sandbox.folder) for line in file]


def make_cases(programs, options):
    for flavour in [*FLAVOURS, *other_programs.FLAVOURS]:
        calls = calls_of(programs, options, flavour)
        for number in range(1, len(calls) + 1) if options.long else trial.one_of_each(calls, 2):
            name = calls[number - 1][0]
            for error in LIKELY[name] if options.long else LIKELY[name][:1]:
                for lasting in ("once", "lasting"):
                    case = "%s-%s-%d-%s-%s" % (flavour, name, number, error, lasting)
                    yield case, (flavour, number, error, lasting == "lasting")


def run_case(programs, options, _, case):
    flavour, number, error, lasting = case
    with make(programs, options, flavour) as sandbox:
        plan = {"folders": sandbox.folder, "first": number, "action": getattr(errno, error)}
        if lasting:
            plan["last"] = 0
        outcome = run(sandbox, flavour, programs.injection(**plan))
        if flavour in other_programs.FLAVOURS:
            return other_programs.examine(sandbox, flavour, outcome)
        problems, counts = box.examine_outcome(sandbox, outcome)
        return problems + box.examine_next_import(sandbox), counts


if __name__ == "__main__":
    sys.exit(trial.main("faults", make_cases, run_case))
