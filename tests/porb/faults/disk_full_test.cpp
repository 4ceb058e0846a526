// A disk that is really full, and a file that goes away under its writer.
#include <gtest/gtest.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <functional>

#include "fault_support.h"

using namespace faults;

namespace {

constexpr int kCannot = 77;

/// Runs a function in a process of its own: limits and mounts end with it. Its output is seen when it fails.
/// @return what it returns
int inChild(const std::function<int()>& run) {
  const pid_t pid = fork();
  if (pid == 0) _exit(run());
  int result = 0;
  waitpid(pid, &result, 0);
  EXPECT_TRUE(WIFEXITED(result)) << "ended by signal " << WTERMSIG(result);
  return WIFEXITED(result) ? WEXITSTATUS(result) : -1;
}

bool expect(bool holds, const char* what, ULONG status) {
  if (!holds) std::fprintf(stderr, "%s: %s\n", what, AioStatusName(status));
  return holds;
}

void limitFileSize(rlim_t bytes) {
  rlimit limit{};
  getrlimit(RLIMIT_FSIZE, &limit);
  limit.rlim_cur = bytes;
  setrlimit(RLIMIT_FSIZE, &limit);
}

constexpr ULONG kChannels = 1u << 20;

/// Fills the disk with a spectrum that does not fit, makes room, and tries again.
/// @param full  whether a status is one for a full disk
int fillAndRetry(const std::string& path, const std::function<void()>& make_room,
                 const std::function<bool(ULONG)>& full) {
  File file(path);
  if (!expect(file.status() == AIO_OK, "open", file.status())) return 1;
  writeStateB(file);
  std::vector<LONG> channels(kChannels);
  for (ULONG i = 0; i < kChannels; ++i) channels[i] = static_cast<LONG>(i);
  ULONG status = AioDeleteBlock(file, ORB_CLS_SPECTRUM);
  if (status == AIO_OK) status = AioCreatePHA(file, 1, kChannels, 1);
  if (status == AIO_OK) status = AioWriteSpectrum2(file, channels.data(), AIO_FORMAT_LONG, kChannels, 1, 1, 1);
  if (!expect(status == AIO_OK, "change", status)) return 2;
  const Content wanted = contentOf(static_cast<void*>(file));
  for (int attempt = 0; attempt < 2; ++attempt) {
    status = AioFlush(file);
    if (!expect(full(status), "flush without room", status)) return 3;
    if (!expect(difference(contentOf(static_cast<void*>(file)), wanted).empty(), "memory", 0)) return 4;
    if (!expect(difference(contentOf(path), states().a).empty(), "disk", 0)) return 5;
    status = AioCheck(file, nullptr, nullptr);
    if (!expect(status == AIO_OK, "check", status)) return 6;
  }
  make_room();
  status = AioFlush(file);
  if (!expect(status == AIO_OK, "flush with room", status)) return 7;
  file.close();
  if (!expect(difference(contentOf(path), wanted).empty(), "file", 0)) return 8;
  return 0;
}

TEST(DiskFull, FileSizeLimit) {
  const ScratchDir dir(ScratchDir::OnDisk);
  states();
  EXPECT_EQ(inChild([&] {
              signal(SIGXFSZ, SIG_IGN);
              limitFileSize(4096);
              File file;
              ULONG status = AioCreate(file.out(), (dir / "new").c_str(), 0, nullptr, nullptr, nullptr);
              if (!expect(status == AIO_DISKFULL, "create", status)) return 101;
              if (!expect(namesIn(dir.path()).empty(), "create leaves something", 0)) return 102;
              limitFileSize(RLIM_INFINITY);
              status = AioCreate(file.out(), (dir / "new").c_str(), 0, nullptr, nullptr, nullptr);
              if (!expect(status == AIO_OK, "create with room", status)) return 103;

              writeBytes(dir / "file", states().file_a);
              limitFileSize(1 << 20);
              return fillAndRetry(
                  dir / "file", [] { limitFileSize(RLIM_INFINITY); },
                  [](ULONG flushed) { return flushed == AIO_DISKFULL || flushed == AIO_IOERROR; });
            }),
            0);
}

TEST(DiskFull, FullFileSystem) {
  const ScratchDir dir;
  states();
  const int result = inChild([&] {
    const std::string options = "size=" + std::to_string(2 << 20);
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", dir.path().c_str(), "tmpfs", 0, options.c_str()) != 0)
      return kCannot;
    writeBytes(dir / "file", states().file_a);
    const int filled = fillAndRetry(
        dir / "file", [&] { mount("tmpfs", dir.path().c_str(), "tmpfs", MS_REMOUNT, "size=64m"); },
        [](ULONG flushed) { return flushed == AIO_DISKFULL; });
    if (filled != 0) return filled;

    // Not a byte is left.
    mount("tmpfs", dir.path().c_str(), "tmpfs", MS_REMOUNT, "size=8m");
    std::FILE* filler = std::fopen((dir / "filler").c_str(), "wb");
    const std::string page(4096, 'x');
    while (std::fwrite(page.data(), 1, page.size(), filler) == page.size() && std::fflush(filler) == 0) {
    }
    const std::string names = namesIn(dir.path());
    File file;
    const ULONG status = AioCreate(file.out(), (dir / "new").c_str(), 0, nullptr, nullptr, nullptr);
    if (!expect(status == AIO_DISKFULL, "create", status)) return 104;
    if (!expect(namesIn(dir.path()) == names, "create leaves something", 0)) return 105;
    return 0;
  });
  if (result == kCannot) GTEST_SKIP() << "a file system of one's own needs more rights";
  EXPECT_EQ(result, 0);
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

/// Cut off by one byte behind the back of a writer: what it would add makes nothing whole again.
TEST_F(FileGone, CutOffBeforeAFlush) {
  ASSERT_EQ(truncate(path_.c_str(), static_cast<off_t>(states().file_a.size() - 1)), 0);
  EXPECT_EQ(nameOf(AioFlush(file_)), "AIO_TRUNCATED");
}

/// A file cut off behind the back of a writer that has not read all of it.
TEST_F(FileGone, CutOff) {
  file_.close();
  File file(path_);
  ASSERT_EQ(truncate(path_.c_str(), 8192), 0);
  const Content content = contentOf(static_cast<void*>(file));
  EXPECT_EQ(wrongValues(content, states().a), "");
  EXPECT_NE(difference(content, states().a), "");
  EXPECT_NE(nameOf(AioCheck(file, nullptr, nullptr)), "AIO_OK");
}

}  // namespace
