#include "SalesFixture.h"
#include "tests/platform/value/Raising.h"

namespace JNFoundation {
namespace {

using testing::raisedName;

/// The company, with what is read along with a fetch.
class PrefetchingTest : public CompanyTest {
 protected:
  /// Two departments; five people, two of them without a department.
  void addPeople() {
    auto research = make("Department", "research"), sales = make("Department", "sales");
    std::vector<Ref<NSManagedObject>> people;
    for (const char* name : {"Ann", "Ben", "Cat", "Dan", "Eve"}) {
      people.push_back(make("Person", name));
    }
    for (int i : {0, 1})
      people[static_cast<std::size_t>(i)]->setValueForKey(Value(research), "department");
    people[2]->setValueForKey(Value(sales), "department");
    auto skills = std::vector{make("Skill", "reading"), make("Skill", "writing")};
    for (int i : {0, 1, 2}) {
      people[static_cast<std::size_t>(i)]->mutableSetValueForKey("skills")->addObject(
          Value(skills[0]));
    }
    people[0]->mutableSetValueForKey("skills")->addObject(Value(skills[1]));
    auto desk = make("Desk", "desk");
    people[4]->setValueForKey(Value(desk), "desk");
    for (const char* title : {"z", "y", "x"}) {
      auto task = insert("Task", {{"name", title}});
      research->mutableOrderedSetValueForKey("tasks")->addObject(Value(task));
      task->mutableOrderedSetValueForKey("followers")->addObject(Value(people[3]));
      task->mutableOrderedSetValueForKey("followers")->addObject(Value(people[0]));
    }
    save();
    context->reset();
  }

