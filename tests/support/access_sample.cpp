#include "support/access_sample.h"

#include <utility>

namespace kestrel::testing {

namespace {

// What only Jet 4 has: a calculated column, and one that cannot be read.
void AddSpecialColumns(JetBuilder& builder) {
  const auto table = builder.AddTable("Neu", {{"Nr", 4, 4},
                                              {"Anlage", 18, 4},
                                              {"Summe", 7, 0, 0, {}, std::uint8_t{16}},
                                              {"Text", 10, 0, 0, {}, std::uint8_t{12}}});
  for (std::uint32_t i = 0; i < 5; ++i) {
    builder.AddRow(table, {Le32(i), Le32(i), JetBuilder::Wrapped(Le32(0x0002000E) + Le32(0) + Le64(i * 100)),
                           builder.Pieces(JetBuilder::Wrapped(Utf16("Text " + std::to_string(i))), 20)});
  }
}

std::string Sample(JetBuilder builder, bool special) {
  const auto table = builder.AddTable("Alles", {{"Nr", 4, 4},
                                                {"Ja", 1},
                                                {"Text"},
                                                {"Memo", 12},
                                                {"Datum", 8, 8},
                                                {"Geld", 5, 8},
                                                {"Bild", 11},
                                                {"Zahl", 16, 17, 4}});
  const std::string numeric(17, '\x11');
  for (std::uint32_t i = 0; i < 20; ++i) {
    std::string long_text = builder.Text("Zeile " + std::to_string(i) + " mit Umlaut ä");
    for (int k = 0; k < 3; ++k) long_text += long_text;
    const std::vector<JetBuilder::Cell> cells{Le32(i),
                                              "",
                                              builder.Text("Text " + std::to_string(i)),
                                              i % 3 == 0   ? builder.Inline(long_text)
                                              : i % 3 == 1 ? builder.OnePage(long_text)
                                                           : builder.Pieces(long_text, 100),
                                              LeDouble(38000.5 + i),
                                              Le64(i * 1000),
                                              builder.Pieces(long_text, 50),
                                              numeric};
    if (i % 5 == 4) {
      builder.AddMovedRow(table, cells);
    } else {
      builder.AddRow(table, cells);
    }
  }
  builder.AddQuery("Wahl", {{1, 1},
                            {5, {}, "", "Alles"},
                            {5, {}, "", "Alles", "B"},
                            {6, 0, "Alles.Nr"},
                            {6, 0, "Left(B.Text, 3) & Format(B.Datum, 'dd.mm.yyyy')", "T"},
                            {7, 2, "Alles.Nr = B.Nr", "Alles", "B"},
                            {8, {}, "Alles.Nr > 3 And B.Text Like 'T*'"},
                            {11, {}, "Alles.Nr", "D"}});
  builder.AddQuery("Summe", {{1, 9}, {5, {}, "Select Sum(Geld) As s, Ja From Alles Group By Ja"}}, 128);
  if (special) AddSpecialColumns(builder);
  return builder.Build();
}

}  // namespace

std::string AccessSample(JetBuilder::Format format) {
  return Sample(JetBuilder(format), format == JetBuilder::Format::kJet4);
}

std::string EncryptedAccessSample(OfficeScheme scheme) {
  JetBuilder builder;
  builder.SetPageKey(0x01020304);
  builder.SetEncryption(EncryptFor(scheme, ""));
  return Sample(std::move(builder), true);
}

}  // namespace kestrel::testing
