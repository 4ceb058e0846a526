#include "ServiceDouble.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

constexpr std::uint32_t kCount = 0x20000007;

class SpectrumTest : public DoubleTest {
 protected:
  SpectrumTest() {
    service().dictionary[kCount] = {"COUNT", 8, 4, 4};
    setCount(3);
    service().spectrum = bytesOf(kCounts);
    open(file_, "a.dat");
  }

  static void setCount(std::uint32_t n) { service().values[kCount] = bytesOf(n); }

  static constexpr std::uint32_t kCounts[3] = {1, 0xFFFFFFFF, 3};
  FileAccess file_;
};

TEST_F(SpectrumTest, ReadPassesRowBeforeGroupUnderTheLock) {
  service().watched = {&file_};
  ByteStream stream("left over", 9);
  EXPECT_EQ(getSpectrum(file_, stream, FLOATFORMAT, 2, 7), 0u);
  EXPECT_EQ(service().textsOfWork(),
            (Lines{"AioGetParam(A, 20000007, 0, 0, 4)", "AioReadSpectrum2(A, 1, 3, 1, 7, 2)"}));
  for (const Call& call : service().calls) EXPECT_EQ(call.locks, "L");
  EXPECT_EQ(bytesOf(stream.data(), stream.size()), service().spectrum);
}

TEST_F(SpectrumTest, VectorsGetTheChannelsAndNothingElse) {
  std::vector<int> grown(1, 9);
  std::vector<unsigned int> shrunk(8, 9);
  EXPECT_EQ(file_.getSpectrum(grown, 1, 1) | file_.getSpectrum(shrunk, 1, 1), 0u);
  EXPECT_EQ(grown, (std::vector<int>{1, -1, 3}));
  EXPECT_EQ(shrunk, (std::vector<unsigned int>{1, 0xFFFFFFFF, 3}));

  const float energies[3] = {0.5f, -1.0f, 3e38f};
  service().spectrum = bytesOf(energies);
  std::vector<float> floats;
  EXPECT_EQ(file_.getSpectrum(floats, 4, 5), 0u);
  EXPECT_EQ(floats, std::vector<float>(std::begin(energies), std::end(energies)));
  EXPECT_EQ(service().last().text, "AioReadSpectrum2(A, 1, 3, 1, 5, 4)");
}

TEST_F(SpectrumTest, FailedReadLeavesTheVectorAlone) {
  const std::vector<int> before{7, 8};
  std::vector<int> data = before;
  service().refuse("AioReadSpectrum2");
  EXPECT_EQ(file_.getSpectrum(data, 1, 1), kRefusedCode);
  service().values.clear();
  EXPECT_EQ(file_.getSpectrum(data, 1, 1), 0xEBE8805Au) << "no channel count: not logged";
  EXPECT_EQ(FileAccess().getSpectrum(data, 1, 1), 0xEBE81389u);
  EXPECT_EQ(data, before);
  EXPECT_EQ(log, (Lines{"FileAccess::getSpectrum: Failed to get spectrum (0xEBE81232)",
                        "FileAccess::getSpectrum: Destination file is not open (0xEBE81389)"}));
}

TEST_F(SpectrumTest, ImpossibleChannelCountsAreMemoryThatIsNotToBeHad) {
  const std::uint32_t counts[] = {AIO_MAX_CHANNELS + 1, 0x1FFFFFFF, 0x20000000, 0x3FFFFFFF, 0x40000000,
                                  0x7FFFFFFF,           0x80000000, 0xC0000001, 0xFFFFFFFF};
  for (const std::uint32_t count : counts) {
    log.clear();
    setCount(count);
    ByteStream stream("left over", 9);
    EXPECT_EQ(getSpectrum(file_, stream, LONGFORMAT, 1, 1), 0x8007000Eu) << count;
    EXPECT_EQ(stream.size(), 0u);
    EXPECT_EQ(log, Lines{"FileAccess::getSpectrum: Caught exception (0x8007000E)"});
  }
  service().dictionary[kCount] = {"COUNT", 9, 8, 8};
  service().values[kCount] = bytesOf(std::int64_t{-1});
  ByteStream stream;
  EXPECT_EQ(getSpectrum(file_, stream, LONGFORMAT, 1, 1), 0x8007000Eu);
  for (const std::string& text : service().textsOfWork()) EXPECT_EQ(text.rfind("AioGetParam", 0), 0u) << text;
}

TEST_F(SpectrumTest, ChannelCountThatIsNoNumberIsCaught) {
  service().dictionary[kCount] = {"COUNT", 14, 0, 4};
  service().values[kCount] = bytesOf("many", 4);
  ByteStream stream;
  EXPECT_EQ(getSpectrum(file_, stream, LONGFORMAT, 1, 1), 0xECE99F6Du);
  ASSERT_EQ(log.size(), 1u);
  EXPECT_EQ(log[0].rfind("FileAccess::getSpectrum: Caught STL Exception.  Description: ", 0), 0u) << log[0];
}

