// An import class and a source in C, and who is told of their run.
#include <stdlib.h>

#include "sample_host.h"

typedef struct address_book {
  kestrel_handle record;
  char lines[4][128];
  int count;
  int error;
  int asked;
  int before;
  int after;
} address_book;

static const kestrel_column kFieldColumns[] = {
    {sizeof(kestrel_column), KESTREL_TEXT_INIT("FieldName"), KESTREL_STRING, 0, 0},
    {sizeof(kestrel_column), KESTREL_TEXT_INIT("Obligation"), KESTREL_BOOLEAN, 0, 0},
    {sizeof(kestrel_column), KESTREL_TEXT_INIT("RowSourceTyp"), KESTREL_INTEGER, 0, 0},
    {sizeof(kestrel_column), KESTREL_TEXT_INIT("RowSource"), KESTREL_STRING, 0, 0},
    {sizeof(kestrel_column), KESTREL_TEXT_INIT("Size"), KESTREL_INTEGER, 0, 0},
    {sizeof(kestrel_column), KESTREL_TEXT_INIT("FieldTyp"), KESTREL_STRING, 0, 0},
    {sizeof(kestrel_column), KESTREL_TEXT_INIT("DateField"), KESTREL_BOOLEAN, 0, 0},
};
static const kestrel_column kRecordColumns[] = {
    {sizeof(kestrel_column), KESTREL_TEXT_INIT("Name"), KESTREL_STRING, 0, 0},
    {sizeof(kestrel_column), KESTREL_TEXT_INIT("Ort"), KESTREL_STRING, 0, 0},
};

static int32_t return_object(const kestrel_call* call, kestrel_handle object) {
  const kestrel_value value = object_value(object);
  return kestrel_call_return(call->library, &value);
}

static int32_t get_fields(void* instance, const kestrel_call* call) {
  const char* const names[] = {"Name", "Ort"};
  kestrel_handle fields = 0;
  int32_t status;
  size_t i;
  (void)instance;
  OK(call->library, kestrel_recordset_create(call->library, kFieldColumns, 7, &fields));
  for (i = 0; i < 2; ++i) {
    kestrel_value value = text_value(names[i]);
    kestrel_value flag = value_of(KESTREL_BOOLEAN);
    OK(call->library, kestrel_recordset_add(call->library, fields));
    OK(call->library, kestrel_recordset_set(call->library, fields, 0, &value));
    OK(call->library, kestrel_recordset_set(call->library, fields, 6, &flag));
    flag.as.boolean = i == 0;
    OK(call->library, kestrel_recordset_set(call->library, fields, 1, &flag));
    value = integer_value(0);
    OK(call->library, kestrel_recordset_set(call->library, fields, 2, &value));
    value = integer_value(20);
    OK(call->library, kestrel_recordset_set(call->library, fields, 4, &value));
    value = text_value("VARCHAR");
    OK(call->library, kestrel_recordset_set(call->library, fields, 5, &value));
  }
  OK(call->library, kestrel_recordset_first(call->library, fields));
  status = return_object(call, fields);
  OK(call->library, kestrel_release(call->library, fields));
  return status;
}

static int32_t before_import(void* instance, const kestrel_call* call) {
  address_book* self = instance;
  ++self->before;
  if (self->record == 0)
    OK(call->library, kestrel_recordset_create(call->library, kRecordColumns, 2, &self->record));
  return KESTREL_OK;
}

static int32_t get_new_record(void* instance, const kestrel_call* call) {
  address_book* self = instance;
  int64_t count = 0;
  OK(call->library, kestrel_recordset_count(call->library, self->record, &count));
  OK(call->library, count == 0 ? kestrel_recordset_add(call->library, self->record)
                               : kestrel_recordset_clear(call->library, self->record));
  return return_object(call, self->record);
}

static int32_t import_record(void* instance, const kestrel_call* call) {
  address_book* self = instance;
  kestrel_text row[2];
  CHECK(call->argument_count == 1 && call->arguments[0].kind == KESTREL_OBJECT);
  OK(call->library, kestrel_recordset_row(call->library, call->arguments[0].as.object, row, 2));
  self->error = row[1].length == 0 ? 4711 : 0;
  if (self->error == 0) {
    snprintf(self->lines[self->count++], sizeof self->lines[0], "%.*s, %.*s", (int)row[0].length, row[0].data,
             (int)row[1].length, row[1].data);
  }
  return KESTREL_OK;
}

