#include "ledger/run_records.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ledger/ledger_block.h"
#include "ledger/run_state.h"
#include "ledger/stored_row.h"
#include "platform/base/text.h"

namespace kestrel::host {

namespace {

struct Range {
  std::int64_t first = 0;
  std::int64_t last = 0;
};

struct Row {
  std::string_view event;
  Range records;
  std::optional<Range> numbers = {};
  std::string field = {};
  std::string before = {};
  std::string imported = {};
  std::string behind_event = {};
};

class RunRecords {
 public:
  RunRecords(std::string table, std::vector<std::string> fields)
      : table_(std::move(table)), fields_(std::move(fields)) {}

  // Whether so many rows are of records in front of this one.
  bool Has(std::size_t most, std::int64_t before) const {
    return rows_.size() >= most && std::count_if(rows_.begin(), rows_.end(), [&](const Row& row) {
                                     return row.records.first < before;
                                   }) >= static_cast<std::ptrdiff_t>(most);
  }

  // Blocks come in the order of their first records, each once of `count` records.
  void AddBlock(std::string_view event, Range records, std::optional<Range> numbers, std::int64_t count,
                std::string_view text) {
    LedgerBlockReader reader(text);
    for (; reader.Next(); --count) {
      const std::int64_t record = reader.record();
      std::optional<Range> number;
      if (numbers) number = Range{reader.number(), reader.number()};
      if (event == kUpdated) {
        AddUpdate({kUpdated, {record, record}, number}, reader);
      } else {
        AddRecord({event, {record, record}, number});
      }
    }
    if (count <= 0) return;
    // Which of its records an undo has taken back is not known any more.
    Row& taken = rows_.emplace_back(Row{event, records, numbers});
    taken.behind_event = ", zurückgenommen";
    if (count <= records.last - records.first) taken.behind_event += " (" + std::to_string(count) + ")";
  }

  std::shared_ptr<MemoryRecordset> Take(std::size_t most) {
    std::stable_sort(rows_.begin(), rows_.end(),
                     [](const Row& one, const Row& other) { return one.records.first < other.records.first; });
    if (rows_.size() > most) rows_.resize(most);
    auto result = std::make_shared<MemoryRecordset>();
    for (const char* name : {"Datensatz", "BisDatensatz"}) result->AppendColumn(name, ColumnType::kInt64);
    for (const char* name : {"Ereignis", "Tabelle"}) result->AppendColumn(name);
    for (const char* name : {"Nummer", "BisNummer"}) result->AppendColumn(name, ColumnType::kInt64);
    for (const char* name : {"Feld", "Vorher", "Importiert"}) result->AppendColumn(name);
    for (const Row& row : rows_) {
      result->AddNew();
      result->SetValue(0, row.records.first);
      result->SetValue(1, row.records.last);
      result->SetText(2, std::string(row.event) + row.behind_event);
      result->SetText(3, row.numbers ? table_ : std::string());
      result->SetValue(4, row.numbers ? Value(row.numbers->first) : Value(kNull));
      result->SetValue(5, row.numbers ? Value(row.numbers->last) : Value(kNull));
      result->SetText(6, row.field);
      result->SetText(7, row.before);
      result->SetText(8, row.imported);
    }
    result->MoveFirst();
    return result;
  }

 private:
  void AddUpdate(const Row& record, LedgerBlockReader& reader) {
    const std::size_t before = rows_.size();
    while (const std::optional<std::size_t> field = reader.ReadChange()) {
      Row& row = rows_.emplace_back(record);
      if (*field < fields_.size()) row.field = fields_[*field];
      row.before = ShownValue(reader.Read());
      row.imported = ShownValue(reader.Read());
    }
    if (rows_.size() == before) rows_.push_back(record);
  }

  void AddRecord(Row record) {
    std::size_t& last = LastOf(record.event);
    if (last < rows_.size() && IsNext(rows_[last], record)) {
      rows_[last].records.last = record.records.last;
      rows_[last].numbers =
          record.numbers ? Range{rows_[last].numbers->first, record.numbers->last} : std::optional<Range>();
      return;
    }
    last = rows_.size();
    rows_.push_back(std::move(record));
  }

  static bool IsNext(const Row& row, const Row& record) {
    return record.records.first == row.records.last + 1 &&
           (!record.numbers || record.numbers->first == row.numbers->last + 1);
  }

  // Where the row of the event is that may go on.
  std::size_t& LastOf(std::string_view event) {
    for (auto& [name, row] : last_) {
      if (name == event) return row;
    }
    return last_.emplace_back(event, rows_.size()).second;
  }

  const std::string table_;
  const std::vector<std::string> fields_;
  std::vector<Row> rows_;
  std::vector<std::pair<std::string_view, std::size_t>> last_;
};

// The event as this file holds it, without a lifetime.
std::string_view EventOf(std::string_view text) {
  for (const std::string_view event : {kNew, kUpdated, kHeldBack, kRejected}) {
    if (text == event) return event;
  }
  throw RuntimeError(
      ErrorNumber::kDatabase,
      "In der Tabelle 'Importlaufzeilen' steht das unbekannte Ereignis '" + std::string(text) + "'");
}

struct Block {
  std::int64_t key;
  std::int64_t first_record;
};

std::vector<Block> BlocksOf(Connection& connection, std::int64_t run) {
  const auto select = connection.Prepare("SELECT ZeilenNr, Datensatz FROM Importlaufzeilen WHERE " +
                                         std::string(kOfRun) + " ORDER BY Datensatz, ZeilenNr");
  BindRun(*select, 0, run);
  std::vector<Block> blocks;
  for (const RecordsetPtr rows = select->Open(); !rows->IsEof(); rows->MoveNext()) {
    blocks.push_back({rows->ValueAt(0).ToInteger(), rows->ValueAt(1).ToInteger()});
  }
  return blocks;
}

}  // namespace

std::shared_ptr<MemoryRecordset> RecordsOfRun(Connection& connection, std::int64_t run,
                                              std::optional<std::int64_t> most) {
  const auto limit = most ? static_cast<std::size_t>(std::max<std::int64_t>(*most, 0))
                          : std::numeric_limits<std::size_t>::max();
  const auto head = connection.Prepare("SELECT Tabelle, Spalten FROM Importlauf WHERE LaufNr = ?");
  head->BindInteger(0, run);
  const RecordsetPtr found = head->Open();
  if (found->IsEof()) return RunRecords({}, {}).Take(limit);
  const std::vector<std::string_view> columns = Split(found->TextAt(1), ',');
  RunRecords records(std::string(found->TextAt(0)), {columns.begin(), columns.end()});
  const auto select = connection.Prepare(
      "SELECT Ereignis, Datensatz, BisDatensatz, Nummer, BisNummer, Anzahl, Werte FROM Importlaufzeilen "
      "WHERE ZeilenNr = ?");
  for (const Block& block : BlocksOf(connection, run)) {
    if (records.Has(limit, block.first_record)) break;
    select->BindInteger(0, block.key);
    const RecordsetPtr row = select->Open();
    if (row->IsEof()) continue;
    const auto range = [&](std::size_t column) {
      return Range{row->ValueAt(column).ToInteger(), row->ValueAt(column + 1).ToInteger()};
    };
    records.AddBlock(EventOf(row->TextAt(0)), range(1), row->IsNull(3) ? std::optional<Range>() : range(3),
                     row->ValueAt(5).ToInteger(), row->TextAt(6));
  }
  return records.Take(limit);
}

}  // namespace kestrel::host
