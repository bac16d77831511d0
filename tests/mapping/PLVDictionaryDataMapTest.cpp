#include <string>
#include <utility>
#include <vector>

#include "MappingFixture.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

class PLVDictionaryDataMapTest : public MappingTest {
 protected:
  Ref<PLVDictionaryDataMap> mapOf(std::vector<NSDictionary::Pair> rules) {
    return PLVDictionaryDataMap::newMapForEntityDescriptor(entity(), dictionary(std::move(rules)));
  }
  Ref<Person> mapped(const Ref<PLVDictionaryDataMap>& map, const Ref<NSDictionary>& record) {
    auto person = insertPerson();
    map->mapDictionaryToObject(record, person);
    return person;
  }
};

TEST_F(PLVDictionaryDataMapTest, AnEntityWithNothingHasAnEmptyDescriptorAndAMapThatIgnoresAll) {
  auto empty = NSEntityDescription::init();
  empty->setName("Empty");
  auto descriptor = PLVDictionaryDataMap::automaticMapDescriptorForEntity(empty);
  EXPECT_EQ(descriptor->count(), 0u);
  auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(empty, descriptor);
  EXPECT_EQ(map->scalarMaps()->count(), 0u);
  EXPECT_EQ(map->dictionaryMaps()->count(), 0u);
}

TEST_F(PLVDictionaryDataMapTest, EveryAttributeGetsARuleOfItsOwnName) {
  auto descriptor = PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity());
  EXPECT_EQ(descriptor->count(), 8u);
  EXPECT_EQ(descriptor->objectForKey("$string"), "string");
  EXPECT_EQ(descriptor->objectForKey("$date"), "date");
}

TEST_F(PLVDictionaryDataMapTest, EachCallMakesANewDescriptor) {
  auto first = PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity());
  first->removeAllObjects();
  EXPECT_EQ(PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity())->count(), 8u);
}

TEST_F(PLVDictionaryDataMapTest, ASubentityInheritsAttributesAndUserInfoAndItsOwnWins) {
  auto base = NSEntityDescription::init();
  base->setName("Base");
  base->setProperties(NSArray::arrayWithObjects(
      NSAttributeDescription::attributeWithNameType("code", NSStringAttributeType),
      NSAttributeDescription::attributeWithNameType("name", NSStringAttributeType)));
  base->setUserInfo(dictionary({{"$id", "code"}, {"$title", "name"}, {"$kind", "name"}}));
  auto derived = NSEntityDescription::init();
  derived->setName("Derived");
  derived->setProperties(NSArray::arrayWithObject(
      NSAttributeDescription::attributeWithNameType("kind", NSStringAttributeType)));
  derived->setUserInfo(dictionary({{"$title", "trim|name"}, {"plain", "kept"}}));
  base->setSubentities(NSArray::arrayWithObject(derived));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(base, derived));

  auto descriptor = PLVDictionaryDataMap::automaticMapDescriptorForEntity(derived);
  EXPECT_EQ(Value(descriptor), Value(dictionary({{"$code", "code"},
                                                 {"$name", "name"},
                                                 {"$id", "code"},
                                                 {"$title", "trim|name"},
                                                 {"$kind", "kind"},
                                                 {"plain", "kept"}})));
}

