#include "tests/fetched/SampleFixture.h"
#include "tests/platform/value/LiveObjects.h"

#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>

namespace JNFoundation {
namespace {

/// What a delegate does in its calls: [A, B, C, D, E] sampled as [D, B], then D is deleted and B
/// updated, so that every kind of call is made.
class SampleReentrancyTest : public SampleTest {
 protected:
  void start() {
    context->rollback();
    for (const Value& object : fetch(items())) context->deleteObject(as<NSManagedObject>(object));
    all.clear();
    fill({"A", "B", "C", "D", "E"});
    RandomSourceScope scope(numbers({3, 1}));
    controller = sampledOf(2);
    view = StripView::of(controller);
  }

  void changeSample() {
    RandomSourceScope scope([] { return 0u; });
    all[1]->setValueForKey("b", "name");
    context->deleteObject(all[3]);
    context->processPendingChanges();
  }

  /// Does it once, in each of the calls of a batch of its own. A view that is let go of is kept
  /// here until the check is done.
  void inEachCall(const std::function<void()>& action,
                  const std::function<void(const std::string& call)>& check) {
    struct Call {
      const char* name;
      std::function<void()> StripView::*place;
    };
    for (const Call& call : {Call{"will", &StripView::onWill}, Call{"object", &StripView::onObject},
                             Call{"did", &StripView::onDid}}) {
      SCOPED_TRACE(call.name);
      start();
      const Ref<StripView> kept = view;
      bool isDone = false;
      kept.get()->*call.place = [&] {
        if (!std::exchange(isDone, true)) action();
      };
      changeSample();
      EXPECT_TRUE(isDone);
      kept.get()->*call.place = nullptr;
      last = kept;
      check(call.name);
      if (HasFatalFailure()) return;
    }
  }

