#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <thread>
#include <unordered_set>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/text/UTF8.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation {
namespace {

using testing::raisedBy;
using namespace std::string_view_literals;

constexpr std::string_view mark = "\xEF\xBF\xBD";  // U+FFFD

Ref<NSString> text(std::string_view utf8) { return NSString::fromText(utf8); }

TEST(NSString, KeepsWellFormedTextAsItIs) {
  for (const std::string_view utf8 : {""sv, "a"sv, "plain ASCII"sv, "é"sv, "日本語"sv,
                                      "👩‍👩‍👧"sv, "\U0010FFFF"sv, "a\0b"sv, "\0"sv}) {
    EXPECT_EQ(text(utf8)->utf8(), utf8);
    EXPECT_EQ(text(utf8)->toStdString(), utf8);
    EXPECT_EQ(text(utf8)->utf8(), utf8);
    EXPECT_EQ(text(utf8)->UTF8String()[utf8.size()], '\0');
  }
}

TEST(NSString, MendsEachIllFormedSequence) {
  const auto mended = [](std::string_view bytes) { return text(bytes)->toStdString(); };
  const std::string one(mark);
  EXPECT_EQ(mended("\xff"), one);
  EXPECT_EQ(mended("a\x80z"), "a" + one + "z");
  EXPECT_EQ(mended("\xe2\x82"), one) << "cut short: one sequence";
  EXPECT_EQ(mended("\xe2\x82z"), one + "z");
  EXPECT_EQ(mended("\xc0\xaf"), one + one) << "overlong";
  EXPECT_EQ(mended("\xed\xa0\x80"), one + one + one) << "a surrogate";
  EXPECT_EQ(mended("\xf4\x90\x80\x80"), one + one + one + one) << "above U+10FFFF";
  EXPECT_EQ(text("a\x80z")->length(), 3u);
  EXPECT_EQ(text("\xed\xa0\x80")->length(), 3u);
}

TEST(NSString, AmongManyIsLikeAnyOther) {
  const std::string longText(100'000, 'x');
  for (const std::string_view bytes :
       {""sv, "a"sv, "é"sv, "a\0b"sv, "\xe2\x82z"sv, "a text of middling length"sv,
        std::string_view(longText).substr(0, 460), std::string_view(longText)}) {
    const auto string = NSString::fromTextAmongMany(bytes);
    EXPECT_EQ(string->utf8(), text(bytes)->utf8());
    EXPECT_EQ(string->length(), text(bytes)->length());
    EXPECT_EQ(string->hash(), text(bytes)->hash());
    EXPECT_TRUE(string->isEqual(Value(text(bytes))));
    EXPECT_EQ(string->UTF8String()[string->utf8().size()], '\0');
    EXPECT_FALSE(string->isInterned());
  }
}

TEST(NSString, ThoseAmongManyGoInAnyOrderAndOnAnyThread) {
  testing::LiveObjects live;
  std::vector<Ref<NSString>> strings;
  for (int i = 0; i < 5000; ++i) {
    strings.push_back(NSString::fromTextAmongMany("number " + std::to_string(i)));
  }
  std::thread([odd = &strings] {
    for (std::size_t i = 1; i < odd->size(); i += 2) (*odd)[i] = nullptr;
  }).join();
  for (std::size_t i = 0; i < strings.size(); i += 2) {
    ASSERT_EQ(strings[i]->utf8(), "number " + std::to_string(i));
  }
  strings.clear();
  EXPECT_EQ(live.count(), 0);
}

TEST(NSString, RandomBytesBecomeWellFormed) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int i = 0; i < 2'000; ++i) {
    std::string bytes(random.below(40), '\0');
    for (char& byte : bytes) byte = static_cast<char>(random.bits());
    const Ref<NSString> string = text(bytes);
    ASSERT_TRUE(isValidUTF8(string->utf8()));
    ASSERT_EQ(string->length(), codePointCount(string->utf8()));
    ASSERT_EQ(text(string->utf8())->utf8(), string->utf8());
  }
}

TEST(NSString, RefusesIllFormedUTF8Strings) {
  EXPECT_EQ(NSString::stringWithUTF8String("é")->utf8(), "é");
  EXPECT_EQ(NSString::stringWithUTF8String("")->length(), 0u);
  EXPECT_EQ(NSString::stringWithUTF8String("\xff"), nullptr);
  EXPECT_EQ(NSString::stringWithUTF8String(nullptr), nullptr);
}

