#!/usr/bin/env python3
"""Builds the documentation, and holds it against the code.

    docs_test.py SOURCES BUILD [unittest options]
"""
import html
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
import urllib.parse

SOURCES, BUILD = (os.path.abspath(path) for path in sys.argv[1:3])


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


def is_missing():
    """Of what builds the documentation; None where all is there."""
    for module in ("markdown", "weasyprint"):
        found = subprocess.run(["/usr/bin/python3", "-c", f"import {module}"], stderr=subprocess.DEVNULL, check=False)
        if found.returncode:
            return module
    return None if shutil.which("doxygen") else "doxygen"


class SpecificationReference(unittest.TestCase):
    def setUp(self):
        self.page = read(SOURCES, "docs", "spezifikation.md")
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        subprocess.run([f"{BUILD}/bin/kestrel-import", "init", f"{self.folder}/host"], check=True,
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def told_by(self, command, sections):
        """What a command tells of a specification with these entries, a line an object."""
        with open(f"{self.folder}/host/Import/Pruefung.IMP", "w", encoding="cp1252", newline="\r\n") as file:
            file.write("".join(f"[{name}]\n" + "".join(f"{key}={value}\n" for key, value in keys.items())
                               for name, keys in sections.items()))
        told = subprocess.run([f"{BUILD}/bin/kestrel-import", command, "Pruefung", "--folder", f"{self.folder}/host",
                               "--format", "json"], text=True, check=False, stdout=subprocess.PIPE).stdout
        return [json.loads(line) for line in told.splitlines()]

    def unread(self, section, entries, provider="Textdatei"):
        """The keys of the section that `check` says are not read."""
        common = {"ImportClass": "ksbimport.importkunden", "Provider": provider}
        sections = {"Common": common, section: {**(common if section == "Common" else {}), **entries}}
        return {finding["key"] for finding in self.told_by("check", sections)
                if finding.get("section") == section and "nicht gelesen" in finding.get("text", "")}

    def table(self, heading):
        """The rows of the first table below a heading."""
        text = self.page[self.page.index(f"\n{heading}\n"):]
        text = text[:text.index("\n#", len(heading) + 2)]
        rows = re.findall(r"^\| `.*$", text, re.MULTILINE)
        return [[cell.strip() for cell in row.split("|")[1:-1]] for row in rows]

    def test_what_a_text_file_is_without_a_key_is_what_the_program_takes(self):
        with open(f"{self.folder}/host/Import/quelle.txt", "w", encoding="ascii") as file:
            file.write("Name\tOrt\nHaas\tUlm\n")
        taken = self.told_by("show", {"Common": {"ImportClass": "ksbimport.importkunden", "FileName": "quelle.txt"}})[0]
        told = {}
        for key, _, default in self.table("## [Common]") + self.table("### Textdatei"):
            name = key.strip("`")
            told[name[0].lower() + name[1:]] = None if default == "leer" else default.strip("`")
        shown = {key: str(int(value)) if isinstance(value, (bool, int)) else value for key, value in taken.items()}
        for given in ("importClass", "fileName"):
            self.assertIn(given, told)
            del told[given], shown[given]
        self.assertEqual(told, shown)

    def test_the_date_formats_are_those_that_the_program_names(self):
        findings = self.told_by("check", {"Common": {"ImportClass": "ksbimport.importkunden"},
                                          "FieldAssignments": {"KundeSeit": "FIELD:Tag"},
                                          "FieldFormat": {"KundeSeit": "jjjj-mm-tt"}})
        (refused,) = [finding["text"] + finding["wayOut"] for finding in findings
                      if finding.get("section") == "FieldFormat" and "Datumsformat" in finding["text"]]
        named = re.findall(r"[tmj.]{6,10}(?=[,.]? |[,.]?$)", refused[refused.index("geschrieben:"):])
        self.assertEqual([row[0].strip("`") for row in self.table("## [FieldFormat]")],
                         [name.rstrip(".") for name in named])

    def test_the_settings_it_tells_are_those_that_are_read(self):
        section = self.page[self.page.index("\n## [CfgSettings]"):self.page.index("\n## [SourceColumns]")]
        told = re.findall(r"`(\w+)`", "".join(re.findall(r"^\|([^|]*)\|", section, re.MULTILINE)))
        self.assertIn("LieferantenNummernBis", told)
        self.assertEqual(self.unread("CfgSettings", dict.fromkeys(told + ["Nichtgelesen"], "1")), {"Nichtgelesen"})

    def test_the_keys_of_each_kind_of_source_are_those_that_are_read_for_it(self):
        kinds = {title: re.findall(r"^\| `(\w+)` \|", text, re.MULTILINE)
                 for title, text in re.findall(r"^### (.*?)\n(.*?)(?=^##)", self.page, re.MULTILINE | re.DOTALL)}
        self.assertIn("Textdatei", kinds)
        all_keys = {key for keys in kinds.values() for key in keys}
        for kind, keys in kinds.items():
            with self.subTest(kind=kind):
                unread = self.unread("Common", dict.fromkeys(sorted(all_keys), "1"), kind)
                self.assertEqual(unread, all_keys - set(keys))


class AdministratorsGuide(unittest.TestCase):
    def test_the_environment_variables_it_tells_are_those_that_are_read(self):
        told = set(re.findall(r"^\| `(KESTREL_\w+)` \|", read(SOURCES, "docs", "verwaltung.md"), re.MULTILINE))
        read_somewhere = set(re.findall(r"\bKESTREL_\w+", read(SOURCES, "packaging", "watch", "kestrel-import-watch")))
        for part in ("src", "host"):
            for base, _, files in os.walk(f"{SOURCES}/{part}"):
                for name in files:
                    if name.endswith(".cpp"):
                        read_somewhere.update(re.findall(r'"(KESTREL_\w+)"', read(base, name)))
        self.assertEqual(told, read_somewhere)


class Build(unittest.TestCase):
    def test_every_page_is_built_every_symbol_documented_and_every_link_leads_somewhere(self):
        missing = is_missing()
        if missing:
            raise unittest.SkipTest(f"{missing} is not installed")
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        # What Doxygen finds undocumented, or wrong, is an error there.
        told = subprocess.run([f"{SOURCES}/scripts/docs", "--build", BUILD, "--into", folder], text=True, timeout=600,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        self.assertEqual(told.returncode, 0, told.stdout)
        for name in ("kestrel-import.pdf", "bedienungsanleitung.pdf"):
            with open(f"{folder}/{name}", "rb") as file:
                self.assertEqual(file.read(5), b"%PDF-")
        pages = {}
        for base, _, files in os.walk(f"{folder}/html"):
            for name in files:
                if name.endswith(".html"):
                    pages[os.path.join(base, name)] = read(base, name)
        self.assertIn(f"{folder}/html/schnittstellen/kestrel_8h.html", pages)
        names = {path: set(re.findall(r'(?:id|name)="([^"]*)"', text)) for path, text in pages.items()}
        for path, text in pages.items():
            for link in re.findall(r'(?:href|src)="([^"]*)"', text):
                link = urllib.parse.unquote(html.unescape(link))
                file, _, anchor = link.partition("#")
                if re.match(r"\w+:", file):
                    continue
                target = os.path.normpath(os.path.join(os.path.dirname(path), file)) if file else path
                self.assertTrue(os.path.exists(target), f"{path}: {link}")
                if anchor:
                    self.assertIn(anchor, names[target], f"{path}: {link}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
