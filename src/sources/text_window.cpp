#include "sources/text_window.h"

#include <algorithm>

#include "platform/base/runtime_error.h"

namespace kestrel {

TextWindow::TextWindow(const std::string& path) : file_(path) {
  Fill(0, kWindowSize);
  if (end_ < kWindowSize) {
    is_whole_ = true;
    file_.Close();
  } else if (!file_.IsRegular()) {
    ReadToEnd();
  }
}

void TextWindow::Fill(std::size_t begin, std::size_t size) {
  buffer_.Reserve(size + kTail);
  // Nothing is held while reading may fail.
  begin_ = end_ = 0;
  const std::size_t got =
      file_.IsRegular() ? file_.ReadAt(begin, buffer_.data(), size) : file_.Read(buffer_.data(), size);
  begin_ = begin;
  end_ = begin + got;
  buffer_.data()[got] = line_end_;
}

void TextWindow::ReadToEnd() {
  for (std::size_t got = end_; got != 0; end_ += got) {
    buffer_.Reserve(end_ + std::max(end_, kWindowSize) + kTail);
    got = file_.Read(buffer_.data() + end_, buffer_.capacity() - kTail - end_);
  }
  is_whole_ = true;
  file_.Close();
}

TextWindow::Part TextWindow::From(std::size_t position) {
  // What the constructor has read is not read again.
  if (!is_whole_ && (position != begin_ || end_ - begin_ != kWindowSize)) Fill(position, kWindowSize);
  return {{buffer_.data(), end_ - begin_}, begin_, is_whole_ || end_ - begin_ < kWindowSize};
}

std::string_view TextWindow::All() {
  if (!is_whole_) {
    // One byte more than expected, so that the end is seen at once.
    std::size_t size = std::max(file_.SizeAtOpening(), kWindowSize) + 1;
    for (Fill(0, size); end_ == size; Fill(0, size)) size *= 2;
    is_whole_ = true;
    file_.Close();
  }
  return {buffer_.data(), end_};
}

void TextWindow::SetLineEnd(char line_end) {
  line_end_ = line_end;
  buffer_.data()[end_ - begin_] = line_end;
}

void TextWindow::MoveTo(std::size_t begin, std::size_t end) {
  Fill(begin, std::max(end - begin, kWindowSize));
  if (end_ >= end && !file_.HasChanged()) return;
  begin_ = end_ = 0;
  file_.RaiseChanged();
}

}  // namespace kestrel