TEST(NSString, CountsCodePoints) {
  EXPECT_EQ(text("")->length(), 0u);
  EXPECT_EQ(text("é")->length(), 1u);
  EXPECT_EQ(text("e\u0301")->length(), 2u) << "a combining mark is a code point";
  EXPECT_EQ(text("😀")->length(), 1u);
  EXPECT_EQ(text("👩‍👩‍👧")->length(), 5u);
  EXPECT_EQ(text("a\0b"sv)->length(), 3u);
}

TEST(NSString, FindsCharactersByPosition) {
  const Ref<NSString> mixed = text("aé😀z");
  EXPECT_EQ(mixed->characterAtIndex(0), U'a');
  EXPECT_EQ(mixed->characterAtIndex(1), U'é');
  EXPECT_EQ(mixed->characterAtIndex(2), U'😀');
  EXPECT_EQ(mixed->characterAtIndex(3), U'z');
  EXPECT_EQ(text("plain")->characterAtIndex(4), U'n');
  EXPECT_EQ(text("\0"sv)->characterAtIndex(0), U'\0');
  EXPECT_EQ(raisedBy([&] { mixed->characterAtIndex(4); }),
            "NSRangeException: -[__NSCFString characterAtIndex:]: Index 4 out of bounds; string "
            "length 4");
  EXPECT_NE(raisedBy([&] { text("")->characterAtIndex(0); }), "");
  EXPECT_NE(raisedBy([&] { text("abc")->characterAtIndex(~NSUInteger{0}); }), "");
}

TEST(NSString, IsCutAtCodePoints) {
  const Ref<NSString> mixed = text("aé😀z");
  for (NSUInteger i = 0; i <= 4; ++i) {
    const Ref<NSString> head = mixed->substringToIndex(i), tail = mixed->substringFromIndex(i);
    EXPECT_EQ(head->length(), i);
    EXPECT_EQ(tail->length(), 4 - i);
    EXPECT_EQ(head->stringByAppendingString(tail)->utf8(), mixed->utf8());
    EXPECT_EQ(head->stringByAppendingString(tail)->length(), 4u);
    EXPECT_TRUE(isValidUTF8(head->utf8()));
  }
  EXPECT_EQ(text("plain")->substringToIndex(2)->utf8(), "pl");
  EXPECT_EQ(text("plain")->substringFromIndex(2)->utf8(), "ain");
  EXPECT_EQ(raisedBy([&] { mixed->substringToIndex(5); }),
            "NSRangeException: -[__NSCFString substringToIndex:]: Index 5 out of bounds; string "
            "length 4");
  EXPECT_NE(raisedBy([&] { mixed->substringFromIndex(5); }), "");
  EXPECT_NE(raisedBy([&] { mixed->substringFromIndex(~NSUInteger{0}); }), "");
}

TEST(NSString, EqualsTheSameContent) {
  const Ref<NSString> one = text("näme"), same = text("näme"), other = text("name");
  EXPECT_TRUE(one->isEqualToString(same));
  EXPECT_TRUE(one->isEqual(same));
  EXPECT_EQ(one->hash(), same->hash());
  EXPECT_FALSE(one->isEqualToString(other));
  EXPECT_FALSE(one->isEqualToString(nullptr));
  EXPECT_FALSE(one->isEqual(nullptr));
  EXPECT_FALSE(one->isEqual(5));
  EXPECT_FALSE(text("é")->isEqualToString("e\u0301")) << "code points decide";
  EXPECT_FALSE(text("a\0b"sv)->isEqualToString(text("a\0c"sv)));
  EXPECT_FALSE(text("")->isEqualToString(text("\0"sv)));
}

TEST(NSString, EqualityHoldsWhetherHashesAreKnownOrNot) {
  for (const bool left : {false, true}) {
    for (const bool right : {false, true}) {
      const Ref<NSString> one = text("abc"), same = text("abc"), other = text("abd");
      if (left) one->hash();
      if (right) {
        same->hash();
        other->hash();
      }
      EXPECT_TRUE(one->hasContentOf(*same));
      EXPECT_FALSE(one->hasContentOf(*other));
    }
  }
}

