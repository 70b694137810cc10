"""What all trials share: options, running the cases, telling the result.

A trial is a list of cases, each with a name that repeats it. A case ends with what is wrong (nothing, as a rule)
and the counts of its records. Exit status: 0 nothing lost, 1 something was, 77 this machine lacks what is needed.
"""

import argparse
import collections
import concurrent.futures
import os
import re
import shutil
import subprocess
import sys
import tempfile
import threading
import time

SKIPPED = 77


class Skip(Exception):
    """This machine cannot make this trial; the reason."""


class Programs:
    """The programs under trial, and the library that is loaded into them."""

    def __init__(self, build):
        self.build = os.path.abspath(build)
        self.kept = []
        self.lock = threading.Lock()
        self.scratch = tempfile.mkdtemp(prefix="kestrel-trials-")

    def program(self, name):
        return name if "/" in name else os.path.join(self.build, "bin", name)

    def injection(self, **plan):
        """The environment that loads the library with that plan (see fault_injection.cpp)."""
        environment = {"LD_PRELOAD": os.path.join(self.build, "lib", "fault_injection.so")}
        environment.update({"KESTREL_TRIAL_" + key.upper(): str(value) for key, value in plan.items()})
        return environment

    def template(self):
        """A sample host to copy from."""
        folder = os.path.join(self.scratch, "host")
        with self.lock:
            if not os.path.exists(folder):
                subprocess.run([self.program("kestrel-import"), "init", folder], check=True, stdout=subprocess.DEVNULL)
        return folder

    def keep(self, thing):
        """Closed when the trial ends."""
        self.kept.append(thing)
        return thing

    def close(self):
        for thing in self.kept:
            thing.close()
        shutil.rmtree(self.scratch, ignore_errors=True)


def kind_of_call(line, folder):
    """The call's name and what kind of file it was on, from a line of the trace."""
    _, name, path = line.rstrip("\n").split(" ", 2)
    path = path.removeprefix(folder)
    for pattern, kind in ((r"kestrel-\w{6}", "scratch"), (r"~\d+", "~"), (r"\.\w{6}$", ".sibling")):
        path = re.sub(pattern, kind, path)
    return name, path


def spread(count, most):
    """At most `most` numbers of 1 to `count`, evenly spread, the first and the last among them; one: the middle."""
    if count <= most:
        return list(range(1, count + 1))
    if most == 1:
        return [(count + 1) // 2]
    return sorted({1 + round(step * (count - 1) / (most - 1)) for step in range(most)})


def one_of_each(calls, most_of_one):
    """Numbers of calls, at most `most_of_one` of each kind of call on each file, evenly spread."""
    kinds = collections.defaultdict(list)
    for number, call in enumerate(calls, 1):
        kinds[call].append(number)
    return sorted(numbers[place - 1] for numbers in kinds.values() for place in spread(len(numbers), most_of_one))


def main(name, make_cases, run_case):
    """`make_cases(programs, options)`: pairs of a name and what the case is; `run_case(programs, options, name,
    case)`: problems and counts. Both may raise Skip."""
    parser = argparse.ArgumentParser(description=run_case.__doc__)
    parser.add_argument("--build", required=True, metavar="DIR", help="build folder")
    parser.add_argument("--long", action="store_true", help="every case instead of a spread of them")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--case", metavar="NAME", help="this case alone")
    parser.add_argument("--only", metavar="TEXT", default="", help="cases with this in their name")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    options = parser.parse_args()
    programs = Programs(options.build)
    begin = time.monotonic()
    totals = collections.Counter()
    failed = done = 0
    try:
        cases = [case for case in make_cases(programs, options)
                 if options.case in (None, case[0]) and options.only in case[0]]
        if not cases:
            sys.exit("no such case: %s" % (options.case or options.only))
        with concurrent.futures.ThreadPoolExecutor(options.jobs) as pool:
            futures = [(case[0], pool.submit(run_case, programs, options, *case)) for case in cases]
            for case, future in futures:
                problems, counts = future.result()
                done += 1
                totals.update(counts)
                if problems:
                    failed += 1
                    print("LOST %s %s: %s\n  again: scripts/trials %s --seed %d --case '%s'" %
                          (name, case, "; ".join(problems), name, options.seed, case), flush=True)
    except Skip as reason:
        print("%s: skipped: %s" % (name, reason))
        return SKIPPED
    finally:
        programs.close()
    print("%s: %d cases in %.0f s, %s: %s" %
          (name, done, time.monotonic() - begin, ", ".join("%d %s" % (totals[key], key) for key in totals),
           "nothing lost" if failed == 0 else "LOST in %d cases" % failed))
    return 0 if failed == 0 else 1
