#include <string>
#include <vector>

#include "EqualsNull.h"
#include "MappingFixture.h"

#include <JNFoundation/mapping/MappingObserver.h>
#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation {
namespace {

using EventKind = MappingEvent::Kind;
using Reason = MappingEvent::Reason;
using Conversion = MappingEvent::Conversion;

Ref<NSDictionary> record(const char* json) {
  Ref<NSError> error;
  const Value decoded =
      NSJSONSerialization::JSONObjectWithDataOptionsError(NSData::dataWithText(json), {}, &error);
  EXPECT_FALSE(error) << error->description()->utf8();
  return as<NSDictionary>(Value(decoded));
}

/// A filter with an action that raises.
class RaisingFilter : public Subclass<RaisingFilter, PLVDataMapFilter> {
 public:
  Value refuse(const Value&) { raise("FilterException", "not today"); }

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<RaisingFilter> raisingDeclaration =
    ClassDeclaration<RaisingFilter>().operation("refuse:", &RaisingFilter::refuse);

class MappingObserverTest : public MappingTest {
 protected:
  struct Seen {
    EventKind kind;
    Reason reason;
    Conversion conversion;
    Value value, filtered, stored;
    bool isLossy;
    std::string text;
  };

  MappingObserver recorder() {
    return [this](const MappingEvent& event) {
      seen.push_back({event.kind(), event.reason(), event.conversion(), event.value(),
                      event.filteredValue(), event.storedValue(), event.isLossy(),
                      event.text()->toStdString()});
    };
  }

  Ref<PLVDictionaryDataMap> mapOf(std::vector<NSDictionary::Pair> rules) {
    return PLVDictionaryDataMap::newMapForEntityDescriptor(
        entity(), NSDictionary::dictionaryWithEntries(std::move(rules)));
  }

  /// The one event of a value that the rule "$key" takes.
  Seen eventOf(const char* destination, const Value& value) {
    seen.clear();
    const auto person = insertPerson();
    mapOf({{"$key", destination}})
        ->mapDictionaryToObjectFilterObserver(
            NSDictionary::dictionaryWithObjectForKey(value, "key"), person,
            plv_dataMapFilter(context()), recorder());
    EXPECT_EQ(seen.size(), 1u);
    return seen.empty() ? Seen{} : seen.front();
  }

  std::vector<std::string> texts() const {
    std::vector<std::string> lines;
    for (const Seen& event : seen) lines.push_back(event.text);
    return lines;
  }

