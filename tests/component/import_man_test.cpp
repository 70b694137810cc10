// The one object a host sees, driven by member name as a host does.
#include "kestrel/import_man.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "component/session.h"
#include "kestrel/runtime_error.h"
#include "platform/base/component_folder.h"
#include "platform/dialogs/recording_user_interface.h"
#include "support/expect_error.h"
#include "support/recording_object.h"

namespace kestrel {
namespace {

using testing::RecordingObject;

class RecordingPages final : public WizardPages {
 public:
  void ShowStep1(std::shared_ptr<Session> session) override {
    ++shown;
    session_shown = std::move(session);
  }
  int shown = 0;
  std::shared_ptr<Session> session_shown;
};

class ImportManTest : public ::testing::Test {
 protected:
  RecordingUserInterface ui_;
  ComponentRegistry components_;
  FixedClock clock_{DateTime{{2024, 3, 7}, 14, 5, 9}};
  RecordingPages pages_;
  std::shared_ptr<ImportMan> man_ = std::make_shared<ImportMan>(Platform{ui_, components_, clock_}, &pages_);
};

TEST_F(ImportManTest, ItsSessionLivesAsLongAsThePagesKeepIt) {
  man_->SetPersonalNr("4711");
  man_->ShowDialog();
  man_.reset();
  EXPECT_EQ(pages_.session_shown->PersonalNr, "4711");
  EXPECT_EQ(pages_.session_shown.use_count(), 1);
}

TEST_F(ImportManTest, IsCreatedByNameWithASessionOfItsOwnEachTime) {
  ImportMan::Register(Platform{ui_, components_, clock_}, &pages_);
  const ObjectPtr first = components_.CreateObject("kestrelimport.ImportMan");
  const ObjectPtr second = components_.CreateObject("KestrelImport.importman");
  LetProperty(first, "PersonalNr", "1");
  LetProperty(second, "PersonalNr", "2");
  CallMethod(first, "ShowDialog");
  ASSERT_NE(pages_.session_shown, nullptr);
  EXPECT_EQ(pages_.session_shown->PersonalNr, "1");
  CallMethod(second, "ShowDialog");
  EXPECT_EQ(pages_.session_shown->PersonalNr, "2");
}

TEST_F(ImportManTest, StartsWithAnEmptySession) {
  const Session& session = man_->session();
  EXPECT_EQ(session.HostConnection, nullptr);
  EXPECT_EQ(session.AppMode, 0);
  EXPECT_EQ(session.PersonalNr + session.ImportFileName + session.SpecFile + session.ExistingSchemaNames, "");
  EXPECT_FALSE(session.SchemaChanged || session.TestMode || session.SaveFile || session.DeleteFile);
}

TEST_F(ImportManTest, CopiesWhatItIsGivenIntoTheSession) {
  const auto connection = std::make_shared<RecordingObject>();
  SetProperty(man_, "Connection", connection);
  LetProperty(man_, "Application", 3);
  LetProperty(man_, "PersonalNr", "4711");
  LetProperty(man_, "ImportFileName", "/daten/Adressen.txt");
  EXPECT_EQ(man_->session().HostConnection, connection);
  EXPECT_EQ(GetProperty(man_, "Connection").ToObject(), connection);
  EXPECT_EQ(man_->session().AppMode, 3);
  EXPECT_EQ(man_->session().PersonalNr, "4711");
  EXPECT_EQ(man_->session().ImportFileName, "/daten/Adressen.txt");
}

TEST_F(ImportManTest, ValidatesNothing) {
  LetProperty(man_, "Application", -7);
  LetProperty(man_, "PersonalNr", "");
  SetProperty(man_, "Connection", nullptr);
  EXPECT_EQ(man_->session().AppMode, -7);
  EXPECT_EQ(GetProperty(man_, "Connection").ToObject(), nullptr);
}

TEST_F(ImportManTest, TheLastConnectionSetIsTheOneGiven) {
  SetProperty(man_, "Connection", std::make_shared<RecordingObject>());
  const auto second = std::make_shared<RecordingObject>();
  SetProperty(man_, "Connection", second);
  EXPECT_EQ(GetProperty(man_, "Connection").ToObject(), second);
  EXPECT_EQ(man_->session().HostConnection, second);
}

TEST_F(ImportManTest, ApplicationModePersonalNumberAndFileNameCannotBeRead) {
  for (const char* name : {"Application", "PersonalNr", "ImportFileName"}) {
    EXPECT_ERROR(GetProperty(man_, name), ErrorNumber::kMemberNotFound) << name;
  }
}

TEST_F(ImportManTest, ShowDialogShowsStep1AndReturnsEvenWithoutAConnection) {
  CallMethod(man_, "ShowDialog");
  EXPECT_EQ(pages_.shown, 1);
  EXPECT_EQ(pages_.session_shown.get(), &man_->session());
  EXPECT_EQ(man_->session().HostConnection, nullptr);
}

TEST_F(ImportManTest, AFileNameDoesNotSkipStep1) {
  LetProperty(man_, "ImportFileName", "/daten/Adressen.txt");
  CallMethod(man_, "ShowDialog");
  EXPECT_EQ(pages_.shown, 1);
  EXPECT_EQ(man_->session().ImportFileName, "/daten/Adressen.txt");
  EXPECT_EQ(man_->session().FileName, "");
}

TEST_F(ImportManTest, ASecondShowDialogKeepsTheSessionOfTheFirst) {
  CallMethod(man_, "ShowDialog");
  man_->session().ExistingSchemaNames = "Kunden;";
  man_->session().TestMode = true;
  CallMethod(man_, "ShowDialog");
  EXPECT_EQ(pages_.shown, 2);
  EXPECT_EQ(man_->session().ExistingSchemaNames, "Kunden;");
  EXPECT_TRUE(man_->session().TestMode);
}

TEST_F(ImportManTest, WithoutPagesShowDialogDoesNothing) {
  const auto man = std::make_shared<ImportMan>(Platform{ui_, components_, clock_}, nullptr);
  CallMethod(man, "ShowDialog");
  EXPECT_TRUE(ui_.boxes.empty());
}

// --- Folders ------------------------------------------------------------------------------------

// Sets or clears a variable of the environment while it lives.
class Variable {
 public:
  Variable(const char* name, const char* value) : name_(name) {
    if (const char* before = std::getenv(name)) before_ = before;
    Put(value);
  }
  ~Variable() { Put(before_.has_value() ? before_->c_str() : nullptr); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  void Put(const char* value) {
    if (value == nullptr) {
      ::unsetenv(name_);
    } else {
      ::setenv(name_, value, 1);
    }
  }
  const char* name_;
  std::optional<std::string> before_;
};

TEST(ComponentFolder, IsTheOneTheEnvironmentNames) {
  const Variable home("KESTREL_HOME", "/srv/kestrel");
  EXPECT_EQ(ComponentFolder(), "/srv/kestrel");
  EXPECT_EQ(DefaultSpecFolder(), "/srv/kestrel/Import");
}

TEST(ComponentFolder, IsElseInTheUsersDataFolder) {
  const Variable home("KESTREL_HOME", nullptr);
  const Variable data("XDG_DATA_HOME", "/home/x/data");
  EXPECT_EQ(ComponentFolder(), "/home/x/data/kestrel-import");
  EXPECT_EQ(DefaultSpecFolder(), "/home/x/data/kestrel-import/Import");
}

TEST(ComponentFolder, IsElseBelowTheUsersHome) {
  const Variable own("KESTREL_HOME", "");
  const Variable home("HOME", "/home/x");
  for (const char* void_folder : {"", "relative/folder"}) {
    const Variable data("XDG_DATA_HOME", void_folder);
    EXPECT_EQ(ComponentFolder(), "/home/x/.local/share/kestrel-import");
  }
}

}  // namespace
}  // namespace kestrel
