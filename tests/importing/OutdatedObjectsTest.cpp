#include "ImportFixture.h"

#include <JNFoundation/platform/store/NSFetchRequest.h>

namespace JNFoundation {
namespace {

using Texts = std::vector<std::string>;

/// Imports into a context that has an object whose record somebody else has changed meanwhile, in
/// either kind of store.
class ImportOverOutdatedObjects : public ImportTest,
                                  public ::testing::WithParamInterface<const char*> {
 protected:
  ImportOverOutdatedObjects() : ImportTest(GetParam()) {
    importText("[{'code': 'A', 'name': 'a', 'population': 1}]");
    object = landIn(context);
    // Its values are read.
    EXPECT_EQ(text(object->valueForKey("code")), "A");
  }

  static Ref<NSManagedObject> landIn(const Ref<NSManagedObjectContext>& context) {
    const Value found =
        context->executeFetchRequestError(NSFetchRequest::fetchRequestWithEntityName("Land"))
            ->objectAtIndex(0);
    return Ref<NSManagedObject>(as<NSManagedObject>(found));
  }

  /// Sets an attribute of the only land in another context, which saves.
  void changeElsewhere(const char* key, const Value& value) const {
    const auto other = newContext();
    landIn(other)->setValueForKey(value, key);
    ASSERT_TRUE(other->save());
  }

  /// The report, or the code of the failure.
  std::string imported(const std::string& feed, ImportOptions options = {}) {
    const auto report = importText(feed, std::move(options));
    EXPECT_FALSE(context->hasChanges());
    return report ? text(report) : "failure " + std::to_string(failureCode());
  }

  Ref<NSManagedObject> object;
};

TEST_P(ImportOverOutdatedObjects, ThatAreReadAgainAreFoundByTheIdentityThatTheyHaveNow) {
  changeElsewhere("code", "B");
  context->refreshAllObjects();
  EXPECT_EQ(imported("[{'code': 'B', 'name': 'b', 'population': 2}]"), "1 updated");
  EXPECT_EQ(lands(), (Texts{"B:b:2"}));
}

TEST_P(ImportOverOutdatedObjects, AContextThatMergesHasNone) {
  context->setAutomaticallyMergesChangesFromParent(true);
  changeElsewhere("code", "B");
  testing::runTurn();
  EXPECT_EQ(imported("[{'code': 'B', 'name': 'b', 'population': 1}]"), "1 updated");
  EXPECT_EQ(lands(), (Texts{"B:b:1"}));
}

TEST_P(ImportOverOutdatedObjects, TheRecordIsFoundByTheIdentityThatItHasNow) {
  changeElsewhere("code", "B");
  EXPECT_EQ(imported("[{'code': 'B', 'name': 'b', 'population': 2}]"), "1 updated");
  EXPECT_EQ(lands(), (Texts{"B:b:2"}));
}

TEST_P(ImportOverOutdatedObjects, TheIdentityThatItHadIsFreeForANewObject) {
  changeElsewhere("code", "B");
  EXPECT_EQ(imported("[{'code': 'A', 'name': 'new', 'population': 3}]"), "1 inserted");
  EXPECT_EQ(lands(), (Texts{"A:new:3", "B:a:1"}));
}

TEST_P(ImportOverOutdatedObjects, BothIdentitiesInOneFeedAreTwoObjects) {
  changeElsewhere("code", "B");
  EXPECT_EQ(imported("[{'code': 'A', 'name': 'new'}, {'code': 'B', 'population': 2}]"),
            "1 inserted, 1 updated");
  EXPECT_EQ(lands(), (Texts{"A:new:-", "B:a:2"}));
}

TEST_P(ImportOverOutdatedObjects, WithoutAConstraintNoSecondObjectIsMade) {
  changeElsewhere("name", "b");
  EXPECT_EQ(
      imported("[{'name': 'b', 'population': 2}]", {.identity = NSArray::arrayWithObject("name")}),
      "1 updated");
  EXPECT_EQ(lands(), (Texts{"A:b:2"}));
}

TEST_P(ImportOverOutdatedObjects, AValueThatOnlyTheContextHasIsWritten) {
  changeElsewhere("population", 7);
  EXPECT_EQ(imported("[{'code': 'A', 'population': 1}]"), "1 updated");
  EXPECT_EQ(lands(), (Texts{"A:a:1"}));
}

TEST_P(ImportOverOutdatedObjects, AValueThatTheStoreHasAlreadyIsNoConflict) {
  changeElsewhere("population", 7);
  EXPECT_EQ(imported("[{'code': 'A', 'population': 7}]"), "1 unchanged");
  EXPECT_EQ(lands(), (Texts{"A:a:7"}));
}

INSTANTIATE_TEST_SUITE_P(EitherStore, ImportOverOutdatedObjects,
                         ::testing::Values(NSInMemoryStoreType, NSSQLiteStoreType),
                         [](const auto& tested) {
                           return std::string(tested.param) == NSSQLiteStoreType ? "SQLite"
                                                                                 : "Memory";
                         });

}  // namespace
}  // namespace JNFoundation
