#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include "MappingFixture.h"
#include "platform/text/Randomness.h"

#include <JNFoundation/mapping/RecordExport.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation {
namespace {

using Obstacle = RecordExport::Obstacle;

const char* nameOf(Obstacle obstacle) {
  switch (obstacle) {
    case Obstacle::Filter:
      return "filter";
    case Obstacle::Message:
      return "message";
    case Obstacle::UnsupportedType:
      return "type";
    case Obstacle::SharedKey:
      return "shared key";
    case Obstacle::NotExpressible:
      return "not expressible";
    case Obstacle::Inexact:
      return "inexact";
  }
  return "";
}

std::vector<std::string> linesOf(const std::vector<RecordExport::Loss>& losses) {
  std::vector<std::string> lines;
  lines.reserve(losses.size());
  for (const auto& loss : losses) {
    lines.push_back(loss.path->componentsJoinedByString(".")->toStdString() + " → " +
                    loss.destination->toStdString() + ": " + nameOf(loss.obstacle));
  }
  return lines;
}

class RecordExportTest : public MappingTest {
 protected:
  Ref<PLVDictionaryDataMap> mapOf(std::vector<NSDictionary::Pair> rules) {
    return PLVDictionaryDataMap::newMapForEntityDescriptor(
        entity(), NSDictionary::dictionaryWithEntries(std::move(rules)));
  }

  /// The record as JSON, its keys in order.
  std::string exported(const Ref<PLVDictionaryDataMap>& map, const Ref<NSManagedObject>& object,
                       std::vector<std::string>* lost = nullptr) {
    std::vector<RecordExport::Loss> losses;
    const auto record = RecordExport(map).recordOfObject(object, &losses);
    if (lost) *lost = linesOf(losses);
    const auto text = NSJSONSerialization::stringWithJSONObjectOptionsError(
        Value(record), NSJSONWritingSortedKeys, nullptr);
    return text ? text->toStdString() : "no JSON";
  }
};

TEST_F(RecordExportTest, ARecordComesBackAsItWas) {
  const auto map = mapOf({{"$identifier", "integer64"},
                          {"$id", "integer64"},
                          {"$full_name", "string"},
                          {"$ok", "boolean"},
                          {"$price", "double"},
                          {"%meta.$born", "date"},
                          {"%meta.%deep.$small", "integer16"}});
  const auto person = insertPerson();
  const char* text =
      R"({"full_name":"Ann","id":7,"identifier":7,"meta":{"born":"1990-05-01T00:00:00.000Z",)"
      R"("deep":{"small":-3}},"ok":true,"price":9.75})";
  map->mapDictionaryToObject(as<NSDictionary>(NSJSONSerialization::JSONObjectWithTextOptionsError(
                                 text, NSJSONReadingPlain, nullptr)),
                             person);
  std::vector<std::string> lost;
  EXPECT_EQ(exported(map, person, &lost), text);
  EXPECT_TRUE(lost.empty());
  EXPECT_TRUE(RecordExport(map).losses().empty());
}

TEST_F(RecordExportTest, TheKeyOfTheAttributesOwnNameYieldsToOtherRules) {
  setUserInfo({{"$id", "integer64"},
               {"$full_name", "trim|string"},
               {"%meta.$born", "date"},
               {"%meta.$boolean", "boolean"}});
  const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(
      entity(), PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity()));
  const auto person = insertPerson();
  person->setValueForKey(7, "integer64");
  person->setValueForKey("Ann", "string");
  EXPECT_EQ(exported(map, person),
            R"({"double":null,"float":null,"id":7,"integer16":null,"integer32":null,)"
            R"("meta":{"boolean":null,"born":null},"string":"Ann"})");
  EXPECT_EQ(linesOf(RecordExport(map).losses()),
            std::vector<std::string>{"full_name → string: filter"});
}

TEST_F(RecordExportTest, NullIsTheNullMarkerSoThatMappingClears) {
  const auto map = mapOf({{"$a", "string"}, {"%in.$b", "date"}});
  EXPECT_EQ(exported(map, insertPerson()), R"({"a":null,"in":{"b":null}})");
}

TEST_F(RecordExportTest, RulesWithoutAWayBackAreTold) {
  const auto map = mapOf({{"$a", "trim|string"},
                          {"$b", "applyPayload:"},
                          {"%in.$c", "|integer16"},
                          {"%in.%deep.$d", "trim|date"},
                          {"%only.$e", "applyAndAnswer:"},
                          {"%empty", ""}});
  const RecordExport feed(map);
  EXPECT_EQ(
      linesOf(feed.losses()),
      (std::vector<std::string>{"a → string: filter", "b → applyPayload:: message",
                                "only.e → applyAndAnswer:: message", "in.deep.d → date: filter"}));
  EXPECT_EQ(exported(map, insertPerson()), R"({"in":{"c":null}})")
      << "and leave no empty dictionaries";
}

