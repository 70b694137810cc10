#!/usr/bin/env python3
"""Builds the pages of the documentation: HTML, and all of them but the interfaces as one PDF.

    build.py TEXTS FOLDER

TEXTS holds what is written of the command line (befehle.md). FOLDER gets html/ and kestrel-import.pdf.
"""
import os
import re
import shutil
import sys

import markdown
import weasyprint

HERE = os.path.dirname(os.path.abspath(__file__))
GUIDE = ["index", "schritt1", "schritt2", "vorschau", "spalten", "schritt3", "uebersetzung", "start", "import", "ergebnis"]
PAGES = ["befehle", "spezifikation", "verwaltung", "komponenten", "python", "spread-databases"]
PYTHON = os.path.join(HERE, "..", "bindings", "python", "README.md")

FRAME = """<!DOCTYPE html>
<html lang="de">
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


def read(*path):
    with open(os.path.join(*path), encoding="utf-8") as file:
        return file.read()


def body_of(page):
    return re.search(r"<body>(.*)</body>", page, re.DOTALL).group(1)


def body_of_markdown(text):
    # A block's own kind is not shown; the name of its file is.
    text = re.sub(r"^```\w+ ([^\n(]+)$", r"`\1`:\n\n```", text, flags=re.MULTILINE)
    text = re.sub(r"^```\w+( \([^\n]*\))?$", "```", text, flags=re.MULTILINE)
    return markdown.markdown(text, extensions=["tables", "fenced_code", "toc"])


def main():
    if len(sys.argv) != 3:
        sys.exit(__doc__)
    texts, folder = sys.argv[1:]
    html = os.path.join(folder, "html")
    shutil.rmtree(html, ignore_errors=True)
    shutil.copytree(os.path.join(HERE, "bedienung"), os.path.join(html, "bedienung"))
    shutil.copy(os.path.join(HERE, "stil.css"), html)

    parts, links = [], ['<li><a href="bedienung/index.html">Bedienungsanleitung</a></li>']
    for name in GUIDE:
        body = body_of(read(HERE, "bedienung", f"{name}.html"))
        # In one document the links between the pages lead nowhere.
        parts.append(re.sub(r"</?a\b[^>]*>", "", body.replace('<p><a href="index.html">Übersicht</a></p>', "")))
    for picture, told in (("import-2-fields", "Schritt 3: Felder zuordnen"), ("host", "Die Adresslisten der Anwendung")):
        parts.append(f'<figure><img src="{picture}.png" alt=""><figcaption>{told}</figcaption></figure>')
    for name in PAGES:
        body = body_of_markdown(read({"befehle": f"{texts}/befehle.md", "python": PYTHON}.get(name, f"{HERE}/{name}.md")))
        title = re.search(r"<h1[^>]*>(.*?)</h1>", body, re.DOTALL).group(1)
        back = '<p><a href="index.html">Übersicht</a></p>'
        with open(os.path.join(html, f"{name}.html"), "w", encoding="utf-8") as file:
            file.write(FRAME.format(title=re.sub("<[^>]*>", "", title), body=body + back))
        links.append(f'<li><a href="{name}.html">{title}</a></li>')
        parts.append(re.sub(r' id="[^"]*"', "", body))
    links.append('<li><a href="schnittstellen/index.html">Interfaces for C++ and C</a></li>')
    index = "<h1>KESTREL Import</h1>\n<ul>\n" + "\n".join(links) + "\n</ul>"
    with open(os.path.join(html, "index.html"), "w", encoding="utf-8") as file:
        file.write(FRAME.format(title="Dokumentation", body=index))

    whole = FRAME.format(title="KESTREL Import", body="\n".join(f"<section>{part}</section>" for part in parts))
    weasyprint.HTML(string=whole, base_url=HERE + "/").write_pdf(
        os.path.join(folder, "kestrel-import.pdf"), stylesheets=[os.path.join(HERE, "druck.css")])


if __name__ == "__main__":
    main()
