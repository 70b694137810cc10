// naive_import FILE [--store DATABASE | --duplicates DATABASE]: imports an address file the way a programmer
// would who needs just this one import: one loop, strings, one prepared insert, one transaction. It is the
// measure for kestrel-import, so it is neither slowed down nor tuned.
//
// Without an option nothing is stored. --duplicates also looks every address up by three keys in an index
// table and holds back those it finds.
#include <sqlite3.h>

#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "naive_split.h"

namespace {

enum class Type { kText, kShortText, kNumber, kDate };

struct Field {
  const char* name;
  Type type;
  std::size_t size;
  const char* column;    // of the file, or null
  const char* constant;  // where there is no column
};

// Twenty fields out of the file's sixteen columns.
const std::vector<Field> kFields = {
    {"KundenNummer", Type::kNumber, 0, "Kundennummer", nullptr},
    {"Bez1", Type::kShortText, 50, "Bez1", nullptr},
    {"Bez2", Type::kShortText, 50, "Bez2", nullptr},
    {"Bez3", Type::kShortText, 50, "Bez3", nullptr},
    {"Strasse", Type::kShortText, 50, "Strasse", nullptr},
    {"Land", Type::kShortText, 3, "Land", nullptr},
    {"PLZ", Type::kShortText, 10, "PLZ", nullptr},
    {"Ort", Type::kShortText, 40, "Ort", nullptr},
    {"Telefon", Type::kShortText, 30, "Telefon", nullptr},
    {"EMail", Type::kShortText, 80, "EMail", nullptr},
    {"Kundengruppe", Type::kShortText, 10, "Gruppe", nullptr},
    {"KundeSeit", Type::kDate, 14, "Datum", nullptr},
    {"Umsatz", Type::kNumber, 0, "Umsatz", nullptr},
    {"Rabatt", Type::kNumber, 0, "Rabatt", nullptr},
    {"Mitarbeiter", Type::kNumber, 0, "Anzahl", nullptr},
    {"Bemerkung", Type::kText, 0, "Bemerkung", nullptr},
    {"Suchbegriff", Type::kShortText, 15, "Bez1", nullptr},
    {"Sprache", Type::kShortText, 3, nullptr, "DE"},
    {"Waehrung", Type::kShortText, 3, nullptr, "EUR"},
    {"Zahlungsziel", Type::kNumber, 0, nullptr, "30"},
};

// --- Conversions --------------------------------------------------------------------------------

std::string ToUtf8(const std::string& windows1252) {
  static const std::array<int, 32> kUpperControls = {
      0x20AC, 0x81,   0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
      0x2039, 0x0152, 0x8D,   0x017D, 0x8F,   0x90,   0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
      0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x9D,   0x017E, 0x0178};
  std::string utf8;
  for (const char c : windows1252) {
    int code = static_cast<unsigned char>(c);
    if (code >= 0x80 && code < 0xA0) code = kUpperControls[static_cast<std::size_t>(code - 0x80)];
    if (code < 0x80) {
      utf8 += c;
    } else if (code < 0x800) {
      utf8 += static_cast<char>(0xC0 | (code >> 6));
      utf8 += static_cast<char>(0x80 | (code & 0x3F));
    } else {
      utf8 += static_cast<char>(0xE0 | (code >> 12));
      utf8 += static_cast<char>(0x80 | ((code >> 6) & 0x3F));
      utf8 += static_cast<char>(0x80 | (code & 0x3F));
    }
  }
  return utf8;
}

std::string Trimmed(const std::string& text) {
  const std::size_t begin = text.find_first_not_of(' ');
  if (begin == std::string::npos) return "";
  return text.substr(begin, text.find_last_not_of(' ') - begin + 1);
}

// The number with a decimal point, or nothing.
std::optional<std::string> Number(std::string text) {
  for (char& c : text) {
    if (c == ',') c = '.';
  }
  char* end = nullptr;
  std::strtod(text.c_str(), &end);
  if (end == text.c_str() || *end != '\0') return std::nullopt;
  return text;
}

// "31.01.2024" -> "20240131000000"; what is no date stays as it is.
std::string StoredDate(const std::string& text) {
  if (text.size() != 10 || text[2] != '.' || text[5] != '.') return text;
  const int day = std::atoi(text.substr(0, 2).c_str());
  const int month = std::atoi(text.substr(3, 2).c_str());
  const int year = std::atoi(text.substr(6, 4).c_str());
  static const int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  if (year < 1 || month < 1 || month > 12) return text;
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  if (day < 1 || day > kDays[month - 1] + (leap && month == 2 ? 1 : 0)) return text;
  char stored[32];
  std::snprintf(stored, sizeof stored, "%04d%02d%02d000000", year, month, day);
  return stored;
}

struct Counts {
  std::size_t records = 0;
  std::size_t errors = 0;
  std::size_t duplicates = 0;
  std::size_t bytes = 0;
};

// What is stored for a value. The file is cut in its own code page, where a byte is a character.
std::string Converted(const std::string& value, const Field& field, Counts& counts) {
  switch (field.type) {
    case Type::kShortText: return ToUtf8(Trimmed(value.substr(0, field.size)));
    case Type::kText: return ToUtf8(Trimmed(value));
    case Type::kDate: return ToUtf8(StoredDate(value));
    case Type::kNumber:
      if (value.empty()) return "";
      if (const auto number = Number(value)) return *number;
      ++counts.errors;
      return "";
  }
  return value;
}

// --- Database -----------------------------------------------------------------------------------

class Database {
 public:
  explicit Database(const std::string& path) { Check(sqlite3_open(path.c_str(), &handle_)); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  ~Database() { sqlite3_close(handle_); }

  void Execute(const std::string& sql) { Check(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr)); }
  void Check(int result) const {
    if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) {
      throw std::runtime_error(sqlite3_errmsg(handle_));
    }
  }
  sqlite3* handle() const { return handle_; }

