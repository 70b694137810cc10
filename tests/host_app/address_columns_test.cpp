#include "app/address_columns.h"

#include <gtest/gtest.h>

namespace kestrel::host {
namespace {

TEST(AddressColumns, KnownColumnsAreCalledAsPeopleCallThem) {
  EXPECT_EQ(DescribeColumn("Bez1").heading, "Name");
  EXPECT_EQ(DescribeColumn("strasse").heading, "Straße");
  EXPECT_EQ(DescribeColumn("KundenNummer").kind, ColumnKind::kNumber);
  EXPECT_EQ(DescribeColumn("ErstKontakt").kind, ColumnKind::kDate);
}

TEST(AddressColumns, AColumnOfAUsersOwnIsATextCalledByItsName) {
  const AddressColumn column = DescribeColumn("Filiale");
  EXPECT_EQ(column.name, "Filiale");
  EXPECT_EQ(column.heading, "Filiale");
  EXPECT_EQ(column.kind, ColumnKind::kText);
}

TEST(AddressColumns, DatesAreShownTheGermanWay) {
  const AddressColumn date = DescribeColumn("KundeSeit");
  EXPECT_EQ(ShownText(date, "2024-02-29"), "29.02.2024");
  EXPECT_EQ(ShownText(date, ""), "");
  EXPECT_EQ(ShownText(date, "irgendwann"), "irgendwann");
  EXPECT_EQ(ShownText(DescribeColumn("Bemerkung"), "2024-02-29"), "2024-02-29");
}

TEST(AddressColumns, CountsAreGroupedAndNumbersThatNameSomethingAreNot) {
  const AddressColumn count{.name = "Gelesen", .heading = "Gelesen", .kind = ColumnKind::kCount};
  EXPECT_EQ(ShownText(count, "1234567"), "1.234.567");
  EXPECT_EQ(ShownText(count, "999"), "999");
  EXPECT_EQ(ShownText(count, ""), "");
  EXPECT_EQ(ShownText(DescribeColumn("KundenNummer"), "10000"), "10000");
}

}  // namespace
}  // namespace kestrel::host
