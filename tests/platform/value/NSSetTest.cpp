#include <algorithm>
#include <gtest/gtest.h>
#include <limits>
#include <string>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/Listed.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"
#include "platform/value/Reentrant.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

using testing::listed;
using testing::LiveObjects;
using testing::raisedBy;
using testing::raisedName;
using testing::Randomness;
using testing::Reentrant;

Ref<NSMutableSet> setOfNumbers(NSInteger count) {
  Ref<NSMutableSet> set = NSMutableSet::set();
  for (NSInteger i = 0; i < count; ++i) set->addObject(i);
  return set;
}

/// A view of another set, which remembers how it was changed.
class View : public Subclass<View, NSMutableSet> {
 public:
  explicit View(Ref<NSMutableSet> source)
      : Subclass(Representation::Foreign), _source(std::move(source)) {}
  std::string changes;

 protected:
  Ref<NSSet> foreignContents() const override { return as<NSSet>(_source->copy()); }
  void foreignAddObject(const Value& object) override {
    changes += "+" + object.description()->toStdString();
    _source->addObject(object);
  }
  void foreignRemoveObject(const Value& object) override {
    changes += "-" + object.description()->toStdString();
    _source->removeObject(object);
  }

 private:
  Ref<NSMutableSet> _source;
};

/// A view that forgot to say how it is changed.
class StiffView : public Subclass<StiffView, NSMutableSet> {
 public:
  StiffView() : Subclass(Representation::Foreign) {}

 protected:
  Ref<NSSet> foreignContents() const override { return NSSet::setWithObject(1); }
};

class Tag : public Subclass<Tag, NSObject> {
 public:
  static Ref<Tag> named(const Ref<NSString>& name) {
    Ref<Tag> made = makeObject<Tag>();
    made->_name = name;
    return made;
  }
  Ref<NSString> name() const { return _name; }
  void setName(const Ref<NSString>& name) { _name = name; }

 private:
  Ref<NSString> _name;
};
const ClassDeclaration<Tag> declarationOfTag =
    ClassDeclaration<Tag>().property("name", &Tag::name, &Tag::setName);

TEST(NSSet, HoldsEqualValuesOnceInTheOrderOfTheFirst) {
  EXPECT_EQ(listed(NSSet::setWithObjects("b", 1, "a", 1.0, true, "b")), "b 1 a");
  EXPECT_EQ(listed(NSSet::setWithValues({2, 2, 3})), "2 3");
  EXPECT_EQ(listed(NSSet::setWithArray(NSArray::arrayWithObjects(3, 3, 1))), "3 1");
  EXPECT_EQ(listed(NSMutableSet::setWithArray(NSArray::arrayWithObjects(3, 3, 1))), "3 1");
}

TEST(NSSet, ListsEndAtTheFirstNull) {
  EXPECT_EQ(listed(NSSet::setWithObjects(1, nullptr, 2)), "1");
  EXPECT_EQ(listed(NSMutableSet::setWithObjects(1, 2, nullptr, 3)), "1 2");
  EXPECT_EQ(NSSet::setWithObjects()->count(), 0u);
}

TEST(NSSet, NullIsRefusedAndChangesNothing) {
  EXPECT_EQ(raisedBy([] {
              NSSet::setWithValues({1, nullptr});
            }),
            "NSInvalidArgumentException: *** -[__NSPlaceholderSet initWithObjects:count:]: attempt "
            "to insert nil object from objects[1]");
  EXPECT_EQ(raisedName([] { NSSet::setWithObject(nullptr); }), NSInvalidArgumentException);
  EXPECT_EQ(raisedName([] { NSSet::set()->setByAddingObject(nullptr); }),
            NSInvalidArgumentException);
  Ref<NSMutableSet> set = setOfNumbers(2);
  EXPECT_EQ(raisedBy([&] { set->addObject(nullptr); }),
            "NSInvalidArgumentException: *** -[__NSSetM addObject:]: object cannot be nil");
  set->removeObject(nullptr);
  EXPECT_EQ(listed(set), "0 1");
}

