#include "formats/access_sql/query_rows.h"

#include <sqlite3.h>

#include <array>
#include <charconv>
#include <cmath>
#include <utility>

#include "formats/access_sql/access_text.h"
#include "formats/access_sql/ole_date.h"
#include "formats/access_sql/query_functions.h"
#include "platform/base/number.h"
#include "platform/base/value_text.h"

namespace kestrel::access_sql {
namespace {

struct CloseDatabase {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using DatabasePtr = std::unique_ptr<sqlite3, CloseDatabase>;
using StatementPtr = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

// A text with as many digits as a real number can be trusted with is kept as a real number.
constexpr std::size_t kSafeDigits = 15;

// Marks what a function of Access told itself, in German.
constexpr int kFunctionFailed = SQLITE_ERROR | (100 << 8);

std::string_view Describe(int result) {
  constexpr int kPrimary = 0xFF;
  switch (result & kPrimary) {
    case SQLITE_FULL: return "Für die Zwischenergebnisse ist auf dem Datenträger kein Platz mehr";
    case SQLITE_NOMEM: return "Der Arbeitsspeicher reicht nicht";
    case SQLITE_TOOBIG: return "Ein Wert ist zu groß";
    default: return "So lässt sie sich hier nicht ausführen";
  }
}

RuntimeError Failed(sqlite3* database) {
  const int result = sqlite3_extended_errcode(database);
  const char* message = sqlite3_errmsg(database);
  if (result == kFunctionFailed) return RuntimeError(ErrorNumber::kDatabase, message);
  return RuntimeError(ErrorNumber::kDatabase, std::string(Describe(result)) + " (SQLite: " + message + ")");
}

void Check(int result, sqlite3* database) {
  if (result != SQLITE_OK && result != SQLITE_DONE && result != SQLITE_ROW) throw Failed(database);
}

StatementPtr Prepare(sqlite3* database, const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  Check(sqlite3_prepare_v2(database, sql.c_str(), static_cast<int>(sql.size()), &statement, nullptr), database);
  return StatementPtr(statement);
}

void Run(sqlite3* database, const std::string& sql) {
  const StatementPtr statement = Prepare(database, sql);
  int result = SQLITE_ROW;
  while (result == SQLITE_ROW) result = sqlite3_step(statement.get());
  Check(result, database);
}

std::int64_t Number(sqlite3* database, const std::string& sql) {
  const StatementPtr statement = Prepare(database, sql);
  Check(sqlite3_step(statement.get()), database);
  return sqlite3_column_int64(statement.get(), 0);
}

// --- Functions ----------------------------------------------------------------------------------

std::string_view TextOf(sqlite3_value* value) {
  const auto* text = static_cast<const char*>(sqlite3_value_blob(value));
  return {text == nullptr ? "" : text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

QueryValue FromSqlite(sqlite3_value* value) {
  switch (sqlite3_value_type(value)) {
    case SQLITE_NULL: return {};
    case SQLITE_INTEGER: return std::int64_t{sqlite3_value_int64(value)};
    case SQLITE_FLOAT: return sqlite3_value_double(value);
    case SQLITE_BLOB: return BytesText(TextOf(value));
    default: return std::string(TextOf(value));
  }
}

void ReturnToSqlite(sqlite3_context* context, const QueryValue& value) {
  if (const auto* whole = std::get_if<std::int64_t>(&value)) {
    sqlite3_result_int64(context, *whole);
  } else if (const auto* real = std::get_if<double>(&value)) {
    sqlite3_result_double(context, *real);
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    sqlite3_result_text64(context, text->data(), text->size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  } else {
    sqlite3_result_null(context);
  }
}

void ReportToSqlite(sqlite3_context* context, const RuntimeError& error) {
  sqlite3_result_error(context, error.Description().c_str(), -1);
  sqlite3_result_error_code(context, kFunctionFailed);
}

void CallFunction(sqlite3_context* context, int count, sqlite3_value** values) {
  const auto* function = static_cast<const QueryFunction*>(sqlite3_user_data(context));
  Trap(
      [&] {
        std::vector<QueryValue> arguments;
        bool null = false;
        for (int i = 0; i < count; ++i) {
          arguments.push_back(FromSqlite(values[i]));
          null = null || sqlite3_value_type(values[i]) == SQLITE_NULL;
        }
        ReturnToSqlite(context, null && !function->takes_null ? QueryValue() : function->run(arguments));
      },
      [&](const RuntimeError& error) { ReportToSqlite(context, error); });
}

int Compare(void*, int a_size, const void* a, int b_size, const void* b) {
  return CompareText({static_cast<const char*>(a), static_cast<std::size_t>(a_size)},
                     {static_cast<const char*>(b), static_cast<std::size_t>(b_size)});
}

// First and Last: what they keep from row to row. SQLite gives it as zeros.
struct Kept {
  sqlite3_value* value;
  bool any;
};

template <bool kLast>
void KeepStep(sqlite3_context* context, int, sqlite3_value** values) {
  auto* kept = static_cast<Kept*>(sqlite3_aggregate_context(context, sizeof(Kept)));
  if (kept == nullptr || (kept->any && !kLast)) return;
  sqlite3_value_free(kept->value);
  kept->value = sqlite3_value_dup(values[0]);
  kept->any = true;
}

void KeepEnd(sqlite3_context* context) {
  auto* kept = static_cast<Kept*>(sqlite3_aggregate_context(context, 0));
  if (kept == nullptr || kept->value == nullptr) return;
  sqlite3_result_value(context, kept->value);
  sqlite3_value_free(kept->value);
}

// StDev and Var, in one pass: B. P. Welford, "Note on a method for calculating corrected sums of squares and
// products", Technometrics 4 (1962).
struct Spread {
  std::int64_t count;
  double mean;
  double squares;
};

void SpreadStep(sqlite3_context* context, int, sqlite3_value** values) {
  auto* spread = static_cast<Spread*>(sqlite3_aggregate_context(context, sizeof(Spread)));
  if (spread == nullptr || sqlite3_value_type(values[0]) == SQLITE_NULL) return;
  const double value = sqlite3_value_double(values[0]);
  ++spread->count;
  const double difference = value - spread->mean;
  spread->mean += difference / static_cast<double>(spread->count);
  spread->squares += difference * (value - spread->mean);
}

// Of a sample the count is one less; of fewer values there is none.
template <bool kSample, bool kRoot>
void SpreadEnd(sqlite3_context* context) {
  const auto* spread = static_cast<Spread*>(sqlite3_aggregate_context(context, 0));
  const std::int64_t count = spread == nullptr ? 0 : spread->count - (kSample ? 1 : 0);
  if (count <= 0) return;
  const double variance = spread->squares / static_cast<double>(count);
  sqlite3_result_double(context, kRoot ? std::sqrt(variance) : variance);
}

void AddAggregate(sqlite3* database, const char* name, void (*step)(sqlite3_context*, int, sqlite3_value**),
                  void (*end)(sqlite3_context*)) {
  Check(sqlite3_create_function_v2(database, name, 1, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, nullptr,
                                   step, end, nullptr),
        database);
}

void AddFunctions(sqlite3* database) {
  Check(sqlite3_create_collation_v2(database, "ACCESS", SQLITE_UTF8, nullptr, Compare, nullptr), database);
  for (const auto functions : {TextFunctions(), NumberFunctions(), DateFunctions()}) {
    for (const QueryFunction& function : functions) {
      const std::string name = "acc_" + std::string(function.name);
      // SQLite hands the pointer back as it is; the function is not changed through it.
      Check(sqlite3_create_function_v2(database, name.c_str(), -1, SQLITE_UTF8 | SQLITE_DETERMINISTIC,
                                       const_cast<QueryFunction*>(&function), CallFunction, nullptr, nullptr,
                                       nullptr),
            database);
    }
  }
  AddAggregate(database, "acc_first", KeepStep<false>, KeepEnd);
  AddAggregate(database, "acc_last", KeepStep<true>, KeepEnd);
  AddAggregate(database, "acc_stdev", SpreadStep, SpreadEnd<true, true>);
  AddAggregate(database, "acc_stdevp", SpreadStep, SpreadEnd<false, true>);
  AddAggregate(database, "acc_var", SpreadStep, SpreadEnd<true, false>);
  AddAggregate(database, "acc_varp", SpreadStep, SpreadEnd<false, false>);
}

// --- Tables -------------------------------------------------------------------------------------

// Texts keep their order; decimals have no type, so that a long one stays the text it is.
std::string Declaration(ValueType type) {
  switch (type) {
    case ValueType::kText: return " TEXT COLLATE ACCESS";
    case ValueType::kWhole:
    case ValueType::kTruth: return " INTEGER";
    case ValueType::kReal:
    case ValueType::kDate: return " REAL";
    case ValueType::kUnknown: return " COLLATE ACCESS";
    default: return "";
  }
}

std::string ColumnName(std::size_t column) { return "c" + std::to_string(column); }

// Bound texts and bytes live until the table's next row.
void BindCell(sqlite3_stmt* statement, int parameter, const QueryCell& cell) {
  const auto data = [](std::string_view view) { return view.data() == nullptr ? "" : view.data(); };
  if (const auto* whole = std::get_if<std::int64_t>(&cell)) {
    sqlite3_bind_int64(statement, parameter, *whole);
  } else if (const auto* real = std::get_if<double>(&cell)) {
    sqlite3_bind_double(statement, parameter, *real);
  } else if (const auto* text = std::get_if<std::string_view>(&cell)) {
    sqlite3_bind_text64(statement, parameter, data(*text), text->size(), SQLITE_STATIC, SQLITE_UTF8);
  } else if (const auto* bytes = std::get_if<BytesOfCell>(&cell)) {
    sqlite3_bind_blob64(statement, parameter, data(bytes->bytes), bytes->bytes.size(), SQLITE_STATIC);
  } else {
    sqlite3_bind_null(statement, parameter);
  }
}

// Gives why the table's rows are not all there.
std::optional<RuntimeError> Load(sqlite3* database, const QueryTables& tables, const LoadStep& load) {
  const std::unique_ptr<TableRows> rows = tables.Open(load.table);
  std::vector<std::size_t> used;
  std::string declared;
  std::string places;
  for (std::size_t i = 0; i < load.columns.size(); ++i) {
    if (!load.used[i]) continue;
    if (load.columns[i].unreadable) throw *load.columns[i].unreadable;
    used.push_back(i);
    declared += (declared.empty() ? "" : ", ") + ColumnName(i) + Declaration(load.columns[i].type);
    places += places.empty() ? "?" : ", ?";
  }
  // Where nothing of a table is shown, its rows still count.
  if (used.empty()) declared = "c INTEGER";
  if (used.empty()) places = "NULL";
  Run(database, "CREATE TABLE " + load.sql_name + " (" + declared + ")");
  const StatementPtr insert = Prepare(database, "INSERT INTO " + load.sql_name + " VALUES (" + places + ")");
  while (rows->Next()) {
    int parameter = 1;
    for (const std::size_t column : used) BindCell(insert.get(), parameter++, rows->Cell(column));
    Check(sqlite3_step(insert.get()), database);
    sqlite3_reset(insert.get());
  }
  return rows->Loss();
}

// Keeps the first rows, and those behind them that are equal in all the order's columns.
void CutToTop(sqlite3* database, const SelectStep& step) {
  const std::string& table = step.sql_name;
  const std::int64_t count = Number(database, "SELECT count(*) FROM " + table);
  std::int64_t keep = *step.top;
  if (step.top_percent) {
    keep = static_cast<std::int64_t>(
        std::ceil(static_cast<double>(count * std::min(keep, std::int64_t{100})) / 100));
  }
  if (keep >= count) return;
  const std::string limit = std::to_string(keep);
  if (keep > 0 && !step.order_columns.empty()) {
    std::string equal;
    for (std::size_t i = 0; i < step.order_columns.size(); ++i) {
      const std::string column = ColumnName(step.columns.size() + i);
      equal += (equal.empty() ? "" : " AND ") + std::string("b.") + column + " IS a." + column;
    }
    const std::string first = " FROM " + table + " AS a, " + table + " AS b WHERE a.rowid = " + limit +
                              " AND b.rowid > " + limit + " AND NOT (" + equal + ")";
    keep = Number(database, "SELECT coalesce(min(b.rowid), " + std::to_string(count + 1) + ")" + first) - 1;
  }
  Run(database, "DELETE FROM " + table + " WHERE rowid > " + std::to_string(keep));
}

void Select(sqlite3* database, const SelectStep& step) {
  std::string declared;
  std::size_t index = 0;
  const auto declare = [&](ValueType type) {
    declared += (index == 0 ? "" : ", ") + ColumnName(index) + Declaration(type);
    ++index;
  };
  for (const ResultColumn& column : step.columns) declare(column.type);
  for (const ValueType type : step.order_columns) declare(type);
  Run(database, "CREATE TABLE " + step.sql_name + " (" + declared + ")");
  Run(database, "INSERT INTO " + step.sql_name + " " + step.sql);
  if (step.top) CutToTop(database, step);
}

std::string RoundedText(double number, std::chars_format format, int digits) {
  std::array<char, 400> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number, format, digits);
  return {text.data(), end.ptr};
}

}  // namespace

class QueryRows::Implementation {
 public:
  Implementation(const QueryTables& tables, const QueryPlan& plan)
      : columns_(plan.selects.back().columns), texts_(columns_.size()) {
    // The empty name is a database of its own in a temporary file, which is written to only when the cache
    // is full, and which vanishes with it.
    sqlite3* database = nullptr;
    const int result = sqlite3_open("", &database);
    database_.reset(database);
    Check(result, database);
    // Sorting takes as much again.
    constexpr const char* kCacheInKibibytes = "-16384";
    Run(database, std::string("PRAGMA cache_size = ") + kCacheInKibibytes);
    Run(database, "PRAGMA journal_mode = OFF");
    Run(database, "PRAGMA synchronous = OFF");
    AddFunctions(database);
    Run(database, "BEGIN");
    for (const LoadStep& load : plan.loads) {
      if (auto loss = Load(database, tables, load); loss && !loss_) loss_ = std::move(loss);
    }
    for (const SelectStep& step : plan.selects) Select(database, step);
    Run(database, "COMMIT");
    const std::string& table = plan.selects.back().sql_name;
    row_count_ = static_cast<std::size_t>(Number(database, "SELECT count(*) FROM " + table));
    row_ = Prepare(database, "SELECT * FROM " + table + " WHERE rowid = ?");
  }

  std::size_t row_count() const { return row_count_; }
  const std::optional<RuntimeError>& loss() const { return loss_; }

  void GoTo(std::size_t row) {
    sqlite3_reset(row_.get());
    sqlite3_bind_int64(row_.get(), 1, static_cast<std::int64_t>(row) + 1);
    Check(sqlite3_step(row_.get()), database_.get());
  }

  bool IsNull(std::size_t column) const {
    return sqlite3_column_type(row_.get(), static_cast<int>(column)) == SQLITE_NULL;
  }

  std::string_view Text(std::size_t index) {
    const int column = static_cast<int>(index);
    std::string& text = texts_[index];
    const ValueType type = columns_[index].type;
    switch (sqlite3_column_type(row_.get(), column)) {
      case SQLITE_NULL: return {};
      case SQLITE_TEXT: {
        const std::string_view stored = Bytes(column);
        if (type != ValueType::kDecimal && type != ValueType::kCurrency) return stored;
        text = DecimalText(stored);
        return text;
      }
      case SQLITE_BLOB: text = BytesText(Bytes(column)); return text;
      case SQLITE_INTEGER:
        if (type == ValueType::kTruth || type == ValueType::kDate) break;
        text = std::to_string(sqlite3_column_int64(row_.get(), column));
        return text;
      default: break;
    }
    text = NumberText(type, sqlite3_column_double(row_.get(), column));
    return text;
  }

 private:
  std::string_view Bytes(int column) const {
    const auto* bytes = static_cast<const char*>(sqlite3_column_blob(row_.get(), column));
    return {bytes == nullptr ? "" : bytes, static_cast<std::size_t>(sqlite3_column_bytes(row_.get(), column))};
  }

  static std::string NumberText(ValueType type, double number) {
    switch (type) {
      case ValueType::kTruth: return BoolText(number != 0);
      case ValueType::kDate: return SerialText(number);
      case ValueType::kCurrency: return DecimalText(RoundedText(number, std::chars_format::fixed, 4));
      case ValueType::kDecimal: {
        // Sums of decimals have no more digits than can be trusted.
        double trusted = 0;
        const std::string digits = RoundedText(number, std::chars_format::general, kSafeDigits);
        std::from_chars(digits.data(), digits.data() + digits.size(), trusted);
        return FormatNumber(trusted);
      }
      default: return FormatNumber(number);
    }
  }

  std::optional<RuntimeError> loss_;
  std::vector<ResultColumn> columns_;
  std::vector<std::string> texts_;
  DatabasePtr database_;
  StatementPtr row_;  // must go before the database
  std::size_t row_count_ = 0;
};

QueryRows::QueryRows(const QueryTables& tables, const QueryPlan& plan)
    : implementation_(std::make_unique<Implementation>(tables, plan)) {}
QueryRows::~QueryRows() = default;

std::size_t QueryRows::RowCount() const { return implementation_->row_count(); }
const std::optional<RuntimeError>& QueryRows::Loss() const { return implementation_->loss(); }
void QueryRows::GoTo(std::size_t row) { implementation_->GoTo(row); }
bool QueryRows::IsNull(std::size_t column) const { return implementation_->IsNull(column); }
std::string_view QueryRows::Text(std::size_t column) { return implementation_->Text(column); }

}  // namespace kestrel::access_sql
