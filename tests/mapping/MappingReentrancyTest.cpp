#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "MappingFixture.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/value/NSNull.h>

/// Filters and messages are an application's code: they raise, and they change whatever is mapping
/// them.
namespace JNFoundation {
namespace {

using testing::LiveObjects;
using testing::raisedBy;
using testing::raisedName;

/// A filter whose action "f" is the test's.
class Acting : public Subclass<Acting, PLVDataMapFilter> {
 public:
  static Ref<Acting> doing(Block<Value(const Value&)> action) {
    auto filter = makeObject<Acting>();
    filter->action = std::move(action);
    filter->setActionForFilter("act:", "f");
    return filter;
  }
  Value act(const Value& value) { return action(value); }
  Value shout(const Value& value) { return as<NSString>(value)->uppercaseString(); }

  Block<Value(const Value&)> action;

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<Acting> actingDeclaration =
    ClassDeclaration<Acting>().operation("act:", &Acting::act).operation("shout:", &Acting::shout);

/// A model class whose message "deliver:" is the test's.
class Receiver : public Subclass<Receiver, PLVManagedObject> {
 public:
  Ref<PLVDictionaryDataMap> entityDataMap() const override { return map; }
  void deliver(const Value& value) { whenDelivered(value); }

  Block<void(const Value&)> whenDelivered;
  Ref<PLVDictionaryDataMap> map;

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<Receiver> receiverDeclaration =
    ClassDeclaration<Receiver>().factory().operation("deliver:", &Receiver::deliver);

Ref<NSMutableDictionary> mutableDictionary(std::vector<NSDictionary::Pair> entries) {
  return NSMutableDictionary::dictionaryWithEntries(std::move(entries));
}

class MappingReentrancy : public MappingTest {
 protected:
  MappingReentrancy() { entity()->setManagedObjectClassName("Receiver"); }

  /// "first" plainly, "f" through the filter, "last" plainly, "message" as a message, and the same
  /// below "inner".
  Ref<PLVDictionaryDataMap> newMap() {
    return PLVDictionaryDataMap::newMapForEntityDescriptor(
        entity(), dictionary({{"$first", "integer16"},
                              {"$f", "f|string"},
                              {"$last", "integer64"},
                              {"$message", "deliver:"},
                              {"%inner.$first", "integer32"},
                              {"%inner.$f", "f|string"},
                              {"%inner.$last", "double"}}));
  }
  Ref<Receiver> insertReceiver() {
    const Value held(
        NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), context()));
    return Ref<Receiver>(as<Receiver>(held));
  }
  Ref<NSDictionary> record() { return dictionary({{"first", 1}, {"f", "text"}, {"last", 2}}); }

