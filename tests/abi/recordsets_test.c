#include "check.h"

static kestrel_column column_of(const char* name, int32_t kind, size_t length) {
  kestrel_column column = {0};
  column.size = sizeof column;
  column.name = text_of(name);
  column.kind = kind;
  column.length = length;
  return column;
}

static kestrel_handle two_columns(kestrel_library* library) {
  kestrel_column columns[2];
  kestrel_handle set = 0;
  columns[0] = column_of("Ort", KESTREL_STRING, 5);
  columns[1] = column_of("Nummer", KESTREL_INTEGER, 0);
  OK(library, kestrel_recordset_create(library, columns, 2, &set));
  return set;
}

TEST(ARecordSetIsWrittenAndReadBack) {
  kestrel_library* library = open_library();
  const kestrel_handle set = two_columns(library);
  kestrel_value value = text_value("Köln");
  kestrel_text row[3] = {{"x", 1}, {"x", 1}, {"x", 1}};
  kestrel_text name;
  size_t number = 0;
  int64_t count = 0;
  int32_t at_end = -1;
  OK(library, kestrel_recordset_at_end(library, set, &at_end));
  CHECK(at_end == 1);
  OK(library, kestrel_recordset_add(library, set));
  OK(library, kestrel_recordset_set(library, set, 0, &value));
  value = text_value("42");
  OK(library, kestrel_recordset_set(library, set, 1, &value));
  OK(library, kestrel_recordset_add(library, set));
  value = text_value("");
  OK(library, kestrel_recordset_set(library, set, 0, &value));

  OK(library, kestrel_recordset_count(library, set, &count));
  OK(library, kestrel_recordset_column_count(library, set, &number));
  CHECK(count == 2 && number == 2);
  OK(library, kestrel_recordset_column_name(library, set, 1, &name));
  CHECK(text_is(name, "Nummer"));
  OK(library, kestrel_recordset_find(library, set, text_of("Nummer"), &number));
  CHECK(number == 1);
  OK(library, kestrel_recordset_first(library, set));
  OK(library, kestrel_recordset_get(library, set, 1, &value));
  CHECK(value.kind == KESTREL_INTEGER && value.as.integer == 42);
  OK(library, kestrel_recordset_row(library, set, row, 3));
  CHECK(text_is(row[0], "Köln") && text_is(row[1], "42") && text_is(row[2], "x"));
  OK(library, kestrel_recordset_next(library, set));
  OK(library, kestrel_recordset_row(library, set, row, 2));
  // The empty text is not null.
  CHECK(row[0].data != NULL && row[0].length == 0 && row[1].data == NULL);
  OK(library, kestrel_recordset_get(library, set, 1, &value));
  CHECK(value.kind == KESTREL_NULL);
  OK(library, kestrel_recordset_next(library, set));
  OK(library, kestrel_recordset_at_end(library, set, &at_end));
  CHECK(at_end == 1);
  OK(library, kestrel_library_close(library));
}

TEST(WhatARecordSetCannotDoIsAnError) {
  kestrel_library* library = open_library();
  const kestrel_handle set = two_columns(library);
  kestrel_column column = column_of("x", KESTREL_DATE, 0);
  kestrel_handle other = 0;
  kestrel_value value = text_value("Köln am Rhein");
  kestrel_text text;
  size_t number = 0;
  STATUS(library, kestrel_recordset_get(library, set, 0, &value), KESTREL_FAILED);
  CHECK(last_number(library) == 3021);
  STATUS(library, kestrel_recordset_row(library, set, &text, 1), KESTREL_FAILED);
  STATUS(library, kestrel_recordset_next(library, set), KESTREL_FAILED);
  OK(library, kestrel_recordset_add(library, set));
  STATUS(library, kestrel_recordset_set(library, set, 0, &value), KESTREL_FAILED);
  CHECK(last_number(library) == 3421);
  STATUS(library, kestrel_recordset_set(library, set, 1, &value), KESTREL_FAILED);
  CHECK(last_number(library) == 13);
  STATUS(library, kestrel_recordset_get(library, set, 2, &value), KESTREL_FAILED);
  CHECK(last_number(library) == 9);
  STATUS(library, kestrel_recordset_column_name(library, set, 2, &text), KESTREL_FAILED);
  STATUS(library, kestrel_recordset_find(library, set, text_of("nummer"), &number), KESTREL_FAILED);
  CHECK(last_number(library) == 3265);
  STATUS(library, kestrel_recordset_row(library, set, NULL, 1), KESTREL_INVALID_ARGUMENT);
  STATUS(library, kestrel_recordset_create(library, &column, 1, &other), KESTREL_INVALID_ARGUMENT);
  STATUS(library, kestrel_recordset_create(library, NULL, 1, &other), KESTREL_INVALID_ARGUMENT);
  OK(library, kestrel_release(library, set));
  STATUS(library, kestrel_recordset_first(library, set), KESTREL_INVALID_HANDLE);
  OK(library, kestrel_library_close(library));
}

TEST(AnObjectIsNoRecordSet) {
  kestrel_library* library = open_library();
  kestrel_handle keys = 0;
  OK(library, kestrel_object_create(library, text_of("ksDoubLb.DoubletFunctions"), &keys));
  STATUS(library, kestrel_recordset_first(library, keys), KESTREL_INVALID_HANDLE);
  OK(library, kestrel_library_close(library));
}
