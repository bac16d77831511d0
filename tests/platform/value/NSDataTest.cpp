#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {
namespace {

using testing::raisedName;

Ref<NSData> dataOf(std::string text) { return NSData::dataWithText(std::move(text)); }

Ref<NSData> decoded(const std::string& text,
                    NSDataBase64DecodingOptions options = NSDataBase64DecodingStrict) {
  return NSData::initWithBase64EncodedStringOptions(text, options);
}

TEST(NSData, KeepsACopyOfTheBytes) {
  std::uint8_t bytes[] = {0, 1, 255};
  const Ref<NSData> data = NSData::dataWithBytesLength(bytes, 3);
  bytes[0] = 9;
  EXPECT_EQ(data->length(), 3u);
  EXPECT_EQ(data->bytes()[0], 0);
  EXPECT_EQ(data->bytes()[2], 255);
  EXPECT_EQ(NSData::data()->length(), 0u);
  EXPECT_EQ(NSData::dataWithBytesLength(nullptr, 0)->length(), 0u);
  EXPECT_EQ(raisedName([] { NSData::dataWithBytesLength(nullptr, 1); }),
            NSInvalidArgumentException);
}

TEST(NSData, Base64FollowsTheStandardsExamples) {
  const std::vector<std::pair<std::string, std::string>> examples = {{"", ""},
                                                                     {"f", "Zg=="},
                                                                     {"fo", "Zm8="},
                                                                     {"foo", "Zm9v"},
                                                                     {"foob", "Zm9vYg=="},
                                                                     {"fooba", "Zm9vYmE="},
                                                                     {"foobar", "Zm9vYmFy"}};
  for (const auto& [bytes, text] : examples) {
    EXPECT_EQ(dataOf(bytes)->base64EncodedString()->utf8(), text);
    ASSERT_TRUE(decoded(text)) << text;
    EXPECT_EQ(decoded(text)->view(), bytes);
  }
}

TEST(NSData, Base64RoundTripsAnyBytes) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (std::size_t size = 0; size < 200; ++size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random.bits());
    const Ref<NSData> data = dataOf(bytes);
    const Ref<NSData> back = decoded(data->base64EncodedString()->toStdString());
    ASSERT_TRUE(back);
    ASSERT_EQ(back->view(), bytes);
  }
}

TEST(NSData, TextThatIsNoBase64GivesNull) {
  EXPECT_EQ(NSData::initWithBase64EncodedStringOptions(nullptr), nullptr);
  for (const char* text : {"Z", "Zg", "Zg=", "Zm8", "Zg===", "=", "====", "Zg==Zg==", "Zm9v=",
                           "Zm9v====", "Zm 9v", "Zm9v\n", "Zm-v", "Zm_v", "Zh==", "Zm9=", "Zé=="}) {
    EXPECT_EQ(decoded(text), nullptr) << text;
  }
}

TEST(NSData, UnknownCharactersAreSkippedOnRequest) {
  const auto lenient = NSDataBase64DecodingIgnoreUnknownCharacters;
  EXPECT_EQ(decoded("Zm9v\r\nYm Fy\n", lenient)->view(), "foobar");
  EXPECT_EQ(decoded("Zg=\n=", lenient)->view(), "f");
  EXPECT_EQ(decoded("Zm9", lenient), nullptr);
}

TEST(NSData, DescriptionIsHexadecimalInGroups) {
  EXPECT_EQ(NSData::data()->description()->utf8(), "<>");
  EXPECT_EQ(dataOf("\x01\x23\x45\x67\x89\xab")->description()->utf8(), "<01234567 89ab>");
  EXPECT_EQ(dataOf(std::string(24, 'A'))->description()->utf8(),
            "<41414141 41414141 41414141 41414141 41414141 41414141>");
  EXPECT_EQ(dataOf(std::string(1'000'000, 'A'))->description()->utf8(),
            "<41414141 41414141 41414141 41414141 ... 41414141 41414141> (1000000 bytes)");
}

TEST(NSData, EqualityIgnoresMutability) {
  const Ref<NSData> fixed = dataOf(std::string("a\0b", 3));
  const Ref<NSMutableData> changeable = NSMutableData::dataWithData(fixed);
  EXPECT_EQ(Value(fixed), Value(changeable));
  EXPECT_EQ(fixed->hash(), changeable->hash());
  EXPECT_NE(Value(fixed), Value(dataOf("a")));
  EXPECT_NE(Value(dataOf("a")), Value("a"));
  EXPECT_FALSE(fixed->isEqualToData(nullptr));
  EXPECT_EQ(fixed->class_().name(), "NSConcreteData");
}

TEST(NSData, SubdataStaysInside) {
  const Ref<NSData> data = dataOf("abcdef");
  EXPECT_EQ(data->subdataWithRange({2, 3})->view(), "cde");
  EXPECT_EQ(data->subdataWithRange({6, 0})->length(), 0u);
  EXPECT_EQ(raisedName([&] { data->subdataWithRange({7, 0}); }), NSRangeException);
  EXPECT_EQ(raisedName([&] { data->subdataWithRange({2, ~NSUInteger{0}}); }), NSRangeException);
}

TEST(NSMutableData, GrowsShrinksAndAppendsItself) {
  const Ref<NSMutableData> data = NSMutableData::data();
  data->appendBytesLength("ab", 2);
  data->appendData(dataOf("cd"));
  data->appendData(nullptr);
  data->appendData(data);
  EXPECT_EQ(data->view(), "abcdabcd");
  data->appendBytesLength(data->bytes(), data->length());
  EXPECT_EQ(data->view(), "abcdabcdabcdabcd");
  data->setLength(3);
  data->setLength(5);
  EXPECT_EQ(data->view(), std::string("abc\0\0", 5));
  data->mutableBytes()[0] = 'z';
  EXPECT_EQ(data->bytes()[0], 'z');
  EXPECT_EQ(NSMutableData::dataWithLength(3)->view(), std::string(3, '\0'));
}

TEST(NSMutableData, CopiesAreIndependent) {
  const Ref<NSMutableData> data = NSMutableData::dataWithData(dataOf("ab"));
  const Value copy = data->copy();
  const Value mutableCopy = dataOf("ab")->mutableCopy();
  data->setLength(0);
  EXPECT_EQ(as<NSData>(copy)->view(), "ab");
  EXPECT_FALSE(isKindOf<NSMutableData>(copy));
  EXPECT_TRUE(isKindOf<NSMutableData>(mutableCopy));
  const Value again = as<NSData>(copy)->copy();
  EXPECT_EQ(again.object(), copy.object());
}

}  // namespace
}  // namespace JNFoundation
