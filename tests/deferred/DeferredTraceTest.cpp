#include <algorithm>
#include <thread>

#include "DeferredFixture.h"

#include <JNFoundation/deferred/Coroutine.h>
#include <JNFoundation/deferred/DeferredCombinators.h>
#include <JNFoundation/deferred/DeferredTrace.h>
#include <JNFoundation/deferred/PLVDeferredEnumeration.h>
#include <JNFoundation/platform/dispatch/ManualClock.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation {
namespace {

using State = DeferredTrace::State;

class DeferredTraceTest : public DeferredFixture {
 protected:
  void SetUp() override {
    DeferredTrace::setEnabled(true);
    // Objects are numbered through the life of the process.
    const Ref<PLVDeferred> probe = PLVDeferred::init();
    _before = DeferredTrace::now().entries().back().number;
  }
  void TearDown() override {
    DeferredTrace::setEnabled(false);
    DeferredFixture::TearDown();
  }

  /// The entries as short lines, numbered from 1: "1 waiting 2 3", with "!" for those in a cycle.
  Words lines(const DeferredTrace& trace = DeferredTrace::now()) const {
    Words lines;
    for (const DeferredTrace::Entry& entry : trace.entries()) {
      std::string line = std::to_string(entry.number - _before) + " " + nameOf(entry.state);
      for (const NSUInteger awaited : entry.waitsFor)
        line += " " + std::to_string(awaited - _before);
      if (entry.isInCycle) line += " !";
      lines.push_back(line);
    }
    return lines;
  }

  NSUInteger before() const { return _before; }

 private:
  static std::string nameOf(State state) {
    const char* names[] = {"pending",  "waiting",   "running", "resolved",
                           "rejected", "cancelled", "idle"};
    return names[static_cast<int>(state)];
  }

  NSUInteger _before = 0;
};

TEST_F(DeferredTraceTest, NothingIsKnownWhileTracingIsOff) {
  DeferredTrace::setEnabled(false);
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  EXPECT_FALSE(DeferredTrace::isEnabled());
  EXPECT_EQ(lines(), Words{});
  EXPECT_EQ(text(DeferredTrace::now().text()), "");
}

TEST_F(DeferredTraceTest, EveryOneThatIsAliveHasItsState) {
  const Ref<PLVDeferred> pending = PLVDeferred::init();
  const Ref<PLVDeferred> resolved = PLVDeferred::withResolved(1);
  const Ref<PLVDeferred> rejected = PLVDeferred::withRejected(1);
  const Ref<PLVDeferred> cancelled = PLVDeferred::init();
  cancelled->cancel();
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVPromise> fulfilled = PLVPromise::withResolved(1);
  EXPECT_EQ(lines(), (Words{"1 pending", "2 resolved", "3 rejected", "4 cancelled", "5 pending",
                            "6 resolved"}));
  EXPECT_EQ(lines(DeferredTrace::now().unsettled()), (Words{"1 pending", "5 pending"}));
}

TEST_F(DeferredTraceTest, WhatHasGoneIsGone) {
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  EXPECT_EQ(lines(), Words{"1 pending"});
  deferred = nullptr;
  EXPECT_EQ(lines(), Words{});
}

TEST_F(DeferredTraceTest, LookingIsNotSeeing) {
  const Ref<PLVRejected> failure = PLVRejected::withValue(1);
  const Ref<PLVDeferred> rejected = PLVDeferred::withRejected(failure);
  EXPECT_EQ(lines(), Words{"1 rejected"});
  EXPECT_FALSE(failure->wasSeen());
  EXPECT_EQ(rejected->resolution(), Value(failure));
  EXPECT_TRUE(failure->wasSeen());
}

TEST_F(DeferredTraceTest, WhoWaitsForWhomIsKnown) {
  const Ref<PLVDeferred> inner = PLVDeferred::init();                 // 1
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);    // 2
  const Ref<PLVDeferred> derived = PLVDeferred::resolvedBy(outer);    // 3
  const Ref<PLVPromise> promise = PLVPromise::resolvedBy(derived);    // 4
  const Ref<PLVDeferred> listener = promise->deferredResolution();    // 5
  const Ref<PLVPromise> further = promise->promisedResolution();      // 6
  const Ref<PLVPromise> waiting = PLVPromise::withResolved(further);  // 7, waits through 8
  EXPECT_EQ(lines(), (Words{"1 pending", "2 waiting 1", "3 pending 2", "4 pending 3", "5 pending 4",
                            "6 pending 4", "7 waiting 8", "8 pending 6"}));
  inner->resolve(1);
  EXPECT_EQ(lines(), (Words{"1 resolved", "2 resolved", "3 resolved", "4 resolved", "5 resolved",
                            "6 resolved", "7 resolved"}));
}