TEST(NSSet, FindsMembersByEquality) {
  Ref<Reentrant> member = Reentrant::numbered(7);
  Ref<NSSet> set = NSSet::setWithObjects(1, "a", member);
  EXPECT_TRUE(set->containsObject(1.0));
  EXPECT_TRUE(set->containsObject("a"));
  EXPECT_FALSE(set->containsObject("b"));
  EXPECT_FALSE(set->containsObject(nullptr));
  EXPECT_TRUE(set->member(Reentrant::numbered(7)).isIdentical(member));
  EXPECT_TRUE(set->member(Reentrant::numbered(8)).isNull());
  EXPECT_TRUE(set->member(nullptr).isNull());
  EXPECT_EQ(set->anyObject(), Value(1));
  EXPECT_TRUE(NSSet::set()->anyObject().isNull());
  EXPECT_EQ(listed(set->allObjects()), "1 a #7");
}

TEST(NSSet, SetsAreComparedAsSets) {
  Ref<NSSet> small = NSSet::setWithObjects(1, 2);
  Ref<NSSet> large = NSSet::setWithObjects(3, 2, 1);
  EXPECT_TRUE(small->isSubsetOfSet(large));
  EXPECT_FALSE(large->isSubsetOfSet(small));
  EXPECT_TRUE(small->isSubsetOfSet(small));
  EXPECT_TRUE(NSSet::set()->isSubsetOfSet(small));
  EXPECT_TRUE(small->intersectsSet(large));
  EXPECT_FALSE(small->intersectsSet(NSSet::setWithObjects(3, 4)));
  EXPECT_FALSE(small->intersectsSet(NSSet::set()));
  EXPECT_TRUE(small->isEqualToSet(NSSet::setWithObjects(2, 1.0)));
  EXPECT_FALSE(small->isEqualToSet(large));
}

TEST(NSSet, ANullCollectionCountsAsEmpty) {
  Ref<NSMutableSet> set = setOfNumbers(2);
  EXPECT_FALSE(set->isSubsetOfSet(nullptr));
  EXPECT_TRUE(NSSet::set()->isSubsetOfSet(nullptr));
  EXPECT_FALSE(set->intersectsSet(nullptr));
  EXPECT_TRUE(NSSet::set()->isEqualToSet(nullptr));
  EXPECT_FALSE(set->isEqualToSet(nullptr));
  EXPECT_EQ(NSSet::setWithArray(nullptr)->count(), 0u);
  EXPECT_EQ(NSSet::setWithSet(nullptr)->count(), 0u);
  EXPECT_EQ(NSMutableSet::setWithSet(nullptr)->count(), 0u);
  set->unionSet(nullptr);
  set->minusSet(nullptr);
  set->addObjectsFromArray(nullptr);
  EXPECT_EQ(set->setByAddingObjectsFromSet(nullptr)->count(), 2u);
  EXPECT_EQ(set->setByAddingObjectsFromArray(nullptr)->count(), 2u);
  EXPECT_EQ(set->count(), 2u);
  set->intersectSet(nullptr);
  EXPECT_EQ(set->count(), 0u);
  set->addObject(1);
  set->setSet(nullptr);
  EXPECT_EQ(set->count(), 0u);
}

TEST(NSSet, DerivedSetsLeaveTheReceiverAlone) {
  Ref<NSSet> set = NSSet::setWithObjects(1, 2);
  EXPECT_EQ(listed(set->setByAddingObject(3)), "1 2 3");
  EXPECT_EQ(listed(set->setByAddingObject(2)), "1 2");
  EXPECT_EQ(listed(set->setByAddingObjectsFromSet(NSSet::setWithObjects(2, 4))), "1 2 4");
  EXPECT_EQ(listed(set->setByAddingObjectsFromArray(NSArray::arrayWithObjects(4, 4))), "1 2 4");
  EXPECT_EQ(listed(set), "1 2");
}

