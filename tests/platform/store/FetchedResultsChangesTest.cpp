#include "tests/platform/store/FetchedResultsFixture.h"

#include <JNFoundation/platform/dispatch/NSRunLoop.h>
#include <JNFoundation/platform/store/NSFetchedResultsControllerDelegate.h>

namespace JNFoundation {
namespace {

/// What a delegate is told.
class FetchedResultsChangesTest : public FetchedResultsTest {
 protected:
  /// A controller with a view over items a to e of ranks 10 to 50, saved.
  void showFive(const Ref<NSPredicate>& predicate = nullptr) {
    for (int i = 0; i < 5; ++i) {
      const char name[] = {static_cast<char>('a' + i), 0};
      five.push_back(item(name, 10 * (i + 1)));
    }
    save();
    show(items({by("rank")}, predicate));
  }
  void show(const Ref<NSFetchRequest>& request, const char* section = nullptr) {
    controller = fetchedOf(request, section);
    view = ListView::of(controller);
  }
  std::string told() {
    process();
    view->expectTrue();
    auto fresh = fetchedOf(controller->fetchRequest());
    EXPECT_TRUE(controller->fetchedObjects()->isEqualToArray(fresh->fetchedObjects()))
        << names(controller->fetchedObjects()) << " is not " << names(fresh->fetchedObjects());
    return view->told();
  }
  static void set(const Ref<NSManagedObject>& object, const char* key, const Value& value) {
    object->setValueForKey(value, key);
  }

