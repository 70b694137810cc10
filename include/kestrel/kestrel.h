// The C interface of KESTREL Import (C99): for every language that can call C functions. It is one file, and
// long, as the tools of those languages that make bindings read one file.
//
//   kestrel_library* library = NULL;
//   if (kestrel_library_open(NULL, &library) != KESTREL_OK) ...
//   kestrel_component_register(library, &address_book);  // an import class: a table of functions
//   ...
//   kestrel_library_close(library);
//
// Stability. KESTREL_ABI_VERSION counts the interface. What one version has, every later one has: no function,
// member, code or number is removed, reordered or changes its meaning; new functions may be added, and new
// members at the end of a struct. What a later version has added is marked "since N" where it is declared. A
// program that was compiled with one version runs with the library of every later one.
//
// Structs. The first member of every struct is its size: the caller sets it to sizeof before a call, by which
// the library knows what the caller's header had. A struct of an earlier header is shorter: the members that it
// lacks count as 0 or NULL where it is read, and are left out where it is filled. One of a later header is
// longer: where it is read, what the library does not know has to be 0, so that nothing asked for is passed
// over in silence; where it is filled, that becomes 0. A size less than that of the version in which the struct
// came, or more than 4096, gives KESTREL_WRONG_SIZE. Structs that a callback is handed have the library's own
// size: whoever reads a member "since N" there looks at it first. Members named reserved, and those not used,
// are 0. kestrel_text and kestrel_date are no such structs, and never change. kestrel_value,
// kestrel_record_error and arrays of texts are stepped through by the caller's sizeof, so they never grow; the
// rows of other arrays are all as long as their first one says.
//
// Texts are UTF-8, told by pointer and length in bytes, and never end in a NUL that counts. NULL with length 0
// is the empty text. Those that go in are read during the call only. Those that come out live until the next
// call with the same library has ended, so that they may be arguments of that; kestrel_last_error does not
// count. Those that a callback is handed live until it returns.
//
// Handles are numbers, never 0 and never used twice; 0 is no object. One that a function hands out belongs to
// the caller, who gives it back with kestrel_release. One that goes into a function is lent: the library keeps
// the object for as long as it needs it. One that a callback is handed is lent, too, until it returns;
// kestrel_retain makes one of the callback's own. Closing the library gives all of them back.
//
// Threads. A library and all that is made with it belong to the thread that opened it; from every other thread
// each call but kestrel_run_stop gives KESTREL_WRONG_THREAD and does nothing. Callbacks are called in that
// thread, during a call. A process may open several, each in a thread of its own; a process that it forks is
// another thread to all of them, and leaves them alone. Calls out of callbacks may stand within each other 200
// deep; then they give KESTREL_BUSY.
//
// Results. Every function that can fail returns a status: KESTREL_OK or what went wrong, of which
// kestrel_last_error tells more. What is handed out is then untouched. Callbacks return KESTREL_OK, or any
// other status where they failed; they raise nothing (no exception, no longjmp). A handle that is closed, of
// the wrong kind or none at all, a struct of a wrong size, a NULL where something must be: all of these are
// told, and end no process. They are not told again below: each function may give KESTREL_INVALID_HANDLE and
// KESTREL_WRONG_THREAD, one that takes a struct KESTREL_WRONG_SIZE, one that takes a text or a pointer
// KESTREL_INVALID_ARGUMENT. "Error 53" is KESTREL_FAILED with that number.
//
// Truth values are int32_t: 0 is no, all else yes; those that come out are 0 or 1.
//
// Numbers of errors are those of kestrel/runtime_error.h; descriptions are German sentences for people. Where
// memory runs out, each function fails with error 7.
#ifndef KESTREL_KESTREL_H
#define KESTREL_KESTREL_H

// NOLINTBEGIN(modernize-use-using, modernize-deprecated-headers): it is C
#include <stddef.h>
#include <stdint.h>

#include "kestrel/export.h"

