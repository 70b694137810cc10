// The version that headers and library tell.
#include "kestrel/version.h"

#include <gtest/gtest.h>

#include <string>

namespace kestrel {
namespace {

TEST(Version, OfTheLibraryIsThatOfItsHeaders) {
  EXPECT_EQ(Version(), std::to_string(KESTREL_VERSION_MAJOR) + "." + std::to_string(KESTREL_VERSION_MINOR) +
                           "." + std::to_string(KESTREL_VERSION_PATCH));
  EXPECT_EQ(KESTREL_VERSION,
            10000 * KESTREL_VERSION_MAJOR + 100 * KESTREL_VERSION_MINOR + KESTREL_VERSION_PATCH);
}

}  // namespace
}  // namespace kestrel
