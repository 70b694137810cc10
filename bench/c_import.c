// c_import HOST SPECIFICATION: a test run over the C interface that nobody watches record by record. bench/hosts.py
// compares it with the command line's.
#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include "kestrel/kestrel.h"

static kestrel_text text_of(const char* text) {
  kestrel_text result;
  result.data = text;
  result.length = strlen(text);
  return result;
}

static int32_t show(void* context, double percent, kestrel_text text) {
  (void)context;
  (void)percent;
  (void)text;
  return KESTREL_OK;
}

static int32_t count(void* context, const kestrel_outcome* outcome) {
  *(int64_t*)context += outcome->error_count > 0 ? 1 : 0;
  return KESTREL_OK;
}

int main(int argument_count, char** arguments) {
  kestrel_library* library = NULL;
  kestrel_handle connection = 0;
  kestrel_handle job = 0;
  kestrel_order order = {0};
  kestrel_run_settings settings = {0};
  kestrel_run_view view = {0};
  kestrel_run_result result = {0};
  int64_t with_errors = 0;
  char database[4096];
  if (argument_count != 3) return 2;
  snprintf(database, sizeof database, "%s/kestrel.db", arguments[1]);
  order.size = sizeof order;
  order.specification = text_of(arguments[2]);
  settings.size = sizeof settings;
  settings.test = 1;
  view.size = sizeof view;
  view.context = &with_errors;
  view.progress = show;
  view.record = count;
  result.size = sizeof result;
  if (kestrel_library_open(NULL, &library) != KESTREL_OK ||
      kestrel_option_set(library, text_of("home"), text_of(arguments[1])) != KESTREL_OK ||
      kestrel_connection_open(library, text_of(database), &connection) != KESTREL_OK)
    return 4;
  order.host_connection = connection;
  if (kestrel_job_create(library, &job) != KESTREL_OK || kestrel_job_open(library, job, &order) != KESTREL_OK ||
      kestrel_job_run(library, job, &settings, &view, &result) != KESTREL_OK)
    return 4;
  printf("%" PRId64 "\n", result.read);
  return kestrel_library_close(library);
}
