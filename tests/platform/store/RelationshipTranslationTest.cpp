#include "CompanyPredicates.h"

#include <JNFoundation/platform/query/NSComparisonPredicate.h>
#include <JNFoundation/platform/query/NSCompoundPredicate.h>
#include <JNFoundation/platform/query/NSExpression.h>
#include <JNFoundation/platform/store/StatementTrace.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation {
namespace {

Ref<NSFetchIndexDescription> indexOn(const char* property) {
  return NSFetchIndexDescription::initWithNameElements(
      std::string("by ") + property,
      NSArray::arrayWithObject(NSFetchIndexElementDescription::initWithPropertyNameCollationType(
          property, NSFetchIndexElementTypeBinary)));
}

/// What becomes of predicates over relationships in a store of SQLite.
class RelationshipTranslation : public StoreTest {
 protected:
  void SetUp() override {
    auto company = askedCompanyModel();
    for (const char* entity : {"Person", "Department", "Skill"}) {
      company->entityWithName(entity)->setIndexes(NSArray::arrayWithObjects(indexOn("name")));
    }
    open(NSSQLiteStoreType, company);
  }

  StoreQuery queryOf(const char* entity, const Ref<NSPredicate>& predicate) const {
    StoreQuery query;
    query.entity = model->entityWithName(entity).get();
    query.predicate = predicate;
    return query;
  }

  /// The part of the predicate that is left to memory, as a format; empty for none.
  template <class... Arguments>
  std::string remains(const char* entity, const std::string& format,
                      const Arguments&... arguments) const {
    const StoreQueryPlan plan =
        store->planQuery(queryOf(entity, NSPredicate::predicateWithFormat(format, arguments...)));
    return plan.remainingPredicate ? plan.remainingPredicate->predicateFormat()->toStdString() : "";
  }