 private:
  sqlite3* handle_ = nullptr;
};

class Statement {
 public:
  Statement(Database& database, const std::string& sql) : database_(database) {
    database.Check(sqlite3_prepare_v2(database.handle(), sql.c_str(), -1, &handle_, nullptr));
  }
  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;
  ~Statement() { sqlite3_finalize(handle_); }

  // Runs the statement with these texts; whether it gave a row.
  bool Run(const std::vector<std::string>& texts) {
    int index = 0;
    for (const std::string& text : texts) {
      database_.Check(
          sqlite3_bind_text(handle_, ++index, text.c_str(), static_cast<int>(text.size()), SQLITE_TRANSIENT));
    }
    const int result = sqlite3_step(handle_);
    database_.Check(result);
    database_.Check(sqlite3_reset(handle_));
    return result == SQLITE_ROW;
  }

 private:
  Database& database_;
  sqlite3_stmt* handle_ = nullptr;
};

// The columns and indexes of the sample host's tables.
void CreateTables(Database& database) {
  database.Execute(
      "CREATE TABLE Kunden (KundenNummer INTEGER PRIMARY KEY, Bez1 VARCHAR(50) NOT NULL, Bez2 VARCHAR(50), "
      "Bez3 VARCHAR(50), Strasse VARCHAR(50), Land VARCHAR(3), PLZ VARCHAR(10), Ort VARCHAR(40), "
      "Telefon VARCHAR(30), EMail VARCHAR(80), Kundengruppe VARCHAR(10), KundeSeit DATE, "
      "Umsatz DOUBLE PRECISION, Rabatt DOUBLE PRECISION, Mitarbeiter INTEGER, Bemerkung TEXT, "
      "Suchbegriff VARCHAR(15), Sprache VARCHAR(3), Waehrung VARCHAR(3), Zahlungsziel INTEGER)");
  database.Execute(
      "CREATE TABLE Adressindex (Adressart INTEGER, Referenz VARCHAR(20), Doubletkey1 VARCHAR(20), "
      "Doubletkey2 VARCHAR(20), Doubletkey3 VARCHAR(20))");
  database.Execute("CREATE INDEX Adressindex1 ON Adressindex (Doubletkey1)");
  database.Execute("CREATE INDEX Adressindex2 ON Adressindex (Doubletkey2)");
  database.Execute("CREATE INDEX Adressindex3 ON Adressindex (Doubletkey3)");
}

std::string InsertKunden() {
  std::string columns, marks;
  for (const Field& field : kFields) {
    if (!columns.empty()) {
      columns += ", ";
      marks += ", ";
    }
    columns += field.name;
    marks += "?";
  }
  return "INSERT INTO Kunden (" + columns + ") VALUES (" + marks + ")";
}

// --- Duplicate keys -----------------------------------------------------------------------------

// Capital letters and digits only.
std::string Condensed(const std::string& text) {
  std::string condensed;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) || byte >= 0x80) condensed += static_cast<char>(std::toupper(byte));
  }
  return condensed;
}

// A short key for a long text: nine hexadecimal digits of its hash, so that the keys are as long as those of
// the sample host and two different addresses hardly ever share one.
std::string ShortKey(const std::string& text) {
  char key[16];
  std::snprintf(key, sizeof key, "%09zx", std::hash<std::string>()(text) & 0xFFFFFFFFFU);
  return key;
}