TEST_F(DeferredTraceTest, ListenersThatSomebodyLookedAtAreKnownToo) {
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> first = promise->deferredResolution();
  ASSERT_EQ(promise->resolvables()->count(), 1u);
  const Ref<PLVDeferred> second = promise->deferredResolution();
  EXPECT_EQ(lines(), (Words{"1 pending", "2 pending 1", "3 pending 1"}));
}

TEST_F(DeferredTraceTest, AChainIsRunningInsideItsHandlers) {
  Words seen;
  Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->thenResolved([&](const Value& value) {
    seen = lines();
    return value;
  });
  deferred->resolve(1);
  EXPECT_EQ(seen, Words{"1 running"});
}

TEST_F(DeferredTraceTest, AWalkStandsBetweenItsCompletionAndWhatItWaitsFor) {
  const Ref<PLVDeferred> upload = PLVDeferred::init();  // 1
  const Ref<PLVDeferredEnumeration> walk =
      PLVDeferredEnumeration::initWithArray(NSArray::arrayWithObjects("a"));  // 2
  EXPECT_EQ(lines(), (Words{"1 pending", "2 idle"}));
  const Ref<PLVDeferred> completion = walk->deferredEnumerateObjectsUsingBlock(  // 3
      [&upload](const Value&, NSUInteger, bool&) -> Value { return upload; });
  EXPECT_EQ(lines(), (Words{"1 pending", "2 waiting 1", "3 pending 2"}));
  upload->resolve(1);
  EXPECT_EQ(lines(), (Words{"1 resolved", "2 idle", "3 resolved"}));
}

TEST_F(DeferredTraceTest, ACombinationWaitsForItsInputs) {
  const Ref<PLVDeferred> a = PLVDeferred::init(), b = PLVDeferred::init();        // 1, 2
  const Ref<PLVDeferred> first = firstResolved(NSArray::arrayWithObjects(a, b));  // 3
  EXPECT_EQ(lines(), (Words{"1 pending", "2 pending", "3 pending 1 2"}));
  a->resolve(1);
  EXPECT_EQ(lines(), (Words{"1 resolved", "2 pending", "3 resolved"}));
  const Ref<PLVDeferred> all = PLVDeferred::withAllResolved(NSArray::arrayWithObjects(a, b));  // 4
  EXPECT_EQ(lines().back(), "4 waiting 2") << "one after the other";
  b->resolve(2);
}

Ref<PLVDeferred> awaitingTraced(Ref<PLVDeferred> awaited) { co_return co_await awaited; }

TEST_F(DeferredTraceTest, ACoroutinesDeferredWaitsForWhatItAwaits) {
  const Ref<PLVDeferred> awaited = PLVDeferred::init();
  const Ref<PLVDeferred> coroutine = awaitingTraced(awaited);
  EXPECT_EQ(lines(), (Words{"1 pending", "2 pending 1"}));
  awaited->resolve(1);
  EXPECT_EQ(lines(), (Words{"1 resolved", "2 resolved"}));
}

TEST_F(DeferredTraceTest, CyclesAreMarked) {
  const Ref<PLVDeferred> bystander = PLVDeferred::init();             // 1
  const Ref<PLVDeferred> first = PLVDeferred::init();                 // 2
  const Ref<PLVDeferred> second = PLVDeferred::withResolved(first);   // 3 waits for 2
  const Ref<PLVDeferred> third = PLVDeferred::withResolved(second);   // 4 waits for 3
  const Ref<PLVDeferred> outside = PLVDeferred::withResolved(third);  // 5 waits for the cycle
  first->resolve(third);                                              // 2 waits for 4
  EXPECT_EQ(lines(),
            (Words{"1 pending", "2 waiting 4 !", "3 waiting 2 !", "4 waiting 3 !", "5 waiting 4"}));
  // A cycle of waits keeps its members alive, so it is broken by hand.
  first->resumeWithValue(1);
}

TEST_F(DeferredTraceTest, WhatWaitsForItselfIsACycle) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  deferred->resolve(deferred);
  EXPECT_EQ(lines(), Words{"1 waiting 1 !"});
  deferred->resumeWithValue(1);
}

TEST_F(DeferredTraceTest, WhatWasMadeBeforeComesInWhereOthersWaitForIt) {
  DeferredTrace::setEnabled(false);
  const Ref<PLVDeferred> early = PLVDeferred::init();
  const Ref<PLVDeferred> unrelated = PLVDeferred::init();
  DeferredTrace::setEnabled(true);
  const Ref<PLVDeferred> late = PLVDeferred::withResolved(early);
  EXPECT_EQ(lines(), (Words{"1 waiting 2", "2 pending"}));
  early->resolve(1);
}

TEST_F(DeferredTraceTest, TurningItOffForgets) {
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  DeferredTrace::setEnabled(false);
  DeferredTrace::setEnabled(true);
  EXPECT_EQ(lines(), Words{});
}

