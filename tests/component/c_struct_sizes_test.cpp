// Structs of the C interface that a later version has given more members.
#include <cstddef>
#include <functional>

#include "abi/structs.h"
#include "gmock/gmock.h"

namespace kestrel::abi {

namespace {

struct Grown {
  std::size_t size;
  std::int64_t first;
  std::int64_t later;
};

}  // namespace

template <>
inline constexpr std::size_t kFirstSize<Grown> = offsetof(Grown, later);

namespace {

struct OfALaterHeader {
  Grown known;
  std::int64_t unknown;
};

std::int32_t StatusOf(const std::function<void()>& step) {
  std::int32_t status = KESTREL_OK;
  Trap(step, [&](const RuntimeError& error) { status = dynamic_cast<const Misuse&>(error).status(); });
  return status;
}

TEST(CStructSizes, MembersThatAnEarlierHeaderLacksReadAs0) {
  const Grown given{kFirstSize<Grown>, 5, 7};  // 7 is the caller's, behind the struct
  const Grown read = Read(&given, "given");
  EXPECT_EQ(read.first, 5);
  EXPECT_EQ(read.later, 0);
}

TEST(CStructSizes, MembersThatAnEarlierHeaderLacksAreNotWritten) {
  Grown target{kFirstSize<Grown>, 0, 7};
  Fill(&target, {0, 5, 6}, "target");
  EXPECT_EQ(target.size, kFirstSize<Grown>);
  EXPECT_EQ(target.first, 5);
  EXPECT_EQ(target.later, 7);
}

TEST(CStructSizes, LessThanTheFirstVersionHadIsRefused) {
  Grown struct_of_none{kFirstSize<Grown> - 1, 5, 7};
  EXPECT_EQ(StatusOf([&] { Read(&struct_of_none, "given"); }), KESTREL_WRONG_SIZE);
  EXPECT_EQ(StatusOf([&] { Fill(&struct_of_none, {}, "target"); }), KESTREL_WRONG_SIZE);
}

TEST(CStructSizes, WhatALaterHeaderAddsIsRefusedWhereItIsSetAndMade0WhereItIsFilled) {
  OfALaterHeader given{{sizeof given, 5, 6}, 0};
  EXPECT_EQ(Read(&given.known, "given").later, 6);
  given.unknown = 1;
  EXPECT_EQ(StatusOf([&] { Read(&given.known, "given"); }), KESTREL_WRONG_SIZE);
  Fill(&given.known, {0, 8, 9}, "target");
  EXPECT_EQ(given.known.later, 9);
  EXPECT_EQ(given.unknown, 0);
}

}  // namespace

}  // namespace kestrel::abi