TEST_F(PLVDictionaryDataMapTest, TheRootComesFirstAndEachDescendantReplacesWhatItInherits) {
  const auto made = [](const char* name, const char* attribute,
                       std::vector<NSDictionary::Pair> userInfo) {
    auto entity = NSEntityDescription::init();
    entity->setName(name);
    entity->setProperties(NSArray::arrayWithObject(
        NSAttributeDescription::attributeWithNameType(attribute, NSStringAttributeType)));
    entity->setUserInfo(dictionary(std::move(userInfo)));
    return entity;
  };
  auto root = made("Root", "a", {{"$k", "a"}, {"$b", "a"}, {"$c", "a"}, {"$only", "a"}});
  auto middle = made("Middle", "b", {{"$k", "b"}, {"$a", "b"}});
  auto leaf = made("Leaf", "c", {{"$k", "c"}});
  middle->setSubentities(NSArray::arrayWithObject(leaf));
  root->setSubentities(NSArray::arrayWithObject(middle));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(root, middle, leaf));

  EXPECT_EQ(Value(PLVDictionaryDataMap::automaticMapDescriptorForEntity(leaf)),
            Value(dictionary({{"$a", "b"}, {"$b", "b"}, {"$c", "c"}, {"$k", "c"}, {"$only", "a"}})))
      << "an inherited attribute does not take back what a user info has said of its key";
  EXPECT_EQ(
      Value(PLVDictionaryDataMap::automaticMapDescriptorForEntity(root)),
      Value(dictionary({{"$a", "a"}, {"$k", "a"}, {"$b", "a"}, {"$c", "a"}, {"$only", "a"}})));
}

TEST_F(PLVDictionaryDataMapTest, TheRuntimeReadsAMapByName) {
  const Value map(mapOf({{"$a", "trim|string"}, {"%m.$b", "string"}}));
  EXPECT_EQ(performSelector(map, "filterNames"), Value(NSSet::setWithObject("trim")));
  EXPECT_EQ(performSelector(map, "entityName"), "Person");
  const auto scalars = as<NSDictionary>(performSelector(map, "scalarMaps"));
  EXPECT_EQ(performSelector(scalars->objectForKey("a"), "filterName"), "trim");
  EXPECT_EQ(as<NSDictionary>(performSelector(map, "dictionaryMaps"))->count(), 1u);
}

TEST_F(PLVDictionaryDataMapTest, AWholeRecordIsMappedByRulesAndByNames) {
  setUserInfo({{"$id", "integer64"}, {"$full_name", "trim|string"}, {"%meta.$born", "date"}});
  attachFilter();
  auto person = insertPerson();
  person->setValueForKey(5, "integer16");
  person->mergeDictionary(
      dictionary({{"id", 7},
                  {"full_name", " Ann "},
                  {"meta", dictionary({{"born", "1990-05-01T00:00:00.000Z"}, {"other", 1}})},
                  {"extra", 1},
                  {"boolean", true}}));
  EXPECT_EQ(person->valueForKey("integer64"), Value(7));
  EXPECT_EQ(person->valueForKey("string"), "Ann");
  EXPECT_EQ(person->valueForKey("date"), NSDate::dateWithTimeIntervalSince1970(641520000));
  EXPECT_EQ(person->valueForKey("boolean"), Value(true));
  EXPECT_EQ(person->valueForKey("integer16"), Value(5)) << "an absent key keeps the value";
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVDictionaryDataMapTest, RulesNestToAnyDepth) {
  auto map = mapOf({{"%a.%b.$c", "string"}});
  auto person = mapped(map, dictionary({{"a", dictionary({{"b", dictionary({{"c", "deep"}})}})}}));
  EXPECT_EQ(person->valueForKey("string"), "deep");
}

TEST_F(PLVDictionaryDataMapTest, AnEmptyNestedRuleConsumesDictionariesBeforeAScalarRule) {
  auto map = mapOf({{"%meta", "ignored"}, {"$meta", "applyPayload:"}});
  auto person = mapped(map, dictionary({{"meta", dictionary({{"string", "x"}})}}));
  EXPECT_TRUE(person->received.empty());
  person = mapped(map, dictionary({{"meta", "text"}}));
  ASSERT_EQ(person->received.size(), 1u);
  EXPECT_EQ(person->received[0], "text");
}

TEST_F(PLVDictionaryDataMapTest, ADictionaryWithoutANestedRuleGoesWholeToTheScalarRule) {
  const auto record = dictionary({{"string", "x"}});
  auto person = mapped(mapOf({{"$meta", "applyPayload:"}}), dictionary({{"meta", record}}));
  ASSERT_EQ(person->received.size(), 1u);
  EXPECT_EQ(person->received[0], Value(record));
}

