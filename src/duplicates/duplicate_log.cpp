// What a suspected duplicate leaves in the duplicate log.
#include <unistd.h>

#include <array>
#include <cerrno>

#include "duplicates/duplicate_check.h"
#include "kestrel/clock.h"
#include "kestrel/date.h"
#include "log/import_log.h"
#include "spec/profile_access.h"

namespace kestrel {

namespace {

bool HasNames(const Recordset& record, const std::vector<std::string>& names) {
  if (record.ColumnCount() != names.size()) return false;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (record.ColumnName(i) != names[i]) return false;
  }
  return true;
}

LogDetails DetailsOf(const DuplicateMatch& match, std::int32_t source_record) {
  LogDetails details;
  const auto add = [&](const char* name, const std::string& text) {
    if (!text.empty()) details.push_back({name, text});
  };
  const auto add_number = [&](const char* name, std::int64_t number) {
    if (number != 0) details.push_back({name, std::to_string(number)});
  };
  add_number("Record", source_record);
  add_number("AddressType", match.address_type);
  add("Address", match.reference);
  add("Name", match.name);
  add("Place", match.place);
  add_number("Key", match.key);
  add_number("EarlierRecord", match.record);
  add_number("Score", static_cast<std::int64_t>(match.score));
  add("Reason", match.reason);
  return details;
}

}  // namespace

// Which fields of the record are assigned, by position; asked of the specification again only when it or
// the record's fields have changed.
const std::vector<bool>& DuplicateCheck::AssignedFields(const Recordset& record) {
  std::shared_ptr<const ProfileImage> image = profiles_.Require(session_.SpecFile);
  if (image == kept_.assignment_image && HasNames(record, kept_.field_names)) return kept_.assigned;
  kept_.field_names.clear();
  kept_.assigned.clear();
  kept_.assignment_image = std::move(image);
  for (std::size_t i = 0; i < record.ColumnCount(); ++i) {
    kept_.field_names.emplace_back(record.ColumnName(i));
    kept_.assigned.push_back(IsFieldAssigned(*kept_.assignment_image, kept_.field_names.back()));
  }
  return kept_.assigned;
}

bool IsFieldAssigned(const ProfileImage& spec_file, std::string_view field_name) {
  return GetIniString(spec_file, "FieldAssignments", field_name, "") != "NOTASSIGNED";
}

bool DuplicateCheck::WriteDoubletRows(const Recordset& record, const DuplicateMatch* match,
                                      std::int32_t source_record) {
  if (!logs_.HasDuplicateLog()) {
    logs_.CreateDoubletProtocol(kDuplicateLogTitle, kDuplicateLogList,
                                FormatShortDate(session_.platform.clock.Now().date), session_.Description,
                                session_.SpecFile, session_.Provider);
  }
  const std::string mark = NewRecordMark();
  const std::vector<bool>& assigned = AssignedFields(record);
  LogDetails details;
  if (match != nullptr) details = DetailsOf(*match, source_record);
  bool stored = true;
  for (std::size_t i = 0; i < assigned.size(); ++i) {
    if (!assigned[i]) continue;
    if (!logs_.AddDoubletProtocolColumns(mark, record.ColumnName(i), record.TextAt(i), details)) stored = false;
    details.clear();
  }
  return stored;
}

std::string NewRecordMark() {
  std::array<unsigned char, 16> guid;
  if (getentropy(guid.data(), guid.size()) != 0) throw ErrorFromErrno(errno, "getentropy");
  // RFC 4122, section 4.4: a random GUID carries its version and variant in two fixed places.
  guid[6] = static_cast<unsigned char>((guid[6] & 0x0F) | 0x40);
  guid[8] = static_cast<unsigned char>((guid[8] & 0x3F) | 0x80);

  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string mark = "{";
  for (std::size_t i = 0; i < guid.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) mark.push_back('-');
    mark.push_back(kDigits[guid[i] >> 4]);
    mark.push_back(kDigits[guid[i] & 0x0F]);
  }
  mark.push_back('}');
  return mark;
}

}  // namespace kestrel
