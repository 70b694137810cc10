#include "sources/text_file.h"

#include <utility>

#include "platform/base/text.h"
#include "sources/text_line.h"

namespace kestrel {

namespace {

using ByteOrderMark = TextFile::Mark;

ByteOrderMark FindByteOrderMark(std::string_view bytes) {
  if (bytes.starts_with("\xEF\xBB\xBF")) return ByteOrderMark::kUtf8;
  if (bytes.starts_with("\xFF\xFE")) return ByteOrderMark::kUtf16Little;
  if (bytes.starts_with("\xFE\xFF")) return ByteOrderMark::kUtf16Big;
  return ByteOrderMark::kNone;
}

std::size_t SizeOf(ByteOrderMark mark) {
  if (mark == ByteOrderMark::kNone) return 0;
  return mark == ByteOrderMark::kUtf8 ? 3 : 2;
}

bool IsUtf16(ByteOrderMark mark) {
  return mark == ByteOrderMark::kUtf16Little || mark == ByteOrderMark::kUtf16Big;
}

const char* NameOf(ByteOrderMark mark) {
  switch (mark) {
    case ByteOrderMark::kUtf8: return "UTF-8 mit Kennung (BOM)";
    case ByteOrderMark::kUtf16Little: return "UTF-16 LE";
    case ByteOrderMark::kUtf16Big: return "UTF-16 BE";
    case ByteOrderMark::kNone: break;
  }
  return "";
}

// Whether there is enough of the text for its beginning.
bool HasBeginning(const LineScanner& scanner, std::size_t end) {
  return scanner.record_count() > TextFile::kBeginningRecords ||
         (scanner.first_line_known() && end >= TextFile::kBeginningBytes);
}

// The first line is certain once it has ended at a CR, as an LF may turn out to end no line, and when it
// cannot be changed by what the rest of the file tells about the character set.
bool FirstLineIsCertain(const LineScanner& scanner) {
  return scanner.first_line_known() && scanner.line_end() == '\r' &&
         (!scanner.utf8() || !scanner.beyond_ascii());
}

Separators SeparatorsOf(const TextFormat& format) {
  const std::string delimiter = DelimiterOf(format);
  const std::string qualifier = QualifierOf(format);
  const auto is_ascii = [](const std::string& text) {
    return text.size() == 1 && static_cast<unsigned char>(text[0]) < 0x80;
  };
  if (!is_ascii(delimiter) || !is_ascii(qualifier) || delimiter == qualifier) return {};
  return {delimiter[0], qualifier[0], /*enclose=*/true};
}

}  // namespace

TextFile TextFile::Load(const std::string& path, const TextFormat& format, Extent extent) {
  constexpr int kAttempts = 5;
  for (int attempt = 1;; ++attempt) {
    TextFile text = LoadOnce(path, format, extent);
    // What was written meanwhile may be a new file, of which the old size is only a part. One that never rests
    // is taken as it was, as far as it stays so.
    if (extent != Extent::kWhole || attempt == kAttempts || !text.window_.WasWritten()) return text;
  }
}

TextFile TextFile::LoadOnce(const std::string& path, const TextFormat& format, Extent extent) {
  TextFile text(path);
  TextWindow& window = text.window_;
  const ByteOrderMark mark = FindByteOrderMark(window.From(0).bytes);
  text.charset_name_ = NameOf(mark);
  text.mark_ = mark;
  const bool repair = format.file_format == "ASCII";
  const Separators separators = SeparatorsOf(format);
  // All that is decoded, or the beginning of it.
  bool is_whole = true;
  const auto bytes = [&] {
    const TextWindow::Part first = window.From(0);
    is_whole = extent != Extent::kBeginning || first.is_last;
    return (is_whole ? window.All() : first.bytes).substr(SizeOf(mark));
  };
  const auto replace = [&](std::string decoded) {
    window.Release();
    text.Replace(repair ? RepairAsciiUmlauts(decoded) : std::move(decoded), format.column_headings, separators);
    if (!is_whole) text.DropLastRecord();
  };
  if (IsUtf16(mark)) {
    replace(FromUtf16(bytes(), mark == ByteOrderMark::kUtf16Big));
    return text;
  }

  LineScanner scanner(SizeOf(mark), format.column_headings, mark == ByteOrderMark::kUtf8 || !repair,
                      separators);
  for (bool done = false; !done;) {
    const TextWindow::Part part = window.From(scanner.position());
    text.end_ = part.begin + part.bytes.size();
    if (part.is_last) {
      done = scanner.Finish(part.bytes, part.begin);
    } else {
      scanner.Scan(part.bytes, part.begin);
      is_whole = extent != Extent::kBeginning || !HasBeginning(scanner, text.end_);
      done = !is_whole || (extent == Extent::kFirstLine && FirstLineIsCertain(scanner));
    }
  }
  if (mark == ByteOrderMark::kUtf8 && (repair || !scanner.utf8())) {
    replace(RepairUtf8(bytes()));
    return text;
  }
  const bool is_utf8 = mark == ByteOrderMark::kUtf8 || (scanner.utf8() && scanner.beyond_ascii());
  text.begin_ = SizeOf(mark);
  text.charset_ = is_utf8 ? Charset::kUtf8 : Charset::kWindows1252;
  text.repair_umlauts_ = repair;
  if (mark == ByteOrderMark::kNone) {
    text.charset_name_ = is_utf8 ? "UTF-8" : repair ? "ASCII (DOS-Umlaute)" : "Windows-1252";
  }
  window.SetLineEnd(scanner.line_end());
  text.first_line_.assign(window.Hold(SizeOf(mark), scanner.first_line_end()),
                          scanner.first_line_end() - SizeOf(mark));
  window.Shrink();
  text.TakeLines(scanner);
  if (!is_whole) text.DropLastRecord();
  return text;
}

void TextFile::Replace(std::string text, bool header, const Separators& separators) {
  decoded_ = std::move(text);
  end_ = decoded_.size();
  decoded_.append(1 + LineScanner::kPadding, '\0');
  LineScanner scanner(0, header, /*check_utf8=*/true, separators);
  const std::string_view content = std::string_view(decoded_).substr(0, end_);
  while (!scanner.Finish(content, 0)) continue;
  charset_ = Charset::kUtf8;
  first_line_ = content.substr(0, scanner.first_line_end());
  TakeLines(scanner);
  decoded_[end_] = line_end_;
}

void TextFile::TakeLines(LineScanner& scanner) {
  line_end_ = scanner.line_end();
  first_line_end_ = scanner.first_line_end();
  index_ = scanner.TakeIndex();
}

void TextFile::DropLastRecord() {
  if (index_.size() == 0) return;
  end_ = index_[index_.size() - 1];
  index_.Truncate(index_.size() - 1);
}

std::string TextFile::TakeFirstLine() {
  const std::string line = std::move(first_line_);
  first_line_.clear();
  return Decode(line);
}

std::string TextFile::FirstLine() {
  return DecodeAsItStands({Bytes(begin_, first_line_end_), first_line_end_ - begin_});
}

std::string TextFile::LineEnd() {
  if (line_end_ != '\r') return "\n";
  const std::size_t behind = first_line_end_ + 1;
  return behind < end_ && *Bytes(behind, behind + 1) == '\n' ? "\r\n" : "\r";
}

TextSurvey TextFile::Survey() {
  LineEndCounter counter;
  if (!decoded_.empty()) {
    counter.Scan(std::string_view(decoded_).substr(0, end_));
  } else {
    for (TextWindow::Part part; !part.is_last;) {
      part = window_.From(part.begin + part.bytes.size());
      counter.Scan(part.bytes);
    }
  }
  counter.Finish();
  return {charset_name_, counter.crlf(), counter.lf(), counter.cr()};
}

std::string TextFile::Decode(std::string_view bytes) const {
  std::string decoded = DecodeAsItStands(bytes);
  // Not by "?:", which would copy what may be most of the file.
  if (repair_umlauts_) return RepairAsciiUmlauts(decoded);
  return decoded;
}

}  // namespace kestrel
