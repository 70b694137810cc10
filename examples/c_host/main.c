// c_host FOLDER: makes a sample host in the folder, imports its customers and takes them back, all in C.
#include <inttypes.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <kestrel/kestrel.h>

static kestrel_text text_of(const char* text) {
  kestrel_text result;
  result.data = text;
  result.length = strlen(text);
  return result;
}

static void print_text(kestrel_text text) {
  fwrite(text.data == NULL ? "" : text.data, 1, text.length, stdout);
}

// Ends the program where a call has failed, with its reason.
static void require(kestrel_library* library, int32_t status) {
  kestrel_error error = {0};
  if (status == KESTREL_OK) return;
  error.size = sizeof error;
  if (kestrel_last_error(library, &error) == KESTREL_OK && error.status == status) {
    fprintf(stderr, "c_host: %.*s\n", (int)error.description.length, error.description.data);
  } else {
    fprintf(stderr, "c_host: %s\n", kestrel_status_text(status));
  }
  kestrel_library_close(library);
  exit(1);
}

// The sample host's own set-up, called by name. Returns the connection to its database.
static kestrel_handle make_host(kestrel_library* library, const char* folder) {
  kestrel_value argument = {0};
  kestrel_value connection_string = {0};
  kestrel_handle setup = 0;
  kestrel_handle connection = 0;
  argument.size = connection_string.size = sizeof argument;
  argument.kind = KESTREL_STRING;
  argument.as.text = text_of(folder);
  require(library, kestrel_object_create(library, KESTREL_TEXT("kestrelhost.Setup"), &setup));
  require(library, kestrel_object_call(library, setup, KESTREL_TEXT("CreateSampleHost"), KESTREL_METHOD,
                                       &argument, 1, &connection_string));
  require(library, kestrel_connection_open(library, connection_string.as.text, &connection));
  require(library, kestrel_release(library, setup));
  return connection;
}

// Of every record; a status other than KESTREL_OK would stop the run.
static int32_t print_record(void* context, const kestrel_outcome* outcome) {
  (void)context;
  printf("Datensatz %" PRId64 ": %s\n", outcome->record,
         outcome->fate == KESTREL_STORED ? "gespeichert" : "nicht gespeichert");
  return KESTREL_OK;
}

static void import_customers(kestrel_library* library, kestrel_handle connection) {
  kestrel_handle job = 0;
  kestrel_order order = {0};
  kestrel_run_view view = {0};
  kestrel_run_result result = {0};
  order.size = sizeof order;
  order.specification = text_of("Kunden");
  order.host_connection = connection;
  view.size = sizeof view;
  view.record = print_record;
  view.every_record = 1;
  result.size = sizeof result;
  require(library, kestrel_job_create(library, &job));
  require(library, kestrel_job_open(library, job, &order));
  require(library, kestrel_job_run(library, job, NULL, &view, &result));
  print_text(result.message);
  printf(" %" PRId64 " neu, %" PRId64 " Fehler\n", result.stored_new, result.errors);
  require(library, kestrel_release(library, job));
}

static void print_customers(kestrel_library* library, kestrel_handle connection) {
  kestrel_handle rows = 0;
  int32_t at_end = 0;
  require(library,
          kestrel_connection_query(library, connection, KESTREL_TEXT("SELECT Bez1, Ort FROM Kunden ORDER BY 1"),
                                   NULL, 0, &rows));
  while (kestrel_recordset_at_end(library, rows, &at_end) == KESTREL_OK && !at_end) {
    kestrel_text row[2];
    require(library, kestrel_recordset_row(library, rows, row, 2));
    print_text(row[0]);
    printf(", ");
    print_text(row[1]);
    printf("\n");
    require(library, kestrel_recordset_next(library, rows));
  }
  require(library, kestrel_release(library, rows));
}

static void take_back(kestrel_library* library, kestrel_handle connection) {
  kestrel_undo_settings settings = {0};
  kestrel_undo_result result = {0};
  settings.size = sizeof settings;
  settings.run = 1;
  result.size = sizeof result;
  require(library, kestrel_undo(library, connection, &settings, &result, NULL));
  printf("%" PRId64 " Adressen gelöscht\n", result.removed);
}

int main(int count, char** arguments) {
  kestrel_library* library = NULL;
  kestrel_handle connection = 0;
  if (count != 2) {
    fprintf(stderr, "usage: c_host FOLDER\n");
    return 2;
  }
  require(library, kestrel_library_open(NULL, &library));
  require(library, kestrel_option_set(library, KESTREL_TEXT("home"), text_of(arguments[1])));
  connection = make_host(library, arguments[1]);
  import_customers(library, connection);
  print_customers(library, connection);
  take_back(library, connection);
  require(library, kestrel_library_close(library));
  return 0;
}
