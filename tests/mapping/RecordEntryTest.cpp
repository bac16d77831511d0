#include <gtest/gtest.h>

#include "EqualsNull.h"
#include "MappingFixture.h"

#include <JNFoundation/mapping/RecordEntry.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation {
namespace {

using State = RecordEntry::State;

void expectEntry(const RecordEntry& entry, State state, const Value& value = nullptr) {
  EXPECT_EQ(entry.state, state);
  EXPECT_EQ(entry.isMissing(), state == State::Missing);
  EXPECT_EQ(entry.isNull(), state == State::Null);
  EXPECT_EQ(entry.isPresent(), state == State::Present);
  EXPECT_TRUE(entry.value.isIdentical(value)) << entry.value.description()->utf8();
}

TEST(RecordEntry, MissingNullAndPresentAreToldApart) {
  const auto record = dictionary({{"null", NSNull::null()},
                                  {"equal", EqualsNull::init()},
                                  {"zero", 0},
                                  {"false", false},
                                  {7, "seven"}});
  expectEntry(entryForKey(record, "missing"), State::Missing);
  expectEntry(entryForKey(record, "null"), State::Null);
  expectEntry(entryForKey(record, "equal"), State::Null);
  expectEntry(entryForKey(record, "zero"), State::Present, 0);
  expectEntry(entryForKey(record, "false"), State::Present, false);
  EXPECT_EQ(entryForKey(record, 7).value, Value("seven"));
}

TEST(RecordEntry, EmptyTextAndEmptyCollectionsArePresent) {
  for (const Value& empty : {Value(""), Value(NSArray::array()), Value(dictionary({}))}) {
    expectEntry(entryForKey(dictionary({{"key", empty}}), "key"), State::Present, empty);
  }
}

TEST(RecordEntry, AKeyIsNoPath) {
  const auto record = dictionary({{"a", dictionary({{"b", 1}})}, {"x.y", 2}});
  expectEntry(entryForKey(record, "a.b"), State::Missing);
  expectEntry(entryForKey(record, "x.y"), State::Present, 2);
  expectEntry(entryForKey(record, nullptr), State::Missing);
}

TEST(RecordEntry, NothingIsInANullDictionary) {
  expectEntry(entryForKey(nullptr, "a"), State::Missing);
  expectEntry(entryForPath(nullptr, NSArray::arrayWithObjects("a")), State::Missing);
}

TEST(RecordEntry, APathLeadsThroughDictionaries) {
  const auto record = dictionary(
      {{"meta", dictionary({{"born", NSNull::null()}, {"deep", dictionary({{"x", 1}})}})},
       {"gone", NSNull::null()},
       {"list", NSArray::arrayWithObjects(1)}});
  const auto at = [&](auto... keys) {
    return entryForPath(record, NSArray::arrayWithObjects(keys...));
  };
  expectEntry(at("meta", "born"), State::Null);
  expectEntry(at("meta", "missing"), State::Missing);
  expectEntry(at("meta", "deep", "x"), State::Present, 1);
  EXPECT_TRUE(at("meta").isPresent());
  expectEntry(at("meta", "born", "x"), State::Missing);
  expectEntry(at("gone"), State::Null);
  expectEntry(at("gone", "x"), State::Missing);
  expectEntry(at("list", "x"), State::Missing);
  expectEntry(at("missing", "x"), State::Missing);
  expectEntry(entryForPath(record, NSArray::array()), State::Missing);
  expectEntry(entryForPath(record, nullptr), State::Missing);
}

TEST(RecordEntry, APathMayBeAHundredThousandKeysLong) {
  Ref<NSDictionary> record = dictionary({{"end", 1}});
  std::vector<Value> keys;
  for (int i = 0; i < 100'000; ++i) {
    record = dictionary({{"a", record}});
    keys.push_back("a");
  }
  keys.push_back("end");
  expectEntry(entryForPath(record, NSArray::arrayWithValues(std::move(keys))), State::Present, 1);
}

}  // namespace
}  // namespace JNFoundation