TEST_F(RecordExportTest, UnderASharedKeyTheDictionaryStands) {
  const auto map = mapOf({{"$meta", "string"},
                          {"%meta.$born", "date"},
                          {"$plain", "integer16"},
                          {"%plain.$x", "trim|string"}});
  EXPECT_EQ(exported(map, insertPerson()), R"({"meta":{"born":null},"plain":null})")
      << "a dictionary that nothing stands in yields";
  EXPECT_EQ(linesOf(RecordExport(map).losses()),
            (std::vector<std::string>{"meta → string: shared key", "plain.x → string: filter"}));
}

TEST_F(RecordExportTest, AnAttributeThatLostItsRuleKeepsTheKeyOfItsOwnName) {
  const auto map = mapOf({{"$meta", "string"}, {"$string", "string"}, {"%meta.$born", "date"}});
  EXPECT_EQ(exported(map, insertPerson()), R"({"meta":{"born":null},"string":null})");
}

TEST_F(RecordExportTest, BooleansAreTrueAndFalseHoweverTheyCame) {
  const auto map = mapOf({{"$a", "boolean"}});
  const auto person = insertPerson();
  for (const Value& one : {Value(1), Value(true), Value(1.0)}) {
    person->setValueForKey(one, "boolean");
    EXPECT_EQ(exported(map, person), R"({"a":true})");
  }
  person->setValueForKey(0, "boolean");
  EXPECT_EQ(exported(map, person), R"({"a":false})");
  person->setValueForKey(2, "boolean");
  EXPECT_EQ(exported(map, person), R"({"a":2})");
}

TEST_F(RecordExportTest, WhatNoRecordCanSayIsLeftOutAndTold) {
  const auto map = mapOf({{"%in.$a", "double"}, {"$d", "date"}});
  const auto person = insertPerson();
  std::vector<std::string> lost;
  for (const double number : {std::nan(""), std::numeric_limits<double>::infinity(), -HUGE_VAL}) {
    person->setValueForKey(number, "double");
    EXPECT_EQ(exported(map, person, &lost), R"({"d":null,"in":{}})");
    EXPECT_EQ(lost, std::vector<std::string>{"in.a → double: not expressible"});
  }
  person->setValueForKey(1, "double");
  for (const double seconds : {-62135596800.001, 253402300800.0, 1e300, HUGE_VAL, std::nan("")}) {
    person->setValueForKey(NSDate::dateWithTimeIntervalSince1970(seconds), "date");
    EXPECT_EQ(exported(map, person, &lost), R"({"in":{"a":1}})") << seconds;
    EXPECT_EQ(lost, std::vector<std::string>{"d → date: not expressible"});
  }
}

TEST_F(RecordExportTest, ADateBetweenMillisecondsIsToldToBeInexact) {
  const auto map = mapOf({{"$d", "date"}});
  const auto person = insertPerson();
  person->setValueForKey(NSDate::dateWithTimeIntervalSince1970(0.0125), "date");
  std::vector<std::string> lost;
  EXPECT_EQ(exported(map, person, &lost), R"({"d":"1970-01-01T00:00:00.012Z"})");
  EXPECT_EQ(lost, std::vector<std::string>{"d → date: inexact"});
}

TEST_F(RecordExportTest, AttributesOfOtherTypesAreToldInMapsMadeByHand) {
  const auto scalar = PLVScalarDataMap::initWithEntityNameFilterAttributeNameAttributeType(
      "Person", nullptr, "string", NSDecimalAttributeType);
  const auto map = PLVDictionaryDataMap::initWithEntityNameScalarMapsDictionaryMaps(
      "Person", NSDictionary::dictionaryWithEntries({{"a", scalar}, {"b", 1}}),
      NSDictionary::dictionaryWithEntries({{"c", "no map"}}));
  EXPECT_EQ(linesOf(RecordExport(map).losses()), std::vector<std::string>{"a → string: type"});
  EXPECT_EQ(exported(map, insertPerson()), "{}");
}

TEST_F(RecordExportTest, AccessorsAreAsked) {
  addAttribute("motto", NSStringAttributeType);
  const auto map = mapOf({{"$m", "motto"}});
  const auto person = insertPerson();
  person->setMotto("carpe diem");
  EXPECT_EQ(exported(map, person), R"({"m":"carpe diem"})");
}

TEST_F(RecordExportTest, NothingIsExportedOfNothing) {
  EXPECT_EQ(exported(nullptr, insertPerson()), "{}");
  EXPECT_EQ(exported(mapOf({{"$a", "string"}}), nullptr), "{}");
  EXPECT_TRUE(RecordExport(nullptr).losses().empty());
}

TEST_F(RecordExportTest, EachRecordIsNewAndTheExportKeepsItsMap) {
  auto map = mapOf({{"%in.$a", "string"}});
  const RecordExport feed(map);
  map = nullptr;
  const auto person = insertPerson();
  const auto first = feed.recordOfObject(person);
  as<NSMutableDictionary>(first->objectForKey("in"))->removeAllObjects();
  EXPECT_EQ(Value(feed.recordOfObject(person)),
            Value(NSDictionary::dictionaryWithObjectForKey(
                NSDictionary::dictionaryWithObjectForKey(NSNull::null(), "a"), "in")));
}

