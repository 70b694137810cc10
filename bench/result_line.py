"""What a program measured, for the table of run_all: as result_line.h, for programs in Python."""
import json
import os


def report(what, ours, naive="", peers="", ratio=0.0, limit=0.0, at_least=False):
    """Appends a result to the file that KESTREL_BENCH_RESULTS names; without that variable, nothing."""
    path = os.environ.get("KESTREL_BENCH_RESULTS")
    if not path:
        return
    line = {"what": what, "ours": ours, "naive": naive, "peers": peers, "ratio": ratio, "limit": limit,
            "at_least": at_least}
    with open(path, "a", encoding="utf-8") as file:
        file.write(json.dumps(line, ensure_ascii=False) + "\n")
