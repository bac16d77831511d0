#include <gtest/gtest.h>

#include "tests/platform/store/RelationshipFixture.h"
#include "tests/platform/text/Randomness.h"

#include <JNFoundation/platform/store/NSManagedObject.h>

namespace JNFoundation {
namespace {

/// Relationships that lead to very many objects, and very many that lead to one more each: what
/// took time with the square of the count would not end here, and what nested natively would crash.
class RelationshipSize : public CompanyTest {
 protected:
  const NSUInteger count = static_cast<NSUInteger>(testing::amount(100'000));

  Ref<NSArray> makeMany(const char* entity) {
    std::vector<Value> made;
    made.reserve(count);
    for (NSUInteger i = 0; i < count; ++i) made.emplace_back(insert(entity));
    return NSArray::arrayWithValues(std::move(made));
  }

  static Ref<NSManagedObject> objectAt(const Ref<NSArray>& objects, NSUInteger index) {
    const Value value = objects->objectAtIndex(index);
    return Ref<NSManagedObject>(as<NSManagedObject>(value));
  }

  Ref<NSManagedObject> onlyOne(const char* entity) { return objectAt(fetch(request(entity)), 0); }
};
FOR_EVERY_STORE(RelationshipSize);

TEST_P(RelationshipSize, MembersThatJoinFromTheirOwnEnd) {
  auto sales = make("Department", "Sales");
  const Ref<NSArray> people = makeMany("Person");
  for (const Value& person : people) {
    as<NSManagedObject>(person)->setValueForKey(sales, "department");
  }
  save();
  context->reset();
  sales = onlyOne("Department");
  const Value members = sales->valueForKey("people");
  ASSERT_EQ(as<NSSet>(members)->count(), count);
  for (const Value& person : *as<NSSet>(members)) {
    ASSERT_EQ(as<NSManagedObject>(person)->valueForKey("department"), Value(sales));
  }
  context->deleteObject(sales);
  save();
  EXPECT_FALSE(one(onlyOne("Person"), "department"));
  EXPECT_EQ(newContext()->countForFetchRequestError(
                request("Person", NSPredicate::predicateWithFormat("department == nil"))),
            count);
}

TEST_P(RelationshipSize, MembersThatJoinThroughALiveSetAndLeaveOneByOne) {
  auto sql = make("Skill", "sql");
  const Ref<NSArray> people = makeMany("Person");
  auto live = sql->mutableSetValueForKey("people");
  for (const Value& person : people) {
    live->addObject(person);
    ASSERT_GT(live->count(), 0u);
  }
  save();
  ASSERT_EQ(live->count(), count);
  for (NSUInteger i = 0; i < count; i += 2) live->removeObject(people->objectAtIndex(i));
  save();
  context->reset();
  const Value left = onlyOne("Skill")->valueForKey("people");
  EXPECT_EQ(as<NSSet>(left)->count(), count / 2);
  context->deleteObject(onlyOne("Skill"));
  save();
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Skill")), 0u);
}

TEST_P(RelationshipSize, MembersInOrderThatJoinAtTheEndAndLeaveFromBothEnds) {
  auto sales = make("Department", "Sales");
  const Ref<NSArray> tasks = makeMany("Task");
  auto live = sales->mutableOrderedSetValueForKey("tasks");
  for (const Value& task : tasks) live->addObject(task);
  ASSERT_EQ(live->count(), count);
  save();
  EXPECT_EQ(live->objectAtIndex(count / 2), tasks->objectAtIndex(count / 2));
  for (NSUInteger i = 0; i < count / 4; ++i) {
    live->removeObjectAtIndex(0);
    live->removeObjectAtIndex(live->count() - 1);
  }
  save();
  EXPECT_EQ(live->count(), count / 2);
  EXPECT_EQ(live->firstObject(), tasks->objectAtIndex(count / 4));
  live->exchangeObjectAtIndexWithObjectAtIndex(0, 1);
  save();
  EXPECT_EQ(live->firstObject(), tasks->objectAtIndex(count / 4 + 1));
  context->deleteObject(sales);
  save();
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Task")), count / 2);
}

TEST_P(RelationshipSize, AWholeSetIsReplacedByAnother) {
  auto task = make("Task", "task");
  const Ref<NSArray> people = makeMany("Person");
  task->setValueForKey(NSOrderedSet::orderedSetWithArray(people), "followers");
  save();
  std::vector<Value> turned;
  for (NSUInteger i = count; i-- > 0;) turned.push_back(people->objectAtIndex(i));
  task->setValueForKey(NSOrderedSet::orderedSetWithValues(turned), "followers");
  save();
  context->reset();
  const Value followers = onlyOne("Task")->valueForKey("followers");
  ASSERT_EQ(as<NSOrderedSet>(followers)->count(), count);
  const Value first = as<NSOrderedSet>(followers)->firstObject();
  EXPECT_EQ(Value(as<NSManagedObject>(first)->objectID()),
            Value(objectAt(people, count - 1)->objectID()))
      << "objects of a context that was reset keep their identifiers";
}

/// Link (next, which goes along ⇄ previous).
class Chain : public StoreTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    auto link = entityNamed("Link", {});
    auto next = relationshipNamed("next", link, {.rule = NSCascadeDeleteRule});
    auto previous = relationshipNamed("previous", link);
    pairUp(next, previous);
    link->setProperties(NSArray::arrayWithObjects(next, previous));
    auto chains = NSManagedObjectModel::init();
    chains->setEntities(NSArray::arrayWithObject(link));
    open(GetParam(), chains);
  }

  Ref<NSManagedObject> makeChain(int length) {
    Ref<NSManagedObject> first = insert("Link"), last = first;
    for (int i = 1; i < length; ++i) {
      auto next = insert("Link");
      last->setValueForKey(next, "next");
      last = next;
    }
    return first;
  }
};
FOR_EVERY_STORE(Chain);

TEST_P(Chain, IsForgottenLinkByLinkWhenItWasNeverSaved) {
  auto first = makeChain(testing::rounds(100'000, 1'000'000));
  context->deleteObject(first);
  EXPECT_FALSE(context->hasChanges());
  EXPECT_EQ(context->registeredObjects()->count(), 0u);
}

TEST_P(Chain, IsDeletedLinkByLinkWhenItWasSaved) {
  const int length = testing::rounds(20'000, 200'000);
  auto first = makeChain(length);
  save();
  const auto firstID = first->objectID();
  first = nullptr;
  context->reset();
  context->deleteObject(context->objectWithID(firstID));
  context->processPendingChanges();
  EXPECT_EQ(context->deletedObjects()->count(), static_cast<NSUInteger>(length));
  save();
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Link")), 0u);
}

}  // namespace
}  // namespace JNFoundation
