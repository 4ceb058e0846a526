#include "ByteStream.h"

#include <limits>
#include <new>

namespace com::norvale::datatypes {
namespace {

using Bytes = std::unique_ptr<unsigned char[]>;

// No object is larger than a pointer difference can tell. Asking the allocator for more is an error that some
// of them answer by ending the process.
void checkLength(std::size_t n) {
  if (n > static_cast<std::size_t>(std::numeric_limits<std::ptrdiff_t>::max())) throw std::bad_alloc();
}

}  // namespace

ByteStream::ByteStream(const void* bytes, std::size_t n) {
  if (n > kInlineBytes) {
    checkLength(n);
    heap_ = Bytes(new unsigned char[n]);  // not zeroed: every byte is written below
  } else {
    std::memset(inline_, 0, kInlineBytes);
  }
  size_ = n;
  if (n != 0) std::memcpy(buffer(), bytes, n);
}

ByteStream& ByteStream::operator=(const ByteStream& other) {
  if (this != &other) *this = ByteStream(other);
  return *this;
}

void ByteStream::allocateHeap(std::size_t n) {
  // A spectrum is read again and again with the same length, so memory of that length is used again.
  if (n == size_) {
    std::memset(heap_.get(), 0, n);
    return;
  }
  checkLength(n);
  heap_ = Bytes(new unsigned char[n]());
  size_ = n;
}

}  // namespace com::norvale::datatypes
