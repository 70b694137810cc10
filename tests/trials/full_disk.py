#!/usr/bin/env python3
"""Trial: the disk is full during an import: that of the host database, the specifications, the temporary files or
the backup copy. A real file system in memory, in a name space of its own for mounts, so that nothing stays."""

import os
import shutil
import subprocess
import sys

import sandbox as box
import trial

OWN_SPACE = "KESTREL_TRIAL_OWN_SPACE"
ROOM = 64 << 10  # KiB
PLACES = {"database": "host", "specifications": "host/Import", "temporary": "tmp", "backup": "work/backup"}
FLAVOURS = {
    "delete": {"records": 400, "delete": True, "backup": True},
    "mixed": {"records": 400, "mixed": True},
}
PAGE = 4  # KiB


def enter_own_space():
    """Goes on in a process that may mount what nobody else sees; as a plain user, too, where the system lets it."""
    if OWN_SPACE in os.environ:
        return
    for options in (["--mount"], ["--mount", "--map-root-user"]):
        probe = "mount -t tmpfs -o size=64k none /mnt"
        if subprocess.run(["unshare", *options, "sh", "-c", probe], capture_output=True, check=False).returncode == 0:
            os.environ[OWN_SPACE] = "1"
            os.execvp("unshare", ["unshare", *options, sys.executable, "-B", *sys.argv])


def mount(*arguments):
    subprocess.run(["mount", *arguments], check=True)


class SmallDisk:
    """A folder of a sandbox moved to a file system of its own."""

    def __init__(self, path):
        self.path = path
        aside = path + ".aside"
        os.rename(path, aside)
        os.mkdir(path)
        mount("-t", "tmpfs", "-o", "size=%dk,mode=755" % ROOM, "none", path)
        shutil.copytree(aside, path, dirs_exist_ok=True)
        shutil.rmtree(aside)

    def leave(self, free):
        """KiB free from now on."""
        told = os.statvfs(self.path)
        used = (told.f_blocks - told.f_bfree) * told.f_frsize >> 10
        mount("-o", "remount,size=%dk" % max(used + free, PAGE), self.path)  # 0 is without limit

    def close(self):
        subprocess.run(["umount", "--lazy", self.path], check=True)


def make_cases(_, options):
    if OWN_SPACE not in os.environ:
        raise trial.Skip("no file system can be mounted here")
    frees = range(0, 420, PAGE) if options.long else (0, 4, 12, 40, 120, 200, 320)
    for flavour in FLAVOURS:
        for place in PLACES:
            if place == "backup" and flavour != "delete":
                continue
            for free in frees:
                yield "%s-%s-%d" % (flavour, place, free), (flavour, place, free)


def run_case(programs, options, _, case):
    flavour, place, free = case
    with box.Sandbox(programs, programs.template(), "%d/%s" % (options.seed, flavour), **FLAVOURS[flavour]) as sandbox:
        disk = SmallDisk(sandbox.path(PLACES[place]))
        try:
            disk.leave(free)
            outcome = sandbox.import_source()
            disk.leave(ROOM)
            problems, counts = box.examine_outcome(sandbox, outcome)
            return problems + box.examine_next_import(sandbox), counts
        finally:
            disk.close()


if __name__ == "__main__":
    enter_own_space()
    sys.exit(trial.main("full_disk", make_cases, run_case))
