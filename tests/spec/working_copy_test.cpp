// The working copy: its name, who may have it, and what is swept.
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <string>
#include <thread>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "platform/profile/profile.h"
#include "spec/working_copy.h"
#include "support/expect_error.h"
#include "support/forked_child.h"
#include "support/session_fixture.h"

namespace kestrel {
namespace {

using ::testing::ElementsAre;
using testing::ForkedChild;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using testing::ReadBytes;
using testing::SessionFixture;

// A clock that moves on by a second whenever it is asked.
class TickingClock final : public Clock {
 public:
  DateTime Now() const override { return DateTime{{2024, 3, 7}, 14, 5, 9 + asked_++}; }

 private:
  mutable int asked_ = 0;
};

class WorkingCopy : public SessionFixture {
 protected:
  // What lies in the specification folder, by name.
  std::vector<std::string> Files() const {
    std::vector<std::string> names;
    for (const std::string& path : ListFiles(session.SpecFolder)) names.push_back(FileNameOfPath(path));
    return names;
  }
  // A second window of the same user.
  void Prepare(Session& other) const {
    other.SpecFolder = session.SpecFolder;
    other.PersonalNr = session.PersonalNr;
    other.SpecFile = session.ChosenSpecFile;
  }

  WorkingCopyLock lock;
  // Of the second window.
  WorkingCopyLock other_lock;
};

// --- Its name and content -----------------------------------------------------------------------

TEST_F(WorkingCopy, TheWorkingCopyIsNamedAfterMonthHourDaySecondYearAndUser) {
  EXPECT_EQ(WorkingCopyName(session), session.SpecFolder + "/~031407092024" + "4711.tmp");
}

TEST_F(WorkingCopy, TwoCopiesInOneHourAndSecondOfDifferentMinutesShareAName) {
  const std::string first = WorkingCopyName(session);
  clock.Set(DateTime{{2024, 3, 7}, 14, 55, 9});
  EXPECT_EQ(WorkingCopyName(session), first);
  clock.Set(DateTime{{2024, 3, 7}, 14, 55, 10});
  EXPECT_NE(WorkingCopyName(session), first);
}

TEST_F(WorkingCopy, ALaterCopyOfTheSameNameOverwritesTheEarlier) {
  session.SpecFile = WriteSpecification("a.imp", "[Common]\nDescription=A\n");
  CreateWorkingCopy(session, lock);
  session.SpecFile = WriteSpecification("b.imp", "[Common]\nDescription=B\n");
  CreateWorkingCopy(session, lock);
  EXPECT_EQ(ReadBytes(session.SpecFile), "[Common]\r\nDescription=B\r\n");
}

TEST_F(WorkingCopy, AUserNumberThatHoldsASeparatorIsRefused) {
  for (const char* number : {"../4711", "4\\711"}) {
    session.PersonalNr = number;
    EXPECT_ERROR_TEXT(WorkingCopyName(session), ErrorNumber::kBadFileName, ::testing::HasSubstr(number));
  }
}

TEST_F(WorkingCopy, CreateWorkingCopyRemembersTheChosenFileAndSwitchesToTheCopy) {
  const std::string chosen = WriteSpecification("Kunden.imp", "[Common]\nDescription=Kunden\n");
  ASSERT_EQ(::chmod(chosen.c_str(), 0444), 0);
  session.SpecFile = chosen;
  CreateWorkingCopy(session, lock);
  EXPECT_EQ(session.ChosenSpecFile, chosen);
  EXPECT_EQ(session.SpecFile, WorkingCopyName(session));
  EXPECT_EQ(ReadBytes(session.SpecFile), ReadBytes(chosen));
  struct stat status {};
  ASSERT_EQ(::stat(session.SpecFile.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u) << "its owner alone can read and write it";
}

TEST_F(WorkingCopy, AFailedCopyLeavesTheSessionAsItWas) {
  session.SpecFile = folder.File("Import/missing.imp");
  session.ChosenSpecFile = "before";
  EXPECT_ERROR(CreateWorkingCopy(session, lock), ErrorNumber::kFileNotFound);
  EXPECT_EQ(session.SpecFile, folder.File("Import/missing.imp"));
  EXPECT_EQ(session.ChosenSpecFile, "before");
  EXPECT_THAT(Files(), ::testing::IsEmpty()) << "and nothing in the folder";
}

TEST_F(WorkingCopy, AWorkingCopyIsRecognisedByItsExtensionInAnyCaseAndDeleted) {
  for (const char* name : {"~copy.tmp", "~copy.TMP"}) {
    session.SpecFile = WriteSpecification(name, "[Common]\n");
    DeleteWorkingCopy(session);
    EXPECT_FALSE(FileExists(session.SpecFile)) << name;
  }
  DeleteWorkingCopy(session);  // gone already: no matter
}

TEST_F(WorkingCopy, TheUsersOwnFileIsNeverDeleted) {
  for (const char* name : {"Kunden.imp", "Vorlage.imt", "tmp"}) {
    session.SpecFile = WriteSpecification(name, "[Common]\n");
    DeleteWorkingCopy(session);
    EXPECT_TRUE(FileExists(session.SpecFile)) << name;
  }
}

// --- Who may have it ----------------------------------------------------------------------------

TEST_F(WorkingCopy, OfTwoWindowsInOneSecondTheSecondTakesTheNextSecondsName) {
  session.SpecFile = WriteSpecification("a.imp", "[Common]\nDescription=A\n");
  CreateWorkingCopy(session, lock);
  ProfileStore().Write(session.SpecFile, std::vector<ProfileEdit>{{"Common", "Server", "typed"}});

  const TickingClock ticking;  // begins with the second that the first window has
  Session other(Platform{ui, components, ticking});
  Prepare(other);
  CreateWorkingCopy(other, other_lock);
  EXPECT_THAT(other.SpecFile, HasSubstr("~0314071020244711.tmp"));
  EXPECT_THAT(ReadBytes(session.SpecFile), HasSubstr("Server=typed")) << "the first window's work";
  DeleteWorkingCopy(other);
  EXPECT_TRUE(FileExists(session.SpecFile));
}

TEST_F(WorkingCopy, WhereNoNameBecomesFreeTheSecondWindowIsToldAndTheFirstKeepsItsCopy) {
  session.SpecFile = WriteSpecification("a.imp", "[Common]\nDescription=A\n");
  CreateWorkingCopy(session, lock);
  Session other(Platform{ui, components, clock});  // whose clock stands still
  Prepare(other);
  EXPECT_ERROR_TEXT(CreateWorkingCopy(other, other_lock), ErrorNumber::kFileAlreadyExists,
                    HasSubstr(session.SpecFile));
  EXPECT_EQ(other.SpecFile, session.ChosenSpecFile);
  EXPECT_TRUE(FileExists(session.SpecFile));
}

TEST_F(WorkingCopy, ANameIsFreeAgainWhenItsWindowHasClosed) {
  session.SpecFile = WriteSpecification("a.imp", "[Common]\nDescription=A\n");
  CreateWorkingCopy(session, lock);
  Session other(Platform{ui, components, clock});
  Prepare(other);
  DeleteWorkingCopy(session);
  lock.Release();
  CreateWorkingCopy(other, other_lock);
  EXPECT_EQ(other.SpecFile, WorkingCopyName(other));
  DeleteWorkingCopy(other);
  other_lock.Release();
  EXPECT_THAT(Files(), ElementsAre("a.imp"));
}

TEST_F(WorkingCopy, ThreadsThatOpenTheSameSpecificationGetACopyEach) {
  const std::string chosen = WriteSpecification("a.imp", "[Common]\nDescription=A\n");
  const SystemClock now;
  std::vector<std::unique_ptr<Session>> sessions;
  std::array<WorkingCopyLock, 3> locks;
  for (int i = 0; i < 3; ++i) {
    sessions.push_back(std::make_unique<Session>(Platform{ui, components, now}));
    Prepare(*sessions.back());
    sessions.back()->SpecFile = chosen;
  }
  {
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < locks.size(); ++i) {
      threads.emplace_back([&, i] { CreateWorkingCopy(*sessions[i], locks[i]); });
    }
  }
  EXPECT_NE(sessions[0]->SpecFile, sessions[1]->SpecFile);
  EXPECT_NE(sessions[1]->SpecFile, sessions[2]->SpecFile);
  EXPECT_NE(sessions[0]->SpecFile, sessions[2]->SpecFile);
}

// --- What is left of it -------------------------------------------------------------------------

TEST_F(WorkingCopy, TheNextStartSweepsTheCopyOfAKilledProgram) {
  session.SpecFile = WriteSpecification("a.imp", "[Common]\nPassword=geheim\n");
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  ForkedChild child([&] {
    CreateWorkingCopy(session, lock);
    static_cast<void>(::write(ready[1], "x", 1));
    ::pause();
  });
  char sign = 0;
  ASSERT_EQ(::read(ready[0], &sign, 1), 1);
  const std::string copy = WorkingCopyName(session);
  SweepSpecFolder(session.SpecFolder);
  EXPECT_TRUE(FileExists(copy)) << "its program lives";
  child.Kill();
  EXPECT_TRUE(FileExists(copy));
  SweepSpecFolder(session.SpecFolder);
  EXPECT_THAT(Files(), ElementsAre("a.imp"));
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST_F(WorkingCopy, ACopyInUseIsNotSweptThoughItsFileHasBeenReplaced) {
  session.SpecFile = WriteSpecification("a.imp", "[Common]\nDescription=A\n");
  CreateWorkingCopy(session, lock);
  ProfileStore().Write(session.SpecFile, std::vector<ProfileEdit>{{"Common", "Server", "neu"}});
  SweepSpecFolder(session.SpecFolder);
  EXPECT_TRUE(FileExists(session.SpecFile));
}

TEST_F(WorkingCopy, OnlyWhatIsKnownToBeLeftOverIsSwept) {
  for (const char* name : {"~031407092024.tmp", "~031407092024.tmp.lock", ".~brief.tmp.lock", "~brief.tmp",
                           ".~03140709202x.tmp.lock", "a.tmp", "V.IMP.backup", ".kestrel-notes"}) {
    WriteSpecification(name, "mine");
  }
  const std::vector<std::string> before = Files();
  SweepSpecFolder(session.SpecFolder);
  EXPECT_EQ(Files(), before);
  SweepSpecFolder(folder.File("fehlt"));
}

TEST_F(WorkingCopy, ASiblingOfAnEndedWriteIsSweptAndOneInUseIsNot) {
  WriteSpecification(".kestrel-abcdefghij01", "half");
  SweepSpecFolder(session.SpecFolder);
  EXPECT_THAT(Files(), IsEmpty());

  const std::string busy = WriteSpecification(".kestrel-abcdefghij02", "half");
  const auto lock = FileLock::Acquire(busy);
  ASSERT_TRUE(lock.has_value());
  SweepSpecFolder(session.SpecFolder);
  EXPECT_TRUE(FileExists(busy));
}

}  // namespace
}  // namespace kestrel
