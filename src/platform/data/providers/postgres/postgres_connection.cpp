#include "platform/data/providers/postgres/postgres_connection.h"

#include <mutex>
#include <utility>

#include "kestrel/runtime_error.h"
#include "platform/data/providers/postgres/parameter_text.h"
#include "platform/data/providers/postgres/postgres_recordset.h"
#include "platform/data/providers/postgres/postgres_statement.h"

namespace kestrel::postgres {

namespace {

constexpr std::string_view kTablesQuery =
    "SELECT relname, CASE WHEN relkind IN ('v', 'm') THEN 'VIEW' ELSE 'TABLE' END FROM pg_catalog.pg_class"
    " WHERE relkind IN ('r', 'p', 'f', 'v', 'm') AND pg_catalog.pg_table_is_visible(oid)"
    " AND relnamespace NOT IN (SELECT oid FROM pg_catalog.pg_namespace"
    " WHERE nspname IN ('pg_catalog', 'information_schema')) ORDER BY relname";
constexpr std::string_view kColumnsQuery =
    "SELECT attname FROM pg_catalog.pg_attribute WHERE attnum > 0 AND NOT attisdropped AND attrelid ="
    " (SELECT oid FROM pg_catalog.pg_class WHERE relname IN (?, lower(?)) AND "
    "pg_catalog.pg_table_is_visible(oid)"
    " AND relkind IN ('r', 'p', 'f', 'v', 'm') ORDER BY relname = ? DESC LIMIT 1) ORDER BY attnum";

[[noreturn]] void Refuse(std::string_view reason) {
  throw RuntimeError(ErrorNumber::kDatabase,
                     std::string(DescriptionOf(ErrorNumber::kDatabase)) + ": " + std::string(reason));
}

PostgresStatement& Own(Statement& statement) {
  auto* const own = dynamic_cast<PostgresStatement*>(&statement);
  if (own == nullptr) throw RuntimeError(ErrorNumber::kMemberNotFound);
  return *own;
}

}  // namespace

PostgresConnection::PostgresConnection(Address address, const WaitLimits& limits) {
  SharedWaits()->SetLockLimit(limits.lock);
  SharedWaits()->SetAnswerLimit(limits.answer);
  session_ = std::make_shared<Session>(std::move(address), SharedCallMutex(), SharedWaits());
  session_->SetBeforeQuery([this] { attachments().BeforeQuery(); });
}

PostgresConnection::PostgresConnection(HandlePtr lent) {
  SharedWaits()->SetLockLimit("");
  SharedWaits()->SetAnswerLimit("");
  session_ = std::make_shared<Session>(std::move(lent), SharedCallMutex(), SharedWaits());
  session_->SetBeforeQuery([this] { attachments().BeforeQuery(); });
}

PostgresConnection::~PostgresConnection() {
  Trap([this] { Close(); }, [](const RuntimeError&) {});
}

const std::shared_ptr<Session>& PostgresConnection::Open() const {
  if (session_ == nullptr) throw RuntimeError(ErrorNumber::kObjectClosed);
  return session_;
}

void PostgresConnection::Run(std::string_view sql) {
  ParameterValues none;
  session_->Execute(sql, none);
}

std::int64_t PostgresConnection::Execute(std::string_view sql) {
  const std::lock_guard lock(CallMutex());
  ParameterValues none;
  const auto& session = Open();
  std::string memory;
  return session->Execute(names_.Translate(sql, memory), none);
}

RecordsetPtr PostgresConnection::OpenRecordset(std::string_view sql) {
  const std::lock_guard lock(CallMutex());
  const auto& session = Open();
  std::string memory;
  sql = names_.Translate(sql, memory);
  if (template_.Make(sql)) {
    ParameterValues values;
    for (std::size_t i = 0; i < template_.LiteralCount(); ++i) values.AddText(template_.Literal(i));
    RecordsetPtr rows;
    const auto open = [&] {
      rows = std::make_shared<PostgresRecordset>(session, NumberParameters(template_.Sql()).sql,
                                                 std::move(values));
    };
    // A literal may stand where no parameter may, or have another type than one; then the text is taken as it
    // stands, and tells its own error if it has one.
    const bool is_open = Trap(open, [&](const RuntimeError&) {
      // A lock or a full disk, which the text would only meet once more; but a lost server may be back.
      if (session->LastLoss() == Loss::kLasting && !session->StopReason().empty()) throw;
    });
    if (is_open) return rows;
  }
  return std::make_shared<PostgresRecordset>(session, std::string(sql), ParameterValues());
}

std::unique_ptr<Statement> PostgresConnection::Prepare(std::string_view sql) {
  const std::lock_guard lock(CallMutex());
  const auto& session = Open();
  std::string memory;
  return std::make_unique<PostgresStatement>(session, names_.Translate(sql, memory));
}

void PostgresConnection::MakeReady(Statement& statement) { Own(statement).MakeReady(); }

void PostgresConnection::Send(Statement& statement, PipelineSender& sender) {
  Own(statement).SendToPipeline(sender);
}

void PostgresConnection::Copy(std::span<const CopyTo> tables, PipelineSender& sender) {
  const std::lock_guard lock(CallMutex());
  std::vector<CopiedTable> copied;
  for (const CopyTo& table : tables) {
    std::string memory;
    copied.push_back(
        {std::string(names_.Translate("COPY " + table.target + " FROM STDIN", memory)), table.rows.lines()});
  }
  Open()->Copy(std::move(copied), sender);
}

void PostgresConnection::GoOn() {
  const std::lock_guard lock(CallMutex());
  if (session_ != nullptr) session_->GoOnCopying();
}

void PostgresConnection::Flush() {
  const std::lock_guard lock(CallMutex());
  if (session_ != nullptr) session_->FlushPipeline();
}

std::string PostgresConnection::StopReason() const {
  const std::lock_guard lock(CallMutex());
  return session_ == nullptr ? std::string() : session_->StopReason();
}

void PostgresConnection::Begin() {
  Open();
  attachments().Flush();
  const std::lock_guard lock(CallMutex());
  if (session_->InTransaction()) Refuse("Eine Transaktion ist bereits offen.");
  session_->Begin();
}

void PostgresConnection::Commit() {
  const std::lock_guard lock(CallMutex());
  Open();
  if (!session_->InTransaction()) Refuse("Keine Transaktion ist offen.");
  session_->Commit();
}

void PostgresConnection::Rollback() {
  const std::lock_guard lock(CallMutex());
  Open();
  if (!session_->InTransaction()) Refuse("Keine Transaktion ist offen.");
  Run("ROLLBACK");
}

bool PostgresConnection::InTransaction() const {
  const std::lock_guard lock(CallMutex());
  return session_ != nullptr && session_->InTransaction();
}

std::vector<CatalogTable> PostgresConnection::Tables() {
  const std::lock_guard lock(CallMutex());
  std::vector<CatalogTable> tables;
  PostgresRecordset rows(Open(), std::string(kTablesQuery), ParameterValues());
  for (; !rows.IsEof(); rows.MoveNext())
    tables.push_back({std::string(rows.TextAt(0)), std::string(rows.TextAt(1))});
  return tables;
}

std::vector<std::string> PostgresConnection::ColumnNames(std::string_view table) {
  const std::unique_ptr<Statement> query = Prepare(kColumnsQuery);
  for (std::size_t i = 0; i < 3; ++i) query->BindText(i, table);
  std::vector<std::string> names;
  const RecordsetPtr rows = query->Open();
  for (; !rows->IsEof(); rows->MoveNext()) names.emplace_back(rows->TextAt(0));
  if (names.empty()) Refuse("Die Tabelle " + std::string(table) + " gibt es nicht.");
  return names;
}

Recovery::Loss PostgresConnection::LastLoss() const {
  const std::lock_guard lock(CallMutex());
  return session_ == nullptr ? Loss::kLasting : session_->LastLoss();
}

bool PostgresConnection::IsCommitUncertain() const {
  const std::lock_guard lock(CallMutex());
  return session_ != nullptr && session_->IsCommitUncertain();
}

bool PostgresConnection::IsGivenUp() const {
  const std::lock_guard lock(CallMutex());
  return session_ != nullptr && session_->IsGivenUp();
}

std::uint64_t PostgresConnection::Sessions() const {
  const std::lock_guard lock(CallMutex());
  return session_ == nullptr ? 0 : session_->Sessions();
}

bool PostgresConnection::IsPooled() const {
  const std::lock_guard lock(CallMutex());
  return session_ != nullptr && session_->IsPooled();
}

void PostgresConnection::TellWaitsAs(std::string_view reason) {
  const std::lock_guard lock(CallMutex());
  if (session_ != nullptr) session_->TellWaitsAs(reason);
}

void PostgresConnection::Close() {
  if (session_ == nullptr) return;
  // Who is told what becomes of his statements may need attachments for what he then does.
  Flush();
  attachments().Drop(*this);
  const std::lock_guard lock(CallMutex());
  // Record sets may keep the session for longer.
  session_->SetBeforeQuery(nullptr);
  if (session_->InTransaction()) Trap([&] { Run("ROLLBACK"); }, [](const RuntimeError&) {});
  session_->GiveBack();
  session_ = nullptr;
}

}  // namespace kestrel::postgres
