// What imports did, by the ledger that a host keeps, and taking it back.
#include <string>

#include "abi/callbacks.h"
#include "abi/library.h"
#include "kestrel/connection.h"

namespace kestrel::abi {

namespace {

constexpr std::string_view kSampleLedger = "kestrelhost.RunLedger";

ObjectPtr OpenLedger(Library& library, const kestrel_text& name, kestrel_handle connection) {
  const std::string_view identifier = ToView(name, "ledger");
  const ObjectPtr host = library.RequireKind<Connection>(connection, "Verbindung");
  ObjectPtr ledger = library.components.CreateObject(identifier.empty() ? kSampleLedger : identifier);
  SetProperty(ledger, "Connection", host);
  return ledger;
}

// Whether all of it was taken back.
bool TakeBack(const ObjectPtr& ledger, const kestrel_undo_settings& settings, StopRequest& stop) {
  const StopRequest::Scope stoppable(stop);
  const auto number = [&](const char* member) { return GetProperty(ledger, member).ToInteger(); };
  CallMethod(ledger, "StartUndo", settings.run, settings.dry_run != 0, settings.take_changes != 0);
  const std::int64_t total = number("UndoTotal");
  while (CallMethod(ledger, "NextUndo").ToBool()) {
    if (settings.progress != nullptr &&
        settings.progress(settings.context, number("UndoDone"), total) != KESTREL_OK)
      return false;
    if (stop.times() > 0) return false;
  }
  return true;
}

}  // namespace

}  // namespace kestrel::abi

using namespace kestrel::abi;
using kestrel::ObjectPtr;

int32_t kestrel_runs(kestrel_library* library, kestrel_handle host_connection, kestrel_text ledger,
                     kestrel_handle* recordset) {
  return Guarded(library, [&](Library& open) {
    kestrel_handle& target = Require(recordset, "recordset");
    const ObjectPtr opened = OpenLedger(open, ledger, host_connection);
    target = open.handles.Add(kestrel::ToRecordset(kestrel::CallMethod(opened, "Runs")));
  });
}

int32_t kestrel_undo(kestrel_library* library, kestrel_handle host_connection,
                     const kestrel_undo_settings* settings, kestrel_undo_result* result,
                     kestrel_handle* left_alone) {
  return Guarded(library, [&](Library& open) {
    const kestrel_undo_settings asked = Read(settings, "settings");
    RequireSize(result, "result");
    const ObjectPtr ledger = OpenLedger(open, asked.ledger, host_connection);
    kestrel_undo_result told{};
    told.complete = TakeBack(ledger, asked, open.stop) ? 1 : 0;
    const auto number = [&](const char* member) { return kestrel::GetProperty(ledger, member).ToInteger(); };
    told.total = number("UndoTotal");
    told.done = number("UndoDone");
    told.removed = number("Removed");
    told.restored = number("Restored");
    if (left_alone != nullptr)
      *left_alone = open.handles.Add(kestrel::ToRecordset(kestrel::CallMethod(ledger, "LeftAlone")));
    Fill(result, told, "result");
  });
}
