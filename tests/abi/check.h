// What the tests in C are written with. Each stands in a line of its own, "TEST(Name) {", by which CMake finds it.
#ifndef TESTS_ABI_CHECK_H
#define TESTS_ABI_CHECK_H

#include <inttypes.h>
#include <stdio.h>
#include <string.h>

#include "kestrel/kestrel.h"

extern int failures;

#define TEST(name) \
  void name(void); \
  void name(void)

#define CHECK(condition)                                                             \
  do {                                                                               \
    if (!(condition)) {                                                              \
      ++failures;                                                                    \
      fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
    }                                                                                \
  } while (0)

// A call that succeeds; else its error is shown.
#define OK(library, call) expect_status(library, call, KESTREL_OK, #call, __FILE__, __LINE__)
// One that ends with this status.
#define STATUS(library, call, status) expect_status(library, call, status, #call, __FILE__, __LINE__)

void expect_status(const kestrel_library* library, int32_t status, int32_t expected, const char* call,
                   const char* file, int line);

// The number of the last error.
int32_t last_number(const kestrel_library* library);
// Whether the description of the last error has these words.
int last_error_has(const kestrel_library* library, const char* words);
int text_is(kestrel_text text, const char* expected);
kestrel_text text_of(const char* text);

kestrel_value value_of(int32_t kind);
kestrel_value integer_value(int64_t integer);
kestrel_value text_value(const char* text);
kestrel_value object_value(kestrel_handle object);

// A library of this test, with the components of plug-ins.
kestrel_library* open_library(void);
// A folder of this test's own, and a file in it. The path lives as long as the test.
const char* scratch_folder(void);
const char* scratch_file(const char* name);
void write_file(const char* path, const char* content);

#endif