TEST_F(PLVDictionaryDataMapTest, AnythingElseUnderANestedRuleIsIgnored) {
  auto person = mapped(mapOf({{"%meta.$x", "string"}}),
                       dictionary({{"meta", NSArray::arrayWithObject("x")}}));
  EXPECT_TRUE(person->valueForKey("string").isNull());
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVDictionaryDataMapTest, SubkeysWithoutPrefixOrTooShortAreDroppedButTheNestedMapExists) {
  for (const char* key : {"%meta.title", "%meta.$", "%meta.%", "%meta."}) {
    auto map = mapOf({{key, "string"}});
    auto nested = as<PLVDictionaryDataMap>(map->dictionaryMaps()->objectForKey("meta"));
    ASSERT_TRUE(nested) << key;
    EXPECT_EQ(nested->scalarMaps()->count(), 0u) << key;
    EXPECT_EQ(nested->dictionaryMaps()->count(), 0u) << key;
  }
}

TEST_F(PLVDictionaryDataMapTest, AScalarKeyKeepsItsDots) {
  auto person = mapped(mapOf({{"$a.b", "string"}}), dictionary({{"a.b", "dotted"}}));
  EXPECT_EQ(person->valueForKey("string"), "dotted");
}

TEST_F(PLVDictionaryDataMapTest, ANestedKeyEndsAtItsFirstDot) {
  auto map = mapOf({{"%a.b.$c", "string"}});
  auto nested = as<PLVDictionaryDataMap>(map->dictionaryMaps()->objectForKey("a"));
  ASSERT_TRUE(nested);
  EXPECT_EQ(nested->scalarMaps()->count() + nested->dictionaryMaps()->count(), 0u);
}

