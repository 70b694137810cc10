#!/usr/bin/env python3
"""What a system is told of the programs, and the watched folder: by the programs that read and run it.

    packaging_test.py SOURCES BUILD [unittest options]

A test whose program is not installed skips, and says so.
"""
import email
import email.policy
import fcntl
import glob
import json
import os
import pty
import re
import select
import shutil
import signal
import subprocess
import sys
import tempfile
import unittest

SOURCES, BUILD = (os.path.abspath(path) for path in sys.argv[1:3])
TEXTS = os.path.join(BUILD, "packaging", "texts")
PROGRAM = os.path.join(BUILD, "bin", "kestrel-import")
HOST = os.path.join(BUILD, "bin", "kestrel-host")


def run(*command, **options):
    options.setdefault("timeout", 120)
    return subprocess.run(command, text=True, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                          **options)


def need(program):
    if shutil.which(program) is None:
        raise unittest.SkipTest(f"{program} is not installed")


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


def commands(tree, path=""):
    for command in tree["commands"]:
        name = f"{path} {command['name']}".strip()
        yield name, command
        yield from commands(command, name)


class Scratch(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.tree = json.loads(run(PROGRAM, "--describe-commands").stdout)


class Completions(Scratch):
    """One list of questions for the three shells: what is typed, and what has to be offered and what not."""

    QUESTIONS = [
        ("kestrel-import ru", {"run", "runs"}, {"undo"}),
        ("kestrel-import run --re", {"--rejects"}, {"--test"}),
        ("kestrel-import run --fol", {"--folder"}, set()),
        ("kestrel-import --format ", {"text", "json", "csv"}, {"run"}),
        ("kestrel-import --format js", {"json"}, {"csv"}),
        ("kestrel-import run --progress ", {"auto", "plain", "none"}, set()),
        ("kestrel-import --folder . log ", {"errors", "duplicates"}, {"run"}),
        ("kestrel-import show Kun", {"Kundenliste"}, {"Messe"}),
        ("kestrel-import run Kundenliste --file tele", {"telefon.txt"}, set()),
        ("kestrel-import help ta", {"tables", "target"}, {"run"}),
    ]

    def setUp(self):
        super().setUp()
        os.makedirs(os.path.join(self.folder, "Import"))
        for name in ("Import/Kundenliste.IMP", "Import/Messe.IMP", "telefon.txt"):
            with open(os.path.join(self.folder, name), "w", encoding="utf-8"):
                pass
        self.env = {"PATH": os.path.dirname(PROGRAM) + ":" + os.environ["PATH"], "HOME": self.folder,
                    "KESTREL_HOME": self.folder, "LC_ALL": "C.UTF-8", "TERM": "dumb"}

    def ask(self, offers):
        for typed, wanted, unwanted in self.QUESTIONS:
            with self.subTest(typed=typed):
                offered = offers(typed)
                self.assertLessEqual(wanted, offered)
                self.assertFalse(unwanted & offered, offered)

    def test_bash_offers_what_fits(self):
        script = os.path.join(self.folder, "ask")
        with open(script, "w", encoding="utf-8") as file:
            file.write(f"source '{TEXTS}/kestrel-import.bash'\n"
                       "COMP_WORDS=(\"$@\") COMP_CWORD=$(($# - 1))\n"
                       "_kestrel_import\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n")

        def offers(typed):
            told = run("bash", "--norc", script, *typed.split(" "), env=self.env, cwd=self.folder)
            self.assertEqual(told.stderr, "")
            return set(told.stdout.split())

        self.ask(offers)
        # As bash cuts it at "=".
        told = run("bash", "--norc", script, "kestrel-import", "--format", "=", "js", env=self.env, cwd=self.folder)
        self.assertEqual(told.stdout, "json\n")
        told = run("bash", "--norc", script, "kestrel-import", "--format", "=", env=self.env, cwd=self.folder)
        self.assertEqual(set(told.stdout.split()), {"text", "json", "csv"})
        # As it arrives where "=" does not part words.
        told = run("bash", "--norc", script, "kestrel-import", "--format=js", env=self.env, cwd=self.folder)
        self.assertEqual(told.stdout, "--format=json\n")

    def test_fish_offers_what_fits(self):
        need("fish")

        def offers(typed):
            told = run("fish", "--no-config", "-c", f"source '{TEXTS}/kestrel-import.fish'; complete -C '{typed}'",
                       env=self.env, cwd=self.folder)
            self.assertEqual(told.stderr, "")
            return {line.split("\t")[0] for line in told.stdout.splitlines()}

        self.ask(offers)

    def test_zsh_offers_what_fits(self):
        need("zsh")
        shell, terminal = pty.fork()
        if shell == 0:
            os.chdir(self.folder)
            os.execvpe("zsh", ["zsh", "-f", "-i"], self.env)
        self.addCleanup(os.waitpid, shell, 0)
        self.addCleanup(os.kill, shell, signal.SIGKILL)

        def answer(keys):
            """What stands on the terminal until the shell, behind the keys, has printed the mark and asks again."""
            os.write(terminal, keys.encode() + b"print -r M''ARK\n")
            text = ""
            while not re.search("MARK.*NEXT>", text, re.DOTALL):
                self.assertTrue(select.select([terminal], [], [], 60)[0], f"zsh says nothing more behind: {text!r}")
                text += os.read(terminal, 65536).decode(errors="replace")
            return re.sub(r"\x1b\[[0-9;?]*[A-Za-z]", " ", text)

        answer(f"PS1=NEXT'> '; unsetopt zle_bracketed_paste; fpath=({TEXTS} $fpath); stty columns 200; LISTMAX=999\n")
        answer("autoload -Uz compinit; compinit -u -d $HOME/.dump; bindkey '^D' list-choices '^U' kill-whole-line\n")

        def offers(typed):
            # Ctrl-D lists what would be offered, without taking one of them; what the shell would take is written.
            whole = answer(typed + "\x04\x15")
            taken = answer(typed + "\t\x15")
            return set(whole.split()) | set(taken.split()) - set(typed.split())

        self.ask(offers)

    def test_each_command_and_each_option_is_in_all_three(self):
        for name in ("kestrel-import.bash", "_kestrel-import", "kestrel-import.fish"):
            text = read(TEXTS, name)
            for path, command in commands(self.tree):
                self.assertIn(path.split()[-1], text)
                for option in command["options"]:
                    for word in option["names"]:
                        self.assertIn(word.lstrip("-"), text, f"{name}, {path}")


class ManualPages(Scratch):
    PAGES = [os.path.join(TEXTS, "kestrel-import.1")] + glob.glob(os.path.join(TEXTS, "kestrel-host.1"))

    def test_they_are_well_formed(self):
        need("mandoc")
        for page in self.PAGES:
            told = run("mandoc", "-T", "lint", "-W", "warning", page)
            self.assertEqual((told.returncode, told.stdout), (0, ""), page)

    def test_they_are_shown_without_a_complaint(self):
        need("man")
        for page in self.PAGES:
            told = run("man", "-l", "--warnings", page, env={**os.environ, "MANROFFSEQ": "", "LC_ALL": "C.UTF-8"})
            self.assertEqual((told.returncode, told.stderr), (0, ""), page)
            self.assertIn("SYNOPSIS", told.stdout)

    def test_each_command_and_each_option_is_told(self):
        page = read(TEXTS, "kestrel-import.1").replace("\\-", "-")
        for path, command in commands(self.tree):
            self.assertIn(f'.SS "{path}', page)
            for option in command["options"]:
                if "--help" not in option["names"]:
                    self.assertIn(option["names"][-1] if option["names"] else option["positional"], page)
        self.assertNotRegex(page, "@[A-Z]+@")

    def test_the_options_of_the_host_are_told(self):
        if not os.path.exists(HOST):
            raise unittest.SkipTest("built without windows")
        page = read(TEXTS, "kestrel-host.1").replace("\\-", "-")
        told = run(HOST, "--help", env={**os.environ, "QT_QPA_PLATFORM": "offscreen"})
        options = set(re.findall(r"--[a-z-]+", told.stdout))
        self.assertIn("--user", options)
        for option in options:
            self.assertIn(option, page)


class Desktop(Scratch):
    def test_the_entry_is_valid(self):
        need("desktop-file-validate")
        told = run("desktop-file-validate", f"{SOURCES}/packaging/kestrel-host.desktop")
        self.assertEqual((told.returncode, told.stdout), (0, ""))

    def test_the_description_is_valid(self):
        need("appstreamcli")
        page = os.path.join(BUILD, "packaging", "kestrel-host.metainfo.xml")
        if not os.path.exists(page):
            raise unittest.SkipTest("built without windows")
        told = run("appstreamcli", "validate", "--no-net", "--no-color", page)
        self.assertEqual(told.returncode, 0, told.stdout)

    def test_specifications_and_templates_have_types(self):
        need("update-mime-database")
        os.makedirs(f"{self.folder}/mime/packages")
        shutil.copy(f"{SOURCES}/packaging/kestrel-import.xml", f"{self.folder}/mime/packages")
        told = run("update-mime-database", f"{self.folder}/mime", env={**os.environ, "XDG_DATA_HOME": self.folder})
        self.assertEqual((told.returncode, told.stderr), (0, ""))
        patterns = read(self.folder, "mime", "globs2")
        self.assertIn("application/x-kestrel-import:*.imp", patterns)
        self.assertIn("application/x-kestrel-import-template:*.imt", patterns)

    def test_the_host_without_a_folder_looks_into_the_components_own(self):
        if not os.path.exists(HOST):
            raise unittest.SkipTest("built without windows")
        env = {**os.environ, "QT_QPA_PLATFORM": "offscreen", "KESTREL_HOME": f"{self.folder}/own"}
        # Told where it looked, and waiting for a click.
        with subprocess.Popen([HOST], env=env, text=True, stderr=subprocess.PIPE) as host:
            self.addCleanup(host.kill)
            told = ""
            while "kestrel-host:" not in told and host.poll() is None:
                told = host.stderr.readline()
            host.kill()
        self.assertIn(f"{self.folder}/own", told)
        self.assertIn("kestrel-import init", told)


class DebianPackages(unittest.TestCase):
    def test_what_the_build_needs_is_what_scripts_install(self):
        listed = re.search(r"build_packages=\((.*?)\)", read(SOURCES, "scripts/lib/packages.sh"), re.DOTALL).group(1)
        needed = {name for name in listed.split() if name.endswith("-dev")}
        control = read(SOURCES, "packaging/debian/control")
        told = set(re.findall(r"^ ([a-z0-9.+-]+)", control[control.index("Build-Depends:"):control.index("\nPackage:")],
                              re.MULTILINE))
        self.assertIn("libpq-dev", needed)
        self.assertEqual(needed - told, set())

    def test_the_changelog_tells_the_version_of_the_headers(self):
        version = ".".join(re.findall(r"^#define KESTREL_VERSION_[A-Z]+ (\d+)$",
                                      read(SOURCES, "include/kestrel/version.h"), re.MULTILINE))
        self.assertTrue(read(SOURCES, "packaging/debian/changelog").startswith(f"kestrel-import ({version})"), version)


class WatchedFolder(Scratch):
    SCRIPT = os.path.join(SOURCES, "packaging", "watch", "kestrel-import-watch")

    def setUp(self):
        super().setUp()
        self.host = os.path.join(self.folder, "host")
        self.watched = os.path.join(self.folder, "watched")
        self.incoming = os.path.join(self.watched, "incoming")
        os.makedirs(self.incoming)
        self.assertEqual(run(PROGRAM, "init", self.host).returncode, 0)
        for name in ("Kundenliste.IMP", "Messe.IMP", "kunden.txt"):
            shutil.copy(f"{SOURCES}/demo/{name}", f"{self.host}/Import")
        self.lines = read_bytes(f"{SOURCES}/demo/kunden.txt").splitlines(keepends=True)
        self.env = {**os.environ, "PATH": os.path.dirname(PROGRAM) + ":" + os.environ["PATH"],
                    "KESTREL_HOME": self.host, "LC_ALL": "C.UTF-8", "KESTREL_SETTLE": "0"}

    def bring(self, name, first, last, source=None):
        with open(os.path.join(self.incoming, name), "wb") as file:
            file.write(b"".join(source or [self.lines[0], *self.lines[first:last]]))

    def watch(self, *arguments, **options):
        return run(self.SCRIPT, self.watched, "Kundenliste", *arguments, **{"env": self.env, **options})

    def names(self, place):
        return sorted(os.listdir(os.path.join(self.watched, place)))

    def test_a_file_without_errors_is_done_and_reported(self):
        self.bring("neu.txt", 10, 12)
        told = self.watch()
        self.assertEqual((told.returncode, self.names("incoming"), self.names("done"), self.names("failed")),
                         (0, [], ["neu.txt"], []), told.stdout)
        report = read(self.watched, "reports", "neu.txt.txt")
        self.assertIn("Ergebnis: done (Rückgabewert 0)", report)
        self.assertNotIn(".rest", report)
        self.assertIn("neu.txt", told.stdout)

    def test_what_is_held_back_as_a_duplicate_lies_beside(self):
        self.bring("neu.txt", 10, 12)
        self.watch()
        # The same addresses by other numbers.
        again = re.sub(rb"(?m)^(\d+)", rb"9\1", b"".join([self.lines[0], *self.lines[10:12]]))
        self.bring("wieder.txt", 0, 0, [again])
        told = run(self.SCRIPT, self.watched, "Messe", env=self.env)
        self.assertEqual((told.returncode, self.names("done"), self.names("failed")),
                         (1, ["neu.txt", "wieder.txt"], ["wieder.txt.rest"]), told.stdout)

    def test_a_file_with_errors_is_done_and_what_was_not_stored_lies_beside(self):
        self.bring("alle.txt", 1, None)
        told = self.watch()
        self.assertEqual((told.returncode, self.names("done"), self.names("failed")),
                         (1, ["alle.txt"], ["alle.txt.rest"]), told.stdout)
        self.assertEqual(len(read_bytes(f"{self.watched}/failed/alle.txt.rest").splitlines()), 1 + 3)

    def test_a_file_that_cannot_be_imported_is_failed_and_the_next_one_is_imported(self):
        self.bring("1.txt", 0, 0, [b"Ganz;andere;Spalten\r\n", b"1;2;3\r\n"])
        os.utime(f"{self.incoming}/1.txt", (1, 1))
        self.bring("2.txt", 10, 12)
        told = self.watch()
        self.assertEqual((told.returncode, self.names("done")), (1, ["2.txt"]), told.stdout)
        self.assertIn("1.txt", self.names("failed"))
        self.assertIn("Ergebnis: failed (Rückgabewert 4)", read(self.watched, "reports", "1.txt.txt"))

    def test_a_file_that_is_still_being_brought_is_left_alone(self):
        for name in (".neu.txt", "neu.txt.part", "neu.tmp"):
            self.bring(name, 1, 3)
        self.assertEqual(self.watch().returncode, 0)
        self.assertEqual(len(self.names("incoming")), 3)

    def test_a_name_that_came_before_overwrites_nothing(self):
        self.bring("neu.txt", 10, 12)
        self.watch()
        self.bring("neu.txt", 20, 22)
        self.watch()
        self.assertEqual(self.names("done"), ["neu.txt", "neu.txt.1"])
        self.assertEqual(len(self.names("reports")), 2)

    def test_names_with_blanks_and_line_breaks_are_names(self):
        self.bring("neue Kunden\n2.txt", 10, 12)
        self.assertEqual(self.watch().returncode, 0)
        self.assertEqual(self.names("done"), ["neue Kunden\n2.txt"])

    def test_no_name_stops_the_folder_or_writes_into_a_report(self):
        names = ["-rf", "*", "$(touch pwned)", "Ende\n", "leer\nErgebnis: done (x)", "\x1b[31mrot.txt", "ä" * 127 + "a"]
        for name in names:
            self.bring(name, 10, 12)
        told = self.watch()
        self.assertEqual((self.names("incoming"), self.names("working"), told.stderr), ([], [], ""))
        self.assertEqual(self.names("done"), sorted(names[:-1] + ["ä" * 115]))
        self.assertEqual(len(self.names("reports")), len(names))
        self.assertNotIn("\x1b", told.stdout)
        self.assertIn("\nDatei: leer?Ergebnis: done (x)\nErgebnis: done (Rückgabewert 1)\n", told.stdout)

    def test_nothing_but_files_is_read(self):
        with open(f"{self.folder}/geheim", "w", encoding="utf-8") as file:
            file.write("geheim")
        os.symlink(f"{self.folder}/geheim", f"{self.incoming}/zeiger.txt")
        os.mkfifo(f"{self.incoming}/rohr")
        os.mkdir(f"{self.incoming}/ordner")
        self.assertEqual(self.watch().returncode, 0)
        self.assertEqual((self.names("incoming"), self.names("done"), self.names("failed")),
                         (["ordner", "rohr", "zeiger.txt"], [], []))
        # One that took a file's place while that was moved.
        os.rename(f"{self.incoming}/zeiger.txt", f"{self.watched}/working/zeiger.txt")
        self.assertEqual(self.watch().returncode, 1)
        self.assertEqual(self.names("failed"), ["zeiger.txt"])

    def test_a_file_that_was_imported_and_could_not_be_moved_is_not_told_to_be_interrupted(self):
        programs = os.path.join(self.folder, "programs")
        os.makedirs(programs)
        # The last step but one loses the folder.
        with open(f"{programs}/sendmail", "w", encoding="utf-8") as file:
            file.write(f"#!/bin/sh\nmv '{self.watched}/done' '{self.watched}/fort'\n")
        os.chmod(f"{programs}/sendmail", 0o755)
        self.bring("neu.txt", 10, 12)
        told = self.watch(env={**self.env, "PATH": programs + ":" + self.env["PATH"], "KESTREL_MAILTO": "erika"})
        self.assertEqual((told.returncode, self.names("working")), (2, ["neu.txt"]))
        self.assertIn("lässt sich nicht nach 'done' verschieben", told.stderr)
        self.assertIn("Ergebnis: done (Rückgabewert 0)", read(self.watched, "reports", "neu.txt.txt"))
        self.assertEqual(self.watch().returncode, 0)
        self.assertEqual((self.names("working"), self.names("done"), self.names("failed")), ([], ["neu.txt"], []))

    def test_options_go_to_the_import(self):
        self.bring("neu.txt", 10, 12)
        self.assertEqual(self.watch("--test").returncode, 0)
        self.assertIn("geprüft", read(self.watched, "reports", "neu.txt.txt"))

    def test_a_file_whose_import_the_machine_did_not_survive_is_not_imported_again(self):
        os.makedirs(f"{self.watched}/working")
        self.bring("neu.txt", 10, 12)
        os.rename(f"{self.incoming}/neu.txt", f"{self.watched}/working/neu.txt")
        self.bring("nächste.txt", 20, 22)
        told = self.watch()
        self.assertEqual((told.returncode, self.names("working"), self.names("done"), self.names("failed")),
                         (1, [], ["nächste.txt"], ["neu.txt"]), told.stdout)
        self.assertIn("unterbrochen", read(self.watched, "reports", "neu.txt.txt"))

    def test_a_file_that_cannot_be_taken_away_is_not_imported(self):
        self.bring("neu.txt", 10, 12)
        # Nothing can be moved to where no folder is.
        with open(f"{self.watched}/working", "w", encoding="utf-8"):
            pass
        told = self.watch()
        self.assertEqual((told.returncode, self.names("incoming")), (2, ["neu.txt"]))
        self.assertEqual(run(PROGRAM, "runs", "--folder", self.host, "--format", "json").stdout, "")

    def test_a_file_that_has_just_changed_is_left_until_it_is_whole(self):
        self.bring("neu.txt", 10, 12)
        with subprocess.Popen([self.SCRIPT, self.watched, "Kundenliste"], env={**self.env, "KESTREL_SETTLE": "86400"},
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as watch:
            self.assertIn("'neu.txt' wird vielleicht noch geschrieben", watch.stderr.readline())
            watch.send_signal(signal.SIGTERM)
            out, err = watch.communicate(timeout=120)
        self.assertEqual((watch.returncode, out, err), (5, "", ""))
        self.assertEqual((self.names("incoming"), self.names("done"), self.names("failed")), (["neu.txt"], [], []))

    def test_a_wait_that_is_no_number_is_refused(self):
        self.bring("neu.txt", 10, 12)
        told = self.watch(env={**self.env, "KESTREL_SETTLE": "bald"})
        self.assertEqual((told.returncode, self.names("incoming")), (2, ["neu.txt"]))
        self.assertIn("'bald'", told.stderr)

    def mailed(self, name):
        """The message about a file of that name, as a mail server gets it."""
        sendmail = os.path.join(self.folder, "programs", "sendmail")
        os.makedirs(os.path.dirname(sendmail))
        with open(sendmail, "w", encoding="utf-8") as file:
            file.write(f"#!/bin/sh\n[ \"$*\" = '-i -t' ] && cat >'{self.folder}/mailed'\n")
        os.chmod(sendmail, 0o755)
        self.bring(name, 10, 12)
        # As the units set nothing, in no language.
        env = {key: value for key, value in self.env.items() if key not in ("LC_ALL", "LANG")}
        told = self.watch(env={**env, "PATH": os.path.dirname(sendmail) + ":" + env["PATH"],
                               "KESTREL_MAILTO": "erika, paul"})
        self.assertEqual((told.returncode, told.stderr), (0, ""))
        message = email.message_from_bytes(read_bytes(f"{self.folder}/mailed"), policy=email.policy.default)
        self.assertEqual((message.defects, list(message.keys())),
                         ([], ["To", "Subject", "MIME-Version", "Content-Type", "Content-Transfer-Encoding"]))
        self.assertEqual(message["To"], "erika, paul")
        return message

    def test_the_report_is_mailed_where_somebody_wants_it(self):
        message = self.mailed("neu.txt")
        self.assertEqual(message["Subject"], "Import done: neu.txt")
        self.assertIn("Datensätze", message.get_content())
        self.assertIn("Ergebnis: done", message.get_content())

    def test_the_name_of_a_file_is_no_header_of_its_mail(self):
        message = self.mailed("Käufer der großen Straßenhändler\nBcc: alle@example.org\n.txt")
        self.assertEqual(re.sub(r"\s", " ", message["Subject"]),
                         "Import done: Käufer der großen Straßenhändler Bcc: alle@example.org .txt")

    def test_a_report_that_cannot_be_mailed_is_told(self):
        self.bring("neu.txt", 10, 12)
        programs = os.path.join(self.folder, "programs")
        os.makedirs(programs)
        with open(f"{programs}/sendmail", "w", encoding="utf-8") as file:
            file.write("#!/bin/sh\nexit 75\n")
        os.chmod(f"{programs}/sendmail", 0o755)
        told = self.watch(env={**self.env, "PATH": programs + ":" + self.env["PATH"], "KESTREL_MAILTO": "erika"})
        self.assertEqual((told.returncode, self.names("done")), (0, ["neu.txt"]))
        self.assertIn("nicht an 'erika' verschickt", told.stderr)

    def test_two_at_a_time_are_one(self):
        self.bring("neu.txt", 10, 12)
        with open(os.path.join(self.watched, ".lock"), "w", encoding="utf-8") as lock:
            fcntl.flock(lock, fcntl.LOCK_EX)
            told = self.watch()
        self.assertEqual(told.returncode, 0)
        self.assertIn("wird schon bearbeitet", told.stderr)
        self.assertEqual(self.names("incoming"), ["neu.txt"])

    def test_who_stops_it_finds_the_file_in_failed_with_the_records_that_were_not_reached(self):
        self.bring("viele.txt", 0, 0, [self.lines[0]] + self.lines[1:] * 200)
        with subprocess.Popen([self.SCRIPT, self.watched, "Kundenliste"], env=self.env, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE) as watch:
            while True:
                told = run(PROGRAM, "runs", "--folder", self.host, "--format", "csv").stdout
                if told.count("\n") > 1 or watch.poll() is not None:
                    break
            watch.send_signal(signal.SIGTERM)
            out, err = watch.communicate(timeout=120)
        self.assertEqual(watch.returncode, 5, out + err)
        self.assertEqual((self.names("incoming"), self.names("failed")), ([], ["viele.txt", "viele.txt.rest"]), out)
        self.assertIn("Rückgabewert 5", out)

    def test_the_units_are_what_systemd_takes(self):
        need("systemd-analyze")
        units = os.path.join(self.folder, "units")
        os.makedirs(units)
        for suffix in ("path", "timer", "service"):
            text = read(SOURCES, "packaging", "watch", f"kestrel-import-watch@.{suffix}")
            text = text.replace("/usr/share/kestrel-import/watch/kestrel-import-watch", self.SCRIPT)
            with open(f"{units}/kestrel-import-watch@.{suffix}", "w", encoding="utf-8") as file:
                file.write(text)
        for suffix in ("path", "timer", "service"):
            told = run("systemd-analyze", "verify", "--man=no", f"{units}/kestrel-import-watch@kunden.{suffix}",
                       env={**os.environ, "SYSTEMD_UNIT_PATH": f"{units}:"})
            self.assertEqual([line for line in told.stderr.splitlines() if "kestrel" in line], [])


def read_bytes(path):
    with open(path, "rb") as file:
        return file.read()


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
