// The C interface of KESTREL Import (C99): for every language that can call C functions.
//
//   kestrel_library* library = NULL;
//   if (kestrel_library_open(NULL, &library) != KESTREL_OK) ...
//   kestrel_component_register(library, &address_book);  // an import class: a table of functions
//   ...
//   kestrel_library_close(library);
//
// Stability. KESTREL_ABI_VERSION counts the interface. What one version has, every later one has: no function, member,
// code or number is removed, reordered or changes its meaning; new functions may be added, and new members at the end
// of a struct. A program that was compiled with one version runs with the library of every later one.
//
// Structs. The first member of every struct is its size: the caller sets it to sizeof before a call, by which the library
// knows what the caller's header had. A struct to be read may be longer than the library knows, if what is beyond is 0;
// of a struct to be filled the library fills what both know, and makes the rest 0. A size that is less than that of this
// version, or cannot be true, gives KESTREL_WRONG_SIZE. Members that are not used are 0. kestrel_text is no such
// struct: it is pointer and length, and never changes. kestrel_value stands in arrays and never grows.
//
// Texts are UTF-8, told by pointer and length in bytes, and never end in a NUL that counts. NULL with length 0 is the
// empty text. Those that go in are read during the call only. Those that come out live until the next call with the same
// library, kestrel_last_error apart; those that a callback is handed live until it returns.
//
// Handles are numbers, never 0 and never used twice; 0 is no object. One that a function hands out belongs to the
// caller, who gives it back with kestrel_release. One that goes into a function is lent: the library keeps the
// object for as long as it needs it. One that a callback is handed is lent, too, until it returns; kestrel_retain
// makes one of the callback's own. Closing the library gives all of them back.
//
// Threads. A library and all that is made with it belong to the thread that opened it; from every other thread each
// call gives KESTREL_WRONG_THREAD and does nothing. Callbacks are called in that thread, during a call. A process may
// open several, each in a thread of its own.
//
// Results. Every function that can fail returns a status: KESTREL_OK or what went wrong, of which kestrel_last_error
// tells more. What is handed out is then untouched. Callbacks return KESTREL_OK, or any other status where they failed;
// they raise nothing (no exception, no longjmp). A handle that is closed, of the wrong kind or none at all, a struct of
// another size, a NULL where something must be: all of these are told, and end no process.
//
// Numbers of errors are those of kestrel/runtime_error.h; descriptions are German sentences for people.
#ifndef KESTREL_KESTREL_H
#define KESTREL_KESTREL_H

#include <stddef.h>
#include <stdint.h>

#include "kestrel/export.h"

