// Gathers what a sheet turns out to have lost while it is read.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "formats/excel/cell_reference.h"
#include "formats/excel/workbook.h"

namespace kestrel::excel {

class DamageNotes {
 public:
  // A cell whose value cannot be read.
  void LosesCell(CellPosition cell);
  // The texts that the sheets share are damaged, so that any cell may have the wrong one.
  void LosesTexts(std::string_view why);
  // The sheet ends behind `rows` rows; `why` may be empty.
  void Ends(std::uint32_t rows, std::string_view why);

  std::optional<SheetDamage> Damage() const;

 private:
  std::uint64_t lost_cells_ = 0;
  CellPosition first_lost_;
  std::optional<SheetDamage> texts_;
  std::optional<SheetDamage> end_;
};

}  // namespace kestrel::excel
