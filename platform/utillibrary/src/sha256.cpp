#include "sha256.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <ctime>
#include <map>
#include <mutex>
#include <tuple>

#include "file_descriptor.h"

namespace com::norvale::datatypes {
namespace {

using Word = std::uint32_t;

/// The first 32 bits of the fractional parts of the cube roots of the first 64 primes.
constexpr std::array<Word, 64> kRounds = {
    0x428A2F98, 0x71374491, 0xB5C0FBCF, 0xE9B5DBA5, 0x3956C25B, 0x59F111F1, 0x923F82A4, 0xAB1C5ED5,
    0xD807AA98, 0x12835B01, 0x243185BE, 0x550C7DC3, 0x72BE5D74, 0x80DEB1FE, 0x9BDC06A7, 0xC19BF174,
    0xE49B69C1, 0xEFBE4786, 0x0FC19DC6, 0x240CA1CC, 0x2DE92C6F, 0x4A7484AA, 0x5CB0A9DC, 0x76F988DA,
    0x983E5152, 0xA831C66D, 0xB00327C8, 0xBF597FC7, 0xC6E00BF3, 0xD5A79147, 0x06CA6351, 0x14292967,
    0x27B70A85, 0x2E1B2138, 0x4D2C6DFC, 0x53380D13, 0x650A7354, 0x766A0ABB, 0x81C2C92E, 0x92722C85,
    0xA2BFE8A1, 0xA81A664B, 0xC24B8B70, 0xC76C51A3, 0xD192E819, 0xD6990624, 0xF40E3585, 0x106AA070,
    0x19A4C116, 0x1E376C08, 0x2748774C, 0x34B0BCB5, 0x391C0CB3, 0x4ED8AA4A, 0x5B9CCA4F, 0x682E6FF3,
    0x748F82EE, 0x78A5636F, 0x84C87814, 0x8CC70208, 0x90BEFFFA, 0xA4506CEB, 0xBEF9A3F7, 0xC67178F2};

constexpr std::size_t kBlock = 64;  // bytes

Word turned(Word word, int bits) {
  return word >> bits | word << (32 - bits);
}

class Hasher {
 public:
  void add(std::string_view bytes) {
    length_ += bytes.size();
    const std::size_t missing = (kBlock - pending_.size()) % kBlock;
    const std::size_t taken = std::min(missing, bytes.size());
    pending_ += bytes.substr(0, taken);
    bytes.remove_prefix(taken);
    if (pending_.size() == kBlock) {
      mix(pending_.data());
      pending_.clear();
    }
    for (; bytes.size() >= kBlock; bytes.remove_prefix(kBlock)) mix(bytes.data());
    pending_ += bytes;
  }

  /// Ends the text: a 1 bit, zeros, and its length in bits.
  std::string finish() {
    const std::uint64_t bits = length_ * 8;
    std::string end(1, '\x80');
    while ((length_ + end.size()) % kBlock != kBlock - 8) end += '\0';
    for (int shift = 56; shift >= 0; shift -= 8) end += static_cast<char>(bits >> shift);
    add(end);
    std::string digits;
    for (const Word word : state_)
      for (int shift = 28; shift >= 0; shift -= 4) digits += "0123456789abcdef"[word >> shift & 0xF];
    return digits;
  }

