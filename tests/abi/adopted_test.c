// Databases of the program's own: an SQLite handle that is lent, and one behind functions of the program.
#include <sqlite3.h>
#include <stdlib.h>

#include "sample_host.h"

static sqlite3* open_sqlite(void) {
  sqlite3* database = NULL;
  CHECK(sqlite3_open(scratch_file("own.sqlite"), &database) == SQLITE_OK);
  CHECK(sqlite3_exec(database, "CREATE TABLE IF NOT EXISTS Orte (Ort TEXT)", NULL, NULL, NULL) == SQLITE_OK);
  return database;
}

static int64_t count_places(sqlite3* database) {
  sqlite3_stmt* query = NULL;
  int64_t count;
  CHECK(sqlite3_prepare_v2(database, "SELECT count(*) FROM Orte", -1, &query, NULL) == SQLITE_OK);
  CHECK(sqlite3_step(query) == SQLITE_ROW);
  count = sqlite3_column_int64(query, 0);
  sqlite3_finalize(query);
  return count;
}

TEST(AnSqliteHandleIsLentAndComesBackOpen) {
  kestrel_library* library = open_library();
  sqlite3* database = open_sqlite();
  const kestrel_text insert = text_of("INSERT INTO Orte VALUES ('Ulm')");
  kestrel_handle connection = 0;
  kestrel_handle rows = 0;
  kestrel_text row;
  OK(library, kestrel_connection_adopt_sqlite(library, database, sqlite3_libversion, &connection));
  OK(library, kestrel_connection_execute(library, connection, insert, NULL, 0, NULL));
  // Both see the other's rows, as it is one connection.
  CHECK(count_places(database) == 1);
  CHECK(sqlite3_exec(database, "INSERT INTO Orte VALUES ('Köln')", NULL, NULL, NULL) == SQLITE_OK);
  OK(library,
     kestrel_connection_query(library, connection, text_of("SELECT count(*) FROM Orte"), NULL, 0, &rows));
  OK(library, kestrel_recordset_row(library, rows, &row, 1));
  CHECK(text_is(row, "2"));
  OK(library, kestrel_release(library, rows));
  // What was begun here is taken back, and the handle is free of statements.
  OK(library, kestrel_connection_begin(library, connection));
  OK(library, kestrel_connection_execute(library, connection, insert, NULL, 0, NULL));
  OK(library, kestrel_connection_close(library, connection));
  CHECK(sqlite3_get_autocommit(database) != 0 && count_places(database) == 2);
  OK(library, kestrel_library_close(library));
  CHECK(sqlite3_close(database) == SQLITE_OK);
}

TEST(ATransactionOfTheOwnersIsLeftAlone) {
  kestrel_library* library = open_library();
  sqlite3* database = open_sqlite();
  kestrel_handle connection = 0;
  OK(library, kestrel_connection_adopt_sqlite(library, database, sqlite3_libversion, &connection));
  CHECK(sqlite3_exec(database, "BEGIN", NULL, NULL, NULL) == SQLITE_OK);
  STATUS(library, kestrel_connection_begin(library, connection), KESTREL_FAILED);
  OK(library, kestrel_connection_close(library, connection));
  CHECK(sqlite3_get_autocommit(database) == 0);
  STATUS(library, kestrel_connection_adopt_sqlite(library, database, sqlite3_libversion, &connection),
         KESTREL_FAILED);
  CHECK(last_number(library) == 3000 && last_error_has(library, "Transaktion"));
  CHECK(sqlite3_exec(database, "COMMIT", NULL, NULL, NULL) == SQLITE_OK);
  OK(library, kestrel_library_close(library));
  CHECK(sqlite3_close(database) == SQLITE_OK);
}

TEST(AnImportIntoATransactionOfTheOwnersIsRefusedBeforeItBegins) {
  sample_host host = open_sample_host();
  sqlite3* database = NULL;
  kestrel_handle job;
  OK(host.library, kestrel_connection_close(host.library, host.connection));
  CHECK(sqlite3_open(scratch_file("kestrel.db"), &database) == SQLITE_OK);
  OK(host.library,
     kestrel_connection_adopt_sqlite(host.library, database, sqlite3_libversion, &host.connection));
  job = open_customers(&host);
  CHECK(sqlite3_exec(database, "BEGIN", NULL, NULL, NULL) == SQLITE_OK);
  STATUS(host.library, kestrel_job_run(host.library, job, NULL, NULL, NULL), KESTREL_FAILED);
  CHECK(last_number(host.library) == 3000 && last_error_has(host.library, "eigene Transaktion offen"));
  CHECK(query_number(&host, "SELECT count(*) FROM Kunden") == 0);
  CHECK(sqlite3_exec(database, "ROLLBACK", NULL, NULL, NULL) == SQLITE_OK);
  // The job is as it was.
  OK(host.library, kestrel_job_run(host.library, job, NULL, NULL, NULL));
  CHECK(query_number(&host, "SELECT count(*) FROM Kunden") == 6);
  close_sample_host(&host);
  CHECK(sqlite3_close(database) == SQLITE_OK);
}

