#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "MappingFixture.h"

#include <JNFoundation/mapping/MapInspection.h>
#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>

namespace JNFoundation {
namespace {

using Problem = MapInspection::Problem;
using Kind = Problem::Kind;
using Severity = Problem::Severity;
using Rule = MapInspection::Rule;
using Origin = MapInspection::Origin;

Ref<NSEntityDescription> entityNamed(
    const char* name, const std::vector<std::pair<const char*, NSAttributeType>>& attributes,
    std::vector<NSDictionary::Pair> userInfo) {
  auto entity = NSEntityDescription::init();
  entity->setName(name);
  auto properties = NSMutableArray::array();
  for (const auto& [attribute, type] : attributes) {
    properties->addObject(NSAttributeDescription::attributeWithNameType(attribute, type));
  }
  entity->setProperties(properties);
  entity->setUserInfo(dictionary(std::move(userInfo)));
  return entity;
}

std::string text(const Ref<NSString>& string) { return string ? string->toStdString() : "(null)"; }

class MapInspectionTest : public MappingTest {
 protected:
  /// What is said of one more rule of Person.
  std::vector<Problem> problemsOf(const Value& key, const Value& value,
                                  const MapInspection::Options& options = {}) {
    return MapInspection::ofDescriptor(entity(), dictionary({{key, value}}), options).problems;
  }
  /// The same where there is one problem.
  Problem problemOf(const Value& key, const Value& value,
                    const MapInspection::Options& options = {}) {
    const auto problems = problemsOf(key, value, options);
    EXPECT_EQ(problems.size(), 1u);
    return problems.empty() ? Problem() : problems.front();
  }
  /// What the log says when the map of that one rule is built, without what stands before it.
  std::string logged(const Value& key, const Value& value) {
    log.clear();
    PLVDictionaryDataMap::newMapForEntityDescriptor(entity(), dictionary({{key, value}}));
    EXPECT_EQ(log.size(), 1u);
    if (log.empty()) return "";
    return log.front().substr(log.front().find(") ") + 2);
  }
  MapInspection inspect(const Ref<NSEntityDescription>& entity) {
    return MapInspection::ofEntity(entity);
  }
};

TEST_F(MapInspectionTest, AnEntityWithNothingHasNoRulesAndNoProblems) {
  const auto inspection = inspect(entityNamed("Empty", {}, {}));
  EXPECT_TRUE(inspection.rules.empty());
  EXPECT_TRUE(inspection.problems.empty());
  EXPECT_TRUE(inspect(nullptr).rules.empty());
  EXPECT_TRUE(MapInspection::ofDescriptor(entity(), nullptr, {}).rules.empty());
  EXPECT_TRUE(MapInspection::problemsOfModel(nullptr, {}).empty());
}

TEST_F(MapInspectionTest, EveryAttributeHasAnAutomaticRule) {
  const auto inspection = inspect(entity());
  ASSERT_EQ(inspection.rules.size(), 8u);
  EXPECT_TRUE(inspection.problems.empty());
  const Rule& rule = inspection.rules[5];
  EXPECT_EQ(rule.kind, Rule::Kind::Attribute);
  EXPECT_EQ(text(rule.key), "$string");
  EXPECT_EQ(text(rule.pathText()), "string");
  EXPECT_EQ(text(rule.destination), "string");
  EXPECT_FALSE(rule.filter);
  EXPECT_EQ(rule.attributeType, NSStringAttributeType);
  EXPECT_EQ(rule.origin.kind, Origin::Kind::Automatic);
  EXPECT_EQ(text(rule.origin.text()), "attribute of Person");
  EXPECT_EQ(text(rule.conversionText()), "text as it is, numbers as decimal text");
}

TEST_F(MapInspectionTest, RulesOfTheUserInfoSayWhatTheyDo) {
  setUserInfo({{"$full.name", "trim|string"},
               {"$payload", "applyPayload:"},
               {"%meta.%place.$born", "date"},
               {"%aside", ""}});
  const auto inspection = inspect(entity());
  ASSERT_EQ(inspection.rules.size(), 12u);
  const Rule& filtered = inspection.rules[8];
  EXPECT_EQ(text(filtered.pathText()), "full.name");
  EXPECT_EQ(filtered.path.size(), 1u) << "dots of a scalar rule belong to its input key";
  EXPECT_EQ(text(filtered.filter), "trim");
  EXPECT_EQ(text(filtered.destination), "string");
  EXPECT_EQ(text(filtered.origin.text()), "user info of Person");
  const Rule& message = inspection.rules[9];
  EXPECT_EQ(message.kind, Rule::Kind::Message);
  EXPECT_EQ(text(message.destination), "applyPayload:");
  EXPECT_EQ(message.attributeType, NSUndefinedAttributeType);
  EXPECT_EQ(text(message.conversionText()), "any value as it is");
  const Rule& nested = inspection.rules[10];
  EXPECT_EQ(nested.path.size(), 3u);
  EXPECT_EQ(text(nested.pathText()), "meta.place.born");
  EXPECT_EQ(nested.kind, Rule::Kind::Attribute);
  const Rule& alone = inspection.rules[11];
  EXPECT_EQ(alone.kind, Rule::Kind::NestedDictionary);
  EXPECT_EQ(text(alone.pathText()), "aside");
  EXPECT_EQ(text(alone.conversionText()), "");
  EXPECT_FALSE(alone.destination);
}

TEST_F(MapInspectionTest, EveryTypeThatIsMappedHasAConversion) {
  for (const Rule& rule : inspect(entity()).rules) {
    EXPECT_GT(rule.conversionText()->length(), 0u) << text(rule.destination);
  }
}

TEST_F(MapInspectionTest, InspectingLogsNothing) {
  setUserInfo({{"$a", "unknown"}, {"$b", "unknown:"}, {"$c", "setA:b:"}});
  EXPECT_EQ(inspect(entity()).problems.size(), 3u);
  EXPECT_TRUE(log.empty());
}

// ---- One test for each kind of problem
// -----------------------------------------------------------

TEST_F(MapInspectionTest, AnUnknownAttributeIsAProblemInTheWordsOfTheLog) {
  const Problem problem = problemOf("$title", "strnig");
  EXPECT_EQ(problem.kind, Kind::UnknownAttribute);
  EXPECT_EQ(problem.severity, Severity::Problem);
  EXPECT_EQ(text(problem.reason), logged("$title", "strnig"));
  EXPECT_EQ(text(problem.advice), "did you mean 'string'?");
  EXPECT_TRUE(problem.isLogged());
  EXPECT_TRUE(problem.isDropped());
  EXPECT_EQ(text(problem.text()),
            "Person: $title \"strnig\" (descriptor): Undefined attribute 'strnig' for entity "
            "'Person'; did you mean 'string'?");
  EXPECT_FALSE(problemOf("$title", "somethingElse").advice);
  EXPECT_EQ(text(problemOf("$title", "STRING").advice), "did you mean 'string'?");
  EXPECT_EQ(problemOf("$title", ":").kind, Kind::UnknownAttribute);
  EXPECT_EQ(problemOf("$title", "").kind, Kind::UnknownAttribute);
  EXPECT_EQ(problemOf("$title", std::string(100000, 'x')).kind, Kind::UnknownAttribute);
}

TEST_F(MapInspectionTest, ARuleThatNamesARelationshipIsAdvisedToSendAMessage) {
  auto pets = entityNamed("Pet", {}, {{"$owner", "owner"}});
  auto owner = NSRelationshipDescription::init();
  owner->setName("owner");
  pets->setProperties(NSArray::arrayWithObject(owner));
  const auto inspection = inspect(pets);
  ASSERT_EQ(inspection.problems.size(), 1u);
  EXPECT_EQ(inspection.problems[0].kind, Kind::UnknownAttribute);
  EXPECT_TRUE(inspection.problems[0].advice->containsString("relationship"));
}

TEST_F(MapInspectionTest, ATypeThatIsNotMappedIsAProblemWhereARuleNamesIt) {
  for (const auto type :
       {NSDecimalAttributeType, NSBinaryDataAttributeType, NSUUIDAttributeType, NSURIAttributeType,
        NSTransformableAttributeType, NSObjectIDAttributeType}) {
    auto box = entityNamed("Box", {{"content", type}}, {{"$stuff", "content"}});
    const auto inspection = inspect(box);
    EXPECT_TRUE(inspection.rules.empty());
    ASSERT_EQ(inspection.problems.size(), 2u);
    // Nobody wrote the automatic rule.
    EXPECT_EQ(text(inspection.problems[0].key), "$content");
    EXPECT_EQ(inspection.problems[0].kind, Kind::UnmappableType);
    EXPECT_EQ(inspection.problems[0].severity, Severity::Note);
    EXPECT_EQ(text(inspection.problems[1].key), "$stuff");
    EXPECT_EQ(inspection.problems[1].kind, Kind::UnmappableType);
    EXPECT_EQ(inspection.problems[1].severity, Severity::Problem);
    EXPECT_EQ(text(inspection.problems[1].reason),
              "Unknown type " + std::to_string(type) + " for Box.content");
    EXPECT_TRUE(inspection.problems[1].advice->containsString(MapInspection::nameOf(type)));
  }
}

TEST_F(MapInspectionTest, AMessageThatTheClassLacksIsAProblem) {
  const Problem problem = problemOf("$payload", "applyNothing:");
  EXPECT_EQ(problem.kind, Kind::UnknownMessage);
  EXPECT_EQ(text(problem.reason), logged("$payload", "applyNothing:"));
}

TEST_F(MapInspectionTest, AMessageThatCannotCarryAValueIsAProblem) {
  for (const char* message : {"setA:b:", "applyCount:", "applyAndJudge:"}) {
    const Problem problem = problemOf("$payload", message);
    EXPECT_EQ(problem.kind, Kind::UnsuitableMessage);
    EXPECT_EQ(text(problem.reason), logged("$payload", message));
  }
  EXPECT_TRUE(problemsOf("$payload", "applyAndAnswer:").empty());
}

TEST_F(MapInspectionTest, AMessageToAClassOutsideOfTheProgramIsWhatTheCallerSaysItIs) {
  entity()->setManagedObjectClassName("Elsewhere");
  const Problem missing = problemOf("$payload", "applyPayload:");
  EXPECT_EQ(missing.kind, Kind::UnknownClass);
  EXPECT_EQ(missing.severity, Severity::Problem);
  EXPECT_EQ(text(missing.reason), logged("$payload", "applyPayload:"));
  EXPECT_TRUE(missing.advice->containsString("Elsewhere"));

  MapInspection::Options trusting;
  trusting.classesElsewhere = MapInspection::Options::ClassesElsewhere::Trusted;
  const auto trusted =
      MapInspection::ofDescriptor(entity(), dictionary({{"$payload", "applyPayload:"}}), trusting);
  ASSERT_EQ(trusted.problems.size(), 1u);
  EXPECT_EQ(trusted.problems[0].kind, Kind::UnknownClass);
  EXPECT_EQ(trusted.problems[0].severity, Severity::Note);
  ASSERT_EQ(trusted.rules.size(), 1u);
  EXPECT_EQ(trusted.rules[0].kind, Rule::Kind::Message);

  MapInspection::Options knowing;
  knowing.messages = NSSet::setWithObjects("applyPayload:");
  EXPECT_TRUE(problemsOf("$payload", "applyPayload:", knowing).empty());
  const Problem unknown = problemOf("$payload", "applyPayloda:", knowing);
  EXPECT_EQ(unknown.kind, Kind::UnknownMessage);
  EXPECT_EQ(text(unknown.advice), "did you mean 'applyPayload:'?");
  // Nowhere does an operation of that name take one argument.
  EXPECT_EQ(problemOf("$payload", "setA:b:", trusting).kind, Kind::UnsuitableMessage);
  EXPECT_EQ(problemOf("$payload", "setA:b:", knowing).kind, Kind::UnsuitableMessage);
  EXPECT_EQ(problemOf("$payload", "setA:b:").kind, Kind::UnknownClass);
  // What is said of classes elsewhere is not said of a class that is here.
  entity()->setManagedObjectClassName("Person");
  knowing.messages = NSSet::setWithObjects("applyNothing:");
  EXPECT_EQ(problemOf("$payload", "applyNothing:", knowing).kind, Kind::UnknownMessage);
}

TEST_F(MapInspectionTest, ADestinationThatIsNoTextIsAProblem) {
  EXPECT_EQ(problemOf("$title", 3).kind, Kind::NotText);
  EXPECT_EQ(problemOf("$title", Value(NSArray::array())).kind, Kind::NotText);
  EXPECT_TRUE(problemOf("$title", 3).isDropped());
  EXPECT_FALSE(problemOf("$title", 3).isLogged());
  // The value of a dictionary's own entry means nothing.
  EXPECT_EQ(problemOf("%meta", 3).kind, Kind::EmptyNested);
}

TEST_F(MapInspectionTest, ASubkeyThatIsNoRuleIsAProblem) {
  for (const char* key : {"%meta.title", "%meta.$", "%meta.%", "%meta.", "%a.b.$c", "%a.%b.c"}) {
    const auto inspection =
        MapInspection::ofDescriptor(entity(), dictionary({{key, "string"}}), {});
    ASSERT_EQ(inspection.problems.size(), 1u) << key;
    EXPECT_EQ(inspection.problems[0].kind, Kind::DroppedSubkey) << key;
    EXPECT_TRUE(inspection.problems[0].isDropped());
    // The dictionary is read all the same.
    ASSERT_EQ(inspection.rules.size(), 1u) << key;
    EXPECT_EQ(inspection.rules[0].kind, Rule::Kind::NestedDictionary);
  }
  EXPECT_EQ(text(problemOf("%meta.title", "string").advice), "did you mean '%meta.$title'?");
  EXPECT_EQ(text(problemOf("%a.%b.c.$d", "string").advice), "did you mean '%a.%b.%c.$d'?");
  EXPECT_FALSE(problemOf("%meta.", "string").advice);
  EXPECT_FALSE(problemOf("%meta.$", "string").advice);
  EXPECT_EQ(text(problemOf("%meta.title", "string").reason),
            "what follows \"meta.\" begins with neither $ nor % and an input key");
}

TEST_F(MapInspectionTest, WhatLooksLikeARuleButForItsFormIsAProblem) {
  for (const char* key : {"$", "%", " $title", "\t%meta.$born"}) {
    const Problem problem = problemOf(key, "string");
    EXPECT_EQ(problem.kind, Kind::NoForm) << key;
    EXPECT_EQ(problem.severity, Severity::Problem) << key;
  }
}

TEST_F(MapInspectionTest, WhatMayBeARuleWithoutItsSignIsANote) {
  for (const auto& [key, value] :
       {std::pair{"title", "trim|string"}, std::pair{"payload", "applyPayload:"},
        std::pair{"title", "string"}}) {
    const Problem problem = problemOf(key, value);
    EXPECT_EQ(problem.kind, Kind::NoForm) << key;
    EXPECT_EQ(problem.severity, Severity::Note) << key;
    EXPECT_EQ(text(problem.advice), std::string("a rule would be '$") + key + "'");
  }
  EXPECT_EQ(text(problemOf("title", "string").reason),
            "the value is the name of an attribute, but the key begins with neither $ nor %");
}

TEST_F(MapInspectionTest, AnEntryThatNamesAnAttributeMayMeanTheInputKeyOfARule) {
  const auto problems =
      MapInspection::ofDescriptor(
          entity(), dictionary({{"identity", "string"}, {"$string", "trim|string"}}), {})
          .problems;
  EXPECT_TRUE(problems.empty());
}

TEST_F(MapInspectionTest, WhatAnApplicationKeepsInTheUserInfoIsNoProblem) {
  const std::vector<std::pair<const char*, const char*>> entries = {
      {"identity", "strings"},
      {"string", "string"},
      {"url", "https://example.org/a|b c"},
      {"", ""},
      {"note", "either this or that:  or|so"},
      {"x", ":"},
      {"com.example.$price", "of a thing"}};
  for (const auto& [key, value] : entries) {
    EXPECT_TRUE(problemsOf(key, value).empty()) << key;
  }
}

TEST_F(MapInspectionTest, AFilterThatNobodyHasIsAProblemOnceFiltersAreKnown) {
  EXPECT_TRUE(problemsOf("$title", "trim|string").empty());
  MapInspection::Options options;
  options.filters = NSSet::setWithObjects("trim", "shout");
  EXPECT_TRUE(problemsOf("$title", "trim|string", options).empty());
  const Problem problem = problemOf("$title", "tirm|string", options);
  EXPECT_EQ(problem.kind, Kind::UnknownFilter);
  EXPECT_FALSE(problem.isDropped());
  EXPECT_EQ(text(problem.advice), "did you mean 'trim'?");
  EXPECT_TRUE(problem.reason->containsString("clears the attribute"));
  EXPECT_TRUE(problemOf("$title", "x|applyPayload:", options).reason->containsString("gets null"));
  options.filters = NSSet::set();
  EXPECT_EQ(problemOf("$title", "trim|string", options).kind, Kind::UnknownFilter);
  // What has no rule needs no filter.
  EXPECT_EQ(problemOf("$title", "trim|unknown", options).kind, Kind::UnknownAttribute);
}

TEST_F(MapInspectionTest, ARuleInThePlaceOfAnAutomaticOneIsANote) {
  setUserInfo({{"$string", "trim|string"}, {"$date", "date"}});
  const auto inspection = inspect(entity());
  EXPECT_EQ(inspection.rules.size(), 8u);
  ASSERT_EQ(inspection.problems.size(), 2u);
  const Problem& problem = inspection.problems[0];
  EXPECT_EQ(problem.kind, Kind::Shadowed);
  EXPECT_EQ(problem.severity, Severity::Note);
  EXPECT_EQ(problem.origin.kind, Origin::Kind::Automatic);
  EXPECT_EQ(problem.shadowedBy.kind, Origin::Kind::UserInfo);
  EXPECT_EQ(problem.value, "string");
  EXPECT_EQ(text(problem.reason), "the user info of Person says \"trim|string\" in its place");
  EXPECT_EQ(text(inspection.problems[1].reason), "the user info of Person says the same");
}

TEST_F(MapInspectionTest, AnAttributeOfADescendantThatTakesTheWrittenRulesPlaceIsAProblem) {
  auto base = entityNamed("Base", {{"name", NSStringAttributeType}},
                          {{"$kind", "name"}, {"$title", "name"}});
  auto derived = entityNamed("Derived", {{"kind", NSStringAttributeType}}, {{"$title", "kind"}});
  base->setSubentities(NSArray::arrayWithObject(derived));
  const auto problems = inspect(derived).problems;
  ASSERT_EQ(problems.size(), 2u);
  EXPECT_EQ(text(problems[0].key), "$kind");
  EXPECT_EQ(problems[0].kind, Kind::Shadowed);
  EXPECT_EQ(problems[0].severity, Severity::Problem);
  EXPECT_EQ(text(problems[0].shadowedBy.text()), "attribute of Derived");
  EXPECT_EQ(text(problems[0].reason), "the attribute of Derived of that name takes its place");
  EXPECT_TRUE(problems[0].advice->containsString("user info of Derived"));
  // Written rules against written rules are how entities differ.
  EXPECT_EQ(text(problems[1].key), "$title");
  EXPECT_EQ(problems[1].severity, Severity::Note);
  EXPECT_EQ(text(problems[1].origin.text()), "user info of Base");
  EXPECT_EQ(text(problems[1].shadowedBy.text()), "user info of Derived");
}

TEST_F(MapInspectionTest, OtherEntriesOfTheUserInfoAreNotShadowed) {
  auto base = entityNamed("Base", {}, {{"identity", "a"}, {"%meta", "a"}});
  auto derived = entityNamed("Derived", {}, {{"identity", "b"}, {"%meta", "b"}});
  base->setSubentities(NSArray::arrayWithObject(derived));
  for (const Problem& problem : inspect(derived).problems) {
    EXPECT_EQ(problem.kind, Kind::EmptyNested);
  }
}

TEST_F(MapInspectionTest, AMessageThatNeverGetsItsDictionariesIsAProblem) {
  const auto problems =
      MapInspection::ofDescriptor(
          entity(), dictionary({{"$meta", "applyPayload:"}, {"%meta.$born", "date"}}), {})
          .problems;
  ASSERT_EQ(problems.size(), 1u);
  EXPECT_EQ(problems[0].kind, Kind::Bypassed);
  EXPECT_EQ(text(problems[0].key), "$meta");
  // An attribute takes no dictionary anyway, unless a filter makes something of it.
  EXPECT_TRUE(MapInspection::ofDescriptor(
                  entity(), dictionary({{"$meta", "string"}, {"%meta.$born", "date"}}), {})
                  .problems.empty());
  EXPECT_EQ(MapInspection::ofDescriptor(
                entity(), dictionary({{"$meta", "trim|string"}, {"%meta.$born", "date"}}), {})
                .problems.size(),
            1u);
  // The same key in another dictionary is another key.
  EXPECT_TRUE(
      MapInspection::ofDescriptor(
          entity(), dictionary({{"%a.$meta", "applyPayload:"}, {"%meta.$born", "date"}}), {})
          .problems.empty());
}

TEST_F(MapInspectionTest, AKeyThatNoRecordHasIsUnreachable) {
  for (const char* key : {"$meta.$born", "$meta.%place.$city", "%a.$meta.$born"}) {
    const Problem problem = problemOf(key, "date");
    EXPECT_EQ(problem.kind, Kind::Unreachable) << key;
    EXPECT_FALSE(problem.isDropped());
  }
  EXPECT_TRUE(problemsOf("$meta.born", "date").empty()) << "an input key may hold dots";
  // JSON is not nested as deep as rules can be.
  const auto nested = [](std::size_t levels) {
    std::string key;
    for (std::size_t i = 0; i < levels; ++i) key += "%a.";
    return key + "$b";
  };
  EXPECT_TRUE(problemsOf(nested(999), "string").empty());
  EXPECT_EQ(problemOf(nested(1000), "string").kind, Kind::Unreachable);
}

TEST_F(MapInspectionTest, AMillionLevelsAreInspectedLikeOne) {
  std::string key;
  for (int i = 0; i < 1000000; ++i) key += "%a.";
  const auto inspection =
      MapInspection::ofDescriptor(entity(), dictionary({{key + "$b", "string"}}), {});
  ASSERT_EQ(inspection.problems.size(), 1u);
  EXPECT_EQ(inspection.problems[0].kind, Kind::Unreachable);
  EXPECT_EQ(inspection.rules.front().path.size(), 1000001u);
}

TEST_F(MapInspectionTest, WhiteSpaceAndEmptyNamesAreUnlikely) {
  for (const char* key : {"$ name", "$name ", "% meta.$name", "%.$name", "%meta.$name\t"}) {
    EXPECT_EQ(problemOf(key, "string").kind, Kind::UnlikelyKey) << key;
  }
  EXPECT_TRUE(problemsOf("$full name", "string").empty());
  EXPECT_EQ(problemOf("$name", "|string").kind, Kind::UnlikelyKey);
  EXPECT_EQ(problemOf("$name", "trim |string").kind, Kind::UnlikelyKey);
  EXPECT_EQ(problemOf("$name", "trim| string").kind, Kind::UnknownAttribute);
}

TEST_F(MapInspectionTest, ADictionaryWithoutRulesIsANote) {
  const Problem problem = problemOf("%meta", "");
  EXPECT_EQ(problem.kind, Kind::EmptyNested);
  EXPECT_EQ(problem.severity, Severity::Note);
  EXPECT_TRUE(MapInspection::ofDescriptor(
                  entity(), dictionary({{"%meta", ""}, {"%meta.%place.$born", "date"}}), {})
                  .problems.empty());
}

TEST_F(MapInspectionTest, EveryKindOfProblemHasAWordOfItsOwn) {
  std::vector<std::string_view> words;
  for (int kind = 0; kind <= static_cast<int>(Kind::EmptyNested); ++kind) {
    words.push_back(MapInspection::nameOf(static_cast<Kind>(kind)));
    EXPECT_FALSE(words.back().empty());
  }
  std::sort(words.begin(), words.end());
  EXPECT_EQ(std::unique(words.begin(), words.end()), words.end());
}

TEST_F(MapInspectionTest, TypesHaveTheNamesOfDataModels) {
  EXPECT_EQ(MapInspection::nameOf(NSInteger16AttributeType), "Integer 16");
  EXPECT_EQ(MapInspection::nameOf(NSURIAttributeType), "URI");
  EXPECT_EQ(MapInspection::nameOf(NSUndefinedAttributeType), "Undefined");
  EXPECT_EQ(MapInspection::nameOf(static_cast<NSAttributeType>(1)), "Undefined");
  for (const char* name : {"Integer 16", "Integer 32", "Integer 64", "Decimal", "Double", "Float",
                           "String", "Boolean", "Date", "Binary", "UUID", "URI", "Transformable"}) {
    const auto model = NSManagedObjectModel::modelWithXMLError(
        (std::string(R"(<model><entity name="E"><attribute name="a" attributeType=")") + name +
         R"("/></entity></model>)")
            .c_str());
    ASSERT_TRUE(model) << name;
    const Ref<NSEntityDescription> entity =
        as<NSEntityDescription>(model->entities()->firstObject());
    const Ref<NSAttributeDescription> attribute =
        as<NSAttributeDescription>(entity->attributesByName()->objectForKey("a"));
    EXPECT_EQ(MapInspection::nameOf(attribute->attributeType()), name);
  }
}

TEST_F(MapInspectionTest, KeysThatAreNoTextAreIgnoredAsByMaps) {
  EXPECT_TRUE(problemsOf(3, "string").empty());
}

// ---- A whole model
// -------------------------------------------------------------------------------

class MapInspectionModelTest : public ::testing::Test {
 protected:
  /// Root, and two entities below it of which only one has the attribute "title".
  MapInspectionModelTest()
      : root(entityNamed("Root", {{"code", NSStringAttributeType}}, {{"$name", "title"}})),
        book(entityNamed("Book", {{"title", NSStringAttributeType}}, {})),
        coin(entityNamed("Coin", {}, {})) {}

