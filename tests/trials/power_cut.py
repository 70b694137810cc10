#!/usr/bin/env python3
"""Trial: the power fails. An import on a file system of its own, in a file; a copy of that file is what the disk
holds at that moment. Taken before the source is removed, when success has been told, and between system calls."""

import os
import shutil
import signal
import subprocess
import sys
import tempfile

import sandbox as box
import trial

FLAVOURS = {
    "plain": {"records": 10000},
    "delete": {"records": 10000, "delete": True, "backup": True},
}
MIB = 1 << 20
CHANGES = "open,mkdir,rmdir,chmod,write,fsync,ftruncate,fallocate,rename,link,unlink"


class Disk:
    """An ext4 in a file. Nothing reaches the file but what is asked to: the journal waits five minutes."""

    def __init__(self, folder, image=None):
        self.image = os.path.join(folder, "disk")
        self.mounted = os.path.join(folder, "mounted")
        os.mkdir(self.mounted)
        if image is None:
            with open(self.image, "wb") as file:
                file.truncate(96 * MIB)
            subprocess.run(["mkfs.ext4", "-q", "-E", "lazy_itable_init=0", self.image], check=True)
        else:
            shutil.copyfile(image, self.image)
        subprocess.run(["mount", "-o", "loop,commit=300", self.image, self.mounted], check=True)

    def close(self):
        subprocess.run(["umount", self.mounted], check=True)


def probe():
    with tempfile.TemporaryDirectory(prefix="kestrel-trial-") as folder:
        try:
            Disk(folder).close()
        except (subprocess.CalledProcessError, FileNotFoundError) as error:
            raise trial.Skip("no disk can be made in a file here: %s" % error) from error


def calls_until_told(programs, options, flavour):
    """The changing calls of an import up to the moment at which it tells its end."""
    trace = os.path.join(programs.scratch, "trace-" + flavour)
    with make(programs, options, flavour, None) as sandbox:
        process = start_import(sandbox, programs.injection(folders=sandbox.folder, calls=CHANGES, trace=trace))
        told = sandbox.wait_until_told(process)
        with open(trace, encoding="utf-8", errors="replace") as file:
            calls = [trial.kind_of_call(line, sandbox.folder) for line in file]
        process.kill()
        outcome = sandbox.finish(process)
        if not told:
            sys.exit("undisturbed, it fails: " + outcome.errors)
    return calls


def make_cases(programs, options):
    probe()
    for flavour in FLAVOURS:
        yield flavour + "-told", (flavour, None)
        calls = calls_until_told(programs, options, flavour)
        if FLAVOURS[flavour].get("delete"):
            yield flavour + "-removal", (flavour, {"calls": "unlink", "folders": "work/quelle.txt", "first": 1})
        for number in trial.spread(len(calls), 60 if options.long else 3):
            yield "%s-%d" % (flavour, number), (flavour, {"calls": CHANGES, "folders": "", "first": number})


def make(programs, options, flavour, folder):
    return box.Sandbox(programs, programs.template(), "%d/%s" % (options.seed, flavour), folder=folder,
                       **FLAVOURS[flavour])


def start_import(sandbox, environment):
    """An import that keeps its connection open once it has told its end."""
    plug_ins = os.path.join(sandbox.programs.build, "lib", "kestrel", "components")
    return sandbox.start(["trial_open_connection", sandbox.specification, sandbox.database],
                         dict(environment, KESTREL_COMPONENTS=plug_ins), held=True)


def run_case(programs, options, _, case):
    flavour, plan = case
    with tempfile.TemporaryDirectory(prefix="kestrel-trial-") as folder:
        disk = Disk(folder)
        try:
            with make(programs, options, flavour, disk.mounted) as sandbox:
                subprocess.run(["sync", "--file-system", disk.mounted], check=True)
                environment = {}
                if plan is not None:
                    plan = dict(plan, folders=sandbox.path(plan["folders"]), action="stop")
                    environment = programs.injection(**plan)
                process = start_import(sandbox, environment)
                # How many calls there are varies a little; an import that ends before is cut off at its end.
                there = sandbox.wait_until_stopped(process) if plan else sandbox.wait_until_told(process)
                told = sandbox.has_told(process)
                cut = os.path.join(folder, "cut")
                shutil.copyfile(disk.image, cut)
                os.killpg(process.pid, signal.SIGKILL)
                sandbox.finish(process)
                if not (there or told):
                    return ["the import did not come so far"], {}
                sandbox.keep = True
        finally:
            disk.close()
        os.rmdir(disk.mounted)
        return examine(sandbox, folder, cut, told)


def examine(sandbox, folder, cut, told):
    """The copy, mounted where the disk was, so that every path is as it was."""
    disk = Disk(folder, cut)
    try:
        outcome = box.Outcome(-signal.SIGKILL, {}, "", "")
        problems, counts = box.examine_outcome(sandbox, outcome)
        stored = counts["stored"]
        if told and stored != len(sandbox.records):
            problems.append("success was told, %d of %d records are on the disk" % (stored, len(sandbox.records)))
        return problems + box.examine_next_import(sandbox), {"stored": stored}
    finally:
        disk.close()


if __name__ == "__main__":
    sys.exit(trial.main("power_cut", make_cases, run_case))
