// A disk that is really full, and a file that goes away under its writer.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdio>
#include <numeric>

#include "fault_support.h"

using namespace faults;

namespace {

/// No file of this process may become larger.
void limitFileSize(rlim_t bytes) {
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = std::min(bytes, limit.rlim_max);
  setrlimit(RLIMIT_FSIZE, &limit);
}

TEST(DiskFull, WhatFindsNoRoomIsThereWhenThereIsRoom) {
  const ScratchDir dir(ScratchDir::OnDisk);
  writeBytes(dir / "file", states().file_a);
  signal(SIGXFSZ, SIG_IGN);
  limitFileSize(4096);
  File made;
  EXPECT_EQ(nameOf(AioCreate(made.out(), (dir / "new").c_str(), 0, nullptr, nullptr, nullptr)), "AIO_DISKFULL");
  EXPECT_EQ(namesIn(dir.path()), "file");
  limitFileSize(RLIM_INFINITY);
  EXPECT_EQ(nameOf(AioCreate(made.out(), (dir / "new").c_str(), 0, nullptr, nullptr, nullptr)), "AIO_OK");

  constexpr ULONG kChannels = 1u << 20;
  std::vector<LONG> channels(kChannels);
  std::iota(channels.begin(), channels.end(), 0);
  File file(dir / "file");
  writeStateB(file);
  ASSERT_EQ(nameOf(AioDeleteBlock(file, ORB_CLS_SPECTRUM)), "AIO_OK");
  ASSERT_EQ(nameOf(AioCreatePHA(file, 1, kChannels, 1)), "AIO_OK");
  ASSERT_EQ(nameOf(AioWriteSpectrum2(file, channels.data(), AIO_FORMAT_LONG, kChannels, 1, 1, 1)), "AIO_OK");
  const Content wanted = contentOf(static_cast<void*>(file));
  limitFileSize(1 << 20);
  for (int attempt = 0; attempt < 2; ++attempt) {
    const ULONG status = AioFlush(file);
    EXPECT_TRUE(status == AIO_DISKFULL || status == AIO_IOERROR) << nameOf(status);
    EXPECT_EQ(difference(contentOf(static_cast<void*>(file)), wanted), "");
    EXPECT_EQ(difference(contentOf(dir / "file"), states().a), "");
    EXPECT_EQ(nameOf(AioCheck(file, nullptr, nullptr)), "AIO_OK");
  }
  limitFileSize(RLIM_INFINITY);
  EXPECT_EQ(nameOf(AioFlush(file)), "AIO_OK");
  file.close();
  EXPECT_EQ(difference(contentOf(dir / "file"), wanted), "");
}

class FileGone : public testing::Test {
 protected:
  void SetUp() override {
    writeBytes(path_, states().file_a);
    AioOpen2(file_.out(), path_.c_str(), AIO_READ_WRITE, 0, 0);
    contentOf(static_cast<void*>(file_));
    writeStateB(file_);
  }

  /// The writer cannot flush any more, but answers.
  void expectRefusal() {
    for (int attempt = 0; attempt < 2; ++attempt) EXPECT_EQ(nameOf(AioFlush(file_)), "AIO_NOFILE");
    double value = 0;
    EXPECT_EQ(nameOf(get(file_, 0x20020021, 1, 0, value)), "AIO_OK");
    EXPECT_EQ(value, 17.5);
    EXPECT_EQ(difference(contentOf(static_cast<void*>(file_)), states().b), "");
  }

  ScratchDir dir_;
  const std::string path_ = dir_ / "file";
  File file_;
};

TEST_F(FileGone, Removed) {
  ASSERT_EQ(unlink(path_.c_str()), 0);
  expectRefusal();
  EXPECT_EQ(nameOf(AioClose2(file_, AIO_CLOSE_FLUSH)), "AIO_NOFILE");
  EXPECT_EQ(namesIn(dir_.path()), "");
}

TEST_F(FileGone, Replaced) {
  writeBytes(dir_ / "other", states().file_b);
  ASSERT_EQ(rename((dir_ / "other").c_str(), path_.c_str()), 0);
  expectRefusal();
  file_.close();
  EXPECT_EQ(namesIn(dir_.path()), "file");
  EXPECT_TRUE(readBytes(path_) == states().file_b);
}

/// Deleting at the end removes what the handle has opened, not what has come in its place.
TEST_F(FileGone, ReplacedAndDeleted) {
  writeBytes(dir_ / "other", states().file_b);
  ASSERT_EQ(rename((dir_ / "other").c_str(), path_.c_str()), 0);
  EXPECT_NE(nameOf(AioClose2(file_, AIO_CLOSE_DELETE)), "AIO_OK");
  EXPECT_TRUE(readBytes(path_) == states().file_b);
}

}  // namespace
