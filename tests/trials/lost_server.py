#!/usr/bin/env python3
"""Trial: the server is lost during an import into it, or during the reading of a source from it.

The import is stopped at a chosen message to the server; its session is then ended, or frozen, or the whole server
starts anew; the import goes on.
"""

import contextlib
import json
import os
import signal
import subprocess
import sys
import threading

import sandbox as box
import trial

SERVER = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "servers", "postgres_server.py")
FLAVOURS = {
    "host": {"records": 400, "delete": True},
    "host-mixed": {"records": 400, "mixed": True},
    "source": {"records": 400, "kind": "sql"},
}
# The driver fetches the source in several pieces.
DRIVERS = "[SQLOLEDB.1]\nDriver=PostgreSQL Unicode\nOptions=UseDeclareFetch=1;Fetch=50\n"


class Server:
    """A server; those who share it have a database each."""

    def __init__(self, *options):
        self.process = subprocess.Popen([sys.executable, "-B", SERVER, "--durable", *options], stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        told = self.process.stdout.readline().split()
        if len(told) != 4:
            raise trial.Skip("no server: " + self.process.stderr.read().strip())
        self.port, self.password = told[1], told[3]
        self.count = 0
        self.lock = threading.Lock()

    def new_database(self):
        with self.lock:
            self.count += 1
            name = "probe%d" % self.count
            self.sql("postgres", "CREATE DATABASE %s" % name)
            return name

    def sql(self, database, text, patience=60):
        """The rows. A server that is just starting is asked again."""
        end = box.time.monotonic() + patience
        while True:
            command = ["psql", "-XqAt", "-v", "ON_ERROR_STOP=1", "-h", "127.0.0.1", "-p", self.port, "-U", "kestrel"]
            done = subprocess.run([*command, database], input=text, text=True, capture_output=True,
                                  env={**os.environ, "PGPASSWORD": self.password}, check=False)
            if done.returncode == 0:
                return done.stdout
            if done.returncode == 3 or box.time.monotonic() > end:  # 3: the text itself is at fault
                raise box.sqlite3.Error(done.stderr)
            box.time.sleep(0.05)

    def sessions(self, database):
        return [int(line) for line in self.sql(
            "postgres", "SELECT pid FROM pg_stat_activity WHERE datname = '%s'" % database).split()]

    def close(self):
        self.process.stdin.close()
        self.process.wait()


class HostOnServer(box.Sandbox):
    """A sandbox whose host database is on the server."""

    def __init__(self, server, *arguments, **options):
        self.server = server
        self.name = server.new_database()
        super().__init__(*arguments, **options)
        os.unlink(os.path.join(self.host, "kestrel.db"))
        done = self.run(["kestrel-import", "init", self.path("home/host"), "--host", self.host_connection()])
        if done.status != 0:
            raise RuntimeError(done.errors)

    def host_connection(self):
        return "postgresql://kestrel:%s@127.0.0.1:%s/%s" % (self.server.password, self.server.port, self.name)

    def query(self, sql):
        text = self.server.sql(self.name, "SELECT COALESCE(json_agg(found), '[]') FROM (%s) AS found;" % sql)
        return [tuple(row.values()) for row in json.loads(text)]

    def examine_storage(self):
        return []


class SourceOnServer(box.Sandbox):
    """A sandbox whose source is a table on the server; its file is the script that made the table."""

    def __init__(self, server, *arguments, **options):
        self.server = server
        self.name = server.new_database()
        super().__init__(*arguments, **options)
        server.sql(self.name, self.source_bytes.decode())

    def write_source(self, path, records):
        columns = ", ".join('"%s" text' % name for name in box.HEADINGS)
        rows = box.table_text(records, "\t", "\n").decode().split("\n", 1)[1]
        with open(path, "w", encoding="utf-8") as file:
            file.write("CREATE TABLE quelle (%s);\nCOPY quelle FROM STDIN;\n%s\\.\n" % (columns, rows))

    def source_settings(self):
        return "Microsoft SQL-Server", self.name, "quelle"

    def more_settings(self):
        return "Server=127.0.0.1,%s\nUser=kestrel\nPassword=%s\n" % (self.server.port, self.server.password)

    def environment(self, more):
        with open(self.path("home/drivers.ini"), "w", encoding="ascii") as file:
            file.write(DRIVERS)
        return super().environment({"KESTREL_DRIVERS": self.path("home/drivers.ini"), "KESTREL_ANSWER_WAIT": "5",
                                    **(more or {})})


def make(programs, options, server, flavour):
    kind = SourceOnServer if flavour == "source" else HostOnServer
    return kind(server, programs, programs.template(), "%d/%s" % (options.seed, flavour), **FLAVOURS[flavour])


# --- Losses; each is told the sandbox and the sessions of its database ---

def ended(sandbox, sessions):
    for session in sessions:
        sandbox.server.sql("postgres", "SELECT pg_terminate_backend(%d)" % session)


def frozen(_, sessions):
    for session in sessions:
        os.kill(session, signal.SIGSTOP)


def restarted(_, sessions):
    """A server whose session is killed ends all others and starts anew, for nobody else here."""
    for session in sessions:
        os.kill(session, signal.SIGKILL)


def refused(sandbox, sessions):
    """No way back to the database."""
    sandbox.server.sql("postgres", 'ALTER DATABASE "%s" ALLOW_CONNECTIONS false' % sandbox.name)
    ended(sandbox, sessions)


def wake(sessions):
    for session in sessions:
        try:
            os.kill(session, signal.SIGCONT)
        except ProcessLookupError:
            pass


def count_messages(programs, flavour, sandbox):
    """How many an undisturbed import sends to its server."""
    trace = os.path.join(programs.scratch, "trace-" + flavour)
    outcome = sandbox.import_source(programs.injection(folders="socket:", calls="send", trace=trace))
    if outcome.status not in (0, 1):
        sys.exit("undisturbed, it fails: " + outcome.errors)
    with open(trace, encoding="utf-8") as file:
        return len(file.readlines())


def make_cases(programs, options):
    server = programs.keep(Server())
    for flavour in FLAVOURS:
        with make(programs, options, server, flavour) as sandbox:
            count = count_messages(programs, flavour, sandbox)
        for loss, short in ((ended, 6), (refused, 3), (restarted, 1), (frozen, 3)):
            # This ODBC driver knows no time limit: its poll ends when the server answers, never otherwise, and a
            # cancelled query is answered by the very session that is frozen.
            if loss is frozen and flavour == "source":
                continue
            for number in trial.spread(count, 10 * short if options.long else short):
                yield "%s-%s-%d" % (flavour, loss.__name__, number), (server, flavour, loss, number)


def run_case(programs, options, _, case):
    shared, flavour, loss, number = case
    with contextlib.ExitStack() as stack:
        server = shared if loss is not restarted else stack.enter_context(contextlib.closing(Server()))
        sandbox = stack.enter_context(make(programs, options, server, flavour))
        process = sandbox.start(sandbox.import_command(), programs.injection(
            folders="socket:", calls="send", first=number, action="stop"))
        sessions = []
        if sandbox.wait_until_stopped(process):
            sessions = server.sessions(sandbox.name)
            loss(sandbox, sessions)
            os.killpg(process.pid, signal.SIGCONT)
        outcome = sandbox.finish(process)
        if loss is frozen:
            wake(sessions)
        if loss is refused:
            server.sql("postgres", 'ALTER DATABASE "%s" ALLOW_CONNECTIONS true' % sandbox.name)
        server.sql(sandbox.name, "SELECT 1")  # waits until it is there again
        problems, counts = box.examine_outcome(sandbox, outcome)
        return problems + box.examine_next_import(sandbox), counts


if __name__ == "__main__":
    sys.exit(trial.main("lost_server", make_cases, run_case))
