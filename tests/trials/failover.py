#!/usr/bin/env python3
"""Trial: the server dies during an import into it, and its standby is promoted.

The import knows both addresses. It is stopped at a chosen message to the server; the primary, whose commits wait for
the standby, is killed, and the import goes on. It has to end at the new primary, as if nothing had happened.
"""

import contextlib
import os
import signal
import sys

import lost_server
import sandbox as box
import trial

FLAVOURS = {
    "host": {"records": 400, "delete": True},
    "host-mixed": {"records": 400, "mixed": True},
}
LONGEST_WAIT = 30  # seconds, for what takes one


class Pair(lost_server.Server):
    """A primary and its standby. `sql` asks the one that is the primary."""

    def __init__(self):
        super().__init__()
        self.first_port = self.port
        self.standby = lost_server.Server("--standby-of", self.port, self.password)
        self.sql("postgres", "ALTER SYSTEM SET synchronous_standby_names = '*'")
        self.sql("postgres", "SELECT pg_reload_conf()")
        self.wait_for("SELECT count(*) FROM pg_stat_replication WHERE sync_state = 'sync'")

    def wait_for(self, count, process=None):
        """Until the query counts something, or the process has ended."""
        end = box.time.monotonic() + LONGEST_WAIT
        while self.sql("postgres", count).strip() in ("", "0"):
            if process is not None and process.poll() is not None:
                return
            if box.time.monotonic() > end:
                raise RuntimeError("in vain: " + count)
            box.time.sleep(0.05)

    def kill_primary(self):
        """The primary and all its sessions; none gets to know that it is to end."""
        postmaster = parent_of(self.sql("postgres", "SELECT pid FROM pg_stat_activity "
                                                    "WHERE backend_type = 'checkpointer'").strip())
        os.kill(postmaster, signal.SIGSTOP)
        for process in [name for name in os.listdir("/proc") if name.isdigit()]:
            if parent_of(process) == postmaster:
                os.kill(int(process), signal.SIGKILL)
        os.kill(postmaster, signal.SIGKILL)
        self.port = self.standby.port

    def promote(self):
        self.sql("postgres", "SELECT pg_promote()")

    def close(self):
        self.standby.close()
        super().close()


def parent_of(process):
    """0 where it has ended."""
    try:
        with open("/proc/%s/stat" % process, encoding="utf-8", errors="replace") as file:
            return int(file.read().rpartition(")")[2].split()[1])
    except (FileNotFoundError, ProcessLookupError):
        return 0


class HostOnPair(lost_server.HostOnServer):
    """A sandbox whose host database is on a primary and its standby."""

    def host_connection(self):
        pair = self.server
        return "postgresql://kestrel:%s@127.0.0.1:%s,127.0.0.1:%s/%s?target_session_attrs=read-write" % (
            pair.password, pair.first_port, pair.standby.port, self.name)

    def environment(self, more):
        return super().environment({"KESTREL_LOCK_WAIT": str(LONGEST_WAIT), **(more or {})})


def make(programs, options, pair, flavour):
    return HostOnPair(pair, programs, programs.template(), "%d/%s" % (options.seed, flavour), **FLAVOURS[flavour])


def make_cases(programs, options):
    yield "standby", ("host", 0)
    with contextlib.closing(Pair()) as pair:
        for flavour in FLAVOURS:
            with make(programs, options, pair, flavour) as sandbox:
                count = lost_server.count_messages(programs, flavour, sandbox)
            # Before, the program has not yet begun.
            first = count // 3
            for number in trial.spread(count - first, 20 if options.long else 2):
                yield "%s-%d" % (flavour, first + number), (flavour, first + number)


def examine_standby(pair, sandbox):
    """An import that knows no other address than the standby's is told so, and does nothing."""
    begun = "SELECT count(*) FROM Importlauf UNION ALL SELECT count(*) FROM Protokoll"
    address = "postgresql://kestrel:%s@127.0.0.1:%s/%s" % (pair.password, pair.standby.port, sandbox.name)
    pair.wait_for("SELECT count(*) FROM pg_stat_replication WHERE replay_lsn >= pg_current_wal_lsn()")
    outcome = sandbox.run([address if word == sandbox.host_connection() else word for word in sandbox.import_command()])
    problems = [] if outcome.status == 4 and not outcome.told else ["status %s: %s" % (outcome.status, outcome.told)]
    if len(outcome.errors.splitlines()) != 1 or "Standby" not in outcome.errors:
        problems.append("not one clear error: " + outcome.errors)
    if any(row[0] for row in sandbox.query(begun)):
        problems.append("an import was begun")
    return problems, {}


def run_case(programs, options, _, case):
    flavour, number = case
    with contextlib.closing(Pair()) as pair, make(programs, options, pair, flavour) as sandbox:
        if number == 0:
            return examine_standby(pair, sandbox)
        process = sandbox.start(sandbox.import_command(), programs.injection(
            folders="socket:", calls="send", first=number, action="stop"))
        if sandbox.wait_until_stopped(process):
            pair.kill_primary()
            os.killpg(process.pid, signal.SIGCONT)
            if number % 2:
                # It has tried the standby, which takes no changes yet.
                pair.wait_for("SELECT sessions FROM pg_stat_database WHERE datname = '%s'" % sandbox.name, process)
            pair.promote()
        outcome = sandbox.finish(process)
        problems, counts = box.examine_outcome(sandbox, outcome)
        if outcome.status not in (0, 1):
            problems.append("the import did not go on: status %s, %s" % (outcome.status, outcome.errors[-500:]))
        missing = {record.number for record in sandbox.records if not record.is_refused()} - sandbox.covered(
            sandbox.stored())
        if missing:
            problems.append("%d records are missing, %d errors told" % (len(missing), outcome.told.get("errors", 0)))
        return problems + box.examine_next_import(sandbox), counts


if __name__ == "__main__":
    sys.exit(trial.main("failover", make_cases, run_case))