#ifdef __cplusplus
extern "C" {
#endif

// Of this header; kestrel_abi_version tells that of the library.
#define KESTREL_ABI_VERSION 3

// --- Status -----------------------------------------------------------------------------------------

// What a function returns.
enum {
  KESTREL_OK = 0,
  KESTREL_FAILED = 1,            // an error with a number: of a component, a database, a file
  KESTREL_REFUSED = 2,           // an import that does not begin; kestrel_refusal tells its findings
  KESTREL_INVALID_HANDLE = 3,    // NULL, closed, given back, or of another kind than the function works with
  KESTREL_WRONG_THREAD = 4,      // not the one that opened the library
  KESTREL_WRONG_SIZE = 5,        // of a struct
  KESTREL_INVALID_ARGUMENT = 6,  // a NULL, a text that is not UTF-8, a number that means nothing
  KESTREL_BUSY = 7,              // not from within a callback of the library
  KESTREL_INCOMPATIBLE = 8       // compiled with a later interface than the library has
};

// A text. It owns nothing: the head tells how long it lives.
typedef struct kestrel_text {
  const char* data;  // UTF-8; need not end in a NUL. NULL: no text, where that is not the empty one
  size_t length;     // in bytes
} kestrel_text;

// A kestrel_text of a string literal or an array of char: KESTREL_TEXT("Ort").
#ifdef __cplusplus
#define KESTREL_TEXT(literal) \
  kestrel_text { literal, sizeof(literal) - 1 }
#else
#define KESTREL_TEXT(literal) ((kestrel_text){literal, sizeof(literal) - 1})
#endif
// The same within an initializer.
#define KESTREL_TEXT_INIT(literal) \
  { literal, sizeof(literal) - 1 }

// An object of one library: a component, record set, connection, specification or import. 0: none.
typedef uint64_t kestrel_handle;
// What is opened first and closed last; the functions of one thread work with it. Its content is the library's
// own.
typedef struct kestrel_library kestrel_library;

// --- Version and library ----------------------------------------------------------------------------

// Of the library that is loaded: its interface (KESTREL_ABI_VERSION when it was built) and its version
// ("2.0.0"). They cannot fail; any thread.
KESTREL_EXPORT uint32_t kestrel_abi_version(void);
KESTREL_EXPORT const char* kestrel_version(void);
// A German sentence for a status, ended by a NUL; lives as long as the process. Any thread.
KESTREL_EXPORT const char* kestrel_status_text(int32_t status);

// How a library is opened.
typedef struct kestrel_library_options {
  size_t size;
  uint32_t abi_version;  // KESTREL_ABI_VERSION
  // Not 0: components of plug-ins are not looked for. Else they are, in the folders of the environment variable
  // KESTREL_COMPONENTS (separated by ':') and in kestrel/components beside the library.
  int32_t without_plugins;
} kestrel_library_options;

// A library for this thread, to be closed by kestrel_library_close. `options` may be NULL: this version, with
// plug-ins. KESTREL_INCOMPATIBLE where abi_version is 0 or later than the library's; KESTREL_FAILED where
// announcements of plug-ins cannot be read. There is no kestrel_last_error where it fails, as there is no
// library.
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

// Fills `error`. Itself it fails only for the library and the struct, and does not become the last error.
KESTREL_EXPORT int32_t kestrel_last_error(const kestrel_library* library, kestrel_error* error);
// Makes this the last error and returns KESTREL_FAILED: how a callback tells why it failed, in
// `return kestrel_raise(...)`. `number` is one of kestrel/runtime_error.h or the program's own. Since 2.
KESTREL_EXPORT int32_t kestrel_raise(kestrel_library* library, int32_t number, kestrel_text description);

// Options, by name, case included; KESTREL_INVALID_ARGUMENT for a name that there is not. They count for what
// is begun later, and are empty at first.
//   "home"   the component's own folder; specifications lie in "Import" below it. Empty: the environment
//            variable KESTREL_HOME, else kestrel-import in $XDG_DATA_HOME or ~/.local/share
//   "user"   the personnel number for import class and logs
KESTREL_EXPORT int32_t kestrel_option_set(kestrel_library* library, kestrel_text name, kestrel_text value);
KESTREL_EXPORT int32_t kestrel_option_get(kestrel_library* library, kestrel_text name, kestrel_text* value);

// --- Values -----------------------------------------------------------------------------------------

// The kinds of a kestrel_value.
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

// A day of the Gregorian calendar, and a time of that day without a zone.
typedef struct kestrel_date {
  int16_t year;      // 1 to 9999
  uint8_t month;     // 1 to 12
  uint8_t day;       // 1 to 31
  uint8_t hour;      // 0 to 23
  uint8_t minute;    // 0 to 59
  uint8_t second;    // 0 to 59
  uint8_t reserved;  // 0
} kestrel_date;

// A value, as it goes in and comes out. Inside, decimals, dates and bytes are texts ("-12,34",
// "24.12.2026 08:30:00", hexadecimal digits), by one rule for every source; so they go in as what they are and
// come out as KESTREL_STRING. kestrel_value_convert makes them what they were.
//
// KESTREL_INVALID_ARGUMENT for a kind that there is not, a decimal or date that is none.
typedef struct kestrel_value {
  size_t size;       // exactly sizeof(kestrel_value)
  int32_t kind;      // KESTREL_UNSET to KESTREL_OBJECT
  int32_t reserved;  // 0
  // One member for each kind; KESTREL_UNSET, KESTREL_NULL and KESTREL_MISSING have none.
  union kestrel_value_content {
    int32_t boolean;        // KESTREL_BOOLEAN
    int64_t integer;        // KESTREL_INTEGER
    double real;            // KESTREL_DOUBLE
    kestrel_text text;      // KESTREL_STRING, KESTREL_DECIMAL and KESTREL_BYTES, which need not be UTF-8
    kestrel_date date;      // KESTREL_DATE
    kestrel_handle object;  // KESTREL_OBJECT
  } as;                     // the member of that kind
} kestrel_value;

// The same value as another kind (KESTREL_BOOLEAN to KESTREL_BYTES), by the rules of the component: a text with
// a decimal comma or point is a number, a German or an ISO date a date, an even number of hexadecimal digits
// bytes. Error 13 where it cannot be one, 94 for null, 449 for a missing argument, 6 for a number beyond 64
// bits; KESTREL_INVALID_ARGUMENT for another kind.
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

// A new object of that identifier ("ksbimport.importkunden"): of a component registered below or of a plug-in.
// Error 429 where nothing serves it, with the reason.
KESTREL_EXPORT int32_t kestrel_object_create(kestrel_library* library, kestrel_text identifier,
                                             kestrel_handle* object);
// Uses a member; names are compared without case. `arguments` may be NULL where there is none, `result` where
// it is not wanted. What the object writes into an argument by reference stands in `arguments` afterwards. An
// object in the result or written into an argument is the caller's. `use` is one of the four above. Error 438
// where the object has no such member or not for this use, 449 or 450 for too few or too many arguments, 13, 6,
// 94 or 424 for one of a wrong type, and what the member itself raises.
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
  kestrel_library* library;  // for calls from within the callback
  int32_t use;               // one of KESTREL_METHOD, KESTREL_GET, KESTREL_LET, KESTREL_SET
  int32_t reserved;
  size_t argument_count;           // as many as the caller gave
  const kestrel_value* arguments;  // in order; one left out in the middle is KESTREL_MISSING
} kestrel_call;

