// A kind of source of a host's own: the tables of an SQLite file, chosen on the page in the frame of Access.
#pragma once

#include "sources/source_catalog.h"
#include "sources/source_kind.h"
#include "sources/source_page.h"

namespace kestrel::testing {

inline OpenedSource ConnectSqlite(const SourceInputs& inputs, const ConnectionOpener& open) {
  return OpenAndList("Provider=SQLite;Data Source=" + inputs.database, FillTableList, open);
}

inline SourceKind SqliteSourceKind() {
  return {.name = "SQLite-Datenbank",
          .location = &Session::Database,
          .keys = {{.name = "Database", .text = &Session::Database},
                   {.name = "Table", .text = &Session::Table},
                   {.name = "Token", .text = &Session::Password, .is_secret = true}},
          .connect = ConnectSqlite,
          .inputs = {{&SourceInputs::database, &SourcePage::txtAccessDB, "Database"}},
          .ending = ".SQLITE",
          .file_filter = "*.sqlite",
          .is_offered = true,
          .frame = SourceFrame::kAccess,
          .page_fields = {{&Session::Database, &SourcePage::txtAccessDB},
                          {&Session::Table, &SourcePage::cboAccessTable}}};
}

}  // namespace kestrel::testing
