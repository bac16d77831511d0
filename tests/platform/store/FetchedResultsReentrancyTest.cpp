#include "tests/platform/store/FetchedResultsFixture.h"
#include "tests/platform/value/LiveObjects.h"

#include <JNFoundation/platform/store/NSFetchedResultsController.h>

namespace JNFoundation {
namespace {

/// What a delegate does in its calls.
class FetchedResultsReentrancyTest : public FetchedResultsTest {
 protected:
  void SetUp() override {
    FetchedResultsTest::SetUp();
    for (int i = 0; i < 4; ++i) {
      const char name[] = {static_cast<char>('a' + i), 0};
      all.push_back(item(name, 10 * (i + 1), i < 2 ? "x" : "y"));
    }
    save();
    controller = fetchedOf(items({by("group"), by("rank")}), "group");
    view = ListView::of(controller);
  }

  /// One batch with everything: a section that goes, one that comes, and each kind of object.
  void changeEverything() {
    all[0]->setValueForKey("A", "name");
    context->deleteObject(all[1]);
    all[2]->setValueForKey("z", "group");
    all[3]->setValueForKey("w", "group");
    item("n", 0, "n");
  }

  /// Does it in each of the calls, one after the other.
  void inEachCall(const std::function<void()>& action,
                  const std::function<void(const char* call)>& check) {
    struct Call {
      const char* name;
      std::function<void()> ListView::*place;
    };
    for (const Call& call : {Call{"will", &ListView::onWill}, Call{"section", &ListView::onSection},
                             Call{"object", &ListView::onObject}, Call{"did", &ListView::onDid}}) {
      SCOPED_TRACE(call.name);
      bool isDone = false;
      view.get()->*call.place = [&] {
        if (!std::exchange(isDone, true)) action();
      };
      changeEverything();
      process();
      EXPECT_TRUE(isDone);
      if (view) view.get()->*call.place = nullptr;
      check(call.name);
      if (HasFatalFailure()) return;
      TearDownController();
    }
  }
  void TearDownController() {
    context->rollback();
    process();
    controller = fetchedOf(items({by("group"), by("rank")}), "group");
    view = ListView::of(controller);
  }

  void expectTrueAndFresh() {
    ASSERT_FALSE(view->isInBatch);
    view->expectTrue();
    auto fresh = fetchedOf(controller->fetchRequest(), "group");
    ASSERT_EQ(names(controller), names(fresh));
  }

