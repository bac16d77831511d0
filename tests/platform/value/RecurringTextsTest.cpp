#include <gtest/gtest.h>
#include <string>

#include <JNFoundation/platform/value/RecurringTexts.h>

namespace JNFoundation {
namespace {

/// One that has begun to look at its texts.
RecurringTexts begun() {
  RecurringTexts texts;
  for (int i = 0; i < 8; ++i) texts.stringOf("before");
  return texts;
}

TEST(RecurringTexts, TheFirstFewTextsAreStringsOfTheirOwn) {
  RecurringTexts texts;
  EXPECT_NE(texts.stringOf("a").get(), texts.stringOf("a").get());
}

TEST(RecurringTexts, ATextThatComesAgainIsTheSameString) {
  RecurringTexts texts = begun();
  const std::string samples[] = {"",         "a",
                                 "ab",       "seven..",
                                 "eight...", "a longer text of a column",
                                 "Größe",    std::string("a\0b", 3)};
  for (const std::string& text : samples) {
    const Ref<NSString> first = texts.stringOf(text);
    EXPECT_EQ(first->utf8(), text);
    EXPECT_EQ(texts.stringOf(std::string(text)).get(), first.get()) << text;
  }
}

TEST(RecurringTexts, AFewTextsStayTheSameStringsHoweverManyRecordsThereAre) {
  RecurringTexts texts = begun();
  const std::string categories[] = {"kitchen", "garden and terrace", "office"};
  Ref<NSString> strings[3];
  for (int i = 0; i < 3; ++i) strings[i] = texts.stringOf(categories[i]);
  for (int i = 0; i < 10'000; ++i) {
    ASSERT_EQ(texts.stringOf(categories[i % 3]).get(), strings[i % 3].get());
  }
}

TEST(RecurringTexts, TextsOfTheSameEndsAreNotMistaken) {
  RecurringTexts texts = begun();
  const auto of = [&](const std::string& text) { return texts.stringOf(text); };
  for (int round = 0; round < 3; ++round) {
    EXPECT_EQ(of("beginning one the end....")->utf8(), "beginning one the end....");
    EXPECT_EQ(of("beginning two the end....")->utf8(), "beginning two the end....");
    EXPECT_EQ(of("abc")->utf8(), "abc");
    EXPECT_EQ(of("abxc")->utf8(), "abxc");
  }
}

TEST(RecurringTexts, TextsThatNeverComeAgainAreStillRight) {
  RecurringTexts texts;
  for (int i = 0; i < 2000; ++i) {
    const std::string text = "number " + std::to_string(i);
    ASSERT_EQ(texts.stringOf(text)->utf8(), text);
  }
  EXPECT_NE(texts.stringOf("late").get(), texts.stringOf("late").get())
      << "by then nothing is looked for any more";
}

TEST(RecurringTexts, LongTextsAreStringsOfTheirOwn) {
  RecurringTexts texts = begun();
  const std::string text(1000, 'x');
  const Ref<NSString> first = texts.stringOf(text), second = texts.stringOf(text);
  EXPECT_EQ(first->utf8(), text);
  EXPECT_NE(first.get(), second.get());
}

TEST(RecurringTexts, IllFormedTextIsMended) {
  RecurringTexts texts = begun();
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(texts.stringOf("a\xFF")->utf8(), "a\xEF\xBF\xBD");
  }
}

}  // namespace
}  // namespace JNFoundation
