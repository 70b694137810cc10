#include "schema/upgrade.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <vector>

#include "kestrel/open_connection.h"
#include "kestrel/transaction.h"
#include "platform/base/file.h"
#include "platform/base/file_descriptor.h"
#include "platform/base/text.h"
#include "schema/destination.h"
#include "schema/host_schema.h"
#include "schema/own_tables.h"

namespace kestrel::host {

namespace {

constexpr std::array kSteps = {UpgradeStep{2, AddTargetLists}};
static_assert(kSteps.back().version == kOwnVersion);

[[noreturn]] void Refuse(const std::string& reason) {
  throw RuntimeError(ErrorNumber::kInvalidProcedureCall, reason);
}

std::string Literal(std::string_view text) { return "'" + ReplaceAll(text, "'", "''") + "'"; }

// Of a version's copy the first name that is not taken: "...2", "...2-2", "...2-3".
template <class IsTaken>
std::string FreeName(const std::string& start, const std::string& between, const std::string& end,
                     IsTaken&& is_taken) {
  std::string name = start + end;
  for (int number = 2; is_taken(name); ++number) name = start + between + std::to_string(number) + end;
  return name;
}

// The file of an SQLite database; empty for one in memory.
std::string FileOf(Connection& connection) {
  return std::string(
      connection.OpenRecordset("SELECT file FROM pragma_database_list WHERE name = 'main'")->TextAt(0));
}

// An empty one. Who may not read the other file may not read this one either.
FileDescriptor MakeFileLike(const std::string& path, const std::string& other) {
  struct stat status {};
  constexpr mode_t kPermissions = 0777;
  if (::stat(other.c_str(), &status) != 0) throw ErrorFromErrno(errno, other);
  FileDescriptor file(
      ::open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, status.st_mode & kPermissions));
  if (!file.IsOpen()) throw ErrorFromErrno(errno, path);
  return file;
}

void Remove(const std::string& path) {
  Trap([&] { DeleteFile(path); }, [](const RuntimeError&) {});
}

// By a connection of its own: no copy is made within a transaction, and the one at hand keeps others from writing. The copy
// has its name only once it is whole; until then an empty file keeps that.
std::string CopySqlite(Connection& connection, int version) {
  const std::string file = FileOf(connection);
  if (file.empty()) return {};
  const std::string extension = std::filesystem::path(file).extension().string();
  const std::string start = file.substr(0, file.size() - extension.size());
  std::string copy = FreeName(start + "-vor-Fassung-" + std::to_string(version), "-", extension,
                              [](const std::string& path) { return !IsMissing(path); });
  const std::string unfinished = copy + ".unfertig";
  bool is_made = false;
  const auto make = [&] {
    MakeFileLike(copy, file);
    is_made = true;
    // Of somebody whose program ended.
    Remove(unfinished);
    const FileDescriptor made = MakeFileLike(unfinished, file);
    const ConnectionPtr source =
        OpenConnection("Provider=SQLite;Data Source=\"" + ReplaceAll(file, "\"", "\"\"") + "\"");
    source->Execute("VACUUM INTO " + Literal(unfinished));
    if (::fsync(made.get()) != 0 || std::rename(unfinished.c_str(), copy.c_str()) != 0) {
      throw ErrorFromErrno(errno, copy);
    }
  };
  Trap(make, [&](const RuntimeError& error) {
    for (const std::string& path : {copy, unfinished, unfinished + "-journal"}) {
      if (is_made) Remove(path);
    }
    Refuse("Die Sicherung '" + copy + "' kann nicht angelegt werden, deshalb ist nichts geändert. " +
           error.Description() +
           ". Schaffen Sie dort Platz, oder sichern Sie die Datenbank selbst und geben --backed-up an");
  });
  return copy;
}

std::string CopyOnServer(Connection& connection, int version) {
  const auto has_schema = [&](const std::string& name) {
    const auto query = connection.Prepare("SELECT 1 FROM pg_catalog.pg_namespace WHERE nspname = ?");
    query->BindText(0, name);
    return !query->Open()->IsEof();
  };
  std::string schema = FreeName("kestrel_vor_fassung_" + std::to_string(version), "_", "", has_schema);
  const auto make = [&] {
    connection.Execute("CREATE SCHEMA " + schema);
    for (const std::string& name : OwnNames()) {
      if (!HasTable(connection, name)) continue;
      const std::string table = OwnTable(connection, name);
      connection.Execute("CREATE TABLE " + schema + ".\"" + CatalogName(table) + "\" AS TABLE " + name);
    }
  };
  Trap(make, [](const RuntimeError& error) {
    Refuse("Eine Sicherung der Tabellen kann nicht angelegt werden, deshalb ist nichts geändert. " +
           error.Description() +
           ". Sichern Sie die Datenbank mit 'pg_dump', und geben Sie --backed-up an, oder lassen Sie "
           "einen Benutzer umstellen, der Schemas anlegen darf (CREATE an der Datenbank)");
  });
  return schema;
}

}  // namespace

std::span<const UpgradeStep> UpgradeSteps() { return kSteps; }

Upgrade UpgradeOwnTables(Connection& connection, Backup backup, std::span<const UpgradeStep> steps) {
  Upgrade upgrade;
  const auto run = [&] {
    InTransaction(connection, [&] {
      upgrade.from = upgrade.to = VersionOfOwnTables(connection);
      const int last = steps.back().version;
      if (upgrade.from > last) FindOwnTables(connection);
      if (upgrade.from >= last) return;
      // On a server two could begin at once; the second one waits here and finds nothing to do.
      if (!IsSqlite(connection)) {
        connection.Execute("LOCK TABLE Importspalten IN ACCESS EXCLUSIVE MODE");
        upgrade.from = upgrade.to = VersionOfOwnTables(connection);
        if (upgrade.from >= last) return;
      }
      if (backup == Backup::kMake) {
        upgrade.backup = IsSqlite(connection) ? CopySqlite(connection, last) : CopyOnServer(connection, last);
      }
      for (const UpgradeStep& step : steps) {
        if (step.version <= upgrade.from) continue;
        step.run(connection);
        SetOwnVersion(connection, step.version);
        upgrade.to = step.version;
      }
    });
  };
  Trap(run, [&](const RuntimeError& error) {
    if (!error.Is(ErrorNumber::kDatabase)) throw;
    const bool is_copy_there = IsSqlite(connection) && !upgrade.backup.empty();
    throw RuntimeError(error.Number(),
                       "Die Tabellen sind geblieben, wie sie waren: Das Umstellen ist "
                       "gescheitert. " +
                           error.Description() +
                           (is_copy_there ? ". Die Sicherung ist '" + upgrade.backup + "'" : ""));
  });
  return upgrade;
}

}  // namespace kestrel::host
