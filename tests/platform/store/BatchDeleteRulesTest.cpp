#include "RelationshipFixture.h"
#include "tests/platform/text/Randomness.h"

#include <JNFoundation/platform/store/NSBatchDeleteRequest.h>
#include <JNFoundation/platform/store/NSBatchDeleteResult.h>

namespace JNFoundation {
namespace {

/// What a batch delete does to those that led to what goes: the company in either kind of store.
class BatchDeleteRulesTest : public CompanyTest {
 protected:
  Value execute(const Ref<NSBatchDeleteRequest>& request) {
    Ref<NSError> error;
    request->setResultType(NSBatchDeleteResultTypeCount);
    const Value result = context->executeRequestError(request, &error);
    EXPECT_FALSE(result.isNull()) << text(error);
    if (result.isNull()) return result;
    return as<NSBatchDeleteResult>(result)->result();
  }

  Value deleteAll(const char* entity, const char* format = "TRUEPREDICATE") {
    return execute(NSBatchDeleteRequest::initWithFetchRequest(
        request(entity, NSPredicate::predicateWithFormat(format))));
  }

  NSInteger codeOf(const Ref<NSBatchDeleteRequest>& request) {
    Ref<NSError> error;
    EXPECT_TRUE(context->executeRequestError(request, &error).isNull());
    return error ? error->code() : 0;
  }

  Ref<NSManagedObject> fresh(const Ref<NSManagedObjectContext>& other,
                             const Ref<NSManagedObject>& object) {
    return other->existingObjectWithIDError(object->objectID());
  }

  /// Which of the objects are there in a context, and whom they lead to by number.
  static std::string told(const Ref<NSManagedObjectContext>& context,
                          const std::vector<Ref<NSManagedObject>>& objects) {
    const auto numberOf = [](const Value& value) {
      return std::to_string(as<NSManagedObject>(value)->objectID()->number()) + " ";
    };
    std::string all;
    for (const Ref<NSManagedObject>& one : objects) {
      const auto object = context->existingObjectWithIDError(one->objectID());
      all += object && !object->isDeleted() ? "there: " : "gone";
      if (!object || object->isDeleted()) continue;
      for (const auto& pair : object->entity()->relationshipsByName()) {
        const auto* relationship = as<NSRelationshipDescription>(pair.value);
        // Nobody clears what has no way back.
        if (!relationship->inverseRelationship()) continue;
        const Value ends = object->valueForKey(relationship->name());
        std::vector<std::string> numbers;
        if (const auto* set = as<NSSet>(ends)) {
          for (const Value& end : *set) numbers.push_back(numberOf(end));
          std::sort(numbers.begin(), numbers.end());
        } else if (const auto* ordered = as<NSOrderedSet>(ends)) {
          for (const Value& end : *ordered) numbers.push_back(numberOf(end));
        } else if (!ends.isNull()) {
          numbers.push_back(numberOf(ends));
        }
        all += relationship->name()->toStdString() + " ";
        for (const std::string& number : numbers) all += number;
      }
      all += "\n";
    }
    return all;
  }

  void expectSound() {
    const Ref<NSArray> errors = coordinator->integrityErrorsOfPersistentStoreError(store);
    ASSERT_TRUE(errors);
    EXPECT_EQ(errors->count(), 0u) << errors->description()->utf8();
  }
};
FOR_EVERY_STORE(BatchDeleteRulesTest);

TEST_P(BatchDeleteRulesTest, WhoNamedARecordThatGoesNamesNobody) {
  auto research = make("Department", "research");
  auto ann = make("Person", "Ann"), ben = make("Manager", "Ben");
  ann->setValueForKey(Value(research), "department");
  ben->setValueForKey(Value(research), "department");
  auto desk = make("Desk", "d");
  ann->setValueForKey(Value(desk), "desk");
  save();
  EXPECT_EQ(deleteAll("Department"), Value(1));
  EXPECT_EQ(deleteAll("Desk"), Value(1));
  auto other = newContext();
  EXPECT_TRUE(fresh(other, ann)->valueForKey("department").isNull());
  EXPECT_TRUE(fresh(other, ben)->valueForKey("department").isNull());
  EXPECT_TRUE(fresh(other, ann)->valueForKey("desk").isNull());
  expectSound();
  ann->setValueForKey("Ann 2", "name");
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error)) << "its record has changed";
  EXPECT_EQ(error->code(), 133020);
}

