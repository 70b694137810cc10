// The sample host in a scratch folder: an SQLite database, and "Kunden.IMP" that imports six addresses.
#ifndef TESTS_ABI_SAMPLE_HOST_H
#define TESTS_ABI_SAMPLE_HOST_H

#include "check.h"

typedef struct sample_host {
  kestrel_library* library;  // its option "home" is the folder of the host
  kestrel_handle connection;
} sample_host;

sample_host open_sample_host(void);
void close_sample_host(sample_host* host);
// Of the first column of the first row.
int64_t query_number(const sample_host* host, const char* sql);
// A job in which "Kunden" is open.
kestrel_handle open_customers(const sample_host* host);
int64_t row_count(kestrel_library* library, kestrel_handle recordset);

#endif
