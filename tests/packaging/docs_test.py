#!/usr/bin/env python3
"""Runs what the documentation tells people to type, and builds it.

    docs_test.py SOURCES BUILD [unittest options]

A fenced block "sh" is run as it stands, in a folder of its own that holds only the files that its page has told of before;
"sh (reason)" is not run, and says why. A fenced block with a file's name behind its kind is such a file.
"""
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCES, BUILD = (os.path.abspath(path) for path in sys.argv[1:3])
FENCE = re.compile(r"^```(\w+)(?: ([^\n(]+)| \(([^\n]+)\))?\n(.*?)^```$", re.MULTILINE | re.DOTALL)
PAGES = ["docs/verwaltung.md", "docs/komponenten.md"]


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


class Commands(unittest.TestCase):
    def run_page(self, page):
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        # The libraries of the build as they would be found where they are installed.
        os.makedirs(f"{folder}/pkgconfig")
        with open(f"{folder}/pkgconfig/kestrel-import.pc", "w", encoding="utf-8") as file:
            file.write(f"Name: KESTREL Import\nDescription: as built\nVersion: 0\nLibs: -L{BUILD}/lib -lkestrelimport\n"
                       f"Cflags: -I{SOURCES}/include\n")
        env = {"PATH": f"{BUILD}/bin:/usr/local/bin:/usr/bin:/bin", "HOME": folder, "LC_ALL": "C.UTF-8",
               "LD_LIBRARY_PATH": f"{BUILD}/lib", "PKG_CONFIG_PATH": f"{folder}/pkgconfig"}
        ran = 0
        files = {}
        for kind, name, reason, text in FENCE.findall(read(SOURCES, page)):
            if name:
                files[name] = text
            if kind != "sh" or reason:
                continue
            work = tempfile.mkdtemp(dir=folder)
            for name, content in files.items():
                os.makedirs(os.path.dirname(f"{work}/{name}"), exist_ok=True)
                with open(f"{work}/{name}", "w", encoding="utf-8") as file:
                    file.write(content)
            told = subprocess.run(["bash", "-e", "-c", text], cwd=work, env=env, text=True, timeout=300,
                                  stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT)
            self.assertEqual(told.returncode, 0, f"{page}\n{text}\n{told.stdout}")
            ran += 1
        self.assertGreater(ran, 0)

    def test_those_of_the_pages_run(self):
        for page in PAGES:
            with self.subTest(page=page):
                self.run_page(page)


class SpecificationReference(unittest.TestCase):
    def test_the_settings_it_tells_are_those_that_are_read(self):
        page = read(SOURCES, "docs", "spezifikation.md")
        section = page[page.index("\n## [CfgSettings]"):page.index("\n## [SourceColumns]")]
        told = re.findall(r"^\| `(\w+)` \|", section, re.MULTILINE)
        self.assertIn("DublettenSchwelle", told)
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        program = f"{BUILD}/bin/kestrel-import"
        subprocess.run([program, "init", f"{folder}/host"], check=True, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)

        def findings(keys):
            path = f"{folder}/host/Import/Pruefung.IMP"
            with open(path, "w", encoding="cp1252", newline="\r\n") as file:
                file.write("[Common]\nImportClass=ksbimport.importkunden\n[CfgSettings]\n" +
                           "".join(f"{key}=1\n" for key in keys))
            return subprocess.run([program, "check", "Pruefung", "--folder", f"{folder}/host"], text=True, check=False,
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT).stdout

        self.assertIn("CfgSettings", findings(["Nichtgelesen"]))
        self.assertNotIn("CfgSettings", findings(told))


class Build(unittest.TestCase):
    def test_every_page_is_built_and_every_link_leads_somewhere(self):
        for module in ("markdown", "weasyprint"):
            if subprocess.run(["/usr/bin/python3", "-c", f"import {module}"], stderr=subprocess.DEVNULL,
                              check=False).returncode:
                raise unittest.SkipTest(f"{module} is not installed")
        folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, folder)
        told = subprocess.run(["/usr/bin/python3", "-B", f"{SOURCES}/docs/build.py", f"{BUILD}/packaging/texts", folder],
                              text=True, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=280, check=False)
        self.assertEqual(told.returncode, 0, told.stdout)
        with open(f"{folder}/kestrel-import.pdf", "rb") as file:
            self.assertEqual(file.read(5), b"%PDF-")
        for base, _, files in os.walk(f"{folder}/html"):
            for name in files:
                if not name.endswith(".html"):
                    continue
                for link in re.findall(r'(?:href|src)="([^"#:]+)(?:#[^"]*)?"', read(base, name)):
                    if link.startswith("schnittstellen/"):
                        continue  # Doxygen's, which scripts/docs adds.
                    self.assertTrue(os.path.exists(os.path.join(base, link)), f"{name}: {link}")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1] + sys.argv[3:])
