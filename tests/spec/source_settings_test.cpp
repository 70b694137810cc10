// What section Common holds of each kind of source: it is read as it was saved, whatever the kind.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "sources/source_kind.h"
#include "spec/save_schema.h"
#include "spec/specification.h"
#include "support/session_fixture.h"
#include "support/sqlite_source_kind.h"

namespace kestrel {
namespace {

using testing::ReadBytes;

class SourceSettingsTest : public testing::SessionFixture {
 protected:
  SourceSettingsTest() {
    kinds.Add(testing::SqliteSourceKind());
    session.platform.source_kinds = &kinds;
  }
  SourceKinds kinds;
  WorkingCopyLock lock;
};

TEST_F(SourceSettingsTest, EveryKindIsReadAsItWasSaved) {
  for (const SourceKind& kind : kinds) {
    UseSpecification("");
    session.Provider = kind.name;
    for (const CommonKey& key : kind.keys) {
      if (key.text != nullptr) session.*key.text = "Wert von " + std::string(key.name);
      if (key.truth != nullptr) session.*key.truth = true;
    }
    SaveSchema(session, lock, false);
    Session other{session.platform};
    other.SpecFile = session.SpecFile;
    ReadCommonSection(other);
    EXPECT_EQ(other.Provider, kind.name);
    for (const CommonKey& key : kind.keys) {
      EXPECT_EQ(StoredText(key, other), StoredText(key, session)) << kind.name << ' ' << key.name;
    }
  }
}

TEST_F(SourceSettingsTest, AnAddedKindWritesItsKeysInTheirOrder) {
  UseSpecification("");
  session.Provider = "SQLite-Datenbank";
  session.Database = "d";
  session.Table = "t";
  session.Password = "p";
  session.User = "u";
  SaveSchema(session, lock, false);
  EXPECT_EQ(ReadBytes(session.SpecFile),
            "[Common]\r\nProvider=SQLite-Datenbank\r\nDatabase=d\r\nTable=t\r\nToken=p\r\n");
}

TEST_F(SourceSettingsTest, ASecretOfAnyKindKeepsANewSpecificationForItsOwner) {
  const auto mode_of_new = [&](const char* name, const std::string& secret) {
    session.SpecFile = WriteSpecification("Vorlage.IMT", "[Common]\nProvider=SQLite-Datenbank\nDatabase=d\n");
    EXPECT_EQ(::chmod(session.SpecFile.c_str(), 0644), 0);
    ReadCommonSection(session);
    CreateWorkingCopy(session, lock);
    session.Password = secret;
    ui.replies.emplace_back(name);
    SaveSchema(session, lock, true);
    struct stat status {};
    EXPECT_EQ(::stat((session.SpecFolder + "/" + name + ".IMP").c_str(), &status), 0);
    DeleteWorkingCopy(session);
    return status.st_mode & 0777U;
  };
  EXPECT_EQ(mode_of_new("Offen", ""), 0644U);
  EXPECT_EQ(mode_of_new("Geheim", "geheim"), 0600U);
}

}  // namespace
}  // namespace kestrel
