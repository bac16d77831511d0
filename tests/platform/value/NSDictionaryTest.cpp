#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/Listed.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"
#include "platform/value/Reentrant.h"

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

using testing::listed;
using testing::listedEntries;
using testing::LiveObjects;
using testing::raisedBy;
using testing::raisedName;
using testing::Randomness;
using testing::Reentrant;

Ref<NSMutableDictionary> sample() {
  return NSMutableDictionary::dictionaryWithEntries({{"b", 1}, {"a", 2}, {3, "c"}});
}

/// A key that has no copy.
class Copyless : public Subclass<Copyless, NSObject> {
 public:
  Value copy() const override { return nullptr; }
};

TEST(NSDictionary, FindsValuesByEqualKeys) {
  Ref<NSDictionary> dictionary = NSDictionary::dictionaryWithEntries(
      {{"name", "Ann"}, {1, "one"}, {2.5, "half"}, {NSNull::null(), "none"}});
  EXPECT_EQ(dictionary->objectForKey("name"), Value("Ann"));
  EXPECT_EQ((*dictionary)["name"_s], Value("Ann"));
  EXPECT_EQ(dictionary->objectForKey(1.0), Value("one"));
  EXPECT_EQ(dictionary->objectForKey(true), Value("one"));
  EXPECT_EQ(dictionary->objectForKey(2.5f), Value("half"));
  EXPECT_EQ(dictionary->objectForKey(NSNull::null()), Value("none"));
  EXPECT_TRUE(dictionary->objectForKey("Name").isNull());
  EXPECT_TRUE(dictionary->objectForKey("1").isNull());
  EXPECT_TRUE(dictionary->objectForKey(nullptr).isNull());
}

TEST(NSDictionary, EveryWayOfFindingAgrees) {
  Ref<NSMutableDictionary> dictionary = NSMutableDictionary::dictionary();
  for (const NSInteger size : {5, 50}) {
    for (NSInteger i = 0; i < size; ++i) {
      dictionary->setObjectForKey(i, NSString::stringWithFormat("k\u00e9y%lld", i));
    }
    for (NSInteger i = 0; i < size + 3; ++i) {
      Ref<NSString> key = NSString::stringWithFormat("k\u00e9y%lld", i);
      const Value* found = dictionary->find(Value(key));
      EXPECT_EQ(found != nullptr, i < size);
      EXPECT_EQ(dictionary->find(*key), found);
      EXPECT_EQ(dictionary->findText(key->utf8()), found);
      EXPECT_EQ(dictionary->find(*NSString::interned(key->utf8())), found);
    }
  }
  EXPECT_EQ(dictionary->findText(""), nullptr);
  dictionary->setObjectForKey("empty", "");
  EXPECT_EQ(*dictionary->findText(""), Value("empty"));
}

TEST(NSDictionary, EnumeratesInTheOrderOfInsertion) {
  Ref<NSMutableDictionary> dictionary = sample();
  EXPECT_EQ(listedEntries(dictionary), "b=1 a=2 3=c");
  dictionary->setObjectForKey(9, "b");
  dictionary->setObjectForKey(8, "z");
  EXPECT_EQ(listedEntries(dictionary), "b=9 a=2 3=c z=8");
  dictionary->removeObjectForKey("b");
  dictionary->setObjectForKey(7, "b");
  EXPECT_EQ(listedEntries(dictionary), "a=2 3=c z=8 b=7");
  EXPECT_EQ(listed(dictionary->allKeys()), "a 3 z b");
  EXPECT_EQ(listed(dictionary->allValues()), "2 c 8 7");
}

TEST(NSDictionary, OfEqualKeysTheFirstKeepsItsPlaceAndTheLastItsValue) {
  EXPECT_EQ(listedEntries(NSDictionary::dictionaryWithEntries({{"a", 1}, {"b", 2}, {"a", 3}})),
            "a=3 b=2");
}