  std::vector<std::string> problems() {
    root->setSubentities(NSArray::arrayWithObjects(book, coin));
    auto model = NSManagedObjectModel::init();
    model->setEntities(NSArray::arrayWithObjects(root, book, coin));
    std::vector<std::string> result;
    for (const Problem& problem : MapInspection::problemsOfModel(model, {})) {
      result.push_back(text(problem.entity->name()) + " " + text(problem.key));
    }
    return result;
  }

  Ref<NSEntityDescription> root, book, coin;
};

TEST_F(MapInspectionModelTest, AnInheritedProblemIsToldOnceOfWhoGivesTheRule) {
  EXPECT_EQ(problems(), std::vector<std::string>{"Root $name"});
}

TEST_F(MapInspectionModelTest, ARuleOfAnAbstractEntityIsTheProblemOfThoseWhoCannotUseIt) {
  root->setAbstract(true);
  EXPECT_EQ(problems(), std::vector<std::string>{"Coin $name"});
}

TEST_F(MapInspectionModelTest, ARuleOfAnAbstractEntityThatNobodyCanUseIsItsOwnProblem) {
  root->setAbstract(true);
  book->setProperties(NSArray::array());
  EXPECT_EQ(problems(), std::vector<std::string>{"Root $name"});
}

TEST_F(MapInspectionModelTest, AnOwnProblemOfADescendantIsToldOfIt) {
  root->setUserInfo(dictionary({}));
  book->setUserInfo(dictionary({{"$isbn", "number"}}));
  coin->setUserInfo(dictionary({{"$value", "number"}}));
  EXPECT_EQ(problems(), (std::vector<std::string>{"Book $isbn", "Coin $value"}));
}

TEST_F(MapInspectionModelTest, WhatADescendantPutsInTheRulesPlaceCounts) {
  coin->setUserInfo(dictionary({{"$name", "code"}}));
  EXPECT_EQ(problems(), (std::vector<std::string>{"Root $name", "Coin $name"}));
  // The second one is the note that Coin says something else than Root.
}

}  // namespace
}  // namespace JNFoundation
