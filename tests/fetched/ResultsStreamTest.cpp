#include "tests/deferred/RecordingRx.h"
#include "tests/fetched/SampleFixture.h"
#include "tests/platform/text/Randomness.h"
#include "tests/platform/value/LiveObjects.h"

#include <JNFoundation/fetched/EditScript.h>
#include <JNFoundation/fetched/FetchedObservables.h>
#include <JNFoundation/fetched/ResultsStream.h>

namespace JNFoundation {
namespace {

class ResultsStreamTest : public SampleTest {
 protected:
  /// "A B | +1 =0": the objects, and what led there.
  static std::string textOf(const Ref<ResultsEvent>& event) {
    std::string text = event->objects() ? names(event->objects()) : "(null)";
    if (event->isSnapshot()) {
      EXPECT_TRUE(event->changes().isEmpty());
      return text;
    }
    text += " |";
    const ListChanges& changes = event->changes();
    for (const ListPlace& place : changes.deletedItems) text += " -" + std::to_string(place.item);
    for (const ListPlace& place : changes.insertedItems) text += " +" + std::to_string(place.item);
    for (const ListPlace& place : changes.updatedItems) text += " =" + std::to_string(place.item);
    for (const ListMove& move : changes.movedItems) {
      text += " " + std::to_string(move.from.item) + ">" + std::to_string(move.to.item);
    }
    return text;
  }

  Block<void(const Ref<ResultsEvent>&)> noting(std::string& seen) {
    return [&seen](const Ref<ResultsEvent>& event) {
      seen += (seen.empty() ? "" : "; ") + textOf(event);
    };
  }

  void start() {
    fill({"A", "B", "C"});
    controller = fetchedOf(items());
    stream = ResultsStream::withController(controller);
  }

