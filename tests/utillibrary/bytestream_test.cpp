#include "ByteStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <new>
#include <utility>
#include <vector>

// Heap memory for arrays in this program, counted and made to fail on demand.
namespace {
int n_array_allocations = 0;
bool allocations_fail = false;
// No machine has as much. It is refused here, because sanitizers end the program on such a request.
constexpr std::size_t kNeverServed = std::numeric_limits<std::size_t>::max() / 4;
}  // namespace

void* operator new[](std::size_t n) {
  ++n_array_allocations;
  void* memory = allocations_fail || n > kNeverServed ? nullptr : std::malloc(n);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete[](void* memory) noexcept {
  std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using com::norvale::datatypes::ByteStream;
using Bytes = std::vector<unsigned char>;

constexpr std::size_t kInline = ByteStream::kInlineBytes;
const std::size_t kSizes[] = {0, 1, 8, kInline - 1, kInline, kInline + 1, 65536};

Bytes pattern(std::size_t n) {
  Bytes bytes(n);
  for (std::size_t i = 0; i < n; ++i) bytes[i] = static_cast<unsigned char>(17 * i + n + 1);
  return bytes;
}

ByteStream streamOf(std::size_t n) {
  const Bytes bytes = pattern(n);
  return {bytes.data(), n};
}

Bytes contents(const ByteStream& stream) {
  if (stream.size() == 0) return {};
  return {stream.data(), stream.data() + stream.size()};
}

bool isEmpty(const ByteStream& stream) {
  return stream.size() == 0 && stream.data() == nullptr;
}

TEST(ByteStream, AllocatedBytesAreZeroWhateverWasThereBefore) {
  for (const std::size_t before : kSizes) {
    for (const std::size_t n : kSizes) {
      SCOPED_TRACE(testing::Message() << before << " bytes, then " << n);
      ByteStream stream = streamOf(before);
      stream.allocate(n);
      EXPECT_EQ(stream.size(), n);
      EXPECT_EQ(stream.buffer() == nullptr, n == 0);
      EXPECT_EQ(contents(stream), Bytes(n));
      std::fill_n(stream.buffer(), n, static_cast<unsigned char>(0xAB));
      EXPECT_EQ(contents(stream), Bytes(n, 0xAB));
      stream.clear();
      EXPECT_TRUE(isEmpty(stream));
    }
  }
}

TEST(ByteStream, CopiesAreIndependentAndMovesLeaveNothingBehind) {
  for (const std::size_t from : kSizes) {
    for (const std::size_t to : kSizes) {
      SCOPED_TRACE(testing::Message() << from << " bytes over " << to);
      ByteStream source = streamOf(from);
      ByteStream target = streamOf(to);
      target = source;
      EXPECT_EQ(contents(target), pattern(from));
      std::fill_n(target.buffer(), from, static_cast<unsigned char>(0));
      EXPECT_EQ(contents(source), pattern(from));

      target = streamOf(to);
      target = std::move(source);
      EXPECT_EQ(contents(target), pattern(from));
      EXPECT_TRUE(isEmpty(source));  // NOLINT(bugprone-use-after-move): empty is what it must be

      ByteStream copy(target);
      const ByteStream moved(std::move(copy));
      EXPECT_EQ(contents(moved), pattern(from));
      EXPECT_TRUE(isEmpty(copy));  // NOLINT(bugprone-use-after-move)
    }
  }
}

TEST(ByteStream, AssignmentToItselfKeepsTheBytes) {
  for (const std::size_t n : kSizes) {
    ByteStream stream = streamOf(n);
    ByteStream& same = stream;
    stream = same;
    EXPECT_EQ(contents(stream), pattern(n));
    stream = std::move(same);
    EXPECT_EQ(contents(stream), pattern(n));
  }
}

TEST(ByteStream, NoBytesNeedNoAddress) {
  EXPECT_TRUE(isEmpty(ByteStream(nullptr, 0)));
}

TEST(ByteStream, ImpossibleSizeIsRefusedAndKeepsTheBytes) {
  constexpr std::size_t kMax = std::numeric_limits<std::size_t>::max();
  for (const std::size_t before : kSizes) {
    ByteStream stream = streamOf(before);
    for (const std::size_t n : {kMax, kMax - 1, kMax - kInline, kMax / 2 + 1, kMax / 2}) {
      SCOPED_TRACE(testing::Message() << before << " bytes, then " << n);
      EXPECT_THROW(stream.allocate(n), std::bad_alloc);
      EXPECT_EQ(contents(stream), pattern(before));
    }
  }
  const unsigned char byte = 1;
  EXPECT_THROW(ByteStream(&byte, kMax), std::bad_alloc);
}

TEST(ByteStream, ExhaustedMemoryKeepsTheBytes) {
  const ByteStream large = streamOf(kInline + 1);
  for (const std::size_t before : kSizes) {
    ByteStream stream = streamOf(before);
    bool assigned = true;
    bool allocated = true;
    allocations_fail = true;
    try {
      stream = large;
    } catch (const std::bad_alloc&) {
      assigned = false;
    }
    try {
      stream.allocate(kInline + 2);
    } catch (const std::bad_alloc&) {
      allocated = false;
    }
    allocations_fail = false;
    EXPECT_FALSE(assigned);
    EXPECT_FALSE(allocated);
    EXPECT_EQ(contents(stream), pattern(before));
  }
}

TEST(ByteStream, HeapMemoryIsTakenOnlyForLargeBuffersOfANewLength) {
  ByteStream stream;
  const int before = n_array_allocations;
  for (std::size_t n = 0; n <= kInline; ++n) stream.allocate(n);
  const ByteStream copy(stream);
  EXPECT_EQ(n_array_allocations, before);
  stream.allocate(4096);
  EXPECT_EQ(n_array_allocations, before + 1);
  stream.allocate(4096);
  EXPECT_EQ(n_array_allocations, before + 1);
}

}  // namespace
