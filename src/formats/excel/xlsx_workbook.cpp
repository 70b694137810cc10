#include "formats/excel/xlsx_workbook.h"

#include <charconv>
#include <utility>

#include "formats/excel/cell_reference.h"
#include "formats/excel/other_files.h"
#include "formats/excel/xlsx_sheet.h"
#include "formats/excel/xml_stream.h"
#include "platform/base/text.h"

namespace kestrel::excel {

namespace {

using Node = XmlStream::Node;

// An archive cannot have more.
constexpr std::size_t kMostParts = 65536;

bool IsOn(std::optional<std::string_view> flag) { return flag == "1" || flag == "true"; }

std::optional<std::size_t> ParseIndex(std::optional<std::string_view> text) {
  std::size_t number = 0;
  if (!text) return std::nullopt;
  const auto [end, error] = std::from_chars(text->data(), text->data() + text->size(), number);
  if (error != std::errc() || end != text->data() + text->size()) return std::nullopt;
  return number;
}

// The folder part of a part's name with its "/", and the rest.
std::pair<std::string, std::string> SplitPartName(const std::string& part) {
  const std::size_t slash = part.rfind('/');
  if (slash == std::string::npos) return {"", part};
  return {part.substr(0, slash + 1), part.substr(slash + 1)};
}

// A part's name as another part in `folder` gives it: from the root, or from that folder.
std::string ResolvePart(const std::string& folder, const std::string& target) {
  if (target.starts_with('/')) return target.substr(1);
  std::string base = folder;
  std::string_view rest = target;
  while (rest.starts_with("../") && !base.empty()) {
    rest.remove_prefix(3);
    base.pop_back();
    base.erase(base.rfind('/') + 1);
  }
  return base + std::string(rest);
}

}  // namespace

XlsxWorkbook::XlsxWorkbook(std::string file)
    : file_(std::move(file)), archive_(BytesOf(file_)), budget_(file_.size()) {
  ReadWorkbookPart(FindWorkbookPart());
}

XlsxWorkbook::Relations XlsxWorkbook::ReadRelations(const std::string& part) {
  const auto [folder, name] = SplitPartName(part);
  Relations relations;
  const ZipArchive::Part* list = archive_.Find(folder + "_rels/" + name + ".rels");
  if (list == nullptr) return relations;
  XmlStream xml(archive_, *list, budget_, XmlStream::kSmallPart);
  for (Node node = xml.Next(); node != Node::kEndOfPart; node = xml.Next()) {
    if (node != Node::kStart || xml.name() != "Relationship") continue;
    const std::string type(xml.Attribute("Type").value_or(""));
    const std::string target = ResolvePart(folder, std::string(xml.Attribute("Target").value_or("")));
    if (relations.size() > kMostParts) RaiseDamaged("ein Teil verweist auf zu viele Teile");
    relations[std::string(xml.Attribute("Id").value_or(""))] = Relation{SplitPartName(type).second, target};
  }
  return relations;
}

std::string XlsxWorkbook::FindWorkbookPart() {
  for (const auto& [id, relation] : ReadRelations("")) {
    if (relation.type != "officeDocument" || archive_.Find(relation.part) == nullptr) continue;
    if (!relation.part.ends_with(".bin")) return relation.part;
    throw FormatError(
        "Die Arbeitsmappe ist binär gespeichert (.xlsb); sie muss als .xlsx oder .xls gespeichert "
        "werden, bevor sie gelesen werden kann");
  }
  RaiseOtherContent(archive_);
}

void XlsxWorkbook::ReadWorkbookPart(const std::string& part) {
  const ZipArchive::Part* found = archive_.Find(part);
  const Relations relations = ReadRelations(part);
  for (const auto& [id, relation] : relations) {
    if (relation.type == "styles") ReadStyles(relation.part);
    if (relation.type == "sharedStrings") shared_strings_part_ = relation.part;
  }
  std::vector<DefinedName> names;
  std::optional<DefinedName> open_name;
  XmlStream xml(archive_, *found, budget_, XmlStream::kSmallPart);
  for (Node node = xml.Next(); node != Node::kEndOfPart; node = xml.Next()) {
    if (node == Node::kText && open_name) open_name->formula += xml.text();
    if (node == Node::kEnd && open_name) names.push_back(*std::exchange(open_name, std::nullopt));
    if (node != Node::kStart) continue;
    if (xml.name() == "workbookPr") {
      days_from_1904_ = IsOn(xml.Attribute("date1904"));
    } else if (xml.name() == "sheet") {
      const auto relation = relations.find(std::string(xml.PrefixedAttribute("id").value_or("")));
      // Where it is not told what a sheet is, it is listed, and cannot be opened.
      const bool is_told = relation != relations.end();
      const bool has_cells = !is_told || relation->second.type == "worksheet";
      sheet_numbers_.push_back(has_cells ? std::optional(sheet_names_.size()) : std::nullopt);
      if (!has_cells) continue;
      if (sheet_names_.size() > kMostParts) RaiseDamaged("sie nennt zu viele Tabellenblätter");
      sheet_names_.emplace_back(xml.Attribute("name").value_or(""));
      sheet_parts_.push_back(is_told ? relation->second.part : "");
    } else if (xml.name() == "definedName") {
      DefinedName name{
          std::string(xml.Attribute("name").value_or("")), ParseIndex(xml.Attribute("localSheetId")), {}};
      const bool shown = !IsOn(xml.Attribute("hidden")) && !name.name.starts_with("_xlnm.");
      if (shown) open_name = std::move(name);
    }
  }
  std::unordered_map<std::string, std::size_t> sheets;
  for (std::size_t i = 0; i < sheet_names_.size(); ++i) sheets[sheet_names_[i]] = i;
  for (const DefinedName& name : names) ResolveName(name, sheets);
}

// "Tabelle1!$A$1:$D$20", "'Mit Blank'!$A$1".
void XlsxWorkbook::ResolveName(const DefinedName& defined,
                               const std::unordered_map<std::string, std::size_t>& sheets) {
  const std::size_t mark = defined.formula.rfind('!');
  if (mark == std::string::npos) return;
  std::string sheet = defined.formula.substr(0, mark);
  if (sheet.size() >= 2 && sheet.front() == '\'' && sheet.back() == '\'') {
    sheet = ReplaceAll(std::string_view(sheet).substr(1, sheet.size() - 2), "''", "'");
  }
  const auto range = ParseRange(std::string_view(defined.formula).substr(mark + 1));
  if (!range) return;
  const auto found = sheets.find(sheet);
  if (found == sheets.end()) return;
  NamedRange named{defined.name, std::nullopt, found->second, *range};
  if (defined.scope) {
    if (*defined.scope >= sheet_numbers_.size() || !sheet_numbers_[*defined.scope]) return;
    named.scope = sheet_numbers_[*defined.scope];
  }
  named_ranges_.push_back(std::move(named));
}

void XlsxWorkbook::ReadStyles(const std::string& part) {
  const ZipArchive::Part* found = archive_.Find(part);
  if (found == nullptr) RaiseDamaged("die Formate der Zellen fehlen");
  constexpr std::size_t kMostFormats = 65536;
  std::map<std::size_t, NumberStyle> custom;
  bool in_cell_formats = false;
  XmlStream xml(archive_, *found, budget_);
  // What stands behind the formats of cells can be long, and is of no use.
  for (Node node = xml.Next(); node != Node::kEndOfPart && styles_.size() < kMostFormats; node = xml.Next()) {
    if (node == Node::kEnd && xml.name() == "cellXfs") return;
    if (node != Node::kStart) continue;
    if (xml.name() == "cellXfs") in_cell_formats = true;
    const auto number = ParseIndex(xml.Attribute("numFmtId"));
    if (xml.name() == "numFmt" && number && *number < kMostFormats) {
      custom[*number] = StyleOfFormatCode(xml.Attribute("formatCode").value_or(""));
    } else if (xml.name() == "xf" && in_cell_formats) {
      const auto own = custom.find(number.value_or(0));
      constexpr std::size_t kBuiltInFormats = 164;
      const std::size_t built_in = number.value_or(0) < kBuiltInFormats ? number.value_or(0) : 0;
      styles_.push_back(own != custom.end() ? own->second : StyleOfBuiltInFormat(static_cast<int>(built_in)));
    }
  }
}

std::shared_ptr<const Sheet> XlsxWorkbook::OpenSheet(std::size_t sheet) const {
  const ZipArchive::Part* part = archive_.Find(sheet_parts_.at(sheet));
  if (part == nullptr) RaiseDamaged("ein Tabellenblatt fehlt");
  const ZipArchive::Part* strings =
      shared_strings_part_.empty() ? nullptr : archive_.Find(shared_strings_part_);
  return std::make_shared<XlsxSheet>(archive_, budget_, *part, strings, styles_, days_from_1904_);
}

}  // namespace kestrel::excel
