#!/usr/bin/env python3
"""Measures what a host in C or Python pays over the command line: CPU seconds, program and system, of whole programs.

usage: bench/hosts.py [--build DIR] [--records N] [--rounds N]

Needs a release build. The programs of a measure run in turns, so that what else goes on on the machine meets all of
them; the least of each counts.
"""
import argparse
import os
import shutil
import sys
import tempfile
from pathlib import Path

import run_bench

TOP = Path(__file__).resolve().parent.parent
HERE = TOP / "bench"
# The system's own, where there is one: what others put around it costs at every start.
PYTHON = shutil.which("python3", path="/usr/bin") or sys.executable


class Hosts:
    def __init__(self, bench):
        self.bench = bench
        self.host = bench.new_host()
        bench.write_specification(self.host, bench.file, "Messung", "")

    def commands(self):
        """By measure: what each program runs; the command line is the first."""
        cli = [str(self.bench.bin / "kestrel-import")]
        where = ["Messung", "--folder", str(self.host)]
        python = [PYTHON, "-B", str(HERE / "python_import.py"), str(self.host), "Messung"]
        run = [*cli, "run", *where, "--test", "--format", "json", "--progress", "plain"]
        return {
            "run --test from C / command line": (run, [str(self.bench.bin / "c_import"), str(self.host), "Messung"], 1.1),
            "run --test from Python / command line": (run, [*python, "run"], 1.1),
            # Nothing is asked for here: what Python itself costs where it looks at each record.
            "run --test told of every record from Python / command line": (run, [*python, "watch"], 0),
        }

    def compare(self, ours, theirs, rounds):
        times = {"ours": [], "theirs": []}
        for number in range(rounds):
            for side in ("ours", "theirs") if number % 2 else ("theirs", "ours"):
                command = ours if side == "ours" else theirs
                times[side].append(run_bench.Outcome(command, accepted=(0, 1)).seconds)
        return min(times["ours"]), min(times["theirs"])


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--build", type=Path, default=TOP / "build" / "release")
    parser.add_argument("--records", type=int, default=1_000_000)
    parser.add_argument("--rounds", type=int, default=3)
    options = parser.parse_args()
    build = options.build.resolve()
    os.environ["KESTREL_LIBRARY"] = str(build / "lib" / "libkestrelimport.so.2")
    os.environ["PYTHONPATH"] = str(TOP / "bindings" / "python" / "src")
    with tempfile.TemporaryDirectory() as scratch:
        bench = run_bench.Bench(build, Path(scratch), options.records, options.rounds)
        hosts = Hosts(bench)
        for name, (theirs, ours, limit) in hosts.commands().items():
            our_seconds, their_seconds = hosts.compare(ours, theirs, options.rounds)
            run_bench.report(name, our_seconds, their_seconds, limit)


if __name__ == "__main__":
    main()
