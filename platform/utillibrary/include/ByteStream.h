#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <utility>

#include "utillibrary_export.h"

namespace com::norvale::datatypes {

/// An owned buffer of bytes, used for raw parameter values and for spectra. No header, no growth.
/// Small buffers (every numeric parameter) live inside the object and cost no allocation.
/// @threads one thread per object
class UTILLIBRARY_EXPORT ByteStream {
 public:
  /// Buffers up to this many bytes need no heap memory.
  static constexpr std::size_t kInlineBytes = 48;

  // What small buffers need is defined here, so that a caller's compiler reduces it to a few instructions.

  ByteStream() noexcept {}  // NOLINT(modernize-use-equals-default): leaves inline_ as it is
  /// A stream holding a copy of n bytes; `bytes` may be null when n is 0.
  /// @throws std::bad_alloc
  ByteStream(const void* bytes, std::size_t n);
  ByteStream(const ByteStream& other) : ByteStream(other.data(), other.size()) {}
  /// Leaves `other` empty.
  ByteStream(ByteStream&& other) noexcept { take(other); }
  ByteStream& operator=(const ByteStream& other);
  /// Leaves `other` empty, unless it is this stream.
  ByteStream& operator=(ByteStream&& other) noexcept {
    if (this != &other) take(other);
    return *this;
  }
  ~ByteStream() = default;

  /// Replaces the contents by n zero bytes. On failure the stream keeps what it had.
  /// @throws std::bad_alloc when n bytes are not to be had
  void allocate(std::size_t n) {
    if (n > kInlineBytes) return allocateHeap(n);
    std::memset(inline_, 0, kInlineBytes);  // all of it: a constant length needs no call
    heap_.reset();
    size_ = n;
  }
  /// Forgets the contents: size() is 0 and buffer() null.
  void clear() noexcept {
    heap_.reset();
    size_ = 0;
  }

  /// First byte; null while the stream is empty.
  unsigned char* buffer() noexcept {
    if (heap_) return heap_.get();
    return size_ == 0 ? nullptr : inline_;
  }
  const unsigned char* buffer() const noexcept {
    if (heap_) return heap_.get();
    return size_ == 0 ? nullptr : inline_;
  }
  /// The same bytes, read-only.
  const unsigned char* data() const noexcept { return buffer(); }
  /// Number of bytes.
  std::size_t size() const noexcept { return size_; }

 private:
  void allocateHeap(std::size_t n);

  void take(ByteStream& other) noexcept {
    heap_ = std::move(other.heap_);
    size_ = std::exchange(other.size_, 0);
    if (!heap_ && size_ != 0) std::memcpy(inline_, other.inline_, kInlineBytes);
  }

  std::unique_ptr<unsigned char[]> heap_;  // set only when size_ > kInlineBytes
  std::size_t size_ = 0;
  alignas(8) unsigned char inline_[kInlineBytes];  // all set as soon as a small buffer is in use
};

}  // namespace com::norvale::datatypes