// A member, of the instance that `create` made. Any status but KESTREL_OK fails the call: with what
// kestrel_call_raise has told, else with the error of the last call of the library that failed in it, else with
// error 440.
typedef int32_t (*kestrel_member_function)(void* instance, const kestrel_call* call);

// A row of a member table.
typedef struct kestrel_member {
  size_t size;        // the same in all rows
  kestrel_text name;  // compared without case; two rows may share it where they share no use
  // KESTREL_METHOD, KESTREL_GET, KESTREL_LET and KESTREL_SET, joined by |. Either of the first two stands for
  // both.
  int32_t uses;
  int32_t reserved;
  kestrel_member_function function;  // called for these uses
} kestrel_member;

// A component: what objects of an identifier are, and what they can do.
typedef struct kestrel_component {
  size_t size;
  kestrel_text identifier;        // "example.addressbook"; compared without case
  const kestrel_member* members;  // at least one; read during the registration only
  size_t member_count;            // how many there are
  void* context;                  // for `create`; lives as long as the library
  // Makes an instance when an object is created; NULL: `context` is the instance of all objects. What it raises
  // by kestrel_raise is what creating the object fails with.
  int32_t (*create)(void* context, kestrel_library* library, void** instance);
  // Ends an instance with its object; may be NULL. Not called where `create` failed.
  void (*destroy)(void* instance);
} kestrel_component;

// Objects of that identifier are made of the table from now on, within this library; a later registration
// replaces an earlier one for objects to come. The table is copied. What the members of an import class, of a
// log, of settings and of duplicate keys are called is told in kestrel/import_class.h and
// kestrel/host_components.h. Error 5 for a component without identifier or members, or with a member without
// name, use or function.
KESTREL_EXPORT int32_t kestrel_component_register(kestrel_library* library, const kestrel_component* component);

// Within a member's callback, of the innermost call: what it returns; without, an unset value. Copied at once.
// Error 5 outside of a callback, as for the two below.
KESTREL_EXPORT int32_t kestrel_call_return(kestrel_library* library, const kestrel_value* result);
// What the caller finds in an argument, counted from 0, that it has passed by reference, once the callback
// returns KESTREL_OK. Copied at once. KESTREL_INVALID_ARGUMENT for an argument that the call has not.
KESTREL_EXPORT int32_t kestrel_call_write(kestrel_library* library, size_t argument,
                                          const kestrel_value* value);
// What the call fails with once the callback returns any status but KESTREL_OK. Numbers of a component are its
// own.
KESTREL_EXPORT int32_t kestrel_call_raise(kestrel_library* library, int32_t number, kestrel_text description);

// --- Plug-ins ---------------------------------------------------------------------------------------

// A plug-in is a shared library that a text file beside it announces (kestrel/component_registry.h). It exports
//
//   void kestrel_register_components(void* registry) {
//     kestrel_library* library = NULL;
//     if (kestrel_plugin_open(registry, KESTREL_ABI_VERSION, &library) != KESTREL_OK) return;
//     kestrel_component_register(library, &address_book);
//   }
//
// and works in every program of the component, also in those in C++.

// A library of the thread that loads the plug-in: what is registered with it serves that program, which closes
// it when it ends (kestrel_library_close gives KESTREL_BUSY). `registry` is what kestrel_register_components
// was handed, `abi_version` KESTREL_ABI_VERSION. KESTREL_INCOMPATIBLE for a plug-in that was compiled with a
// later interface; whoever wanted its component then gets error 429 with the reason. Since 2.
KESTREL_EXPORT int32_t kestrel_plugin_open(void* registry, uint32_t abi_version, kestrel_library** library);

// --- Record sets ------------------------------------------------------------------------------------

// A record set has named columns, rows and a current row; columns count from 0, and one that there is not is
// error 9. At its end there is no current row (error 3021). Column names are compared exactly. What a
// provider's record set raises beyond what is told is error 3000.

// A column of a record set in memory.
typedef struct kestrel_column {
  size_t size;        // the same in all columns
  kestrel_text name;  // copied
  int32_t kind;       // KESTREL_STRING, KESTREL_INTEGER, KESTREL_DOUBLE or KESTREL_BOOLEAN
  int32_t reserved;
  size_t length;  // the greatest number of characters of a KESTREL_STRING; 0 is any
} kestrel_column;

// One in memory that can be written, without rows. KESTREL_INVALID_ARGUMENT for a column of another kind.
KESTREL_EXPORT int32_t kestrel_recordset_create(kestrel_library* library, const kestrel_column* columns,
                                                size_t column_count, kestrel_handle* recordset);
// A row of nulls behind the last one, which becomes the current one. Error 438 where the set is not of
// kestrel_recordset_create, as for the next one.
KESTREL_EXPORT int32_t kestrel_recordset_add(kestrel_library* library, kestrel_handle recordset);
// Makes every column of the current row null.
KESTREL_EXPORT int32_t kestrel_recordset_clear(kestrel_library* library, kestrel_handle recordset);

// How many columns there are; does not change.
KESTREL_EXPORT int32_t kestrel_recordset_column_count(kestrel_library* library, kestrel_handle recordset,
                                                      size_t* count);
// A column's name, as its source has it; two may share one.
KESTREL_EXPORT int32_t kestrel_recordset_column_name(kestrel_library* library, kestrel_handle recordset,
                                                     size_t column, kestrel_text* name);
// The first column of that name. Error 3265 where there is none.
KESTREL_EXPORT int32_t kestrel_recordset_find(kestrel_library* library, kestrel_handle recordset,
                                              kestrel_text name, size_t* column);
