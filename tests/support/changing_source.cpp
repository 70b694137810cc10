#include "support/changing_source.h"

#include <chrono>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "platform/base/file.h"
#include "sources/source_connection.h"
#include "support/biff_writer.h"
#include "support/dbf_writer.h"
#include "support/jet_builder.h"
#include "support/source_kind_names.h"
#include "support/xlsx_writer.h"

namespace kestrel::testing {

namespace {

constexpr const char* kNameColumn = "NAME";
constexpr const char* kFillerColumn = "FILLER";
const std::string kFiller(200, 'f');

// Calls `add` with the name of each record.
template <class Add>
void ForEachName(int records, const std::string& last_name, Add&& add) {
  for (int record = 0; record < records; ++record) {
    add(record + 1 == ChangingSource::kRecords ? last_name : "Name " + std::to_string(record));
  }
}

std::string TextContent(int records, const std::string& last_name) {
  std::string text = std::string(kNameColumn) + ";" + kFillerColumn + "\r\n";
  ForEachName(records, last_name, [&](const std::string& name) { text += name + ";" + kFiller + "\r\n"; });
  return text;
}

std::string DBaseContent(int records, const std::string& last_name) {
  DbfWriter writer({{kNameColumn, 'C', 20}, {kFillerColumn, 'C', 200}});
  ForEachName(records, last_name, [&](const std::string& name) { writer.Add({name, kFiller}); });
  return writer.Bytes();
}

std::string AccessContent(int records, const std::string& last_name) {
  JetBuilder builder;
  const std::size_t table = builder.AddTable("Adressen", {{kNameColumn}, {kFillerColumn}});
  ForEachName(records, last_name, [&](const std::string& name) {
    builder.AddRow(table, {builder.Text(name), builder.Text(kFiller)});
  });
  return builder.Build();
}

std::string XlsContent(int records, const std::string& last_name) {
  BiffWriter writer;
  writer.Sheet("Adressen");
  writer.Text(0, 0, kNameColumn);
  writer.Text(0, 1, kFillerColumn);
  int row = 0;
  ForEachName(records, last_name, [&](const std::string& name) {
    writer.Text(++row, 0, name);
    writer.Text(row, 1, kFiller);
  });
  return writer.Bytes();
}

std::string XlsxContent(int records, const std::string& last_name) {
  XlsxWriter writer;
  writer.Sheet("Adressen");
  const std::string titles[] = {kNameColumn, kFillerColumn};
  writer.Row({&titles[0], &titles[1]});
  ForEachName(records, last_name, [&](const std::string& name) { writer.Row({&name, &kFiller}); });
  return writer.Bytes();
}

const char* FileNameOf(FileKind kind) {
  switch (kind) {
    case FileKind::kText: return "Adressen.txt";
    case FileKind::kDBase: return "Adressen.dbf";
    case FileKind::kAccess: return "Adressen.mdb";
    case FileKind::kXls: return "Adressen.xls";
    case FileKind::kXlsx: return "Adressen.xlsx";
  }
  return "";
}

const std::string kLastName = "Name " + std::to_string(ChangingSource::kRecords - 1);

}  // namespace

const char* NameOf(FileKind kind) {
  switch (kind) {
    case FileKind::kText: return "text";
    case FileKind::kDBase: return "dBase";
    case FileKind::kAccess: return "Access";
    case FileKind::kXls: return "xls";
    case FileKind::kXlsx: return "xlsx";
  }
  return "";
}

const char* NameOf(FileEvent event) {
  switch (event) {
    case FileEvent::kNothing: return "nothing";
    case FileEvent::kTouched: return "touched";
    case FileEvent::kGrown: return "grown";
    case FileEvent::kRewritten: return "rewritten";
    case FileEvent::kCut: return "cut";
    case FileEvent::kVanished: return "vanished";
    case FileEvent::kUnreadable: return "unreadable";
  }
  return "";
}

ChangingSource::ChangingSource(FileKind kind, const std::string& folder)
    : kind_(kind), path_(JoinPath(folder, FileNameOf(kind))) {
  Overwrite(Content(kind, kRecords, kLastName));
}

std::string ChangingSource::Content(FileKind kind, int records, const std::string& last_name) {
  switch (kind) {
    case FileKind::kText: return TextContent(records, last_name);
    case FileKind::kDBase: return DBaseContent(records, last_name);
    case FileKind::kAccess: return AccessContent(records, last_name);
    case FileKind::kXls: return XlsContent(records, last_name);
    case FileKind::kXlsx: return XlsxContent(records, last_name);
  }
  return {};
}

// Into the same file, as programs do that keep it open.
void ChangingSource::Overwrite(const std::string& bytes) const {
  std::ofstream file(path_, std::ios::binary | std::ios::trunc);
  file << bytes;
  if (!file.flush()) throw std::runtime_error("cannot write " + path_);
}

void ChangingSource::Use(Session& session) const {
  session.ColumnHeadings = true;
  session.FileFormat = "ANSI";
  session.Delimiter = ";";
  session.FileName = path_;
  session.Table = "Adressen";
  session.Database = path_;
  switch (kind_) {
    case FileKind::kText: session.Provider = kTextSource; break;
    case FileKind::kDBase:
      session.Provider = kDBaseSource;
      session.Database = GetFolderOfPath(path_);
      break;
    case FileKind::kAccess: session.Provider = kAccessSource; break;
    case FileKind::kXls:
    case FileKind::kXlsx:
      session.Provider = kExcelSource;
      session.Table = "Adressen$";
      break;
  }
  const ConnectResult result = ConnectFromSession(session);
  if (!result.connected) throw std::runtime_error(result.reason);
}

void ChangingSource::LetHappen(FileEvent event) const {
  switch (event) {
    case FileEvent::kNothing: break;
    case FileEvent::kTouched:
      std::filesystem::last_write_time(path_,
                                       std::filesystem::file_time_type::clock::now() + std::chrono::hours(1));
      break;
    case FileEvent::kGrown: Overwrite(Content(kind_, kRecords + 1, kLastName)); break;
    case FileEvent::kRewritten: Overwrite(Content(kind_, kRecords, "Fremd " + kLastName.substr(6))); break;
    case FileEvent::kCut: std::filesystem::resize_file(path_, std::filesystem::file_size(path_) / 2); break;
    case FileEvent::kVanished: std::filesystem::remove(path_); break;
    case FileEvent::kUnreadable:
      std::filesystem::remove(path_);
      std::filesystem::create_directory(path_);
      break;
  }
}

}  // namespace kestrel::testing
