#include "ledger/fingerprint.h"

#include <gmock/gmock.h>

namespace kestrel::host {

using ::testing::Each;
using ::testing::Eq;
using ::testing::IsEmpty;
using ::testing::SizeIs;

namespace {

Destination AddressFields() {
  Destination destination;
  for (const FieldKind kind : {FieldKind::kWhole, FieldKind::kText, FieldKind::kText, FieldKind::kReal,
                               FieldKind::kWhole, FieldKind::kDate}) {
    DestinationField field;
    field.kind = kind;
    destination.fields.push_back(field);
  }
  return destination;
}

const RecordValues kValues = {std::int64_t{7},          std::string_view("Möbel-Haus Groß"),
                              std::string_view("Köln"), 1234.5,
                              std::int64_t{5},          std::string_view("2024-03-07")};

std::string Of(const RecordValues& values) {
  const Destination destination = AddressFields();
  std::string text;
  AppendFingerprint(text, destination, values);
  EXPECT_THAT(text, SizeIs(FingerprintSize(destination)));
  return text;
}

}  // namespace

TEST(Fingerprint, TellsEveryChangeOfAValue) {
  const std::vector<std::pair<std::size_t, StoredValue>> changes = {{1, std::string_view("Möbel-Haus Gross")},
                                                                    {1, std::string_view("Möbel-Haus Groß ")},
                                                                    {1, std::monostate()},
                                                                    {1, std::string_view("")},
                                                                    {2, std::string_view("köln")},
                                                                    {2, std::string_view("Kö")},
                                                                    {3, 1234.25},
                                                                    {3, std::monostate()},
                                                                    {4, std::int64_t{50}},
                                                                    {4, std::int64_t{0}},
                                                                    {5, std::string_view("2024-03-08")}};
  for (const auto& [field, value] : changes) {
    RecordValues changed = kValues;
    changed[field] = value;
    EXPECT_NE(Of(changed), Of(kValues)) << field << " " << changed[field].index();
    EXPECT_THAT(DifferentFields(Of(changed), Of(kValues)), Each(Eq(field)));
  }
}

TEST(Fingerprint, TellsLongNumbersApartHoweverTheyAreKept) {
  const auto of_number = [](const StoredValue& value) {
    RecordValues values = kValues;
    values[3] = value;
    return Of(values);
  };
  using std::string_view_literals::operator""sv;
  EXPECT_NE(of_number("12345678901234567.25"sv), of_number("12345678901234567.26"sv));
  EXPECT_NE(of_number(std::int64_t{9007199254740993}), of_number(std::int64_t{9007199254740992}));
  EXPECT_EQ(of_number(std::int64_t{9007199254740993}), of_number("9007199254740993"sv));
  EXPECT_EQ(of_number("12345678901234567.50"sv), of_number("12345678901234567.5"sv));
  EXPECT_EQ(of_number(0.1 + 0.2), of_number("0.30000000000000004"sv));
  EXPECT_EQ(of_number(1e300), of_number("1e+300"sv));
  EXPECT_EQ(of_number(-0.5), of_number("-0.50"sv));
}

TEST(Fingerprint, TellsTextsOfEveryLengthApart) {
  for (std::size_t length = 0; length <= 40; ++length) {
    RecordValues one = kValues;
    const std::string text(length, 'a');
    one[1] = std::string_view(text);
    for (std::size_t at = 0; at < length; ++at) {
      RecordValues other = one;
      std::string changed = text;
      changed[at] = 'b';
      other[1] = std::string_view(changed);
      EXPECT_NE(Of(one), Of(other)) << length << " " << at;
    }
  }
}

TEST(Fingerprint, NamesMostFieldsThatChange) {
  int named = 0;
  for (int i = 0; i < 200; ++i) {
    RecordValues changed = kValues;
    const std::string text = "Ort " + std::to_string(i);
    changed[2] = std::string_view(text);
    const std::vector<std::size_t> fields = DifferentFields(Of(changed), Of(kValues));
    EXPECT_THAT(fields, Each(Eq(2u)));
    if (!fields.empty()) ++named;
  }
  EXPECT_GT(named, 150);
}

TEST(Fingerprint, IsTheSameHoweverTheDatabaseHoldsANumber) {
  RecordValues other = kValues;
  other[0] = std::int64_t{99};
  other[3] = std::string_view("1234.5");
  other[4] = std::string_view("5");
  EXPECT_EQ(Of(other), Of(kValues));
  other[4] = 5.0;
  EXPECT_EQ(Of(other), Of(kValues));
  EXPECT_THAT(DifferentFields(Of(other), Of(kValues)), IsEmpty());
}

// What is stored today is compared with what is computed by later versions.
TEST(Fingerprint, StaysTheSameFromVersionToVersion) { EXPECT_EQ(Of(kValues), "Do3hzdRoFmB"); }

}  // namespace kestrel::host
