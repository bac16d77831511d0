#include <gtest/gtest.h>
#include <string>

#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"
#include "platform/value/Reentrant.h"
#include "platform/value/SmallStack.h"

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation {
namespace {

using testing::onStackOf;
using testing::raisedName;
using testing::Reentrant;

std::string descriptionOf(const Value& value) { return value.description()->toStdString(); }

int countOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

TEST(ContainerDescription, AnArrayIsAListInParentheses) {
  EXPECT_EQ(descriptionOf(NSArray::arrayWithObjects(1, "two", 3.5)),
            "(\n    1,\n    two,\n    3.5\n)");
  EXPECT_EQ(descriptionOf(NSMutableArray::arrayWithValues({true})), "(\n    1\n)");
  EXPECT_EQ(descriptionOf(NSArray::array()), "(\n)");
}

TEST(ContainerDescription, ADictionaryIsAListOfEntriesInBraces) {
  EXPECT_EQ(descriptionOf(NSDictionary::dictionaryWithObjectForKey(1, "a")), "{\n    a = 1;\n}");
  EXPECT_EQ(descriptionOf(NSDictionary::dictionary()), "{\n}");
}

TEST(ContainerDescription, ADictionaryWhoseKeysAreAllTextIsInTheirOrder) {
  EXPECT_EQ(descriptionOf(
                NSDictionary::dictionaryWithEntries({{"b", 1}, {"a", 2}, {"\u00e4", 3}, {"Z", 4}})),
            "{\n    Z = 4;\n    a = 2;\n    b = 1;\n    \"\\U00e4\" = 3;\n}");
  EXPECT_EQ(descriptionOf(NSDictionary::dictionaryWithEntries({{"b", 1}, {3, 2}, {"a", 3}})),
            "{\n    b = 1;\n    3 = 2;\n    a = 3;\n}");
}

TEST(ContainerDescription, SetsAreListsInBracesAndParentheses) {
  EXPECT_EQ(descriptionOf(NSSet::setWithObjects("b", 1)), "{(\n    b,\n    1\n)}");
  EXPECT_EQ(descriptionOf(NSOrderedSet::orderedSetWithObjects("b", 1)), "{(\n    b,\n    1\n)}");
  EXPECT_EQ(descriptionOf(NSSet::set()), "{(\n)}");
}

TEST(ContainerDescription, TextIsQuotedWhereItNeedsToBe) {
  EXPECT_EQ(descriptionOf(NSArray::arrayWithObjects("a b", "", "p/q_r.s$t-u", "\"\n", "\u00fc")),
            "(\n    \"a b\",\n    \"\",\n    p/q_r.s$t-u,\n    \"\\\"\\n\",\n    \"\\U00fc\"\n)");
  EXPECT_EQ(descriptionOf(NSDictionary::dictionaryWithObjectForKey("x y", "a key")),
            "{\n    \"a key\" = \"x y\";\n}");
}

TEST(ContainerDescription, OtherObjectsDescribeThemselves) {
  EXPECT_EQ(
      descriptionOf(NSArray::arrayWithObjects(
          NSNull::null(), Value::dateWithTimeIntervalSince1970(0), Reentrant::numbered(4), -1)),
      "(\n    <null>,\n    1970-01-01 00:00:00 +0000,\n    #4,\n    -1\n)");
}

TEST(ContainerDescription, EveryLevelIsIndentedByFour) {
  Ref<NSArray> inner = NSArray::arrayWithObjects(1, NSSet::setWithObject("x"));
  EXPECT_EQ(descriptionOf(
                NSDictionary::dictionaryWithEntries({{"list", inner}, {"none", NSArray::array()}})),
            "{\n"
            "    list = (\n"
            "        1,\n"
            "        {(\n"
            "            x\n"
            "        )}\n"
            "    );\n"
            "    none = (\n"
            "    );\n"
            "}");
}

TEST(ContainerDescription, NestingEndsAtALimit) {
  onStackOf(1024 * 1024, [] {
    Value value = "core";
    for (int i = 0; i < 64; ++i) value = NSArray::arrayWithObject(value);
    EXPECT_EQ(countOf(descriptionOf(value), "core"), 1);
    EXPECT_EQ(countOf(descriptionOf(value), "..."), 0);
    for (int i = 0; i < 1'000'000; ++i) value = NSArray::arrayWithObject(value);
    EXPECT_EQ(countOf(descriptionOf(value), "core"), 0);
    EXPECT_EQ(countOf(descriptionOf(value), "..."), 1);
    EXPECT_EQ(countOf(descriptionOf(value), "("), 64);
  });
}

TEST(ContainerDescription, AContainerInsideItselfIsThreeDots) {
  Ref<NSMutableArray> array = NSMutableArray::arrayWithValues({1});
  array->addObject(array);
  array->addObject(array);
  EXPECT_EQ(descriptionOf(array), "(\n    1,\n    ...,\n    ...\n)");
  Ref<NSMutableDictionary> dictionary = NSMutableDictionary::dictionary();
  dictionary->setObjectForKey(array, "array");
  array->removeAllObjects();
  array->addObject(dictionary);
  EXPECT_EQ(descriptionOf(array), "(\n    {\n        array = ...;\n    }\n)");
  array->removeAllObjects();
}

TEST(ContainerDescription, AContainerThatIsMetTwiceIsWrittenTwice) {
  Ref<NSArray> shared = NSArray::arrayWithObject("x");
  EXPECT_EQ(countOf(descriptionOf(NSArray::arrayWithObjects(shared, shared)), "x"), 2);
}

TEST(ContainerDescription, EndlessTextEndsAtALimit) {
  Value value = NSArray::arrayWithObject("a text of some length, written again and again");
  for (int i = 0; i < 60; ++i) value = NSArray::arrayWithObjects(value, value);
  const std::string described = descriptionOf(value);
  EXPECT_GT(described.size(), std::size_t{64} << 20);
  EXPECT_LT(described.size(), std::size_t{65} << 20);
  EXPECT_EQ(described.substr(described.size() - 2), "\n)");
  // The next one starts anew.
  EXPECT_EQ(descriptionOf(NSArray::arrayWithObject(1)), "(\n    1\n)");
}

TEST(ContainerDescription, ObjectsThatDescribeWhatContainsThemEnd) {
  onStackOf(1024 * 1024, [] {
    Ref<Reentrant> object = Reentrant::numbered(1);
    Ref<NSMutableArray> array = NSMutableArray::arrayWithValues({object});
    std::string inner;
    object->whenDescribed = [&] { inner = descriptionOf(array); };
    EXPECT_EQ(descriptionOf(array), "(\n    #1\n)");
    EXPECT_EQ(inner, "...");
    // A new container each time, so only the depth ends it.
    int depth = 0;
    object->whenDescribed = [&] {
      ++depth;
      descriptionOf(NSArray::arrayWithObject(object));
    };
    descriptionOf(array);
    EXPECT_EQ(depth, 64);
    object->whenDescribed = nullptr;
  });
}

TEST(ContainerDescription, ADescriptionMayChangeTheContainer) {
  Ref<NSMutableArray> array = NSMutableArray::array();
  Ref<Reentrant> object = Reentrant::numbered(1);
  object->whenDescribed = [&] { array->removeAllObjects(); };
  array->addObject(object);
  array->addObject(Reentrant::numbered(2));
  EXPECT_EQ(descriptionOf(array), "(\n    #1,\n    #2\n)");
  EXPECT_EQ(descriptionOf(array), "(\n)");
}

TEST(ContainerDescription, ADescriptionThatRaisesLeavesNothingBehind) {
  Ref<Reentrant> object = Reentrant::numbered(1);
  object->whenDescribed = [] { raise(NSGenericException, "no"); };
  Ref<NSArray> array = NSArray::arrayWithObject(object);
  for (int i = 0; i < 100; ++i) {
    EXPECT_EQ(raisedName([&] { descriptionOf(array); }), NSGenericException);
  }
  object->whenDescribed = nullptr;
  EXPECT_EQ(descriptionOf(array), "(\n    #1\n)");
}

}  // namespace
}  // namespace JNFoundation