// How many rows there are; -1 where the source cannot tell without reading everything.
KESTREL_EXPORT int32_t kestrel_recordset_count(kestrel_library* library, kestrel_handle recordset,
                                               int64_t* count);
// `at_end`: whether there is no current row, as the set is empty or behind its last one.
KESTREL_EXPORT int32_t kestrel_recordset_at_end(kestrel_library* library, kestrel_handle recordset,
                                                int32_t* at_end);
// To the first row; of an empty set to its end. Error 438 behind it where the rows can be had only once.
KESTREL_EXPORT int32_t kestrel_recordset_first(kestrel_library* library, kestrel_handle recordset);
// To the next row, or behind the last one. Error 3021 at the end; where the source breaks off before its end
// the move fails with the reason, and the set is at its end from then on.
KESTREL_EXPORT int32_t kestrel_recordset_next(kestrel_library* library, kestrel_handle recordset);

// A value of the current row: null, or of the kind that the source has it in; sources of files have texts only.
KESTREL_EXPORT int32_t kestrel_recordset_get(kestrel_library* library, kestrel_handle recordset, size_t column,
                                             kestrel_value* value);
// Writes a value of the current row, converted to the column's kind; an unset one is null. Error 13 where it
// cannot be one, 3421 for a text longer than the column, 6 for a number beyond it, 438 where the set can only
// be read.
KESTREL_EXPORT int32_t kestrel_recordset_set(kestrel_library* library, kestrel_handle recordset, size_t column,
                                             const kestrel_value* value);
// All values of the current row as texts, the first `capacity` columns of it; null is a text without data.
// The texts live until the set moves, is written or is given back.
KESTREL_EXPORT int32_t kestrel_recordset_row(kestrel_library* library, kestrel_handle recordset,
                                             kestrel_text* texts, size_t capacity);

// --- Sources of a program's own ---------------------------------------------------------------------

// Rows that come one after the other.
typedef struct kestrel_stream {
  size_t size;
  void* context;         // the first argument of the functions
  int64_t record_count;  // 0: not known before the end
  // Fills `row` with the texts of the next record, one a column; those that it leaves are null. The texts live
  // until the next call of the stream. `at_end` is 0; 1 there: there is no record any more. Any status but
  // KESTREL_OK breaks the source off, and an import of it counts that as an error.
  int32_t (*next)(void* context, kestrel_library* library, kestrel_text* row, size_t column_count,
                  int32_t* at_end);
  // The next record is the first one again. NULL: the rows can be had once.
  int32_t (*rewind)(void* context, kestrel_library* library);
  // The record set goes; may be NULL.
  void (*close)(void* context);
} kestrel_stream;

// A record set of these columns, at its first row or at its end: the first record is asked for at once. One
// that fails leaves an empty set, which an import tells as broken off. KESTREL_INVALID_ARGUMENT without `next`.
// What the struct tells is copied; `context` lives until `close`.
KESTREL_EXPORT int32_t kestrel_recordset_stream(kestrel_library* library, const kestrel_text* columns,
                                                size_t column_count, const kestrel_stream* stream,
                                                kestrel_handle* recordset);

// A kind of source that the program adds to those of the component.
typedef struct kestrel_source {
  size_t size;
  kestrel_text name;  // what a specification's section Common names as Provider
  void* context;      // for `open`; lives as long as the library
  // Opens it anew for each reading of its columns or records: with the keys Database and Table of section
  // Common, which say what the program likes. The handle becomes the library's.
  int32_t (*open)(void* context, kestrel_library* library, kestrel_text database, kestrel_text table,
                  kestrel_handle* recordset);
} kestrel_source;

// From now on jobs of this library know this kind of source, too; a check looks at its first record. Error 5
// for a name that there is already, KESTREL_INVALID_ARGUMENT without `open`.
KESTREL_EXPORT int32_t kestrel_source_register(kestrel_library* library, const kestrel_source* source);

// --- Connections ------------------------------------------------------------------------------------

// "Provider=SQLite;Data Source=host.db", "host.sqlite", "postgresql://...", and those that
// kestrel/open_connection.h lists. Error 3706 where nothing serves the string, 3000 with the reason where
// opening fails. A password never stands in a description.
KESTREL_EXPORT int32_t kestrel_connection_open(kestrel_library* library, kestrel_text connection_string,
                                               kestrel_handle* connection);

// A database that the program reaches itself: the functions are called in the thread of the library, and what
// one tells by kestrel_raise is what the connection fails with. Since 2.
typedef struct kestrel_database {
  size_t size;
  void* context;  // the first argument of the functions; lives until `close`
  // One statement that returns no rows. `parameters` are the values of its '?', in order: null, numbers and
  // texts. `changed`, the number of rows, is 0 before.
  int32_t (*execute)(void* context, kestrel_library* library, kestrel_text sql, const kestrel_value* parameters,
                     size_t parameter_count, int64_t* changed);
  // One query. The record set, at its first row or at its end, becomes the library's: kestrel_recordset_stream
  // and kestrel_recordset_create make one.
  int32_t (*query)(void* context, kestrel_library* library, kestrel_text sql, const kestrel_value* parameters,
                   size_t parameter_count, kestrel_handle* recordset);
  // NULL, all three: there are no transactions (error 438). A commit that fails has rolled back.
  int32_t (*begin)(void* context, kestrel_library* library);
  int32_t (*commit)(void* context, kestrel_library* library);
  int32_t (*rollback)(void* context, kestrel_library* library);
  // As kestrel_connection_tables and kestrel_connection_columns; NULL: there is no catalog.
  int32_t (*tables)(void* context, kestrel_library* library, kestrel_handle* recordset);
  int32_t (*columns)(void* context, kestrel_library* library, kestrel_text table, kestrel_handle* recordset);
  // Once, when the connection is closed or its last handle gone; may be NULL. What was begun is rolled back
  // then.
  void (*close)(void* context);
} kestrel_database;

