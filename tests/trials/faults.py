#!/usr/bin/env python3
"""Trial: a system call on a file of an import fails, once or from then on for ever (a dying disk)."""

import errno
import os
import sys

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
    return box.Sandbox(programs, programs.template(), "%d/%s" % (options.seed, flavour), **FLAVOURS[flavour])


def calls_of(programs, options, flavour):
    """The calls of an undisturbed import, as names with the kind of file."""
    with make(programs, options, flavour) as sandbox:
        trace = os.path.join(programs.scratch, "trace-" + flavour)
        outcome = sandbox.import_source(programs.injection(folders=sandbox.folder, trace=trace))
        if outcome.status != (1 if flavour == "mixed" else 0):
            sys.exit("the undisturbed import fails: " + outcome.errors)
        with open(trace, encoding="utf-8", errors="replace") as file:
            return [trial.kind_of_call(line, sandbox.folder) for line in file]


def make_cases(programs, options):
    for flavour in FLAVOURS:
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
        outcome = sandbox.import_source(programs.injection(**plan))
        problems, counts = box.examine_outcome(sandbox, outcome)
        return problems + box.examine_next_import(sandbox), counts


if __name__ == "__main__":
    sys.exit(trial.main("faults", make_cases, run_case))
