// The rights of nobody in particular, which files and folders can be closed to.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

namespace kestrel::testing {

// While it lives, this process and those that it starts have them; without effect for a plain user.
class WithoutPrivileges {
 public:
  WithoutPrivileges() {
    if (::geteuid() == 0) {
      EXPECT_EQ(::seteuid(65534), 0);
    }
  }
  WithoutPrivileges(const WithoutPrivileges&) = delete;
  WithoutPrivileges& operator=(const WithoutPrivileges&) = delete;
  ~WithoutPrivileges() {
    if (::getuid() == 0) {
      EXPECT_EQ(::seteuid(0), 0);
    }
  }
};

}  // namespace kestrel::testing
