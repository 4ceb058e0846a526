#include <gtest/gtest.h>

#include "text.h"

namespace orb::plot {
namespace {

using namespace std::string_literals;

TEST(Text, CleanTextKeepsWordsAndDropsWhatHarms) {
  const struct {
    const char* name;
    std::string text, clean;
  } cases[] = {
      {"plain", "Cs-137 in soil", "Cs-137 in soil"},
      {"other scripts", "Größe 測定 γ 😀", "Größe 測定 γ 😀"},
      {"line break and tab", "a\nb\tc", "a b c"},
      {"zero byte, escape, delete", "a\0b\x1B[31m\x7F"s, "ab[31m"},
      {"C1 control",
       "a\xC2\x9B"
       "b",
       "ab"},
      {"right-to-left override",
       "a\xE2\x80\xAE"
       "b",
       "ab"},
      {"not a character",
       "a\xEF\xBF\xBE"
       "b",
       "ab"},
      {"stray byte",
       "a\xFF"
       "b",
       "a\xEF\xBF\xBD"
       "b"},
      {"overlong slash", "\xC0\xAF", "\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"surrogate", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"cut sequence", "a\xE6\xB8", "a\xEF\xBF\xBD\xEF\xBF\xBD"},
      {"beyond Unicode", "\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
  };
  for (const auto& c : cases) EXPECT_EQ(cleanText(c.text), c.clean) << c.name;
}

TEST(Text, MarkupAndJsonKeepATextInItsPlace) {
  EXPECT_EQ(escapeMarkup("a<b> & \"c\""), "a&lt;b&gt; &amp; &quot;c&quot;");
  EXPECT_EQ(jsonString("</script> \"x\" \\"), "\"\\u003c/script> \\\"x\\\" \\\\\"");
}

TEST(Text, ShortenCountsColumnsAndMarksTheCut) {
  EXPECT_EQ(shorten("spectrum", 8, "~"), "spectrum");
  EXPECT_EQ(shorten("spectrum", 7, "~"), "spectr~");
  EXPECT_EQ(shorten("spectrum", 1, "~"), "~");
  EXPECT_EQ(shorten("spectrum", 0, "~"), "");
  EXPECT_EQ(shorten("測定測定", 6, "~"), "測定~") << "each takes two columns";
  EXPECT_EQ(toAscii("Größe"), "Gr\?\?e");
}

TEST(Text, NumbersHaveNoNegativeZeroAndNoNeedlessDecimals) {
  EXPECT_EQ(fixed(-0.04, 1), "0.0");
  EXPECT_EQ(fixed(-0.06, 1), "-0.1");
  EXPECT_EQ(coordinate(12.04), "12");
  EXPECT_EQ(coordinate(12.25), "12.2");
  EXPECT_EQ(number(0.1), "0.1");
}

TEST(Text, Base64MatchesThePublishedVectors) {  // RFC 4648, section 10
  const struct {
    const char *bytes, *text;
  } cases[] = {{"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob", "Zm9vYg=="}, {"foobar", "Zm9vYmFy"}};
  for (const auto& c : cases) EXPECT_EQ(base64(c.bytes), c.text);
  EXPECT_EQ(base64("\xFF\xEF\xBE"), "/+++");
}

}  // namespace
}  // namespace orb::plot