TEST_F(SpectrumTest, WriteDeclaresTheCountAndPassesRowBeforeGroup) {
  service().watched = {&file_};
  EXPECT_EQ(file_.setSpectrum(std::vector<int>{1, -2}, 2, 7), 0u);
  EXPECT_EQ(service().textsOfWork(), (Lines{"AioPutParam(A, 20000007, 0, 0, 02000000)",
                                            "AioWriteSpectrum2(A, 01000000FEFFFFFF, 0, 2, 1, 7, 2)"}));
  for (const Call& call : service().calls) EXPECT_EQ(call.locks + call.modified, "LM");
  EXPECT_EQ(file_.setSpectrum(std::vector<unsigned int>{1, 0xFFFFFFFE}, 2, 7), 0u);
  EXPECT_EQ(service().last().text, "AioWriteSpectrum2(A, 01000000FEFFFFFF, 0, 2, 1, 7, 2)");
  EXPECT_EQ(file_.setSpectrum(std::vector<float>{1.0f}, 0, 0), 0u);
  EXPECT_EQ(service().last().text, "AioWriteSpectrum2(A, 0000803F, 1, 1, 1, 0, 0)");
  EXPECT_EQ(log, Lines{});
}

TEST_F(SpectrumTest, BytesThatMakeNoChannelAreLeftOut) {
  ByteStream stream("\1\2\3\4\5\6\7\10\11\12", 10);
  EXPECT_EQ(setSpectrum(file_, stream, LONGFORMAT, 1, 1), 0u);
  EXPECT_EQ(service().textsOfWork(), (Lines{"AioPutParam(A, 20000007, 0, 0, 02000000)",
                                            "AioWriteSpectrum2(A, 0102030405060708, 0, 2, 1, 1, 1)"}));
  EXPECT_EQ(file_.setSpectrum(std::vector<float>(), 1, 1), 0u);
  EXPECT_EQ(service().last().text, "AioWriteSpectrum2(A, , 1, 0, 1, 1, 1)");
}

const std::string kWrite = "AioWriteSpectrum2(A, 05000000, 0, 1, 1, 1, 1)";

TEST_F(SpectrumTest, RefusedWriteRebuildsTheBlockOnce) {
  const struct {
    const char* name;
    std::vector<std::pair<const char*, ULONG>> script;
    std::uint32_t result;
    Lines calls;
  } cases[] = {
      {"second write succeeds",
       {{"AioWriteSpectrum2", kRefused}},
       0,
       {kWrite, "AioDeleteBlock(A, 2005)", "AioCreatePHA(A, 1, 1, 1)", kWrite}},
      {"second write fails",
       {{"AioWriteSpectrum2", kRefused}, {"AioWriteSpectrum2", 0xABC2}, {"AioDeleteBlock", kRefused}},
       0xEBE8ABC2,
       {kWrite, "AioDeleteBlock(A, 2005)", "AioCreatePHA(A, 1, 1, 1)", kWrite}},
      {"block not created",
       {{"AioWriteSpectrum2", kRefused}, {"AioCreatePHA", 0xABC2}},
       kRefusedCode,
       {kWrite, "AioDeleteBlock(A, 2005)", "AioCreatePHA(A, 1, 1, 1)"}},
  };
  for (const auto& c : cases) {
    log.clear();
    service().calls.clear();
    for (const auto& [operation, status] : c.script) service().refuse(operation, status);
    EXPECT_EQ(file_.setSpectrum(std::vector<int>{5}, 1, 1), c.result) << c.name;
    Lines calls = service().textsOfWork();
    calls.erase(calls.begin());  // the channel count
    EXPECT_EQ(calls, c.calls) << c.name;
    EXPECT_EQ(log.size(), c.result == 0 ? 0u : 1u) << c.name;
  }
  EXPECT_EQ(log, Lines{"FileAccess::setSpectrum: Failed to set the spectrum (0xEBE81232)"});
}

TEST_F(SpectrumTest, ClosedFileIsRefusedButMarkedByTheVectorForm) {
  FileAccess closed;
  EXPECT_EQ(closed.setSpectrum(std::vector<int>{5}, 1, 1), 0xEBE81389u);
  EXPECT_TRUE(closed.hasBeenModified());
  FileAccess other;
  ByteStream stream("\5\0\0\0", 4);
  EXPECT_EQ(setSpectrum(other, stream, LONGFORMAT, 1, 1), 0xEBE81389u);
  EXPECT_FALSE(other.hasBeenModified());
  EXPECT_EQ(stream.size(), 4u);
  const std::string line = "FileAccess::setSpectrum: Destination file is not open (0xEBE81389)";
  EXPECT_EQ(log, (Lines{line, line}));
}

}  // namespace
}  // namespace orbtest