  std::vector<Ref<NSManagedObject>> all;
  Ref<NSFetchedResultsController> controller;
  Ref<ListView> view;
};

TEST_F(FetchedResultsReentrancyTest, WillComesBeforeAndDidAfterTheListHasChanged) {
  std::string before, after;
  view->onWill = [&] { before = names(controller); };
  view->onDid = [&] { after = names(controller); };
  changeEverything();
  process();
  EXPECT_EQ(before, "x: A b y: c d");
  EXPECT_EQ(after, "n: n w: d x: A z: c");
  view->expectTrue();
}

TEST_F(FetchedResultsReentrancyTest, ChangesInACallAreTheNextBatch) {
  inEachCall(
      [&] {
        item("later", 5, "x");
        all[0]->setValueForKey(99, "rank");
        process();
      },
      [&](const char*) {
        EXPECT_EQ(view->batches, 2);
        expectTrueAndFresh();
      });
}

TEST_F(FetchedResultsReentrancyTest, WhatIsUndoneInWillIsNotTold) {
  auto extra = item("extra", 1, "x");
  save();
  view->told();
  view->onWill = [&] { context->deleteObject(extra); };
  extra->setValueForKey(100, "rank");
  process();
  view->onWill = nullptr;
  expectTrueAndFresh();
  EXPECT_EQ(view->told(), "will, -extra 0.0, did");
}

TEST_F(FetchedResultsReentrancyTest, SortKeysThatChangeInWillAreInOrderAfterwards) {
  view->onWill = [&] {
    view->onWill = nullptr;
    all[0]->setValueForKey(15, "rank");
    all[1]->setValueForKey(5, "rank");
  };
  item("n", 12, "x");
  process();
  expectTrueAndFresh();
}

TEST_F(FetchedResultsReentrancyTest, ASaveInACallChangesNothingOfTheOrder) {
  inEachCall(
      [&] {
        Ref<NSError> error;
        EXPECT_TRUE(context->save(&error)) << text(error);
      },
      [&](const char*) {
        expectTrueAndFresh();
        // The deleted one is gone for good; the next round needs four again.
        all[1] = item("b", 20, "x");
        all[2]->setValueForKey("y", "group");
        all[3]->setValueForKey("y", "group");
        save();
      });
}

TEST_F(FetchedResultsReentrancyTest, AFetchInACallEndsTheBatch) {
  inEachCall(
      [&] {
        EXPECT_TRUE(controller->performFetch());
        view->ignores = true;
        view->told();
      },
      [&](const char* call) {
        EXPECT_EQ(view->told(), std::string(call) == "did" ? "" : "did")
            << "the rest would speak of a list that is gone";
        view->reload();
        expectTrueAndFresh();
      });
}

TEST_F(FetchedResultsReentrancyTest, AFetchThatFailsInACallEndsNothing) {
  view->onWill = [&] {
    view->onWill = nullptr;
    all[1]->setValueForKey("zz", "group");
  };
  view->onDid = [&] {
    view->onDid = nullptr;
    auto torn = controllerOf(items({by("rank", false)}), "level");
    EXPECT_TRUE(torn->performFetch());
  };
  changeEverything();
  process();
  expectTrueAndFresh();
}

TEST_F(FetchedResultsReentrancyTest, ADelegateThatLeavesHearsNothingMore) {
  inEachCall(
      [&] {
        controller->setDelegate(nullptr);
        view->told();
      },
      [&](const char*) {
        EXPECT_EQ(view->told(), "");
        auto fresh = fetchedOf(controller->fetchRequest(), "group");
        // A delegate that leaves before the change has the list left as it was.
        const std::string now = names(controller);
        EXPECT_EQ(now, names(fresh));
      });
}

TEST_F(FetchedResultsReentrancyTest, AnotherDelegateBeginsWithTheNextBatch) {
  Ref<ListView> other;
  view->onSection = [&] {
    if (!other) other = ListView::of(controller);
  };
  changeEverything();
  process();
  ASSERT_TRUE(other);
  EXPECT_EQ(other->told(), "");
  item("m", 0, "m");
  process();
  EXPECT_EQ(other->told(), "will, +section 0 m, +m 0.0, did");
  other->expectTrue();
}

TEST_F(FetchedResultsReentrancyTest, AControllerThatIsLetGoOfTellsToTheEnd) {
  inEachCall([&] { controller = nullptr; },
             [&](const char*) {
               EXPECT_FALSE(view->isInBatch);
               EXPECT_EQ(view->log.back(), "did");
             });
}

TEST_F(FetchedResultsReentrancyTest, ADelegateThatIsLetGoOfHearsTheBatchToTheEnd) {
  inEachCall([&] { view = nullptr; }, [&](const char*) { EXPECT_FALSE(controller->delegate()); });
}

TEST_F(FetchedResultsReentrancyTest, EverythingMayBeLetGoOfAtOnce) {
  const Weak<NSFetchedResultsController> weak(controller);
  view->onObject = [&] {
    controller = nullptr;
    all.clear();
    view = nullptr;
  };
  changeEverything();
  process();
  EXPECT_FALSE(weak.load());
}

TEST_F(FetchedResultsReentrancyTest, AResetInACallEndsTheBatch) {
  view->ignores = true;
  view->onSection = [&] {
    view->onSection = nullptr;
    context->reset();
  };
  changeEverything();
  process();
  const std::string told = view->told();
  EXPECT_EQ(told.substr(told.size() - 5), ", did");
  view->log.clear();
  item("m", 0, "m");
  process();
  EXPECT_EQ(view->told(), "");
}

TEST_F(FetchedResultsReentrancyTest, WhatADelegateRaisesIsLoggedAndTheListIsTrue) {
  for (int kind = 0; kind < 3; ++kind) {
    view->onObject = [kind] {
      if (kind == 0) raise(NSGenericException, "row trouble");
      if (kind == 1) throw std::runtime_error("row trouble");
      throw 1;
    };
    const int batches = view->batches;
    item("n", 0, "x");
    all[3]->setValueForKey("D", "name");
    const auto lines = logged([&] { process(); });
    ASSERT_EQ(lines.size(), 2u);
    const std::string start =
        "CoreData: error: Serious application error. An exception was caught from the delegate of "
        "NSFetchedResultsController during a call to "
        "-controller:didChangeObject:atIndexPath:forChangeType:newIndexPath:. ";
    EXPECT_EQ(lines[0], start + (kind == 2 ? "An exception of an unknown kind" : "row trouble") +
                            " with userInfo (null)");
    EXPECT_EQ(view->batches, batches + 1) << "the batch goes on";
    view->onObject = nullptr;
    expectTrueAndFresh();
  }
  view->onDid = [] { raise(NSGenericException, "late trouble"); };
  item("m", 0, "x");
  const auto lines = logged([&] { process(); });
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("-controllerDidChangeContent:. late trouble with"), std::string::npos);
}

TEST_F(FetchedResultsReentrancyTest, TwoControllersDoNotDisturbEachOther) {
  auto byName = fetchedOf(items({by("name")}));
  auto second = ListView::of(byName);
  // The first one's delegate changes what the second one has not heard of yet.
  view->onDid = [&] {
    view->onDid = nullptr;
    all[0]->setValueForKey("zzz", "name");
    all[3]->setValueForKey("aaa", "name");
    item("mmm", 1, "x");
  };
  item("bb", 1, "x");
  process();
  expectTrueAndFresh();
  second->expectTrue();
  EXPECT_EQ(names(byName), names(fetchedOf(items({by("name")}))));
}

TEST_F(FetchedResultsReentrancyTest, NothingStaysAliveBehindAController) {
  controller = nullptr;
  view = nullptr;
  const auto use = [&] {
    auto local = fetchedOf(items({by("group"), by("rank")}), "group");
    auto shown = ListView::of(local);
    const Ref<NSArray> kept = local->fetchedObjects();
    const Ref<NSArray> sections = local->sections();
    changeEverything();
    process();
    EXPECT_EQ(shown->batches, 1);
    context->rollback();
    process();
    EXPECT_EQ(shown->batches, 2);
  };
  use();
  testing::LiveObjects live;
  use();
  EXPECT_EQ(live.count(), 0);
}

}  // namespace
}  // namespace JNFoundation