  std::vector<Ref<NSManagedObject>> five;
  Ref<NSFetchedResultsController> controller;
  Ref<ListView> view;
};

TEST_F(FetchedResultsChangesTest, NothingIsToldBeforeChangesAreProcessed) {
  showFive();
  set(five[0], "rank", 60);
  EXPECT_EQ(view->told(), "");
  EXPECT_TRUE(controller->indexPathForObject(five[0])->isEqual(Value(path(0, 0))));
  EXPECT_EQ(told(), "will, >a 0.0 0.4, did");
  EXPECT_TRUE(controller->indexPathForObject(five[0])->isEqual(Value(path(0, 4))));
  EXPECT_EQ(told(), "");
}

TEST_F(FetchedResultsChangesTest, TheEndOfTheTurnTells) {
  showFive();
  set(five[0], "rank", 60);
  NSRunLoop::currentRunLoop()->runModeBeforeDate(NSDefaultRunLoopMode, NSDate::distantPast());
  EXPECT_EQ(view->told(), "will, >a 0.0 0.4, did");
}

TEST_F(FetchedResultsChangesTest, AFetchDoesNotTellOfItself) {
  showFive();
  EXPECT_TRUE(controller->performFetch());
  EXPECT_EQ(told(), "");
  item("new", 0);
  EXPECT_TRUE(controller->performFetch()) << "with changes that nobody was told of";
  EXPECT_EQ(view->told(), "");
  view->reload();
  EXPECT_EQ(told(), "");
  EXPECT_EQ(names(controller), "new a b c d e");
}

TEST_F(FetchedResultsChangesTest, AnInsertHasANewPathOnly) {
  showFive();
  item("x", 25);
  EXPECT_EQ(told(), "will, +x 0.2, did") << "the others are only pushed along";
}

TEST_F(FetchedResultsChangesTest, ADeleteHasAnOldPathOnly) {
  showFive();
  context->deleteObject(five[1]);
  EXPECT_EQ(told(), "will, -b 0.1, did");
}

TEST_F(FetchedResultsChangesTest, WhatComesAndGoesInOneTurnIsNotTold) {
  showFive();
  context->deleteObject(item("x", 25));
  EXPECT_EQ(told(), "");
}

TEST_F(FetchedResultsChangesTest, ThePredicateDecidesWhoComesAndGoes) {
  showFive(NSPredicate::predicateWithFormat("rank < 45"));
  EXPECT_EQ(names(controller), "a b c d");
  set(five[4], "rank", 5);
  EXPECT_EQ(told(), "will, +e 0.0, did") << "it matches now";
  set(five[0], "rank", 100);
  EXPECT_EQ(told(), "will, -a 0.1, did") << "it does not match any more";
  set(five[0], "name", "A");
  EXPECT_EQ(told(), "") << "what is no result is of no interest";
}

TEST_F(FetchedResultsChangesTest, AnotherEntityIsOfNoInterest) {
  showFive();
  insert("Other");
  EXPECT_EQ(told(), "");
}

TEST_F(FetchedResultsChangesTest, AChangeThatMovesNothingIsAnUpdate) {
  showFive();
  set(five[1], "name", "B");
  EXPECT_EQ(told(), "will, =B 0.1 0.1, did");
  set(five[1], "rank", 29);
  EXPECT_EQ(told(), "will, =B 0.1 0.1, did") << "the sort key, but not the place";
  set(five[1], "rank", 29);
  EXPECT_EQ(told(), "will, =B 0.1 0.1, did") << "not even a change";
}

TEST_F(FetchedResultsChangesTest, AnUpdateThatOthersPushHasBothPaths) {
  showFive();
  set(five[3], "name", "D");
  context->deleteObject(five[0]);
  EXPECT_EQ(told(), "will, -a 0.0, =D 0.3 0.2, did");
}

TEST_F(FetchedResultsChangesTest, AMoveIsNoUpdateAsWell) {
  showFive();
  set(five[0], "name", "A");
  set(five[0], "rank", 35);
  EXPECT_EQ(told(), "will, >A 0.0 0.2, did");
}

TEST_F(FetchedResultsChangesTest, TheMixedExampleHasEachChangeOnce) {
  showFive();
  auto f = item("f", 60);
  save();
  EXPECT_EQ(told(), "will, +f 0.5, did");
  context->deleteObject(five[0]);
  set(five[1], "name", "B");
  set(five[4], "name", "E");
  set(five[2], "rank", 70);
  item("x", 5);
  item("y", 45);
  EXPECT_EQ(told(), "will, -a 0.0, +x 0.0, +y 0.3, >c 0.2 0.6, =B 0.1 0.1, =E 0.4 0.4, did");
}

TEST_F(FetchedResultsChangesTest, TheFewestObjectsMove) {
  showFive();
  // All of them change; one after another they are in order but for the first.
  for (std::size_t i = 0; i < 5; ++i) set(five[i], "rank", i == 0 ? 1000 : 11 + 10 * i);
  EXPECT_EQ(told(), "will, >a 0.0 0.4, =b 0.1 0.0, =c 0.2 0.1, =d 0.3 0.2, =e 0.4 0.3, did");
  set(five[1], "rank", 42);
  set(five[4], "rank", 21);
  EXPECT_EQ(told(), "will, >e 0.3 0.0, >b 0.0 0.3, did") << "the two between did not change";
}

TEST_F(FetchedResultsChangesTest, TwoNeighboursThatChangePlacesAreOneMove) {
  showFive();
  set(five[1], "rank", 30);
  set(five[2], "rank", 20);
  const std::string changes = told();
  EXPECT_TRUE(changes == "will, >b 0.1 0.2, =c 0.2 0.1, did" ||
              changes == "will, >c 0.2 0.1, =b 0.1 0.2, did")
      << changes;
}

TEST_F(FetchedResultsChangesTest, AMoveToTheSameNumbersPastOneThatLeavesIsAMove) {
  showFive();
  context->deleteObject(five[0]);
  set(five[1], "rank", 35);
  EXPECT_EQ(told(), "will, -a 0.0, >b 0.1 0.1, did") << "it changed places with c";
}

TEST_F(FetchedResultsChangesTest, SeveralCyclesAreSeveralBatches) {
  showFive();
  item("x", 0);
  process();
  item("y", 0);
  process();
  EXPECT_EQ(view->batches, 2);
}

TEST_F(FetchedResultsChangesTest, ASaveTellsWhatWasNotToldYet) {
  showFive();
  set(five[0], "name", "A");
  save();
  EXPECT_EQ(view->told(), "will, =A 0.0 0.0, did");
  save();
  EXPECT_EQ(view->told(), "");
}

TEST_F(FetchedResultsChangesTest, ARollbackTellsTheWayBack) {
  showFive();
  item("x", 25);
  set(five[0], "rank", 60);
  context->deleteObject(five[4]);
  EXPECT_EQ(told(), "will, -e 0.4, +x 0.1, >a 0.0 0.4, did");
  context->rollback();
  process();
  view->expectTrue();
  EXPECT_EQ(names(controller), "a b c d e");
}

TEST_F(FetchedResultsChangesTest, ADeletionTakenBackIsAnInsert) {
  showFive();
  context->deleteObject(five[2]);
  EXPECT_EQ(told(), "will, -c 0.2, did");
  context->insertObject(five[2]);
  EXPECT_EQ(told(), "will, +c 0.2, did");
}

TEST_F(FetchedResultsChangesTest, EqualKeysStandAsAFetchGivesThem) {
  auto c = item("c", 1);
  item("a", 1);
  save();
  show(items());
  EXPECT_EQ(names(controller), "c a");
  item("b", 1);
  item("0", 1);
  EXPECT_EQ(told(), "will, +b 0.2, +0 0.3, did") << "the unsaved ones last";
  save();
  EXPECT_EQ(told(), "");
  set(c, "rank", 2);
  EXPECT_EQ(told(), "will, >c 0.0 0.3, did");
  set(c, "rank", 1);
  EXPECT_EQ(told(), "will, >c 0.3 0.0, did") << "back to where its record stands";
}

TEST_F(FetchedResultsChangesTest, SaveThatReordersEqualKeysIsTold) {
  show(items());
  auto a = item("a", 1), b = item("b", 1);
  EXPECT_EQ(told(), "will, +a 0.0, +b 0.1, did");
  Ref<NSError> error;
  ASSERT_TRUE(context->obtainPermanentIDsForObjectsError(NSArray::arrayWithObject(b), &error));
  EXPECT_EQ(told(), "will, >b 0.1 0.0, did") << "it has a record's number already";
  save();
  EXPECT_EQ(told(), "");
}

TEST_F(FetchedResultsChangesTest, DescendingOrderAndNullsAreFollowed) {
  show(items({by("group", false), by("rank")}));
  auto a = item("a", 1, nullptr), b = item("b", 2, "x"), c = item("c", 3, "y");
  told();
  EXPECT_EQ(names(controller), "c b a");
  set(c, "group", nullptr);
  EXPECT_EQ(told(), "will, >c 0.0 0.2, did");
  set(a, "group", "z");
  EXPECT_EQ(told(), "will, >a 0.1 0.0, did");
}

TEST_F(FetchedResultsChangesTest, ARequestWithoutPendingChangesFollowsSaves) {
  for (int i = 0; i < 3; ++i) five.push_back(item(i == 0 ? "a" : i == 1 ? "b" : "c", i));
  save();
  auto wanted = items();
  wanted->setIncludesPendingChanges(false);
  show(wanted);
  item("x", 1);
  set(five[0], "rank", 9);
  context->deleteObject(five[2]);
  process();
  EXPECT_EQ(view->told(), "");
  EXPECT_EQ(names(controller), "a b c");
  save();
  EXPECT_EQ(view->told(), "will, -? 0.2, +x 0.1, >a 0.0 0.2, did");
  view->expectTrue();
}

// ---- Sections -----------------------------------------------------------------------------------

class FetchedResultsSectionsTest : public FetchedResultsChangesTest {
 protected:
  void SetUp() override {
    FetchedResultsChangesTest::SetUp();
    a1 = item("a1", 1, "A");
    a2 = item("a2", 2, "A");
    b1 = item("b1", 1, "B");
    c1 = item("c1", 1, "C");
    save();
    show(items({by("group"), by("rank")}), "group");
  }