TEST(NSDictionary, NullIsRefusedAndChangesNothing) {
  EXPECT_EQ(raisedBy([] {
              NSDictionary::dictionaryWithEntries({{"a", 1}, {"b", nullptr}});
            }),
            "NSInvalidArgumentException: *** -[__NSPlaceholderDictionary "
            "initWithObjects:forKeys:count:]: attempt to insert nil object from objects[1]");
  EXPECT_EQ(raisedName([] { NSDictionary::dictionaryWithObjectForKey(1, nullptr); }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([] {
              NSMutableDictionary::dictionaryWithEntries({{nullptr, 1}});
            }),
            NSInvalidArgumentException);
  Ref<NSMutableDictionary> dictionary = sample();
  EXPECT_EQ(raisedBy([&] { dictionary->setObjectForKey(nullptr, "a"); }),
            "NSInvalidArgumentException: *** -[__NSDictionaryM setObject:forKey:]: object cannot "
            "be nil");
  EXPECT_EQ(raisedBy([&] { dictionary->setObjectForKey(1, nullptr); }),
            "NSInvalidArgumentException: *** -[__NSDictionaryM setObject:forKey:]: key cannot be "
            "nil");
  EXPECT_EQ(raisedName([&] { dictionary->removeObjectForKey(nullptr); }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] { dictionary->setValueForKey(1, nullptr); }),
            NSInvalidArgumentException);
  EXPECT_EQ(listedEntries(dictionary), "b=1 a=2 3=c");
}

TEST(NSDictionary, MutableKeysAreCopied) {
  Ref<NSMutableArray> key = NSMutableArray::arrayWithValues({1});
  Ref<NSMutableDictionary> dictionary = NSMutableDictionary::dictionary();
  dictionary->setObjectForKey("one", key);
  Ref<NSDictionary> immutable = NSDictionary::dictionaryWithObjectForKey("one", key);
  NSDictionary::Builder builder;
  builder.set(key, "one");
  Ref<NSDictionary> built = builder.finish();
  key->addObject(2);
  for (const Ref<NSDictionary>& each : {Ref<NSDictionary>(dictionary), immutable, built}) {
    EXPECT_EQ(each->objectForKey(NSArray::arrayWithObject(1)), Value("one"));
    EXPECT_TRUE(each->objectForKey(key).isNull());
  }
}

TEST(NSDictionary, AKeyWithoutACopyIsRefused) {
  Ref<NSMutableDictionary> dictionary = sample();
  EXPECT_EQ(raisedName([&] { dictionary->setObjectForKey(1, makeObject<Copyless>()); }),
            NSInvalidArgumentException);
  EXPECT_EQ(dictionary->count(), 3u);
}

TEST(NSDictionary, SettingNullForAKeyRemovesTheEntry) {
  Ref<NSMutableDictionary> dictionary = sample();
  dictionary->setValueForKey(nullptr, "b");
  dictionary->setValueForKey(nullptr, "missing");
  dictionary->setValueForKey(5, "a");
  EXPECT_EQ(listedEntries(dictionary), "a=5 3=c");
}

TEST(NSDictionary, AKeyBehindAnAtSignIsTheDictionarysOwn) {
  Ref<NSMutableDictionary> dictionary = sample();
  EXPECT_EQ(dictionary->valueForKey("a"), Value(2));
  EXPECT_TRUE(dictionary->valueForKey("missing").isNull());
  EXPECT_TRUE(dictionary->valueForKey("count").isNull());
  EXPECT_EQ(dictionary->valueForKey("@count"), Value(3));
  EXPECT_EQ(listed(as<NSArray>(dictionary->valueForKey("@allKeys"))), "b a 3");
  EXPECT_EQ(raisedName([&] { dictionary->valueForKey("@missing"); }), NSUndefinedKeyException);
  dictionary->setObjectForKey("mine", "@count");
  EXPECT_EQ(dictionary->objectForKey("@count"), Value("mine"));
  EXPECT_EQ(dictionary->valueForKey("@count"), Value(4));
  EXPECT_TRUE(dictionary->valueForKey(nullptr).isNull());
}