  Ref<PLVRandomFetchedResultsController> controller;
  Ref<StripView> view, last;
};

constexpr const char* wholeBatch = "will, =b 1, -D 0, +A 1, did";

TEST_F(SampleReentrancyTest, ASaveChangesNothingOfTheOrder) {
  inEachCall([this] { save(); },
             [this](const std::string&) {
               EXPECT_EQ(last->told().find("will, =b 1, -"), 0u);
               EXPECT_EQ(names(controller), "b A");
               last->expectTrue();
             });
}

TEST_F(SampleReentrancyTest, ChangesAreTheNextBatch) {
  inEachCall(
      [this] {
        all[1]->setValueForKey("bb", "name");
        context->deleteObject(all[0]);
        context->processPendingChanges();
        EXPECT_EQ(names(controller), "bb A") << "not yet";
      },
      [this](const std::string& call) {
        EXPECT_EQ(last->batches, 2);
        EXPECT_EQ(names(controller), "bb C");
        const std::string name = call == "will" ? "bb" : "b";
        EXPECT_EQ(last->told(), "will, =" + name +
                                    " 1, -D 0, +A 1, did, will, =bb 0, -A 1, +C 1, "
                                    "did");
        last->expectTrue();
      });
}

TEST_F(SampleReentrancyTest, TheBatchIsToldAsItWasThroughAFetch) {
  inEachCall(
      [this] {
        RandomSourceScope scope(numbers({3, 0}));
        EXPECT_TRUE(controller->performFetch());
      },
      [this](const std::string&) {
        EXPECT_EQ(last->told(), wholeBatch);
        EXPECT_EQ(FetchedResultsTest::names(NSArray::arrayWithValues(last->rows)), "b A")
            << "the list after the batch";
        EXPECT_EQ(names(controller), "E A") << "the new sample, which is not told of";
        last->reload();
        RandomSourceScope scope(numbers({2}));
        context->deleteObject(all[0]);
        context->processPendingChanges();
        EXPECT_EQ(last->told(), "will, -A 1, +C 1, did");
        last->expectTrue();
      });
}

TEST_F(SampleReentrancyTest, TheBatchIsToldAsItWasThroughAResampling) {
  inEachCall(
      [this] {
        RandomSourceScope scope(numbers({2}));
        controller->resampleFetchedObjectsWithLimit(1);
      },
      [this](const std::string&) {
        EXPECT_EQ(last->told(), wholeBatch);
        EXPECT_EQ(FetchedResultsTest::names(NSArray::arrayWithValues(last->rows)), "b A");
        EXPECT_EQ(names(controller), "C");
        last->reload();
        all[2]->setValueForKey("c", "name");
        context->processPendingChanges();
        EXPECT_EQ(last->told(), "will, =c 0, did");
        last->expectTrue();
      });
}

TEST_F(SampleReentrancyTest, TheBatchIsToldAsItWasWithTheSampleTakenAway) {
  inEachCall([this] { controller->setSample(nullptr); },
             [this](const std::string&) { EXPECT_EQ(last->told(), wholeBatch); });
}

TEST_F(SampleReentrancyTest, ADelegateThatLeavesHearsNoMore) {
  inEachCall([this] { controller->setDelegate(nullptr); },
             [this](const std::string& call) {
               EXPECT_EQ(last->told(), call == "will"     ? "will"
                                       : call == "object" ? "will, =b 1"
                                                          : wholeBatch);
               EXPECT_EQ(names(controller), "b A") << "the sample has taken in the whole batch";
               all[1]->setValueForKey("bbb", "name");
               context->processPendingChanges();
               EXPECT_EQ(last->told(), "");
             });
}

TEST_F(SampleReentrancyTest, ADelegateThatIsSetMeanwhileHearsOfLaterBatches) {
  Ref<StripView> other;
  inEachCall([&] { other = StripView::of(controller); },
             [&](const std::string& call) {
               EXPECT_EQ(last->told(), call == "will"     ? "will"
                                       : call == "object" ? "will, =b 1"
                                                          : wholeBatch);
               EXPECT_EQ(other->told(), "");
               other->expectTrue();
               all[1]->setValueForKey("bbb", "name");
               context->processPendingChanges();
               EXPECT_EQ(other->told(), "will, =bbb 0, did");
               other->expectTrue();
             });
}

TEST_F(SampleReentrancyTest, ADelegateThatIsSetAgainGoesOn) {
  inEachCall([this] { controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(view)); },
             [this](const std::string&) {
               EXPECT_EQ(last->told(), wholeBatch);
               last->expectTrue();
             });
}

TEST_F(SampleReentrancyTest, AControllerThatIsLetGoOfEndsItsBatch) {
  inEachCall([this] { controller = nullptr; },
             [this](const std::string&) {
               EXPECT_EQ(last->told(), wholeBatch);
               all[1]->setValueForKey("bbb", "name");
               context->processPendingChanges();
               EXPECT_EQ(last->told(), "");
             });
}

TEST_F(SampleReentrancyTest, EverythingMayGoInACall) {
  for (auto place : {&StripView::onWill, &StripView::onObject, &StripView::onDid}) {
    start();
    Weak<StripView> weak(view);
    Weak<PLVRandomFetchedResultsController> weakController(controller);
    bool isDone = false;
    view.get()->*place = [&, this] {
      isDone = true;
      view = nullptr;
      controller = nullptr;
    };
    changeSample();
    EXPECT_TRUE(isDone);
    EXPECT_FALSE(weak.load());
    EXPECT_FALSE(weakController.load());
    ASSERT_FALSE(HasFatalFailure());
  }
}

TEST_F(SampleReentrancyTest, WhatADelegateRaisesEndsItsBatchAndNothingElse) {
  start();
  view->onWill = [] { raise(NSGenericException, "not today"); };
  const auto lines = logged([this] { changeSample(); });
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("not today"), std::string::npos);
  EXPECT_EQ(view->told(), "will");
  EXPECT_EQ(names(controller), "b A");
  view->onWill = nullptr;
  view->isInBatch = false;
  view->reload();
  all[1]->setValueForKey("bb", "name");
  context->processPendingChanges();
  EXPECT_EQ(view->told(), "will, =bb 0, did");
  view->expectTrue();
}

}  // namespace
}  // namespace JNFoundation
