// A fresh sample host database and the host's components, driven by name as the import wizard does.
#pragma once

#include <gmock/gmock.h>

#include <cstdlib>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "components/register_components.h"
#include "kestrel/open_connection.h"
#include "schema/host_schema.h"
#include "schema/settings.h"
#include "storage/grouped_writes.h"
#include "storage/sqlite_settings.h"
#include "support/expect_error.h"
#include "support/postgres_server.h"
#include "support/temp_folder.h"

namespace kestrel::testing {

using FieldTexts = std::initializer_list<std::pair<const char*, const char*>>;

// Whether KESTREL_TEST_HOST asks for the host's other database.
inline bool WantsPostgres() {
  const char* kind = std::getenv("KESTREL_TEST_HOST");
  return kind != nullptr && std::string_view(kind) == "postgresql";
}

// An empty database: a file in the folder, or one of the tests' PostgreSQL server where that is asked for.
inline std::string NewHostDatabase(const TempFolder& folder) {
  if (!WantsPostgres() || !PostgresServer::WhyNot().empty()) return folder.File("host.db");
  PostgresServer& server = PostgresServer::Shared();
  return server.ConnectionString(server.NewDatabase());
}

class HostFixture : public ::testing::Test {
 protected:
  HostFixture() {
    host::PrepareNewDatabase(*connection);
    host::InitialiseHostDatabase(*connection);
    host::RegisterComponents(components);
  }

  void SetUp() override {
    const std::string reason = WantsPostgres() ? PostgresServer::WhyNot() : std::string();
    if (!reason.empty()) GTEST_SKIP() << reason;
  }

  ObjectPtr Importer(std::string_view prog_id = "ksbimport.importkunden") {
    const ObjectPtr importer = components.CreateObject(prog_id);
    SetProperty(importer, "Connection", connection);
    return importer;
  }

  // One whose specification lets it overwrite what is stored.
  ObjectPtr OverwritingImporter(std::string_view prog_id = "ksbimport.importkunden") {
    folder.Write("Import.IMP",
                 "[CfgSettings]\r\nKundenUeberschreiben=1\r\nInteressentenUeberschreiben=1\r\n"
                 "LieferantenUeberschreiben=1\r\n");
    const ObjectPtr importer = Importer(prog_id);
    LetProperty(importer, "SpecificationFile", folder.File("Import.IMP"));
    return importer;
  }

  // Imports one record; what ErrorDescription says afterwards, "" where ErrorCode is 0.
  std::string Import(const ObjectPtr& importer, FieldTexts fields) {
    Value record = CallMethod(importer, "GetNewRecord");
    const RecordsetPtr row = ToRecordset(record);
    for (const auto& [name, text] : fields) row->SetText(row->RequireColumn(name), text);
    CallMethod(importer, "ImportRecord", ByRef(record));
    const bool failed = GetProperty(importer, "ErrorCode").ToInteger() != 0;
    const std::string description = GetProperty(importer, "ErrorDescription").ToText();
    EXPECT_EQ(failed, !description.empty());
    return description;
  }

  // For what the two databases say or write in different ways.
  bool OnPostgres() const { return connection->capabilities().dialect != Dialect::kSqlite; }

  // The rows of a query, values joined by "|", null as "NULL".
  std::vector<std::string> Rows(std::string_view sql) {
    std::vector<std::string> rows;
    for (const RecordsetPtr set = connection->OpenRecordset(sql); !set->IsEof(); set->MoveNext()) {
      std::string row;
      for (std::size_t i = 0; i < set->ColumnCount(); ++i) {
        row += (i == 0 ? "" : "|") + (set->IsNull(i) ? std::string("NULL") : std::string(set->TextAt(i)));
      }
      rows.push_back(std::move(row));
    }
    return rows;
  }

  void Set(std::string_view name, std::string_view value) {
    host::Settings::Of(*connection).Set("Adressindex", name, value);
  }

  TempFolder folder;
  // Connection string of the database.
  const std::string file = NewHostDatabase(folder);
  const ConnectionPtr connection = OpenConnection(file);
  ComponentRegistry components;
};

}  // namespace kestrel::testing