  static Ref<NSFetchRequest> people(std::vector<Value> keyPaths) {
    auto wanted = request("Person", nullptr, {by("name")});
    wanted->setRelationshipKeyPathsForPrefetching(NSArray::arrayWithValues(std::move(keyPaths)));
    return wanted;
  }
};
FOR_EVERY_STORE(PrefetchingTest);

class PrefetchingInSQL : public PrefetchingTest {};
INSTANTIATE_TEST_SUITE_P(Stores, PrefetchingInSQL, ::testing::Values(NSSQLiteStoreType),
                         nameOfStore);

TEST_P(PrefetchingTest, RelatedObjectsAreTheSameAsWithoutIt) {
  addPeople();
  const auto told = [&](const Ref<NSFetchRequest>& wanted) {
    std::string all;
    const Ref<NSArray> found = fetch(wanted);
    for (const Value& value : found) {
      const Ref<NSManagedObject> person(as<NSManagedObject>(value));
      all += names(person, "skills") + "|" + names(person, "followed") + "|";
      auto department = one(person, "department");
      if (department) all += names(department, "tasks") + "|" + names(department, "people");
      if (auto desk = one(person, "desk")) all += "desk";
      all += "\n";
    }
    return all;
  };
  const std::string plain = told(people({}));
  context->reset();
  EXPECT_EQ(told(people({"department.tasks", "department.people", "skills", "desk", "followed"})),
            plain);
}

TEST_P(PrefetchingInSQL, AStepIsOneStatementForAllOfThem) {
  addPeople();
  Ref<NSArray> found;
  const auto count = [](const auto& work) { return statementsOf(work).size(); };
  EXPECT_EQ(count([&] { found = fetch(people({"department.tasks", "skills", "desk"})); }), 5u);
  EXPECT_EQ(count([&] {
              for (const Value& value : found) {
                const Ref<NSManagedObject> person(as<NSManagedObject>(value));
                names(person, "skills");
                if (auto department = one(person, "department")) names(department, "tasks");
                if (auto desk = one(person, "desk")) desk->valueForKey("name");
              }
            }),
            0u);
  // What is there already is not read again.
  EXPECT_EQ(count([&] { fetch(people({"department.tasks", "skills", "desk"})); }), 1u);
}

TEST_P(PrefetchingTest, OrderedRelationshipsKeepTheirOrder) {
  addPeople();
  auto wanted = request("Department", nullptr, {by("name")});
  wanted->setRelationshipKeyPathsForPrefetching(NSArray::arrayWithObjects("tasks.followers"));
  auto found = fetch(wanted);
  const Value first = found->firstObject();
  const Ref<NSManagedObject> research(as<NSManagedObject>(first));
  EXPECT_EQ(names(research, "tasks"), "z y x");
  const Value tasks = research->valueForKey("tasks");
  const Value task = as<NSOrderedSet>(tasks)->firstObject();
  EXPECT_EQ(names(Ref<NSManagedObject>(as<NSManagedObject>(task)), "followers"), "Dan Ann");
}

TEST_P(PrefetchingTest, UnsavedChangesStayOnTop) {
  addPeople();
  auto found = fetch(request("Person", nullptr, {by("name")}));
  const Value first = found->firstObject();
  const Ref<NSManagedObject> ann(as<NSManagedObject>(first));
  auto fresh = make("Skill", "swimming");
  ann->mutableSetValueForKey("skills")->addObject(Value(fresh));
  ann->setValueForKey(nullptr, "department");
  auto again = fetch(people({"skills", "department"}));
  EXPECT_EQ(again->firstObject(), first);
  EXPECT_EQ(names(ann, "skills"), "reading swimming writing");
  EXPECT_FALSE(one(ann, "department"));
}

TEST_P(PrefetchingTest, OnlyKeyPathsOfRelationshipsCanBePrefetched) {
  addPeople();
  for (const Value& path : {Value("name"), Value("colour"), Value("department.name"), Value(""),
                            Value(7), Value("skills.@count")}) {
    EXPECT_EQ(raisedName([&] { fetch(people({path})); }), NSInvalidArgumentException)
        << path.description()->utf8();
  }
}

TEST_P(PrefetchingTest, WhatWasReadAlongLivesAsLongAsTheResult) {
  addPeople();
  auto found = fetch(people({"department"}));
  EXPECT_EQ(context->registeredObjects()->count(), 7u) << "five people and two departments";
  found = nullptr;
  EXPECT_EQ(context->registeredObjects()->count(), 0u);
}

// ---- Faults -------------------------------------------------------------------------------------

TEST_P(PrefetchingInSQL, AFetchOfFaultsFillsThemAllInOneStatement) {
  constexpr int count = 40'000;
  for (int i = 0; i < count; ++i) make("Desk", "d");
  save();
  context->reset();
  auto identifiers = request("Desk");
  identifiers->setResultType(NSManagedObjectIDResultType);
  std::vector<Value> faults;
  for (const Value& identifier : fetch(identifiers)) {
    faults.emplace_back(
        context->objectWithID(Ref<NSManagedObjectID>(as<NSManagedObjectID>(identifier))));
  }
  ASSERT_EQ(faults.size(), static_cast<std::size_t>(count)) << "more than SQLite takes parameters";
  Ref<NSArray> found;
  auto wanted = request(
      "Desk", NSPredicate::predicateWithFormat("self IN %@", NSArray::arrayWithValues(faults)));
  EXPECT_EQ(statementsOf([&] { found = fetch(wanted); }).size(), 1u);
  EXPECT_EQ(found->count(), faults.size());
  EXPECT_EQ(statementsOf([&] {
              for (const Value& fault : faults) {
                ASSERT_EQ(as<NSManagedObject>(fault)->valueForKey("name"), Value("d"));
              }
            }).size(),
            0u);
}

TEST_P(PrefetchingTest, RefetchedObjectsTakeTheStoresValuesWhereThatIsAskedFor) {
  addPeople();
  auto found = fetch(request("Person", nullptr, {by("name")}));
  const Value first = found->firstObject(), second = found->objectAtIndex(1);
  const Ref<NSManagedObject> ann(as<NSManagedObject>(first)), ben(as<NSManagedObject>(second));
  EXPECT_EQ(ann->valueForKey("name"), Value("Ann"));
  EXPECT_EQ(names(ann, "skills"), "reading writing");
  ben->setValueForKey("Ben here", "name");
  auto other = newContext();
  const auto there = [&](const Ref<NSManagedObject>& object) {
    return other->existingObjectWithIDError(object->objectID());
  };
  there(ann)->setValueForKey("Ann there", "name");
  there(ann)->setValueForKey(NSSet::set(), "skills");
  there(ben)->setValueForKey("Ben there", "name");
  ASSERT_TRUE(other->save());
  fetch(request("Person"));
  EXPECT_EQ(ann->valueForKey("name"), Value("Ann")) << "a fetch alone changes nothing";
  auto wanted = request("Person");
  wanted->setShouldRefreshRefetchedObjects(true);
  fetch(wanted);
  EXPECT_EQ(ann->valueForKey("name"), Value("Ann there"));
  EXPECT_EQ(names(ann, "skills"), "");
  EXPECT_EQ(ben->valueForKey("name"), Value("Ben here")) << "changed here";
  ann->setValueForKey("Ann again", "name");
  context->rollback();
  ann->setValueForKey("Ann again", "name");
  save();
  EXPECT_FALSE(ann->hasChanges()) << "based on the version that was read";
}

TEST_P(PrefetchingTest, AFaultOfSomePropertiesReadsTheRestWhenAskedForIt) {
  addPeople();
  auto wanted = request("Person", nullptr, {by("name")});
  wanted->setPropertiesToFetch(NSArray::arrayWithObjects("name", "department"));
  auto found = fetch(wanted);
  const Value first = found->firstObject();
  const Ref<NSManagedObject> ann(as<NSManagedObject>(first));
  EXPECT_EQ(ann->valueForKey("name"), Value("Ann"));
  EXPECT_EQ(one(ann, "department")->valueForKey("name"), Value("research"));
  EXPECT_TRUE(ann->isFault()) << "what was read costs nothing more";
  EXPECT_FALSE(one(ann, "desk"));
  EXPECT_FALSE(ann->isFault());
  EXPECT_EQ(ann->valueForKey("name"), Value("Ann"));
  const Value second = found->objectAtIndex(1);
  as<NSManagedObject>(second)->setValueForKey("Ben 2", "name");
  save();
  EXPECT_EQ(fetched(request("Person", nullptr, {by("name")}), "name"), "Ann Ben 2 Cat Dan Eve");
  EXPECT_EQ(
      one(Ref<NSManagedObject>(as<NSManagedObject>(second)), "department")->valueForKey("name"),
      Value("research"))
      << "the values that were not fetched are not lost by a save";
  for (const Value& property :
       {Value("skills"), Value("department.name"), Value("colour"), Value(computed("a", "1"))}) {
    wanted->setPropertiesToFetch(NSArray::arrayWithObjects(property));
    EXPECT_EQ(raisedName([&] { fetch(wanted); }), NSInvalidArgumentException);
  }
}

TEST_P(PrefetchingInSQL, AFaultOfSomePropertiesIsReadFromTheirColumns) {
  addPeople();
  auto wanted = request("Person", nullptr, {by("name")});
  wanted->setPropertiesToFetch(NSArray::arrayWithObjects("name"));
  Ref<NSArray> found;
  const auto statements = statementsOf([&] { found = fetch(wanted); });
  ASSERT_EQ(statements.size(), 1u);
  EXPECT_EQ(statements.front(),
            "SELECT _pk, _version, _entity, \"name\" FROM \"object_Person\" ORDER BY "
            "\"object_Person\".\"name\" ASC, \"object_Person\"._pk");
  const Value first = found->firstObject();
  EXPECT_EQ(statementsOf([&] { as<NSManagedObject>(first)->valueForKey("name"); }).size(), 0u);
  EXPECT_EQ(statementsOf([&] { as<NSManagedObject>(first)->valueForKey("desk"); }).size(), 1u);
}

TEST_P(PrefetchingInSQL, ObjectsThatAreNoFaultsAreReadAtOnce) {
  addPeople();
  auto wanted = request("Person");
  wanted->setIncludesPropertyValues(false);
  wanted->setReturnsObjectsAsFaults(false);
  EXPECT_EQ(statementsOf([&] {
              for (const Value& person : fetch(wanted)) {
                ASSERT_FALSE(as<NSManagedObject>(person)->isFault());
              }
            }).size(),
            2u);
}

// ---- Order --------------------------------------------------------------------------------------

TEST_P(PrefetchingTest, AFetchHasOneOrder) {
  std::vector<Ref<NSManagedObject>> desks;
  for (const char* name : {"b", "a", "b", "a"}) desks.push_back(make("Desk", name));
  save();
  auto late = make("Desk", "a"), later = make("Desk", "b"), last = make("Desk", "a");
  desks[2]->setValueForKey("a", "name");
  const auto list = [&](const Ref<NSFetchRequest>& wanted) { return Value(fetch(wanted)); };
  EXPECT_EQ(
      list(request("Desk", nullptr, {by("name")})),
      Value(NSArray::arrayWithObjects(desks[1], desks[2], desks[3], late, last, desks[0], later)));
  EXPECT_EQ(list(request("Desk")), Value(NSArray::arrayWithObjects(desks[0], desks[1], desks[2],
                                                                   desks[3], late, later, last)));
  auto wanted = request("Desk", nullptr, {by("name")});
  wanted->setFetchBatchSize(2);
  EXPECT_EQ(list(wanted), list(request("Desk", nullptr, {by("name")})));
  save();
  EXPECT_EQ(
      list(request("Desk", nullptr, {by("name")})),
      Value(NSArray::arrayWithObjects(desks[1], desks[2], desks[3], late, last, desks[0], later)));
}

}  // namespace
}  // namespace JNFoundation