TEST(NSDictionary, AnImmutableOneRefusesKeys) {
  EXPECT_EQ(raisedName([] { NSDictionary::dictionary()->setValueForKey(1, "a"); }),
            NSUndefinedKeyException);
}

TEST(NSDictionary, KeysAreFoundForAnObject) {
  Ref<NSDictionary> dictionary =
      NSDictionary::dictionaryWithEntries({{"a", 1}, {"b", 2}, {"c", 1.0}});
  EXPECT_EQ(listed(dictionary->allKeysForObject(1)), "a c");
  EXPECT_EQ(dictionary->allKeysForObject(3)->count(), 0u);
  EXPECT_EQ(dictionary->allKeysForObject(nullptr)->count(), 0u);
}

TEST(NSDictionary, EntriesAreAddedAndReplaced) {
  Ref<NSMutableDictionary> dictionary = sample();
  dictionary->addEntriesFromDictionary(NSDictionary::dictionaryWithEntries({{"a", 7}, {"n", 8}}));
  EXPECT_EQ(listedEntries(dictionary), "b=1 a=7 3=c n=8");
  dictionary->addEntriesFromDictionary(nullptr);
  dictionary->addEntriesFromDictionary(dictionary);
  EXPECT_EQ(dictionary->count(), 4u);
  dictionary->setDictionary(dictionary);
  EXPECT_EQ(dictionary->count(), 4u);
  dictionary->setDictionary(NSDictionary::dictionaryWithObjectForKey(1, "only"));
  EXPECT_EQ(listedEntries(dictionary), "only=1");
  dictionary->setDictionary(nullptr);
  EXPECT_EQ(dictionary->count(), 0u);
}

TEST(NSDictionary, CopiesAreImmutableAndIndependent) {
  Ref<NSMutableDictionary> dictionary = sample();
  dictionary->removeObjectForKey("a");
  const Value copy = dictionary->copy();
  dictionary->setObjectForKey(1, "new");
  EXPECT_EQ(listedEntries(as<NSDictionary>(copy)), "b=1 3=c");
  EXPECT_FALSE(isKindOf<NSMutableDictionary>(copy));
  EXPECT_TRUE(copy.copy().isIdentical(copy));
  const Value changed = as<NSDictionary>(copy)->mutableCopy();
  as<NSMutableDictionary>(changed)->removeAllObjects();
  EXPECT_EQ(listedEntries(as<NSDictionary>(copy)), "b=1 3=c");
}

TEST(NSDictionary, ABuilderCanBeUsedAgain) {
  NSDictionary::Builder builder(100);
  builder.set("a", 1);
  builder.set("a", 2);
  builder.set(nullptr, 3);
  builder.set("b", nullptr);
  EXPECT_EQ(listedEntries(builder.finish()), "a=2");
  EXPECT_EQ(builder.finish()->count(), 0u);
  builder.set("c", 1);
  EXPECT_EQ(listedEntries(builder.finish()), "c=1");
}

TEST(NSDictionary, ClassesHaveTheNamesThatLogsShow) {
  EXPECT_EQ(NSDictionary::dictionary()->class_().name(), "__NSDictionaryI");
  EXPECT_EQ(sample()->class_().name(), "__NSDictionaryM");
  EXPECT_TRUE(isKindOf<NSMutableDictionary>(Value(NSMutableDictionary::classObject.newInstance())));
}

TEST(NSDictionary, TheRuntimeFindsItsOperations) {
  Ref<NSMutableDictionary> dictionary = sample();
  performSelector(Value(dictionary), "setObject:forKey:", "new", "a");
  EXPECT_EQ(performSelector(Value(dictionary), "objectForKey:", "a"), Value("new"));
  EXPECT_EQ(performSelector(Value(dictionary), "count"), Value(3));
}

