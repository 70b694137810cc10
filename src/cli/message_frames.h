// Messages as language servers exchange them: "Content-Length: N", an empty line, N bytes of JSON. What a stranger sends
// is taken apart here, so nothing of it is trusted.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::cli {

// A longer message is passed over and told.
inline constexpr std::size_t kLongestMessage = std::size_t{1} << 20;
// Beyond that nobody can tell a length from garbage.
inline constexpr std::size_t kLongestPassedOver = std::size_t{1} << 30;
inline constexpr std::size_t kLongestHeader = 4096;
inline constexpr int kDeepestMessage = 64;

struct MessageFrame {
  enum class Kind {
    kMessage,
    kTooLong,  // passed over; the next one is read
    kLost,  // no header that can be read: where the next message begins nobody knows, so this is the last frame
  };
  Kind kind = Kind::kMessage;
  std::string body = {};
};

// Takes bytes as they come and gives frames. Raises nothing but 7.
class FrameReader {
 public:
  void Feed(std::string_view bytes);
  // The next whole one; none where more bytes are needed, or behind a lost one.
  std::optional<MessageFrame> Next();
  // Whether the bytes so far end somewhere within a message or its header.
  bool IsWithinMessage() const { return !is_lost_ && (length_ || passed_over_ > 0 || !bytes_.empty()); }

 private:
  std::optional<MessageFrame> ReadHeader();

  std::string bytes_;
  std::optional<std::size_t> length_;  // of the message whose header has been read
  std::size_t passed_over_ = 0;        // bytes of it that are yet to come and are not kept
  bool is_lost_ = false;
};

// Whether brackets stand within each other more deeply than any message needs.
bool IsTooDeep(std::string_view json);

// The body with its header.
std::string Framed(std::string_view body);

}  // namespace kestrel::cli