  Ref<NSManagedObject> a1, a2, b1, c1;
};

TEST_F(FetchedResultsSectionsTest, SectionsComeAndGoBeforeTheirObjects) {
  EXPECT_EQ(names(controller), "A: a1 a2 B: b1 C: c1");
  context->deleteObject(b1);
  item("aa", 0, "AA");
  EXPECT_EQ(told(), "will, -section 1 B, +section 1 AA, -b1 1.0, +aa 1.0, did");
  EXPECT_EQ(names(controller), "A: a1 a2 AA: aa C: c1");
}

TEST_F(FetchedResultsSectionsTest, DeletesAreNumberedOfOldAndInsertsOfNew) {
  context->deleteObject(b1);
  context->deleteObject(c1);
  item("0", 0, "0");
  item("z", 0, "Z");
  EXPECT_EQ(told(),
            "will, -section 1 B, -section 2 C, +section 0 0, +section 2 Z, -b1 1.0, -c1 2.0, "
            "+0 0.0, +z 2.0, did");
}

TEST_F(FetchedResultsSectionsTest, ObjectsOfTwoSectionsInOneNewOne) {
  set(b1, "group", "Z");
  set(c1, "group", "Z");
  NSUInteger count = 0;
  view->onSection = [&] {
    const Ref<NSArray> sections = controller->sections();
    count = as<NSFetchedResultsSectionInfo>(sections->lastObject())->numberOfObjects();
  };
  EXPECT_EQ(told(),
            "will, -section 1 B, -section 2 C, +section 1 Z, >b1 1.0 1.0, >c1 2.0 1.1, did");
  EXPECT_EQ(count, 2u) << "they are in there when the section is told";
}

TEST_F(FetchedResultsSectionsTest, AMoveBetweenSectionsThatStay) {
  set(a2, "group", "B");
  EXPECT_EQ(told(), "will, >a2 0.1 1.1, did");
  EXPECT_EQ(names(controller), "A: a1 B: b1 a2 C: c1");
}

TEST_F(FetchedResultsSectionsTest, TheLastOfOneBecomesTheFirstOfTheNextInPlace) {
  set(a2, "group", "B");
  set(a2, "rank", 0);
  EXPECT_EQ(told(), "will, >a2 0.1 1.0, did") << "its place in the whole list is the same";
}

TEST_F(FetchedResultsSectionsTest, ASectionThatIsLeftAndEnteredAtOnceStays) {
  context->deleteObject(b1);
  item("b2", 5, "B");
  EXPECT_EQ(told(), "will, -b1 1.0, +b2 1.0, did");
}

TEST_F(FetchedResultsSectionsTest, ARenamedSectionIsAnotherOne) {
  set(b1, "group", "BB");
  EXPECT_EQ(told(), "will, -section 1 B, +section 1 BB, >b1 1.0 1.0, did");
}

TEST_F(FetchedResultsSectionsTest, TheNameOfASectionMayChangeWithoutTheSortKey) {
  show(items(), "level");
  EXPECT_EQ(names(controller), "low: a1 b1 c1 a2");
  set(a2, "rank", 100);
  EXPECT_EQ(told(), "will, +section 1 high, >a2 0.3 1.0, did");
  set(a2, "rank", 200);
  EXPECT_EQ(told(), "will, =a2 1.0 1.0, did");
}

TEST_F(FetchedResultsSectionsTest, ASectionThatGoesElsewhereIsDeletedAndInserted) {
  for (const auto& [object, score] :
       {std::pair{a1, 1}, std::pair{a2, 2}, std::pair{b1, 3}, std::pair{c1, 4}}) {
    set(object, "score", score);
  }
  show(items({by("score")}), "group");
  EXPECT_EQ(names(controller), "A: a1 a2 B: b1 C: c1");
  set(a1, "score", 3.5);
  set(a2, "score", 3.6);
  EXPECT_EQ(told(), "will, -section 0 A, +section 1 A, >a1 0.0 1.0, >a2 0.1 1.1, did");
  EXPECT_EQ(names(controller), "B: b1 A: a1 a2 C: c1");
}

TEST_F(FetchedResultsSectionsTest, SectionsThatAreTornStayInOnePieceUntilTheyAreWholeAgain) {
  for (const auto& [object, score] :
       {std::pair{a1, 1}, std::pair{a2, 2}, std::pair{b1, 3}, std::pair{c1, 4}}) {
    set(object, "score", score);
  }
  show(items({by("score")}), "group");
  set(a1, "score", 3.5);
  std::string changes;
  const auto lines = logged([&] {
    process();
    changes = view->told();
  });
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("out of order section name 'A."), std::string::npos);
  EXPECT_EQ(names(controller), "A: a2 a1 B: b1 C: c1");
  EXPECT_EQ(changes, "will, >a1 0.0 0.1, did") << "a2 did not change";
  view->expectTrue();

