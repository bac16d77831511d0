#include <gtest/gtest.h>

#include "tests/platform/store/FaultVfs.h"
#include "tests/platform/store/RelationshipFixture.h"

#include <JNFoundation/platform/store/NSManagedObject.h>

namespace JNFoundation {
namespace {

/// The company on a disk that fails on demand.
class RelationshipsOnAFullDisk : public CompanyTest {
 protected:
  void TearDown() override {
    // The disk goes before the fixture, and no file may be open then.
    others.clear();
    context = nullptr;
    store = nullptr;
    coordinator = nullptr;
  }

  testing::FaultVfs disk;
};
INSTANTIATE_TEST_SUITE_P(Stores, RelationshipsOnAFullDisk, ::testing::Values(NSSQLiteStoreType),
                         nameOfStore);

TEST_P(RelationshipsOnAFullDisk, StayAsTheyAreUntilThereIsRoom) {
  auto sales = make("Department", "Sales"), research = make("Department", "Research");
  auto ann = make("Person", "Ann"), bob = make("Person", "Bob");
  auto task = make("Task", "task"), second = make("Task", "second");
  ann->setValueForKey(sales, "department");
  sales->setValueForKey(NSOrderedSet::orderedSetWithObjects(task, second), "tasks");
  task->setValueForKey(NSOrderedSet::orderedSetWithObjects(ann, bob), "followers");
  save();
  ann->setValueForKey(research, "department");
  auto fresh = make("Task", "fresh");
  sales->mutableOrderedSetValueForKey("tasks")->insertObjectAtIndex(fresh, 0);
  task->setValueForKey(NSOrderedSet::orderedSetWithObjects(bob, ann), "followers");
  bob->setValueForKey(ann, "mentor");
  context->deleteObject(second);
  for (int i = 0; i < 100; ++i) make("Person", "extra")->setValueForKey(research, "department");
  for (const std::uint64_t room : {0, 5'000, 20'000}) {
    SCOPED_TRACE(room);
    disk.setRoom(room);
    Ref<NSError> error;
    ASSERT_FALSE(context->save(&error));
    EXPECT_EQ(error->code(), NSPersistentStoreSaveError) << text(error);
    disk.setRoom(std::uint64_t{1} << 40);
    EXPECT_TRUE(fresh->objectID()->isTemporaryID());
    EXPECT_TRUE(second->isDeleted());
    EXPECT_EQ(names(sales, "tasks"), "fresh task");
    EXPECT_EQ(names(task, "followers"), "Bob Ann");
    EXPECT_EQ(one(bob, "mentor"), ann);
    EXPECT_EQ(names(anew("Department", "Sales"), "tasks"), "task second");
    EXPECT_EQ(names(anew("Task", "task"), "followers"), "Ann Bob");
    EXPECT_EQ(names(anew("Department", "Sales"), "people"), "Ann");
  }
  save();
  EXPECT_EQ(names(anew("Department", "Sales"), "tasks"), "fresh task");
  EXPECT_EQ(names(anew("Task", "task"), "followers"), "Bob Ann");
  EXPECT_EQ(names(anew("Department", "Sales"), "people"), "");
  EXPECT_EQ(names(anew("Person", "Bob"), "mentor"), "Ann");
}

/// Departments and tasks in one store, everybody else in another one.
class RelationshipsBetweenStores : public CompanyTest {
 protected:
  void SetUp() override {
    model = companyModel();
    const auto all = model->entitiesByName();
    const auto list = [&](std::vector<const char*> names) {
      std::vector<Value> entities;
      for (const char* name : names) entities.push_back(all->objectForKey(name));
      return NSArray::arrayWithValues(std::move(entities));
    };
    model->setEntitiesForConfiguration(list({"Department", "Task"}), "work");
    model->setEntitiesForConfiguration(list({"Person", "Manager", "Desk", "Skill", "Badge"}),
                                       "people");
    coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
    for (const char* configuration : {"work", "people"}) {
      Ref<NSError> error;
      ASSERT_TRUE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          GetParam(), configuration, NSURL::fileURLWithPath(directory.file(configuration)), nullptr,
          &error))
          << text(error);
    }
    context = newContext();
  }
};
FOR_EVERY_STORE(RelationshipsBetweenStores);

TEST_P(RelationshipsBetweenStores, AreRefusedByTheSave) {
  auto sales = make("Department", "Sales"), ann = make("Person", "Ann"),
       bob = make("Person", "Bob");
  auto task = make("Task", "task");
  task->setValueForKey(sales, "department");
  ann->setValueForKey(bob, "mentor");
  save();
  ann->setValueForKey(sales, "department");
  Ref<NSError> error;
  ASSERT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), NSManagedObjectExternalRelationshipError) << text(error);
  EXPECT_EQ(one(ann, "department"), sales);
  ann->setValueForKey(nullptr, "department");
  task->mutableOrderedSetValueForKey("followers")->addObject(ann);
  ASSERT_FALSE(context->save(&error));
  EXPECT_EQ(error->code(), NSManagedObjectExternalRelationshipError) << text(error);
  task->mutableOrderedSetValueForKey("followers")->removeAllObjects();
  ann->setValueForKey("Anna", "name");
  save();
  EXPECT_EQ(names(anew("Department", "Sales"), "tasks"), "task");
  EXPECT_EQ(names(anew("Person", "Anna"), "mentor"), "Bob");
}

}  // namespace
}  // namespace JNFoundation