static const char* another_version(void) { return "3.0"; }

TEST(AHandleOfAnotherSqliteIsRefused) {
  kestrel_library* library = open_library();
  kestrel_handle connection = 0;
  int not_ours = 0;
  STATUS(library, kestrel_connection_adopt_sqlite(library, &not_ours, another_version, &connection),
         KESTREL_FAILED);
  CHECK(last_number(library) == 3000 && last_error_has(library, "eigenes SQLite"));
  STATUS(library, kestrel_connection_adopt_sqlite(library, NULL, sqlite3_libversion, &connection),
         KESTREL_INVALID_ARGUMENT);
  STATUS(library, kestrel_connection_adopt_postgresql(library, NULL, &connection), KESTREL_INVALID_ARGUMENT);
  CHECK(connection == 0);
  OK(library, kestrel_library_close(library));
}

// --- A database behind functions ---

typedef struct own_database {
  sqlite3* sqlite;
  int closed;
} own_database;

static int32_t fail(const own_database* self, kestrel_library* library) {
  return kestrel_raise(library, 3000, text_of(sqlite3_errmsg(self->sqlite)));
}

static sqlite3_stmt* prepare(const own_database* self, kestrel_text sql, const kestrel_value* parameters,
                             size_t count) {
  sqlite3_stmt* statement = NULL;
  size_t i;
  if (sqlite3_prepare_v2(self->sqlite, sql.data, (int)sql.length, &statement, NULL) != SQLITE_OK) return NULL;
  for (i = 0; i < count; ++i) {
    const int at = (int)i + 1;
    if (parameters[i].kind == KESTREL_INTEGER) {
      sqlite3_bind_int64(statement, at, parameters[i].as.integer);
    } else if (parameters[i].kind == KESTREL_DOUBLE) {
      sqlite3_bind_double(statement, at, parameters[i].as.real);
    } else if (parameters[i].kind == KESTREL_STRING) {
      sqlite3_bind_text(statement, at, parameters[i].as.text.data, (int)parameters[i].as.text.length,
                        SQLITE_TRANSIENT);
    }
  }
  return statement;
}

static int32_t execute(void* context, kestrel_library* library, kestrel_text sql,
                       const kestrel_value* parameters, size_t parameter_count, int64_t* changed) {
  own_database* self = context;
  sqlite3_stmt* statement = prepare(self, sql, parameters, parameter_count);
  const int result = statement == NULL ? SQLITE_ERROR : sqlite3_step(statement);
  sqlite3_finalize(statement);
  if (result != SQLITE_DONE) return fail(self, library);
  *changed = sqlite3_changes(self->sqlite);
  return KESTREL_OK;
}

typedef struct rows_of_query {
  sqlite3_stmt* statement;
} rows_of_query;

static int32_t next_row(void* context, kestrel_library* library, kestrel_text* row, size_t column_count,
                        int32_t* at_end) {
  rows_of_query* self = context;
  size_t i;
  (void)library;
  if (sqlite3_step(self->statement) != SQLITE_ROW) {
    *at_end = 1;
    return KESTREL_OK;
  }
  for (i = 0; i < column_count; ++i) {
    row[i].data = (const char*)sqlite3_column_text(self->statement, (int)i);
    row[i].length = (size_t)sqlite3_column_bytes(self->statement, (int)i);
  }
  return KESTREL_OK;
}

static void close_rows(void* context) {
  sqlite3_finalize(((rows_of_query*)context)->statement);
  free(context);
}