TEST_F(PLVDictionaryDataMapTest, KeysOfOtherFormsAreIgnored) {
  auto map =
      mapOf({{"$", "string"}, {"%", "string"}, {"string", "string"}, {"", "string"}, {7, "x"}});
  EXPECT_EQ(map->scalarMaps()->count() + map->dictionaryMaps()->count(), 0u);
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVDictionaryDataMapTest, ABadRuleCostsItsOwnKeyAndOneLineWhenTheMapIsBuilt) {
  auto map = mapOf({{"$bad", "missing"}, {"$good", "string"}, {"%meta.$bad", "missing:"}});
  EXPECT_EQ(log.size(), 2u);
  EXPECT_FALSE(map->scalarMaps()->find("bad"));
  log.clear();
  auto person = mapped(map, dictionary({{"bad", 1}, {"good", "x"}}));
  EXPECT_EQ(person->valueForKey("string"), "x");
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVDictionaryDataMapTest, KeysAreMatchedExactly) {
  auto person = mapped(mapOf({{"$Name", "string"}}), dictionary({{"name", "x"}, {"NAME", "y"}}));
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(PLVDictionaryDataMapTest, ValuesAreMappedInTheOrderOfTheRecord) {
  auto map = mapOf({{"$a", "string"}, {"$b", "string"}});
  EXPECT_EQ(mapped(map, dictionary({{"a", "1"}, {"b", "2"}}))->valueForKey("string"), "2");
  EXPECT_EQ(mapped(map, dictionary({{"b", "2"}, {"a", "1"}}))->valueForKey("string"), "1");
}

TEST_F(PLVDictionaryDataMapTest, ARefusedValueDoesNotStopTheOthers) {
  auto person = mapped(mapOf({{"$a", "string"}, {"$b", "integer32"}}),
                       dictionary({{"a", NSArray::array()}, {"b", 5}}));
  EXPECT_EQ(person->valueForKey("integer32"), Value(5));
  EXPECT_EQ(log.size(), 1u);
}

TEST_F(PLVDictionaryDataMapTest, TheNullMarkerClears) {
  auto person = insertPerson();
  person->setValueForKey("old", "string");
  mapOf({{"$a", "string"}})->mapDictionaryToObject(dictionary({{"a", NSNull::null()}}), person);
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(PLVDictionaryDataMapTest, FilterNamesAreCollectedFromAllLevelsOnce) {
  auto map = mapOf({{"$a", "trim|string"},
                    {"$b", "trim|integer32"},
                    {"$c", "string"},
                    {"%meta.$d", "trim|string"},
                    {"%meta.%more.$e", "lower|string"}});
  EXPECT_EQ(Value(map->filterNames()), Value(NSSet::setWithObjects("trim", "lower")));
  EXPECT_EQ(mapOf({{"$c", "string"}})->filterNames()->count(), 0u);
}

TEST_F(PLVDictionaryDataMapTest, TheMapKeepsCopiesOfWhatItWasMadeOf) {
  auto scalar = NSMutableDictionary::dictionary();
  auto map =
      PLVDictionaryDataMap::initWithEntityNameScalarMapsDictionaryMaps("Person", scalar, nullptr);
  scalar->setObjectForKey(1, "late");
  EXPECT_EQ(map->scalarMaps()->count(), 0u);
  EXPECT_EQ(Value(map->entityName()), "Person");
}

class SpecialMap : public Subclass<SpecialMap, PLVDictionaryDataMap> {
 protected:
  using Subclass::Subclass;
};

TEST_F(PLVDictionaryDataMapTest, TheTopLevelMapIsOfTheClassThatWasAskedNestedOnesAreNot) {
  Ref<SpecialMap> map =
      SpecialMap::newMapForEntityDescriptor(entity(), dictionary({{"%meta.$a", "string"}}));
  EXPECT_TRUE(isKindOf<SpecialMap>(*map));
  const Value nested = map->dictionaryMaps()->objectForKey("meta");
  EXPECT_TRUE(isKindOf<PLVDictionaryDataMap>(nested));
  EXPECT_FALSE(isKindOf<SpecialMap>(nested));
}

TEST_F(PLVDictionaryDataMapTest, ARecordThatIsChangedUnderWayEndsTheWalk) {
  class Saboteur : public Subclass<Saboteur, PLVDataMapFilter> {
   public:
    Value sabotage(const Value& value) {
      record->setObjectForKey("late", "late");
      return value;
    }
    Ref<NSMutableDictionary> record;

   protected:
    using Subclass::Subclass;
  };
  static const ClassDeclaration<Saboteur> declaration =
      ClassDeclaration<Saboteur>().operation("sabotage:", &Saboteur::sabotage);
  auto filter = Saboteur::init();
  filter->record = NSMutableDictionary::dictionaryWithEntries({{"a", "1"}, {"b", "2"}});
  filter->setActionForFilter("sabotage:", "sabotage");
  auto person = insertPerson();
  EXPECT_THROW(mapOf({{"$a", "sabotage|string"}})
                   ->mapDictionaryToObjectFilter(filter->record, person, filter),
               Raised);
  EXPECT_EQ(person->valueForKey("string"), "1") << "what was under way has been mapped";
}

TEST_F(PLVDictionaryDataMapTest, WhatIsMappedOutlivesARecordThatLosesItUnderWay) {
  class Emptier : public Subclass<Emptier, PLVDataMapFilter> {
   public:
    Value empty(const Value& value) {
      record->removeAllObjects();
      return value;
    }
    Ref<NSMutableDictionary> record;

   protected:
    using Subclass::Subclass;
  };
  static const ClassDeclaration<Emptier> declaration =
      ClassDeclaration<Emptier>().operation("empty:", &Emptier::empty);
  const auto filter = Emptier::init();
  filter->setActionForFilter("empty:", "empty");
  const std::string text(100, 'x');
  filter->record = NSMutableDictionary::dictionaryWithEntries({{"a", text}});
  const auto person = insertPerson();
  const auto record = dictionary({{"inner", filter->record}, {"last", 1}});
  std::vector<std::string> keys;
  const auto map = mapOf({{"%inner.$a", "empty|string"}, {"$last", "integer32"}});
  EXPECT_THROW(
      map->mapDictionaryToObjectFilterObserver(record, person, filter,
                                               [&](const MappingEvent& event) {
                                                 for (const Value& key : event.path()) {
                                                   keys.push_back(as<NSString>(key)->toStdString());
                                                 }
                                                 EXPECT_EQ(event.value(), text);
                                               }),
      Raised);
  EXPECT_EQ(keys, (std::vector<std::string>{"inner", "a"}));
  EXPECT_EQ(person->valueForKey("string"), text);
}

// ---- What nests without end

constexpr int levels = 100'000;

/// "%a.%a. … .$x"
std::string deepKey(int depth, const std::string& leaf) {
  std::string key;
  for (int level = 0; level < depth; ++level) key += "%a.";
  return key + leaf;
}

/// { a: { a: … { x: leaf } } }
Ref<NSDictionary> deepRecord(int depth, const Value& leaf) {
  Ref<NSDictionary> record = dictionary({{"x", leaf}});
  for (int level = 0; level < depth; ++level) record = dictionary({{"a", record}});
  return record;
}

TEST_F(PLVDictionaryDataMapTest, RulesAndRecordsNestAHundredThousandLevelsDeep) {
  const testing::LiveObjects objects;
  {
    const auto map = mapOf({{deepKey(levels, "$x"), "trim|string"},
                            {deepKey(levels - 1, "$y"), "integer32"},
                            {deepKey(levels / 2, "$bad"), "missing"}});
    EXPECT_EQ(log.size(), 1u);
    EXPECT_EQ(Value(map->filterNames()), Value(NSSet::setWithObject("trim")));
    const auto filter = PersonFilter::init();
    filter->setActionForFilter("trim:", "trim");
    const Value held(
        NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), nullptr));
    const Ref<NSManagedObject> object(as<NSManagedObject>(held));
    map->mapDictionaryToObjectFilter(deepRecord(levels, " deep "), object, filter);
    EXPECT_EQ(object->valueForKey("string"), "deep");
    map->mapDictionaryToObjectFilter(deepRecord(levels + 10, "deeper"), object, filter);
    EXPECT_EQ(object->valueForKey("string"), "deep") << "a record may go on where rules end";
    map->mapDictionaryToObjectFilter(deepRecord(levels - 10, "flatter"), object, filter);
    EXPECT_EQ(object->valueForKey("string"), "deep") << "and end where rules go on";
  }
  EXPECT_EQ(objects.count(), 0);
}

