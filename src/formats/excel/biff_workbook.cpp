#include "formats/excel/biff_workbook.h"

#include <limits>
#include <utility>

#include "formats/excel/biff_decryption.h"
#include "formats/excel/biff_sheet.h"
#include "formats/excel/other_files.h"

namespace kestrel::excel {

namespace {

CompoundStream FindWorkbookStream(Bytes file) {
  // Nothing tells how long a bare stream should be.
  if (!CompoundFile::IsOne(file)) return CompoundStream{ScatteredBytes(file), false};
  const CompoundFile container(file);
  if (auto stream = container.FindStream("Workbook")) return *std::move(stream);
  if (auto stream = container.FindStream("Book")) return *std::move(stream);
  RaiseOtherContent(container);
}

// What is found in `file`, made plain there.
CompoundStream OpenWorkbookStream(std::string& file) {
  CompoundStream stream = FindWorkbookStream(BytesOf(file));
  if (stream.bytes.size() > std::numeric_limits<std::uint32_t>::max())
    RaiseDamaged("sie ist größer als ihr Format erlaubt");
  DecryptStream(file, stream.bytes);
  return stream;
}

}  // namespace

bool BiffWorkbook::IsOne(Bytes file) {
  if (CompoundFile::IsOne(file)) return true;
  // The first record of a stream; its upper byte tells the version.
  return file.size() >= 4 && ReadU8(file, 0) == 0x09 && (ReadU8(file, 1) & 0xF1) == 0 && ReadU8(file, 3) == 0;
}

BiffWorkbook::BiffWorkbook(std::string file)
    : file_(std::move(file)),
      stream_(OpenWorkbookStream(file_)),
      globals_(ReadGlobals(stream_.bytes)),
      code_page_(globals_.code_page) {
  if (globals_.shared_strings) shared_strings_ = SharedStrings(stream_.bytes, *globals_.shared_strings);
}

NumberStyle BiffWorkbook::StyleOf(std::uint16_t extended_format) const {
  return extended_format < globals_.styles.size() ? globals_.styles[extended_format] : NumberStyle::kNumber;
}

void BiffWorkbook::AppendInlineText(RecordPosition position, std::string& text) const {
  ContinuedReader reader(stream_.bytes, position);
  if (globals_.is_biff8) return reader.TakeText(text);
  std::string bytes;
  reader.TakeBytes(reader.TakeU16(), bytes);
  code_page_.AppendTo(text, bytes);
}

std::shared_ptr<const Sheet> BiffWorkbook::OpenSheet(std::size_t sheet) const {
  return std::make_shared<BiffSheet>(std::static_pointer_cast<const BiffWorkbook>(shared_from_this()),
                                     globals_.sheet_offsets.at(sheet));
}

}  // namespace kestrel::excel
