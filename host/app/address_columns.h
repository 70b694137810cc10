// What a column of an address list is called on the screen, and how it is shown and ordered.
#pragma once

#include <QString>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::host {

// A number names something, a count tells how many.
enum class ColumnKind { kText, kNumber, kCount, kDate, kTime };

struct AddressColumn {
  std::string name;  // in the database
  QString heading;
  ColumnKind kind = ColumnKind::kText;
  std::string in_statements = {};  // where that is not its name: in quotes

  const std::string& Statement() const { return in_statements.empty() ? name : in_statements; }
};

// A column that the host does not know is a text and is called by its name.
AddressColumn DescribeColumn(std::string_view name);

// The text of a column as a person reads it: dates as day.month.year, times behind their date, counts by thousands.
QString ShownText(const AddressColumn& column, std::string_view text);

}  // namespace kestrel::host
