#include "sources/text_window.h"

#include <algorithm>

namespace kestrel {

namespace {

constexpr std::size_t RoundDown(std::size_t position) {
  return position / WatchedFile::kPart * WatchedFile::kPart;
}

}  // namespace

TextWindow::TextWindow(const std::string& path) : file_(path) {
  constexpr int kAttempts = 5;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    Fill(0, kWindowSize);
    if (file_.size() > kWindowSize) return;
    // A file that has been written to may be a new one of which its old size is only a part. One that never
    // rests is taken as far as it stays the same.
    if (file_.WasWritten() && attempt + 1 < kAttempts) {
      file_.BeginAnew();
      continue;
    }
    if (IsOfOneTime()) {
      is_whole_ = true;
      file_.Close();
      return;
    }
    file_.BeginAnew();
  }
  file_.RaiseChanged();
}

void TextWindow::Fill(std::size_t begin, std::size_t size) {
  size = std::min(size, file_.size() - begin);
  buffer_.Reserve(size + kTail);
  // Nothing is held while reading may fail.
  begin_ = end_ = 0;
  const std::size_t got = file_.Read(begin, buffer_.data(), size);
  begin_ = begin;
  end_ = begin + got;
  buffer_.data()[got] = line_end_;
}

bool TextWindow::IsOfOneTime() {
  const std::size_t size = file_.size();
  return end_ == size && (file_.IsUnchanged() || file_.Read(0, buffer_.data(), size) == size);
}

TextWindow::Part TextWindow::From(std::size_t position) {
  const std::size_t begin = RoundDown(position);
  // What the constructor has read is not read again.
  if (!is_whole_ && (begin != begin_ || end_ - begin_ != kWindowSize)) {
    Fill(begin, kWindowSize);
    if (end_ < std::min(begin + kWindowSize, file_.size())) file_.RaiseChanged();
  }
  return {{buffer_.data(), end_ - begin_}, begin_, end_ == file_.size()};
}

std::string_view TextWindow::All() {
  if (!is_whole_) {
    Fill(0, file_.size());
    if (!IsOfOneTime()) file_.RaiseChanged();
    is_whole_ = true;
    file_.Close();
  }
  return {buffer_.data(), end_};
}

void TextWindow::Shrink() {
  if (is_whole_ || buffer_.capacity() <= 2 * kWindowSize) return;
  begin_ = end_ = 0;
  buffer_.Release();
}

void TextWindow::Release() {
  begin_ = end_ = 0;
  is_whole_ = true;
  buffer_.Release();
  file_.Close();
}

void TextWindow::SetLineEnd(char line_end) {
  line_end_ = line_end;
  buffer_.data()[end_ - begin_] = line_end;
}

void TextWindow::MoveTo(std::size_t begin, std::size_t end) {
  const std::size_t from = RoundDown(begin);
  const std::size_t to = RoundDown(end + WatchedFile::kPart - 1);
  Fill(from, std::max(to - from, kWindowSize));
  if (end_ >= end) return;
  begin_ = end_ = 0;
  file_.RaiseChanged();
}

}  // namespace kestrel
