// The picture of the architecture: which folder may include which, and where driver and Qt headers may stand.
// It is checked against the #include lines of every file.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

#include "support/project_paths.h"

namespace kestrel {
namespace {

namespace fs = std::filesystem;

// From the ground up: a folder may include itself and what stands above it in this list.
const std::vector<std::string>& Layers() {
  static const std::vector<std::string> layers = {"platform/base",
                                                  "formats/encryption",
                                                  "formats/dbase",
                                                  "formats/excel",
                                                  "formats/access_sql",
                                                  "formats/access",
                                                  "platform/profile",
                                                  "platform/automation",
                                                  "platform/data",
                                                  "platform/dialogs",
                                                  "component",
                                                  "sources",
                                                  "spec",
                                                  "log",
                                                  "mapping",
                                                  "duplicates",
                                                  "check",
                                                  "import",
                                                  "abi",
                                                  "wizard",
                                                  "cli"};
  return layers;
}

// The public headers, by the folder whose part of the interface they are.
const std::map<std::string, std::set<std::string>>& PublicHeaders() {
  static const std::map<std::string, std::set<std::string>> headers = {
      {"platform/base", {"clock", "date", "export", "file_identity", "runtime_error"}},
      {"platform/automation", {"bound_object", "component_registry", "object", "value"}},
      {"platform/data",
       {"attachments", "connection", "connection_mutex", "memory_recordset", "open_connection", "recordset",
        "transaction", "waits"}},
      {"platform/dialogs", {"console_user_interface", "user_interface"}},
      {"component", {"host_components", "import_class", "import_man", "platform", "version"}},
      {"sources", {"source_end"}},
      {"duplicates", {"duplicate_match"}},
      {"check", {"data_profile", "finding"}},
      {"import", {"import_job", "record_outcome", "run_figures", "run_result", "run_settings", "run_view"}},
      {"abi", {"kestrel"}},
      {"wizard", {"qt_user_interface", "wizard", "wizard_comforts", "wizard_host"}},
  };
  return headers;
}

// "import/import_job.h" for "kestrel/import_job.h"; a path that is not public is itself.
std::string InItsFolder(const std::string& path) {
  const std::string prefix = "kestrel/";
  if (!path.starts_with(prefix)) return path;
  const std::string name = path.substr(prefix.size(), path.size() - prefix.size() - 2);
  for (const auto& [folder, names] : PublicHeaders()) {
    if (names.contains(name)) return folder + "/" + name + ".h";
  }
  return path;
}

// Headers of drivers and toolkits, and the folders that may include them.
const std::map<std::string, std::set<std::string>>& OutsideHeaders() {
  static const std::map<std::string, std::set<std::string>> headers = {
      // Saved queries of Access run in an SQLite of their own, which no one else sees.
      {"^sqlite3", {"src/platform/data/providers/sqlite", "src/formats/access_sql"}},
      {"^(sql|sqlext|sqltypes|sqlucode|odbcinst)\\.h", {"src/platform/data/providers/odbc"}},
      {"^(libpq-fe|postgresql/.*)\\.h", {"src/platform/data/providers/postgres"}},
      {"^(mdbtools|mdbsql)", {}},
      {"^zlib", {"src/formats/excel"}},
      {"^libxml", {"src/formats/excel", "src/formats/encryption"}},
      {"^openssl", {"src/formats/encryption"}},
      {"^CLI/", {"src/cli"}},
      {"^nlohmann/", {"src/cli"}},
      {"^Q[A-Z]", {"src/wizard", "host/app", "include/kestrel"}},
  };
  return headers;
}

struct Include {
  fs::path file;  // from the root of the checkout
  std::string header;
  bool is_public;  // by a path of include/
};

std::vector<Include> IncludesBelow(const std::string& folder) {
  const fs::path root(testing::InSourceTree());
  const std::regex line_pattern("^\\s*#\\s*include\\s*[<\"]([^>\"]+)[>\"].*");
  std::vector<Include> includes;
  for (const auto& entry : fs::recursive_directory_iterator(root / folder)) {
    const std::string extension = entry.path().extension().string();
    if (extension != ".h" && extension != ".cpp") continue;
    std::ifstream stream(entry.path());
    std::string line;
    std::smatch match;
    while (std::getline(stream, line)) {
      if (std::regex_match(line, match, line_pattern))
        includes.push_back(
            {fs::relative(entry.path(), root), InItsFolder(match[1]), match[1].str().starts_with("kestrel/")});
    }
  }
  return includes;
}

// The sample host's own folders, in the same way.
const std::vector<std::string>& HostLayers() {
  static const std::vector<std::string> layers = {"schema",  "keys",       "storage", "ledger",
                                                  "targets", "components", "app"};
  return layers;
}

// The layer that a header or a path below src (or host) belongs to; -1 for none.
int LayerOf(const std::string& path, const std::vector<std::string>& layers = Layers()) {
  for (std::size_t i = 0; i < layers.size(); ++i) {
    if (path.starts_with(layers[i] + "/")) return static_cast<int>(i);
  }
  return -1;
}

TEST(Architecture, AFolderIncludesOnlyWhatStandsBelowIt) {
  std::vector<Include> includes = IncludesBelow("src");
  ASSERT_GT(includes.size(), 100u);
  const std::vector<Include> of_public_headers = IncludesBelow("include");
  includes.insert(includes.end(), of_public_headers.begin(), of_public_headers.end());
  for (const Include& include : includes) {
    const std::string path = include.file.string();
    const int layer = LayerOf(InItsFolder(path.substr(path.find('/') + 1)));
    const int used = LayerOf(include.header);
    EXPECT_GE(layer, 0) << include.file << " is in no folder of the picture";
    if (used >= 0) {
      EXPECT_LE(used, layer) << include.file << " includes " << include.header;
    }
  }
}

// A host builds with the installed headers alone.
TEST(Architecture, APublicHeaderIncludesNoPrivateOne) {
  for (const Include& include : IncludesBelow("include")) {
    if (LayerOf(include.header) < 0) continue;
    EXPECT_TRUE(include.is_public) << include.file << " includes " << include.header;
  }
}

// A format can be taken out and used alone, with what it is listed with here.
TEST(Architecture, AFormatKnowsTheBaseAndHardlyAnyOther) {
  const std::map<std::string, std::set<std::string>> others = {{"encryption", {}},
                                                               {"dbase", {}},
                                                               {"excel", {"encryption"}},
                                                               {"access_sql", {}},
                                                               {"access", {"encryption", "access_sql"}}};
  for (const auto& entry : fs::directory_iterator(fs::path(testing::InSourceTree("src/formats")))) {
    const std::string room = entry.path().filename().string();
    ASSERT_TRUE(others.contains(room)) << room;
    for (const Include& include : IncludesBelow("src/formats/" + room)) {
      if (LayerOf(include.header) < 0 || include.header.starts_with("platform/base/")) continue;
      bool allowed = include.header.starts_with("formats/" + room + "/");
      for (const std::string& other : others.at(room))
        allowed = allowed || include.header.starts_with("formats/" + other + "/");
      EXPECT_TRUE(allowed) << include.file << " includes " << include.header;
    }
  }
}

TEST(Architecture, TheCommandLineDoesNotKnowTheWizard) {
  for (const Include& include : IncludesBelow("src/cli")) {
    EXPECT_FALSE(include.header.starts_with("wizard/")) << include.file;
  }
}

TEST(Architecture, TheSampleHostStandsOnThePlatformAndThePublicHeadersAlone) {
  for (const Include& include : IncludesBelow("host")) {
    const int used = LayerOf(include.header);
    // Its window opens the wizard, as a host does.
    if (used < 0 || include.is_public || include.file.string().starts_with("host/app/")) continue;
    EXPECT_TRUE(include.header.starts_with("platform/")) << include.file << " includes " << include.header;
  }
}

TEST(Architecture, AFolderOfTheSampleHostIncludesOnlyWhatStandsBelowIt) {
  for (const Include& include : IncludesBelow("host")) {
    const int layer = LayerOf(include.file.string().substr(5), HostLayers());
    EXPECT_GE(layer, 0) << include.file << " is in no folder of the picture";
    EXPECT_LE(LayerOf(include.header, HostLayers()), layer) << include.file << " includes " << include.header;
  }
}

TEST(Architecture, DriverAndToolkitHeadersStayInTheirFolders) {
  std::vector<Include> includes = IncludesBelow("src");
  const std::vector<Include> host = IncludesBelow("host");
  includes.insert(includes.end(), host.begin(), host.end());
  for (const auto& [pattern, folders] : OutsideHeaders()) {
    const std::regex header(pattern);
    for (const Include& include : includes) {
      if (!std::regex_search(include.header, header)) continue;
      bool allowed = false;
      for (const std::string& folder : folders)
        allowed = allowed || include.file.string().starts_with(folder + "/");
      EXPECT_TRUE(allowed) << include.file << " includes " << include.header;
    }
  }
}

}  // namespace
}  // namespace kestrel
