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

// The file of the folder whose name is `name` in any case; one written exactly so comes first.
std::optional<std::string> FindFile(const std::string& folder, std::string_view name) {
  const std::string exact = JoinPath(folder, name);
  if (FileExists(exact)) return exact;
  const std::string wanted = UpperCase(name);
  for (std::string& path : ListFiles(folder)) {
    if (UpperCase(FileNameOfPath(path)) == wanted) return std::move(path);
  }
  return std::nullopt;
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
    return ReadingFile(path, [&] {
      const Header header = ReadHeader(TableFile(path));
      return dbase::ColumnNames(header, ChooseCodePage(header, choice_));
    });
  }

 protected:
  RecordsetPtr OpenTable(const TableName& table) override {
    const std::string path = FindTable(JoinTableName(table));
    return ReadingFile(path, [&] {
      TableFile table(path);
      Header header = ReadHeader(table);
      TableFiles files{std::move(table), std::move(header), FileContent()};
      files.table_path = path;
      if (files.header.memo != MemoKind::kNone) {
        const std::string name = MemoName(path, files.header.memo);
        if (const auto memo = FindFile(ParentFolder(path), name)) {
          files.memo = ReadFileContent(*memo);
          files.memo_path = *memo;
        } else {
          files.missing_memo = name;
        }
      }
      return DbaseRecordset::Open(std::move(files), choice_);
    });
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

  static std::string MemoName(const std::string& table_path, MemoKind kind) {
    return std::string(Stem(FileNameOfPath(table_path))) + (kind == MemoKind::kFpt ? ".fpt" : ".dbt");
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
