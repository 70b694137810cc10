#include <gtest/gtest.h>

#include <limits>
#include <random>

#include "import/run_texts.h"

namespace kestrel {
namespace {

TEST(ProgressText, TellsTheRecordWhicheverCameBefore) {
  std::mt19937 random(5);
  ProgressText text;
  std::int32_t record = 0;
  std::string behind;
  for (int i = 0; i < 50000; ++i) {
    if (random() % 500 == 0) {
      const auto total = static_cast<std::int32_t>(random() % 20000) - 5000;
      text.SetTotal(total);
      behind = total < 0 ? "" : " von " + std::to_string(total);
    }
    const auto kind = random() % 100;
    if (kind == 0) record = static_cast<std::int32_t>(random() % 2000000);
    if (kind == 1) record = std::numeric_limits<std::int32_t>::max();
    if (kind == 2) record = 0;
    ASSERT_EQ(text.For(record), "Importiere Datensatz " + std::to_string(record) + behind) << i;
    if (kind > 3 && record < std::numeric_limits<std::int32_t>::max()) ++record;
  }
}

}  // namespace
}  // namespace kestrel