  std::vector<Seen> seen;
};

TEST_F(MappingObserverTest, EveryValueOfARecordIsToldInItsOrder) {
  attachFilter();
  setMappingObserver(context(), recorder());
  const auto map = mapOf({{"$id", "integer64"},
                          {"$name", "trim|string"},
                          {"%meta.$born", "date"},
                          {"%meta.%deep.$payload", "applyPayload:"},
                          {"%only.$x", "double"}});
  map->mapDictionaryToObject(record(R"({"id": 7, "name": " Ann ", "extra": [1],
      "meta": {"born": "1990-05-01T00:00:00.000Z", "deep": {"payload": {"a": 1}, "b": null}},
      "only": 3})"),
                             insertPerson());
  EXPECT_EQ(texts(), (std::vector<std::string>{
                         "stored id in Person.integer64: 7", "stored name in Person.string: Ann",
                         "ignored extra: no rule has its key",
                         "stored meta.born in Person.date: 1990-05-01 00:00:00 +0000",
                         "sent meta.deep.payload to Person.applyPayload:: {\n    a = 1;\n}",
                         "ignored meta.deep.b: no rule has its key",
                         "ignored only: the rules under its key are for a dictionary"}));
}

TEST_F(MappingObserverTest, AnEventShowsWhatCameWhatTheFilterMadeAndWhatWasStored) {
  attachFilter();
  int events = 0;
  const auto person = insertPerson();
  mapOf({{"%meta.$n", "trim|integer32"}})
      ->mapDictionaryToObjectFilterObserver(
          record(R"({"meta": {"n": " 12 "}})"), person, plv_dataMapFilter(context()),
          [&](const MappingEvent& event) {
            ++events;
            EXPECT_EQ(event.kind(), EventKind::Stored);
            EXPECT_EQ(event.reason(), Reason::None);
            EXPECT_EQ(event.conversion(), Conversion::NumberFromText);
            EXPECT_EQ(Value(event.path()), Value(NSArray::arrayWithObjects("meta", "n")));
            EXPECT_EQ(event.pathText()->utf8(), "meta.n");
            EXPECT_EQ(event.object().get(), person.get());
            EXPECT_EQ(event.entityName()->utf8(), "Person");
            EXPECT_EQ(event.destination()->utf8(), "integer32");
            EXPECT_EQ(event.attributeType(), NSInteger32AttributeType);
            EXPECT_EQ(event.filterName()->utf8(), "trim");
            EXPECT_EQ(event.value(), Value(" 12 "));
            EXPECT_EQ(event.filteredValue(), Value("12"));
            EXPECT_EQ(event.storedValue(), Value(12));
            EXPECT_FALSE(event.reasonText());
            EXPECT_EQ(person->valueForKey("integer32"), Value(12)) << "told before it was stored";
          });
  EXPECT_EQ(events, 1);
}

TEST_F(MappingObserverTest, NullIsToldAsClearedAndTheMarkerStaysWhatCame) {
  const Seen event = eventOf("string", NSNull::null());
  EXPECT_EQ(event.kind, EventKind::Cleared);
  EXPECT_EQ(event.reason, Reason::NullValue);
  EXPECT_TRUE(event.value.isNSNull());
  EXPECT_TRUE(event.filtered.isNull());
  EXPECT_TRUE(event.stored.isNull());
  EXPECT_EQ(event.text, "cleared key in Person.string: the value is null");
}

TEST_F(MappingObserverTest, AMissingFilterAMissingActionAndANullOfAnActionAreToldApart) {
  EXPECT_EQ(eventOf("trim|string", "Ann").text,
            "cleared key in Person.string: the rule names the filter action trim and there is no "
            "filter");
  attachFilter();
  EXPECT_EQ(eventOf("lost|string", "Ann").text,
            "cleared key in Person.string: the filter has no action lost");
  EXPECT_EQ(eventOf("nothing|string", "Ann").text,
            "cleared key in Person.string: the filter action nothing made it null");
  EXPECT_EQ(eventOf("nothing|string", NSNull::null()).text,
            "cleared key in Person.string: the value is null");
  EXPECT_EQ(eventOf("something|string", NSNull::null()).text,
            "stored key in Person.string: something");
  EXPECT_EQ(eventOf("lost|applyPayload:", "Ann").text,
            "sent key to Person.applyPayload:: the filter has no action lost");
  plv_dataMapFilter(context())->setFilterActions(nullptr);
  EXPECT_EQ(eventOf("trim|string", "Ann").reason, Reason::UnknownFilter);
}

TEST_F(MappingObserverTest, TextThatIsNoDateIsToldAsCleared) {
  const Seen event = eventOf("date", "1990-05-01");
  EXPECT_EQ(event.kind, EventKind::Cleared);
  EXPECT_EQ(event.reason, Reason::NotADate);
  EXPECT_EQ(event.filtered, Value("1990-05-01"));
}

TEST_F(MappingObserverTest, ARefusalIsToldInTheWordsOfItsLogLineWhichIsStillWritten) {
  log.clear();
  const Seen event = eventOf("integer16", NSArray::array());
  EXPECT_EQ(event.kind, EventKind::Refused);
  EXPECT_EQ(event.reason, Reason::WrongKind);
  EXPECT_TRUE(event.stored.isNull());
  EXPECT_EQ(
      event.text,
      "refused key in Person.integer16: unparsable value class __NSArrayI when mapping number "
      "to Person.integer16");
  ASSERT_EQ(log.size(), 1u);
  EXPECT_NE(log[0].find("unparsable value class __NSArrayI when mapping number to "
                        "Person.integer16"),
            std::string::npos);
}

TEST_F(MappingObserverTest, AnUnsupportedTypeIsToldAsRefused) {
  setMappingObserver(context(), recorder());
  PLVScalarDataMap::initWithEntityNameFilterAttributeNameAttributeType("Person", nullptr, "string",
                                                                       NSDecimalAttributeType)
      ->mapValueToObject(3, insertPerson());
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].reason, Reason::UnsupportedType);
  EXPECT_EQ(seen[0].text, "refused in Person.string: Unexpected type to map to Person.string");
}

TEST_F(MappingObserverTest, ConversionsAreNamed) {
  EXPECT_EQ(eventOf("integer16", 3).conversion, Conversion::None);
  EXPECT_EQ(eventOf("boolean", "yes").conversion, Conversion::NumberFromText);
  EXPECT_EQ(eventOf("string", 3).conversion, Conversion::TextFromNumber);
  EXPECT_EQ(eventOf("string", "3").conversion, Conversion::None);
  EXPECT_EQ(eventOf("date", "1990-05-01T00:00:00.000Z").conversion, Conversion::DateFromText);
  EXPECT_EQ(eventOf("date", 1000).conversion, Conversion::DateFromNumber);
  EXPECT_EQ(eventOf("date", NSDate::dateWithTimeIntervalSince1970(1)).conversion, Conversion::None);
  EXPECT_EQ(eventOf("date", 1000).stored, NSDate::dateWithTimeIntervalSince1970(1));
}

