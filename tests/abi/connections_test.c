#include "check.h"

static kestrel_handle open_database(kestrel_library* library) {
  kestrel_handle connection = 0;
  OK(library, kestrel_connection_open(library, text_of(scratch_file("test.sqlite")), &connection));
  OK(library,
     kestrel_connection_execute(library, connection,
                                text_of("CREATE TABLE Orte (Nummer INTEGER, Ort TEXT, Seit TEXT, Betrag REAL)"),
                                NULL, 0, NULL));
  return connection;
}

TEST(RowsAreStoredAndReadByParameters) {
  kestrel_library* library = open_library();
  const kestrel_handle connection = open_database(library);
  kestrel_value parameters[4];
  kestrel_value value = value_of(KESTREL_UNSET);
  kestrel_handle rows = 0;
  kestrel_text row[4];
  int64_t changed = 0;
  parameters[0] = integer_value(7);
  parameters[1] = text_value("Köln'; DROP TABLE Orte; --");
  parameters[2] = value_of(KESTREL_DATE);
  parameters[2].as.date.year = 2026;
  parameters[2].as.date.month = 3;
  parameters[2].as.date.day = 9;
  parameters[3] = text_value("12.50");
  parameters[3].kind = KESTREL_DECIMAL;
  OK(library, kestrel_connection_execute(library, connection, text_of("INSERT INTO Orte VALUES (?, ?, ?, ?)"),
                                         parameters, 4, &changed));
  CHECK(changed == 1);
  parameters[0] = value_of(KESTREL_NULL);
  OK(library, kestrel_connection_execute(library, connection, text_of("INSERT INTO Orte (Nummer) VALUES (?)"),
                                         parameters, 1, NULL));
  parameters[0] = integer_value(7);
  OK(library, kestrel_connection_query(library, connection, text_of("SELECT * FROM Orte WHERE Nummer = ?"),
                                       parameters, 1, &rows));
  OK(library, kestrel_recordset_row(library, rows, row, 4));
  CHECK(text_is(row[0], "7") && text_is(row[1], "Köln'; DROP TABLE Orte; --") && text_is(row[3], "12,5"));
  OK(library, kestrel_recordset_get(library, rows, 3, &value));
  CHECK(value.kind == KESTREL_DOUBLE && value.as.real == 12.5);
  OK(library,
     kestrel_connection_query(library, connection,
                              text_of("SELECT count(*) FROM Orte WHERE Seit = '2026-03-09'"), NULL, 0, &rows));
  OK(library, kestrel_recordset_row(library, rows, row, 1));
  CHECK(text_is(row[0], "1"));
  OK(library, kestrel_library_close(library));
}

TEST(ATransactionIsKeptOrTakenBack) {
  kestrel_library* library = open_library();
  const kestrel_handle connection = open_database(library);
  const kestrel_text insert = text_of("INSERT INTO Orte (Nummer) VALUES (1)");
  kestrel_handle rows = 0;
  kestrel_text count;
  OK(library, kestrel_connection_begin(library, connection));
  OK(library, kestrel_connection_execute(library, connection, insert, NULL, 0, NULL));
  STATUS(library, kestrel_connection_begin(library, connection), KESTREL_FAILED);
  CHECK(last_number(library) == 3000);
  OK(library, kestrel_connection_rollback(library, connection));
  OK(library, kestrel_connection_begin(library, connection));
  OK(library, kestrel_connection_execute(library, connection, insert, NULL, 0, NULL));
  OK(library, kestrel_connection_commit(library, connection));
  OK(library,
     kestrel_connection_query(library, connection, text_of("SELECT count(*) FROM Orte"), NULL, 0, &rows));
  OK(library, kestrel_recordset_row(library, rows, &count, 1));
  CHECK(text_is(count, "1"));
  OK(library, kestrel_library_close(library));
}

TEST(TheCatalogIsARecordSet) {
  kestrel_library* library = open_library();
  const kestrel_handle connection = open_database(library);
  kestrel_handle rows = 0;
  kestrel_text row[2];
  int32_t at_end = 0;
  OK(library, kestrel_connection_tables(library, connection, &rows));
  OK(library, kestrel_recordset_row(library, rows, row, 2));
  CHECK(text_is(row[0], "Orte") && text_is(row[1], "TABLE"));
  OK(library, kestrel_connection_columns(library, connection, text_of("Orte"), &rows));
  OK(library, kestrel_recordset_next(library, rows));
  OK(library, kestrel_recordset_row(library, rows, row, 1));
  CHECK(text_is(row[0], "Ort"));
  OK(library, kestrel_recordset_next(library, rows));
  OK(library, kestrel_recordset_next(library, rows));
  OK(library, kestrel_recordset_next(library, rows));
  OK(library, kestrel_recordset_at_end(library, rows, &at_end));
  CHECK(at_end == 1);
  OK(library, kestrel_library_close(library));
}

TEST(WhatADatabaseRefusesIsTold) {
  kestrel_library* library = open_library();
  const kestrel_handle connection = open_database(library);
  kestrel_handle other = 0;
  kestrel_value bytes = text_value("x");
  bytes.kind = KESTREL_BYTES;
  STATUS(library, kestrel_connection_open(library, text_of("Provider=NoSuchOne"), &other), KESTREL_FAILED);
  CHECK(last_number(library) == 3706 && other == 0);
  STATUS(library,
         kestrel_connection_query(library, connection, text_of("SELECT * FROM Nirgends"), NULL, 0, &other),
         KESTREL_FAILED);
  CHECK(last_number(library) == 3000 && last_error_has(library, "Nirgends"));
  STATUS(library,
         kestrel_connection_execute(library, connection, text_of("DELETE FROM Orte; DELETE FROM Orte"), NULL, 0,
                                    NULL),
         KESTREL_FAILED);
  STATUS(library,
         kestrel_connection_execute(library, connection, text_of("INSERT INTO Orte (Ort) VALUES (?)"), &bytes,
                                    1, NULL),
         KESTREL_INVALID_ARGUMENT);
  STATUS(library,
         kestrel_connection_execute(library, connection, text_of("INSERT INTO Orte (Ort) VALUES (?)"), NULL, 1,
                                    NULL),
         KESTREL_INVALID_ARGUMENT);
  STATUS(library, kestrel_recordset_first(library, connection), KESTREL_INVALID_HANDLE);
  OK(library, kestrel_connection_close(library, connection));
  OK(library, kestrel_connection_close(library, connection));
  STATUS(library, kestrel_connection_tables(library, connection, &other), KESTREL_FAILED);
  CHECK(last_number(library) == 3704);
  OK(library, kestrel_library_close(library));
}
