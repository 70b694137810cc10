#include "sample_host.h"

sample_host open_sample_host(void) {
  sample_host host = {NULL, 0};
  kestrel_handle setup = 0;
  kestrel_value folder = text_value(scratch_folder());
  kestrel_value connection_string = value_of(KESTREL_UNSET);
  host.library = open_library();
  OK(host.library, kestrel_object_create(host.library, text_of("kestrelhost.Setup"), &setup));
  OK(host.library, kestrel_object_call(host.library, setup, text_of("CreateSampleHost"), KESTREL_METHOD,
                                       &folder, 1, &connection_string));
  OK(host.library, kestrel_connection_open(host.library, connection_string.as.text, &host.connection));
  OK(host.library, kestrel_release(host.library, setup));
  OK(host.library, kestrel_option_set(host.library, text_of("home"), text_of(scratch_folder())));
  return host;
}

void close_sample_host(sample_host* host) { OK(host->library, kestrel_library_close(host->library)); }

int64_t query_number(const sample_host* host, const char* sql) {
  kestrel_handle rows = 0;
  kestrel_value value = value_of(KESTREL_UNSET);
  kestrel_value number = value_of(KESTREL_UNSET);
  OK(host->library, kestrel_connection_query(host->library, host->connection, text_of(sql), NULL, 0, &rows));
  OK(host->library, kestrel_recordset_get(host->library, rows, 0, &value));
  OK(host->library, kestrel_value_convert(host->library, &value, KESTREL_INTEGER, &number));
  OK(host->library, kestrel_release(host->library, rows));
  return number.as.integer;
}

kestrel_handle open_customers(const sample_host* host) {
  kestrel_handle job = 0;
  kestrel_order order = {0};
  order.size = sizeof order;
  order.specification = text_of("Kunden");
  order.host_connection = host->connection;
  OK(host->library, kestrel_job_create(host->library, &job));
  OK(host->library, kestrel_job_open(host->library, job, &order));
  return job;
}

int64_t row_count(kestrel_library* library, kestrel_handle recordset) {
  int64_t count = -2;
  OK(library, kestrel_recordset_count(library, recordset, &count));
  return count;
}
