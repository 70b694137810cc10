#include "cli/message_frames.h"

#include <algorithm>
#include <charconv>

#include "platform/base/text.h"

namespace kestrel::cli {

namespace {

constexpr std::string_view kHeaderEnd = "\r\n\r\n";
constexpr std::string_view kContentLength = "Content-Length";

std::optional<std::size_t> LengthIn(std::string_view header) {
  std::optional<std::size_t> length;
  for (std::string_view line : Split(header, '\n')) {
    if (line.ends_with('\r')) line.remove_suffix(1);
    const std::size_t colon = line.find(':');
    if (colon == std::string_view::npos) return std::nullopt;
    if (!EqualsIgnoringCase(line.substr(0, colon), kContentLength)) continue;
    const std::string_view value = TrimBlanks(line.substr(colon + 1));
    std::size_t number = 0;
    const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
    if (error != std::errc() || end != value.data() + value.size() || length) return std::nullopt;
    length = number;
  }
  return length;
}

}  // namespace

void FrameReader::Feed(std::string_view bytes) {
  if (is_lost_) return;
  const std::size_t passed = std::min(passed_over_, bytes.size());
  passed_over_ -= passed;
  bytes_ += bytes.substr(passed);
}

std::optional<MessageFrame> FrameReader::Next() {
  if (is_lost_) return std::nullopt;
  if (!length_) {
    if (std::optional<MessageFrame> fault = ReadHeader()) return fault;
    if (!length_) return std::nullopt;
  }
  if (bytes_.size() < *length_) return std::nullopt;
  MessageFrame frame{MessageFrame::Kind::kMessage, bytes_.substr(0, *length_)};
  bytes_.erase(0, *length_);
  length_.reset();
  return frame;
}

std::optional<MessageFrame> FrameReader::ReadHeader() {
  const std::size_t end = bytes_.find(kHeaderEnd);
  if (std::min(end, bytes_.size()) > kLongestHeader) {
    is_lost_ = true;
    return MessageFrame{MessageFrame::Kind::kLost};
  }
  if (end == std::string::npos) return std::nullopt;
  const std::optional<std::size_t> length = LengthIn(std::string_view(bytes_).substr(0, end));
  bytes_.erase(0, end + kHeaderEnd.size());
  if (!length || *length > kLongestPassedOver) {
    is_lost_ = true;
    return MessageFrame{MessageFrame::Kind::kLost};
  }
  if (*length > kLongestMessage) {
    const std::size_t here = std::min(*length, bytes_.size());
    bytes_.erase(0, here);
    passed_over_ = *length - here;
    return MessageFrame{MessageFrame::Kind::kTooLong};
  }
  length_ = length;
  return std::nullopt;
}

bool IsTooDeep(std::string_view json) {
  int depth = 0;
  bool is_text = false;
  for (std::size_t i = 0; i < json.size(); ++i) {
    const char c = json[i];
    if (is_text) {
      if (c == '\\') ++i;
      if (c == '"') is_text = false;
    } else if (c == '"') {
      is_text = true;
    } else if (c == '{' || c == '[') {
      if (++depth > kDeepestMessage) return true;
    } else if (c == '}' || c == ']') {
      --depth;
    }
  }
  return false;
}

std::string Framed(std::string_view body) {
  return std::string(kContentLength) + ": " + std::to_string(body.size()) + std::string(kHeaderEnd) +
         std::string(body);
}

}  // namespace kestrel::cli
