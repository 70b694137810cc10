#include "kestrel/memory_recordset.h"

#include <gtest/gtest.h>

#include <functional>

namespace kestrel {
namespace {

int ErrorNumberOf(const std::function<void()>& action) {
  int number = 0;
  Trap(action, [&](const RuntimeError& error) { number = error.Number(); });
  return number;
}

MemoryRecordset& Fill(MemoryRecordset& set) {
  set.AppendColumn("Name", ColumnType::kText, 5);
  set.AppendColumn("Zahl", ColumnType::kInt16);
  set.AppendColumn("Ja", ColumnType::kBool);
  set.AppendColumn("Name");
  return set;
}

TEST(MemoryRecordset, AnEmptySetIsAtBothEnds) {
  MemoryRecordset set;
  Fill(set);
  set.MoveFirst();
  EXPECT_TRUE(set.IsBof());
  EXPECT_TRUE(set.IsEof());
  EXPECT_EQ(set.RecordCount(), 0);
  EXPECT_EQ(ErrorNumberOf([&] { set.TextAt(0); }), 3021);
  EXPECT_EQ(ErrorNumberOf([&] { set.MoveNext(); }), 3021);
}

TEST(MemoryRecordset, ANewRowHasEveryColumnNullWhichIsNotEmpty) {
  MemoryRecordset set;
  Fill(set).AddNew();
  EXPECT_TRUE(set.IsNull(0));
  EXPECT_EQ(set.TextAt(0), "");
  EXPECT_TRUE(set.ValueAt(0).IsNull());
  set.SetText(0, "");
  EXPECT_FALSE(set.IsNull(0));
  set.SetValue(0, kNull);
  EXPECT_TRUE(set.IsNull(0));
}

TEST(MemoryRecordset, ColumnsConvertToTheirTypes) {
  MemoryRecordset set;
  Fill(set).AddNew();
  set.SetText(1, "12");
  EXPECT_EQ(set.ValueAt(1), Value(12));
  set.SetValue(2, "True");
  EXPECT_EQ(set.ValueAt(2), Value(true));
  EXPECT_EQ(ErrorNumberOf([&] { set.SetText(1, "abc"); }), 13);
  EXPECT_EQ(ErrorNumberOf([&] { set.SetValue(1, 70000); }), 6);
}

TEST(MemoryRecordset, SizesCountCharacters) {
  MemoryRecordset set;
  Fill(set).AddNew();
  set.SetText(0, "äöüßé");
  EXPECT_EQ(set.TextAt(0), "äöüßé");
  EXPECT_EQ(ErrorNumberOf([&] { set.SetText(0, "123456"); }), 3421);
}

TEST(MemoryRecordset, TwoColumnsOfOneNameStayAndTheFirstIsFound) {
  MemoryRecordset set;
  Fill(set);
  EXPECT_EQ(set.ColumnCount(), 4u);
  EXPECT_EQ(set.FindColumn("Name"), 0u);
  EXPECT_EQ(set.FindColumn("name"), std::nullopt);
  EXPECT_EQ(ErrorNumberOf([&] { set.RequireColumn("Ort"); }), 3265);
}

TEST(MemoryRecordset, BookmarksLeadBack) {
  MemoryRecordset set;
  Fill(set);
  for (int i = 0; i < 3; ++i) {
    set.AddNew();
    set.SetValue(1, i);
  }
  set.MoveFirst();
  set.MoveNext();
  const auto bookmark = set.Bookmark();
  set.MoveNext();
  set.MoveNext();
  EXPECT_TRUE(set.IsEof());
  set.GoTo(bookmark);
  EXPECT_EQ(set.TextAt(1), "1");
  EXPECT_EQ(ErrorNumberOf([&] { set.GoTo(3); }), 3021);
}

TEST(MemoryRecordset, TheShapeIsFixedOnceThereAreRows) {
  MemoryRecordset set;
  Fill(set).AddNew();
  EXPECT_EQ(ErrorNumberOf([&] { set.AppendColumn("Neu"); }), 5);
  EXPECT_EQ(ErrorNumberOf([&] { set.TextAt(9); }), 9);
}

TEST(MemoryRecordset, ClearingARowMakesItNew) {
  MemoryRecordset set;
  Fill(set).AddNew();
  set.SetText(0, "a");
  set.ClearRow();
  EXPECT_TRUE(set.IsNull(0));
}

}  // namespace
}  // namespace kestrel
