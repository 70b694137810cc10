// Rows that a thread reads, and the grid over them.
#include "wizard/row_reader.h"

#include <gmock/gmock.h>

#include <QTableView>

#include "support/eventually.h"
#include "support/gate.h"
#include "wizard/far_rows_model.h"
#include "wizard/qt_text.h"
#include "wizard/wizard_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;

// The numbers from 0 on; from row 100 on only through the gate, and from `broken` on with an error.
class SlowNumbers final : public Recordset {
 public:
  SlowNumbers(std::int64_t rows, std::shared_ptr<testing::Gate> gate, std::int64_t broken)
      : gate_(std::move(gate)), rows_(rows), broken_(broken) {}
  std::size_t ColumnCount() const override { return 2; }
  std::string_view ColumnName(std::size_t column) const override { return column == 0 ? "Zahl" : "Text"; }
  bool IsBof() const override { return rows_ == 0; }
  bool IsEof() const override { return row_ == rows_; }
  void MoveFirst() override { GoTo(0); }
  void MoveNext() override { ++row_; }
  std::int64_t RecordCount() const override { return rows_; }
  std::int64_t Bookmark() const override { return row_; }
  void GoTo(std::int64_t row) override {
    if (row >= 100) gate_->Pass();
    if (row >= broken_) throw RuntimeError(3000, "weg");
    row_ = row;
  }
  bool IsNull(std::size_t) const override { return false; }
  std::string_view TextAt(std::size_t column) const override {
    text_ = column == 0 ? std::to_string(row_) : "";
    return text_;
  }

 private:
  std::shared_ptr<testing::Gate> gate_;
  std::int64_t rows_;
  std::int64_t broken_;
  std::int64_t row_ = 0;
  mutable std::string text_;
};

class RowReaderTest : public ::testing::Test {
 protected:
  std::shared_ptr<RowReader> Reader(std::int64_t rows, std::int64_t broken = 1000) {
    return std::make_shared<RowReader>(std::make_shared<SlowNumbers>(rows, gate, broken));
  }
  // Once the cell is there.
  static std::string Cell(const QAbstractItemModel& model, int row) {
    const auto text = [&] { return FromQt(model.index(row, 0).data().toString()); };
    testing::Eventually([&] {
      testing::Spin();
      return text() != "…";
    });
    return text();
  }

  std::shared_ptr<testing::Gate> gate = std::make_shared<testing::Gate>();
};

TEST_F(RowReaderTest, HasItsFirstBlockAtOnce) {
  const auto reader = Reader(250);
  EXPECT_EQ(reader->count(), 250);
  EXPECT_THAT(reader->columns(), ElementsAre("Zahl", "Text"));
  ASSERT_EQ(reader->first().rows.size(), 100u);
  EXPECT_EQ(reader->first().rows[99][0], "99");
}

TEST_F(RowReaderTest, OfBlocksAskedForMeanwhileItReadsTheLastOne) {
  const auto reader = Reader(500);
  RowReader::Ask(reader, 1);
  gate->AwaitEntered();
  RowReader::Ask(reader, 2);
  RowReader::Ask(reader, 4);
  EXPECT_TRUE(reader->IsBusy());
  EXPECT_FALSE(reader->Take());
  gate->Open();
  reader->AwaitIdle();
  const std::optional<RowReader::Block> block = reader->Take();
  ASSERT_TRUE(block);
  EXPECT_EQ(block->number, 4);
  EXPECT_EQ(block->rows[99][0], "499");
  EXPECT_FALSE(reader->Take()) << "once";
}

TEST_F(RowReaderTest, ABlockThatCannotBeReadSaysWhy) {
  const auto reader = Reader(300, 200);
  gate->Open();
  RowReader::Ask(reader, 2);
  reader->AwaitIdle();
  const std::optional<RowReader::Block> block = reader->Take();
  ASSERT_TRUE(block && block->error);
  EXPECT_EQ(block->error->Number(), 3000);
}

TEST_F(RowReaderTest, TheGridShowsWhatIsThereAndTheRestWhenItHasBeenRead) {
  FarRowsModel model(Reader(250), {"Eins"}, nullptr);
  EXPECT_EQ(model.rowCount(), 250);
  EXPECT_EQ(model.headerData(0, Qt::Horizontal).toString(), "Eins");
  EXPECT_EQ(model.headerData(1, Qt::Horizontal).toString(), "Text");
  EXPECT_EQ(Cell(model, 7), "7");
  EXPECT_EQ(model.index(240, 0).data().toString(), "…");
  gate->AwaitEntered();
  testing::Spin();
  EXPECT_EQ(Cell(model, 8), "8") << "the window is alive meanwhile";
  gate->Open();
  EXPECT_EQ(Cell(model, 240), "240");
  EXPECT_EQ(Cell(model, 249), "249");
}

TEST_F(RowReaderTest, AWindowMayGoWhileABlockIsBeingRead) {
  const auto reader = Reader(300);
  {
    const FarRowsModel model(reader, {}, nullptr);
    EXPECT_EQ(model.index(150, 0).data().toString(), "…");
    gate->AwaitEntered();
    EXPECT_EQ(model.index(250, 0).data().toString(), "…");
  }
  gate->Open();
  reader->AwaitIdle();
  EXPECT_EQ(reader->Take()->number, 1) << "nobody wants the other one any more";
}

}  // namespace
}  // namespace kestrel