TEST(NSDictionary, AChangeDuringAWalkIsNoticed) {
  const std::vector<Block<void(NSMutableDictionary&)>> changes = {
      [](NSMutableDictionary& dictionary) { dictionary.setObjectForKey(1, "new"); },
      [](NSMutableDictionary& dictionary) { dictionary.setObjectForKey(1, "a"); },
      [](NSMutableDictionary& dictionary) { dictionary.removeObjectForKey("a"); },
      [](NSMutableDictionary& dictionary) { dictionary.removeAllObjects(); },
      [](NSMutableDictionary& dictionary) { dictionary.setDictionary(nullptr); }};
  for (const auto& change : changes) {
    Ref<NSMutableDictionary> dictionary = sample();
    int seen = 0;
    EXPECT_EQ(
        raisedName([&] {
          dictionary->enumerateKeysAndObjectsUsingBlock([&](const Value&, const Value&, bool&) {
            ++seen;
            change(*dictionary);
          });
        }),
        NSGenericException);
    EXPECT_EQ(seen, 1);
    dictionary = sample();
    for (const auto& [key, value] : *dictionary) {
      change(*dictionary);
      EXPECT_EQ(key, Value("b"));
      EXPECT_EQ(value, Value(1));
      break;
    }
  }
}

TEST(NSDictionary, ADictionaryOutlivesItsOwnEnumeration) {
  const LiveObjects alive;
  Ref<NSDictionary> dictionary = NSDictionary::dictionaryWithEntries(
      {{"a", Reentrant::numbered(1)}, {"b", Reentrant::numbered(2)}});
  std::string seen;
  dictionary->enumerateKeysAndObjectsUsingBlock([&](const Value&, const Value& object, bool&) {
    dictionary = nullptr;
    seen += object.description()->toStdString();
  });
  EXPECT_EQ(seen, "#1#2");
  EXPECT_EQ(alive.count(), 0);
}

TEST(NSDictionary, TheEndOfWhatIsRemovedMayChangeTheDictionary) {
  const LiveObjects alive;
  {
    const std::vector<Block<void(NSMutableDictionary&)>> removals = {
        [](NSMutableDictionary& dictionary) { dictionary.removeAllObjects(); },
        [](NSMutableDictionary& dictionary) { dictionary.removeObjectForKey("a"); },
        [](NSMutableDictionary& dictionary) { dictionary.setObjectForKey(1, "a"); },
        [](NSMutableDictionary& dictionary) { dictionary.setDictionary(nullptr); },
        [](NSMutableDictionary& dictionary) {
          dictionary.addEntriesFromDictionary(
              NSDictionary::dictionaryWithEntries({{"a", 1}, {"b", 2}}));
        }};
    const std::vector<Block<void(NSMutableDictionary&)>> attacks = {
        [](NSMutableDictionary& dictionary) { dictionary.setObjectForKey("late", "a"); },
        [](NSMutableDictionary& dictionary) { dictionary.removeAllObjects(); },
        [](NSMutableDictionary& dictionary) {
          for (int i = 0; i < 50; ++i) dictionary.setObjectForKey(i, i);
        }};
    for (const auto& removal : removals) {
      for (const auto& attack : attacks) {
        Ref<NSMutableDictionary> dictionary = NSMutableDictionary::dictionary();
        int ends = 0;
        for (const char* key : {"a", "b", "c"}) {
          Ref<Reentrant> object = Reentrant::numbered(1);
          object->whenGone = [&ends, &dictionary, &attack] {
            ++ends;
            attack(*dictionary);
          };
          dictionary->setObjectForKey(object, key);
        }
        removal(*dictionary);
        EXPECT_GT(ends, 0);
        for (const auto& [key, value] : *dictionary) {
          EXPECT_EQ(dictionary->objectForKey(key), value);
        }
        dictionary->removeAllObjects();
        EXPECT_EQ(ends, 3);
        dictionary->removeAllObjects();
      }
    }
  }
  EXPECT_EQ(alive.count(), 0);
}

