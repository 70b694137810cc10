#include "formats/excel/biff_records.h"

#include <algorithm>
#include <utility>

#include "platform/base/text.h"

namespace kestrel::excel {

namespace {

constexpr std::size_t kRecordHead = 4;

constexpr std::uint8_t kWideFlag = 0x01;
constexpr std::uint8_t kPhoneticFlag = 0x04;
constexpr std::uint8_t kFormattedFlag = 0x08;

// UTF-16 that arrives in runs, as UTF-8.
class Utf16Text {
 public:
  explicit Utf16Text(std::string& text) : text_(text) {}

  void Add(char16_t unit) {
    const bool is_low = unit >= 0xDC00 && unit < 0xE000;
    if (high_ != 0) {
      const char16_t high = std::exchange(high_, u'\0');
      if (is_low) return AppendUtf8(text_, 0x10000 + ((high - 0xD800u) << 10) + (unit - 0xDC00u));
      AppendUtf8(text_, kReplacement);
    }
    if (unit >= 0xD800 && unit < 0xDC00) {
      high_ = unit;
    } else if (unit < 0x80) {
      text_.push_back(static_cast<char>(unit));
    } else {
      AppendUtf8(text_, is_low ? kReplacement : unit);
    }
  }
  void Finish() {
    if (std::exchange(high_, u'\0') != 0) AppendUtf8(text_, kReplacement);
  }

 private:
  static constexpr char32_t kReplacement = 0xFFFD;
  std::string& text_;
  char16_t high_ = 0;  // a high surrogate whose other half is still to come
};

}  // namespace

bool RecordCursor::Next() {
  const std::size_t left = stream_->size() - std::min(next_, stream_->size());
  is_cut_ = false;
  if (left < kRecordHead) return false;
  const Bytes head = stream_->Read(next_, kRecordHead, scratch_);
  type_ = ReadU16(head, 0);
  const std::size_t told = ReadU16(head, 2);
  const std::size_t length = std::min(told, left - kRecordHead);
  is_cut_ = length < told;
  offset_ = next_;
  data_ = stream_->Read(next_ + kRecordHead, length, scratch_);
  next_ += kRecordHead + length;
  return !is_cut_;
}

void ContinuedReader::StepToContinuation() {
  const Bytes head = stream_->Read(at_.end, kRecordHead, scratch_);
  if (ReadU16(head, 0) != kContinue) RaiseDamaged("ein Text endet zu früh");
  at_.offset = at_.end + static_cast<std::uint32_t>(kRecordHead);
  at_.end = at_.offset + ReadU16(head, 2);
}

void ContinuedReader::RequireByte() {
  while (at_.offset >= at_.end) StepToContinuation();
}

std::uint8_t ContinuedReader::TakeU8() {
  RequireByte();
  return ReadU8(stream_->Read(at_.offset++, 1, scratch_), 0);
}

std::uint16_t ContinuedReader::TakeU16() {
  const unsigned low = TakeU8();
  return static_cast<std::uint16_t>(low | static_cast<unsigned>(TakeU8()) << 8);
}

std::uint32_t ContinuedReader::TakeU32() {
  const std::uint32_t low = TakeU16();
  return low | static_cast<std::uint32_t>(TakeU16()) << 16;
}

void ContinuedReader::Skip(std::size_t bytes) {
  while (bytes > 0) {
    RequireByte();
    const std::size_t here = std::min<std::size_t>(bytes, at_.end - at_.offset);
    at_.offset += static_cast<std::uint32_t>(here);
    bytes -= here;
  }
}

void ContinuedReader::TakeBytes(std::size_t count, std::string& bytes) {
  while (count > 0) {
    RequireByte();
    const std::size_t here = std::min<std::size_t>(count, at_.end - at_.offset);
    bytes += CharactersOf(stream_->Read(at_.offset, here, scratch_));
    at_.offset += static_cast<std::uint32_t>(here);
    count -= here;
  }
}

template <class Use>
void ContinuedReader::ForEachRun(std::size_t count, bool wide, Use&& use) {
  while (count > 0) {
    while (at_.offset >= at_.end) {
      StepToContinuation();
      wide = (TakeU8() & kWideFlag) != 0;
    }
    const std::size_t width = wide ? 2 : 1;
    const std::size_t here = std::min<std::size_t>(count, (at_.end - at_.offset) / width);
    if (here == 0) RaiseDamaged("ein Zeichen ist unvollständig");
    use(here * width, wide);
    at_.offset += static_cast<std::uint32_t>(here * width);
    count -= here;
  }
}

void ContinuedReader::SkipCharacters(std::size_t count, bool wide) {
  ForEachRun(count, wide, [](std::size_t, bool) {});
}

void ContinuedReader::TakeCharacters(std::size_t count, bool wide, std::string& text) {
  Utf16Text utf16(text);
  ForEachRun(count, wide, [&](std::size_t size, bool is_wide) {
    const Bytes run = stream_->Read(at_.offset, size, scratch_);
    if (is_wide) {
      for (std::size_t i = 0; i < run.size(); i += 2) utf16.Add(ReadU16(run, i));
    } else {
      for (const char c : CharactersOf(run)) utf16.Add(static_cast<unsigned char>(c));
    }
  });
  utf16.Finish();
}

ContinuedReader::TextHead ContinuedReader::TakeTextHead() {
  TextHead head{TakeU16(), false, 0};
  const std::uint8_t flags = TakeU8();
  head.wide = (flags & kWideFlag) != 0;
  if ((flags & kFormattedFlag) != 0) head.trailing += std::size_t{TakeU16()} * 4;
  if ((flags & kPhoneticFlag) != 0) head.trailing += TakeU32();
  return head;
}

void ContinuedReader::SkipText() {
  const TextHead head = TakeTextHead();
  SkipCharacters(head.characters, head.wide);
  Skip(head.trailing);
}

void ContinuedReader::TakeText(std::string& text) {
  const TextHead head = TakeTextHead();
  TakeCharacters(head.characters, head.wide, text);
}

}  // namespace kestrel::excel
