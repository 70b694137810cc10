"""The programs beside the import that make or change files: the making of a sample host and the saving of a
specification. How each is started and judged."""

import os

import sandbox as box

FLAVOURS = ("init", "save")


def make(programs, seed, flavour):
    return box.Sandbox(programs, None if flavour == "init" else programs.template(), seed)


def command_of(sandbox, flavour):
    if flavour == "init":
        return ["kestrel-import", "init", sandbox.host]
    return ["trial_save_schema", sandbox.specification]


def examine(sandbox, flavour, outcome):
    """What is wrong after a disturbed program, and the counts."""
    if flavour == "init":
        return examine_init(sandbox, outcome), {"hosts made": 1}
    return examine_save(sandbox, outcome), {"saves": 1}


def examine_init(sandbox, outcome):
    """Success is a whole host; after anything else a second attempt makes one."""
    if outcome.status != 0:
        outcome = sandbox.run(command_of(sandbox, "init"))
        if outcome.status == 4:
            # What the first attempt left is not overwritten unless asked for.
            outcome = sandbox.run(command_of(sandbox, "init") + ["--force"])
    if outcome.status != 0:
        return ["init again: status %s, %s" % (outcome.status, outcome.errors.strip())]
    run = sandbox.run(["kestrel-import", "run", "Kunden", "--folder", sandbox.host, "--format", "json"])
    if run.status != 0 or not run.told.get("records"):
        return ["the sample import: status %s, %s" % (run.status, run.errors.strip())]
    wanted = sorted(os.listdir(os.path.join(sandbox.programs.template(), "Import")))
    found = sandbox.listing("host/Import")
    return [] if found == wanted else ["the Import folder holds " + ", ".join(found)]


def examine_save(sandbox, outcome):
    """The specification is the old or the new one, each whole, and what is told of it is so."""
    problems = []
    if outcome.status is None:
        problems.append("the program did not end")
    with open(sandbox.specification, "rb") as file:
        found = file.read()
    if outcome.output.startswith("error"):
        working_copy = outcome.output.split(" ", 1)[1].strip()
        if found == sandbox.spec_bytes and working_copy and not os.path.exists(working_copy):
            problems.append("not saved, and the working copy is gone")
        if not outcome.errors.strip():
            problems.append("not saved without a reason")
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
