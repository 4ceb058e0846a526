/// Statuses of the analysis routines in tests: printed by name, and taken from kernels that throw them.
#pragma once
#include <gtest/gtest.h>

#include <ostream>

#include "anautils.h"
#include "failure.h"

namespace anautilstest {

/// A status that prints its text.
struct AnaStatusOf {
  LONG status;
  friend bool operator==(const AnaStatusOf& a, const AnaStatusOf& b) { return a.status == b.status; }
  friend std::ostream& operator<<(std::ostream& out, const AnaStatusOf& named) {
    return out << std::hex << named.status << std::dec << ": " << AnaStatusText(static_cast<ULONG>(named.status));
  }
};
#define EXPECT_ANA(expected, ...) EXPECT_EQ(anautilstest::AnaStatusOf{expected}, anautilstest::AnaStatusOf{__VA_ARGS__})
#define ASSERT_ANA(expected, ...) ASSERT_EQ(anautilstest::AnaStatusOf{expected}, anautilstest::AnaStatusOf{__VA_ARGS__})

/// The status with which an operation of a kernel fails; ANA_OK when it does not.
template <typename Operation>
LONG failureOf(Operation&& operation) {
  try {
    operation();
    return ANA_OK;
  } catch (const anautils::Failure& failure) {
    return failure.status();
  }
}

}  // namespace anautilstest