#ifdef __cplusplus
extern "C" {
#endif

#define KESTREL_ABI_VERSION 1

// --- Status -----------------------------------------------------------------------------------------

enum {
  KESTREL_OK = 0,
  KESTREL_FAILED = 1,          // an error with a number: of a component, a database, a file
  KESTREL_REFUSED = 2,         // an import that does not begin; the description tells everything that keeps it
  KESTREL_INVALID_HANDLE = 3,  // NULL, closed, given back, or of another kind than the function works with
  KESTREL_WRONG_THREAD = 4,    // not the one that opened the library
  KESTREL_WRONG_SIZE = 5,      // of a struct
  KESTREL_INVALID_ARGUMENT = 6,  // a NULL, a text that is not UTF-8, a number that means nothing
  KESTREL_BUSY = 7,              // not from within a callback of the library
  KESTREL_INCOMPATIBLE = 8       // compiled with a later interface than the library has
};

// Text literals and arrays: KESTREL_TEXT("Ort").
typedef struct kestrel_text {
  const char* data;
  size_t length;  // in bytes
} kestrel_text;

#ifdef __cplusplus
#define KESTREL_TEXT(literal) \
  kestrel_text { literal, sizeof(literal) - 1 }
#else
#define KESTREL_TEXT(literal) ((kestrel_text){literal, sizeof(literal) - 1})
#endif
// The same within an initializer.
#define KESTREL_TEXT_INIT(literal) \
  { literal, sizeof(literal) - 1 }

typedef uint64_t kestrel_handle;
typedef struct kestrel_library kestrel_library;

// --- Version and library ----------------------------------------------------------------------------

// Of the library that is loaded: its interface (KESTREL_ABI_VERSION when it was built) and its version ("2.0.0"). They
// cannot fail; any thread.
KESTREL_EXPORT uint32_t kestrel_abi_version(void);
KESTREL_EXPORT const char* kestrel_version(void);
// A German sentence for a status, ended by a NUL; lives as long as the process. Any thread.
KESTREL_EXPORT const char* kestrel_status_text(int32_t status);

typedef struct kestrel_library_options {
  size_t size;
  uint32_t abi_version;  // KESTREL_ABI_VERSION
  // Not 0: components of plug-ins are not looked for. Else they are, in KESTREL_COMPONENTS and beside the library.
  int32_t without_plugins;
} kestrel_library_options;

// A library for this thread. `options` may be NULL. KESTREL_INCOMPATIBLE where it was compiled with a later interface;
// KESTREL_FAILED where announcements of plug-ins cannot be read.
KESTREL_EXPORT int32_t kestrel_library_open(const kestrel_library_options* options, kestrel_library** library);
// Ends what is open (an import that has not run is cancelled) and gives back all handles. KESTREL_BUSY in a
// callback. Every later call with it gives KESTREL_INVALID_HANDLE.
KESTREL_EXPORT int32_t kestrel_library_close(kestrel_library* library);

// The last call with this library that failed, those within callbacks included.
typedef struct kestrel_error {
  size_t size;
  int32_t status;            // KESTREL_OK where none has failed yet
  int32_t number;            // of KESTREL_FAILED and KESTREL_REFUSED; else 0
  kestrel_text description;  // lives until the next call that fails
} kestrel_error;

KESTREL_EXPORT int32_t kestrel_last_error(const kestrel_library* library, kestrel_error* error);

// Options, by name; KESTREL_INVALID_ARGUMENT for a name that there is not. They count for what is begun later.
//   "home"   the component's own folder; specifications lie in "Import" below it. KESTREL_HOME, if empty.
//   "user"   the personnel number for import class and logs
KESTREL_EXPORT int32_t kestrel_option_set(kestrel_library* library, kestrel_text name, kestrel_text value);
KESTREL_EXPORT int32_t kestrel_option_get(kestrel_library* library, kestrel_text name, kestrel_text* value);

// --- Values -----------------------------------------------------------------------------------------

enum {
  KESTREL_UNSET = 0,    // never assigned; reads as "", 0 and false
  KESTREL_NULL = 1,     // a database's "no value"
  KESTREL_MISSING = 2,  // an argument left out in the middle
  KESTREL_BOOLEAN = 3,
  KESTREL_INTEGER = 4,
  KESTREL_DOUBLE = 5,
  KESTREL_DECIMAL = 6,  // a text: digits with an optional sign and a point ("-12.3400")
  KESTREL_DATE = 7,
  KESTREL_STRING = 8,
  KESTREL_BYTES = 9,
  KESTREL_OBJECT = 10  // a handle, or 0 for an object variable that is not set
};

// A day of the calendar, years 1 to 9999, and a time of day.
typedef struct kestrel_date {
  int16_t year;
  uint8_t month;  // 1 to 12
  uint8_t day;    // 1 to 31
  uint8_t hour;
  uint8_t minute;
  uint8_t second;
  uint8_t reserved;  // 0
} kestrel_date;

// Inside, decimals, dates and bytes are texts ("-12,34", "24.12.2026 08:30:00", hexadecimal digits), by one
// rule for every source; so they go in as what they are and come out as KESTREL_STRING. kestrel_value_convert makes them
// what they were.
typedef struct kestrel_value {
  size_t size;
  int32_t kind;
  int32_t reserved;  // 0
  union {
    int32_t boolean;
    int64_t integer;
    double real;
    kestrel_text text;  // KESTREL_STRING, KESTREL_DECIMAL and KESTREL_BYTES
    kestrel_date date;
    kestrel_handle object;
  } as;
} kestrel_value;

// The same value as another kind, by the rules of the component: a text with a decimal comma or point is a number, a
// German or an ISO date a date. Error 13 where it cannot be one, 94 for null, 6 for a number that is too large.
KESTREL_EXPORT int32_t kestrel_value_convert(kestrel_library* library, const kestrel_value* value, int32_t kind,
                                             kestrel_value* converted);

// --- Objects by name --------------------------------------------------------------------------------

// How a member is used. They are bits where a member table tells them.
enum {
  KESTREL_METHOD = 1,  // call with arguments; also reads a property
  KESTREL_GET = 2,     // read a property; also called without arguments
  KESTREL_LET = 4,     // assign a value: one argument
  KESTREL_SET = 8      // assign an object: one argument
};

// A new object of that identifier ("ksbimport.importkunden"): of a component registered below or of a plug-in. Error 429
// where nothing serves it, with the reason.
KESTREL_EXPORT int32_t kestrel_object_create(kestrel_library* library, kestrel_text identifier,
                                             kestrel_handle* object);
// Uses a member; names are compared without case. `arguments` may be NULL where there is none, `result` where it is not
// wanted. What the object writes into an argument by reference stands in `arguments` afterwards. An object in the result
// or written into an argument is the caller's. Error 438 where the object has no such member, 449 or 450 for wrong
// arguments, and what the member itself raises.
KESTREL_EXPORT int32_t kestrel_object_call(kestrel_library* library, kestrel_handle object, kestrel_text member,
                                           int32_t use, kestrel_value* arguments, size_t argument_count,
                                           kestrel_value* result);
// Whether the object has a member of that name: 1 or 0.
KESTREL_EXPORT int32_t kestrel_object_has(kestrel_library* library, kestrel_handle object, kestrel_text member,
                                          int32_t* has);
// One more handle of the same object; it is the caller's.
KESTREL_EXPORT int32_t kestrel_retain(kestrel_library* library, kestrel_handle object,
                                      kestrel_handle* retained);
// Gives a handle back. The object goes with its last one, unless the library still uses it. 0 is no error.
KESTREL_EXPORT int32_t kestrel_release(kestrel_library* library, kestrel_handle object);

// --- Components -------------------------------------------------------------------------------------

// A use of a member, as its callback sees it.
typedef struct kestrel_call {
  size_t size;
  kestrel_library* library;
  int32_t use;  // one of KESTREL_METHOD, KESTREL_GET, KESTREL_LET, KESTREL_SET
  int32_t reserved;
  size_t argument_count;
  const kestrel_value* arguments;
} kestrel_call;

// Any status but KESTREL_OK fails the call: with what kestrel_call_raise has told, else with the error of the last
// call of the library that failed in it, else with error 440.
typedef int32_t (*kestrel_member_function)(void* instance, const kestrel_call* call);

typedef struct kestrel_member {
  size_t size;
  kestrel_text name;
  int32_t uses;  // KESTREL_METHOD, KESTREL_GET, KESTREL_LET and KESTREL_SET, joined by |
  int32_t reserved;
  kestrel_member_function function;
} kestrel_member;

typedef struct kestrel_component {
  size_t size;
  kestrel_text identifier;  // "example.addressbook"; compared without case
  const kestrel_member* members;
  size_t member_count;
  void* context;
  // Makes an instance when an object is created; NULL: `context` is the instance of all objects.
  int32_t (*create)(void* context, kestrel_library* library, void** instance);
  // Ends an instance with its object; may be NULL. Not called where `create` failed.
  void (*destroy)(void* instance);
} kestrel_component;

// Objects of that identifier are made of the table from now on, within this library; a later registration replaces an
// earlier one for objects to come. The table is copied. What the members of an import class, of a log, of settings and of
// duplicate keys are called is told in kestrel/import_class.h and kestrel/host_components.h. Error 5 for a table without
// members or with a member without name, use or function.
KESTREL_EXPORT int32_t kestrel_component_register(kestrel_library* library, const kestrel_component* component);

// Within a member's callback, of the innermost call. Values are copied at once.
KESTREL_EXPORT int32_t kestrel_call_return(kestrel_library* library, const kestrel_value* result);
// What the caller finds in an argument that it has passed by reference.
KESTREL_EXPORT int32_t kestrel_call_write(kestrel_library* library, size_t argument,
                                          const kestrel_value* value);
// What the call fails with once the callback returns KESTREL_FAILED. Numbers of a component are its own.
KESTREL_EXPORT int32_t kestrel_call_raise(kestrel_library* library, int32_t number, kestrel_text description);

// --- Record sets ------------------------------------------------------------------------------------

// A record set has named columns, rows and a current row; columns count from 0. At its end there is no current row (error
// 3021). Column names are compared exactly.

typedef struct kestrel_column {
  size_t size;
  kestrel_text name;
  int32_t kind;  // KESTREL_STRING, KESTREL_INTEGER, KESTREL_DOUBLE or KESTREL_BOOLEAN
  int32_t reserved;
  size_t length;  // the greatest number of characters of a KESTREL_STRING; 0 is any
} kestrel_column;

// One in memory that can be written, without rows.
KESTREL_EXPORT int32_t kestrel_recordset_create(kestrel_library* library, const kestrel_column* columns,
                                                size_t column_count, kestrel_handle* recordset);
// A row of nulls behind the last one, which becomes the current one. Error 438 where the set is not of
// kestrel_recordset_create, as for the next one.
KESTREL_EXPORT int32_t kestrel_recordset_add(kestrel_library* library, kestrel_handle recordset);
// Makes every column of the current row null.
KESTREL_EXPORT int32_t kestrel_recordset_clear(kestrel_library* library, kestrel_handle recordset);

KESTREL_EXPORT int32_t kestrel_recordset_column_count(kestrel_library* library, kestrel_handle recordset,
                                                      size_t* count);
KESTREL_EXPORT int32_t kestrel_recordset_column_name(kestrel_library* library, kestrel_handle recordset,
                                                     size_t column, kestrel_text* name);
// The first column of that name. Error 3265 where there is none.
KESTREL_EXPORT int32_t kestrel_recordset_find(kestrel_library* library, kestrel_handle recordset,
                                              kestrel_text name, size_t* column);
// -1 where the source cannot tell without reading everything.
KESTREL_EXPORT int32_t kestrel_recordset_count(kestrel_library* library, kestrel_handle recordset,
                                               int64_t* count);
// `at_end`: 1 or 0.
KESTREL_EXPORT int32_t kestrel_recordset_at_end(kestrel_library* library, kestrel_handle recordset,
                                                int32_t* at_end);
KESTREL_EXPORT int32_t kestrel_recordset_first(kestrel_library* library, kestrel_handle recordset);
// To the next row, or behind the last one. Fails where the source breaks off before its end.
KESTREL_EXPORT int32_t kestrel_recordset_next(kestrel_library* library, kestrel_handle recordset);

KESTREL_EXPORT int32_t kestrel_recordset_get(kestrel_library* library, kestrel_handle recordset, size_t column,
                                             kestrel_value* value);
KESTREL_EXPORT int32_t kestrel_recordset_set(kestrel_library* library, kestrel_handle recordset, size_t column,
                                             const kestrel_value* value);
// All values of the current row as texts, the first `capacity` columns of it; null is a text without data.
// The texts live until the set moves or is written.
KESTREL_EXPORT int32_t kestrel_recordset_row(kestrel_library* library, kestrel_handle recordset,
                                             kestrel_text* texts, size_t capacity);

#ifdef __cplusplus
}
#endif

#endif
