#include <gtest/gtest.h>
#include <string>
#include <string_view>

#include <JNFoundation/platform/text/WhiteSpace.h>

namespace JNFoundation {
namespace {

using namespace std::string_view_literals;

TEST(WhiteSpace, IsWhatUnicodeSaysItIs) {
  int count = 0;
  for (char32_t codePoint = 0; codePoint <= 0x10FFFF; ++codePoint) count += isWhiteSpace(codePoint);
  EXPECT_EQ(count, 25) << "the number of code points with that property";
  for (const char32_t blank :
       {U'\t', U'\n', U'\v', U'\f', U'\r', U' ', U'\u0085', U'\u00A0', U'\u1680', U'\u2000',
        U'\u200A', U'\u2028', U'\u2029', U'\u202F', U'\u205F', U'\u3000'}) {
    EXPECT_TRUE(isWhiteSpace(blank)) << static_cast<std::uint32_t>(blank);
  }
  EXPECT_FALSE(isWhiteSpace(U'\u200B')) << "a space of no width is none";
  EXPECT_FALSE(isWhiteSpace(U'\0'));
}

TEST(WhiteSpace, IsTakenOffTheFront) {
  EXPECT_EQ(withoutLeadingWhiteSpace(" \t\u3000a b "), "a b ");
  EXPECT_EQ(withoutLeadingWhiteSpace(" \n"), "");
  EXPECT_EQ(withoutLeadingWhiteSpace(""), "");
  EXPECT_EQ(withoutLeadingWhiteSpace("a"), "a");
}

TEST(WhiteSpace, IsTakenOffBothEnds) {
  EXPECT_EQ(withoutWhiteSpaceAround("\u00A0\u3000é  é\u2003\r\n"), "é  é");
  EXPECT_EQ(withoutWhiteSpaceAround(" \n\t "), "");
  EXPECT_EQ(withoutWhiteSpaceAround(""), "");
  EXPECT_EQ(withoutWhiteSpaceAround("a"), "a");
  EXPECT_EQ(withoutWhiteSpaceAround(" \0 "sv), "\0"sv);
  EXPECT_EQ(withoutWhiteSpaceAround(" \xff "), "\xff") << "ill-formed text stays";
}

}  // namespace
}  // namespace JNFoundation