 private:
  void mix(const char* block) {
    std::array<Word, 64> w;
    for (std::size_t i = 0; i < 16; ++i) {
      w[i] = 0;
      for (std::size_t k = 0; k < 4; ++k) w[i] = w[i] << 8 | static_cast<unsigned char>(block[4 * i + k]);
    }
    for (std::size_t i = 16; i < 64; ++i) {
      const Word s0 = turned(w[i - 15], 7) ^ turned(w[i - 15], 18) ^ w[i - 15] >> 3;
      const Word s1 = turned(w[i - 2], 17) ^ turned(w[i - 2], 19) ^ w[i - 2] >> 10;
      w[i] = w[i - 16] + s0 + w[i - 7] + s1;
    }
    auto [a, b, c, d, e, f, g, h] = state_;
    for (std::size_t i = 0; i < 64; ++i) {
      const Word s1 = turned(e, 6) ^ turned(e, 11) ^ turned(e, 25);
      const Word first = h + s1 + ((e & f) ^ (~e & g)) + kRounds[i] + w[i];
      const Word s0 = turned(a, 2) ^ turned(a, 13) ^ turned(a, 22);
      const Word second = s0 + ((a & b) ^ (a & c) ^ (b & c));
      h = g, g = f, f = e, e = d + first, d = c, c = b, b = a, a = first + second;
    }
    const std::array<Word, 8> mixed = {a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < state_.size(); ++i) state_[i] += mixed[i];
  }

  // The same of the square roots of the first 8 primes.
  std::array<Word, 8> state_ = {0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
                                0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};
  std::string pending_;  // less than a block
  std::uint64_t length_ = 0;
};

/// Which file lies under a name, and when it was changed last: that time cannot be set back as others can.
using FileState = std::tuple<dev_t, ino_t, off_t, time_t, long>;

FileState stateOf(const std::string& path) {
  struct stat state {};
  ::stat(path.c_str(), &state);  // all zeros when nothing is there
  return {state.st_dev, state.st_ino, state.st_size, state.st_ctim.tv_sec, state.st_ctim.tv_nsec};
}

/// Hashes that were made before: the steps of an analysis, and the analyses of a batch, read the same files again and
/// again.
struct KnownHashes {
  std::mutex mutex;
  std::map<FileState, std::string> hashes;
};

KnownHashes& knownHashes() {
  static KnownHashes& known = *new KnownHashes;
  return known;
}

std::optional<std::string> findHash(const FileState& state) {
  KnownHashes& known = knownHashes();
  const std::lock_guard lock(known.mutex);
  const auto found = known.hashes.find(state);
  return found == known.hashes.end() ? std::nullopt : std::optional(found->second);
}

void keepHash(const FileState& state, const std::string& hash) {
  // Two changes within a tick of the file system's clock look like one.
  constexpr time_t kTick_s = 2;
  if (std::get<3>(state) + kTick_s > std::time(nullptr)) return;
  constexpr std::size_t kMost = 16;
  KnownHashes& known = knownHashes();
  const std::lock_guard lock(known.mutex);
  if (known.hashes.size() >= kMost) known.hashes.clear();
  known.hashes[state] = hash;
}

}  // namespace

std::string sha256(std::string_view bytes) {
  Hasher hasher;
  hasher.add(bytes);
  return hasher.finish();
}

std::optional<std::string> sha256OfFile(const std::string& path) {
  const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));  // a pipe is not waited for
  if (!file) return std::nullopt;
  struct stat state {};
  if (fstat(file.get(), &state) != 0 || !S_ISREG(state.st_mode)) return std::nullopt;
  Hasher hasher;
  std::array<char, 1 << 16> buffer;
  while (true) {
    const ssize_t n = ::read(file.get(), buffer.data(), buffer.size());
    if (n < 0 && errno == EINTR) continue;
    if (n < 0) return std::nullopt;
    if (n == 0) return hasher.finish();
    hasher.add({buffer.data(), static_cast<std::size_t>(n)});
  }
}

std::optional<std::string> sha256OfRead(const std::string& path, const std::function<void()>& read) {
  constexpr int kAttempts = 3;  // opening a data file may complete what a crashed writer of it left
  for (int i = 0; i < kAttempts; ++i) {
    const FileState before = stateOf(path);
    read();
    auto hash = findHash(before);
    if (!hash) hash = sha256OfFile(path);
    if (hash && stateOf(path) != before) continue;
    if (hash) keepHash(before, *hash);
    return hash;
  }
  return std::nullopt;
}

}  // namespace com::norvale::datatypes