  const auto more = logged([&] {
    item("a3", 0, "A")->setValueForKey(5, "score");
    item("d", 0, "D")->setValueForKey(0, "score");
    process();
  });
  EXPECT_TRUE(more.empty()) << "said once";
  EXPECT_EQ(names(controller), "D: d A: a2 a1 a3 B: b1 C: c1");
  EXPECT_EQ(view->told(), "will, +section 0 D, +d 0.0, +a3 1.2, did");
  view->expectTrue();

  set(a2, "score", 3.2);
  set(as<NSManagedObject>(controller->objectAtIndexPath(path(1, 2))), "score", 3.7);
  EXPECT_EQ(told(), "will, -section 2 B, +section 1 B, >b1 2.0 1.0, =a2 1.0 2.0, =a3 1.2 2.2, did")
      << "whole again, so as a fetch gives it";
  EXPECT_EQ(names(controller), "D: d B: b1 A: a2 a1 a3 C: c1");
}

TEST_F(FetchedResultsSectionsTest, ANewSectionInTheMiddleOfAnotherTearsIt) {
  for (const auto& [object, score] :
       {std::pair{a1, 1}, std::pair{a2, 5}, std::pair{b1, 6}, std::pair{c1, 7}}) {
    set(object, "score", score);
  }
  show(items({by("score")}), "group");
  logged([&] {
    item("n", 0, "N")->setValueForKey(3, "score");
    process();
  });
  EXPECT_EQ(names(controller), "A: a1 a2 N: n B: b1 C: c1");
  EXPECT_EQ(view->told(), "will, +section 1 N, +n 1.0, did");
  view->expectTrue();
  context->deleteObject(a1);
  EXPECT_EQ(told(), "will, -section 1 N, +section 0 N, -a1 0.0, >n 1.0 0.0, did");
}

// ---- Whether there is somebody to tell ----------------------------------------------------------

TEST_F(FetchedResultsChangesTest, WithoutADelegateNothingIsFollowed) {
  showFive();
  controller->setDelegate(nullptr);
  EXPECT_FALSE(controller->delegate());
  item("x", 25);
  context->deleteObject(five[0]);
  process();
  save();
  EXPECT_EQ(controller->fetchedObjects()->count(), 5u);
  EXPECT_EQ(view->told(), "");
}

TEST_F(FetchedResultsChangesTest, ADelegateThatIsSetLaterHearsOfWhatComesThen) {
  showFive();
  controller->setDelegate(nullptr);
  item("x", 25);
  process();
  controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(view));
  EXPECT_EQ(controller->delegate().get(), view.get());
  item("y", 35);
  process();
  EXPECT_EQ(view->told(), "will, +y 0.3, did") << "x was missed";
  EXPECT_TRUE(controller->performFetch());
  EXPECT_EQ(names(controller), "a b x c y d e");
}