  /// How SQLite goes about a fetch.
  std::string planOf(const char* entity, const Ref<NSPredicate>& predicate) const {
    std::string plan;
    const StatementObserverScope scope(
        [&](const StatementTrace& trace) {
          if (trace.sql.rfind("SELECT", 0) == 0) plan = trace.plan;
        },
        StatementPlans::Include);
    fetch(request(entity, predicate));
    return plan;
  }
  template <class... Arguments>
  std::string plan(const char* entity, const char* format, const Arguments&... arguments) const {
    return planOf(entity, NSPredicate::predicateWithFormat(format, arguments...));
  }
};

TEST_F(RelationshipTranslation, SQLTakesWhatItAnswersExactly) {
  auto someone = insert("Person");
  save();
  for (const char* format :
       {"department.name == 'a'",
        "department.name BEGINSWITH[cd] 'a'",
        "mentor.mentor.level > 1",
        "desk.person.department.name IN {'a', nil}",
        "department == nil",
        "mentor != nil",
        "department.name == mentor.department.name",
        "mentor == desk.person",
        "SELF == mentor",
        "ANY skills.name == 'a'",
        "ALL friends.department.name LIKE 'a*'",
        "NONE mentor.friends.level > level",
        "ANY friends.skills.name MATCHES '.'",
        "ANY department.people.name == name",
        "skills.@count > 0",
        "mentor.friends.@count == 0",
        "friends.skills.@count BETWEEN {1, 2}",
        "friends.@max.level < 3",
        "friends.@sum.level == 0",
        "friends.@avg.level > 0.5",
        "friends.@min.department.name == 'a'",
        "'a' IN skills.name",
        "skills == nil",
        "mentor.skills == nil",
        "level != name",
        "SUBQUERY(friends, $f, $f.level > level AND $f.department == department).@count > 1",
        "SUBQUERY(department.people, $p, SUBQUERY($p.skills, $s, $s.name == $p.name).@count > "
        "0).@count == 2",
        "ANY SUBQUERY(friends, $f, $f.level > 1).name == 'a'",
        "SUBQUERY(friends, $f, $f != SELF AND $f IN mentor.friends).@sum.level > 1"}) {
    EXPECT_EQ(remains("Person", format), "") << format;
  }
  for (const char* format : {"mentor == %@", "mentor.objectID == %@", "%@ IN friends",
                             "friends CONTAINS %@", "ANY friends == %@", "SELF != %@"}) {
    EXPECT_EQ(remains("Person", format, someone), "") << format;
    EXPECT_EQ(remains("Person", format, someone->objectID()), "") << format;
  }
  for (const char* format : {"mentor IN %@", "ANY friends IN %@", "SELF IN %@"}) {
    EXPECT_EQ(remains("Person", format, NSArray::arrayWithObjects(someone)), "") << format;
    EXPECT_EQ(remains("Person", format, NSSet::setWithObject(someone->objectID())), "") << format;
  }
}

TEST_F(RelationshipTranslation, WhatHasNoSQLFormIsLeftToMemory) {
  for (const char* format :
       {"friends.@sum.weight > 1", "friends.@avg.weight > 1", "mentor > 1", "friends.name == 'a'",
        "ANY department.name == 'a'", "ANY friends.department.people.name == 'a'",
        "friends.department.@count == 1", "FUNCTION(mentor, 'name') == 'a'",
        "SUBQUERY(friends.department, $d, $d.level == 1).@count == 1",
        "SUBQUERY(friends, $f, $f.level + 1 == 2).@count == 1", "friends.@unionOfObjects.name == 1",
        "ANY friends.skills.@count == 1"}) {
    EXPECT_NE(remains("Person", format), "") << format;
  }
  EXPECT_EQ(remains("Person", "ANY skills.name == 'a' AND friends.@sum.weight > 1"),
            "friends.@sum.weight > 1")
      << "only the part";
}

TEST_F(RelationshipTranslation, AnIndexOfTheDestinationIsUsed) {
  auto someone = insert("Person");
  save();
  const auto uses = [](const std::string& plan, const char* text) {
    return plan.find(text) != std::string::npos && plan.find("SCAN") == std::string::npos;
  };
  std::string found = plan("Person", "department.name == 'a'");
  EXPECT_TRUE(uses(found, "(name=?)") && uses(found, "(department=?)")) << found;
  found = plan("Person", "department == %@", someone);
  EXPECT_FALSE(uses(found, "department")) << "a person is no department: " << found;
  auto department = insert("Department");
  save();
  found = plan("Person", "department == %@", department);
  EXPECT_TRUE(uses(found, "(department=?)")) << found;
  found = plan("Department", "ANY people.name == 'a'");
  EXPECT_TRUE(uses(found, "(name=?)") && uses(found, "INTEGER PRIMARY KEY")) << found;
  found = plan("Person", "ANY skills.name IN {'a', 'b'}");
  EXPECT_TRUE(uses(found, "(name=?)")) << found;
  found = plan("Department", "%@ IN people", someone);
  EXPECT_TRUE(uses(found, "INTEGER PRIMARY KEY")) << found;
  found = plan("Person", "ANY friends == %@", someone);
  EXPECT_TRUE(uses(found, "far=?")) << found;
  // Every department is looked at, but its members are found by the index of their reference.
  found = plan("Department", "people.@count > 3");
  EXPECT_NE(found.find("(department=?)"), std::string::npos) << found;
  found = plan("Department", "ANY people.level > 3");
  EXPECT_NE(found.find("(department=?)"), std::string::npos) << found;
}

TEST_F(RelationshipTranslation, SortingByAPathIsDoneBySQL) {
  const auto sorts = [&](std::vector<Value> descriptors) {
    StoreQuery query = queryOf("Person", nullptr);
    const auto list = NSArray::arrayWithValues(std::move(descriptors));
    query.sortDescriptors = list;
    return store->planQuery(query).sorts;
  };
  EXPECT_TRUE(sorts({by("department.name"), by("mentor.desk.level", false)}));
  EXPECT_TRUE(sorts({by("friends.@count")}));
  EXPECT_TRUE(sorts({NSSortDescriptor::sortDescriptorWithKeyAscendingSelector(
      "mentor.name", true, SEL("localizedStandardCompare:"))}));
  EXPECT_FALSE(sorts({by("department.name"), by("department")})) << "records have no order";
  EXPECT_FALSE(sorts({by("friends.name")}));
}

TEST_F(RelationshipTranslation, DeepAndWideQuestionsAreAnswered) {
  auto person = insert("Person", {{"name", "a"}, {"level", 1}});
  person->setValueForKey(person, "mentor");
  person->mutableSetValueForKey("friends")->addObject(person);
  save();
  const auto isFound = [&](const Ref<NSPredicate>& predicate) {
    return fetch(request("Person", predicate))->count() == 1;
  };
  Ref<NSPredicate> negated = NSPredicate::predicateWithFormat("level == 1");
  for (int i = 1; i <= 440; ++i) {
    negated = NSCompoundPredicate::notPredicateWithSubpredicate(negated);
    if (i > 100 && i % 20 != 0) continue;
    EXPECT_EQ(isFound(negated), i % 2 == 0) << i;
  }
  std::string either = "level == 1", nested = "level == 1", members = "ANY friends.name == 'a'";
  for (int i = 1; i < 30; ++i) {
    either = "(level == 0 OR (level == 1 AND " + either + "))";
    EXPECT_TRUE(isFound(NSPredicate::predicateWithFormat(either))) << i;
    const std::string variable = "$v" + std::to_string(i);
    nested = "SUBQUERY(friends, " + variable + ", " + variable + ".level == 1 AND NOT NOT " +
             nested + ").@count > 0";
    EXPECT_TRUE(isFound(NSPredicate::predicateWithFormat(nested))) << i;
    members = "SUBQUERY(mentor.friends, " + variable + ", NOT (level == 5 OR NOT " + members +
              ")).@count BETWEEN {1, 1}";
    EXPECT_TRUE(isFound(NSPredicate::predicateWithFormat(members))) << i;
  }
  std::string path = "mentor";
  for (int i = 1; i < 150; ++i) {
    EXPECT_TRUE(isFound(NSPredicate::predicateWithFormat(path + ".name == 'a'"))) << i;
    path += ".mentor";
  }
  EXPECT_TRUE(isFound(NSPredicate::predicateWithFormat("ANY friends." + path + ".name == 'a'")));
  std::string many = "friends";
  for (int i = 1; i < 90; ++i, many += ".friends") {
    if (i % 8 != 3) continue;
    EXPECT_TRUE(isFound(NSPredicate::predicateWithFormat("ANY " + many + ".name == 'a'"))) << i;
    EXPECT_TRUE(isFound(NSPredicate::predicateWithFormat(many + ".@count == 1"))) << i;
  }
}

TEST_F(RelationshipTranslation, MoreTablesThanSQLiteJoinsAreLeftToMemory) {
  auto first = insert("Person", {{"name", "a"}, {"level", 1}});
  first->setValueForKey(first, "mentor");
  save();
  std::string path = "mentor", wide = "level == 1";
  for (int i = 0; i < 100; ++i) {
    wide += " AND " + path + ".name == 'a'";
    path += ".mentor";
  }
  EXPECT_EQ(fetch(request("Person", NSPredicate::predicateWithFormat(wide)))->count(), 1u);
  EXPECT_NE(remains("Person", wide), "");
  EXPECT_EQ(remains("Person", wide).find("level"), std::string::npos);
}

}  // namespace

