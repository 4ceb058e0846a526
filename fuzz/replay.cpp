// Feeds files to a fuzz target, for builds without a fuzzing engine: replay FOLDER... Beside each file, every prefix
// of it and a set of damaged copies are tried.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr int kCopies = 200;
constexpr int kPrefixes = 64;

void feed(const Bytes& bytes) {
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

Bytes read(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), {});
}

/// The seed is fixed: a failure comes again.
void feedDamaged(const Bytes& bytes) {
  std::mt19937 random(1);
  for (int copy = 0; copy < kCopies && !bytes.empty(); ++copy) {
    Bytes damaged = bytes;
    for (int i = 0; i <= copy % 8; ++i) damaged[random() % damaged.size()] = static_cast<std::uint8_t>(random());
    feed(damaged);
  }
}

void feedFile(const std::filesystem::path& path) {
  const Bytes bytes = read(path);
  feed(bytes);
  for (std::size_t i = 0; i < kPrefixes; ++i) {
    feed(Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() * i / kPrefixes)));
  }
  feedDamaged(bytes);
}

}  // namespace

int main(int argc, char** argv) {
  int n_files = 0;
  for (int i = 1; i < argc; ++i) {
    for (const auto& entry : std::filesystem::recursive_directory_iterator(argv[i])) {
      if (!entry.is_regular_file()) continue;
      feedFile(entry.path());
      ++n_files;
    }
  }
  std::printf("%d files\n", n_files);
  return n_files > 0 ? 0 : 1;
}
