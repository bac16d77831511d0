#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

#include "MappingFixture.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/mapping/PLVDataMapFilter.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/util/PLVTargetAction.h>

namespace JNFoundation {
namespace {

using testing::LiveObjects;
using testing::raisedBy;
using testing::raisedName;

/// Actions of every form that an application may declare, right and wrong.
class ShapesFilter : public Subclass<ShapesFilter, PLVDataMapFilter> {
 public:
  Ref<NSString> asReference(const Ref<NSString>& text) { return text; }
  void withoutResult(const Value&) {}
  Value withoutArgument() { return "none taken"; }
  Value withTwo(const Value& first, const Value& second) {
    return NSArray::arrayWithObjects(first, orNSNull(second));
  }
  NSInteger withNumbers(NSInteger number) { return number * 2; }
  Value raising(const Value&) { raise("Refused", "by the filter"); }
  Value throwing(const Value&) { throw std::runtime_error("plain"); }

 protected:
  using Subclass::Subclass;
};

const ClassDeclaration<ShapesFilter> declaration =
    ClassDeclaration<ShapesFilter>()
        .operation("asReference:", &ShapesFilter::asReference)
        .operation("withoutResult:", &ShapesFilter::withoutResult)
        .operation("withoutArgument", &ShapesFilter::withoutArgument)
        .operation("withTwo:and:", &ShapesFilter::withTwo)
        .operation("withNumbers:", &ShapesFilter::withNumbers)
        .operation("raising:", &ShapesFilter::raising)
        .operation("throwing:", &ShapesFilter::throwing);

Ref<ShapesFilter> filterWith(const char* action) {
  auto filter = ShapesFilter::init();
  filter->setActionForFilter(action, "f");
  return filter;
}

// ---- Registration

TEST(PLVDataMapFilter, ANewFilterHasNoActions) {
  const auto filter = PLVDataMapFilter::init();
  ASSERT_TRUE(filter->filterActions());
  EXPECT_EQ(filter->filterActions()->count(), 0u);
  EXPECT_EQ(PersonFilter::init()->filterActions()->count(), 0u);
}

TEST(PLVDataMapFilter, ARegisteredActionIsAPairOfTheFilterAndTheSelector) {
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("trim:", "t");
  const auto action = as<PLVTargetAction>(filter->filterActions()->objectForKey("t"));
  ASSERT_TRUE(action);
  EXPECT_TRUE(action->target().isIdentical(Value(filter)));
  EXPECT_EQ(action->action(), SEL("trim:"));
}

TEST(PLVDataMapFilter, AValueIsFilteredByTheActionOfThatName) {
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("trim:", "t");
  filter->setActionForFilter("shout:", "s");
  EXPECT_EQ(filter->valueFilteredBy(" a ", "t"), "a");
  EXPECT_EQ(filter->valueFilteredBy(" a ", "s"), " A ");
}

TEST(PLVDataMapFilter, ANameThatNobodyRegisteredGivesNothing) {
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("trim:", "trim");
  EXPECT_TRUE(filter->valueFilteredBy("a", "unknown").isNull());
  EXPECT_TRUE(filter->valueFilteredBy("a", "").isNull());
  EXPECT_TRUE(filter->valueFilteredBy("a", nullptr).isNull());
  EXPECT_TRUE(filter->received.empty());
}

TEST(PLVDataMapFilter, NamesAreCaseSensitive) {
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("trim:", "trim");
  EXPECT_TRUE(filter->valueFilteredBy("a", "Trim").isNull());
}

TEST(PLVDataMapFilter, ARemovedNameGivesNothing) {
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("trim:", "trim");
  filter->setActionForFilter("shout:", "shout");
  filter->removeActionForFilter("trim");
  EXPECT_TRUE(filter->valueFilteredBy("a", "trim").isNull());
  EXPECT_EQ(filter->valueFilteredBy("a", "shout"), "A");
}

TEST(PLVDataMapFilter, RemovingAnUnknownNameDoesNothing) {
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("trim:", "trim");
  filter->removeActionForFilter("unknown");
  filter->removeActionForFilter("");
  filter->removeActionForFilter(nullptr);
  EXPECT_EQ(filter->filterActions()->count(), 1u);
}

TEST(PLVDataMapFilter, ASecondActionOfTheSameNameReplacesTheFirst) {
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("trim:", "f");
  filter->setActionForFilter("shout:", "f");
  EXPECT_EQ(filter->valueFilteredBy(" a ", "f"), " A ");
  EXPECT_EQ(filter->filterActions()->count(), 1u);
}

TEST(PLVDataMapFilter, ANullNameCannotBeRegistered) {
  const auto filter = PersonFilter::init();
  EXPECT_EQ(raisedName([&] { filter->setActionForFilter("trim:", nullptr); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(filter->filterActions()->count(), 0u);
}

TEST(PLVDataMapFilter, AnEmptyNameIsANameLikeAnyOther) {
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("trim:", "");
  EXPECT_EQ(filter->valueFilteredBy(" a", ""), "a");
}

TEST(PLVDataMapFilter, TheTableOfActionsMayBeReplaced) {
  const auto filter = PersonFilter::init();
  const auto other = PersonFilter::init();
  const auto actions = NSMutableDictionary::dictionary();
  actions->setObjectForKey(PLVTargetAction::initWithTargetAction(Value(other), "trim:"), "t");
  filter->setFilterActions(actions);
  EXPECT_EQ(filter->filterActions().get(), actions.get()) << "shared, not copied";
  EXPECT_EQ(filter->valueFilteredBy(" a", "t"), "a");
  EXPECT_EQ(other->received.size(), 1u) << "the action's own target is performed on";
  EXPECT_TRUE(filter->received.empty());
}

TEST(PLVDataMapFilter, WithoutATableThereAreNoActions) {
  const auto filter = PersonFilter::init();
  filter->setFilterActions(nullptr);
  filter->setActionForFilter("trim:", "trim");
  filter->removeActionForFilter("trim");
  EXPECT_TRUE(filter->valueFilteredBy("a", "trim").isNull());
  EXPECT_FALSE(filter->filterActions());
}

TEST(PLVDataMapFilter, AnEntryThatIsNoActionRaises) {
  const auto filter = PersonFilter::init();
  filter->filterActions()->setObjectForKey("text", "f");
  EXPECT_NE(raisedBy([&] {
              filter->valueFilteredBy("a", "f");
            }).find("performWithObject:]: unrecognized selector"),
            std::string::npos);
}

TEST(PLVDataMapFilter, AFilterAndItsActionsDoNotKeepEachOtherAlive) {
  const LiveObjects objects;
  Weak<PersonFilter> weak;
  {
    const auto filter = PersonFilter::init();
    filter->setActionForFilter("trim:", "trim");
    weak = filter;
    EXPECT_TRUE(weak.load());
  }
  EXPECT_FALSE(weak.load());
  EXPECT_EQ(objects.count(), 0);
}

TEST(PLVDataMapFilter, ActionsThatOutliveTheirFilterGiveNothing) {
  auto first = PersonFilter::init();
  const auto second = PersonFilter::init();
  first->setActionForFilter("trim:", "trim");
  second->setFilterActions(first->filterActions());
  EXPECT_EQ(second->valueFilteredBy(" a", "trim"), "a");
  first = nullptr;
  EXPECT_TRUE(second->valueFilteredBy(" a", "trim").isNull());
}

// ---- Actions

TEST(PLVDataMapFilter, AnActionReceivesNothingWhereThereIsNothing) {
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("trim:", "trim");
  EXPECT_TRUE(filter->valueFilteredBy(nullptr, "trim").isNull());
  ASSERT_EQ(filter->received.size(), 1u);
  EXPECT_TRUE(filter->received[0].isNull());
}

TEST(PLVDataMapFilter, TheValueAndTheResultPassAsTheyAre) {
  const auto filter = PersonFilter::init();
  filter->setActionForFilter("trim:", "trim");
  for (const Value& value : {Value(NSNull::null()), Value(2.5), Value(true),
                             Value(NSMutableArray::array()), Value(NSString::classObject)}) {
    EXPECT_TRUE(filter->valueFilteredBy(value, "trim").isIdentical(value));
  }
}

TEST(PLVDataMapFilter, AnActionMayTakeAndGiveTypedReferences) {
  const auto filter = filterWith("asReference:");
  EXPECT_EQ(filter->valueFilteredBy("a", "f"), "a");
  EXPECT_TRUE(filter->valueFilteredBy(nullptr, "f").isNull());
  EXPECT_EQ(raisedName([&] { filter->valueFilteredBy(7, "f"); }), "NSInvalidArgumentException");
}

TEST(PLVDataMapFilter, AnActionWithoutAResultGivesNothing) {
  EXPECT_TRUE(filterWith("withoutResult:")->valueFilteredBy("a", "f").isNull());
}

TEST(PLVDataMapFilter, AnActionOfTwoArgumentsGetsNothingAsTheSecond) {
  EXPECT_EQ(filterWith("withTwo:and:")->valueFilteredBy("a", "f"),
            Value(NSArray::arrayWithObjects("a", NSNull::null())));
}

TEST(PLVDataMapFilter, AnActionWithoutArgumentsRaises) {
  EXPECT_EQ(raisedName([&] { filterWith("withoutArgument")->valueFilteredBy("a", "f"); }),
            "NSInvalidArgumentException");
}

TEST(PLVDataMapFilter, AnActionOfNumbersTakesNumbersOnly) {
  const auto filter = filterWith("withNumbers:");
  EXPECT_EQ(filter->valueFilteredBy(21, "f"), Value(42));
  EXPECT_EQ(raisedName([&] { filter->valueFilteredBy("21", "f"); }), "NSInvalidArgumentException");
}

TEST(PLVDataMapFilter, AnActionThatTheFilterDoesNotDeclareRaisesWhenItIsUsed) {
  EXPECT_NE(raisedBy([&] {
              filterWith("undeclared:")->valueFilteredBy("a", "f");
            }).find("-[ShapesFilter undeclared:]: unrecognized selector"),
            std::string::npos);
  EXPECT_NE(raisedBy([&] { filterWith("")->valueFilteredBy("a", "f"); }), "");
}

TEST(PLVDataMapFilter, WhatAnActionRaisesComesThrough) {
  EXPECT_EQ(raisedBy([&] { filterWith("raising:")->valueFilteredBy("a", "f"); }),
            "Refused: by the filter");
  EXPECT_THROW(filterWith("throwing:")->valueFilteredBy("a", "f"), std::runtime_error);
}

TEST(PLVDataMapFilter, TheRuntimeFindsItsOperationsByName) {
  const Value filter(PersonFilter::init());
  as<PersonFilter>(filter)->setActionForFilter("trim:", "trim");
  EXPECT_EQ(performSelector(filter, "value:filteredBy:", " a", "trim"), "a");
  performSelector(filter, "removeActionForFilter:", "trim");
  EXPECT_TRUE(performSelector(filter, "value:filteredBy:", " a", "trim").isNull());
}

// ---- The filter of a context

class AssociatedFilter : public MappingTest {};

TEST_F(AssociatedFilter, AContextHasNoFilterAtFirst) { EXPECT_FALSE(plv_dataMapFilter(context())); }

TEST_F(AssociatedFilter, TheAttachedFilterIsFound) {
  const auto filter = PersonFilter::init();
  plv_setDataMapFilter(context(), filter);
  EXPECT_EQ(plv_dataMapFilter(context()).get(), filter.get());
}

TEST_F(AssociatedFilter, NothingDetaches) {
  plv_setDataMapFilter(context(), PersonFilter::init());
  plv_setDataMapFilter(context(), nullptr);
  EXPECT_FALSE(plv_dataMapFilter(context()));
  plv_setDataMapFilter(context(), nullptr);
  EXPECT_FALSE(plv_dataMapFilter(context()));
}

TEST_F(AssociatedFilter, TheContextKeepsTheFilterUntilItIsReplaced) {
  Weak<PersonFilter> first, second;
  {
    const auto filter = PersonFilter::init();
    first = filter;
    plv_setDataMapFilter(context(), filter);
  }
  EXPECT_TRUE(first.load());
  {
    const auto filter = PersonFilter::init();
    second = filter;
    plv_setDataMapFilter(context(), filter);
  }
  EXPECT_FALSE(first.load());
  EXPECT_TRUE(second.load());
  plv_setDataMapFilter(context(), nullptr);
  EXPECT_FALSE(second.load());
}

TEST_F(AssociatedFilter, TheFilterGoesWithItsContext) {
  Weak<PersonFilter> weak;
  {
    const auto other = NSManagedObjectContext::init();
    const auto filter = PersonFilter::init();
    weak = filter;
    plv_setDataMapFilter(other, filter);
  }
  EXPECT_FALSE(weak.load());
}

TEST_F(AssociatedFilter, EachContextHasItsOwnAndMayShareIt) {
  const auto other = NSManagedObjectContext::init();
  const auto filter = PersonFilter::init();
  plv_setDataMapFilter(context(), filter);
  EXPECT_FALSE(plv_dataMapFilter(other));
  plv_setDataMapFilter(other, filter);
  plv_setDataMapFilter(context(), nullptr);
  EXPECT_EQ(plv_dataMapFilter(other).get(), filter.get());
}

TEST_F(AssociatedFilter, ANullContextHasNoneAndTakesNone) {
  plv_setDataMapFilter(nullptr, PersonFilter::init());
  EXPECT_FALSE(plv_dataMapFilter(nullptr));
}

TEST_F(AssociatedFilter, TheFilterSurvivesAReset) {
  const auto filter = attachFilter();
  context()->reset();
  EXPECT_EQ(plv_dataMapFilter(context()).get(), filter.get());
}

TEST_F(AssociatedFilter, AReaderOnAnotherThreadGetsTheOldOrTheNew) {
  const auto shared = NSManagedObjectContext::init();
  const LiveObjects objects;
  {
    const auto first = PersonFilter::init();
    first->setActionForFilter("shout:", "f");
    plv_setDataMapFilter(shared, first);
  }
  std::atomic<bool> stop{false};
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&] {
      while (!stop) {
        const auto filter = plv_dataMapFilter(shared);
        if (!filter || filter->valueFilteredBy("a", "f") != "A") ++wrong;
      }
    });
  }
  for (int round = 0; round < 5'000; ++round) {
    const auto next = PersonFilter::init();
    next->setActionForFilter("shout:", "f");
    plv_setDataMapFilter(shared, next);
  }
  stop = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
  plv_setDataMapFilter(shared, nullptr);
  EXPECT_EQ(objects.count(), 0) << "every filter that was replaced is gone";
}

}  // namespace
}  // namespace JNFoundation