// ---- Records that are led to, but gone ----------------------------------------------------------

using RelationshipPredicates = CompanyTest;
FOR_EVERY_STORE(RelationshipPredicates);

TEST_P(RelationshipPredicates, ARecordThatHasGoneCountsAsNone) {
  auto gone = make("Person", "gone"), left = make("Person", "left"), other = make("Person", "none");
  left->setValueForKey(gone, "mentor");
  relate(other, "friends", {left});
  save();
  const Ref<NSManagedObjectID> goneID = gone->objectID();
  context->deleteObject(gone);
  save();
  const auto names = [&](const char* format, const Value& argument = nullptr) {
    auto wanted =
        request("Person", NSPredicate::predicateWithFormat(format, argument), {by("name")});
    return fetched(wanted, "name");
  };
  context = newContext();
  EXPECT_EQ(names("mentor == nil"), "left none");
  EXPECT_EQ(names("mentor != nil"), "");
  EXPECT_EQ(names("mentor == %@", goneID), "");
  EXPECT_EQ(names("mentor.name == nil"), "left none");
  EXPECT_EQ(names("mentor.friends.@count == 0"), "") << "nobody's friends are not counted";
  EXPECT_EQ(names("SUBQUERY(mentor.friends, $f, YES == YES).@count == 0"), "left none");
  EXPECT_EQ(names("ANY friends.mentor == nil"), "left none") << "they are friends of each other";
  EXPECT_EQ(names("mentor.friends == nil"), "left none");
}

// ---- Names that look like SQL -------------------------------------------------------------------

