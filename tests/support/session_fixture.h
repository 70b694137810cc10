// A test's session with everything it stands on: recorded dialogs, a clock that stands still, a component
// registry of its own and a scratch folder.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>

#include "component/session.h"
#include "kestrel/clock.h"
#include "kestrel/component_registry.h"
#include "kestrel/connection.h"
#include "kestrel/memory_recordset.h"
#include "platform/dialogs/recording_user_interface.h"
#include "support/recording_object.h"
#include "support/temp_folder.h"

namespace kestrel::testing {

class SessionFixture : public ::testing::Test {
 protected:
  // AppMode 2, PersonalNr "4711", and SpecFolder an empty folder "Import" in the scratch folder.
  SessionFixture();

  // An object that CreateObject(prog_id) answers from now on: always this one, so that the test can look at
  // what it was asked. Its calls stand in `journal` under `label`.
  std::shared_ptr<RecordingObject> AddComponent(const std::string& prog_id, const std::string& label = "");

  // Writes a file into the specification folder; its full path. Line ends in `content` are written as CR LF.
  std::string WriteSpecification(std::string_view name, std::string_view content);
  // The same, as the session's specification in use.
  void UseSpecification(std::string_view content);

  // The calls of all components added, in one order.
  std::vector<std::string> CallLines() const;

  TempFolder folder;
  RecordingUserInterface ui;
  FixedClock clock{DateTime{CalendarDate{2024, 3, 7}, 14, 5, 9}};
  ComponentRegistry components;
  Session session{Platform{ui, components, clock}};
  std::shared_ptr<CallJournal> journal = std::make_shared<CallJournal>();
};

}  // namespace kestrel::testing
