"""python_import.py HOST SPECIFICATION run|watch|check: a test run, or a check, from Python. bench/hosts.py compares
it with the command line's. `watch` is told of every record."""
import sys

import kestrel_import

host, specification, what = sys.argv[1:]
with kestrel_import.Library(home=host) as library, library.connect(f"{host}/kestrel.db") as connection:
    with library.open(specification, connection=connection) as job:
        if what == "check":
            print(len(job.check(all_records=True)))
        else:
            told = 0

            def note(outcome):
                global told
                told += 1

            result = job.run(test=True, record=note, every_record=what == "watch", progress=lambda percent, text: None)
            if what == "watch" and told < result.read:
                sys.exit("not every record was told")
            print(result.read)
