// The records of a workbook stream: a type, a length, and up to 8,224 bytes; longer contents go on in CONTINUE
// records. Reads the format published as [MS-XLS].
#pragma once

#include <cstdint>
#include <string>

#include "formats/excel/scattered_bytes.h"
#include "platform/base/code_page.h"

namespace kestrel::excel {

// Versions, as the first record tells them.
inline constexpr std::uint16_t kBiff5 = 0x0500;
inline constexpr std::uint16_t kBiff8 = 0x0600;

enum RecordType : std::uint16_t {
  kFormula = 0x0006,
  kFormula3 = 0x0206,  // as Excel 3 and 4 wrote it; some write it to this day
  kFormula4 = 0x0406,
  kEof = 0x000A,
  kExternSheet = 0x0017,
  kName = 0x0018,
  kDateMode = 0x0022,
  kFilePass = 0x002F,
  kContinue = 0x003C,
  kCodePage = 0x0042,
  kBoundSheet = 0x0085,
  kMulRk = 0x00BD,
  kRichString = 0x00D6,
  kXf = 0x00E0,
  kSst = 0x00FC,
  kLabelSst = 0x00FD,
  kSupBook = 0x01AE,
  kNumber = 0x0203,
  kLabel = 0x0204,
  kBoolErr = 0x0205,
  kString = 0x0207,
  kRk = 0x027E,
  kFormat = 0x041E,
  kBof = 0x0809,
};

// Walks the records of a stream, which must outlive this.
class RecordCursor {
 public:
  RecordCursor(const ScatteredBytes& stream, std::size_t offset) : stream_(&stream), next_(offset) {}

  // Steps to the next record; false where the stream ends.
  bool Next();
  // Whether it ended within the content of a record, which is then there as far as data() tells.
  bool is_cut() const { return is_cut_; }

  std::uint16_t type() const { return type_; }
  // Of the record itself, its head included.
  std::size_t offset() const { return offset_; }
  std::size_t end() const { return next_; }
  // The content, valid until Next.
  Bytes data() const { return data_; }

 private:
  const ScatteredBytes* stream_;
  std::size_t next_;
  std::size_t offset_ = 0;
  std::uint16_t type_ = 0;
  bool is_cut_ = false;
  Bytes data_;
  std::string scratch_;
};

// A place in a record's content, from which reading can go on.
struct RecordPosition {
  std::uint32_t offset = 0;  // in the stream
  std::uint32_t end = 0;     // of the record
};

// Reads the content of a record and of the CONTINUE records behind it as one.
class ContinuedReader {
 public:
  ContinuedReader(const ScatteredBytes& stream, RecordPosition position) : stream_(&stream), at_(position) {}

  RecordPosition position() const { return at_; }

  std::uint8_t TakeU8();
  std::uint16_t TakeU16();
  std::uint32_t TakeU32();
  void Skip(std::size_t bytes);
  // Appends `count` bytes.
  void TakeBytes(std::size_t count, std::string& bytes);

  // Characters as BIFF8 stores them: 16 bits each (`wide`) or their lower 8 bits. Where a new record begins
  // within them, a byte tells again whether they are wide.
  void SkipCharacters(std::size_t count, bool wide);
  // Appends them as UTF-8.
  void TakeCharacters(std::size_t count, bool wide, std::string& text);

  // A text with its head: length, kind, and the lengths of what stands behind the characters (formatting,
  // phonetic).
  void SkipText();
  // Appends it and stays behind its characters.
  void TakeText(std::string& text);

 private:
  // What precedes the characters of a text.
  struct TextHead {
    std::size_t characters;
    bool wide;
    std::size_t trailing;  // bytes behind the characters
  };
  TextHead TakeTextHead();
  // Makes sure that a byte of the current record is left, stepping to the CONTINUE record behind it if need be.
  void RequireByte();
  void StepToContinuation();
  // Hands each run of characters that lies together to `use(bytes, wide)`.
  template <class Use>
  void ForEachRun(std::size_t count, bool wide, Use&& use);

  const ScatteredBytes* stream_;
  RecordPosition at_;
  std::string scratch_;
};

}  // namespace kestrel::excel
