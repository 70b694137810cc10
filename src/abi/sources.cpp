#include "abi/sources.h"

#include <memory>
#include <utility>
#include <vector>

#include "abi/callbacks.h"
#include "abi/library.h"
#include "kestrel/user_interface.h"

namespace kestrel::abi {

namespace {

// Stands where the kinds of the component have a database: the program's source has records only.
class NoDatabase final : public Connection {
 public:
  std::int64_t Execute(std::string_view) override { return LacksMember().ToInteger(); }
  RecordsetPtr OpenRecordset(std::string_view) override { return ToRecordset(LacksMember()); }
  std::vector<CatalogTable> Tables() override { return {}; }
  std::vector<std::string> ColumnNames(std::string_view) override { return {}; }
  void Close() override {}
  bool IsOpen() const override { return true; }
};

OpenedSource ConnectToNothing(const SourceInputs&, const ConnectionOpener&) {
  return {std::make_shared<NoDatabase>(), {}, {}};
}

RecordsetPtr OpenCSource(Session& session) {
  // Rows with this function are of such kinds only.
  const auto& kinds = static_cast<const CSourceKinds&>(KindsOf(session));
  const kestrel_source& source = kinds.sources.at(session.Provider);
  Library& library = kinds.library;
  kestrel_handle handle = 0;
  const std::uint64_t failures = library.failures();
  const std::int32_t status =
      source.open(source.context, library.handle(), ToText(session.Database), ToText(session.Table), &handle);
  if (status != KESTREL_OK) RaiseCallbackFailure(library, status, failures);
  RecordsetPtr records = library.RequireKind<Recordset>(handle, "Datensatzgruppe");
  library.handles.Remove(handle);
  return records;
}

std::vector<std::string> CSourceColumns(Session& session, ShownError* failure) {
  std::vector<std::string> names;
  Trap(
      [&] {
        const RecordsetPtr records = OpenCSource(session);
        for (std::size_t i = 0; i < records->ColumnCount(); ++i) names.emplace_back(records->ColumnName(i));
      },
      [&](const RuntimeError& error) {
        session.platform.ui.MessageBox("Fehler: " + error.Description(), "", Icon::kNone, Buttons::kOk);
        if (failure != nullptr) *failure = error;
      });
  names.emplace_back();
  return names;
}

}  // namespace

}  // namespace kestrel::abi

using namespace kestrel::abi;

int32_t kestrel_source_register(kestrel_library* library, const kestrel_source* source) {
  return Guarded(library, [&](Library& open) {
    const kestrel_source given = Read(source, "source");
    if (given.open == nullptr) RaiseArgument("'open' ist NULL.");
    std::string name = ToString(given.name, "name");
    open.source_kinds.Add({.name = name,
                           .location = &kestrel::Session::Database,
                           .place = kestrel::SourcePlace::kServer,
                           .keys = {{.name = "Database", .text = &kestrel::Session::Database},
                                    {.name = "Table", .text = &kestrel::Session::Table}},
                           .connect = ConnectToNothing,
                           .open = OpenCSource,
                           .column_names = CSourceColumns});
    open.source_kinds.sources.emplace(std::move(name), given);
  });
}