static int32_t after_import(void* instance, const kestrel_call* call) {
  (void)call;
  ++((address_book*)instance)->after;
  return KESTREL_OK;
}

static int32_t take(void* instance, const kestrel_call* call) {
  (void)instance;
  CHECK(call->argument_count == 1);
  return KESTREL_OK;
}

static int32_t error_code(void* instance, const kestrel_call* call) {
  const kestrel_value code = integer_value(((address_book*)instance)->error);
  return kestrel_call_return(call->library, &code);
}

static int32_t error_description(void* instance, const kestrel_call* call) {
  const kestrel_value text = text_value("Der Ort fehlt");
  (void)instance;
  return kestrel_call_return(call->library, &text);
}

static const kestrel_member kAddressBookMembers[] = {
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("Connection"), KESTREL_SET, 0, take},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("PersonalNr"), KESTREL_LET, 0, take},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("Application"), KESTREL_LET, 0, take},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("SpecificationFile"), KESTREL_LET, 0, take},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("GetFields"), KESTREL_METHOD, 0, get_fields},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("BeforeImport"), KESTREL_METHOD, 0, before_import},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("GetNewRecord"), KESTREL_METHOD, 0, get_new_record},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("ImportRecord"), KESTREL_METHOD, 0, import_record},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("AfterImport"), KESTREL_METHOD, 0, after_import},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("ErrorCode"), KESTREL_GET, 0, error_code},
    {sizeof(kestrel_member), KESTREL_TEXT_INIT("ErrorDescription"), KESTREL_GET, 0, error_description},
};

static kestrel_handle open_address_book(kestrel_library* library, address_book* self) {
  kestrel_component component = {0};
  kestrel_order order = {0};
  kestrel_handle job = 0;
  component.size = sizeof component;
  component.identifier = text_of("test.addressbook");
  component.members = kAddressBookMembers;
  component.member_count = sizeof kAddressBookMembers / sizeof kAddressBookMembers[0];
  component.context = self;
  OK(library, kestrel_component_register(library, &component));
  write_file(scratch_file("book.IMP"),
             "[Common]\r\nDescription=Buch\r\nImportClass=test.addressbook\r\nFileName=\r\nDelimiter=;\r\n"
             "[FieldAssignments]\r\nName=FIELD:Name\r\nOrt=FIELD:Ort\r\n");
  write_file(scratch_file("book.txt"), "Name;Ort\r\nCafé;Köln\r\nNirgendwo;\r\nHaas;Ulm\r\n");
  order.size = sizeof order;
  order.specification = text_of(scratch_file("book.IMP"));
  order.source_file = text_of(scratch_file("book.txt"));
  OK(library, kestrel_job_create(library, &job));
  OK(library, kestrel_job_open(library, job, &order));
  return job;
}

static int32_t note_box(void* context, kestrel_library* library, const kestrel_question* question,
                        int32_t* answer) {
  address_book* self = context;
  (void)library;
  ++self->asked;
  CHECK(question->kind == KESTREL_TELL && question->text.length > 0 && question->title.length > 0);
  *answer = 1;
  return KESTREL_OK;
}

TEST(AnImportClassInCTakesTheRecordsOfARun) {
  kestrel_library* library = open_library();
  address_book book = {0};
  const kestrel_handle job = open_address_book(library, &book);
  kestrel_user_interface boxes = {0};
  kestrel_run_result result = {0};
  boxes.size = sizeof boxes;
  boxes.context = &book;
  boxes.ask = note_box;
  result.size = sizeof result;
  OK(library, kestrel_user_interface_set(library, &boxes));
  OK(library, kestrel_job_run(library, job, NULL, NULL, &result));
  CHECK(result.read == 3 && result.stored_new == 2 && result.rejected == 1 && result.errors > 0);
  CHECK(book.count == 2 && strcmp(book.lines[0], "Café, Köln") == 0 && strcmp(book.lines[1], "Haas, Ulm") == 0);
  CHECK(book.before == 1 && book.after == 1);
  // At least the closing box.
  CHECK(book.asked > 0);
  OK(library, kestrel_library_close(library));
}