TEST(NSSet, SetsAreUnitedSubtractedAndIntersected) {
  Ref<NSMutableSet> set = setOfNumbers(4);
  set->unionSet(NSSet::setWithObjects(3, 9));
  EXPECT_EQ(listed(set), "0 1 2 3 9");
  set->minusSet(NSSet::setWithObjects(0, 5, 9));
  EXPECT_EQ(listed(set), "1 2 3");
  set->intersectSet(NSSet::setWithObjects(3, 2, 8));
  EXPECT_EQ(listed(set), "2 3");
  set->setSet(NSSet::setWithObjects("a"));
  EXPECT_EQ(listed(set), "a");
}

TEST(NSSet, ASetMayBeItsOwnArgument) {
  Ref<NSMutableSet> set = setOfNumbers(20);
  set->unionSet(set);
  set->intersectSet(set);
  set->setSet(set);
  EXPECT_EQ(set->count(), 20u);
  EXPECT_TRUE(set->isSubsetOfSet(set));
  set->minusSet(set);
  EXPECT_EQ(set->count(), 0u);
}

TEST(NSSet, BlocksSeeEveryMemberUntilTheyStop) {
  std::string seen;
  setOfNumbers(9)->enumerateObjectsUsingBlock([&](const Value& object, bool& stop) {
    seen += object.description()->toStdString();
    stop = object == Value(2);
  });
  EXPECT_EQ(seen, "012");
  EXPECT_EQ(listed(setOfNumbers(9)->objectsPassingTest(
                [](const Value& object, bool&) { return object.integerValue() % 3 == 0; })),
            "0 3 6");
  EXPECT_EQ(listed(setOfNumbers(9)->objectsPassingTest([](const Value& object, bool& stop) {
              stop = object == Value(1);
              return true;
            })),
            "0 1");
}

TEST(NSSet, AChangeDuringAWalkIsNoticed) {
  Ref<NSMutableSet> set = setOfNumbers(3);
  EXPECT_EQ(raisedName([&] {
              set->enumerateObjectsUsingBlock([&](const Value&, bool&) { set->addObject(9); });
            }),
            NSGenericException);
  EXPECT_EQ(raisedName([&] {
              for (const Value& object : *set) set->removeObject(object);
            }),
            NSGenericException);
  set->enumerateObjectsUsingBlock([&](const Value&, bool&) { set->addObject(9); });
  set->enumerateObjectsUsingBlock([&](const Value& object, bool& stop) {
    set->removeAllObjects();
    EXPECT_EQ(object, Value(1));
    stop = true;
  });
  EXPECT_EQ(set->count(), 0u);
}

TEST(NSSet, ASetOutlivesItsOwnEnumeration) {
  const LiveObjects alive;
  Ref<NSSet> set = NSSet::setWithObjects(Reentrant::numbered(1), Reentrant::numbered(2));
  std::string seen;
  set->enumerateObjectsUsingBlock([&](const Value& object, bool&) {
    set = nullptr;
    seen += object.description()->toStdString();
  });
  EXPECT_EQ(seen, "#1#2");
  EXPECT_EQ(alive.count(), 0);
}

TEST(NSSet, CopiesAreImmutableAndIndependent) {
  Ref<NSMutableSet> set = setOfNumbers(3);
  set->removeObject(1);
  const Value copy = set->copy();
  set->addObject(7);
  EXPECT_EQ(listed(as<NSSet>(copy)), "0 2");
  EXPECT_FALSE(isKindOf<NSMutableSet>(copy));
  EXPECT_TRUE(copy.copy().isIdentical(copy));
  const Value changed = as<NSSet>(copy)->mutableCopy();
  as<NSMutableSet>(changed)->addObject(9);
  EXPECT_EQ(listed(as<NSSet>(copy)), "0 2");
}

