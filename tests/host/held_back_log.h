// A duplicate log with one record that was held back, written through the host's log component.
#pragma once

#include <initializer_list>
#include <string_view>
#include <utility>

#include "host/host_fixture.h"

namespace kestrel::testing {

struct HeldBackRecord {
  FieldTexts fields;   // as the log tells them
  FieldTexts details;  // of the first row
};

inline void WriteHeldBackLog(ComponentRegistry& components, const ObjectPtr& connection,
                             const FieldTexts& log_details, std::initializer_list<HeldBackRecord> records) {
  const ObjectPtr log = components.CreateObject("KSHProto.Protokoll");
  Value host(connection);
  CallMethod(log, "CreateProtokoll", ByRef(host), "Titel", "Dr. Erika Schmitz", "LST_ImportDublett",
             "07.03.2024", "Messe", "/i/~1.tmp", "Textdatei");
  for (const auto& [name, text] : log_details) CallMethod(log, "SetLogDetail", name, text);
  char letter = 'A';
  for (const HeldBackRecord& record : records) {
    const std::string mark = std::string("{") + letter++ + "}";
    for (const auto& field : record.fields) {
      CallMethod(log, "AddNewRecord");
      CallMethod(log, "SetField", 10, 0, mark);
      CallMethod(log, "SetField", 10, 1, field.first);
      CallMethod(log, "SetField", 10, 2, field.second);
      if (&field == record.fields.begin()) {
        for (const auto& [name, text] : record.details) CallMethod(log, "SetRowDetail", name, text);
      }
      CallMethod(log, "UpdateRecord");
    }
  }
}

}  // namespace kestrel::testing
