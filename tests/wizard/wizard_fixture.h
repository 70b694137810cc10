// A wizard over a recorded session: opens its pages as a person does and drives them by the names of their
// controls.
#pragma once

#include <gmock/gmock.h>

#include <QApplication>
#include <QLabel>
#include <QTest>
#include <string>
#include <vector>

#include "kestrel/wizard.h"
#include "mapping/field_assignment.h"
#include "qt/drive.h"
#include "support/field_list.h"
#include "support/session_fixture.h"
#include "wizard/qt_text.h"

namespace kestrel::testing {

class WizardFixture : public SessionFixture {
 protected:
  using Box = RecordingUserInterface::Box;

  // The specification folder is below KESTREL_HOME, which is the scratch folder; the import class "test.import"
  // has the fields Name (mandatory), Ort and Datum (a date).
  explicit WizardFixture(WizardComforts comforts = {});
  ~WizardFixture() override;

  void UseFields(const std::vector<DestinationField>& fields);

  // --- Files ---
  // Section Common of a text specification over `file_name`, with more lines of that section behind it.
  static std::string TextSpecification(const std::string& file_name, const std::string& more = "");
  // A text file with the columns Name, Ort, Datum and Gruppe and `records` records, separated by semicolons.
  std::string WriteSource(int records = 3);
  // What the working file holds for a key.
  std::string Stored(const char* section, const std::string& key);
  std::vector<std::string> FilesOfSpecFolder() const;

  // --- Pages ---
  // The test's own session as the wizard takes it; the wizard ends first.
  std::shared_ptr<Session> SharedSession() { return {std::shared_ptr<void>(), &session}; }
  void OpenStep1();
  // Opens the specification (or template) of that content by way of step 1.
  void OpenStep2(const std::string& content, const std::string& file_name = "Test.IMP");
  // The same, and on to step 3.
  void OpenStep3(const std::string& content, const std::string& file_name = "Test.IMP");
  QWidget& Page() const;
  std::string PageName() const;

  // --- Controls of the shown page ---
  template <class Control>
  Control& Find(const char* object_name) const {
    return FindIn<Control>(Page(), object_name);
  }
  void Click(const char* object_name);
  // Until what is waiting has been handled, and step 2 has its file: on a machine that is busy it may take longer than
  // the page waits without showing it.
  void Settle() const;
  // Puts the focus on the control, as the Tab key does.
  void Focus(const char* object_name);
  // Replaces the text of a line edit key by key.
  void Type(const char* object_name, const char* text);
  // Selects an entry of a drop-down list as a person does.
  void Choose(const char* object_name, const char* entry);

  static Box Information(const std::string& text, const std::string& title = "");
  static Box Question(const std::string& text, const std::string& title);
  static Box Plain(const std::string& text);

  ModalDriver modals{[](const std::string& complaint) { ADD_FAILURE() << complaint; }};
  Wizard wizard;
  std::shared_ptr<RecordingObject> import_class;
};

}  // namespace kestrel::testing
