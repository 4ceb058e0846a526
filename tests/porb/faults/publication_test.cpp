// A file that takes the place of another: who may put it there, what it takes over, and what stays when it may not.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <memory>

#include "aioproto.h"
#include "fault_support.h"

using namespace faults;
namespace fs = std::filesystem;

namespace {

constexpr const char* kAccessList = "system.posix_acl_access";

class Publication : public testing::Test {
 protected:
  void SetUp() override {
    writeBytes(target_, states().file_a);
    writeBytes(draft_, states().file_b);
  }
  ~Publication() override { AioRelease(reservation_); }

  std::string reserve() { return nameOf(AioReserve(target_.c_str(), &reservation_)); }
  std::string publish(bool replace = true) { return nameOf(AioPublish(reservation_, draft_.c_str(), replace ? 1 : 0)); }

  ScratchDir dir_{ScratchDir::OnDisk};
  const std::string target_ = dir_ / "file";
  const std::string draft_ = dir_ / "draft";
  AioReservation_T* reservation_ = nullptr;
};

TEST_F(Publication, NobodyElseWritesUntilTheFileHasItsName) {
  ASSERT_EQ(reserve(), "AIO_OK");
  EXPECT_EQ(nameOf(File(target_).status()), "AIO_LOCKED");
  AioReservation_T* second = nullptr;
  EXPECT_EQ(nameOf(AioReserve(target_.c_str(), &second)), "AIO_LOCKED");
  EXPECT_EQ(second, nullptr);
  EXPECT_EQ(publish(), "AIO_OK");
  EXPECT_EQ(readBytes(target_), states().file_b);
  EXPECT_FALSE(exists(draft_));
  EXPECT_EQ(nameOf(File(target_).status()), "AIO_LOCKED");
  AioRelease(std::exchange(reservation_, nullptr));
  EXPECT_EQ(nameOf(File(target_).status()), "AIO_OK");
  EXPECT_EQ(namesIn(dir_.path()), "file");
}

TEST_F(Publication, WhatIsReservedIsTheFileThatALinkMeansAtThatTime) {
  fs::create_symlink("file", dir_ / "link");
  ASSERT_EQ(nameOf(AioReserve((dir_ / "link").c_str(), &reservation_)), "AIO_OK");
  EXPECT_EQ(AioReservedName(reservation_), target_);
  fs::remove(dir_ / "link");
  fs::create_symlink("other", dir_ / "link");
  EXPECT_EQ(publish(), "AIO_OK");
  EXPECT_EQ(readBytes(target_), states().file_b);
  EXPECT_FALSE(exists(dir_ / "other"));
}

TEST_F(Publication, OwnerModeAndAccessListOfTheFormerFileStay) {
  struct stat before {};
  chmod(target_.c_str(), 0640);
  if (getuid() == 0) {
    ASSERT_EQ(chown(target_.c_str(), 54321, 54322), 0);
  }
  // Version 2; the owner, user 54323, the group, the mask and all others.
  const unsigned char list[] = {2, 0,  0,   0,   1,   0,   6,  0, 255, 255, 255, 255, 2,   0,  4,
                                0, 51, 212, 0,   0,   4,   0,  4, 0,   255, 255, 255, 255, 16, 0,
                                4, 0,  255, 255, 255, 255, 32, 0, 0,   0,   255, 255, 255, 255};
  const bool has_lists = setxattr(target_.c_str(), kAccessList, list, sizeof list, 0) == 0;
  ASSERT_EQ(stat(target_.c_str(), &before), 0);
  ASSERT_EQ(reserve(), "AIO_OK");
  ASSERT_EQ(publish(), "AIO_OK");
  struct stat after {};
  ASSERT_EQ(stat(target_.c_str(), &after), 0);
  EXPECT_NE(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  unsigned char found[sizeof list] = {};
  const ssize_t bytes = getxattr(target_.c_str(), kAccessList, found, sizeof found);
  EXPECT_EQ(bytes, has_lists ? static_cast<ssize_t>(sizeof list) : -1);
  EXPECT_TRUE(!has_lists || std::equal(std::begin(list), std::end(list), found));
}

TEST_F(Publication, ANewNameNeedsNoFormerFile) {
  fs::remove(target_);
  ASSERT_EQ(reserve(), "AIO_OK");
  void* handle = nullptr;
  EXPECT_EQ(nameOf(AioCreate(&handle, target_.c_str(), 0, nullptr, nullptr, nullptr)), "AIO_LOCKED");
  EXPECT_EQ(publish(false), "AIO_OK");
  EXPECT_EQ(readBytes(target_), states().file_b);
}

struct Refusal {
  const char* name;
  const char* status;
  std::function<void(const std::string& target, const std::string& draft)> happens;  ///< after the reservation
  bool replace = true;
};

void PrintTo(const Refusal& refusal, std::ostream* out) {
  *out << refusal.name;
}

class RefusedPublication : public Publication, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusedPublication, LeavesTheNameAsItWas) {
  ASSERT_EQ(reserve(), "AIO_OK");
  GetParam().happens(target_, draft_);
  const fs::file_status kind = fs::symlink_status(target_);
  const std::string content = fs::is_regular_file(kind) ? readBytes(target_) : "";
  EXPECT_EQ(publish(GetParam().replace), GetParam().status);
  EXPECT_EQ(fs::symlink_status(target_).type(), kind.type());
  EXPECT_EQ(fs::is_regular_file(kind) ? readBytes(target_) : "", content);
}

void replaceBy(const std::string& path, const std::function<void()>& make) {
  fs::remove(path);
  make();
}

INSTANTIATE_TEST_SUITE_P(
    All, RefusedPublication,
    testing::Values(
        Refusal{"there_is_a_file", "AIO_FILEEXISTS", [](auto&, auto&) {}, false},
        Refusal{"there_is_no_draft", "AIO_NOFILE", [](auto&, auto& draft) { fs::remove(draft); }},
        Refusal{"the_draft_is_a_link", "AIO_BADARG",
                [](auto& target, auto& draft) { replaceBy(draft, [&] { fs::create_symlink(target, draft); }); }},
        Refusal{"a_link_came", "AIO_NOTREGULAR",
                [](auto& target, auto&) { replaceBy(target, [&] { fs::create_symlink("other", target); }); }},
        Refusal{"a_folder_came", "AIO_NOTREGULAR",
                [](auto& target, auto&) { replaceBy(target, [&] { fs::create_directory(target); }); }},
        Refusal{"a_journal_came", "AIO_BADJOURNAL",
                [](auto& target, auto&) { writeBytes(target + "-journal", "a stranger's"); }},
        Refusal{"another_writer_came", "AIO_LOCKED",
                [](auto& target, auto&) {
                  static std::unique_ptr<File> other;  // has the lock until the end
                  fs::remove(target + "-lock");
                  other = std::make_unique<File>(target);
                }}),
    [](const auto& c) { return c.param.name; });

TEST_F(Publication, WhatCannotBeReservedIsNot) {
  const std::pair<std::function<void()>, const char*> cases[] = {
      {[&] { fs::create_directory(target_); }, "AIO_NOTREGULAR"},
      {[&] { writeBytes(target_ + "-journal", "a stranger's"); }, "AIO_BADJOURNAL"},
      {[&] { writeBytes(target_ + "-lock", "a user's"); }, "AIO_BADLOCKFILE"},
  };
  for (const auto& [make, status] : cases) {
    fs::remove(target_);
    make();
    EXPECT_EQ(reserve(), status);
    EXPECT_EQ(reservation_, nullptr);
    for (const char* ending : {"", "-journal"}) fs::remove(target_ + ending);
  }
  EXPECT_EQ(nameOf(AioReserve(nullptr, &reservation_)), "AIO_BADARG");
  EXPECT_EQ(nameOf(AioReserve(target_.c_str(), nullptr)), "AIO_BADARG");
  EXPECT_EQ(nameOf(AioReserve((dir_ / "none" + "/file").c_str(), &reservation_)), "AIO_NOFILE");
  EXPECT_EQ(publish(), "AIO_BADARG");
  EXPECT_EQ(AioReservedName(nullptr), nullptr);
}

}  // namespace
