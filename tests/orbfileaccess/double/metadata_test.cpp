// The dictionary entry of a parameter, and the codec of its values.
#include <limits>
#include <stdexcept>

#include "ServiceDouble.h"

namespace orbtest {
namespace {

using namespace com::norvale::orb;

class MetadataTest : public DoubleTest {
 protected:
  MetadataTest() { service().dictionary[0x2001F000] = {"TITLE  ", 14, 8, 32}; }
};

TEST_F(MetadataTest, SetCodeTakesEveryFieldFromItsPlace) {
  ParameterMetadata metadata(kA);
  EXPECT_EQ(metadata.setCode(0x2001F000), 0u);
  EXPECT_EQ(service().texts(), Lines{"AioUtilGetPInfo(A, 2001F000)"});
  EXPECT_EQ(metadata.getCode(), 0x2001F000u);
  EXPECT_EQ(metadata.classCode(), 0x2001u);
  EXPECT_EQ(metadata.storageType(), 11);
  EXPECT_EQ(metadata.storageLength(), 32);
  EXPECT_EQ(metadata.returnType(), 14);
  EXPECT_EQ(metadata.returnLength(), 8);
  EXPECT_EQ(metadata.blockType(), 13);
  EXPECT_EQ(metadata.deviceFlags(), 15);
  EXPECT_EQ(metadata.flags(), 0xF001) << "zero-extended";
  EXPECT_EQ(metadata.name(), "TITLE  ") << "blanks kept";
  EXPECT_EQ(metadata.description(), "TITLE   described");
  EXPECT_EQ(metadata.size(), 33u) << "text: storage length and its NUL";
}

TEST_F(MetadataTest, FailedLookUpKeepsTheLengthsAndTakesTheCode) {
  ParameterMetadata metadata(kA);
  ASSERT_EQ(metadata.setCode(0x2001F000), 0u);
  EXPECT_EQ(metadata.setCode(0x7), 0xE06100C2u);
  EXPECT_EQ(metadata.getCode(), 7u);
  EXPECT_EQ(metadata.classCode(), 0u);
  EXPECT_EQ(metadata.size(), 33u);
  EXPECT_EQ(log, Lines{"ParameterMetadata::setCode: Error getting parameter information (0xE06100C2)"});
}

TEST_F(MetadataTest, SetNameLooksTheCodeUpAndIgnoresThatStatus) {
  ParameterMetadata metadata(kA);
  EXPECT_EQ(metadata.setName("TITLE  "), 0u);
  EXPECT_EQ(metadata.getCode(), 0x2001F000u);
  EXPECT_EQ(metadata.setName("nothing of the kind"), 0xE06100C2u);
  EXPECT_EQ(metadata.getCode(), 0u);
  EXPECT_EQ(service().texts(), (Lines{"AioUtilPname2Code(TITLE  )", "AioUtilGetPInfo(A, 2001F000)",
                                      "AioUtilPname2Code(nothing of the kind)", "AioUtilGetPInfo(A, 0)"}));
}

TEST_F(MetadataTest, NameThatFillsItsBufferIsNotReadPastItsEnd) {
  service().dictionary[1] = {std::string(56, 'x'), 8, 4, 4};
  ParameterMetadata metadata(kA);
  ASSERT_EQ(metadata.setCode(1), 0u);
  EXPECT_EQ(metadata.name(), std::string(56, 'x'));
}

TEST_F(MetadataTest, ErrorTextIsTheNameOrTheDigits) {
  EXPECT_EQ(formatParameterError(0x2001F000), "TITLE  ");
  EXPECT_EQ(service().texts(), Lines{"AioUtilGetPInfo(0, 2001F000)"});
  EXPECT_EQ(log, Lines{});
  EXPECT_EQ(formatParameterError(0x7), "07");
  EXPECT_EQ(formatParameterError(0x2001), "2001");
  EXPECT_EQ(formatParameterError(0xFFFFFFFF), "ffffffff");
}

// ---- Codec ------------------------------------------------------------------------------------------------

ParameterMetadata described(std::int32_t type, std::int32_t return_length, std::int32_t storage_length = 0) {
  ParameterMetadata metadata(kA);
  metadata.m_retType = type;
  metadata.m_retLen = return_length;
  metadata.m_storeLen = storage_length;
  return metadata;
}

std::string hexOf(const ByteStream& stream) {
  std::string text;
  for (std::size_t i = 0; i < stream.size(); ++i) {
    char digits[3];
    std::snprintf(digits, sizeof digits, "%02X", static_cast<unsigned>(stream.data()[i]));
    text += digits;
  }
  return text;
}

struct CodecCase {
  const char* name;
  std::int32_t type;
  std::int32_t length;  ///< return length; of a text its storage length
  Variant value;
  const char* bytes;
  Variant read_back;
};

void PrintTo(const CodecCase& c, std::ostream* out) {
  *out << c.name;
}

class CodecTest : public DoubleTest, public ::testing::WithParamInterface<CodecCase> {};

TEST_P(CodecTest, WritesTheBytesAndReadsThemBack) {
  const CodecCase& c = GetParam();
  const ParameterMetadata metadata = described(c.type, c.length, c.length);
  ByteStream stream("left over", 9);
  EXPECT_EQ(metadata.serialize(c.value, stream), 0u);
  EXPECT_EQ(hexOf(stream), c.bytes);
  Variant value("left over");
  EXPECT_EQ(metadata.deserialize(stream, value), 0u);
  EXPECT_EQ(value, c.read_back) << value;
  EXPECT_EQ(log, Lines{});
}

xtime_t at(std::int64_t seconds, std::int32_t nanoseconds) {
  xtime_t time;
  time.dateTime = seconds;
  time.nanoseconds = nanoseconds;
  return time;
}

// Time in a file counts from 40587 days before 1970: 3506716800 s, of 1e7 ticks each.
INSTANTIATE_TEST_SUITE_P(
    All, CodecTest,
    ::testing::Values(
        CodecCase{"boolTrue", 2, 1, Variant(200), "01", Variant(true)},
        CodecCase{"flagFalse", 6, 1, Variant(), "00", Variant(false)},
        CodecCase{"int16Negative", 3, 2, Variant(-2), "FEFF", Variant(std::uint16_t{65534})},
        CodecCase{"int16TooLarge", 3, 2, Variant(99999), "FF7F", Variant(std::uint16_t{32767})},
        CodecCase{"uint16", 7, 2, Variant(0x1234), "3412", Variant(std::uint16_t{0x1234})},
        CodecCase{"int32Negative", 8, 4, Variant(-1), "FFFFFFFF", Variant(std::uint32_t{4294967295u})},
        CodecCase{"int32FromText", 8, 4, Variant("258"), "02010000", Variant(std::uint32_t{258})},
        CodecCase{"int64", 9, 8, Variant(std::int64_t{-2}), "FEFFFFFFFFFFFFFF", Variant(std::int64_t{-2})},
        CodecCase{"float", 10, 4, Variant(1.75), "0000E03F", Variant(1.75f)},
        CodecCase{"floatTooLarge", 10, 4, Variant(3e39), "FFFF7F7F", Variant(std::numeric_limits<float>::max())},
        CodecCase{"text", 14, 5, Variant("keV"), "6B6556000000", Variant("keV")},
        CodecCase{"textOfFullLength", 24, 3, Variant("keV"), "6B655600", Variant("keV")},
        CodecCase{"textTooLong", 14, 8, Variant("ABCDEFGHIJ"), "414243444546474800", Variant("ABCDEFGH")},
        CodecCase{"textEmpty", 14, 2, Variant(), "000000", Variant("")},
        CodecCase{"textOfNumber", 24, 6, Variant(-12), "2D313200000000", Variant("-12")},
        CodecCase{"double", 27, 8, Variant(-0.5), "000000000000E0BF", Variant(-0.5)},
        CodecCase{"real", 192, 8, Variant(2), "0000000000000040", Variant(2.0)},
        CodecCase{"time1970", 35, 8, Variant(at(0, 0)), "00D0FAD259255F43", Variant(at(0, 0))},
        CodecCase{"timeOfFile", 35, 8, Variant(at(-3506716800, 0)), "0000000000000000", Variant(at(-3506716800, 0))},
        CodecCase{"unknownType", 99, 3, Variant(7), "000000", Variant()},
        CodecCase{"wideBuffer", 8, 6, Variant(1), "010000000000", Variant(std::uint32_t{1})}),
    [](const auto& test) { return std::string(test.param.name); });

TEST_F(DoubleTest, StreamOneByteShortOfItsTypeIsRefused) {
  const struct {
    std::int32_t type;
    std::size_t width;
  } types[] = {{2, 1}, {6, 1}, {3, 2}, {7, 2}, {8, 4}, {9, 8}, {10, 4}, {27, 8}, {192, 8}, {35, 8}};
  const unsigned char zeros[8] = {};
  for (const auto& t : types) {
    log.clear();
    Variant value(1);
    EXPECT_EQ(described(t.type, 8).deserialize(ByteStream(zeros, t.width - 1), value), 0x80070057u) << t.type;
    EXPECT_FALSE(value.hasValue());
    EXPECT_EQ(log, Lines{"ParameterMetadata::deserialize: Invalid stream size (0x80070057)"});
    EXPECT_EQ(described(t.type, 8).deserialize(ByteStream(zeros, t.width), value), 0u) << t.type;
  }
}

TEST_F(DoubleTest, IntegerThatWasReadIsWrittenBackAsItWas) {
  ByteStream stream;
  EXPECT_EQ(described(7, 2).serialize(Variant(std::uint16_t{0xFFFE}), stream), 0u);
  EXPECT_EQ(hexOf(stream), "FEFF");
  EXPECT_EQ(described(8, 4).serialize(Variant(std::uint32_t{0xFFFFFFFE}), stream), 0u);
  EXPECT_EQ(hexOf(stream), "FEFFFFFF");
  EXPECT_EQ(described(8, 4).serialize(Variant(std::int64_t{0xFFFFFFFE}), stream), 0u);
  EXPECT_EQ(hexOf(stream), "FFFFFF7F") << "any other type is cut at the limit";
}

TEST_F(DoubleTest, AnyByteButZeroIsTrue) {
  Variant value;
  EXPECT_EQ(described(6, 1).deserialize(ByteStream("\x02", 1), value), 0u);
  EXPECT_EQ(value, Variant(true));
}

TEST_F(DoubleTest, TextEndsAtItsNulOrWithTheStream) {
  Variant value;
  EXPECT_EQ(described(14, 0, 4).deserialize(ByteStream("a\0b", 3), value), 0u);
  EXPECT_EQ(value, Variant("a"));
  EXPECT_EQ(described(14, 0, 4).deserialize(ByteStream("abcd", 4), value), 0u);
  EXPECT_EQ(value, Variant("abcd"));
  EXPECT_THROW(described(14, 0, 4).deserialize(ByteStream(), value), std::logic_error);
}

TEST_F(DoubleTest, DictionaryWithALengthTooSmallWritesNoFurtherThanItSays) {
  ByteStream stream;
  EXPECT_EQ(described(8, 2).serialize(Variant(0x01020304), stream), 0u);
  EXPECT_EQ(hexOf(stream), "0403");
  EXPECT_EQ(described(27, 0).serialize(Variant(1.0), stream), 0u);
  EXPECT_EQ(stream.size(), 0u);
  EXPECT_EQ(described(14, 0, -1).serialize(Variant("text"), stream), 0u);
  EXPECT_EQ(stream.size(), 0u);
}

TEST_F(DoubleTest, ConversionThatFailsLeavesSerialize) {
  ByteStream stream;
  EXPECT_THROW(described(8, 4).serialize(Variant("not a number"), stream), std::invalid_argument);
  EXPECT_EQ(log, Lines{});
}

}  // namespace
}  // namespace orbtest