TEST_F(RecordExportTest, RulesMayNestFiftyThousandLevelsDeep) {
  const int depth = 50'000;
  std::string rule;
  for (int i = 0; i < depth; ++i) rule += "%a.";
  const auto map = mapOf({{rule + "$b", "string"}});
  const auto person = insertPerson();
  person->setValueForKey("end", "string");
  const auto other = insertPerson();
  map->mapDictionaryToObject(RecordExport(map).recordOfObject(person), other);
  EXPECT_EQ(other->valueForKey("string"), Value("end"));
}

class RandomExport : public RecordExportTest {
 protected:
  Value randomValue(const std::string& attribute) {
    if (randomness.below(6) == 0) return nullptr;
    if (attribute == "string") {
      std::string text;
      for (std::uint64_t count = randomness.below(6); count > 0; --count) {
        static const char* const parts[] = {"a", " ", "é", "😀", "\"", "1", "", "\n"};
        text += parts[randomness.below(8)];
      }
      return text;
    }
    if (attribute == "date") {
      return NSDate::dateWithTimeIntervalSince1970(
          static_cast<double>(randomness.between(-62135596800000, 253402300799999)) / 1000);
    }
    if (attribute == "boolean") return randomness.below(2) == 0 ? Value(true) : Value(0);
    if (attribute == "double" || attribute == "float") {
      return static_cast<double>(randomness.between(-1'000'000, 1'000'000)) / 64;
    }
    const int bits = attribute == "integer16" ? 16 : attribute == "integer32" ? 32 : 64;
    return static_cast<std::int64_t>(randomness.bits()) >> (64 - bits);
  }

  std::string randomRuleKey() {
    std::string key;
    for (std::uint64_t count = randomness.below(3); count > 0; --count) {
      key += randomness.below(2) == 0 ? "%a." : "%b.";
    }
    return key + "$" + std::string(1, static_cast<char>('a' + randomness.below(8)));
  }

  testing::Randomness randomness;
};

TEST_F(RandomExport, WhatIsExportedAndMappedOntoAnotherObjectIsEqual) {
  JN_TRACE_SEED(randomness);
  const std::vector<std::string> attributes = {"integer16", "integer32", "integer64", "double",
                                               "float",     "string",    "boolean",   "date"};
  int compared = 0;
  const int rounds = testing::rounds(300, 20'000);
  for (int round = 0; round < rounds; ++round) {
    const auto rules = NSMutableDictionary::dictionary();
    for (std::uint64_t count = randomness.below(12); count > 0; --count) {
      std::string destination = attributes[randomness.below(attributes.size())];
      if (randomness.below(8) == 0) destination.insert(0, "trim|");
      rules->setObjectForKey(destination, randomRuleKey());
    }
    const auto map = PLVDictionaryDataMap::newMapForEntityDescriptor(entity(), rules);
    const auto person = insertPerson();
    const auto other = insertPerson();
    for (const std::string& attribute : attributes) {
      person->setValueForKey(randomValue(attribute), attribute);
      other->setValueForKey(randomValue(attribute), attribute);
    }
    const RecordExport feed(map);
    std::vector<RecordExport::Loss> lost;
    const auto record = feed.recordOfObject(person, &lost);
    ASSERT_TRUE(lost.empty()) << linesOf(lost).front();

    // Through its text as well: a record is sent.
    Ref<NSDictionary> sent = record;
    if (round % 2 == 0) {
      sent = as<NSDictionary>(NSJSONSerialization::JSONObjectWithTextOptionsError(
          *NSJSONSerialization::stringWithJSONObjectOptionsError(Value(record),
                                                                 NSJSONWritingCompact, nullptr),
          NSJSONReadingPlain, nullptr));
    }
    std::vector<std::string> mapped;
    map->mapDictionaryToObjectFilterObserver(sent, other, nullptr, [&](const MappingEvent& event) {
      EXPECT_NE(event.kind(), MappingEvent::Kind::Ignored) << event.text()->utf8();
      EXPECT_NE(event.kind(), MappingEvent::Kind::Refused) << event.text()->utf8();
      EXPECT_FALSE(event.isLossy()) << event.text()->utf8();
      mapped.push_back(event.destination()->toStdString());
    });
    for (const std::string& attribute : mapped) {
      ASSERT_EQ(other->valueForKey(attribute), person->valueForKey(attribute))
          << attribute << " " << rules->description()->utf8();
      ++compared;
    }
    // Every attribute that a rule without a filter leads to came through, unless all of its rules
    // share their keys with dictionaries.
    const auto losses = feed.losses();
    for (const auto& [key, destination] : *rules) {
      const std::string attribute = destination.description()->toStdString();
      if (attribute.starts_with("trim|")) continue;
      bool isMapped = std::find(mapped.begin(), mapped.end(), attribute) != mapped.end();
      for (const auto& loss : losses) {
        isMapped = isMapped || (loss.obstacle == Obstacle::SharedKey &&
                                loss.destination->toStdString() == attribute);
      }
      ASSERT_TRUE(isMapped) << attribute << " " << rules->description()->utf8();
    }
  }
  EXPECT_GT(compared, rounds);
}

}  // namespace
}  // namespace JNFoundation