TEST_F(MappingObserverTest, WhatLosesSomethingOnItsWayIsMarked) {
  struct Case {
    const char* destination;
    Value value;
    bool isLossy;
  };
  const std::vector<Case> cases = {
      {"integer32", "12", false},
      {"integer32", " 12 ", false},
      {"integer32", "+12", false},
      {"integer32", "12.0", false},
      {"integer32", "1e2", true},
      {"integer32", "12abc", true},
      {"integer32", "abc", true},
      {"integer32", "", true},
      {"integer32", "12.5", true},
      {"integer32", "2147483648", true},
      {"integer32", 2147483647, false},
      {"integer32", 2147483648, true},
      {"integer16", -32768, false},
      {"integer16", -32769, true},
      {"integer16", 1.5, true},
      {"integer64", "9223372036854775807", false},
      {"integer64", "9223372036854775808", true},
      {"integer64", "-9223372036854775808", false},
      {"integer64", "99999999999999999999", true},
      {"integer64", "9007199254740993", false},
      {"integer64", "-0007", false},
      {"integer64", "-0", false},
      {"integer64", "000", false},
      {"integer64", ~std::uint64_t{0}, true},
      {"double", "3.75", true},
      {"double", "3", false},
      {"double", "3.00", false},
      {"double", 3.75, false},
      {"double", "1e300", true},
      {"double", "9007199254740993", true},
      {"float", 1e39, true},
      {"float", 0.1, false},
      {"boolean", "TRUE", false},
      {"boolean", "no", false},
      {"boolean", "maybe", true},
      {"boolean", "2", true},
      {"boolean", 1, false},
      {"boolean", 2, true},
      {"boolean", true, false},
      {"string", 42, false},
      {"string", 0.1, false},
      {"string", ~std::uint64_t{0}, false},
      {"string", "anything", false},
      {"date", 1, false},
  };
  for (const Case& one : cases) {
    const Seen event = eventOf(one.destination, one.value);
    EXPECT_EQ(event.kind, EventKind::Stored);
    EXPECT_EQ(event.isLossy, one.isLossy)
        << one.destination << " " << one.value.description()->utf8();
  }
  EXPECT_FALSE(eventOf("integer32", NSNull::null()).isLossy);
  EXPECT_FALSE(eventOf("applyPayload:", "abc").isLossy);
}

TEST_F(MappingObserverTest, WhatAFilterRaisesIsToldAndComesThrough) {
  const auto filter = RaisingFilter::init();
  filter->setActionForFilter("refuse:", "refuse");
  const auto person = insertPerson();
  const auto map = mapOf({{"$a", "string"}, {"$b", "refuse|string"}, {"$c", "integer16"}});
  EXPECT_THROW(map->mapDictionaryToObjectFilterObserver(record(R"({"a": "x", "b": "y", "c": 1})"),
                                                        person, filter, recorder()),
               Raised);
  ASSERT_EQ(seen.size(), 2u);
  EXPECT_EQ(seen[1].kind, EventKind::Refused);
  EXPECT_EQ(seen[1].reason, Reason::Raised);
  EXPECT_EQ(seen[1].text, "refused b in Person.string: not today");
}

TEST_F(MappingObserverTest, WhatTheObserverRaisesEndsTheMapping) {
  const auto person = insertPerson();
  const auto map = mapOf({{"$a", "string"}, {"$b", "integer16"}});
  int events = 0;
  EXPECT_THROW(
      map->mapDictionaryToObjectFilterObserver(record(R"({"a": "x", "b": 1})"), person, nullptr,
                                               [&](const MappingEvent&) {
                                                 ++events;
                                                 raise("ObserverException", "enough");
                                               }),
      Raised);
  EXPECT_EQ(events, 1) << "its own exception is not told to it";
  EXPECT_EQ(person->valueForKey("string"), Value("x"));
  EXPECT_NE(person->valueForKey("integer16"), Value(1));
}

TEST_F(MappingObserverTest, TheObserverOfACallTakesThePlaceOfThatOfTheContext) {
  int ofContext = 0;
  setMappingObserver(context(), [&](const MappingEvent&) { ++ofContext; });
  const auto map = mapOf({{"$a", "string"}});
  const auto person = insertPerson();
  map->mapDictionaryToObjectFilterObserver(record(R"({"a": "x"})"), person, nullptr, recorder());
  EXPECT_EQ(seen.size(), 1u);
  map->mapDictionaryToObjectFilterObserver(record(R"({"a": "y"})"), person, nullptr, nullptr);
  EXPECT_EQ(ofContext, 0);
  map->mapDictionaryToObjectFilter(record(R"({"a": "z"})"), person, nullptr);
  EXPECT_EQ(ofContext, 1);
  EXPECT_EQ(person->valueForKey("string"), Value("z"));
}