TEST(NSString, HashesAreKeptSpreadAndNeverZero) {
  const Ref<NSString> string = text("some text");
  const std::uint64_t hash = string->contentHash();
  EXPECT_EQ(string->contentHash(), hash);
  EXPECT_EQ(NSString::contentHashOf("some text"), hash);
  EXPECT_EQ(NSString::interned("some text")->contentHash(), hash);
  EXPECT_NE(text("")->contentHash(), 0u);
  std::unordered_set<std::uint64_t> hashes;
  for (int i = 0; i < 100'000; ++i) hashes.insert(text("key" + std::to_string(i))->contentHash());
  EXPECT_EQ(hashes.size(), 100'000u);
}

TEST(NSString, ComparesByCodePoint) {
  EXPECT_EQ(text("a")->compare("b"), NSOrderedAscending);
  EXPECT_EQ(text("b")->compare("B"), NSOrderedDescending);
  EXPECT_EQ(text("a")->compare("a"), NSOrderedSame);
  EXPECT_EQ(text("a")->compare("ab"), NSOrderedAscending);
  EXPECT_EQ(text("\uF900")->compare("😀"), NSOrderedAscending);
  EXPECT_EQ(text("ABC")->caseInsensitiveCompare("abc"), NSOrderedSame);
  EXPECT_EQ(text("ÄBC")->caseInsensitiveCompare("äbd"), NSOrderedAscending);
  EXPECT_EQ(text("Äpfel")->localizedCompare("Banana"), NSOrderedAscending);
  EXPECT_EQ(text("ABC")->localizedCaseInsensitiveCompare("abc"), NSOrderedSame);
  EXPECT_EQ(text("file9")->localizedStandardCompare("file10"), NSOrderedAscending);
  EXPECT_EQ(raisedBy([] { text("a")->compare(nullptr); }),
            "NSInvalidArgumentException: -[NSString compare:]: nil argument");
  EXPECT_NE(raisedBy([] { text("a")->caseInsensitiveCompare(nullptr); }), "");
  EXPECT_NE(raisedBy([] { text("a")->localizedCompare(nullptr); }), "");
  EXPECT_NE(raisedBy([] { text("a")->localizedCaseInsensitiveCompare(nullptr); }), "");
  EXPECT_NE(raisedBy([] { text("a")->localizedStandardCompare(nullptr); }), "");
}

TEST(NSString, SearchesForParts) {
  const Ref<NSString> string = text("näme\0x"sv);
  EXPECT_TRUE(string->hasPrefix("nä"));
  EXPECT_TRUE(string->hasPrefix(""));
  EXPECT_FALSE(string->hasPrefix("name"));
  EXPECT_FALSE(string->hasPrefix("näme\0xy"sv));
  EXPECT_TRUE(string->hasSuffix("\0x"sv));
  EXPECT_TRUE(string->hasSuffix(""));
  EXPECT_FALSE(string->hasSuffix("nnnnnnnnnnnnn"));
  EXPECT_TRUE(string->containsString("ä"));
  EXPECT_TRUE(string->containsString(""));
  EXPECT_FALSE(string->containsString("N"));
}

TEST(NSString, ChangesCase) {
  EXPECT_EQ(text("straße äö")->uppercaseString()->utf8(), "STRASSE ÄÖ");
  EXPECT_EQ(text("ÄÖ X")->lowercaseString()->utf8(), "äö x");
  EXPECT_EQ(text("ann-marie o'NEIL  élan\tZÜRICH\n")->capitalizedString()->utf8(),
            "Ann-marie O'neil  Élan\tZürich\n");
  EXPECT_EQ(text("  ")->capitalizedString()->utf8(), "  ");
  EXPECT_EQ(text("")->capitalizedString()->utf8(), "");
  EXPECT_EQ(text("ǆ")->capitalizedString()->utf8(), "ǅ") << "title case, not upper case";
}

TEST(NSString, AppendsTrimsAndSplits) {
  EXPECT_EQ(text("a")->stringByAppendingString("é")->utf8(), "aé");
  EXPECT_NE(raisedBy([] { text("a")->stringByAppendingString(nullptr); }), "");
  EXPECT_EQ(text(" \t\r\n a b \v\f")->stringByTrimmingWhitespace()->utf8(), "a b");
  EXPECT_EQ(text(" \n ")->stringByTrimmingWhitespace()->utf8(), "");
  EXPECT_EQ(text("\u00A0\u3000é\u2003")->stringByTrimmingWhitespace()->utf8(), "é");
  const auto pieces = [](std::string_view string, std::string_view separator) {
    std::vector<std::string> result;
    for (const Value& piece : text(string)->componentsSeparatedByString(separator)) {
      result.push_back(as<NSString>(piece)->toStdString());
    }
    return result;
  };
  using Pieces = std::vector<std::string>;
  EXPECT_EQ(pieces("a,b,,c", ","), (Pieces{"a", "b", "", "c"}));
  EXPECT_EQ(pieces(",", ","), (Pieces{"", ""}));
  EXPECT_EQ(pieces("", ","), (Pieces{""}));
  EXPECT_EQ(pieces("abc", ""), (Pieces{"abc"}));
  EXPECT_EQ(pieces("aXXXb", "XX"), (Pieces{"a", "Xb"}));
}

TEST(NSString, ReadsNumbers) {
  EXPECT_EQ(text(" 12x")->integerValue(), 12);
  EXPECT_EQ(text("-9999999999")->intValue(), std::numeric_limits<std::int32_t>::min());
  EXPECT_EQ(text("9999999999")->longLongValue(), 9999999999);
  EXPECT_EQ(text("1e3")->doubleValue(), 1000);
  EXPECT_EQ(text("0.1")->floatValue(), 0.1f);
  EXPECT_TRUE(text("true")->boolValue());
}

TEST(NSString, InternsOneStringOfEachContent) {
  const Ref<NSString> one = NSString::interned("interned name");
  EXPECT_EQ(one, NSString::interned(std::string("interned") + " name"));
  EXPECT_TRUE(one->isInterned());
  EXPECT_NE(one, text("interned name"));
  EXPECT_FALSE(text("interned name")->isInterned());
  EXPECT_EQ(NSString::internedIfPresent("interned name"), one.get());
  EXPECT_EQ(NSString::internedIfPresent("nobody interned this"), nullptr);
  EXPECT_EQ(NSString::internedIfPresent("nobody interned this"), nullptr) << "asking interns not";
  EXPECT_EQ(NSString::interned("\xff"), NSString::interned(mark)) << "after mending";
  EXPECT_EQ(NSString::interned(""), NSString::string());
}

TEST(NSString, InternedOnesDoNotCountAsAlive) {
  testing::LiveObjects live;
  const Ref<NSString> kept = NSString::interned("made for the count");
  EXPECT_EQ(live.count(), 0);
}

TEST(NSString, InternsOnEightThreadsAtOnce) {
  std::vector<std::vector<NSString*>> found(8);
  std::vector<std::thread> threads;
  for (auto& own : found) {
    threads.emplace_back([&own] {
      for (int i = 0; i < 500; ++i) {
        own.push_back(NSString::interned("thread key " + std::to_string(i)).get());
      }
    });
  }
  for (auto& thread : threads) thread.join();
  for (const auto& own : found) EXPECT_EQ(own, found.front());
}

TEST(NSString, HashesOnEightThreadsAtOnce) {
  const Ref<NSString> shared = text("hashed by everybody");
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] { EXPECT_EQ(shared->hash(), text("hashed by everybody")->hash()); });
  }
  for (auto& thread : threads) thread.join();
}

const Ref<NSString>& literalOfAFunction() { return "literal"_s; }

TEST(NSString, LiteralsAreInterned) {
  EXPECT_EQ("literal"_s, literalOfAFunction());
  EXPECT_EQ("literal"_s, NSString::interned("literal"));
  EXPECT_EQ("a\0b"_s->utf8(), "a\0b"sv);
  EXPECT_EQ(""_s->length(), 0u);
  EXPECT_EQ("é"_s->length(), 1u);
}

TEST(NSString, OfAMillionCharactersWorks) {
  std::string large;
  for (int i = 0; i < 1'000'000; ++i) large += "é";
  const Ref<NSString> string = text(large);
  EXPECT_EQ(string->length(), 1'000'000u);
  EXPECT_EQ(string->characterAtIndex(999'999), U'é');
  EXPECT_EQ(string->substringFromIndex(999'998)->utf8(), "éé");
}

}  // namespace
}  // namespace JNFoundation
