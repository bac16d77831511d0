#include <gtest/gtest.h>

#include "tests/platform/store/MigrationFixture.h"

#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

namespace JNFoundation {
namespace {

/// Somebody migrates a file while others have it open with the earlier model.
class MigrationMeanwhile : public MigrationTest {
 protected:
  static std::string earlier() { return entity("Book", attribute("name")); }
  static std::string later() { return entity("Book", attribute("name") + attribute("year")); }

  static Ref<NSManagedObject> add(const Ref<NSManagedObjectContext>& context) {
    return NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Book",
                                                                                      context);
  }
  static NSInteger codeOfSave(const Ref<NSManagedObjectContext>& context) {
    Ref<NSError> error;
    return context->save(&error) ? 0 : error->code();
  }
};

TEST_F(MigrationMeanwhile, WhoHasTheEarlierModelCannotWriteAnyMore) {
  make(earlier(), [](const Context& context) { add(context)->setValueForKey("a", "name"); });
  testing::OpenedStore old(file, modelOf(earlier())), beside(file, modelOf(earlier()));
  ASSERT_TRUE(old && beside);
  for (int i = 0; i < 3; ++i) {
    for (const auto& store : {&old, &beside}) {
      add(store->context)->setValueForKey("b", "name");
      ASSERT_EQ(codeOfSave(store->context), 0) << "others of the same model are welcome";
    }
  }
  // Nobody migrates a file that is open; a store that sleeps has none open.
  for (const auto& store : {&old, &beside}) {
    ASSERT_TRUE(store->context->persistentStoreCoordinator()->suspend());
  }
  {
    testing::OpenedStore migrated(file, modelOf(later()), automatically());
    ASSERT_TRUE(migrated) << text(migrated.error);
    add(migrated.context)->setValueForKey("c", "name");
    ASSERT_EQ(codeOfSave(migrated.context), 0);
    const std::string before = bytes();
    for (const auto& store : {&old, &beside}) {
      for (int attempt = 0; attempt < 2; ++attempt) {
        add(store->context)->setValueForKey("late", "name");
        ASSERT_NE(codeOfSave(store->context), 0);
      }
    }
    EXPECT_EQ(bytes() == before, true);
    add(migrated.context)->setValueForKey("d", "name");
    EXPECT_EQ(codeOfSave(migrated.context), 0) << "nothing is left open";
  }
  EXPECT_EQ(testing::damageOf(file), "");
}

// While a migration goes on, the file reads as it was before.
TEST_F(MigrationMeanwhile, WhoOpensItWithTheEarlierModelDuringTheMigrationCannotWriteAfterIt) {
  make(earlier(), [](const Context& context) { add(context)->setValueForKey("a", "name"); });
  testing::OpenedStore late;
  auto plan = NSMigrationPlan::init();
  plan->setProgress([&](std::uint64_t, std::uint64_t, const Ref<NSString>&) {
    if (!late) late = testing::OpenedStore(file, modelOf(earlier()));
    return true;
  });
  testing::OpenedStore migrated(file, modelOf(later()), automatically(plan));
  ASSERT_TRUE(migrated) << text(migrated.error);
  ASSERT_TRUE(late) << text(late.error);
  const std::string before = bytes();
  add(late.context)->setValueForKey("late", "name");
  for (int attempt = 0; attempt < 2; ++attempt) {
    EXPECT_EQ(codeOfSave(late.context), NSPersistentStoreIncompatibleVersionHashError);
  }
  EXPECT_EQ(bytes() == before, true);
  add(migrated.context)->setValueForKey("b", "year");
  EXPECT_EQ(codeOfSave(migrated.context), 0) << "nothing is left open";
  EXPECT_EQ(codeOfSave(late.context), NSPersistentStoreIncompatibleVersionHashError);
}

}  // namespace
}  // namespace JNFoundation
