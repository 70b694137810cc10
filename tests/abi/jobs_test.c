#define _POSIX_C_SOURCE 200809L
#include <pthread.h>
#include <stddef.h>

#include "sample_host.h"

static kestrel_run_result empty_result(void) {
  kestrel_run_result result = {0};
  result.size = sizeof result;
  return result;
}

TEST(TheColumnsAndFirstRecordsOfASourceAreShown) {
  sample_host host = open_sample_host();
  const kestrel_handle job = open_customers(&host);
  kestrel_handle rows = 0;
  kestrel_handle unreadable = 0;
  kestrel_text row[14];
  OK(host.library, kestrel_job_columns(host.library, job, &rows));
  CHECK(row_count(host.library, rows) == 14);
  OK(host.library, kestrel_recordset_row(host.library, rows, row, 1));
  CHECK(text_is(row[0], "Nr"));
  OK(host.library, kestrel_job_preview(host.library, job, 2, &rows, &unreadable));
  CHECK(row_count(host.library, rows) == 2 && row_count(host.library, unreadable) == 0);
  OK(host.library, kestrel_recordset_next(host.library, rows));
  OK(host.library, kestrel_recordset_row(host.library, rows, row, 14));
  CHECK(text_is(row[1], "Jürgen Großmann") && text_is(row[6], "München"));
  close_sample_host(&host);
}

// How many of the findings are errors; `row` is the last of them.
static int count_errors(kestrel_library* library, kestrel_handle findings, kestrel_text* row) {
  int64_t left = row_count(library, findings);
  int errors = 0;
  OK(library, kestrel_recordset_first(library, findings));
  for (; left > 0; --left) {
    kestrel_text texts[8];
    OK(library, kestrel_recordset_row(library, findings, texts, 8));
    if (texts[0].length == 5 && memcmp(texts[0].data, "error", 5) == 0) {
      ++errors;
      memcpy(row, texts, sizeof texts);
    }
    OK(library, kestrel_recordset_next(library, findings));
  }
  return errors;
}

TEST(ACheckThatLooksAtEveryValueTellsWhatARunWouldRefuseAndStoresNothing) {
  sample_host host = open_sample_host();
  kestrel_handle job = 0;
  kestrel_handle findings = 0;
  kestrel_handle specification = 0;
  kestrel_text row[8];
  OK(host.library,
     kestrel_specification_open(host.library, text_of(scratch_file("Import/Kunden.IMP")), &specification));
  OK(host.library, kestrel_specification_set(host.library, specification, text_of("FieldAssignments"),
                                             text_of("KundenNummer"), text_of("FIELD:Ort")));
  OK(host.library, kestrel_specification_save(host.library, specification, text_of("")));
  job = open_customers(&host);
  OK(host.library, kestrel_job_check(host.library, job, KESTREL_CHECK_RECORDS, &findings));
  CHECK(count_errors(host.library, findings, row) == 0);
  OK(host.library, kestrel_job_check(host.library, job, KESTREL_CHECK_VALUES, &findings));
  CHECK(count_errors(host.library, findings, row) > 0);
  CHECK(text_is(row[2], "KundenNummer"));
  CHECK(query_number(&host, "SELECT count(*) FROM Kunden") == 0);
  close_sample_host(&host);
}

