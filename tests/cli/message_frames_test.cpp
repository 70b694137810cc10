#include "cli/message_frames.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace kestrel::cli {
namespace {

using Kind = MessageFrame::Kind;

std::vector<MessageFrame> Read(const std::string& bytes, std::size_t chunk = 1 << 20) {
  FrameReader reader;
  std::vector<MessageFrame> frames;
  for (std::size_t at = 0; at < bytes.size(); at += chunk) {
    reader.Feed(std::string_view(bytes).substr(at, chunk));
    while (std::optional<MessageFrame> frame = reader.Next()) frames.push_back(std::move(*frame));
  }
  return frames;
}

TEST(MessageFrames, ComeInPiecesOfAnySize) {
  const std::string bytes = Framed("{}") + "content-length:3\r\nContent-Type: x\r\n\r\nabc" + Framed("");
  for (std::size_t chunk = 1; chunk < bytes.size() + 1; ++chunk) {
    const std::vector<MessageFrame> frames = Read(bytes, chunk);
    ASSERT_EQ(frames.size(), 3u) << chunk;
    EXPECT_EQ(frames[0].body, "{}");
    EXPECT_EQ(frames[1].body, "abc");
    EXPECT_EQ(frames[2].body, "");
  }
}

TEST(MessageFrames, ATooLongOneIsPassedOverAndTheNextIsRead) {
  const std::string bytes = Framed(std::string(kLongestMessage + 1, 'x')) + Framed("next");
  for (const std::size_t chunk : {std::size_t{1000}, bytes.size()}) {
    const std::vector<MessageFrame> frames = Read(bytes, chunk);
    ASSERT_EQ(frames.size(), 2u);
    EXPECT_EQ(frames[0].kind, Kind::kTooLong);
    EXPECT_EQ(frames[1].body, "next");
  }
}

TEST(MessageFrames, WithoutALengthNothingMoreIsRead) {
  for (const char* header :
       {"X: 1\r\n\r\n", "Content-Length: -1\r\n\r\n", "Content-Length: 1x\r\n\r\n",
        "Content-Length: 99999999999999999999\r\n\r\n", "Content-Length: 2000000000\r\n\r\n",
        "Content-Length: 1\r\nContent-Length: 2\r\n\r\n", "\r\n\r\n", "{}\r\n\r\n"}) {
    const std::vector<MessageFrame> frames = Read(header + Framed("{}"));
    ASSERT_EQ(frames.size(), 1u) << header;
    EXPECT_EQ(frames[0].kind, Kind::kLost) << header;
  }
  const std::vector<MessageFrame> endless = Read(std::string(10 * kLongestHeader, 'a'), 100);
  ASSERT_EQ(endless.size(), 1u);
  EXPECT_EQ(endless[0].kind, Kind::kLost);
}

TEST(MessageFrames, DepthIsThatOfBracketsOutsideOfTexts) {
  EXPECT_FALSE(IsTooDeep(std::string(kDeepestMessage, '[')));
  EXPECT_TRUE(IsTooDeep(std::string(kDeepestMessage + 1, '[')));
  EXPECT_FALSE(IsTooDeep("\"" + std::string(1000, '{') + "\\\"" + std::string(1000, '[') + "\""));
}

// Whatever comes, in whatever pieces: what is read of it is the same, and nothing is read twice.
TEST(MessageFrames, DamagedStreamsReadAlikeInAnyPieces) {
  std::mt19937 random(4711);
  const std::string whole = Framed("{\"a\":1}") + Framed(std::string(300, 'y')) + Framed("") + Framed("[[[]]]");
  for (int round = 0; round < 3000; ++round) {
    std::string bytes = whole;
    for (unsigned damage = random() % 4 + 1; damage > 0; --damage) {
      const std::size_t at = random() % bytes.size();
      switch (random() % 3) {
        case 0: bytes[at] = static_cast<char>(random()); break;
        case 1: bytes.erase(at, random() % 20 + 1); break;
        default: bytes.insert(at, std::string(random() % 5 + 1, static_cast<char>(random()))); break;
      }
      if (bytes.empty()) bytes = "x";
    }
    const std::vector<MessageFrame> at_once = Read(bytes);
    const std::vector<MessageFrame> in_pieces = Read(bytes, random() % 7 + 1);
    ASSERT_EQ(at_once.size(), in_pieces.size()) << round;
    std::size_t read = 0;
    for (std::size_t i = 0; i < at_once.size(); ++i) {
      EXPECT_EQ(at_once[i].kind, in_pieces[i].kind);
      EXPECT_EQ(at_once[i].body, in_pieces[i].body);
      read += at_once[i].body.size();
      EXPECT_TRUE(at_once[i].kind != Kind::kLost || i + 1 == at_once.size());
    }
    EXPECT_LE(read, bytes.size());
  }
}

}  // namespace
}  // namespace kestrel::cli