TEST_F(FetchedResultsChangesTest, TheDelegateIsNotKeptAlive) {
  showFive();
  const Weak<ListView> weak(view);
  view = nullptr;
  EXPECT_FALSE(weak.load());
  EXPECT_FALSE(controller->delegate());
  item("x", 25);
  process();
  EXPECT_EQ(controller->fetchedObjects()->count(), 5u);
}

TEST_F(FetchedResultsChangesTest, ADelegateThatAnswersNothingHasNothingTracked) {
  showFive();
  view->answered = [](ListView::Callback) { return false; };
  item("x", 25);
  process();
  EXPECT_EQ(controller->fetchedObjects()->count(), 5u);
  view->answered = [](ListView::Callback each) {
    return each == ListView::Callback::SectionIndexTitle;
  };
  item("y", 25);
  process();
  EXPECT_EQ(controller->fetchedObjects()->count(), 5u) << "titles are no changes";
}

TEST_F(FetchedResultsChangesTest, WhatADelegateDoesNotAnswerIsNotCalled) {
  showFive();
  for (const auto only :
       {ListView::Callback::WillChangeContent, ListView::Callback::DidChangeObject,
        ListView::Callback::DidChangeContent}) {
    view->ignores = true;
    view->answered = [only](ListView::Callback each) { return each == only; };
    view->isInBatch = only != ListView::Callback::WillChangeContent;
    view->objectChanges.clear();
    item("x", 25);
    process();
    EXPECT_EQ(view->log.size(), 1u);
    view->told();
    view->isInBatch = false;
  }
  EXPECT_EQ(controller->fetchedObjects()->count(), 8u) << "one answer is enough to follow";
}

