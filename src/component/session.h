// The session: what the wizard pages, the run and the shared procedures know about the current import.
//
// One session per loaded component. Its variables keep the names they have in the host's world. Texts
// start empty, flags false, objects unset. They are not cleared between two imports: a second ShowDialog
// starts with the values of the first, apart from those the steps set again. What lives as long as one import,
// its logs and caches, is no part of the session (import/active_import.h); nor is the lock of its working copy
// (spec/working_copy.h).
//
// Invariants
//  1. `SpecFile` names the chosen file until the working copy is made, and the working copy from then on;
//     `ChosenSpecFile` always names the file the user chose.
//  2. `SourceRecordset` is replaced by every open; a consumer that took it keeps its own reference.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "kestrel/object.h"
#include "kestrel/platform.h"

namespace kestrel {

class Connection;
class MemoryRecordset;
class Recordset;

struct Session {
  explicit Session(Platform platform_of_session) : platform(platform_of_session) {}
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  Platform platform;

  // --- Given by the host through ImportMan ---
  ObjectPtr HostConnection;
  std::int16_t AppMode = 0;
  std::string PersonalNr;
  std::string ImportFileName;  // a source file suggested by the host; taken over by step 2 and ImportJob::Open

  // --- Specification ---
  std::string SpecFolder;
  std::string SpecFile;
  std::string ChosenSpecFile;
  std::string ExistingSchemaNames;  // the Description of every listed ".IMP" file, each followed by ";"
  bool SchemaSaved = false;
  bool SchemaChanged = false;
  bool TestMode = false;

  // --- Destination ---
  std::string ImportClassProgID;
  ObjectPtr ImportClass;

  // --- Section Common as loaded ---
  std::string Provider;
  std::string FileName;
  std::string Database;
  std::string Table;
  bool ColumnHeadings = false;
  std::string FileFormat;
  std::string Delimiter;
  std::string TextRecognition;
  std::string Server;
  std::string User;
  std::string Password;
  bool SaveFile = false;
  std::string SavePath;
  bool DeleteFile = false;
  std::string Description;

  // --- Source ---
  // The shared source connection; unset for text files.
  std::shared_ptr<Connection> SourceConnection;
  std::shared_ptr<Recordset> SourceRecordset;
  // Set by edits on the data source page; makes "Weiter" and the preview connect again.
  bool SourceSettingsChanged = false;
  // The source's column names, always followed by one empty element that consumers skip.
  std::vector<std::string> SourceFieldNames;

  // --- Field assignments ---
  std::shared_ptr<MemoryRecordset> AssignmentList;
};

}  // namespace kestrel