  Ref<NSFetchedResultsController> controller;
  Ref<ResultsStream> stream;
  std::string seen, others;
};

TEST_F(ResultsStreamTest, ASnapshotComesFirstAndThenEveryBatch) {
  start();
  const auto observation = stream->observe(noting(seen));
  EXPECT_EQ(std::exchange(seen, ""), "A B C");
  all[0]->setValueForKey(25, "rank");
  context->deleteObject(all[2]);
  EXPECT_EQ(seen, "") << "not yet";
  process();
  EXPECT_EQ(std::exchange(seen, ""), "B A | -2 0>1");
  const auto late = stream->observe(noting(others));
  EXPECT_EQ(std::exchange(others, ""), "B A");
  all[1]->setValueForKey("b", "name");
  process();
  EXPECT_EQ(seen, "b A | =0");
  EXPECT_EQ(others, "b A | =0");
}

TEST_F(ResultsStreamTest, WhoStopsOrIsLetGoOfHearsNothing) {
  start();
  const auto stopped = stream->observe(noting(seen));
  auto dropped = stream->observe(noting(others));
  stopped->stop();
  dropped = nullptr;
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(seen + "/" + others, "A B C/A B C");
}

TEST_F(ResultsStreamTest, AnUnfetchedControllerHasNothingToShow) {
  fill({"A"});
  controller = controllerOf(items());
  stream = ResultsStream::withController(controller);
  const auto observation = stream->observe(noting(seen));
  EXPECT_EQ(std::exchange(seen, ""), "(null)");
  ASSERT_TRUE(stream->performFetch());
  EXPECT_EQ(seen, "A");
  EXPECT_THROW(ResultsStream::withController(nullptr), Raised);
}

TEST_F(ResultsStreamTest, AnEventKeepsTheResultsOfItsMoment) {
  start();
  Ref<ResultsEvent> kept;
  const auto observation = stream->observe([&](const Ref<ResultsEvent>& event) {
    if (!kept) kept = event;
  });
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(textOf(kept), "A B C");
  const Value section = kept->sections()->objectAtIndex(0);
  EXPECT_EQ(as<NSFetchedResultsSectionInfo>(section)->numberOfObjects(), 3u);
}

TEST_F(ResultsStreamTest, ADelegateThatWasThereIsToldFirst) {
  fill({"A", "B", "C"});
  controller = fetchedOf(items());
  const auto view = ListView::of(controller);
  stream = ResultsStream::withController(controller);
  const auto second = ResultsStream::withController(controller);
  const auto observation = stream->observe(noting(seen));
  const auto another = second->observe(noting(others));
  view->onDid = [&] { EXPECT_EQ(seen + "/" + others, "A B C/A B C"); };
  context->deleteObject(all[1]);
  process();
  EXPECT_EQ(view->told(), "will, -B 0.1, did");
  view->expectTrue();
  EXPECT_EQ(seen, "A B C; A C | -1");
  EXPECT_EQ(others, seen);
  EXPECT_TRUE(controller->sectionIndexTitleForSectionName("x")->isEqualToString("X"));
  view->answered = [](ListView::Callback) { return true; };
  EXPECT_TRUE(controller->sectionIndexTitleForSectionName("x")->isEqualToString("<x>"));
}

TEST_F(ResultsStreamTest, TheDelegateBeforeIsTheDelegateAgain) {
  fill({"A", "B"});
  controller = fetchedOf(items());
  const auto view = ListView::of(controller);
  stream = ResultsStream::withController(controller);
  stream = nullptr;
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(view->told(), "will, -A 0.0, did");
}

TEST_F(ResultsStreamTest, ADelegateThatRaisesDoesNotCostTheObserversTheBatch) {
  for (const auto place : {&ListView::onWill, &ListView::onObject, &ListView::onDid}) {
    all.clear();
    fill({"A", "B"});
    controller = fetchedOf(items());
    const auto view = ListView::of(controller);
    view->ignores = true;
    view.get()->*place = [] { raise(NSGenericException, "not today"); };
    stream = ResultsStream::withController(controller);
    const auto observation = stream->observe(noting(seen));
    context->deleteObject(all[0]);
    EXPECT_EQ(logged([&] { process(); }).size(), 1u);
    EXPECT_EQ(std::exchange(seen, ""), "A B; B | -0");
    controller->setDelegate(nullptr);
    context->deleteObject(all[1]);
    save();
  }
}

// ---- Observers that do something ----------------------------------------------------------------

TEST_F(ResultsStreamTest, WhatAnObserverChangesIsTheNextEventForAll) {
  start();
  const auto first = stream->observe([&](const Ref<ResultsEvent>& event) {
    if (event->isSnapshot() || event->changes().deletedItems.empty()) return;
    all[1]->setValueForKey("b", "name");
    process();
  });
  const auto second = stream->observe(noting(seen));
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(seen, "A B C; b C | -0; b C | =0");
}

TEST_F(ResultsStreamTest, WhoComesInTheMiddleOfABatchHearsItOnce) {
  for (const auto place : {&ListView::onWill, &ListView::onObject, &ListView::onDid}) {
    all.clear();
    fill({"A", "B", "C"});
    controller = fetchedOf(items());
    const auto view = ListView::of(controller);
    stream = ResultsStream::withController(controller);
    Ref<Observation> observation;
    view.get()->*place = [&] {
      if (!observation) observation = stream->observe(noting(seen));
    };
    context->deleteObject(all[0]);
    process();
    if (place == &ListView::onWill) {
      EXPECT_EQ(std::exchange(seen, ""), "A B C; B C | -0");
    } else {
      EXPECT_EQ(std::exchange(seen, ""), "B C");
    }
    all[1]->setValueForKey("b", "name");
    process();
    EXPECT_EQ(std::exchange(seen, ""), "b C | =0");
    view.get()->*place = nullptr;
    for (const Value& object : fetch(items())) context->deleteObject(as<NSManagedObject>(object));
    save();
    seen = "";
  }
}

TEST_F(ResultsStreamTest, AFetchInTheMiddleOfABatchIsASnapshot) {
  fill({"A", "B", "C"});
  controller = fetchedOf(items());
  const auto view = ListView::of(controller);
  view->ignores = true;
  stream = ResultsStream::withController(controller);
  const auto observation = stream->observe(noting(seen));
  view->onObject = [&] { stream->performFetch(); };
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(seen, "A B C; B C; B C");
}

TEST_F(ResultsStreamTest, AnObserverMayLetGoOfEverything) {
  start();
  Ref<Observation> observation;
  int times = 0;
  observation = stream->observe([&](const Ref<ResultsEvent>& event) {
    ++times;
    if (event->isSnapshot()) return;
    observation = nullptr;
    stream = nullptr;
    controller = nullptr;
  });
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(times, 2);
  EXPECT_FALSE(controller);
}

// ---- The next change ----------------------------------------------------------------------------

TEST_F(ResultsStreamTest, TheNextChangeIsPromised) {
  start();
  const auto first = stream->nextChange(), second = stream->nextChange();
  const auto left = stream->nextChange();
  EXPECT_NE(first, second);
  left->cancel();
  ASSERT_TRUE(stream->performFetch());
  EXPECT_FALSE(first->isFulfilled()) << "a snapshot is no change";
  context->deleteObject(all[0]);
  EXPECT_FALSE(first->isFulfilled()) << "not yet";
  process();
  ASSERT_TRUE(first->isFulfilled());
  EXPECT_EQ(textOf(as<ResultsEvent>(Value(first->resolution()))), "B C | -0");
  EXPECT_TRUE(second->resolution().isIdentical(first->resolution()));
  const auto third = stream->nextChange();
  EXPECT_FALSE(third->isFulfilled());
  context->deleteObject(all[1]);
  process();
  EXPECT_EQ(textOf(as<ResultsEvent>(Value(third->resolution()))), "C | -0");
  EXPECT_EQ(textOf(as<ResultsEvent>(Value(first->resolution()))), "B C | -0");
}

TEST_F(ResultsStreamTest, AStreamThatGoesCancelsWhatItHasPromised) {
  start();
  const auto promise = stream->nextChange();
  stream = nullptr;
  ASSERT_TRUE(promise->isFulfilled());
  EXPECT_TRUE(as<PLVRejected>(Value(promise->resolution()))->isCancellation());
}

// ---- As an observable ---------------------------------------------------------------------------

TEST_F(ResultsStreamTest, AnObservableGivesTheSnapshotAndTheChanges) {
  start();
  const auto observable = FetchedObservables<RecordingRx>::rx_observable(stream);
  EXPECT_EQ(seen, "");
  const auto note = noting(seen);
  const auto subscription =
      observable.subscribe([note](const Ref<ResultsEvent>& event) { note(event); },
                           [](const Ref<NSError>&) { ADD_FAILURE(); }, [] { ADD_FAILURE(); });
  EXPECT_EQ(std::exchange(seen, ""), "A B C");
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(std::exchange(seen, ""), "B C | -0");
  subscription->dispose();
  context->deleteObject(all[1]);
  process();
  EXPECT_EQ(seen, "");
}

TEST_F(ResultsStreamTest, AnObservableOfRefreshesGivesTheirStatus) {
  controller = controllerOf(items());
  const auto state = RefreshState::withController(controller);
  int events = 0;
  const auto subscription = FetchedObservables<RecordingRx>::rx_observable(state).subscribe(
      [&](const RefreshStatus&) { ++events; }, [](const Ref<NSError>&) { ADD_FAILURE(); },
      [] { ADD_FAILURE(); });
  EXPECT_EQ(events, 1);
  state->refresh();
  EXPECT_EQ(events, 3) << "loading, and failed for want of a provider";
  subscription->dispose();
  state->refresh();
  EXPECT_EQ(events, 3);
}

TEST_F(ResultsStreamTest, AnObservableOfNothingFails) {
  NSInteger code = 0;
  FetchedObservables<RecordingRx>::rx_observable(Ref<ResultsStream>())
      .subscribe([](const Ref<ResultsEvent>&) { ADD_FAILURE(); },
                 [&](const Ref<NSError>& error) { code = error->code(); }, [] { ADD_FAILURE(); });
  EXPECT_EQ(code, 2);
}

// ---- Random edits -------------------------------------------------------------------------------

TEST_F(ResultsStreamTest, WhoComesAtAnyTimeHasTheListFromThereOn) {
  testing::Randomness random;
  JN_TRACE_SEED(random);
  for (int i = 0; i < 12; ++i) all.push_back(item(std::to_string(i).c_str(), i));
  save();
  controller = fetchedOf(items());
  stream = ResultsStream::withController(controller);
  struct Follower {
    std::vector<std::vector<Value>> rows;
    Ref<Observation> observation;
  };
  struct Source {
    const ResultsEvent& event;
    NSUInteger count(NSUInteger) const { return event.objects()->count(); }
    Value make(const ListPlace& place) const { return event.objects()->objectAtIndex(place.item); }
    void update(Value& row, const ListPlace& place) const { row = make(place); }
  };
  std::vector<std::unique_ptr<Follower>> followers;
  int meddling = 0;
  const std::function<void()> edit = [&] {
    const auto what = random.below(3);
    if (what == 0 || all.empty()) {
      all.push_back(item("new", static_cast<int>(random.below(50))));
    } else if (what == 1 && all.size() > 5) {
      context->deleteObject(all.back());
      all.pop_back();
    } else {
      all[random.below(all.size())]->setValueForKey(random.between(0, 50), "rank");
    }
  };
  const auto add = [&] {
    followers.push_back(std::make_unique<Follower>());
    Follower* follower = followers.back().get();
    follower->observation = stream->observe([&, follower](const Ref<ResultsEvent>& event) {
      if (event->isSnapshot()) {
        follower->rows = {{}};
        for (const Value& object : event->objects()) follower->rows[0].push_back(object);
      } else {
        follower->rows = applyChanges(event->changes(), std::move(follower->rows), Source{*event});
      }
      ASSERT_EQ(follower->rows[0].size(), event->objects()->count());
      for (NSUInteger i = 0; i < follower->rows[0].size(); ++i) {
        ASSERT_TRUE(follower->rows[0][i].isIdentical(event->objects()->objectAtIndex(i)));
      }
      if (meddling > 0 && random.below(4) == 0) {
        --meddling;
        edit();
        if (random.below(2) == 0) process();
        if (random.below(3) == 0) stream->performFetch();
      }
    });
  };
  for (int step = testing::rounds(1'000, 100'000); step > 0; --step) {
    meddling = 2;
    if (followers.size() < 4 && random.below(3) == 0) add();
    if (followers.size() > 2 && random.below(5) == 0) {
      followers.erase(followers.begin() +
                      static_cast<std::ptrdiff_t>(random.below(followers.size())));
    }
    for (auto edits = random.below(4); edits > 0; --edits) edit();
    process();
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace JNFoundation
