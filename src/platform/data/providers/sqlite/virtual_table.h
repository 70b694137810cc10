// What SQLite calls of a virtual table, for MemoryIndexedTable.
#pragma once

#include <memory>
#include <string>
#include <string_view>

struct sqlite3_value;

namespace kestrel::sqlite {

class Database;
class MemoryIndexedTable;

// The text of a value that is neither null nor a blob, good until the value is used again.
std::string_view TextOf(sqlite3_value* value);

// Makes the table available as a module of its database, which then shares it until DropModule. Error 3000.
void RegisterModule(const std::string& name, const std::shared_ptr<MemoryIndexedTable>& table);
bool HasModule(const Database& database, const std::string& name);
void DropModule(const Database& database, const std::string& name);

}  // namespace kestrel::sqlite