TEST_F(PLVDictionaryDataMapTest, ADeepValueGoesWholeToAScalarRule) {
  const auto person = mapped(mapOf({{"$a", "applyPayload:"}}), deepRecord(levels, 1));
  ASSERT_EQ(person->received.size(), 1u);
  EXPECT_TRUE(isKindOf<NSDictionary>(person->received[0]));
}

TEST_F(PLVDictionaryDataMapTest, AWideDescriptorMapsAWideRecord) {
  auto rules = NSMutableDictionary::dictionary();
  auto record = NSMutableDictionary::dictionary();
  for (int i = 0; i < 20'000; ++i) {
    rules->setObjectForKey("integer64", "$k" + std::to_string(i));
    record->setObjectForKey(i, "k" + std::to_string(i));
  }
  const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(entity(), rules);
  EXPECT_EQ(map->scalarMaps()->count(), 20'000u);
  EXPECT_EQ(mapped(map, record)->valueForKey("integer64"), Value(19'999));
}

// ---- Rules that meet

TEST_F(PLVDictionaryDataMapTest, RulesOfOneNestedKeyShareTheNestedMapInAnyOrder) {
  for (const auto& rules :
       {dictionary({{"%m", "x"}, {"%m.$a", "string"}, {"%m.%n.$b", "integer32"}}),
        dictionary({{"%m.%n.$b", "integer32"}, {"%m.$a", "string"}, {"%m", "x"}})}) {
    const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(entity(), rules);
    EXPECT_EQ(map->dictionaryMaps()->count(), 1u);
    const auto person =
        mapped(map, dictionary({{"m", dictionary({{"a", "x"}, {"n", dictionary({{"b", 2}})}})}}));
    EXPECT_EQ(person->valueForKey("string"), "x");
    EXPECT_EQ(person->valueForKey("integer32"), Value(2));
  }
}

TEST_F(PLVDictionaryDataMapTest, ANestedMapIsOfTheSameEntity) {
  const auto map = mapOf({{"%m.%n.$a", "string"}});
  const auto nested = as<PLVDictionaryDataMap>(map->dictionaryMaps()->objectForKey("m"));
  EXPECT_EQ(Value(map->entityName()), "Person");
  EXPECT_EQ(Value(nested->entityName()), "Person");
}

TEST_F(PLVDictionaryDataMapTest, ScalarAndNestedRulesOfOneKeyAreToldApartByTheValue) {
  const auto map = mapOf({{"$m", "string"}, {"%m.$a", "integer32"}});
  const auto person = insertPerson();
  map->mapDictionaryToObject(dictionary({{"m", "text"}}), person);
  map->mapDictionaryToObject(dictionary({{"m", dictionary({{"a", 2}})}}), person);
  EXPECT_EQ(person->valueForKey("string"), "text");
  EXPECT_EQ(person->valueForKey("integer32"), Value(2));
  map->mapDictionaryToObject(dictionary({{"m", NSNull::null()}}), person);
  EXPECT_TRUE(person->valueForKey("string").isNull()) << "the null marker is no dictionary";
  EXPECT_EQ(person->valueForKey("integer32"), Value(2));
}

TEST_F(PLVDictionaryDataMapTest, AMutableDictionaryIsNestedLikeAnyOther) {
  const auto inner = NSMutableDictionary::dictionary();
  inner->setObjectForKey("x", "a");
  EXPECT_EQ(mapped(mapOf({{"%m.$a", "string"}}), dictionary({{"m", inner}}))->valueForKey("string"),
            "x");
}

TEST_F(PLVDictionaryDataMapTest, AnEmptyNestedKeyIsAKeyLikeAnyOther) {
  const auto map = mapOf({{"%.$a", "string"}, {"%..", "x"}});
  EXPECT_EQ(mapped(map, dictionary({{"", dictionary({{"a", "x"}})}}))->valueForKey("string"), "x");
}

TEST_F(PLVDictionaryDataMapTest, KeysBeyondASCIIAndWithBlanksAreKeys) {
  const auto map = mapOf({{"$größe in cm", "integer32"}, {"%ü.$é", "string"}, {"$$", "float"}});
  const auto person =
      mapped(map, dictionary({{"größe in cm", 170}, {"ü", dictionary({{"é", "x"}})}, {"$", 1.5}}));
  EXPECT_EQ(person->valueForKey("integer32"), Value(170));
  EXPECT_EQ(person->valueForKey("string"), "x");
  EXPECT_EQ(person->valueForKey("float"), Value(1.5));
}

TEST_F(PLVDictionaryDataMapTest, ADestinationThatIsNoTextIsLeftOut) {
  const auto map =
      mapOf({{"$a", 7}, {"$b", NSNull::null()}, {"$c", NSArray::array()}, {"$d", "string"}});
  EXPECT_EQ(map->scalarMaps()->count(), 1u);
  EXPECT_TRUE(map->scalarMaps()->find("d"));
}

TEST_F(PLVDictionaryDataMapTest, KeysOfTheRecordThatAreNoTextAreIgnored) {
  const auto person =
      mapped(mapOf({{"$7", "string"}, {"$a", "integer32"}}),
             dictionary({{7, "x"}, {NSNull::null(), "y"}, {NSArray::array(), 1}, {"a", 1}}));
  EXPECT_TRUE(person->valueForKey("string").isNull());
  EXPECT_EQ(person->valueForKey("integer32"), Value(1));
  EXPECT_TRUE(log.empty());
}

TEST_F(PLVDictionaryDataMapTest, AKeyIsFoundByItsTextWhetherOrNotItIsTheMapsOwnString) {
  const auto map = mapOf({{"$id", "integer64"}, {"%meta.$name", "string"}, {"$meta", "integer32"}});
  const auto ownKey = [](const Ref<NSDictionary>& maps, const char* text) {
    const Ref<NSArray> keys = maps->allKeys();
    return keys->objectAtIndex(keys->indexOfObject(text));
  };
  const auto inner = as<PLVDictionaryDataMap>(map->dictionaryMaps()->objectForKey("meta"));
  const Value own[] = {ownKey(map->scalarMaps(), "id"), ownKey(map->dictionaryMaps(), "meta"),
                       ownKey(inner->scalarMaps(), "name"), ownKey(map->scalarMaps(), "meta")};
  const Value others[] = {"id", "meta", "name", "meta"};
  ASSERT_NE(own[0].object(), others[0].object());
  for (const Value* keys : {own, others}) {
    const auto person =
        mapped(map, dictionary({{keys[0], 7}, {keys[1], dictionary({{keys[2], "Ann"}})}}));
    EXPECT_EQ(person->valueForKey("integer64"), Value(7));
    EXPECT_EQ(person->valueForKey("string"), "Ann");
    EXPECT_TRUE(person->valueForKey("integer32").isNull());
    EXPECT_EQ(mapped(map, dictionary({{keys[3], 3}}))->valueForKey("integer32"), Value(3));
  }
}

TEST_F(PLVDictionaryDataMapTest, KeysOfAMapMadeByHandMayBeOtherThanText) {
  const Value map = PLVScalarDataMap::newMapWithDestinationForEntity("string", entity());
  const auto byHand = PLVDictionaryDataMap::initWithEntityNameScalarMapsDictionaryMaps(
      "Person", dictionary({{7, map}, {"a", map}}), nullptr);
  EXPECT_EQ(mapped(byHand, dictionary({{7, "seven"}}))->valueForKey("string"), "seven");
  EXPECT_EQ(mapped(byHand, dictionary({{"a", "x"}}))->valueForKey("string"), "x");
  EXPECT_TRUE(mapped(byHand, dictionary({{8, "eight"}}))->valueForKey("string").isNull());
}

TEST_F(PLVDictionaryDataMapTest, AFilterThatIsGivenReplacesTheContextsOwnOnEveryLevel) {
  const auto own = attachFilter();
  const auto given = PersonFilter::init();
  given->setActionForFilter("shout:", "trim");
  const auto person = insertPerson();
  const auto map = mapOf({{"%m.$a", "trim|string"}});
  const auto record = dictionary({{"m", dictionary({{"a", " x "}})}});
  map->mapDictionaryToObjectFilter(record, person, given);
  EXPECT_EQ(person->valueForKey("string"), " X ");
  EXPECT_TRUE(own->received.empty());
  map->mapDictionaryToObject(record, person);
  EXPECT_EQ(person->valueForKey("string"), "x");
  map->mapDictionaryToObjectFilter(record, person, nullptr);
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(PLVDictionaryDataMapTest, AnObjectWithoutAContextIsMappedWithoutAFilter) {
  attachFilter();
  const Value held(
      NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), nullptr));
  const Ref<NSManagedObject> object(as<NSManagedObject>(held));
  mapOf({{"$a", "string"}, {"$b", "trim|integer32"}})
      ->mapDictionaryToObject(dictionary({{"a", "x"}, {"b", "5"}}), object);
  EXPECT_EQ(object->valueForKey("string"), "x");
  EXPECT_TRUE(object->valueForKey("integer32").isNull());
}

TEST_F(PLVDictionaryDataMapTest, ADescriptorMayBeChangedOnceItsMapIsBuilt) {
  auto rules = NSMutableDictionary::dictionary();
  rules->setObjectForKey("string", "$a");
  const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(entity(), rules);
  rules->removeAllObjects();
  EXPECT_EQ(mapped(map, dictionary({{"a", "x"}}))->valueForKey("string"), "x");
}

TEST_F(PLVDictionaryDataMapTest, EachCallOfFilterNamesMakesANewSet) {
  const auto map = mapOf({{"$a", "trim|string"}});
  map->filterNames()->removeAllObjects();
  EXPECT_EQ(map->filterNames()->count(), 1u);
}

// ---- Nothing, and other things than maps

TEST_F(PLVDictionaryDataMapTest, NothingAsRecordOrObjectMapsNothing) {
  const auto person = insertPerson();
  person->setValueForKey("old", "string");
  const auto map = mapOf({{"$a", "string"}});
  map->mapDictionaryToObject(nullptr, person);
  map->mapDictionaryToObject(dictionary({{"a", "x"}}), nullptr);
  map->mapDictionaryToObjectFilter(nullptr, nullptr, nullptr);
  map->mapDictionaryToObject(NSDictionary::dictionary(), person);
  EXPECT_EQ(person->valueForKey("string"), "old");
}

TEST_F(PLVDictionaryDataMapTest, NothingAsDescriptorIsAMapWithoutRules) {
  const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(entity(), nullptr);
  EXPECT_EQ(map->scalarMaps()->count() + map->dictionaryMaps()->count(), 0u);
  EXPECT_EQ(Value(map->entityName()), "Person");
}

TEST_F(PLVDictionaryDataMapTest, NothingAsEntityHasNoRulesThatWork) {
  EXPECT_EQ(PLVDictionaryDataMap::automaticMapDescriptorForEntity(nullptr)->count(), 0u);
  const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(
      nullptr, dictionary({{"$a", "string"}, {"%m.$b", "string"}}));
  EXPECT_EQ(map->scalarMaps()->count(), 0u);
  EXPECT_EQ(map->dictionaryMaps()->count(), 1u);
  EXPECT_FALSE(map->entityName());
  EXPECT_EQ(log.size(), 2u);
}

TEST_F(PLVDictionaryDataMapTest, AMapMadeByHandOfNothingIgnoresAllInput) {
  const auto map =
      PLVDictionaryDataMap::initWithEntityNameScalarMapsDictionaryMaps(nullptr, nullptr, nullptr);
  const auto person = mapped(map, dictionary({{"a", 1}, {"b", dictionary({})}}));
  for (const char* attribute :
       {"integer16", "integer32", "integer64", "double", "float", "string", "boolean", "date"}) {
    EXPECT_TRUE(person->valueForKey(attribute).isNull()) << attribute;
  }
  EXPECT_TRUE(log.empty());
  EXPECT_EQ(map->filterNames()->count(), 0u);
}

TEST_F(PLVDictionaryDataMapTest, EntriesThatAreNoMapsRaiseWhenTheyAreUsed) {
  const auto map = PLVDictionaryDataMap::initWithEntityNameScalarMapsDictionaryMaps(
      "Person", dictionary({{"a", "text"}}), dictionary({{"m", "text"}}));
  const auto person = insertPerson();
  const auto raisedFor = [&](const Ref<NSDictionary>& record) {
    return testing::raisedBy([&] { map->mapDictionaryToObject(record, person); });
  };
  EXPECT_EQ(raisedFor(dictionary({{"other", 1}})), "");
  EXPECT_NE(raisedFor(dictionary({{"a", 1}}))
                .find("-[__NSCFString mapValue:toObject:filter:]: unrecognized selector"),
            std::string::npos);
  EXPECT_NE(raisedFor(dictionary({{"m", dictionary({})}}))
                .find("-[__NSCFString mapDictionary:toObject:filter:]: unrecognized selector"),
            std::string::npos);
  // Nor does the map's own key make a map of it.
  EXPECT_NE(raisedFor(dictionary({{map->scalarMaps()->allKeys()->firstObject(), 1}})), "");
  EXPECT_NE(testing::raisedBy([&] {
              map->filterNames();
            }).find("-[__NSCFString filterName]: unrecognized selector"),
            std::string::npos);
}

}  // namespace
}  // namespace JNFoundation