TEST(WhatIsWrongWithAnImportIsARecordSet) {
  sample_host host = open_sample_host();
  kestrel_handle job = open_customers(&host);
  kestrel_handle findings = 0;
  kestrel_handle specification = 0;
  kestrel_handle recordset = 0;
  kestrel_order order = {0};
  kestrel_text row[8];
  OK(host.library, kestrel_job_check(host.library, job, 1, &findings));
  CHECK(row_count(host.library, findings) == 1 && count_errors(host.library, findings, row) == 0);
  OK(host.library, kestrel_job_cancel(host.library, job));
  STATUS(host.library, kestrel_job_check(host.library, job, 1, &findings), KESTREL_FAILED);
  CHECK(last_number(host.library) == 5);

  OK(host.library,
     kestrel_specification_open(host.library, text_of(scratch_file("Import/Kunden.IMP")), &specification));
  OK(host.library, kestrel_specification_set(host.library, specification, text_of("FieldAssignments"),
                                             text_of("Ort"), text_of("FIELD:Wohnort")));
  OK(host.library, kestrel_specification_save(host.library, specification, text_of("")));
  job = open_customers(&host);
  OK(host.library, kestrel_job_check(host.library, job, 0, &findings));
  CHECK(count_errors(host.library, findings, row) == 1);
  CHECK(text_is(row[1], "FieldAssignments") && text_is(row[2], "Ort"));

  // The run is refused for the same reason.
  STATUS(host.library, kestrel_job_run(host.library, job, NULL, NULL, NULL), KESTREL_REFUSED);
  CHECK(last_error_has(host.library, "Wohnort"));
  OK(host.library, kestrel_refusal(host.library, &recordset));
  CHECK(count_errors(host.library, recordset, row) == 1);
  CHECK(query_number(&host, "SELECT count(*) FROM Kunden") == 0);

  order.size = sizeof order;
  order.specification = text_of("Nirgends");
  STATUS(host.library, kestrel_job_open(host.library, job, &order), KESTREL_REFUSED);
  order.specification = text_of("Kunden");
  order.host_connection = findings;
  STATUS(host.library, kestrel_job_open(host.library, job, &order), KESTREL_INVALID_HANDLE);
  order.host_connection = 0;
  order.has_application = 1;
  order.application = 100000;
  STATUS(host.library, kestrel_job_open(host.library, job, &order), KESTREL_INVALID_ARGUMENT);
  close_sample_host(&host);
}

typedef struct watcher {
  kestrel_library* library;
  kestrel_handle job;
  int progresses;
  double last_percent;
  int records;
  int64_t last_record;
  int32_t last_fate;
  size_t errors;
  int64_t last_number;
  char last_error[256];
  char cut_field[64];
  int stop_at;         // the record at which it asks for a stop by its status
  int stops_by_call;   // the same, by kestrel_job_stop
  int32_t run_status;  // of a run within the run
} watcher;

static int32_t note_progress(void* context, double percent, kestrel_text text) {
  watcher* self = context;
  ++self->progresses;
  self->last_percent = percent;
  return text.length > 0 || percent == 0 ? KESTREL_OK : KESTREL_FAILED;
}

static int32_t note_record(void* context, const kestrel_outcome* outcome) {
  watcher* self = context;
  ++self->records;
  self->last_record = outcome->record;
  self->last_fate = outcome->fate;
  self->errors += outcome->error_count;
  if (outcome->error_count > 0) {
    self->last_number = outcome->errors[0].number;
    snprintf(self->last_error, sizeof self->last_error, "%.*s|%.*s|%.*s", (int)outcome->errors[0].field.length,
             outcome->errors[0].field.data, (int)outcome->errors[0].source_column.length,
             outcome->errors[0].source_column.data, (int)outcome->errors[0].raw_value.length,
             outcome->errors[0].raw_value.data);
  }
  if (outcome->cut_field_count > 0) {
    snprintf(self->cut_field, sizeof self->cut_field, "%.*s", (int)outcome->cut_fields[0].length,
             outcome->cut_fields[0].data);
  }
  if (outcome->record == 2) self->run_status = kestrel_job_run(self->library, self->job, NULL, NULL, NULL);
  if (outcome->record != self->stop_at) return KESTREL_OK;
  if (!self->stops_by_call) return 1;
  return kestrel_job_stop(self->library, self->job);
}

static kestrel_run_view view_of(watcher* self) {
  kestrel_run_view view = {0};
  view.size = sizeof view;
  view.context = self;
  view.progress = note_progress;
  view.record = note_record;
  view.every_record = 1;
  return view;
}

static watcher watcher_of(const sample_host* host, kestrel_handle job) {
  watcher self = {0};
  self.library = host->library;
  self.job = job;
  return self;
}