TEST(NobodyIsAskedWithoutAUserInterface) {
  kestrel_library* library = open_library();
  address_book book = {0};
  const kestrel_handle job = open_address_book(library, &book);
  kestrel_user_interface boxes = {0};
  boxes.size = sizeof boxes;
  boxes.context = &book;
  boxes.ask = note_box;
  OK(library, kestrel_user_interface_set(library, &boxes));
  OK(library, kestrel_user_interface_set(library, NULL));
  OK(library, kestrel_job_run(library, job, NULL, NULL, NULL));
  CHECK(book.asked == 0 && book.count == 2);
  STATUS(library, kestrel_answer(library, text_of("x")), KESTREL_FAILED);
  CHECK(last_number(library) == 5);
  OK(library, kestrel_library_close(library));
}

// --- A source of names and numbers ---

typedef struct numbers {
  int first;
  int count;
  int breaks_at;  // 0: nowhere
  int opened;
  int closed;
  int has_rewind;
  char place[32];
} numbers;

typedef struct cursor {
  numbers* of;
  int at;
  char name[32];
} cursor;

static int32_t next_number(void* context, kestrel_library* library, kestrel_text* row, size_t column_count,
                           int32_t* at_end) {
  cursor* self = context;
  CHECK(column_count == 3);
  if (++self->at > self->of->count) {
    *at_end = 1;
    return KESTREL_OK;
  }
  if (self->at == self->of->breaks_at) {
    kestrel_handle none = 0;
    return kestrel_object_create(library, text_of("no.server"), &none);
  }
  snprintf(self->name, sizeof self->name, "Nr. %d", self->at);
  row[0] = text_of(self->name);
  row[1] = text_of("Köln");
  return KESTREL_OK;
}

static int32_t rewind_numbers(void* context, kestrel_library* library) {
  (void)library;
  ((cursor*)context)->at = 0;
  return KESTREL_OK;
}

static void close_numbers(void* context) {
  ++((cursor*)context)->of->closed;
  free(context);
}

static int32_t open_numbers(void* context, kestrel_library* library, kestrel_text database, kestrel_text table,
                            kestrel_handle* recordset) {
  const kestrel_text columns[] = {KESTREL_TEXT("Name"), KESTREL_TEXT("Ort"), KESTREL_TEXT("Leer")};
  numbers* self = context;
  kestrel_stream stream = {0};
  cursor* made = calloc(1, sizeof *made);
  ++self->opened;
  snprintf(self->place, sizeof self->place, "%.*s/%.*s", (int)database.length, database.data, (int)table.length,
           table.data);
  made->of = self;
  stream.size = sizeof stream;
  stream.context = made;
  stream.next = next_number;
  stream.rewind = self->has_rewind ? rewind_numbers : NULL;
  stream.close = close_numbers;
  return kestrel_recordset_stream(library, columns, 3, &stream, recordset);
}

static kestrel_handle open_numbers_job(kestrel_library* library, numbers* self, address_book* book) {
  kestrel_source source = {0};
  kestrel_order order = {0};
  kestrel_handle job = open_address_book(library, book);
  source.size = sizeof source;
  source.name = text_of("Zahlen");
  source.context = self;
  source.open = open_numbers;
  OK(library, kestrel_source_register(library, &source));
  write_file(scratch_file("numbers.IMP"),
             "[Common]\r\nDescription=Zahlen\r\nImportClass=test.addressbook\r\nProvider=Zahlen\r\n"
             "Database=eins\r\nTable=zwei\r\n[FieldAssignments]\r\nName=FIELD:Name\r\nOrt=FIELD:Ort\r\n");
  order.size = sizeof order;
  order.specification = text_of(scratch_file("numbers.IMP"));
  OK(library, kestrel_job_open(library, job, &order));
  return job;
}

