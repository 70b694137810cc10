"""python_import.py HOST SPECIFICATION run|watch: a test run from Python, without a function for records, or told of
every record. bench/hosts.py compares it with the command line's."""
import sys

import kestrel_import

host, specification, what = sys.argv[1:]
with kestrel_import.Library(home=host) as library, library.connect(f"{host}/kestrel.db") as connection:
    with library.open(specification, connection=connection) as job:
        told = 0

        def note(outcome):
            global told
            told += 1

        watched = {"record": note, "every_record": True} if what == "watch" else {}
        result = job.run(test=True, progress=lambda percent, text: None, **watched)
        if watched and told != result.read:
            sys.exit("not every record was told")
        print(result.read)