TEST(ARunIsToldRecordByRecord) {
  sample_host host = open_sample_host();
  const kestrel_handle job = open_customers(&host);
  watcher self = watcher_of(&host, job);
  const kestrel_run_view view = view_of(&self);
  kestrel_run_result result = empty_result();
  OK(host.library, kestrel_job_run(host.library, job, NULL, &view, &result));
  CHECK(result.read == 6 && result.stored_new == 6 && result.total == 6 && result.errors == 0);
  CHECK(result.cut_values == 4 && result.source_state == KESTREL_SOURCE_AT_END);
  CHECK(text_is(result.message, "Der Import wurde erfolgreich fertig gestellt."));
  CHECK(result.stopped == 0 && result.cancelled == 0 && result.stop_reason.length == 0);
  CHECK(self.records == 6 && self.last_record == 6 && self.last_fate == KESTREL_STORED);
  CHECK(strcmp(self.cut_field, "Suchbegriff") == 0);
  CHECK(self.progresses >= 6 && self.last_percent == 100);
  // Within a run the job does nothing else.
  CHECK(self.run_status == KESTREL_FAILED);
  CHECK(query_number(&host, "SELECT count(*) FROM Kunden") == 6);
  CHECK(query_number(&host, "SELECT count(*) FROM Kunden WHERE Ort = 'Köln'") == 1);
  close_sample_host(&host);
}

TEST(ATestRunStoresNothing) {
  sample_host host = open_sample_host();
  const kestrel_handle job = open_customers(&host);
  kestrel_run_settings settings = {0};
  kestrel_run_result result = empty_result();
  settings.size = sizeof settings;
  settings.test = 1;
  OK(host.library, kestrel_job_run(host.library, job, &settings, NULL, &result));
  CHECK(result.read == 6 && result.checked == 6 && result.stored_new == 0);
  CHECK(query_number(&host, "SELECT count(*) FROM Kunden") == 0);
  close_sample_host(&host);
}

TEST(ACallbackStopsTheRun) {
  int by_call;
  for (by_call = 0; by_call < 2; ++by_call) {
    sample_host host = open_sample_host();
    const kestrel_handle job = open_customers(&host);
    watcher self = watcher_of(&host, job);
    const kestrel_run_view view = view_of(&self);
    kestrel_run_result result = empty_result();
    self.stop_at = 3;
    self.stops_by_call = by_call;
    OK(host.library,
       kestrel_connection_execute(host.library, host.connection, text_of("DELETE FROM Kunden"), NULL, 0, NULL));
    OK(host.library, kestrel_job_run(host.library, job, NULL, &view, &result));
    CHECK(result.stopped == 1 && result.read == 3 && result.next_record == 4);
    CHECK(query_number(&host, "SELECT count(*) FROM Kunden") == result.stored_new);
    close_sample_host(&host);
  }
}

static void* ask_to_stop(void* library) {
  static int32_t asked;
  asked = -1;
  if (kestrel_run_stop(library, &asked) != KESTREL_OK) asked = -2;
  return &asked;
}

// The thread is joined within the third record, so that the stop has been asked for before the next one.
static int32_t stop_from_elsewhere(void* context, const kestrel_outcome* outcome) {
  pthread_t thread;
  void* asked = NULL;
  if (outcome->record != 3) return KESTREL_OK;
  CHECK(pthread_create(&thread, NULL, ask_to_stop, context) == 0 && pthread_join(thread, &asked) == 0);
  CHECK(*(int32_t*)asked == 1);
  return KESTREL_OK;
}

TEST(AnotherThreadStopsTheRun) {
  sample_host host = open_sample_host();
  kestrel_handle job = open_customers(&host);
  kestrel_run_view view = {0};
  kestrel_run_result result = empty_result();
  int32_t asked = -1;
  view.size = sizeof view;
  view.context = host.library;
  view.record = stop_from_elsewhere;
  view.every_record = 1;
  OK(host.library, kestrel_run_stop(host.library, &asked));
  CHECK(asked == 0);
  OK(host.library, kestrel_job_run(host.library, job, NULL, &view, &result));
  CHECK(result.stopped == 1 && result.read == 3 && result.next_record == 4);
  // It was meant for that run only.
  CHECK(kestrel_run_stop(host.library, NULL) == KESTREL_OK);
  job = open_customers(&host);
  view.record = NULL;
  OK(host.library, kestrel_job_run(host.library, job, NULL, &view, &result));
  CHECK(result.stopped == 0 && result.read == 6);
  CHECK(kestrel_run_stop(NULL, &asked) == KESTREL_INVALID_HANDLE);
  close_sample_host(&host);
  CHECK(kestrel_run_stop(host.library, &asked) == KESTREL_INVALID_HANDLE);
}

static int32_t stop_undo_from_elsewhere(void* context, int64_t done, int64_t total) {
  pthread_t thread;
  (void)done;
  (void)total;
  CHECK(pthread_create(&thread, NULL, ask_to_stop, context) == 0 && pthread_join(thread, NULL) == 0);
  return KESTREL_OK;
}