static int32_t query(void* context, kestrel_library* library, kestrel_text sql, const kestrel_value* parameters,
                     size_t parameter_count, kestrel_handle* recordset) {
  own_database* self = context;
  sqlite3_stmt* statement = prepare(self, sql, parameters, parameter_count);
  kestrel_text columns[8];
  kestrel_stream stream = {0};
  rows_of_query* rows;
  int i;
  if (statement == NULL) return fail(self, library);
  for (i = 0; i < sqlite3_column_count(statement) && i < 8; ++i)
    columns[i] = text_of(sqlite3_column_name(statement, i));
  rows = malloc(sizeof *rows);
  rows->statement = statement;
  stream.size = sizeof stream;
  stream.context = rows;
  stream.next = next_row;
  stream.close = close_rows;
  return kestrel_recordset_stream(library, columns, (size_t)i, &stream, recordset);
}

static int32_t run(void* context, kestrel_library* library, const char* sql) {
  own_database* self = context;
  return sqlite3_exec(self->sqlite, sql, NULL, NULL, NULL) == SQLITE_OK ? KESTREL_OK : fail(self, library);
}
static int32_t begin(void* context, kestrel_library* library) { return run(context, library, "BEGIN"); }
static int32_t commit(void* context, kestrel_library* library) { return run(context, library, "COMMIT"); }
static int32_t rollback(void* context, kestrel_library* library) { return run(context, library, "ROLLBACK"); }

static int32_t tables(void* context, kestrel_library* library, kestrel_handle* recordset) {
  return query(context, library, text_of("SELECT name AS Name, 'TABLE' AS Type FROM sqlite_schema"), NULL, 0,
               recordset);
}

static void close_database(void* context) { ++((own_database*)context)->closed; }

static kestrel_database functions_of(own_database* self) {
  kestrel_database functions = {0};
  functions.size = sizeof functions;
  functions.context = self;
  functions.execute = execute;
  functions.query = query;
  functions.begin = begin;
  functions.commit = commit;
  functions.rollback = rollback;
  functions.tables = tables;
  functions.close = close_database;
  return functions;
}

TEST(ADatabaseOfTheProgramsOwnIsAConnection) {
  kestrel_library* library = open_library();
  own_database self = {NULL, 0};
  kestrel_database functions = functions_of(&self);
  kestrel_handle connection = 0;
  kestrel_handle rows = 0;
  kestrel_value parameters[2];
  kestrel_text row[2];
  int64_t changed = 0;
  self.sqlite = open_sqlite();
  OK(library, kestrel_connection_create(library, &functions, &connection));
  parameters[0] = text_value("Köln");
  parameters[1] = integer_value(7);
  OK(library, kestrel_connection_execute(library, connection, text_of("INSERT INTO Orte VALUES (? || ?)"),
                                         parameters, 2, &changed));
  CHECK(changed == 1);
  OK(library,
     kestrel_connection_query(library, connection, text_of("SELECT Ort, NULL AS Leer FROM Orte WHERE Ort <> ?"),
                              parameters, 1, &rows));
  OK(library, kestrel_recordset_row(library, rows, row, 2));
  CHECK(text_is(row[0], "Köln7") && row[1].data == NULL);
  OK(library, kestrel_release(library, rows));
  OK(library, kestrel_connection_tables(library, connection, &rows));
  OK(library, kestrel_recordset_row(library, rows, row, 2));
  CHECK(text_is(row[0], "Orte") && text_is(row[1], "TABLE"));
  OK(library, kestrel_release(library, rows));
  // What fails is told in the program's words; what there is not, as of a source that can only be read.
  STATUS(library,
         kestrel_connection_execute(library, connection, text_of("DELETE FROM Nirgends"), NULL, 0, NULL),
         KESTREL_FAILED);
  CHECK(last_number(library) == 3000 && last_error_has(library, "Nirgends"));
  STATUS(library, kestrel_connection_columns(library, connection, text_of("Orte"), &rows), KESTREL_FAILED);
  CHECK(last_number(library) == 438);
  OK(library, kestrel_connection_begin(library, connection));
  STATUS(library, kestrel_connection_begin(library, connection), KESTREL_FAILED);
  CHECK(last_number(library) == 3000);
  OK(library, kestrel_connection_execute(library, connection, text_of("DELETE FROM Orte"), NULL, 0, NULL));
  OK(library, kestrel_connection_close(library, connection));
  CHECK(self.closed == 1 && count_places(self.sqlite) == 1);
  STATUS(library, kestrel_connection_begin(library, connection), KESTREL_FAILED);
  CHECK(last_number(library) == 3704);
  functions.query = NULL;
  STATUS(library, kestrel_connection_create(library, &functions, &connection), KESTREL_INVALID_ARGUMENT);
  OK(library, kestrel_library_close(library));
  CHECK(self.closed == 1);
  CHECK(sqlite3_close(self.sqlite) == SQLITE_OK);
}
