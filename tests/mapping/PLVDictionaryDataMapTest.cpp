#include "MappingFixture.h"

#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSSet.h>

namespace JNFoundation {
namespace {

Ref<NSDictionary> dictionary(std::vector<NSDictionary::Pair> entries) {
  return NSDictionary::dictionaryWithEntries(std::move(entries));
}

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
}

}  // namespace
}  // namespace JNFoundation