TEST(AnotherThreadStopsAnUndo) {
  sample_host host = open_sample_host();
  const kestrel_handle job = open_customers(&host);
  kestrel_undo_settings settings = {0};
  kestrel_undo_result result = {0};
  OK(host.library, kestrel_job_run(host.library, job, NULL, NULL, NULL));
  settings.size = sizeof settings;
  settings.run = 1;
  settings.context = host.library;
  settings.progress = stop_undo_from_elsewhere;
  result.size = sizeof result;
  OK(host.library, kestrel_undo(host.library, host.connection, &settings, &result, NULL));
  CHECK(result.complete == 0);
  settings.progress = NULL;
  OK(host.library, kestrel_undo(host.library, host.connection, &settings, &result, NULL));
  CHECK(result.complete == 1 && query_number(&host, "SELECT count(*) FROM Kunden") == 0);
  close_sample_host(&host);
}

TEST(ErrorsAreToldWithFieldColumnAndValueAndRejectsAreKept) {
  sample_host host = open_sample_host();
  kestrel_handle job = open_customers(&host);
  watcher self = watcher_of(&host, job);
  kestrel_run_view view = view_of(&self);
  kestrel_run_settings settings = {0};
  kestrel_run_result result = empty_result();
  const char* const rejects = scratch_file("abgewiesen.txt");
  kestrel_order order = {0};
  char line[512] = "";
  FILE* file;
  write_file(
      scratch_file("kunden.txt"),
      "Nr;Name;Zusatz;Strasse;Land;PLZ;Ort;Telefon;E-Mail;Gruppe;Kunde seit;Umsatz;Mitarbeiter;Bemerkung\r\n"
      "1;Haas;;;D;1;Ulm;;;B;01.04.2019;1;1;\r\n"
      "1;Heinrich;;;D;1;Ulm;;;B;01.04.2019;viel;1;\r\n");
  order.size = sizeof order;
  order.specification = text_of("Kunden");
  order.source_file = text_of(scratch_file("kunden.txt"));
  order.host_connection = host.connection;
  OK(host.library, kestrel_job_open(host.library, job, &order));
  settings.size = sizeof settings;
  settings.keep_rejects = 1;
  view.every_record = 0;
  OK(host.library, kestrel_job_run(host.library, job, &settings, &view, &result));
  CHECK(result.read == 2 && result.stored_new == 1 && result.rejected == 1 && result.rejects == 1);
  CHECK(self.records == 1 && self.last_record == 2 && self.last_fate == KESTREL_REJECTED);
  CHECK(self.errors == 2 && strcmp(self.last_error, "Umsatz|Umsatz|viel") == 0);
  OK(host.library, kestrel_job_save_rejects(host.library, job, text_of(rejects)));
  file = fopen(rejects, "rb");
  CHECK(file != NULL && fgets(line, sizeof line, file) != NULL && strstr(line, ";Grund;Datensatz") != NULL);
  CHECK(fgets(line, sizeof line, file) != NULL && strstr(line, "Heinrich") != NULL);
  fclose(file);
  STATUS(host.library, kestrel_job_save_rejects(host.library, job, order.source_file), KESTREL_FAILED);
  CHECK(last_number(host.library) == 70);
  close_sample_host(&host);
}

TEST(AProgramOfAnEarlierHeaderGetsTheMembersThatItHas) {
  sample_host host = open_sample_host();
  const kestrel_handle job = open_customers(&host);
  kestrel_run_result result = empty_result();
  kestrel_undo_settings settings = {0};
  kestrel_undo_result undone = {0};
  result.size = offsetof(kestrel_run_result, run_number);  // as in version 1
  result.run_number = 77;                                  // what stands behind the struct there
  OK(host.library, kestrel_job_run(host.library, job, NULL, NULL, &result));
  CHECK(result.size == offsetof(kestrel_run_result, run_number));
  CHECK(result.read == 6 && result.rejects_error.length == 0 && result.run_number == 77);
  settings.size = sizeof settings;
  undone.size = sizeof undone;
  settings.run = 1;
  OK(host.library, kestrel_undo(host.library, host.connection, &settings, &undone, NULL));
  // One of this header has the number that takes it back.
  result = empty_result();
  OK(host.library, kestrel_job_run(host.library, open_customers(&host), NULL, NULL, &result));
  CHECK(result.run_number == 2);
  settings.run = result.run_number;
  OK(host.library, kestrel_undo(host.library, host.connection, &settings, &undone, NULL));
  CHECK(undone.complete == 1 && query_number(&host, "SELECT count(*) FROM Kunden") == 0);
  close_sample_host(&host);
}

