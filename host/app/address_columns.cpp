#include "app/address_columns.h"

#include <QDate>
#include <algorithm>
#include <iterator>

#include "platform/base/text.h"
#include "wizard/german_number.h"
#include "wizard/qt_text.h"

namespace kestrel::host {

namespace {

struct KnownColumn {
  const char* name;
  const char* heading;
  ColumnKind kind;
};

// All columns of the address tables, as PostgreSQL tells their names in lower case only.
constexpr KnownColumn kKnownColumns[] = {
    {"KundenNummer", "Nummer", ColumnKind::kNumber},
    {"InteressentenNummer", "Nummer", ColumnKind::kNumber},
    {"LieferantenNummer", "Nummer", ColumnKind::kNumber},
    {"Bez1", "Name", ColumnKind::kText},
    {"Bez2", "Name 2", ColumnKind::kText},
    {"Bez3", "Name 3", ColumnKind::kText},
    {"Strasse", "Straße", ColumnKind::kText},
    {"Land", "Land", ColumnKind::kText},
    {"PLZ", "PLZ", ColumnKind::kText},
    {"Ort", "Ort", ColumnKind::kText},
    {"Telefon", "Telefon", ColumnKind::kText},
    {"EMail", "E-Mail", ColumnKind::kText},
    {"Kundengruppe", "Gruppe", ColumnKind::kText},
    {"Lieferantengruppe", "Gruppe", ColumnKind::kText},
    {"KundeSeit", "Kunde seit", ColumnKind::kDate},
    {"ErstKontakt", "Erster Kontakt", ColumnKind::kDate},
    {"LieferantSeit", "Lieferant seit", ColumnKind::kDate},
    {"Umsatz", "Umsatz", ColumnKind::kNumber},
    {"Rabatt", "Rabatt", ColumnKind::kNumber},
    {"Mitarbeiter", "Mitarbeiter", ColumnKind::kNumber},
    {"Bemerkung", "Bemerkung", ColumnKind::kText},
    {"Suchbegriff", "Suchbegriff", ColumnKind::kText},
    {"Sprache", "Sprache", ColumnKind::kText},
    {"Waehrung", "Währung", ColumnKind::kText},
    {"Zahlungsziel", "Zahlungsziel", ColumnKind::kNumber},
};

}  // namespace

AddressColumn DescribeColumn(std::string_view name) {
  const auto known =
      std::find_if(std::begin(kKnownColumns), std::end(kKnownColumns),
                   [&](const KnownColumn& column) { return EqualsIgnoringCase(column.name, name); });
  if (known == std::end(kKnownColumns)) return {std::string(name), ToQt(name), ColumnKind::kText};
  return {std::string(name), QString::fromUtf8(known->heading), known->kind};
}

QString ShownText(const AddressColumn& column, std::string_view text) {
  QString shown = ToQt(text);
  if (column.kind == ColumnKind::kCount) {
    bool is_count = false;
    const qlonglong count = shown.toLongLong(&is_count);
    return is_count ? GermanNumber(count) : shown;
  }
  if (column.kind != ColumnKind::kDate && column.kind != ColumnKind::kTime) return shown;
  constexpr int kDateLength = 10;  // of "JJJJ-MM-TT"
  const QDate date = QDate::fromString(shown.left(kDateLength), Qt::ISODate);
  if (!date.isValid()) return shown;
  return date.toString("dd.MM.yyyy") + (column.kind == ColumnKind::kTime ? shown.mid(kDateLength) : "");
}

}  // namespace kestrel::host