TEST_F(MappingObserverTest, MergesAreSeenByTheObserverOfTheContext) {
  setMappingObserver(context(), recorder());
  insertPerson()->mergeDictionary(record(R"({"string": "Ann"})"));
  EXPECT_EQ(texts(), std::vector<std::string>{"stored string in Person.string: Ann"});
}

TEST_F(MappingObserverTest, AnObserverIsReplacedAndDetached) {
  const auto map = mapOf({{"$a", "string"}});
  const auto person = insertPerson();
  EXPECT_FALSE(mappingObserver(context()));
  int first = 0, second = 0;
  setMappingObserver(context(), [&](const MappingEvent&) { ++first; });
  EXPECT_TRUE(static_cast<bool>(mappingObserver(context())));
  setMappingObserver(context(), [&](const MappingEvent&) { ++second; });
  map->mapDictionaryToObject(record(R"({"a": 1})"), person);
  setMappingObserver(context(), nullptr);
  EXPECT_FALSE(mappingObserver(context()));
  map->mapDictionaryToObject(record(R"({"a": 1})"), person);
  EXPECT_EQ(first, 0);
  EXPECT_EQ(second, 1);
}

TEST_F(MappingObserverTest, AnObserverMayDetachItselfWhileItIsCalledAndHearsTheRecordToItsEnd) {
  int events = 0;
  setMappingObserver(context(), [&](const MappingEvent&) {
    ++events;
    setMappingObserver(context(), nullptr);
  });
  const auto map = mapOf({{"$a", "string"}, {"$b", "integer16"}});
  const auto person = insertPerson();
  map->mapDictionaryToObject(record(R"({"a": "x", "b": 1})"), person);
  EXPECT_EQ(events, 2);
  map->mapDictionaryToObject(record(R"({"a": "x", "b": 1})"), person);
  EXPECT_EQ(events, 2);
}

TEST_F(MappingObserverTest, AnObserverMayMapInItsTurn) {
  const auto map = mapOf({{"$a", "string"}, {"%in.$b", "integer16"}});
  const auto person = insertPerson();
  const auto other = insertPerson();
  std::vector<std::string> paths;
  setMappingObserver(context(), [&](const MappingEvent& event) {
    if (event.object().get() == person.get()) {
      map->mapDictionaryToObject(record(R"({"a": "inner"})"), other);
    }
    paths.push_back(event.pathText()->toStdString());
  });
  map->mapDictionaryToObject(record(R"({"in": {"b": 1}, "a": "x"})"), person);
  EXPECT_EQ(paths, (std::vector<std::string>{"a", "in.b", "a", "a"}));
  EXPECT_EQ(other->valueForKey("string"), Value("inner"));
  EXPECT_EQ(person->valueForKey("string"), Value("x"));
}

TEST_F(MappingObserverTest, NullContextsHaveNoObserver) {
  setMappingObserver(nullptr, recorder());
  EXPECT_FALSE(mappingObserver(nullptr));
  setMappingObserver(context(), recorder());
  const auto loose =
      NSManagedObject::initWithEntityInsertIntoManagedObjectContext(entity(), nullptr);
  mapOf({{"$a", "string"}})->mapDictionaryToObject(record(R"({"a": "x"})"), loose);
  EXPECT_EQ(loose->valueForKey("string"), Value("x"));
  EXPECT_TRUE(seen.empty()) << "an object outside any context is in nobody's sight";
}

TEST_F(MappingObserverTest, ObserversDieWithTheirContext) {
  static int alive = 0;
  struct Counted {
    Counted() { ++alive; }
    Counted(const Counted&) { ++alive; }
    ~Counted() { --alive; }
  };
  {
    const auto short_ = NSManagedObjectContext::init();
    setMappingObserver(short_, [counted = Counted()](const MappingEvent&) {});
    EXPECT_EQ(alive, 1);
  }
  EXPECT_EQ(alive, 0);
}

TEST_F(MappingObserverTest, APathIsAsDeepAsTheRecord) {
  const int depth = 50'000;
  std::string rule;
  Value inner = NSDictionary::dictionaryWithObjectForKey("end", "b");
  for (int i = 0; i < depth; ++i) {
    rule += "%a.";
    inner = NSDictionary::dictionaryWithObjectForKey(inner, "a");
  }
  const auto map = mapOf({{rule + "$b", "string"}});
  NSUInteger length = 0;
  map->mapDictionaryToObjectFilterObserver(
      as<NSDictionary>(Value(inner)), insertPerson(), nullptr,
      [&](const MappingEvent& event) { length = event.path()->count(); });
  EXPECT_EQ(length, NSUInteger{depth + 1});
}

}  // namespace
}  // namespace JNFoundation
