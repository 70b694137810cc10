#include "sources/source_excerpt.h"

#include <utility>

#include "kestrel/clock.h"
#include "kestrel/component_registry.h"
#include "kestrel/runtime_error.h"
#include "kestrel/user_interface.h"
#include "platform/base/text.h"
#include "sources/source_kind.h"

namespace kestrel {

namespace {

// Whoever reads a sample is told of errors by it alone.
class NobodyAsked final : public UserInterface {
 public:
  Answer MessageBox(std::string_view, std::string_view, Icon, Buttons buttons) override {
    return buttons == Buttons::kOk ? Answer::kOk : Answer::kNo;
  }
  std::optional<std::string> InputBox(std::string_view, std::string_view) override { return {}; }
  std::optional<std::string> ChooseFile(std::string_view, std::string_view, const std::string&) override {
    return {};
  }
  std::optional<std::string> ChooseFolder(std::string_view, const std::string&) override { return {}; }
  void Yield() override {}
};

// What reading a source needs, in the thread that does it.
struct Reading {
  explicit Reading(const Session& of) {
    // A row of the host's may have gone with its kinds when the thread comes to it.
    const SourceKind* kind = KindOf(of);
    if (kind != nullptr && kinds.Find(kind->name) == nullptr) kinds.Add(*kind);
    session.Provider = of.Provider;
    session.FileName = of.FileName;
    session.Database = of.Database;
    session.Table = of.Table;
    session.ColumnHeadings = of.ColumnHeadings;
    session.FileFormat = of.FileFormat;
    session.Delimiter = of.Delimiter;
    session.TextRecognition = of.TextRecognition;
    session.Server = of.Server;
    session.User = of.User;
    session.Password = of.Password;
  }

  NobodyAsked ui;
  ComponentRegistry components;
  SystemClock clock;
  SourceKinds kinds;
  Session session{Platform{ui, components, clock, &kinds}};
};

ExcerptValue ValueOf(const Recordset& source, std::size_t column) {
  ExcerptValue value;
  Trap([&] { value.text = Left(source.TextAt(column), kExcerptCharacters); },
       [&](const RuntimeError& error) { value.unreadable = error; });
  return value;
}

void ReadRecords(Session& session, std::size_t most, SourceExcerpt& sample) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr) return;
  const ConnectResult connect = ConnectFromSession(session);
  if (!connect.connected) {
    sample.failure = connect.reason;
    return;
  }
  const RecordsetPtr source = kind->open(session);
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

}  // namespace

std::function<SourceExcerpt()> BeginExcerpt(const Session& session, std::size_t most) {
  return [reading = std::make_shared<Reading>(session), most] {
    SourceExcerpt sample;
    Trap([&] { ReadRecords(reading->session, most, sample); },
         [&](const RuntimeError& error) { sample.failure = error.Description(); });
    return sample;
  };
}

RecordsetPtr RecordsOf(const SourceExcerpt& sample) { return std::make_shared<SampleRecordset>(sample); }

}  // namespace kestrel
