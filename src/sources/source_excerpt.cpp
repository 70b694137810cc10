#include "sources/source_excerpt.h"

#include <utility>

#include "kestrel/connection.h"
#include "kestrel/runtime_error.h"
#include "platform/base/text.h"
#include "sources/apart_session.h"
#include "sources/source_kind.h"

namespace kestrel {

namespace {

// The record set keeps the connection, which is its own.
RecordsOpening ByConnection(const SourceKind& kind, const Session& session, const SourceInputs& inputs,
                            const ConnectionOpener& open) {
  return [connect = kind.connect, inputs, open, sql = kind.query(session)] {
    const OpenedSource opened = connect(inputs, open);
    if (opened.connection == nullptr) throw RuntimeError(ErrorNumber::kDatabase, opened.reason);
    return opened.connection->OpenRecordset(sql);
  };
}

ExcerptValue ValueOf(const Recordset& source, std::size_t column) {
  ExcerptValue value;
  Trap([&] { value.text = Left(source.TextAt(column), kExcerptCharacters); },
       [&](const RuntimeError& error) { value.unreadable = error; });
  return value;
}

void ReadRecords(const RecordsOpening& opening, std::size_t most, SourceExcerpt& sample) {
  const RecordsetPtr source = opening();
  for (std::size_t column = 0; column < source->ColumnCount(); ++column) {
    sample.columns.emplace_back(source->ColumnName(column));
  }
  source->MoveFirst();
  while (!source->IsEof() && sample.records.size() < most) {
    std::vector<ExcerptValue>& record = sample.records.emplace_back();
    for (std::size_t column = 0; column < sample.columns.size(); ++column) {
      record.push_back(ValueOf(*source, column));
    }
    if (sample.records.size() < most) source->MoveNext();
  }
  if (const std::optional<RuntimeError> reason = source->BrokenOff()) throw *reason;
}

class SampleRecordset final : public Recordset {
 public:
  explicit SampleRecordset(const SourceExcerpt& sample) : sample_(sample) {}

  std::size_t ColumnCount() const override { return sample_.columns.size(); }
  std::string_view ColumnName(std::size_t column) const override {
    if (column >= sample_.columns.size()) throw RuntimeError(ErrorNumber::kSubscriptOutOfRange);
    return sample_.columns[column];
  }
  bool IsBof() const override { return sample_.records.empty(); }
  bool IsEof() const override { return row_ == sample_.records.size(); }
  void MoveFirst() override { row_ = 0; }
  void MoveNext() override {
    if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
    ++row_;
  }
  std::int64_t Bookmark() const override { return static_cast<std::int64_t>(row_); }
  void GoTo(std::int64_t row) override {
    if (row < 0 || row >= RecordCount()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
    row_ = static_cast<std::size_t>(row);
  }
  std::int64_t RecordCount() const override { return static_cast<std::int64_t>(sample_.records.size()); }
  bool IsNull(std::size_t) const override { return false; }
  std::string_view TextAt(std::size_t column) const override {
    if (IsEof()) throw RuntimeError(ErrorNumber::kNoCurrentRecord);
    const ExcerptValue& value = sample_.records[row_].at(column);
    if (value.unreadable) throw *value.unreadable;
    return value.text;
  }

 private:
  const SourceExcerpt& sample_;
  std::size_t row_ = 0;
};

ExcerptReading Reading(RecordsOpening opening, std::size_t most) {
  return [opening = std::move(opening), most] {
    SourceExcerpt sample;
    Trap([&] { ReadRecords(opening, most, sample); },
         [&](const RuntimeError& error) { sample.failure = error.Description(); });
    return sample;
  };
}

}  // namespace

RecordsOpening BeginRecords(const Session& session) {
  return [apart = std::make_shared<ApartSession>(session)] {
    Session& own = apart->session();
    const ConnectResult connect = ConnectFromSession(own);
    if (!connect.connected) throw RuntimeError(ErrorNumber::kDatabase, connect.reason);
    return KindOf(own)->open(own);
  };
}

ExcerptReading BeginExcerpt(const Session& session, std::size_t most) {
  return Reading(BeginRecords(session), most);
}

ExcerptReading BeginGlimpse(const Session& session, const SourceInputs& inputs, std::size_t most,
                            const ConnectionOpener& open) {
  const SourceKind* kind = KindOf(session);
  if (kind != nullptr && kind->beginning != nullptr) return Reading(kind->beginning(session), most);
  if (kind != nullptr && kind->connect != nullptr)
    return Reading(ByConnection(*kind, session, inputs, open), most);
  return Reading(BeginRecords(session), most);
}

RecordsetPtr RecordsOf(const SourceExcerpt& sample) { return std::make_shared<SampleRecordset>(sample); }

}  // namespace kestrel