TEST(NSDictionary, AKeyWhoseEqualityChangesTheDictionaryIsRefused) {
  Ref<NSMutableDictionary> dictionary = NSMutableDictionary::dictionary();
  Ref<Reentrant> key = Reentrant::numbered(1);
  dictionary->setObjectForKey("one", key);
  key->whenCompared = [&] { dictionary->removeAllObjects(); };
  EXPECT_EQ(raisedName([&] { dictionary->setObjectForKey("two", Reentrant::numbered(1)); }),
            NSGenericException);
  EXPECT_EQ(dictionary->count(), 0u);
  key->whenCompared = nullptr;
  dictionary->setObjectForKey("one", key);
  key->whenCompared = [&] {
    for (int i = 0; i < 100; ++i) dictionary->setObjectForKey(i, i);
  };
  EXPECT_EQ(raisedName([&] { dictionary->objectForKey(Reentrant::numbered(1)); }),
            NSGenericException);
  EXPECT_EQ(dictionary->count(), 101u);
}

TEST(NSDictionary, AKeyWhoseHashChangesTheDictionaryIsPutInAllTheSame) {
  Ref<NSMutableDictionary> dictionary = sample();
  Ref<Reentrant> key = Reentrant::numbered(1);
  key->whenHashed = [&] { dictionary->removeAllObjects(); };
  dictionary->setObjectForKey("one", key);
  EXPECT_EQ(listedEntries(dictionary), "#1=one");
}

TEST(NSDictionary, AgreesWithAPlainListWhateverIsDone) {
  Randomness random;
  JN_TRACE_SEED(random);
  for (int run = 0; run < 50; ++run) {
    Ref<NSMutableDictionary> dictionary = NSMutableDictionary::dictionary();
    std::vector<std::pair<NSInteger, NSInteger>> model;
    for (int step = 0; step < 300; ++step) {
      const auto key = static_cast<NSInteger>(random.below(40));
      const auto known = std::find_if(model.begin(), model.end(),
                                      [&](const auto& entry) { return entry.first == key; });
      if (random.below(2) == 0) {
        dictionary->setObjectForKey(step, NSString::stringWithFormat("%lld", key));
        if (known != model.end()) {
          known->second = step;
        } else {
          model.emplace_back(key, step);
        }
      } else {
        dictionary->removeObjectForKey(NSString::stringWithFormat("%lld", key));
        if (known != model.end()) model.erase(known);
      }
      std::string expected;
      for (const auto& [k, value] : model) {
        if (!expected.empty()) expected += ' ';
        expected += std::to_string(k) + "=" + std::to_string(value);
      }
      ASSERT_EQ(listedEntries(dictionary), expected);
      ASSERT_EQ(dictionary->count(), model.size());
    }
  }
}

TEST(NSDictionary, AMillionEntriesAreHandledInLinearTime) {
  Ref<NSMutableDictionary> dictionary = NSMutableDictionary::dictionary();
  for (NSInteger i = 0; i < 1'000'000; ++i) dictionary->setObjectForKey(i, i);
  const Value copy = dictionary->copy();
  // The first entry is looked for anew each time.
  while (dictionary->count() > 1) {
    const Value key = dictionary->begin().entry().key;
    dictionary->removeObjectForKey(key);
  }
  EXPECT_EQ(listedEntries(dictionary), "999999=999999");
  EXPECT_EQ(as<NSDictionary>(copy)->count(), 1'000'000u);
}

TEST(NSDictionaryDeathTest, ANullBlockStopsTheProgram) {
  EXPECT_DEATH(sample()->enumerateKeysAndObjectsUsingBlock(nullptr),
               "enumerateKeysAndObjectsUsingBlock:");
}

}  // namespace
}  // namespace JNFoundation