TEST(AResultOfAnotherSizeIsToldBeforeAnythingIsStored) {
  sample_host host = open_sample_host();
  const kestrel_handle job = open_customers(&host);
  kestrel_run_result result = empty_result();
  kestrel_run_settings settings = {0};
  result.size = 4;
  STATUS(host.library, kestrel_job_run(host.library, job, NULL, NULL, &result), KESTREL_WRONG_SIZE);
  result.size = offsetof(kestrel_run_result, run_number) - 1;
  STATUS(host.library, kestrel_job_run(host.library, job, NULL, NULL, &result), KESTREL_WRONG_SIZE);
  STATUS(host.library, kestrel_job_run(host.library, job, &settings, NULL, NULL), KESTREL_WRONG_SIZE);
  settings.size = sizeof settings;
  settings.from = -1;
  STATUS(host.library, kestrel_job_run(host.library, job, &settings, NULL, NULL), KESTREL_INVALID_ARGUMENT);
  STATUS(host.library, kestrel_job_run(host.library, host.connection, NULL, NULL, NULL),
         KESTREL_INVALID_HANDLE);
  CHECK(query_number(&host, "SELECT count(*) FROM Kunden") == 0);
  close_sample_host(&host);
}

static int32_t count_parts(void* context, int64_t done, int64_t total) {
  *(int*)context += done <= total ? 1 : 1000;
  return KESTREL_OK;
}

TEST(AnImportIsListedAndTakenBack) {
  sample_host host = open_sample_host();
  const kestrel_handle job = open_customers(&host);
  kestrel_undo_settings settings = {0};
  kestrel_undo_result result = {0};
  kestrel_handle rows = 0;
  kestrel_text number;
  int parts = 0;
  OK(host.library, kestrel_job_run(host.library, job, NULL, NULL, NULL));
  OK(host.library, kestrel_runs(host.library, host.connection, text_of(""), &rows));
  CHECK(row_count(host.library, rows) != 0);
  OK(host.library, kestrel_recordset_row(host.library, rows, &number, 1));
  CHECK(text_is(number, "1"));
  OK(host.library, kestrel_connection_execute(
                       host.library, host.connection,
                       text_of("UPDATE Kunden SET Ort = 'Bonn' WHERE KundenNummer = 1001"), NULL, 0, NULL));
  settings.size = sizeof settings;
  result.size = sizeof result;
  settings.run = 1;
  settings.dry_run = 1;
  settings.context = &parts;
  settings.progress = count_parts;
  OK(host.library, kestrel_undo(host.library, host.connection, &settings, &result, &rows));
  CHECK(result.complete == 1 && result.removed == 5 && row_count(host.library, rows) == 1);
  CHECK(query_number(&host, "SELECT count(*) FROM Kunden") == 6);
  settings.dry_run = 0;
  settings.take_changes = 1;
  OK(host.library, kestrel_undo(host.library, host.connection, &settings, &result, NULL));
  CHECK(result.complete == 1 && result.removed == 6 && result.restored == 0);
  CHECK(parts > 0 && parts < 1000);
  CHECK(query_number(&host, "SELECT count(*) FROM Kunden") == 0);
  settings.run = 99;
  STATUS(host.library, kestrel_undo(host.library, host.connection, &settings, &result, NULL), KESTREL_FAILED);
  CHECK(last_number(host.library) == 5);
  settings.ledger = text_of("no.ledger");
  STATUS(host.library, kestrel_undo(host.library, host.connection, &settings, &result, NULL), KESTREL_FAILED);
  CHECK(last_number(host.library) == 429);
  close_sample_host(&host);
}

TEST(AJobThatIsGivenBackLeavesNoWorkingCopy) {
  sample_host host = open_sample_host();
  const kestrel_handle job = open_customers(&host);
  kestrel_handle rows = 0;
  OK(host.library, kestrel_release(host.library, job));
  STATUS(host.library, kestrel_job_columns(host.library, job, &rows), KESTREL_INVALID_HANDLE);
  OK(host.library, kestrel_specification_list(host.library, text_of(""), 0, &rows));
  CHECK(row_count(host.library, rows) == 1);
  close_sample_host(&host);
}