namespace {

using std::string_literals::operator""s;

/// Where a name could end the text that it stands in.
const std::string hostileNames[] = {"x\"; DROP TABLE object_Person; --"s,
                                    "a\" OR 1=1 --"s,
                                    "b' OR '1'='1"s,
                                    "t1"s,
                                    "rowid"s,
                                    "_PK"s,
                                    "c`];?1 /*"s,
                                    "near"s};

class HostileNames : public StoreTest {
 protected:
  void SetUp() override {
    std::vector<Value> entities;
    for (const std::string& name : hostileNames) {
      auto entity = entityNamed(name.c_str(), {attributeNamed("label", NSStringAttributeType)});
      std::vector<Value> properties;
      for (const auto& property : entity->ownProperties()) properties.emplace_back(property);
      for (const std::string& key : hostileNames) {
        properties.emplace_back(attributeNamed((key + " text").c_str(), NSStringAttributeType));
        auto one = relationshipNamed((key + " one").c_str(), entity);
        auto many = relationshipNamed((key + " many").c_str(), entity, {.toMany = true});
        pairUp(one, many);
        properties.emplace_back(one);
        properties.emplace_back(many);
        properties.emplace_back(
            relationshipNamed((key + " pairs").c_str(), entity, {.toMany = true}));
      }
      entity->setProperties(NSArray::arrayWithValues(std::move(properties)));
      entities.emplace_back(entity);
    }
    entities.emplace_back(entityNamed("Person", {attributeNamed("name", NSStringAttributeType)}));
    auto made = NSManagedObjectModel::init();
    made->setEntities(NSArray::arrayWithValues(std::move(entities)));
    open(NSSQLiteStoreType, made);
  }
};

TEST_F(HostileNames, NamesAndValuesOfAnyTextAreOnlyThat) {
  insert("Person", {{"name", "kept"}});
  for (const std::string& name : hostileNames) {
    auto one = insert(name.c_str(), {{"label", "one"}});
    auto two = insert(name.c_str(), {{"label", "two"}});
    for (const std::string& key : hostileNames) {
      one->setValueForKey(key, key + " text");
      one->setValueForKey(two, key + " one");
      one->mutableSetValueForKey(key + " pairs")->addObject(two);
    }
  }
  save();
  const auto labels = [&](const std::string& entity, const Ref<NSPredicate>& predicate,
                          std::vector<Value> order = {}) {
    StoreQuery query;
    query.entity = model->entityWithName(entity).get();
    query.predicate = predicate;
    EXPECT_FALSE(store->planQuery(query).remainingPredicate)
        << predicate->predicateFormat()->utf8();
    context = newContext();
    return fetched(request(entity.c_str(), predicate, std::move(order)), "label");
  };
  for (const std::string& entity : hostileNames) {
    for (const std::string& key : hostileNames) {
      SCOPED_TRACE(entity + ": " + key);
      const auto format = [&](const char* text, const auto&... arguments) {
        return NSPredicate::predicateWithFormat(text, arguments...);
      };
      const std::string text = key + " text", one = key + " one", many = key + " many",
                        pairs = key + " pairs";
      EXPECT_EQ(labels(entity, format("%K == %@", text, key)), "one");
      EXPECT_EQ(labels(entity, format("%K.label == 'two'", one)), "one");
      EXPECT_EQ(labels(entity, format("%K == nil", one)), "two");
      EXPECT_EQ(labels(entity, format("ANY %K == %@", many + "." + text, key)), "two");
      EXPECT_EQ(labels(entity, format("ANY %K IN {'two', %@}", pairs + ".label", key)), "one");
      EXPECT_EQ(labels(entity, format("ALL %K == %@", pairs + "." + text, key)), "two");
      EXPECT_EQ(labels(entity, format("%K == 1", pairs + ".@count")), "one");
      EXPECT_EQ(labels(entity, format("%K == %@", many + ".@max." + text, key)), "two");
      const auto member = NSExpression::expressionForKeyPathOfOperand(
          text, NSExpression::expressionForVariable(key));
      const auto inner =
          NSComparisonPredicate::predicateWithLeftExpressionRightExpressionModifierTypeOptions(
              member, NSExpression::expressionForConstantValue(key), NSDirectPredicateModifier,
              NSEqualToPredicateOperatorType);
      const auto subquery = NSExpression::expressionForSubqueryUsingIteratorVariablePredicate(
          NSExpression::expressionForKeyPath(many), key, inner);
      const auto outer =
          NSComparisonPredicate::predicateWithLeftExpressionRightExpressionModifierTypeOptions(
              NSExpression::expressionForKeyPathOfOperand("@count", subquery),
              NSExpression::expressionForConstantValue(1), NSDirectPredicateModifier,
              NSEqualToPredicateOperatorType);
      EXPECT_EQ(labels(entity, outer), "two");
      EXPECT_EQ(labels(entity, format("TRUEPREDICATE"),
                       {NSSortDescriptor::sortDescriptorWithKeyAscending(one + ".label", false)}),
                "one two");
    }
  }
  EXPECT_EQ(fetched(request("Person"), "name"), "kept");
}

}  // namespace
}  // namespace JNFoundation