// For import classes and all else that takes a connection. The components of the sample host want one of the
// library's own, as they commit in a thread of theirs (error 3000). KESTREL_INVALID_ARGUMENT without `execute`
// or `query`. Since 2.
KESTREL_EXPORT int32_t kestrel_connection_create(kestrel_library* library, const kestrel_database* database,
                                                 kestrel_handle* connection);

// The program's own sqlite3* as a connection, which does not close it. Since 2.
//
// `libversion` is the address of the program's sqlite3_libversion: error 3000 where it has an SQLite of its
// own, whose handles no other can use; also where a transaction is open. Busy handler, foreign keys and all
// other settings stay the program's, and so no waiting is told. Until kestrel_connection_close the program does
// not close the handle, sets no authorizer, leaves no transaction of its own open (kestrel_job_run is refused
// with error 3000 then), and uses it only between the library's calls and in callbacks; not at all while an
// import into the sample host runs, which commits in a thread of its own. Record sets keep the handle busy: they
// are given back before it is closed.
KESTREL_EXPORT int32_t kestrel_connection_adopt_sqlite(kestrel_library* library, void* sqlite3_handle,
                                                       const char* (*libversion)(void),
                                                       kestrel_handle* connection);
// The program's own PGconn* as a connection, which does not finish it. Since 2.
//
// It has to be idle, in no pipeline, and its client encoding UTF8 (else error 3000). From here to
// kestrel_connection_close it is in pipeline mode and belongs to the library alone: the program does not use it
// at all. Then it is as it was; settings are made for single transactions only, and no statements are left
// prepared. A connection that is lost, or whose server does not answer in time, is not opened again:
// kestrel_connection_close, and PQreset or PQfinish.
KESTREL_EXPORT int32_t kestrel_connection_adopt_postgresql(kestrel_library* library, void* pg_connection,
                                                           kestrel_handle* connection);

// One statement that returns no rows. `parameters` are the values of its '?', in order: dates go as
// "JJJJ-MM-TT" with the time behind a blank where it is not midnight, decimals as they stand; bytes and objects
// are refused. `changed`, the number of rows, may be NULL. Error 3000 with the database's reason, 3704 where it
// is closed, 438 where a source can only be read.
KESTREL_EXPORT int32_t kestrel_connection_execute(kestrel_library* library, kestrel_handle connection,
                                                  kestrel_text sql, const kestrel_value* parameters,
                                                  size_t parameter_count, int64_t* changed);
// One query, with parameters and errors as above. The record set is at its first row or at its end, and the
// caller's.
KESTREL_EXPORT int32_t kestrel_connection_query(kestrel_library* library, kestrel_handle connection,
                                                kestrel_text sql, const kestrel_value* parameters,
                                                size_t parameter_count, kestrel_handle* recordset);
// Transactions do not nest (error 3000). A commit that fails has rolled back. Error 438 where the source has
// none.
KESTREL_EXPORT int32_t kestrel_connection_begin(kestrel_library* library, kestrel_handle connection);
KESTREL_EXPORT int32_t kestrel_connection_commit(kestrel_library* library, kestrel_handle connection);
KESTREL_EXPORT int32_t kestrel_connection_rollback(kestrel_library* library, kestrel_handle connection);
// The tables, in the source's own order: a record set of the caller's with the columns Name and Type ("TABLE",
// "VIEW", "SYSTEM TABLE" or what else the source calls it).
KESTREL_EXPORT int32_t kestrel_connection_tables(kestrel_library* library, kestrel_handle connection,
                                                 kestrel_handle* recordset);
// The columns of a table, in their order: a record set of the caller's with the column Name. Error 3000 for a
// table that there is not.
KESTREL_EXPORT int32_t kestrel_connection_columns(kestrel_library* library, kestrel_handle connection,
                                                  kestrel_text table, kestrel_handle* recordset);
// For all who have it; what was begun is rolled back. Closing twice is no error.
KESTREL_EXPORT int32_t kestrel_connection_close(kestrel_library* library, kestrel_handle connection);

// --- Import specifications --------------------------------------------------------------------------

// Those of a folder, by file name: a record set of the caller's with the columns Description, Application,
// Provider, ImportClass and File (the path). The empty folder is "Import" in the component's own; `templates`
// not 0 lists templates (".IMT"). Files that cannot be read are left out. Error 76 for a folder that there is
// not.
KESTREL_EXPORT int32_t kestrel_specification_list(kestrel_library* library, kestrel_text folder,
                                                  int32_t templates, kestrel_handle* recordset);
// The file, to be read and changed: nothing is written before it is saved. Error 53 where it is missing, 70, 57
// or 75 where it cannot be read.
KESTREL_EXPORT int32_t kestrel_specification_open(kestrel_library* library, kestrel_text path,
                                                  kestrel_handle* specification);
// An empty one without a file, to be saved under a path.
KESTREL_EXPORT int32_t kestrel_specification_create(kestrel_library* library, kestrel_handle* specification);
// The value of a key, changes included; a text without data where there is no such key. Names are compared
// without case.
KESTREL_EXPORT int32_t kestrel_specification_get(kestrel_library* library, kestrel_handle specification,
                                                 kestrel_text section, kestrel_text key, kestrel_text* value);
