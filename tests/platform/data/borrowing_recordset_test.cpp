#include "platform/data/borrowing_recordset.h"

#include <gmock/gmock.h>

#include "support/expect_error.h"

namespace kestrel {
namespace {

void Lend(BorrowingRecordset& record, std::size_t column, std::string_view text) {
  record.CellFor(column) = {text};
  record.Borrow(column);
}

TEST(BorrowingRecordset, IsOneRowOfNullsUntilItIsWritten) {
  BorrowingRecordset record({"Bez1", "Ort"});
  EXPECT_EQ(record.RecordCount(), 1);
  EXPECT_EQ(record.FindColumn("Ort"), 1u);
  EXPECT_FALSE(record.IsEof());
  EXPECT_TRUE(record.IsNull(0));
  EXPECT_EQ(record.TextAt(0), "");
  EXPECT_TRUE(record.ValueAt(0).IsNull());
}

TEST(BorrowingRecordset, KeepsACopyOfWhatIsWrittenAndAViewOfWhatIsBorrowed) {
  BorrowingRecordset record({"Bez1", "Ort"});
  std::string text = "Möbelhaus";
  record.SetText(0, text);
  Lend(record, 1, text);
  text[0] = 'W';
  EXPECT_EQ(record.TextAt(0), "Möbelhaus");
  EXPECT_EQ(record.TextAt(1).data(), text.data());
  EXPECT_EQ(record.ValueAt(1), Value(text));
}

TEST(BorrowingRecordset, TheLastTextOfAColumnStands) {
  BorrowingRecordset record({"Bez1"});
  Lend(record, 0, "A");
  record.SetText(0, "B");
  EXPECT_EQ(record.TextAt(0), "B");
  Lend(record, 0, "C");
  EXPECT_EQ(record.TextAt(0), "C");
  record.SetValue(0, Value(1.5));
  EXPECT_EQ(record.TextAt(0), "1,5");
  record.SetValue(0, kNull);
  EXPECT_TRUE(record.IsNull(0));
  EXPECT_EQ(record.TextAt(0), "");
}

TEST(BorrowingRecordset, ATextThatIsMadeAndNotBorrowedIsNone) {
  BorrowingRecordset record({"Bez1"});
  record.CellFor(0) = {"A"};
  EXPECT_TRUE(record.IsNull(0));
}

TEST(BorrowingRecordset, WhatIsWrittenForgetsWhatWasKnownOfTheTextBefore) {
  BorrowingRecordset record({"Umsatz"});
  record.CellFor(0) = {"12", 12, 0, KnownText::kDecimal};
  record.Borrow(0);
  EXPECT_EQ(record.cells()[0].known, KnownText::kDecimal);
  record.SetText(0, "abc");
  EXPECT_EQ(record.cells()[0].known, KnownText::kNothing);
}

TEST(BorrowingRecordset, ClearedItIsAsNew) {
  BorrowingRecordset record({"Bez1", "Ort"});
  record.SetText(0, "A");
  Lend(record, 1, "B");
  record.MoveNext();
  record.Clear();
  EXPECT_FALSE(record.IsEof());
  EXPECT_TRUE(record.IsNull(0));
  EXPECT_TRUE(record.IsNull(1));
}

TEST(BorrowingRecordset, RefusesWhatIsNotThere) {
  BorrowingRecordset record({"Bez1"});
  EXPECT_ERROR(record.TextAt(1), ErrorNumber::kSubscriptOutOfRange);
  EXPECT_ERROR(record.SetText(1, "A"), ErrorNumber::kSubscriptOutOfRange);
  EXPECT_ERROR(record.ColumnName(1), ErrorNumber::kSubscriptOutOfRange);
  record.MoveNext();
  EXPECT_TRUE(record.IsEof());
  EXPECT_ERROR(record.TextAt(0), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(record.SetText(0, "A"), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(record.MoveNext(), ErrorNumber::kNoCurrentRecord);
  record.MoveFirst();
  EXPECT_FALSE(record.IsEof());
}

}  // namespace
}  // namespace kestrel