TEST(NSSet, ClassesHaveTheNamesThatLogsShow) {
  EXPECT_EQ(NSSet::set()->class_().name(), "__NSSetI");
  EXPECT_EQ(setOfNumbers(1)->class_().name(), "__NSSetM");
  EXPECT_TRUE(isKindOf<NSMutableSet>(Value(NSMutableSet::classObject.newInstance())));
}

TEST(NSSet, TheRuntimeFindsItsOperations) {
  Ref<NSMutableSet> set = setOfNumbers(2);
  performSelector(Value(set), "addObject:", "new");
  EXPECT_EQ(performSelector(Value(set), "count"), Value(3));
  EXPECT_EQ(performSelector(Value(set), "containsObject:", "new"), Value(true));
}

TEST(NSSet, AKeyIsReadOfEveryMemberWithoutNullAndTwins) {
  Ref<NSSet> tags =
      NSSet::setWithObjects(Tag::named("a"), Tag::named(nullptr), Tag::named("b"), Tag::named("a"));
  EXPECT_EQ(tags->count(), 4u);
  EXPECT_EQ(listed(as<NSSet>(tags->valueForKey("name"))), "a b");
  EXPECT_EQ(tags->valueForKey("@count"), Value(4));
  tags->setValueForKey("c", "name");
  EXPECT_EQ(listed(as<NSSet>(tags->valueForKey("name"))), "c");
  EXPECT_EQ(raisedName([&] { tags->valueForKey("age"); }), NSUndefinedKeyException);
  EXPECT_EQ(raisedName([] { setOfNumbers(1)->setValueForKey(1, "name"); }),
            NSUndefinedKeyException);
}

TEST(NSSet, AViewIsReadThroughItsContents) {
  Ref<NSMutableSet> source = setOfNumbers(3);
  Ref<View> view = makeObject<View>(source);
  EXPECT_EQ(listed(view), "0 1 2");
  EXPECT_EQ(view->count(), 3u);
  EXPECT_TRUE(view->containsObject(1));
  EXPECT_TRUE(view->isEqual(Value(setOfNumbers(3))));
  EXPECT_TRUE(setOfNumbers(3)->isEqual(Value(view)));
  EXPECT_EQ(listed(view->setByAddingObject(7)), "0 1 2 7");
  source->addObject(4);
  EXPECT_EQ(listed(view->allObjects()), "0 1 2 4");
  const Value copy = view->copy();
  source->removeAllObjects();
  EXPECT_EQ(as<NSSet>(copy)->count(), 4u);
  EXPECT_TRUE(view->anyObject().isNull());
}

TEST(NSSet, EveryChangeOfAViewArrivesAtItsHooks) {
  Ref<View> view = makeObject<View>(setOfNumbers(2));
  view->addObject(5);
  view->removeObject(0);
  view->unionSet(NSSet::setWithObjects(1, 6));
  view->minusSet(NSSet::setWithObjects(6));
  view->intersectSet(NSSet::setWithObjects(5));
  EXPECT_EQ(view->changes, "+5-0+1+6-6-1");
  view->changes.clear();
  view->setSet(NSSet::setWithObjects(8));
  view->removeAllObjects();
  EXPECT_EQ(view->changes, "-5+8-8");
  EXPECT_EQ(raisedName([&] { view->addObject(nullptr); }), NSInvalidArgumentException);
}

TEST(NSSet, AViewThatCannotBeChangedSaysSo) {
  Ref<StiffView> view = makeObject<StiffView>();
  EXPECT_EQ(raisedBy([&] { view->addObject(1); }),
            "NSInternalInconsistencyException: *** -[StiffView addObject:]: only defined by a "
            "subclass");
  EXPECT_EQ(raisedName([&] { view->removeAllObjects(); }), NSInternalInconsistencyException);
}