// Line breaks in the value become blanks. Error 5 for names that no reader would find.
KESTREL_EXPORT int32_t kestrel_specification_set(kestrel_library* library, kestrel_handle specification,
                                                 kestrel_text section, kestrel_text key, kestrel_text value);
// All entries, changes included, in the order of the file: a record set with the columns Section, Key and
// Value.
KESTREL_EXPORT int32_t kestrel_specification_entries(kestrel_library* library, kestrel_handle specification,
                                                     kestrel_handle* recordset);
// Writes all changes by one replacement of the file: all of them or none. An empty path is the file that was
// opened; another one is made as a copy, readable by its owner only, and is the file from then on. Error 58
// where it is there already, 5 where there is no path, and what writing raises (70, 61, 75, 76).
KESTREL_EXPORT int32_t kestrel_specification_save(kestrel_library* library, kestrel_handle specification,
                                                  kestrel_text path);

// --- Who is told and asked --------------------------------------------------------------------------

// What a question wants for an answer.
enum {
  KESTREL_TELL = 0,        // a box to be read
  KESTREL_ASK_YES_NO = 1,  // answered by 1 or 0
  KESTREL_ASK_TEXT = 2,    // the others by kestrel_answer; not answered: cancelled
  KESTREL_ASK_FILE = 3,    // the path of a file that there is
  KESTREL_ASK_FOLDER = 4   // the path of a folder that there is
};
// The picture of a box.
enum { KESTREL_ICON_NONE = 0, KESTREL_ICON_INFORMATION = 1, KESTREL_ICON_QUESTION = 2, KESTREL_ICON_STOP = 3 };

// A message or a question to a person.
typedef struct kestrel_question {
  size_t size;
  int32_t kind;         // KESTREL_TELL to KESTREL_ASK_FOLDER
  int32_t icon;         // of KESTREL_TELL and KESTREL_ASK_YES_NO; else KESTREL_ICON_NONE
  kestrel_text text;    // German; may have several lines. Empty where a file or folder is asked for
  kestrel_text title;   // German; never empty
  kestrel_text filter;  // of KESTREL_ASK_FILE: a pattern like "*.MDB"; else empty
  kestrel_text start;   // of a file or folder: the path to begin at; may be empty
} kestrel_question;

// Who is told and asked.
typedef struct kestrel_user_interface {
  size_t size;
  void* context;  // for `ask`; lives until another user interface is set
  // `answer` is 0 and may stay so. Any status but KESTREL_OK ends what is under way with an error.
  int32_t (*ask)(void* context, kestrel_library* library, const kestrel_question* question, int32_t* answer);
} kestrel_user_interface;

// From now on; NULL: nobody, so that boxes are not shown and questions are answered with no or cancelled.
KESTREL_EXPORT int32_t kestrel_user_interface_set(kestrel_library* library,
                                                  const kestrel_user_interface* user_interface);
// Within `ask`: the text, file or folder. Copied at once. Error 5 elsewhere.
KESTREL_EXPORT int32_t kestrel_answer(kestrel_library* library, kestrel_text answer);

// --- Imports ----------------------------------------------------------------------------------------

// A job opens an import specification, tells what is wrong with it, shows records of the source and runs the
// import: ImportJob in kestrel/import_job.h tells each step more fully. A job can be used for one import after
// the other, and several can be open at a time. Giving its last handle back ends what is open, as
// kestrel_job_cancel does.

// What is to be imported, and for whom.
typedef struct kestrel_order {
  size_t size;
  // A path; or, of a specification in `folder`, its file name with or without extension, or its description.
  kestrel_text specification;
  kestrel_text folder;             // empty: as kestrel_specification_list has it
  kestrel_text source_file;        // takes the place of the source that the specification names; empty: none
  kestrel_text working_folder;     // of the working copy; empty: beside the specification
  kestrel_handle host_connection;  // handed on to import class, logs and duplicate check; 0: none
  kestrel_text user;               // the personnel number; empty: the library's option
  int32_t has_application;         // 0: the application is that of the specification
  int32_t application;             // the host's number of its application, within 16 bits, where it has one
  void* context;                   // for `tell`; lives as long as the specification is open
  // Told what a person should know and what stops nothing; may be NULL.
  void (*tell)(void* context, kestrel_text text);
} kestrel_order;

// A job with nothing open.
KESTREL_EXPORT int32_t kestrel_job_create(kestrel_library* library, kestrel_handle* job);
// Ends what was open, loads the specification and makes its working copy. KESTREL_REFUSED where it is not found
// or its application is no number; error 52 for a user whose number holds a path separator, 58 where other
// imports hold the names of working copies, and errors of files (53, 57, 61, 70, 75, 76): nothing is open then.
// Error 5 while another call works with the job, out of whose callbacks it comes, as for all of the following,
// and for those where nothing is open.
KESTREL_EXPORT int32_t kestrel_job_open(kestrel_library* library, kestrel_handle job,
                                        const kestrel_order* order);

// How far a check looks into the source. Since 3.
enum {
  KESTREL_CHECK_BEGINNING = 0,
  KESTREL_CHECK_RECORDS = 1,  // at every record of a file; so does any other number
  KESTREL_CHECK_VALUES =
      2  // at every value, too, as a run would take it, asking the import class about every record
};

// Everything that is wrong or suspicious, in the order specification, source, destination, data; `depth` is one of
// KESTREL_CHECK_... A record set of the caller's with the columns Severity ("error", "warning",
// "note"), Section, Key, Field, Text, WayOut (both German), Count (of the values or records that a finding in
// the data is about) and Replacement (the column that could take the place of one that has gone); all are
// texts.
KESTREL_EXPORT int32_t kestrel_job_check(kestrel_library* library, kestrel_handle job, int32_t depth,
                                         kestrel_handle* findings);
