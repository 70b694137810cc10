#include "formats/excel/sheet_damage.h"

#include <algorithm>

namespace kestrel::excel {

namespace {

std::string InBrackets(std::string_view why) { return why.empty() ? "" : " (" + std::string(why) + ")"; }

}  // namespace

void DamageNotes::LosesCell(CellPosition cell) {
  if (lost_cells_++ == 0) first_lost_ = cell;
}

void DamageNotes::LosesTexts(std::string_view why) {
  texts_ = SheetDamage{0, "die Texte der Arbeitsmappe sind beschädigt" + InBrackets(why)};
}

void DamageNotes::Ends(std::uint32_t rows, std::string_view why) {
  end_ = SheetDamage{rows, (rows == 0 ? "es bricht vor der ersten Zeile ab"
                                      : "es bricht hinter Zeile " + std::to_string(rows) + " ab") +
                               InBrackets(why)};
}

std::optional<SheetDamage> DamageNotes::Damage() const {
  std::optional<SheetDamage> damage;
  const auto add = [&](const SheetDamage& more) {
    if (!damage) {
      damage = more;
      return;
    }
    damage->row = std::min(damage->row, more.row);
    damage->what += "; " + more.what;
  };
  if (texts_) add(*texts_);
  if (lost_cells_ == 1) {
    add({first_lost_.row, "der Inhalt der Zelle " + CellName(first_lost_) + " fehlt"});
  } else if (lost_cells_ > 1) {
    add({first_lost_.row, "der Inhalt von " + std::to_string(lost_cells_) + " Zellen fehlt, zuerst der von " +
                              CellName(first_lost_)});
  }
  if (end_) add(*end_);
  return damage;
}

}  // namespace kestrel::excel