TEST(NSSet, TheEndOfWhatIsRemovedMayChangeTheSet) {
  const LiveObjects alive;
  {
    const std::vector<Block<void(NSMutableSet&)>> removals = {
        [](NSMutableSet& set) { set.removeAllObjects(); },
        [](NSMutableSet& set) { set.removeObject(Reentrant::numbered(1)); },
        [](NSMutableSet& set) { set.setSet(nullptr); },
        [](NSMutableSet& set) { set.intersectSet(nullptr); },
        [](NSMutableSet& set) { set.minusSet(NSSet::setWithObject(Reentrant::numbered(2))); }};
    const std::vector<Block<void(NSMutableSet&)>> attacks = {
        [](NSMutableSet& set) { set.addObject("late"); },
        [](NSMutableSet& set) { set.removeAllObjects(); },
        [](NSMutableSet& set) {
          for (int i = 0; i < 50; ++i) set.addObject(i);
        }};
    for (const auto& removal : removals) {
      for (const auto& attack : attacks) {
        Ref<NSMutableSet> set = NSMutableSet::set();
        int ends = 0;
        for (NSInteger i = 0; i < 3; ++i) {
          Ref<Reentrant> object = Reentrant::numbered(i);
          object->whenGone = [&ends, &set, &attack] {
            ++ends;
            attack(*set);
          };
          set->addObject(object);
        }
        removal(*set);
        EXPECT_GT(ends, 0);
        for (const Value& object : *set) EXPECT_TRUE(set->containsObject(object));
        set->removeAllObjects();
        EXPECT_EQ(ends, 3);
        set->removeAllObjects();
      }
    }
  }
  EXPECT_EQ(alive.count(), 0);
}

TEST(NSSet, ASearchWhoseEqualityChangesTheSetIsGivenUp) {
  Ref<NSMutableSet> set = NSMutableSet::set();
  Ref<Reentrant> member = Reentrant::numbered(1);
  set->addObject(member);
  member->whenCompared = [&] { set->removeAllObjects(); };
  EXPECT_EQ(raisedName([&] { set->addObject(Reentrant::numbered(1)); }), NSGenericException);
  EXPECT_EQ(set->count(), 0u);
}

TEST(NSSet, AgreesWithAPlainListWhateverIsDone) {
  Randomness random;
  JN_TRACE_SEED(random);
  for (int run = 0; run < 50; ++run) {
    Ref<NSMutableSet> set = NSMutableSet::set();
    std::vector<NSInteger> model;
    for (int step = 0; step < 300; ++step) {
      const auto number = static_cast<NSInteger>(random.below(40));
      const auto known = std::find(model.begin(), model.end(), number);
      if (random.below(2) == 0) {
        set->addObject(number);
        if (known == model.end()) model.push_back(number);
      } else {
        set->removeObject(number);
        if (known != model.end()) model.erase(known);
      }
      std::string expected;
      for (const NSInteger member : model) {
        expected += (expected.empty() ? "" : " ") + std::to_string(member);
      }
      ASSERT_EQ(listed(set), expected);
    }
  }
}

TEST(NSSet, AMillionMembersAreHandledInLinearTime) {
  Ref<NSMutableSet> set = setOfNumbers(1'000'000);
  Ref<NSSet> copy = as<NSSet>(set->copy());
  EXPECT_TRUE(copy->isEqual(Value(set)));
  EXPECT_TRUE(copy->isSubsetOfSet(set));
  while (set->count() > 1) set->removeObject(set->anyObject());
  EXPECT_EQ(listed(set), "999999");
  set->unionSet(copy);
  EXPECT_EQ(set->count(), 1'000'000u);
}

TEST(NSSetDeathTest, ANullBlockStopsTheProgram) {
  EXPECT_DEATH(setOfNumbers(1)->enumerateObjectsUsingBlock(nullptr), "enumerateObjectsUsingBlock:");
  EXPECT_DEATH(setOfNumbers(1)->objectsPassingTest(nullptr), "objectsPassingTest:");
}

}  // namespace
}  // namespace JNFoundation
