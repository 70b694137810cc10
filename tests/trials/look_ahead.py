#!/usr/bin/env python3
"""Trial: an import that asks a server for the keys of many records at once is killed, or loses its session, at chosen
messages to the server; and so is its twin, which looks for every record by itself.

Whatever happened, the two end alike, and as where nothing happened: the same addresses, rows of the index, records held
back and figures, after an import of the same source where the first did not come to its end.
"""

import dataclasses
import os
import random
import signal
import sys

import lost_server
import sandbox as box
import trial

RECORDS = 1500
# A table with a trigger is not as the host makes it, so that nothing is asked ahead.
ONE_BY_ONE = """CREATE FUNCTION nichts() RETURNS trigger LANGUAGE plpgsql AS $$ BEGIN RETURN NEW; END $$;
CREATE TRIGGER nichts BEFORE INSERT ON Adressindex FOR EACH ROW EXECUTE FUNCTION nichts();
"""
STATE = {
    "addresses": "SELECT KundenNummer, Bez1, Strasse, PLZ, Ort, Umsatz, Mitarbeiter FROM Kunden ORDER BY 1",
    "index": "SELECT Adressart, Referenz, Doubletkey1, Doubletkey2, Doubletkey3 FROM Adressindex ORDER BY 1, 2",
    "held back": "SELECT Spalte2 FROM Protokollzeilen WHERE Spalte1 = 'KundenNummer' AND ProtokollNr = "
                 "(SELECT max(ProtokollNr) FROM Protokoll WHERE Liste = 'LST_ImportDublett') ORDER BY 1",
    "end": "SELECT Zustand, Gelesen, Neu + Aktualisiert AS Gespeichert, Zurueckgehalten, Abgewiesen, Fehler "
           "FROM Importlauf WHERE LaufNr = (SELECT max(LaufNr) FROM Importlauf)",
}


class Host(lost_server.HostOnServer):
    """With records that repeat others, near and far ones."""

    def __init__(self, server, ahead, *arguments, **options):
        super().__init__(server, *arguments, mixed=True, **options)
        if not ahead:
            server.sql(self.name, ONE_BY_ONE)

    def write_source(self, path, records):
        rng = random.Random(self.seed)
        for place in range(1, len(records)):
            twin = records[max(0, place - rng.choice((1, 2, 30, 400, 1000)))]
            # One that is refused is held back by the next import, where its twin then stands.
            if rng.randrange(6) == 0 and not records[place].is_refused() and not twin.is_refused():
                records[place] = dataclasses.replace(records[place], name=twin.name, street=twin.street,
                                                     postcode=twin.postcode, town=twin.town)
        self.may_be_stored = list(records)
        super().write_source(path, records)

    def state(self):
        return {what: self.query(sql) for what, sql in STATE.items()}


def make(programs, options, server, ahead):
    return Host(server, ahead, programs, programs.template(), "%d/look_ahead" % options.seed, records=RECORDS)


def ended(sandbox, process):
    lost_server.ended(sandbox, sandbox.server.sessions(sandbox.name))
    os.killpg(process.pid, signal.SIGCONT)


def killed(_, process):
    os.killpg(process.pid, signal.SIGKILL)


def make_cases(programs, options):
    server = programs.keep(lost_server.Server())
    states, counts = {}, {}
    for ahead in (True, False):
        with make(programs, options, server, ahead) as sandbox:
            counts[ahead] = lost_server.count_messages(programs, "ahead" if ahead else "single", sandbox)
            states[ahead] = sandbox.state()
    if states[True] != states[False]:
        sys.exit("undisturbed, the two end differently")
    if counts[True] * 3 > counts[False] * 2:
        sys.exit("nothing is asked ahead: %d messages, %d without" % (counts[True], counts[False]))
    for loss in (killed, ended):
        for ahead in (True, False):
            for number in trial.spread(counts[ahead], 100 if options.long else 4):
                name = "%s-%s-%d" % ("ahead" if ahead else "single", loss.__name__, number)
                yield name, (server, ahead, loss, number, states[False])


def run_case(programs, options, _, case):
    server, ahead, loss, number, undisturbed = case
    with make(programs, options, server, ahead) as sandbox:
        process = sandbox.start(sandbox.import_command(), programs.injection(
            folders="socket:", calls="send", first=number, action="stop"))
        if sandbox.wait_until_stopped(process):
            loss(sandbox, process)
        outcome = sandbox.finish(process)
        problems, counts = box.examine_outcome(sandbox, outcome)
        # What a killed program's session was at has to end before anybody can tell what stands.
        lost_server.ended(sandbox, sandbox.server.sessions(sandbox.name))
        if outcome.status == -signal.SIGKILL:
            counts = {"stored": counts["stored"]}
            again = sandbox.import_source()
            problems += ["next import: " + problem for problem in sandbox.examine_database()]
            if again.status not in (0, 1):
                problems.append("next import: status %s, %s" % (again.status, again.errors.strip()[-300:]))
        for what, found in sandbox.state().items():
            if found != undisturbed[what]:
                odd = [row for row in found if row not in undisturbed[what]][:2]
                missing = [row for row in undisturbed[what] if row not in found][:2]
                problems.append("%s: %r instead of %r" % (what, odd, missing))
        return problems, counts


if __name__ == "__main__":
    sys.exit(trial.main("look_ahead", make_cases, run_case))