  static void expectAll(const Ref<Receiver>& object) {
    EXPECT_EQ(object->valueForKey("integer16"), Value(1));
    EXPECT_EQ(object->valueForKey("string"), "text");
    EXPECT_EQ(object->valueForKey("integer64"), Value(2));
  }
};

// ---- What raises

TEST_F(MappingReentrancy, WhatAFilterRaisesComesThroughBetweenTheKeys) {
  const auto map = newMap();
  const auto object = insertReceiver();
  object->setValueForKey("old", "string");
  auto filter = Acting::doing([](const Value&) -> Value { raise("Refused", "by the filter"); });
  EXPECT_EQ(raisedBy([&] { map->mapDictionaryToObjectFilter(record(), object, filter); }),
            "Refused: by the filter");
  EXPECT_EQ(object->valueForKey("integer16"), Value(1)) << "before";
  EXPECT_EQ(object->valueForKey("string"), "old");
  EXPECT_TRUE(object->valueForKey("integer64").isNull()) << "behind";

  filter->action = [](const Value& value) { return value; };
  map->mapDictionaryToObjectFilter(record(), object, filter);
  expectAll(object);
}

TEST_F(MappingReentrancy, WhatAFilterRaisesInANestedDictionaryComesThroughAllOfThem) {
  const auto map = newMap();
  const auto object = insertReceiver();
  const auto filter =
      Acting::doing([](const Value&) -> Value { throw std::runtime_error("plain"); });
  const LiveObjects objects;
  EXPECT_THROW(map->mapDictionaryToObjectFilter(dictionary({{"inner", record()}, {"last", 2}}),
                                                object, filter),
               std::runtime_error);
  EXPECT_EQ(object->valueForKey("integer32"), Value(1));
  EXPECT_TRUE(object->valueForKey("double").isNull());
  EXPECT_TRUE(object->valueForKey("integer64").isNull());
  EXPECT_EQ(objects.count(), 0);
}

TEST_F(MappingReentrancy, WhatAMessageRaisesComesThrough) {
  const auto object = insertReceiver();
  object->whenDelivered = [](const Value&) { raise("Refused", "by the object"); };
  EXPECT_EQ(raisedBy([&] {
              newMap()->mapDictionaryToObject(dictionary({{"message", 1}, {"last", 2}}), object);
            }),
            "Refused: by the object");
  EXPECT_TRUE(object->valueForKey("integer64").isNull());
}

// ---- What changes the filter

TEST_F(MappingReentrancy, AnActionMayReplaceItselfWhileItRuns) {
  const auto object = insertReceiver();
  Ref<Acting> filter;
  filter = Acting::doing([&](const Value& value) {
    filter->setActionForFilter("shout:", "f");
    return value;
  });
  const auto map = newMap();
  map->mapDictionaryToObjectFilter(record(), object, filter);
  expectAll(object);
  map->mapDictionaryToObjectFilter(record(), object, filter);
  EXPECT_EQ(object->valueForKey("string"), "TEXT");
}

TEST_F(MappingReentrancy, AnActionMayRemoveItselfAndAllOthersWhileItRuns) {
  const auto object = insertReceiver();
  Ref<Acting> filter;
  filter = Acting::doing([&](const Value& value) {
    filter->removeActionForFilter("f");
    filter->filterActions()->removeAllObjects();
    filter->setFilterActions(nullptr);
    return value;
  });
  newMap()->mapDictionaryToObjectFilter(record(), object, filter);
  expectAll(object);
  newMap()->mapDictionaryToObjectFilter(record(), object, filter);
  EXPECT_TRUE(object->valueForKey("string").isNull());
}

TEST_F(MappingReentrancy, AnActionMayUseItsFilterAgain) {
  const auto object = insertReceiver();
  Ref<Acting> filter;
  filter = Acting::doing([&](const Value& value) { return filter->valueFilteredBy(value, "s"); });
  filter->setActionForFilter("shout:", "s");
  newMap()->mapDictionaryToObjectFilter(record(), object, filter);
  EXPECT_EQ(object->valueForKey("string"), "TEXT");
}

TEST_F(MappingReentrancy, AFilterThatIsDetachedUnderWayServesTheRecordToItsEnd) {
  const auto object = insertReceiver();
  int calls = 0;
  Weak<Acting> weak;
  {
    const auto filter = Acting::doing([&](const Value& value) {
      ++calls;
      plv_setDataMapFilter(context(), nullptr);
      return value;
    });
    weak = filter;
    plv_setDataMapFilter(context(), filter);
  }
  newMap()->mapDictionaryToObject(
      dictionary({{"f", "text"}, {"inner", dictionary({{"f", "inner"}})}}), object);
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(object->valueForKey("string"), "inner");
  EXPECT_FALSE(weak.load()) << "and goes then";
}

TEST_F(MappingReentrancy, AFilterThatIsAttachedUnderWayWaitsForTheNextRecord) {
  const auto object = insertReceiver();
  const auto next = Acting::doing([](const Value&) { return "next"; });
  plv_setDataMapFilter(context(), Acting::doing([&](const Value& value) {
                         plv_setDataMapFilter(context(), next);
                         return value;
                       }));
  const auto map = newMap();
  map->mapDictionaryToObject(record(), object);
  EXPECT_EQ(object->valueForKey("string"), "text");
  map->mapDictionaryToObject(record(), object);
  EXPECT_EQ(object->valueForKey("string"), "next");
}

// ---- What changes the record

TEST_F(MappingReentrancy, ARecordThatIsChangedRaisesBeforeItsNextKey) {
  const auto changing = mutableDictionary({{"first", 1}, {"f", "text"}, {"last", 2}});
  const auto filter = Acting::doing([&](const Value& value) {
    changing->setObjectForKey(7, "late");
    return value;
  });
  const auto object = insertReceiver();
  EXPECT_EQ(raisedName([&] { newMap()->mapDictionaryToObjectFilter(changing, object, filter); }),
            "NSGenericException");
  EXPECT_EQ(object->valueForKey("string"), "text") << "the key in hand is finished";
  EXPECT_TRUE(object->valueForKey("integer64").isNull());
}

TEST_F(MappingReentrancy, ARecordThatIsEmptiedUnderWayDoesNotTakeItsValueAway) {
  const auto changing = mutableDictionary({});
  { changing->setObjectForKey(NSString::stringWithFormat("made %d", 1), "f"); }
  const auto filter = Acting::doing([&](const Value& value) {
    changing->removeAllObjects();
    return value;
  });
  const auto object = insertReceiver();
  EXPECT_EQ(raisedName([&] { newMap()->mapDictionaryToObjectFilter(changing, object, filter); }),
            "NSGenericException");
  EXPECT_EQ(object->valueForKey("string"), "made 1");
}

TEST_F(MappingReentrancy, ANestedDictionaryThatIsTakenAwayIsMappedToItsEndBeforeThatRaises) {
  const auto changing = mutableDictionary({});
  changing->setObjectForKey(record(), "inner");
  const auto filter = Acting::doing([&](const Value& value) {
    changing->removeObjectForKey("inner");
    return value;
  });
  const auto object = insertReceiver();
  EXPECT_EQ(raisedName([&] { newMap()->mapDictionaryToObjectFilter(changing, object, filter); }),
            "NSGenericException");
  EXPECT_EQ(object->valueForKey("integer32"), Value(1));
  EXPECT_EQ(object->valueForKey("double"), Value(2));
}

TEST_F(MappingReentrancy, ARecordThatContainsItselfIsWalkedAsDeepAsTheRulesGo) {
  const auto circle = mutableDictionary({{"x", 3}});
  circle->setObjectForKey(circle, "a");
  const auto object = insertReceiver();
  PLVDictionaryDataMap::newMapForEntityDescriptor(
      entity(), dictionary({{"%a.%a.%a.$x", "integer16"}, {"%a.$x", "integer32"}}))
      ->mapDictionaryToObject(circle, object);
  EXPECT_EQ(object->valueForKey("integer16"), Value(3));
  EXPECT_EQ(object->valueForKey("integer32"), Value(3));
  EXPECT_TRUE(object->valueForKey("integer64").isNull());
  circle->removeAllObjects();
}

// ---- What changes the object

TEST_F(MappingReentrancy, AnObjectThatIsDeletedUnderWayTakesTheRestOfTheRecord) {
  const auto object = insertReceiver();
  ASSERT_TRUE(context()->save());
  const auto filter = Acting::doing([&](const Value& value) {
    context()->deleteObject(object);
    return value;
  });
  newMap()->mapDictionaryToObjectFilter(record(), object, filter);
  expectAll(object);
  EXPECT_TRUE(object->isDeleted());
  EXPECT_TRUE(context()->save());
}

TEST_F(MappingReentrancy, AnObjectWhoseDeletionIsSavedUnderWayTakesTheRestAllTheSame) {
  const auto object = insertReceiver();
  ASSERT_TRUE(context()->save());
  const auto filter = Acting::doing([&](const Value& value) {
    context()->deleteObject(object);
    EXPECT_TRUE(context()->save());
    return value;
  });
  newMap()->mapDictionaryToObjectFilter(record(), object, filter);
  expectAll(object);
  EXPECT_FALSE(object->managedObjectContext());
  EXPECT_TRUE(context()->save());
}

TEST_F(MappingReentrancy, AnObjectWhoseContextIsResetUnderWayRaisesWhatUsingItRaises) {
  const auto object = insertReceiver();
  ASSERT_TRUE(context()->save());
  const auto filter = Acting::doing([&](const Value& value) {
    context()->reset();
    return value;
  });
  EXPECT_EQ(raisedName([&] { newMap()->mapDictionaryToObjectFilter(record(), object, filter); }),
            "NSObjectInaccessibleException");
}

TEST_F(MappingReentrancy, AnObjectThatEverybodyLetsGoOfLivesUntilItsRecordIsMapped) {
  const auto map = newMap();
  const LiveObjects objects;
  auto held = std::make_unique<Ref<NSManagedObject>>(
      NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), nullptr));
  const Weak<NSManagedObject> weak(held->get());
  auto filter = std::make_unique<Ref<PLVDataMapFilter>>();
  Value last;
  *filter = Acting::doing([&](const Value& value) {
    *held = nullptr;
    *filter = nullptr;
    return value;
  });
  map->mapDictionaryToObjectFilter(
      dictionary({{"f", "text"}, {"last", 2}, {"inner", dictionary({{"f", "x"}})}}), *held,
      *filter);
  EXPECT_FALSE(weak.load());