// What a callback of a job may do with it.
typedef struct intruder {
  kestrel_library* library;
  kestrel_handle job;
  kestrel_handle connection;
  int32_t calls_refused;
} intruder;

static void intrude(intruder* context) {
  kestrel_handle rows = 0;
  kestrel_order order = {0};
  order.size = sizeof order;
  order.specification = text_of("Kunden");
  order.host_connection = context->connection;
  context->calls_refused += kestrel_job_open(context->library, context->job, &order) == KESTREL_FAILED;
  context->calls_refused += kestrel_job_check(context->library, context->job, 1, &rows) == KESTREL_FAILED;
  context->calls_refused += kestrel_job_columns(context->library, context->job, &rows) == KESTREL_FAILED;
  context->calls_refused +=
      kestrel_job_preview(context->library, context->job, 1, &rows, NULL) == KESTREL_FAILED;
  context->calls_refused += kestrel_job_run(context->library, context->job, NULL, NULL, NULL) == KESTREL_FAILED;
  context->calls_refused +=
      kestrel_job_save_rejects(context->library, context->job, text_of("x")) == KESTREL_FAILED;
  CHECK(last_number(context->library) == 5);
}

static int32_t intrude_once(void* context, double percent, kestrel_text text) {
  (void)percent;
  (void)text;
  if (((intruder*)context)->calls_refused == 0) intrude(context);
  return KESTREL_OK;
}

TEST(ARunIsLeftAloneByItsOwnCallbacks) {
  sample_host host = open_sample_host();
  intruder context = {host.library, open_customers(&host), host.connection, 0};
  kestrel_run_result result = empty_result();
  kestrel_run_view view = {0};
  view.size = sizeof view;
  view.context = &context;
  view.progress = intrude_once;
  OK(host.library, kestrel_job_run(host.library, context.job, NULL, &view, &result));
  CHECK(context.calls_refused == 6);
  CHECK(result.read == 6 && result.stored_new == 6 && result.errors == 0);
  close_sample_host(&host);
}

static int32_t no_rows(void* context, kestrel_library* library, kestrel_text* row, size_t column_count,
                       int32_t* at_end) {
  (void)library;
  (void)row;
  (void)column_count;
  intrude(context);
  *at_end = 1;
  return KESTREL_OK;
}

static int32_t open_intruding(void* context, kestrel_library* library, kestrel_text database,
                              kestrel_text table, kestrel_handle* recordset) {
  const kestrel_text column = text_of("Name");
  kestrel_stream stream = {0};
  (void)database;
  (void)table;
  stream.size = sizeof stream;
  stream.context = context;
  stream.next = no_rows;
  // Nor can it be ended under the call that works with it.
  CHECK(kestrel_job_cancel(library, ((intruder*)context)->job) == KESTREL_FAILED);
  return kestrel_recordset_stream(library, &column, 1, &stream, recordset);
}

TEST(ASourceThatIsReadDoesNotEndItsImport) {
  sample_host host = open_sample_host();
  intruder context = {host.library, 0, host.connection, 0};
  kestrel_handle findings = 0;
  kestrel_order order = {0};
  kestrel_source source = {0};
  source.size = sizeof source;
  source.name = text_of("Eindringling");
  source.context = &context;
  source.open = open_intruding;
  OK(host.library, kestrel_source_register(host.library, &source));
  write_file(scratch_file("Import/Fremd.IMP"),
             "[Common]\r\nDescription=Fremd\r\nImportClass=ksbimport.importkunden\r\nProvider=Eindringling\r\n"
             "[FieldAssignments]\r\nBez1=FIELD:Name\r\n");
  order.size = sizeof order;
  order.specification = text_of("Fremd");
  order.host_connection = host.connection;
  OK(host.library, kestrel_job_create(host.library, &context.job));
  OK(host.library, kestrel_job_open(host.library, context.job, &order));
  OK(host.library, kestrel_job_check(host.library, context.job, 1, &findings));
  CHECK(context.calls_refused > 0);
  OK(host.library, kestrel_job_cancel(host.library, context.job));
  close_sample_host(&host);
}
