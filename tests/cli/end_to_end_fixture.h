// A scratch host with the demo's files, and the real program run on it.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "kestrel/open_connection.h"
#include "platform/base/file.h"
#include "platform/base/text.h"
#include "support/program.h"
#include "support/project_paths.h"
#include "support/temp_folder.h"

namespace kestrel {

class EndToEnd : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(Run({"init", host()}).status, 0);
    for (const char* name : {"Kundenliste.IMP", "Messe.IMP", "kunden.txt", "messe.txt"}) {
      CopyFile(testing::InSourceTree(std::string("demo/") + name), host() + "/Import/" + name);
    }
  }

  std::string host() const { return folder_.File("host"); }
  std::string Spec(const std::string& name) const { return host() + "/Import/" + name; }

  testing::ProgramResult Run(std::vector<std::string> arguments, const std::string& interrupt_at = {}) const {
    std::vector<std::string> command = {testing::BuiltProgram("kestrel-import")};
    command.insert(command.end(), arguments.begin(), arguments.end());
    if (arguments[0] != "init") command.insert(command.end(), {"--folder", host()});
    return testing::RunProgram(command, {}, interrupt_at);
  }

  std::string Query(const std::string& sql) const {
    const ConnectionPtr connection = OpenConnection(host() + "/kestrel.db");
    const RecordsetPtr rows = connection->OpenRecordset(sql);
    std::string text;
    for (; !rows->IsEof(); rows->MoveNext()) {
      for (std::size_t column = 0; column < rows->ColumnCount(); ++column) {
        text += (column == 0 ? "" : "|") + std::string(rows->TextAt(column));
      }
      text += "\n";
    }
    return text;
  }

  // A small specification of its own beside the demo's.
  std::string WriteSpec(const std::string& name, std::string_view content) const {
    WriteFileAtomically(Spec(name), ToWindows1252(ReplaceAll(content, "\n", "\r\n")));
    return name;
  }

  testing::TempFolder folder_;
};

}  // namespace kestrel
