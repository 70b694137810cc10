#!/usr/bin/env python3
"""Writes the demo's two address files beside this script, the same bytes every time.

kunden.txt   1,000 customers of a wholesaler: Windows-1252, CR LF, quoted values, a few bad numbers and dates
messe.txt    220 contacts from a trade fair: 120 new addresses, 40 known ones exactly as they are, 40 known
             ones spelled differently, 20 under the number of a known customer; group codes and country names
             of its own

All people, companies and addresses are made up; telephone numbers are of the range kept free for fiction.
"""
import random
from pathlib import Path

FIRST = ("Anna Jürgen Käthe Björn Sören Ingrid Müzeyyen Heinz Ülkü Matthias Renate Günther Hannelore Jörg Bärbel "
         "Achim Änne Wolfgang Sabine Detlef Gisela Holger Jutta Uwe Petra Volker Silke Norbert Heike Ralf "
         "Dörte Joachim René Françoise Zoë Emre Aylin Piotr Agnieszka Luca Chiara").split()
LAST = ("Müller Schmidt Schneider Fischer Weber Meyer Wagner Becker Schulz Hoffmann Schäfer Koch Bauer Richter Klein "
        "Wolf Schröder Neumann Schwarz Zimmermann Braun Krüger Hofmann Hartmann Lange Schmitt Werner Krause Meier "
        "Lehmann Schmid Schulze Maier Köhler Herrmann König Walter Mayer Huber Kaiser Fuchs Peters Lang Scholz Möller "
        "Weiß Jung Hahn Schubert Vogel Friedrich Keller Günther Frank Berger Winkler Roth Beck Lorenz Baumann Franke "
        "Albrecht Schuster Simon Ludwig Böhm Winter Kraus Martin Schumacher Krämer Vogt Stein Jäger Otto Sommer Groß "
        "Seidel Heinrich Brandt Haas Schreiber Graf Schulte Dietrich Ziegler Kuhn Kühn Pohl Engel Horn Busch "
        "Bergmann Thomas Voigt Sauer Arnold Wolff Pfeiffer Öztürk Yıldız Nowak D'Angelo Ørsted Wójcik").split()
TRADES = ("Möbelhaus Bäckerei Elektrohandel Baustoffe Getränkemarkt Gartencenter Autohaus Buchhandlung Sanitär Dachdeckerei "
          "Schreinerei Metallbau Druckerei Apotheke Weinhandel Fleischerei Malerbetrieb Optik Sporthaus Landhandel").split()
FORMS = ("GmbH", "GmbH & Co. KG", "e. K.", "OHG", "KG", "AG", "GbR", "UG (haftungsbeschränkt)", "eG")
STREETS = ["Hauptstraße", "Bahnhofstraße", "Gartenweg", "Schillerstr.", "Goethestr.", "Lindenallee", "Am Markt",
           "Kirchgasse", "Rosenweg", "Mühlenstraße", "Königsallee", "Am Alten Zoll", "Brückenstraße", "Ringstr.",
           "Wiesengrund", "Birkenweg", "Dorfstraße", "Feldstr.", "Waldstraße", "An der Schanze", "Schloßplatz",
           "Römerstraße", "Industriestraße", "Hafenstr.", "Bergstraße"]
PLACES = [("10115", "Berlin", "030"), ("20095", "Hamburg", "040"), ("80331", "München", "089"), ("50667", "Köln", "0221"),
          ("60311", "Frankfurt am Main", "069"), ("70173", "Stuttgart", "0711"), ("40213", "Düsseldorf", "0211"),
          ("04109", "Leipzig", "0341"), ("44135", "Dortmund", "0231"), ("45127", "Essen", "0201"),
          ("28195", "Bremen", "0421"), ("01067", "Dresden", "0351"), ("30159", "Hannover", "0511"),
          ("90402", "Nürnberg", "0911"), ("47051", "Duisburg", "0203"), ("72070", "Tübingen", "07071"),
          ("97070", "Würzburg", "0931"), ("37073", "Göttingen", "0551"), ("48143", "Münster", "0251"),
          ("23552", "Lübeck", "0451"), ("79098", "Freiburg im Breisgau", "0761"), ("52062", "Aachen", "0241"),
          ("66111", "Saarbrücken", "0681"), ("91301", "Forchheim", "09191"), ("36037", "Fulda", "0661")]
COUNTRIES = ["D"] * 36 + ["A", "CH", "D", "D"]
GROUPS = ["A", "B", "C", "P"]
NOTES = ["", "", "", "", "Lieferung nur vormittags", "zahlt per Lastschrift", "Ansprechpartner: Herr Groß",
         "Rabatt vereinbart; siehe Vertrag", "sagt \"Moin\" und meint es", "Postfach bevorzugt", "Sperrgut möglich"]


def quote(value, always=False):
    """As spreadsheets write it: quoted where it must be; the qualifier itself doubled."""
    if always or any(c in value for c in ';"'):
        return '"' + value.replace('"', '""') + '"'
    return value