TEST_F(FetchedResultsChangesTest, AResetEndsItUntilTheNextFetch) {
  showFive();
  const Ref<NSArray> before = controller->fetchedObjects();
  context->reset();
  EXPECT_EQ(view->told(), "");
  EXPECT_EQ(controller->fetchedObjects(), before);
  item("x", 25);
  process();
  EXPECT_EQ(view->told(), "");
  EXPECT_TRUE(controller->performFetch());
  EXPECT_EQ(names(controller), "a b x c d e");
  view->reload();
  item("y", 26);
  EXPECT_EQ(told(), "will, +y 0.3, did");
}

TEST_F(FetchedResultsChangesTest, ObjectsThatCannotBeJudgedAreNoResults) {
  showFive();
  controller = fetchedOf(items({by("rank")}, NSPredicate::predicateWithFormat("name != 'z'")));
  auto judged =
      items({by("rank")},
            NSPredicate::predicateWithBlock([](const Value& object, const Ref<NSDictionary>&) {
              const auto* item = as<NSManagedObject>(object);
              if (item && item->valueForKey("rank").intValue() == 99) {
                raise(NSGenericException, "not this one");
              }
              return true;
            }));
  show(judged);
  set(five[0], "rank", 99);
  const auto lines = logged([&] { process(); });
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_NE(lines[0].find("not this one"), std::string::npos);
  EXPECT_EQ(view->told(), "will, -a 0.0, did");
}

TEST_F(FetchedResultsChangesTest, APredicateMayNameAnObjectOrItsIdentifier) {
  showFive();
  auto wanted = items({by("rank")},
                      NSPredicate::predicateWithFormat("SELF == %@", Value(five[1]->objectID())));
  show(wanted);
  EXPECT_EQ(names(controller), "b");
  set(five[1], "name", "B");
  set(five[2], "name", "C");
  EXPECT_EQ(told(), "will, =B 0.0 0.0, did");
}

}  // namespace
}  // namespace JNFoundation
