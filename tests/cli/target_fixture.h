// A database of another application, and the real program run on it.
#pragma once

#include <gmock/gmock.h>

#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "support/program.h"
#include "support/project_paths.h"
#include "support/temp_folder.h"

namespace kestrel::testing {

class TargetFixture : public ::testing::Test {
 protected:
  // A connection string; an SQLite file, where nothing else is said.
  explicit TargetFixture(std::string database = {}) : database_(std::move(database)) {
    if (database_.empty()) database_ = folder_.File("fremd.db");
    CreateFolders(folder_.File("Import"));
  }

  void Execute(const std::string& sql) const { OpenConnection(database_)->Execute(sql); }

  std::string Query(const std::string& sql) const {
    std::string text;
    const ConnectionPtr connection = OpenConnection(database_);
    for (const RecordsetPtr rows = connection->OpenRecordset(sql); !rows->IsEof(); rows->MoveNext()) {
      for (std::size_t column = 0; column < rows->ColumnCount(); ++column) {
        text += (column == 0 ? "" : "|") + std::string(rows->TextAt(column));
      }
      text += "\n";
    }
    return text;
  }

  ProgramResult Run(std::vector<std::string> arguments) const {
    std::vector<std::string> command = {BuiltProgram("kestrel-import")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    command.insert(command.end(), {"--folder", folder_.path(), "--host", database_});
    return RunProgram(command);
  }

  // Of the template that `target add` has made: a specification that imports the file with these assignments, lines.
  void WriteSpec(const std::string& target, const std::string& assignments,
                 const std::string& settings = {}) const {
    const std::string import = folder_.File("Import");
    std::string text = ReplaceAll(FromWindows1252(ReadWholeFile(import + "/" + target + ".IMT")), "\r\n", "\n");
    text = ReplaceAll(text, "FileName=\n", "FileName=" + import + "/quelle.txt\n") + settings +
           "[FieldAssignments]\n" + assignments;
    WriteFileAtomically(import + "/" + target + ".IMP", ToWindows1252(ReplaceAll(text, "\n", "\r\n")));
  }
  // Has the specification that was written overwrite what has the number of a record.
  void LetOverwrite(const std::string& target) const {
    const std::string path = folder_.File("Import") + "/" + target + ".IMP";
    WriteFileAtomically(path, ReplaceAll(ReadWholeFile(path), "Ueberschreiben=0", "Ueberschreiben=1"));
  }
  void WriteSource(std::string_view lines) const {
    WriteFileAtomically(folder_.File("Import") + "/quelle.txt", ToWindows1252(ReplaceAll(lines, "\n", "\r\n")));
  }

  TempFolder folder_;
  std::string database_;
};

}  // namespace kestrel::testing