TEST(ASourceInCIsShownAndImported) {
  kestrel_library* library = open_library();
  address_book book = {0};
  numbers source = {0};
  kestrel_run_result result = {0};
  kestrel_handle rows = 0;
  kestrel_text row[3];
  kestrel_handle job = 0;
  source.count = 3;
  job = open_numbers_job(library, &source, &book);
  OK(library, kestrel_job_columns(library, job, &rows));
  CHECK(row_count(library, rows) == 3);
  CHECK(strcmp(source.place, "eins/zwei") == 0);
  OK(library, kestrel_job_preview(library, job, 2, &rows, NULL));
  OK(library, kestrel_recordset_next(library, rows));
  OK(library, kestrel_recordset_row(library, rows, row, 3));
  CHECK(text_is(row[0], "Nr. 2") && text_is(row[2], ""));
  result.size = sizeof result;
  OK(library, kestrel_job_run(library, job, NULL, NULL, &result));
  CHECK(result.read == 3 && result.stored_new == 3 && result.source_state == KESTREL_SOURCE_AT_END);
  CHECK(book.count == 3 && strcmp(book.lines[2], "Nr. 3, Köln") == 0);
  OK(library, kestrel_library_close(library));
  CHECK(source.opened > 0 && source.closed == source.opened);
}

TEST(ASourceInCThatFailsIsBrokenOff) {
  kestrel_library* library = open_library();
  address_book book = {0};
  numbers source = {0};
  kestrel_run_result result = {0};
  kestrel_handle job = 0;
  source.count = 4;
  source.breaks_at = 3;
  job = open_numbers_job(library, &source, &book);
  result.size = sizeof result;
  OK(library, kestrel_job_run(library, job, NULL, NULL, &result));
  CHECK(result.read == 2 && result.stored_new == 2 && result.errors > 0);
  CHECK(result.source_state == KESTREL_SOURCE_BROKEN_OFF);
  CHECK(strstr(result.source_error.data, "no.server") != NULL);
  OK(library, kestrel_library_close(library));
}

TEST(AStreamIsReadOnceUnlessItCanBeginAnew) {
  int has_rewind;
  for (has_rewind = 0; has_rewind < 2; ++has_rewind) {
    kestrel_library* library = open_library();
    numbers source = {0};
    kestrel_handle rows = 0;
    kestrel_text row[3];
    int32_t at_end = 0;
    source.count = 2;
    source.has_rewind = has_rewind;
    OK(library, open_numbers(&source, library, text_of(""), text_of(""), &rows));
    // It stands at its first row.
    OK(library, kestrel_recordset_first(library, rows));
    OK(library, kestrel_recordset_next(library, rows));
    OK(library, kestrel_recordset_row(library, rows, row, 3));
    CHECK(text_is(row[0], "Nr. 2") && row[2].data == NULL);
    OK(library, kestrel_recordset_next(library, rows));
    OK(library, kestrel_recordset_at_end(library, rows, &at_end));
    CHECK(at_end == 1);
    STATUS(library, kestrel_recordset_next(library, rows), KESTREL_FAILED);
    CHECK(last_number(library) == 3021);
    STATUS(library, kestrel_recordset_first(library, rows), has_rewind ? KESTREL_OK : KESTREL_FAILED);
    OK(library, kestrel_recordset_at_end(library, rows, &at_end));
    CHECK(at_end == !has_rewind);
    OK(library, kestrel_release(library, rows));
    CHECK(source.closed == 1);
    OK(library, kestrel_library_close(library));
  }
}

TEST(AKindOfSourceIsRegisteredOnce) {
  kestrel_library* library = open_library();
  kestrel_source source = {0};
  kestrel_stream stream = {0};
  kestrel_handle rows = 0;
  source.size = sizeof source;
  source.name = text_of("Textdatei");
  STATUS(library, kestrel_source_register(library, &source), KESTREL_INVALID_ARGUMENT);
  source.open = open_numbers;
  STATUS(library, kestrel_source_register(library, &source), KESTREL_FAILED);
  CHECK(last_number(library) == 5);
  stream.size = sizeof stream;
  STATUS(library, kestrel_recordset_stream(library, NULL, 0, &stream, &rows), KESTREL_INVALID_ARGUMENT);
  OK(library, kestrel_library_close(library));
}