TEST_P(BatchDeleteRulesTest, PairsGoWithTheRecords) {
  auto ann = make("Person", "Ann"), ben = make("Person", "Ben");
  auto reading = make("Skill", "reading"), writing = make("Skill", "writing");
  for (const auto& person : {ann, ben}) {
    for (const auto& skill : {reading, writing}) {
      person->mutableSetValueForKey("skills")->addObject(Value(skill));
    }
  }
  ann->mutableSetValueForKey("friends")->addObject(Value(ben));
  ann->mutableSetValueForKey("favourites")->addObject(Value(reading));
  ben->setValueForKey(Value(ann), "mentor");
  save();
  EXPECT_EQ(deleteAll("Skill", "name == 'reading'"), Value(1));
  auto other = newContext();
  EXPECT_EQ(names(fresh(other, ann), "skills"), "writing");
  EXPECT_EQ(names(fresh(other, ann), "favourites"), "");
  EXPECT_EQ(deleteAll("Person", "name == 'Ann'"), Value(1));
  other = newContext();
  EXPECT_EQ(names(fresh(other, ben), "friends"), "");
  EXPECT_EQ(names(fresh(other, writing), "people"), "Ben");
  expectSound();
}

TEST_P(BatchDeleteRulesTest, WhatARecordCascadesToGoesAlong) {
  auto research = make("Department", "research"), sales = make("Department", "sales");
  auto ann = make("Person", "Ann");
  for (int i = 0; i < 1300; ++i) {
    auto task = make("Task", "t");
    task->setValueForKey(Value(i < 1200 ? research : sales), "department");
    if (i % 100 == 0) task->mutableOrderedSetValueForKey("followers")->addObject(Value(ann));
  }
  save();
  EXPECT_EQ(deleteAll("Department", "name == 'research'"), Value(1201));
  auto other = newContext();
  EXPECT_EQ(other->countForFetchRequestError(request("Task")), 100u);
  const Value followed = fresh(other, ann)->valueForKey("followed");
  EXPECT_EQ(as<NSSet>(followed)->count(), 1u);
  expectSound();
}

TEST_P(BatchDeleteRulesTest, ARecordThatDeniesKeepsEverything) {
  auto research = make("Department", "research"), sales = make("Department", "sales");
  auto badge = make("Badge", "b");
  badge->setValueForKey(Value(research), "department");
  auto task = make("Task", "t");
  task->setValueForKey(Value(sales), "department");
  save();
  auto all = NSBatchDeleteRequest::initWithFetchRequest(request("Department"));
  EXPECT_EQ(codeOf(all), 1600);
  auto other = newContext();
  EXPECT_EQ(other->countForFetchRequestError(request("Department")), 2u);
  EXPECT_EQ(other->countForFetchRequestError(request("Task")), 1u);
  EXPECT_EQ(names(fresh(other, sales), "tasks"), "t");
  EXPECT_EQ(deleteAll("Badge"), Value(1));
  EXPECT_EQ(deleteAll("Department"), Value(3));
}

TEST_P(BatchDeleteRulesTest, IdentifiersOfSeveralEntitiesGoTogether) {
  auto research = make("Department", "research");
  auto badge = make("Badge", "b");
  badge->setValueForKey(Value(research), "department");
  save();
  EXPECT_EQ(execute(NSBatchDeleteRequest::initWithObjectIDs(
                NSArray::arrayWithObjects(Value(research->objectID()), Value(badge->objectID())))),
            Value(2))
      << "what it denies for goes along";
}

/// A required relationship, a chain that cascades, and one that cascades back.
class BatchDeleteChainTest : public BatchDeleteRulesTest {
 protected:
  void SetUp() override {
    auto node = entityNamed("Node", {attributeNamed("name", NSStringAttributeType)});
    auto leaf = entityNamed("Leaf", {});
    auto next = relationshipNamed("next", node, {.rule = NSCascadeDeleteRule});
    auto previous = relationshipNamed("previous", node);
    pairUp(next, previous);
    auto leaves = relationshipNamed("leaves", leaf, {.toMany = true});
    auto owner = relationshipNamed("owner", node, {.optional = false});
    pairUp(leaves, owner);
    node->setProperties(NSArray::arrayWithObjects(attributeNamed("name", NSStringAttributeType),
                                                  next, previous, leaves));
    leaf->setProperties(NSArray::arrayWithObjects(owner));
    auto model = NSManagedObjectModel::init();
    model->setEntities(NSArray::arrayWithObjects(node, leaf));
    open(GetParam(), model);
  }
};
FOR_EVERY_STORE(BatchDeleteChainTest);

