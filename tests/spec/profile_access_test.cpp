// The small operations every other part reads and writes a specification with.
#include "spec/profile_access.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <string>

#include "kestrel/runtime_error.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "support/expect_error.h"
#include "support/temp_folder.h"

namespace kestrel {
namespace {

using testing::ReadBytes;
using testing::TempFolder;
using namespace std::string_literals;

class ProfileAccess : public ::testing::Test {
 protected:
  TempFolder folder_;
  ProfileStore profiles_;
};

TEST_F(ProfileAccess, GetIniStringGivesTheValueOrTheDefaultUnchanged) {
  const std::string path = folder_.Write("a.imp", "[Common]\r\nProvider=Textdatei\r\nTable=\r\n");
  EXPECT_EQ(GetIniString(path, "common", "PROVIDER", "x"), "Textdatei");
  EXPECT_EQ(GetIniString(path, "Common", "Missing", " \"as it is\" "), " \"as it is\" ");
  EXPECT_EQ(GetIniString(path, "Common", "Table", "x"), "") << "an empty value is a value";
  EXPECT_EQ(GetIniString(folder_.File("missing.imp"), "Common", "Table", "x"), "x");
}

TEST_F(ProfileAccess, AValueOfMoreThan4095CharactersIsReturnedCut) {
  const std::string fitting = ReplaceAll(std::string(4095, 'x'), "x", "ü");
  const std::string path = folder_.Write("a.imp", "[S]\r\nA=" + fitting + "\r\nB=" + fitting + "y\r\n");
  EXPECT_EQ(GetIniString(path, "S", "A", ""), fitting);
  EXPECT_EQ(GetIniString(path, "S", "B", ""), fitting);
}

TEST_F(ProfileAccess, ADefaultIsNotCut) {
  const std::string long_default(5000, 'x');
  EXPECT_EQ(GetIniString(folder_.File("missing.imp"), "S", "A", long_default), long_default);
}

TEST_F(ProfileAccess, GetIniSectionEndsEveryEntryWithANul) {
  const std::string path = folder_.Write(
      "a.imp", "[Translation_Art]\r\nHerr = 1\r\n; note=5\r\n<Empty>=\"0\"\r\nno entry\r\n[Other]\r\n");
  EXPECT_EQ(GetIniSection(*profiles_.Read(path), "translation_art"), "Herr=1\0<Empty>=\"0\"\0"s);
}

TEST_F(ProfileAccess, GetIniSectionIsEmptyForAMissingAndForAnEmptySection) {
  const std::string path = folder_.Write("a.imp", "[Empty]\r\n; only=a comment\r\n");
  EXPECT_EQ(GetIniSection(*profiles_.Read(path), "Empty"), "");
  EXPECT_EQ(GetIniSection(*profiles_.Read(path), "Missing"), "");
  EXPECT_EQ(GetIniSection(*profiles_.Read(folder_.File("missing.imp")), "S"), "");
}

TEST_F(ProfileAccess, ASectionOfMoreThan4094CharactersIsReturnedCut) {
  const std::string value(4091, 'x');  // with "A=" and the NUL 4094 characters
  const std::string path =
      folder_.Write("a.imp", "[Fits]\r\nA=" + value + "\r\n[Long]\r\nA=" + value + "\r\nB=1\r\n");
  EXPECT_EQ(GetIniSection(*profiles_.Read(path), "Fits"), "A=" + value + '\0');
  EXPECT_EQ(GetIniSection(*profiles_.Read(path), "Long"), "A=" + value + '\0');
  folder_.Write("a.imp", "[Long]\r\nA=" + ReplaceAll(value, "x", "ö") + "öö\r\n");
  EXPECT_EQ(LengthInCharacters(GetIniSection(*profiles_.Read(path), "Long")), 4094u);
}

TEST(GetFileExtension, IsTheUpperCaseTextFromTheLastPoint) {
  EXPECT_EQ(GetFileExtension("/daten/Kunden.imp"), ".IMP");
  EXPECT_EQ(GetFileExtension("a.b.Imt"), ".IMT");
}

TEST(GetFileExtension, OfAPathWithoutAPointIsEmpty) {
  EXPECT_EQ(GetFileExtension("/daten/Kunden"), "");
  EXPECT_EQ(GetFileExtension(""), "");
}

TEST(GetFileExtension, OfAFileWithoutAPointIsTheTailOfAFolderThatHasOne) {
  EXPECT_EQ(GetFileExtension("/daten.alt/Kunden"), ".ALT/KUNDEN");
}

TEST_F(ProfileAccess, CopySpecFileOverwritesAndMakesTheCopyWritable) {
  const std::string source = folder_.Write("Vorlage.imt", "[Common]\r\n");
  ASSERT_EQ(::chmod(source.c_str(), 0444), 0);
  const std::string destination = folder_.Write("~copy.tmp", "old content");
  ASSERT_EQ(::chmod(destination.c_str(), 0444), 0);
  CopySpecFile(source, destination);
  EXPECT_EQ(ReadBytes(destination), "[Common]\r\n");
  CopySpecFile(source, folder_.File("~new.tmp"));
  struct stat status {};
  for (const char* name : {"~copy.tmp", "~new.tmp"}) {
    ASSERT_EQ(::stat(folder_.File(name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u) << name << ", as it may hold a password";
  }
}

TEST_F(ProfileAccess, CopySpecFilePassesErrorsOn) {
  EXPECT_ERROR(CopySpecFile(folder_.File("missing.imt"), folder_.File("copy.tmp")), ErrorNumber::kFileNotFound);
  EXPECT_FALSE(FileExists(folder_.File("copy.tmp")));
}

}  // namespace
}  // namespace kestrel
