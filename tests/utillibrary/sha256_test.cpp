#include "sha256.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>

#include "scratch_folder.h"

namespace {

using namespace com::norvale::datatypes;
namespace fs = std::filesystem;

TEST(Sha256, AgreesWithThePublishedExamplesAndAtTheEdgesOfBlocks) {
  // FIPS 180-4 and its examples; those of repeated letters from sha256sum.
  const std::pair<std::string, const char*> cases[] = {
      {"", "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"},
      {"abc", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"},
      {"abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq",
       "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1"},
      {std::string(55, 'a'), "9f4390f8d30c2dd92ec9f095b65e2b9ae9b0a925a5258e241c9f1e910f734318"},
      {std::string(56, 'a'), "b35439a4ac6f0948b6d6f9e3c6af0f5f590ce20f1bde7090ef7970686ec6738a"},
      {std::string(64, 'a'), "ffe054fe7ae0cb6dc65c3af9b61d5209f439851db43d0ba5997337df154668eb"},
      {std::string(1000000, 'a'), "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0"}};
  for (const auto& [text, expected] : cases) EXPECT_EQ(sha256(text), expected) << text.size();
}

TEST(Sha256, OfAFileIsThatOfWhatWasRead) {
  const orbtest::ScratchFolder folder;
  const std::string path = folder / "f";
  const auto write = [&](const std::string& text) { std::ofstream(path) << text; };
  write(std::string(1000000, 'a'));
  EXPECT_EQ(sha256OfFile(path), sha256(std::string(1000000, 'a')));
  EXPECT_EQ(sha256OfFile(folder.path()), std::nullopt);
  ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);
  EXPECT_EQ(sha256OfFile(folder / "pipe"), std::nullopt) << "and is not waited for";

  int reads = 0;
  EXPECT_EQ(sha256OfRead(path, [&] { reads++ == 0 ? write("other") : void(); }), sha256("other"));
  EXPECT_EQ(reads, 2) << "what was read first is not what was hashed";
  const auto swap = [&] {
    std::ofstream(folder / "next") << ++reads;
    fs::rename(folder / "next", path);
  };
  EXPECT_EQ(sha256OfRead(path, swap), std::nullopt) << "another file at every attempt";
}

}  // namespace
