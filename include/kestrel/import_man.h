// ImportMan: the one object a host sees.
//
//   ImportMan man(platform, pages);
//   man.SetConnection(connection);
//   man.SetApplication(2);
//   man.SetPersonalNr("4711");
//   man.ShowDialog();                 // returns at once; the wizard runs on the host's message loop
//
// Used by the thread of the message loop. Texts and paths are UTF-8. The connection is shared, and kept until the
// last page has closed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "kestrel/bound_object.h"
#include "kestrel/clock.h"
#include "kestrel/component_registry.h"
#include "kestrel/export.h"
#include "kestrel/platform.h"

namespace kestrel {

struct Session;

// The pages as ImportMan knows them; implemented by the wizard library.
class KESTREL_EXPORT WizardPages {
 public:
  virtual ~WizardPages() = default;
  // Creates a new step 1 page for the session and shows it without waiting. The pages keep the session as long
  // as one of them is open.
  virtual void ShowStep1(std::shared_ptr<Session> session) = 0;
};

// Members by name, for late binding: Connection (get, set), Application, PersonalNr, ImportFileName (let),
// ShowDialog. None validates its argument and none can fail. A host may release the object right after ShowDialog.
class KESTREL_EXPORT ImportMan final : public BoundObject<ImportMan> {
 public:
  // The identifier under which Register has it created.
  static constexpr const char* kProgId = "kestrelimport.ImportMan";

  // `pages` may be null for a host without a screen, whose ShowDialog does nothing. Both outlive this object,
  // and the platform outlives the pages, too.
  ImportMan(Platform platform, WizardPages* pages);

  // Lets late-binding hosts create it as kProgId from platform.components, a new one with a session of its own
  // each time. Platform and pages outlive what is created.
  static void Register(Platform platform, WizardPages* pages);
  static void Bind(Members& members);

  // The host's database, as it was set.
  ObjectPtr Connection() const { return connection_; }
  // The host's database, handed on to import class, logs and duplicate check. Any object; what cannot work with it
  // tells so later.
  void SetConnection(ObjectPtr connection);
  // The host's number of its application: step 1 lists the specifications of that number.
  void SetApplication(std::int16_t app_mode);
  // The clerk, for the import class and the logs.
  void SetPersonalNr(const std::string& personal_nr);
  // The path of a file that takes the place of the source that the next specification names, once. Empty: none.
  void SetImportFileName(const std::string& filename);
  // Shows step 1 and returns at once.
  void ShowDialog();

  // The variables of the import, for programs that are built with the component.
  Session& session() { return *session_; }

 private:
  std::shared_ptr<Session> session_;
  WizardPages* pages_;
  ObjectPtr connection_;
};

// The folder "Import" in the component's own (platform/base/component_folder.h).
KESTREL_EXPORT std::string DefaultSpecFolder();

}  // namespace kestrel