TEST_P(BatchDeleteChainTest, ALongChainGoesAsAWholeAndSoDoesARing) {
  Ref<NSManagedObject> last;
  for (int i = 0; i < 3000; ++i) {
    auto node = insert("Node", {{"name", i == 0 ? "first" : "n"}});
    if (last) last->setValueForKey(Value(node), "next");
    last = node;
  }
  save();
  EXPECT_EQ(deleteAll("Node", "name == 'first'"), Value(3000));
  auto one = insert("Node", {{"name", "one"}}), two = insert("Node", {{"name", "two"}});
  one->setValueForKey(Value(two), "next");
  two->setValueForKey(Value(one), "next");
  save();
  EXPECT_EQ(deleteAll("Node", "name == 'one'"), Value(2));
  expectSound();
}

TEST_P(BatchDeleteChainTest, ARequiredRelationshipIsNotEmptied) {
  auto node = insert("Node", {{"name", "n"}});
  auto leaf = insert("Leaf", {{"owner", Value(node)}});
  save();
  EXPECT_EQ(codeOf(NSBatchDeleteRequest::initWithFetchRequest(request("Node"))), 1570);
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Node")), 1u);
  EXPECT_EQ(execute(NSBatchDeleteRequest::initWithObjectIDs(
                NSArray::arrayWithObjects(Value(node->objectID()), Value(leaf->objectID())))),
            Value(2));
}

TEST_P(BatchDeleteRulesTest, ItLeavesWhatASaveWouldLeave) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int round = testing::rounds(20, 500); round > 0; --round) {
    std::vector<Ref<NSManagedObject>> people, departments, tasks, skills;
    for (int i = 0; i < 6; ++i) people.push_back(make(random.below(3) ? "Person" : "Manager", "p"));
    for (int i = 0; i < 3; ++i) departments.push_back(make("Department", "d"));
    for (int i = 0; i < 5; ++i) tasks.push_back(make("Task", "t"));
    for (int i = 0; i < 3; ++i) skills.push_back(make("Skill", "s"));
    const auto any = [&](const auto& list) { return Value(list[random.below(list.size())]); };
    for (const auto& person : people) {
      if (random.below(2)) person->setValueForKey(any(departments), "department");
      if (random.below(2)) person->setValueForKey(any(people), "mentor");
      if (random.below(2)) person->setValueForKey(Value(make("Desk", "k")), "desk");
      person->mutableSetValueForKey("skills")->addObject(any(skills));
      person->mutableSetValueForKey("friends")->addObject(any(people));
      person->mutableSetValueForKey("favourites")->addObject(any(skills));
    }
    for (const auto& task : tasks) {
      if (random.below(3)) task->setValueForKey(any(departments), "department");
      task->mutableOrderedSetValueForKey("followers")->addObject(any(people));
    }
    save();
    std::vector<Ref<NSManagedObject>> all;
    for (const auto* list : {&people, &departments, &tasks, &skills}) {
      all.insert(all.end(), list->begin(), list->end());
    }
    std::vector<Value> chosen;
    for (const auto& object : all) {
      if (random.below(4) == 0) chosen.emplace_back(object->objectID());
    }
    // What a context would have after deleting them, told from its objects and taken back.
    for (const Value& identifier : chosen) {
      context->deleteObject(
          context->objectWithID(Ref<NSManagedObjectID>(as<NSManagedObjectID>(identifier))));
    }
    context->processPendingChanges();
    const std::string expected = told(context, all);
    context->rollback();
    context->reset();
    execute(NSBatchDeleteRequest::initWithObjectIDs(NSArray::arrayWithValues(chosen)));
    ASSERT_EQ(told(newContext(), all), expected);
    expectSound();
    deleteAll("Person");
    deleteAll("Department");
    deleteAll("Task");
    deleteAll("Skill");
    deleteAll("Desk");
    context->reset();
  }
}

}  // namespace
}  // namespace JNFoundation
