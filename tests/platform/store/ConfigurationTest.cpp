#include <gtest/gtest.h>

#include "tests/platform/store/RelationshipFixture.h"

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

namespace JNFoundation {
namespace {

/// Two stores of one coordinator: "People" takes persons and desks, "Rest" the others.
class Configuration : public StoreTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override {
    model = companyModel();
    const auto list = [&](std::vector<const char*> names) {
      std::vector<Value> entities;
      for (const char* name : names) entities.emplace_back(model->entityWithName(name));
      return NSArray::arrayWithValues(std::move(entities));
    };
    model->setEntitiesForConfiguration(list({"Person", "Desk"}), "People");
    model->setEntitiesForConfiguration(list({"Department", "Skill", "Task", "Badge"}), "Rest");
    coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
    rest = add("Rest", "rest.sqlite");
    people = add("People", "people.sqlite");
    context = newContext();
  }

  Ref<NSPersistentStore> add(const char* configuration, const char* file) {
    Ref<NSError> error;
    auto added = coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
        GetParam(), configuration, NSURL::fileURLWithPath(directory.file(file)), nullptr, &error);
    EXPECT_TRUE(added) << text(error);
    return added;
  }

  Ref<NSPersistentStore> people;
  Ref<NSPersistentStore> rest;
};
FOR_EVERY_STORE(Configuration);

TEST_P(Configuration, ObjectsGoWhereTheirEntityIsNamed) {
  auto ann = insert("Person", {{"name", "Ann"}}), boss = insert("Manager", {{"name", "Boss"}});
  auto sales = insert("Department", {{"name", "Sales"}});
  save();
  EXPECT_EQ(ann->objectID()->persistentStore(), people);
  EXPECT_EQ(boss->objectID()->persistentStore(), people);
  EXPECT_EQ(sales->objectID()->persistentStore(), rest);
  context->reset();
  EXPECT_EQ(fetched(request("Person", nullptr, {by("name")}), "name"), "Ann Boss");
  EXPECT_EQ(fetched(request("Department"), "name"), "Sales");
}

TEST_P(Configuration, ARelationshipBetweenStoresIsRefusedAndNothingIsSaved) {
  auto ann = insert("Person", {{"name", "Ann"}}), sales = insert("Department", {{"name", "Sales"}});
  ann->setValueForKey(sales, "department");
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code(), NSManagedObjectExternalRelationshipError);
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Department")), 0u);
  EXPECT_TRUE(ann->objectID()->isTemporaryID());
  ann->setValueForKey(nullptr, "department");
  save();
}

TEST_P(Configuration, AnEntityThatNoStoreTakesCannotBeSaved) {
  ASSERT_TRUE(coordinator->removePersistentStoreError(rest));
  insert("Department", {{"name", "Sales"}});
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  ASSERT_TRUE(error);
  EXPECT_NE(error->localizedDescription()->utf8().find("Department"), std::string_view::npos);
}

TEST_P(Configuration, AnUnknownNameIsAnError) {
  Ref<NSError> error;
  EXPECT_FALSE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      GetParam(), "Nobody", NSURL::fileURLWithPath(directory.file("x.sqlite")), nullptr, &error));
  ASSERT_TRUE(error);
  EXPECT_NE(error->localizedDescription()->utf8().find("Nobody"), std::string_view::npos);
  EXPECT_FALSE(std::filesystem::exists(directory.file("x.sqlite")));
}

}  // namespace
}  // namespace JNFoundation