// The same of the last call of this library that was KESTREL_REFUSED.
KESTREL_EXPORT int32_t kestrel_refusal(kestrel_library* library, kestrel_handle* findings);
// The columns of the source, in their order: a record set with the column Name. KESTREL_REFUSED where it cannot
// be opened.
KESTREL_EXPORT int32_t kestrel_job_columns(kestrel_library* library, kestrel_handle job,
                                           kestrel_handle* recordset);
// The first `most` records of the source, as a record set whose columns are texts. A value that cannot be read
// is empty and told in `unreadable`, findings as above; it may be NULL. KESTREL_REFUSED where the source cannot
// be opened; fails where it breaks off before.
KESTREL_EXPORT int32_t kestrel_job_preview(kestrel_library* library, kestrel_handle job, int64_t most,
                                           kestrel_handle* recordset, kestrel_handle* unreadable);

// What a run keeps to. All 0: the whole source, and it stops for nothing.
typedef struct kestrel_run_settings {
  size_t size;
  int32_t test;              // not 0: only read and checked, nothing stored
  int32_t despite_findings;  // not 0: refuses only what makes the run impossible
  int32_t from;              // the source record to begin with, from 1; 0 is 1
  int32_t most_errors;       // stops once there are so many; 0: any number
  // Stops once so many records are refused with one and the same error, from the first record on and none
  // stored or held back between them; 0: any number.
  int32_t most_same_errors;
  int32_t keep_rejects;  // not 0: what is not stored is kept for kestrel_job_save_rejects
  kestrel_text
      rejects_file;  // it is written there by the run itself, before the source may be removed; empty: none
} kestrel_run_settings;

// What became of a record.
enum {
  KESTREL_STORED = 0,
  KESTREL_UPDATED = 1,    // stored, and it replaced what an address held
  KESTREL_HELD_BACK = 2,  // suspected to be a duplicate
  KESTREL_REJECTED = 3,   // refused, lost, or not handed over as it could not be made
  KESTREL_CHECKED = 4     // a test run: only read and checked
};

// One row of the error log.
typedef struct kestrel_record_error {
  size_t size;
  int64_t number;              // of kestrel/runtime_error.h, or the import class's own
  kestrel_text text;           // German
  kestrel_text field;          // of the destination; empty where it is not one field's
  kestrel_text source_column;  // empty for a constant
  kestrel_text raw_value;      // as the source delivered it
  kestrel_text function;       // the member of the import class that told it; empty: the run's own
} kestrel_record_error;

// What became of a record, and why. Of a record held back the members named duplicate_ tell the address that it
// is held to repeat, as far as the host told; else they are 0 or empty.
typedef struct kestrel_outcome {
  size_t size;
  int64_t record;                      // of the source, from 1
  int32_t fate;                        // KESTREL_STORED to KESTREL_CHECKED
  int32_t duplicate_key;               // 1 to 3: the first key in use that both have
  size_t error_count;                  // an error need not reject the record
  const kestrel_record_error* errors;  // so many, in the order in which they were met
  size_t cut_field_count;              // how many fields were shorter than their value, which lost its end
  const kestrel_text* cut_fields;      // their names, of the destination
  kestrel_text address;    // the number of the address stored; empty where the import class does not tell
  int64_t duplicate_type;  // Adressart: one bit
  kestrel_text duplicate_address;  // its number
  kestrel_text duplicate_name;     // as the import class tells it
  kestrel_text duplicate_place;    // likewise
  kestrel_text duplicate_reason;   // German, as the duplicate keys' Confirm tells it
  int64_t duplicate_record;        // the earlier record of this run that stored it; 0: none
  double duplicate_score;          // in per cent, as Confirm tells it
} kestrel_outcome;

// An error that belongs to records told before, or to none; another fate of records told before.
typedef struct kestrel_revision {
  size_t size;
  int64_t first;    // source records, both included; 0: none is named
  int64_t last;     // 0 where `first` is
  int32_t fate;     // theirs from now on
  int32_t revised;  // how many outcomes it changes; without a record named 1: one of those handed over
  const kestrel_record_error* error;  // NULL: none
} kestrel_revision;

// Who watches a run. Any function may be NULL. Any status but KESTREL_OK asks the run to stop before its next
// record.
typedef struct kestrel_run_view {
  size_t size;
  void* context;  // the first argument of the functions
  // With every whole per cent, and some ten times a second. `text`: which record the run is at, German.
  int32_t (*progress)(void* context, double percent, kestrel_text text);
  // A record is over, in the source's order.
  int32_t (*record)(void* context, const kestrel_outcome* outcome);
  // Also before the first record and behind the last one.
  int32_t (*revision)(void* context, const kestrel_revision* revision);
  // What stands in no log and is no progress, for instance why the source stays.
  int32_t (*tell)(void* context, kestrel_text text);
  // Not 0: `record` is told of all records; else not of those that were stored or checked without an error or a
  // cut.
  int32_t every_record;
  int32_t reserved;
} kestrel_run_view;

// How reading the source ended.
enum {
  KESTREL_SOURCE_CLOSED = 0,      // it was not opened
  KESTREL_SOURCE_NOT_OPENED = 1,  // it could not be opened
  KESTREL_SOURCE_OPEN = 2,        // somewhere before its end
  KESTREL_SOURCE_AT_END = 3,      // all its records were seen
  KESTREL_SOURCE_BROKEN_OFF = 4   // it ended before its last record
};

