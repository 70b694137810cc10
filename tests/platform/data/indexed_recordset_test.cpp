#include "platform/data/indexed_recordset.h"

#include <gtest/gtest.h>

#include "support/expect_error.h"

namespace kestrel {

namespace {

// One column that holds each row's number.
class Numbers final : public IndexedRecordset {
 public:
  explicit Numbers(std::size_t count) : IndexedRecordset({"Nr"}, count) {}
  using IndexedRecordset::EndsEarly;
  using IndexedRecordset::TextAt;

 protected:
  bool IsNullAt(std::size_t, std::size_t) const override { return false; }
  std::string_view TextAt(std::size_t row, std::size_t) const override { return text_ = std::to_string(row); }

 private:
  mutable std::string text_;
};

const RuntimeError kCut(ErrorNumber::kDatabase, "abgeschnitten");

}  // namespace

TEST(IndexedRecordset, ThatEndsEarlyDeliversItsRowsAndRaisesTheReasonBehindThem) {
  Numbers rows(2);
  rows.EndsEarly(kCut, 5);
  EXPECT_EQ(rows.RecordCount(), 5);
  EXPECT_FALSE(rows.BrokenOff());
  rows.MoveNext();
  EXPECT_EQ(rows.TextAt(0), "1");
  EXPECT_FALSE(rows.BrokenOff());
  EXPECT_ERROR(rows.MoveNext(), ErrorNumber::kDatabase);
  EXPECT_TRUE(rows.IsEof());
  ASSERT_TRUE(rows.BrokenOff());
  EXPECT_EQ(rows.BrokenOff()->Description(), "abgeschnitten");
  EXPECT_ERROR(rows.MoveNext(), ErrorNumber::kNoCurrentRecord);
  EXPECT_ERROR(rows.GoTo(2), ErrorNumber::kNoCurrentRecord);
  rows.MoveFirst();
  EXPECT_EQ(rows.TextAt(0), "0");
  EXPECT_FALSE(rows.BrokenOff());
}

TEST(IndexedRecordset, WithoutARowThatCanBeReadIsBrokenOffFromTheBeginning) {
  Numbers rows(0);
  rows.EndsEarly(kCut);
  rows.MoveFirst();
  EXPECT_TRUE(rows.IsBof());
  EXPECT_TRUE(rows.IsEof());
  EXPECT_TRUE(rows.BrokenOff());
  EXPECT_EQ(rows.RecordCount(), 0);
}

TEST(IndexedRecordset, ThatDeliversAllItsRowsIsNotBrokenOff) {
  Numbers rows(1);
  rows.MoveNext();
  EXPECT_TRUE(rows.IsEof());
  EXPECT_FALSE(rows.BrokenOff());
}

}  // namespace kestrel
