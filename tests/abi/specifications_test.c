#define _XOPEN_SOURCE 700
#include <sys/stat.h>

#include "sample_host.h"

static kestrel_text get(kestrel_library* library, kestrel_handle specification, const char* section,
                        const char* key) {
  kestrel_text value = {NULL, 0};
  OK(library, kestrel_specification_get(library, specification, text_of(section), text_of(key), &value));
  return value;
}

static kestrel_handle customers(const sample_host* host) {
  static char path[640];
  kestrel_handle specification = 0;
  snprintf(path, sizeof path, "%s/Import/Kunden.IMP", scratch_folder());
  OK(host->library, kestrel_specification_open(host->library, text_of(path), &specification));
  return specification;
}

TEST(TheSpecificationsOfAFolderAreListed) {
  sample_host host = open_sample_host();
  kestrel_handle rows = 0;
  kestrel_text row[5];
  write_file(scratch_file("Import/Andere.imp"), "[Common]\r\nDescription=Andere\r\n");
  OK(host.library, kestrel_specification_list(host.library, text_of(""), 0, &rows));
  CHECK(row_count(host.library, rows) == 2);
  OK(host.library, kestrel_recordset_row(host.library, rows, row, 5));
  CHECK(text_is(row[0], "Andere") && text_is(row[1], "2") && text_is(row[2], ""));
  OK(host.library, kestrel_recordset_next(host.library, rows));
  OK(host.library, kestrel_recordset_row(host.library, rows, row, 5));
  CHECK(text_is(row[0], "Beispielkunden aus Textdatei") && text_is(row[2], "Textdatei"));
  CHECK(text_is(row[3], "ksbimport.importkunden"));
  OK(host.library, kestrel_specification_list(host.library, text_of(""), 1, &rows));
  CHECK(row_count(host.library, rows) == 3);
  STATUS(host.library, kestrel_specification_list(host.library, text_of("/no/such/folder"), 0, &rows),
         KESTREL_FAILED);
  CHECK(last_number(host.library) == 76);
  close_sample_host(&host);
}

TEST(ASpecificationIsChangedAndSavedAtOnce) {
  sample_host host = open_sample_host();
  const kestrel_handle specification = customers(&host);
  const kestrel_handle other = customers(&host);
  kestrel_handle reread = 0;
  CHECK(text_is(get(host.library, specification, "common", "DELIMITER"), ";"));
  CHECK(get(host.library, specification, "Common", "NoSuchKey").data == NULL);
  OK(host.library, kestrel_specification_set(host.library, specification, text_of("Common"),
                                             text_of("Delimiter"), text_of("TAB")));
  OK(host.library, kestrel_specification_set(host.library, specification, text_of("Notes"), text_of("Größe"),
                                             text_of("über 1 €")));
  CHECK(text_is(get(host.library, specification, "Common", "Delimiter"), "TAB"));
  CHECK(text_is(get(host.library, other, "Common", "Delimiter"), ";"));
  OK(host.library, kestrel_specification_save(host.library, specification, text_of("")));
  reread = customers(&host);
  CHECK(text_is(get(host.library, reread, "Common", "Delimiter"), "TAB"));
  CHECK(text_is(get(host.library, reread, "Notes", "Größe"), "über 1 €"));
  CHECK(text_is(get(host.library, reread, "FieldAssignments", "Bez1"), "FIELD:Name"));
  STATUS(
      host.library,
      kestrel_specification_set(host.library, specification, text_of("Common"), text_of("a\nb"), text_of("c")),
      KESTREL_FAILED);
  CHECK(last_number(host.library) == 5);
  close_sample_host(&host);
}

TEST(ACopyIsItsOwnersAloneAndReplacesNothing) {
  sample_host host = open_sample_host();
  const kestrel_handle specification = customers(&host);
  const char* const copy = scratch_file("Import/Kopie.IMP");
  struct stat status;
  OK(host.library, kestrel_specification_set(host.library, specification, text_of("Common"),
                                             text_of("Description"), text_of("Kopie")));
  OK(host.library, kestrel_specification_save(host.library, specification, text_of(copy)));
  CHECK(stat(copy, &status) == 0 && (status.st_mode & 0777) == 0600);
  CHECK(text_is(get(host.library, customers(&host), "Common", "Description"), "Beispielkunden aus Textdatei"));
  // From now on the copy is its file.
  OK(host.library, kestrel_specification_set(host.library, specification, text_of("Common"),
                                             text_of("Delimiter"), text_of(",")));
  OK(host.library, kestrel_specification_save(host.library, specification, text_of("")));
  CHECK(text_is(get(host.library, customers(&host), "Common", "Delimiter"), ";"));
  STATUS(host.library, kestrel_specification_save(host.library, customers(&host), text_of(copy)),
         KESTREL_FAILED);
  CHECK(last_number(host.library) == 58);
  close_sample_host(&host);
}

TEST(ANewSpecificationHasItsEntriesInOrder) {
  sample_host host = open_sample_host();
  kestrel_handle specification = 0;
  kestrel_handle rows = 0;
  kestrel_text row[3];
  OK(host.library, kestrel_specification_create(host.library, &specification));
  STATUS(host.library, kestrel_specification_save(host.library, specification, text_of("")), KESTREL_FAILED);
  OK(host.library, kestrel_specification_set(host.library, specification, text_of("Common"),
                                             text_of("Description"), text_of("Neu")));
  OK(host.library, kestrel_specification_set(host.library, specification, text_of("FieldAssignments"),
                                             text_of("Ort"), text_of("FIELD:Ort")));
  OK(host.library,
     kestrel_specification_save(host.library, specification, text_of(scratch_file("Import/Neu.IMP"))));
  OK(host.library, kestrel_specification_entries(host.library, specification, &rows));
  CHECK(row_count(host.library, rows) == 2);
  OK(host.library, kestrel_recordset_next(host.library, rows));
  OK(host.library, kestrel_recordset_row(host.library, rows, row, 3));
  CHECK(text_is(row[0], "FieldAssignments") && text_is(row[1], "Ort") && text_is(row[2], "FIELD:Ort"));
  STATUS(host.library,
         kestrel_specification_open(host.library, text_of(scratch_file("Import/Nirgends.IMP")), &rows),
         KESTREL_FAILED);
  CHECK(last_number(host.library) == 53 && last_error_has(host.library, "Nirgends.IMP"));
  close_sample_host(&host);
}