// The whole address, the names with the postcode, the first name with the street.
std::vector<std::string> DuplicateKeys(const std::vector<std::string>& values) {
  const std::string first_name = Condensed(values[1]);
  const std::string names = first_name + Condensed(values[2]) + Condensed(values[3]);
  const std::string street = Condensed(values[4]);
  const std::string& post_code = values[6];
  return {ShortKey(names + '|' + post_code + '|' + Condensed(values[7]) + '|' + street),
          ShortKey(names + '|' + post_code), ShortKey(first_name + '|' + street)};
}

// --- The import ---------------------------------------------------------------------------------

class Importer {
 public:
  Importer(const std::string& database, bool check_duplicates)
      : database_(database), check_duplicates_(check_duplicates) {
    CreateTables(database_);
    insert_ = std::make_unique<Statement>(database_, InsertKunden());
    insert_index_ = std::make_unique<Statement>(database_, "INSERT INTO Adressindex VALUES (1, ?, ?, ?, ?)");
    find_ = std::make_unique<Statement>(
        database_,
        "SELECT 1 FROM Adressindex WHERE Doubletkey1 = ? OR Doubletkey2 = ? OR Doubletkey3 = ? LIMIT 1");
    database_.Execute("BEGIN");
  }
  void Store(const std::vector<std::string>& values, Counts& counts) {
    if (check_duplicates_) {
      std::vector<std::string> keys = DuplicateKeys(values);
      if (find_->Run(keys)) {
        ++counts.duplicates;
        return;
      }
      keys.insert(keys.begin(), values[0]);
      insert_index_->Run(keys);
    }
    insert_->Run(values);
  }
  void Finish() { database_.Execute("COMMIT"); }

 private:
  Database database_;
  bool check_duplicates_;
  std::unique_ptr<Statement> insert_;
  std::unique_ptr<Statement> insert_index_;
  std::unique_ptr<Statement> find_;
};

// For every field the position of its column in the file, or -1.
std::vector<int> ReadHeader(std::ifstream& file) {
  std::string line;
  std::getline(file, line);
  if (!line.empty() && line.back() == '\r') line.pop_back();
  std::vector<std::string> names;
  kestrel::bench::NaiveSplitLine(line, ';', '"', names);
  std::map<std::string, int> positions;
  for (std::size_t i = 0; i < names.size(); ++i) positions.emplace(names[i], static_cast<int>(i));
  std::vector<int> columns;
  for (const Field& field : kFields) {
    if (field.column != nullptr && positions.count(field.column) == 0) {
      throw std::runtime_error(std::string("the file lacks the column ") + field.column);
    }
    columns.push_back(field.column == nullptr ? -1 : positions[field.column]);
  }
  return columns;
}

Counts Import(const std::string& path, Importer* importer) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot open " + path);
  const std::vector<int> columns = ReadHeader(file);

  Counts counts;
  std::string line;
  std::vector<std::string> source;
  while (std::getline(file, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty()) continue;
    kestrel::bench::NaiveSplitLine(line, ';', '"', source);
    std::vector<std::string> values;
    for (std::size_t i = 0; i < kFields.size(); ++i) {
      const auto column = static_cast<std::size_t>(columns[i]);
      std::string value;
      if (columns[i] < 0) {
        value = kFields[i].constant;
      } else if (column < source.size()) {
        value = source[column];
      }
      values.push_back(Converted(value, kFields[i], counts));
    }
    ++counts.records;
    for (const std::string& value : values) counts.bytes += value.size();
    if (importer != nullptr) importer->Store(values, counts);
  }
  if (importer != nullptr) importer->Finish();
  return counts;
}

}  // namespace

int main(int argument_count, char** arguments) try {
  const std::vector<std::string> words(arguments + 1, arguments + argument_count);
  const bool stores = words.size() == 3 && (words[1] == "--store" || words[1] == "--duplicates");
  if (words.size() != 1 && !stores) {
    std::fprintf(stderr, "naive_import FILE [--store DATABASE | --duplicates DATABASE]\n");
    return 2;
  }
  std::unique_ptr<Importer> importer;
  if (stores) importer = std::make_unique<Importer>(words[2], words[1] == "--duplicates");
  const Counts counts = Import(words[0], importer.get());
  std::printf("%zu records, %zu errors, %zu duplicates, %zu bytes of values\n", counts.records, counts.errors,
              counts.duplicates, counts.bytes);
} catch (const std::exception& error) {
  std::fprintf(stderr, "naive_import: %s\n", error.what());
  return 1;
}