// What a run has come to. Counts are records unless told otherwise, and
// read = stored_new + updated + held_back + rejected + checked.
typedef struct kestrel_run_result {
  size_t size;
  int64_t read;          // worked through
  int64_t stored_new;    // new addresses
  int64_t updated;       // stored, and they replaced what an address held
  int64_t held_back;     // suspected to be duplicates
  int64_t rejected;      // refused, lost, or not handed over as they could not be made
  int64_t checked;       // of a test run: those that would be stored
  int64_t errors;        // errors told, of which a record may have several; 0 where the import class cancelled
  int64_t cut_values;    // values that were longer than their field
  int64_t total;         // what the source said it has; -1 where it could not tell
  int64_t skipped;       // before kestrel_run_settings.from
  int64_t unlogged;      // errors that the log did not take
  int64_t rejects;       // how many records were kept as not stored
  int64_t next_record;   // to go on with, where the source's end was not reached; 0: none
  int32_t stopped;       // 1: the user or a callback asked for it
  int32_t cancelled;     // 1: the import class did
  int32_t source_state;  // KESTREL_SOURCE_CLOSED to KESTREL_SOURCE_BROKEN_OFF
  int32_t reserved;
  kestrel_text message;        // of the closing box
  kestrel_text source_error;   // why reading ended early; else empty
  kestrel_text stop_reason;    // why no further record was read; else empty
  kestrel_text source_kept;    // why the source was not removed although that was asked for; else empty
  kestrel_text rejects_error;  // what could not be kept or written, and why; else empty
  // In the ledger that the import class keeps, as kestrel_undo_settings wants it; 0 where it keeps none. Since
  // 3.
  int64_t run_number;
} kestrel_run_result;

// Runs the import of what is open, which is closed then; returns when it is over. `settings`, `view` and
// `result` may be NULL. KESTREL_REFUSED where it does not begin; once it has begun, what fails is counted and
// stands in the result, and the status is KESTREL_OK. Only what the user interface's `ask` fails with ends the
// run with that. KESTREL_INVALID_ARGUMENT for a number below 0.
KESTREL_EXPORT int32_t kestrel_job_run(kestrel_library* library, kestrel_handle job,
                                       const kestrel_run_settings* settings, const kestrel_run_view* view,
                                       kestrel_run_result* result);
// From a callback: asks the run to stop before its next record.
KESTREL_EXPORT int32_t kestrel_job_stop(kestrel_library* library, kestrel_handle job);
// From any thread, but from no signal handler: asks the run or undo of this library that is under way to stop
// before its next record or part. `asked` may be NULL; 0 there: nothing was under way. Asked twice, it stops as
// ImportJob::RequestStop does then. Since 2.
KESTREL_EXPORT int32_t kestrel_run_stop(const kestrel_library* library, int32_t* asked);
// Writes what the last run did not store to a file that can be imported in the source's place: of a text file
// the source's own lines, else CSV, with two more columns, "Grund" and "Datensatz". Whole or not at all. Error
// 5 where it kept nothing, 70 for the source, the specification or a file of the host's database, 57, 61, 75 or
// 76 where it cannot be written.
KESTREL_EXPORT int32_t kestrel_job_save_rejects(kestrel_library* library, kestrel_handle job,
                                                kestrel_text path);
// Ends what is open without a run; nothing where nothing is. During a run it asks that to stop; error 5 in the
// callbacks of other calls.
KESTREL_EXPORT int32_t kestrel_job_cancel(kestrel_library* library, kestrel_handle job);

// --- What imports did -------------------------------------------------------------------------------

// For hosts that keep a ledger: `ledger` is the identifier of their component (empty: that of the sample host),
// which has the members of "kestrelhost.RunLedger" (host/components/ledger_component.h). Error 429 where it is
// missing.

// The runs, the first one first: a record set of the caller's with the ledger's own columns. Error 3000 where
// the database has no ledger or fails.
KESTREL_EXPORT int32_t kestrel_runs(kestrel_library* library, kestrel_handle host_connection,
                                    kestrel_text ledger, kestrel_handle* recordset);

// Which run is taken back, and how.
typedef struct kestrel_undo_settings {
  size_t size;
  int64_t run;           // its number in the ledger (kestrel_run_result.run_number)
  int32_t dry_run;       // not 0: nothing stays changed
  int32_t take_changes;  // not 0: what somebody changed since is taken back, too
  kestrel_text ledger;   // the identifier of the component; empty: that of the sample host
  void* context;         // for `progress`
  // Behind each part, with records of the run; may be NULL. Any status but KESTREL_OK stops; another undo goes
  // on there.
  int32_t (*progress)(void* context, int64_t done, int64_t total);
} kestrel_undo_settings;

// What an undo has come to.
typedef struct kestrel_undo_result {
  size_t size;
  int64_t total;     // records of the run with which there was anything to do
  int64_t done;      // those of them that were worked through
  int64_t removed;   // addresses that the run had added
  int64_t restored;  // addresses that have again what the run had replaced
  int32_t complete;  // 0: it was stopped
  int32_t reserved;
} kestrel_undo_result;

// Takes a run back. `left_alone` may be NULL; else it gets a record set of the caller's with what was changed
// since and stays, with the columns Datensatz, Nummer, Feld, Vorher, Importiert and Jetzt; of an address that other tables
// refer to, or that the database holds on to, Feld is empty and Jetzt tells why, in brackets. Error 5 for a run
// that cannot be taken back, 3000 where the database fails: what came before stands.
KESTREL_EXPORT int32_t kestrel_undo(kestrel_library* library, kestrel_handle host_connection,
                                    const kestrel_undo_settings* settings, kestrel_undo_result* result,
                                    kestrel_handle* left_alone);

#ifdef __cplusplus
}
#endif

// NOLINTEND(modernize-use-using, modernize-deprecated-headers)
#endif
