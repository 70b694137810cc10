#!/usr/bin/env python3
"""Builds the pages of the documentation: HTML, the guide as a PDF, and all but the interfaces as another.

    build.py TEXTS FOLDER

TEXTS holds what is written of the command line (befehle.md). FOLDER gets html/, bedienungsanleitung.pdf and
kestrel-import.pdf. What nothing is said of in the Python package, and a link that leads nowhere in a PDF, is an error.
"""
import glob
import html
import logging
import os
import re
import shutil
import sys

import markdown
import weasyprint

import python_api

HERE = os.path.dirname(os.path.abspath(__file__))
GUIDE = ["index", "schritt1", "schritt2", "vorschau", "spalten", "schritt3", "uebersetzung", "start", "import", "ergebnis",
         "anwendung"]
PACKAGE = os.path.join(HERE, "..", "bindings", "python")
# A page, and where its text stands.
PAGES = {
    "using": "using.md", "befehle": None, "spezifikation": "spezifikation.md", "verwaltung": "verwaltung.md",
    "komponenten": "komponenten.md", "python": "../bindings/python/README.md", "serve": "serve.md",
    "json": "json/README.md", "spread-databases": "spread-databases.md",
}
INTERFACES = [("python-api", "Python reference"), ("schnittstellen/index", "Interfaces for C++ and C")]

FRAME = """<!DOCTYPE html>
<html lang="{language}">
<head>
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>{title} - KESTREL Import</title>
<link rel="stylesheet" href="stil.css">
</head>
<body>
{body}
</body>
</html>
"""
BACK = '<p><a href="index.html">{}</a></p>'
GERMAN = {"befehle", "spezifikation", "verwaltung", "index"}


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


def write_page(folder, name, title, body):
    language = "de" if name in GERMAN else "en"
    with open(os.path.join(folder, f"{name}.html"), "w", encoding="utf-8") as file:
        file.write(FRAME.format(language=language, title=html.unescape(re.sub("<[^>]*>", "", title)), body=body))


def title_of(body):
    return re.search(r"<h1[^>]*>(.*?)</h1>", body, re.DOTALL).group(1)


def body_of_markdown(text):
    # A block's own kind is not shown; the name of its file is, and why it is not simply typed.
    text = re.sub(r"^```\w+ ([^\s(]+)$", r"`\1`:\n\n```", text, flags=re.MULTILINE)
    text = re.sub(r"^```\w+( \([^\n]*\))?$", "```", text, flags=re.MULTILINE)
    body = markdown.markdown(text, extensions=["tables", "fenced_code", "toc"])
    # Texts link to each other as files.
    by_file = {file: name for name, file in PAGES.items() if file}
    return re.sub(r'href="([^":#]+\.md)', lambda link: f'href="{by_file[link.group(1)]}.html', body)


def guide_page(name):
    body = re.search(r"<body>(.*)</body>", read(HERE, "bedienung", f"{name}.html"), re.DOTALL).group(1)
    # In one document there is nothing to go back to, and pictures lie beside it.
    return body.replace(BACK.format("Übersicht"), "").replace('src="../', 'src="')


def part(name, body, names):
    """A page as a part of one document: what it names and links to is told apart by the page's name."""
    def target(link):
        page, _, anchor = link.group(1).partition("#")
        page = re.sub(r"\.html$", "", page) or name
        if page not in names:
            return ""
        return f'href="#{page}{"--" + anchor if anchor else ""}"'

    body = re.sub(r' id="([^"]*)"', rf' id="{name}--\1"', body)
    body = re.sub(r'href="((?!\w+:)[^"]*)"', target, body)
    return f'<section id="{name}">{body}</section>'


class Complaints(logging.Handler):
    def __init__(self):
        super().__init__(logging.ERROR)
        self.told = []

    def emit(self, record):
        self.told.append(record.getMessage())


def write_pdf(path, title, kind, parts):
    contents = "\n".join(f'<li><a href="#{name}">{title_of(body)}</a></li>' for name, body in parts)
    names = {name for name, _ in parts}
    body = (f'<section id="inhalt"><h1>{title}</h1>\n<ul class="inhalt">\n{contents}\n</ul></section>' +
            "\n".join(part(name, text, names) for name, text in parts))
    complaints = Complaints()
    logging.getLogger("weasyprint").addHandler(complaints)
    page = FRAME.format(language="de", title=title, body=f'<div class="{kind}">{body}</div>')
    page = page.replace(" - KESTREL Import</title>", "</title>")
    page = page.replace('href="stil.css">', 'href="stil.css">\n<link rel="stylesheet" href="druck.css">')
    weasyprint.HTML(string=page, base_url=HERE + "/").write_pdf(path)
    logging.getLogger("weasyprint").removeHandler(complaints)
    if complaints.told:
        sys.exit("\n".join([path] + complaints.told))


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    texts, folder = sys.argv[1:]
    pages = os.path.join(folder, "html")
    shutil.rmtree(pages, ignore_errors=True)
    shutil.copytree(os.path.join(HERE, "bedienung"), os.path.join(pages, "bedienung"))
    for file in ["stil.css"] + glob.glob("*.png", root_dir=HERE):
        shutil.copy(os.path.join(HERE, file), pages)
    shutil.copytree(os.path.join(HERE, "json"), os.path.join(pages, "json"), ignore=shutil.ignore_patterns("*.md"))

    guide = [(name, guide_page(name)) for name in GUIDE]
    links = ['<li><a href="bedienung/index.html">Bedienungsanleitung</a></li>']
    parts = []
    for name, file in PAGES.items():
        body = body_of_markdown(read(texts, "befehle.md") if file is None else read(HERE, file))
        title = title_of(body)
        write_page(pages, name, title, body + BACK.format("Übersicht" if name in GERMAN else "Contents"))
        links.append(f'<li><a href="{name}.html">{title}</a></li>')
        parts.append((name, body))
    try:
        reference = python_api.Reference(os.path.join(PACKAGE, "src", "kestrel_import")).page()
    except python_api.Undocumented as error:
        sys.exit(str(error))
    write_page(pages, "python-api", "Python reference", reference + BACK.format("Contents"))
    links += [f'<li><a href="{name}.html">{title}</a></li>' for name, title in INTERFACES]
    write_page(pages, "index", "Dokumentation", "<h1>KESTREL Import</h1>\n<ul>\n" + "\n".join(links) + "\n</ul>")

    write_pdf(os.path.join(folder, "bedienungsanleitung.pdf"), "KESTREL Import: Bedienungsanleitung", "bedienung", guide[1:])
    # The guide's overview would be another table of contents.
    write_pdf(os.path.join(folder, "kestrel-import.pdf"), "KESTREL Import", "alles", guide[1:] + parts)


if __name__ == "__main__":
    main()
