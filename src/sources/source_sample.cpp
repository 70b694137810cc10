#include "sources/source_sample.h"

#include <utility>

#include "kestrel/connection.h"
#include "kestrel/runtime_error.h"
#include "platform/base/text.h"
#include "sources/source_kind.h"

namespace kestrel {

namespace {

// The records of a query on a connection of its own, which they keep.
RecordsetPtr OpenApart(OpenedSource opened, const std::string& sql) {
  if (opened.connection == nullptr) {
    throw RuntimeError(ErrorNumber::kDatabase, opened.reason);
  }
  return opened.connection->OpenRecordset(sql);
}

void CopyRecord(const Recordset& source, MemoryRecordset& copy) {
  copy.AddNew();
  for (std::size_t column = 0; column < source.ColumnCount(); ++column) {
    // A value that cannot be read leaves its cell empty, as in the whole preview.
    Trap([&] { copy.SetText(column, Left(source.TextAt(column), kSampleCharacters)); },
         [](const RuntimeError&) {});
  }
}

}  // namespace

SampleReading BeginSample(const Session& session, const SourceInputs& inputs, std::size_t most,
                          const ConnectionOpener& open) {
  const SourceKind* kind = KindOf(session);
  if (kind == nullptr) return {};
  std::function<RecordsetPtr()> opening;
  if (kind->beginning != nullptr) {
    opening = kind->beginning(session);
  } else if (kind->connect != nullptr) {
    opening = [connect = kind->connect, inputs, open, sql = kind->query(session)] {
      return OpenApart(connect(inputs, open), sql);
    };
  } else {
    return {};
  }
  return [opening = std::move(opening), most] {
    SourceSample sample;
    Trap(
        [&] {
          const RecordsetPtr source = opening();
          auto copy = std::make_shared<MemoryRecordset>();
          for (std::size_t column = 0; column < source->ColumnCount(); ++column) {
            copy->AppendColumn(std::string(source->ColumnName(column)));
          }
          sample.records = copy;
          for (std::size_t record = 0; record < most && !source->IsEof(); ++record) {
            CopyRecord(*source, *copy);
            source->MoveNext();
          }
        },
        [&](const RuntimeError& error) { sample.reason = error.Description(); });
    return sample;
  };
}

}  // namespace kestrel
