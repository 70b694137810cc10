#include "platform/data/providers/dbase/dbase_provider.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "platform/base/file.h"
#include "platform/base/text.h"
#include "platform/data/providers/dbase/dbase_recordset.h"
#include "platform/data/read_only_connection.h"

namespace kestrel::dbase {

namespace {

constexpr std::string_view kExtension = ".dbf";
constexpr const char* kCodePageVariable = "KESTREL_DBF_CODEPAGE";

bool HasExtension(std::string_view name, std::string_view extension) {
  return name.size() > extension.size() &&
         EqualsIgnoringCase(name.substr(name.size() - extension.size()), extension);
}

// The name without ".dbf", if it has that.
std::string_view Stem(std::string_view name) {
  if (HasExtension(name, kExtension)) name.remove_suffix(kExtension.size());
  return name;
}

// "1252", "cp1252".
int ParseCodePage(std::string_view text) {
  std::string_view digits = TrimBlanks(text);
  if (EqualsIgnoringCase(digits.substr(0, 2), "cp")) digits.remove_prefix(2);
  int number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (error != std::errc() || end != digits.data() + digits.size() || !CodePage::IsKnown(number)) {
    throw RuntimeError(ErrorNumber::kDatabase,
                       "Der Zeichensatz \"" + std::string(text) +
                           "\" ist nicht bekannt; möglich sind zum Beispiel 437, 850, 852, "
                           "1250 und 1252");
  }
  return number;
}

class DbaseConnection final : public ReadOnlyConnection {
 public:
  DbaseConnection(std::string folder, CodePageChoice choice) : folder_(std::move(folder)), choice_(choice) {}

  std::vector<CatalogTable> Tables() override {
    RequireOpen();
    std::vector<CatalogTable> tables;
    for (const std::string& path : ListFiles(folder_)) {
      const std::string name = FileNameOfPath(path);
      if (HasExtension(name, kExtension)) tables.push_back(CatalogTable{std::string(Stem(name)), "TABLE"});
    }
    return tables;
  }

  std::vector<std::string> ColumnNames(std::string_view table) override {
    RequireOpen();
    const std::string path = FindTable(table);
    return ReadingFile(path, [&] { return ReadColumnNames(path, choice_); });
  }

 protected:
  RecordsetPtr OpenTable(const TableName& table) override {
    const std::string path = FindTable(JoinTableName(table));
    return ReadingFile(path, [&] { return DbaseRecordset::Open(Table(path, choice_)); });
  }

 private:
  std::string FindTable(std::string_view name) const {
    const std::string_view stem = Stem(name);
    // A name with a separator would lead out of the folder.
    if (stem.find_first_of("/\\") == std::string_view::npos) {
      if (auto path = FindFile(folder_, std::string(stem) + std::string(kExtension))) return *path;
    }
    throw RuntimeError(ErrorNumber::kDatabase,
                       "Die Tabelle \"" + std::string(name) + "\" gibt es im Ordner " + folder_ + " nicht");
  }

  std::string folder_;
  CodePageChoice choice_;
};

}  // namespace

bool Serves(const ConnectionKeys& keys) {
  const std::string driver = UpperCase(keys.Get("Driver"));
  return driver.find("DBASE") != std::string::npos;
}

ConnectionPtr Open(const ConnectionKeys& keys, std::string_view) {
  std::string folder = keys.Get("DBQ");
  if (folder.empty()) folder = keys.Get("DefaultDir");
  if (FileExists(folder) && HasExtension(folder, kExtension)) folder = ParentFolder(folder);
  if (!FolderExists(folder)) {
    throw RuntimeError(ErrorNumber::kDatabase, "Den Ordner der dBase-Tabellen gibt es nicht: " + folder);
  }
  CodePageChoice choice;
  if (const auto forced = keys.Find("CodePage")) choice.forced = ParseCodePage(*forced);
  if (const char* fallback = std::getenv(kCodePageVariable); fallback != nullptr && *fallback != '\0') {
    choice.fallback = ParseCodePage(fallback);
  }
  return std::make_shared<DbaseConnection>(std::move(folder), choice);
}

}  // namespace kestrel::dbase