  *held = NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), nullptr);
  *filter = Acting::doing([&](const Value& value) {
    *held = nullptr;
    *filter = nullptr;
    return value;
  });
  PLVScalarDataMap::newMapWithDestinationForEntity("f|string", entity())
      ->mapValueToObjectFilter("text", *held, *filter);
  EXPECT_FALSE(*held);
}

TEST_F(MappingReentrancy, AMapThatEverybodyLetsGoOfLivesUntilTheRecordIsMapped) {
  const auto object = insertReceiver();
  object->map = newMap();
  plv_setDataMapFilter(context(), Acting::doing([&](const Value& value) {
                         object->map = nullptr;
                         return value;
                       }));
  const Ref<PLVDictionaryDataMap>& borrowed = object->map;
  borrowed->mapDictionaryToObject(record(), object);
  expectAll(object);
  EXPECT_FALSE(object->map);

  object->map = newMap();
  object->mergeDictionary(record());
  expectAll(object);
}

// ---- What maps again

TEST_F(MappingReentrancy, AMessageMayMergeAnotherRecordIntoItsObject) {
  const auto object = insertReceiver();
  object->map = newMap();
  object->whenDelivered = [&](const Value& value) {
    object->mergeDictionary(Ref<NSDictionary>(as<NSDictionary>(value)));
  };
  object->mergeDictionary(dictionary(
      {{"first", 1}, {"message", dictionary({{"first", 10}, {"last", 20}})}, {"last", 2}}));
  EXPECT_EQ(object->valueForKey("integer16"), Value(10)) << "the inner record came later";
  EXPECT_EQ(object->valueForKey("integer64"), Value(2)) << "the outer one went on";
}

TEST_F(MappingReentrancy, AMessageMayMapTheSameRecordOntoAnotherObject) {
  const auto first = insertReceiver();
  const auto second = insertReceiver();
  first->map = second->map = newMap();
  const auto same = mutableDictionary({{"message", 7}, {"last", 2}});
  first->whenDelivered = [&](const Value&) { second->mergeDictionary(same); };
  int deliveries = 0;
  second->whenDelivered = [&](const Value& value) { deliveries += value.intValue(); };
  first->mergeDictionary(same);
  EXPECT_EQ(deliveries, 7);
  EXPECT_EQ(first->valueForKey("integer64"), Value(2));
  EXPECT_EQ(second->valueForKey("integer64"), Value(2));
}

TEST_F(MappingReentrancy, AFilterMayBuildMapsOfTheSameEntity) {
  const auto object = insertReceiver();
  const auto filter = Acting::doing([&](const Value& value) {
    const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(
        entity(), PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity()));
    map->mapDictionaryToObject(dictionary({{"double", 5}}), object);
    return value;
  });
  newMap()->mapDictionaryToObjectFilter(record(), object, filter);
  expectAll(object);
  EXPECT_EQ(object->valueForKey("double"), Value(5));
}

}  // namespace
}  // namespace JNFoundation