def mail(first, last, place):
    table = str.maketrans({"ä": "ae", "ö": "oe", "ü": "ue", "ß": "ss", "Ä": "Ae", "Ö": "Oe", "Ü": "Ue", "ç": "c",
                           "é": "e", "ë": "e", "ı": "i", "ó": "o", "Ø": "O", "'": "", " ": "-"})
    return f"{first}.{last}@{place}.example".translate(table).lower()


def address(rng, number):
    first, last = rng.choice(FIRST), rng.choice(LAST)
    plz, place, prefix = rng.choice(PLACES)
    company = rng.random() < 0.4
    name = f"{rng.choice(TRADES)} {last} {rng.choice(FORMS)}" if company else f"{first} {last}"
    since = f"{rng.randint(1, 28):02}.{rng.randint(1, 12):02}.{rng.randint(1985, 2025)}"
    return {
        "KdNr": str(number),
        "Name": name,
        "Zusatz": rng.choice(["", "", "", "Zentrale", "Filiale Süd", "Einkauf"]) if company else "",
        "Kontakt": f"{first} {last}" if company else "",
        "Straße": f"{rng.choice(STREETS)} {rng.randint(1, 148)}{rng.choice(['', '', '', ' a', ' b'])}",
        "Land": rng.choice(COUNTRIES),
        "PLZ": plz,
        "Ort": place,
        "Telefon": f"{prefix} 55501{rng.randint(10, 99)}",
        "E-Mail": mail(first, last, place) if rng.random() < 0.8 else "",
        "Gruppe": rng.choice(GROUPS),
        "Kunde seit": since,
        "Mitarbeiter": str(rng.choice([1, 2, 3, 5, 8, 12, 20, 45, 110, 250])) if company else "",
        "Umsatz": f"{rng.randint(0, 250000) / 100 * 3:.2f}".replace(".", ","),
        "Bemerkung": rng.choice(NOTES),
    }


def spoil(rng, rows):
    """What lists kept by hand hold: words in number columns, days that do not exist, a lost number."""
    for row, value in zip(rng.sample(rows, 6), ["ca. 20", "k. A.", "zehn", "5-10", "?", "2O"]):
        row["Mitarbeiter"] = value
    for row, value in zip(rng.sample(rows, 4), ["n/a", "12.50.0", "-", "1,2,3"]):
        row["Umsatz"] = value
    for row, value in zip(rng.sample(rows, 4), ["31.02.2019", "unbekannt", "1.5.99", "00.00.0000"]):
        row["Kunde seit"] = value
    rng.choice(rows)["KdNr"] = "neu"
    for row in rng.sample(rows, 3):
        row["KdNr"] = ""


def write(path, rows, rng):
    columns = list(rows[0])
    lines = [";".join(quote(name, True) for name in columns)]
    lines += [";".join(quote(row[name], name == "Name" and rng.random() < 0.3) for name in columns) for row in rows]
    path.write_bytes("".join(line + "\r\n" for line in lines).encode("cp1252", "replace"))


def respell(rng, row):
    """The same address as somebody else would type it."""
    row = dict(row)
    change = rng.randrange(3)
    if change == 0:
        row["Name"] = row["Name"].upper()
        row["Straße"] = row["Straße"].replace("straße", "str.").replace("str.", "strasse", 1)
    elif change == 1:
        for umlaut, letters in (("ä", "ae"), ("ö", "oe"), ("ü", "ue"), ("ß", "ss"), ("Ä", "Ae"), ("Ü", "Ue")):
            row["Name"] = row["Name"].replace(umlaut, letters)
            row["Straße"] = row["Straße"].replace(umlaut, letters)
    else:
        row["Name"] = row["Name"].replace(" ", "  ", 1)
        row["Straße"] = row["Straße"].replace("Straße", "Str.").replace("straße", "str.")
    return row


def main():
    here = Path(__file__).parent
    rng = random.Random(20261)
    customers = [address(rng, 10001 + i) for i in range(1000)]
    clean = [dict(row) for row in customers]
    spoil(rng, customers)
    write(here / "kunden.txt", customers, rng)

    known = rng.sample([row for row in clean if row["Straße"]], 100)
    fair = [address(rng, 0) for _ in range(120)]
    fair += [dict(row) for row in known[:40]]
    fair += [respell(rng, row) for row in known[40:80]]
    numbered = [address(rng, 0) for _ in range(20)]
    for row, other in zip(numbered, known[80:]):
        row["KdNr"] = other["KdNr"]
    for row in fair:
        row["KdNr"] = ""
    fair += numbered
    rng.shuffle(fair)
    groups = {"A": "Fachhandel", "B": "Handwerk", "C": "Industrie", "P": "Haushalt"}
    countries = {"D": "Deutschland", "A": "Österreich", "CH": "Schweiz"}
    for row in fair:
        row["Gruppe"] = groups[row["Gruppe"]]
        row["Land"] = countries[row["Land"]]
    write(here / "messe.txt", fair, rng)


if __name__ == "__main__":
    main()