TEST_F(DeferredTraceTest, TheFormsSayTheSame) {
  ManualClock clock;
  ClockScope clocks(clock);
  const Ref<PLVDeferred> feed = PLVDeferred::init();
  const int feedLine = __LINE__ - 1;
  DeferredTrace::setLabel(feed, "the \"feed\"");
  DeferredTrace::setLabel(nullptr, "nobody");
  clock.advance(2.5);
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(feed);
  const int outerLine = __LINE__ - 1;
  const DeferredTrace trace = DeferredTrace::now();
  const std::string one = std::to_string(before() + 1);
  const std::string two = std::to_string(before() + 2);
  const std::string feedPlace = "DeferredTraceTest.cpp:" + std::to_string(feedLine);
  const std::string outerPlace = "DeferredTraceTest.cpp:" + std::to_string(outerLine);
  const std::string className = text(trace.entries()[0].className);
  EXPECT_EQ(text(trace.text()), "#" + one + " " + className + " “the \"feed\"” pending, 2.500 s, " +
                                    feedPlace + "\n#" + two + " " + className + " waiting for #" +
                                    one + ", 0.000 s, " + outerPlace + "\n");
  EXPECT_EQ(text(trace.dot()), "digraph deferreds {\n  rankdir=LR;\n  node [shape=box];\n  n" +
                                   one + " [label=\"#" + one + " " + className +
                                   "\\nthe \\\"feed\\\"\\npending\\n" + feedPlace + "\"];\n  n" +
                                   two + " [label=\"#" + two + " " + className + "\\nwaiting\\n" +
                                   outerPlace + "\"];\n  n" + two + " -> n" + one + ";\n}\n");
  const Value list = NSJSONSerialization::JSONObjectWithTextOptionsError(
      text(trace.json()), NSJSONReadingPlain, nullptr);
  ASSERT_EQ(as<NSArray>(list)->count(), 2u);
  const Value first = as<NSArray>(list)->objectAtIndex(0);
  const Value second = as<NSArray>(list)->objectAtIndex(1);
  const auto* entry = as<NSDictionary>(first);
  EXPECT_EQ(entry->objectForKey("label"), Value("the \"feed\""));
  EXPECT_EQ(entry->objectForKey("state"), Value("pending"));
  EXPECT_EQ(entry->objectForKey("age"), Value(2.5));
  EXPECT_EQ(entry->objectForKey("line"), Value(feedLine));
  EXPECT_EQ(entry->objectForKey("inCycle"), Value(false));
  EXPECT_EQ(as<NSDictionary>(second)->objectForKey("waitsFor"),
            Value(NSArray::arrayWithObjects(before() + 1)));
  feed->resolve(1);
}

TEST_F(DeferredTraceTest, ALabelForNobodyOrWhileNothingIsOnDoesNothing) {
  DeferredTrace::setEnabled(false);
  const Ref<PLVDeferred> deferred = PLVDeferred::init();
  DeferredTrace::setLabel(deferred, "unheard");
  DeferredTrace::setEnabled(true);
  DeferredTrace::setLabel(deferred, "made before");
  EXPECT_EQ(lines(), Words{});
}

TEST_F(DeferredTraceTest, ManyThatWaitForEachOtherNeedNoStack) {
  Ref<PLVDeferred> innermost = PLVDeferred::init();
  Ref<PLVDeferred> outermost = innermost;
  for (int i = 1; i < 100000; ++i) outermost = PLVDeferred::withResolved(outermost);
  const DeferredTrace trace = DeferredTrace::now();
  ASSERT_EQ(trace.entries().size(), 100000u);
  EXPECT_TRUE(std::none_of(trace.entries().begin(), trace.entries().end(),
                           [](const auto& entry) { return entry.isInCycle; }));
  innermost->resolve(1);
  EXPECT_EQ(outermost->resolution(), Value(1));
}

TEST_F(DeferredTraceTest, OtherThreadsMakeAndLoseThemMeanwhile) {
  std::atomic<bool> stop{false};
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&stop] {
      while (!stop) {
        class Upload : public Subclass<Upload, PLVDeferred> {};
        const Ref<PLVDeferred> one = PLVDeferred::init();
        const Ref<PLVDeferred> two = Upload::init();
        DeferredTrace::setLabel(one, "mine");
      }
    });
  }
  for (int i = 0; i < 200; ++i) {
    for (const DeferredTrace::Entry& entry : DeferredTrace::now().entries()) {
      EXPECT_EQ(entry.state, State::Pending);
      EXPECT_TRUE(entry.className);
    }
  }
  stop = true;
  for (auto& thread : threads) thread.join();
}

}  // namespace
}  // namespace JNFoundation
