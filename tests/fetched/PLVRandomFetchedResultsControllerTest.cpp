#include "tests/fetched/SampleFixture.h"
#include "tests/platform/value/LiveObjects.h"

#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>
#include <JNFoundation/platform/dispatch/NSNotificationCenter.h>
#include <JNFoundation/platform/store/NSBatchDeleteRequest.h>
#include <JNFoundation/platform/store/NSBatchDeleteResult.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

/// [A, B, C, D, E] sampled as [D, B], if not said otherwise.
class PLVRandomFetchedResultsControllerTest : public SampleTest {
 protected:
  void show(std::vector<std::uint32_t> draws = {3, 1}, NSUInteger limit = 2) {
    fill({"A", "B", "C", "D", "E"});
    RandomSourceScope scope(numbers(std::move(draws)));
    controller = sampledOf(limit);
    view = StripView::of(controller);
  }

  /// Processes what changed, with these draws and no more.
  void process(std::vector<std::uint32_t> draws = {}) {
    RandomSourceScope scope(numbers(std::move(draws)));
    context->processPendingChanges();
  }

  std::string sampled() const { return indexes(controller->sample()->sampleIndexes()); }

  Ref<PLVRandomFetchedResultsController> controller;
  Ref<StripView> view;
};

// ---- Reading ------------------------------------------------------------------------------------

TEST_F(PLVRandomFetchedResultsControllerTest, NothingIsThereBeforeAFetch) {
  fill({"A", "B"});
  controller = randomOf(2);
  EXPECT_EQ(controller->sampleLimit(), 2u);
  EXPECT_FALSE(controller->sample());
  EXPECT_FALSE(controller->sections());
  EXPECT_FALSE(controller->fetchedObjects());
  EXPECT_FALSE(controller->indexPathForObject(all[0]));
  EXPECT_TRUE(controller->objectAtIndexPath(path(0, 0)).isNull());
  controller->resampleFetchedObjects();
  EXPECT_FALSE(controller->sample());
  controller->resampleFetchedObjectsWithLimit(7);
  EXPECT_FALSE(controller->sample());
  EXPECT_EQ(controller->sampleLimit(), 7u);
  view = StripView::of(controller);
  all[0]->setValueForKey(99, "rank");
  process();
  EXPECT_EQ(view->told(), "");
}

TEST_F(PLVRandomFetchedResultsControllerTest, TheSampleIsTheOnlySection) {
  show();
  ASSERT_EQ(controller->sections()->count(), 1u);
  EXPECT_TRUE(controller->sections()->objectAtIndex(0).isIdentical(Value(controller->sample())));
  EXPECT_EQ(names(controller), "D B");
  EXPECT_FALSE(controller->sample()->name()) << "results without sections have no name";
  EXPECT_EQ(controller->sample()->fetchedResults()->fetchedObjects()->count(), 5u);
}

TEST_F(PLVRandomFetchedResultsControllerTest, PositionsAreThoseInTheSample) {
  show();
  EXPECT_TRUE(controller->indexPathForObject(all[3])->isEqual(path(0, 0)));
  EXPECT_TRUE(controller->indexPathForObject(all[1])->isEqual(path(0, 1)));
  EXPECT_FALSE(controller->indexPathForObject(all[0])) << "it exists, but was not drawn";
  EXPECT_FALSE(controller->indexPathForObject(nullptr));
  EXPECT_FALSE(controller->indexPathForObject("no object"));
}

TEST_F(PLVRandomFetchedResultsControllerTest, AskingForTheObjectAtAPathRaises) {
  show();
  try {
    controller->objectAtIndexPath(path(0, 0));
    FAIL() << "a sample does not answer objectAtIndex:";
  } catch (const Raised& raised) {
    EXPECT_TRUE(raised.exception()->name()->isEqual(NSInvalidArgumentException));
    const std::string reason = raised.exception()->reason()->toStdString();
    EXPECT_EQ(reason.find("-[PLVRandomFetchedResultsSample objectAtIndex:]: unrecognized selector"),
              0u)
        << reason;
  }
  EXPECT_THROW(controller->objectAtIndexPath(nullptr), Raised);
  try {
    controller->objectAtIndexPath(path(1, 0));
    FAIL() << "there is one section";
  } catch (const Raised& raised) {
    EXPECT_TRUE(raised.exception()->name()->isEqual(NSRangeException));
  }
}

TEST_F(PLVRandomFetchedResultsControllerTest, TheRestIsThatOfTheFullResults) {
  fill({"A"});
  const auto request = items();
  controller = randomOf(2, request);
  EXPECT_EQ(controller->fetchRequest(), request);
  EXPECT_EQ(controller->managedObjectContext(), context);
  EXPECT_FALSE(controller->sectionNameKeyPath());
  EXPECT_FALSE(controller->cacheName());
  const auto plain = fetchedOf(request);
  ASSERT_TRUE(controller->performFetch());
  EXPECT_TRUE(controller->sectionIndexTitles()->isEqualToArray(plain->sectionIndexTitles()));
  EXPECT_TRUE(controller->sectionIndexTitleForSectionName("beta")->isEqual("B"));
  EXPECT_EQ(controller->sectionForSectionIndexTitleAtIndex("B", 0),
            plain->sectionForSectionIndexTitleAtIndex("B", 0));
}

TEST_F(PLVRandomFetchedResultsControllerTest, WhatTheBaseRefusesIsRefused) {
  EXPECT_THROW(randomOf(2, nullptr), Raised);
  EXPECT_THROW(randomOf(2, items({})), Raised);
  EXPECT_THROW(
      PLVRandomFetchedResultsController::initWithFetchRequestManagedObjectContextSampleLimit(
          items(), nullptr, 2),
      Raised);
}

TEST_F(PLVRandomFetchedResultsControllerTest, ItIsAFetchedResultsController) {
  show();
  const Value value(controller);
  EXPECT_TRUE(isKindOf<NSFetchedResultsController>(value));
  const Ref<NSFetchedResultsController> base = controller;
  EXPECT_EQ(names(base->fetchedObjects()), "D B");
  EXPECT_EQ(base->delegate().get(), static_cast<NSFetchedResultsControllerDelegate*>(view.get()));
  EXPECT_EQ(performSelector(value, "sampleLimit").integerValue(), 2);
}

class OwnRandom : public Subclass<OwnRandom, PLVRandomFetchedResultsController> {
 public:
  void resampleFetchedObjects() override {
    ++resampled;
    PLVRandomFetchedResultsController::resampleFetchedObjects();
  }
  int resampled = 0;

 protected:
  using Subclass::Subclass;
};

TEST_F(PLVRandomFetchedResultsControllerTest, ASubclassMayResampleInItsOwnWay) {
  fill({"A", "B"});
  const Ref<OwnRandom> own =
      OwnRandom::initWithFetchRequestManagedObjectContextSampleLimit(items(), context, 1);
  ASSERT_TRUE(own->performFetch());
  own->resampleFetchedObjectsWithLimit(2);
  EXPECT_EQ(own->resampled, 2);
  EXPECT_EQ(own->fetchedObjects()->count(), 2u);
}

// ---- Fetching and resampling --------------------------------------------------------------------

TEST_F(PLVRandomFetchedResultsControllerTest, AFetchAndAResamplingDrawAnewAndTellNothing) {
  show();
  const auto first = controller->sample();
  {
    RandomSourceScope scope(numbers({0, 4}));
    ASSERT_TRUE(controller->performFetch());
  }
  EXPECT_EQ(names(controller), "A E");
  EXPECT_NE(controller->sample(), first);
  {
    RandomSourceScope scope(numbers({2, 2}));
    controller->resampleFetchedObjects();
  }
  EXPECT_EQ(names(controller), "C D");
  {
    RandomSourceScope scope(numbers({4}));
    controller->resampleFetchedObjectsWithLimit(1);
  }
  EXPECT_EQ(names(controller), "E");
  EXPECT_EQ(controller->sampleLimit(), 1u);
  EXPECT_EQ(view->told(), "");
  EXPECT_EQ(FetchedResultsTest::names(first->objects()), "D B");
}

TEST_F(PLVRandomFetchedResultsControllerTest, AFetchThatFailsKeepsTheSampleAndGivesItsError) {
  show();
  const auto before = controller->sample();
  Ref<NSError> error;
  ASSERT_TRUE(coordinator->suspend(&error)) << text(error);
  std::filesystem::rename(directory.file("library.sqlite"), directory.file("away.sqlite"));
  EXPECT_FALSE(controller->performFetch(&error));
  Ref<NSError> expected;
  EXPECT_FALSE(controllerOf(items())->performFetch(&expected));
  ASSERT_TRUE(error);
  EXPECT_TRUE(error->isEqual(expected)) << text(error) << " is not " << text(expected);
  EXPECT_FALSE(controller->performFetch()) << "nobody needs to take the error";
  EXPECT_EQ(controller->sample(), before);
  EXPECT_EQ(sampled(), "{1, 3}");

  std::filesystem::rename(directory.file("away.sqlite"), directory.file("library.sqlite"));
  RandomSourceScope scope(numbers({0, 4}));
  EXPECT_TRUE(controller->performFetch());
  EXPECT_EQ(names(controller), "A E");
  EXPECT_EQ(view->told(), "");
}

// ---- What is told -------------------------------------------------------------------------------

TEST_F(PLVRandomFetchedResultsControllerTest, ChangesOutsideTheSampleTellThatSomethingDid) {
  show();
  all[0]->setValueForKey("a", "name");
  process();
  EXPECT_EQ(view->told(), "will, did");
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(view->told(), "will, did");
  EXPECT_EQ(sampled(), "{0, 2}") << "those above come down";
  item("F", 25);
  process();
  EXPECT_EQ(view->told(), "will, did");
  EXPECT_EQ(sampled(), "{0, 3}") << "those above go up";
  item("G", 25);
  all[2]->setValueForKey(999, "rank");
  process();
  EXPECT_EQ(view->told(), "will, did");
  EXPECT_EQ(sampled(), "{0, 3}");
  EXPECT_EQ(names(controller), "D B");
}

TEST_F(PLVRandomFetchedResultsControllerTest, AnUpdateHasOnePath) {
  show();
  all[1]->setValueForKey("b", "name");
  process();
  EXPECT_EQ(view->told(), "will, =b 1, did");
  // Others push it along, which is no business of the sample.
  all[1]->setValueForKey("bb", "name");
  context->deleteObject(all[0]);
  process();
  EXPECT_EQ(view->told(), "will, =bb 1, did");
}

TEST_F(PLVRandomFetchedResultsControllerTest, ADeletedObjectIsReplacedAtTheEnd) {
  show();
  context->deleteObject(all[3]);
  process({3});
  EXPECT_EQ(view->told(), "will, -D 0, +E 1, did");
  EXPECT_EQ(names(controller), "B E");
  EXPECT_EQ(controller->fetchedObjects()->count(), 2u);
  EXPECT_EQ(sampled(), "{1, 3}");
  view->expectTrue();
}

TEST_F(PLVRandomFetchedResultsControllerTest, UpdatesComeBeforeDeletesAndTheseBeforeInserts) {
  show({0, 1, 2, 3}, 4);
  context->deleteObject(all[2]);
  context->deleteObject(all[0]);
  all[3]->setValueForKey("d", "name");
  all[1]->setValueForKey("b", "name");
  item("F", 25);
  process({0, 0});
  EXPECT_EQ(view->told(), "will, =b 1, =d 3, -A 0, -C 2, +F 2, +E 3, did");
  EXPECT_EQ(names(controller), "b d F E");
  view->expectTrue();
}

TEST_F(PLVRandomFetchedResultsControllerTest, AShortSampleTakesInNewObjects) {
  show({0, 0, 0, 0, 0}, 7);
  EXPECT_EQ(names(controller), "A B C D E");
  item("F", 1);
  process({0});
  EXPECT_EQ(view->told(), "will, +F 5, did");
  context->deleteObject(all[0]);
  process({});
  EXPECT_EQ(view->told(), "will, -A 0, did") << "there is nothing to replace it with";
  EXPECT_EQ(names(controller), "B C D E F");
  view->expectTrue();
}

TEST_F(PLVRandomFetchedResultsControllerTest, ObjectsThatLeaveTheResultsLeaveTheSample) {
  fill({"A", "B", "C"});
  RandomSourceScope scope(numbers({0, 1}));
  controller = randomOf(2, items({by("rank")}, NSPredicate::predicateWithFormat("rank < 100")));
  ASSERT_TRUE(controller->performFetch());
  view = StripView::of(controller);
  all[0]->setValueForKey(100, "rank");
  process({0});
  EXPECT_EQ(view->told(), "will, -A 0, +C 1, did") << "B is taken, so the next one is";
  view->expectTrue();
}

TEST_F(PLVRandomFetchedResultsControllerTest, TheDelegateIsToldAfterTheFact) {
  show();
  std::string inWill;
  view->onWill = [&] { inWill = names(controller); };
  context->deleteObject(all[3]);
  process({0});
  EXPECT_EQ(inWill, "B A");
}

TEST_F(PLVRandomFetchedResultsControllerTest, WhatADelegateDoesNotAnswerIsNotCalled) {
  using Callback = NSFetchedResultsControllerDelegate::Callback;
  show();
  Callback only = Callback::WillChangeContent;
  std::vector<Callback> asked;
  view->answered = [&](Callback callback) {
    asked.push_back(callback);
    return callback == only;
  };
  context->deleteObject(all[3]);
  process({0});
  EXPECT_EQ(view->told(), "will");
  EXPECT_EQ(asked, (std::vector{Callback::WillChangeContent, Callback::DidChangeObject,
                                Callback::DidChangeContent}))
      << "once for each group";
  only = Callback::DidChangeObject;
  context->deleteObject(all[1]);
  process({0});
  EXPECT_EQ(view->told(), "-B 0, +C 1");
  only = Callback::DidChangeSection;
  view->reload();
  context->deleteObject(all[0]);
  process({0});
  EXPECT_EQ(view->told(), "");
  EXPECT_EQ(names(controller), "C E") << "it is followed all the same";
}

// ---- The move -----------------------------------------------------------------------------------

TEST_F(PLVRandomFetchedResultsControllerTest, AMovedObjectStaysButIsNotFollowedAnyMore) {
  show();
  all[3]->setValueForKey(1, "rank");  // [D, A, B, C, E]
  process({});
  EXPECT_EQ(view->told(), "will, did") << "a sample has an order of its own";
  EXPECT_EQ(names(controller), "D B");
  EXPECT_EQ(sampled(), "{2}") << "its new place is not taken";

  all[3]->setValueForKey("d", "name");
  process({});
  EXPECT_EQ(view->told(), "will, did") << "its updates go unseen";

  context->deleteObject(all[3]);
  process({});
  EXPECT_EQ(view->told(), "will, did") << "its deletion goes unseen, and its slot is not filled";
  EXPECT_EQ(controller->fetchedObjects()->count(), 2u);
  EXPECT_TRUE(controller->fetchedObjects()->objectAtIndex(0).isIdentical(Value(all[3])));
  EXPECT_EQ(sampled(), "{1}");
  view->expectTrue();

  RandomSourceScope scope(numbers({0, 1}));
  controller->resampleFetchedObjects();
  EXPECT_EQ(names(controller), "A B") << "a new sample knows where everything is";
}

TEST_F(PLVRandomFetchedResultsControllerTest, AMovedObjectMayBeDrawnASecondTime) {
  show();
  all[3]->setValueForKey(1, "rank");  // [D, A, B, C, E]
  process({});
  context->deleteObject(all[1]);  // [D, A, C, E]
  process({0});
  EXPECT_EQ(view->told(), "will, did, will, -B 1, +D 1, did");
  EXPECT_EQ(names(controller), "D D");
  EXPECT_EQ(sampled(), "{0}");
  view->expectTrue();
  // Its second place is followed, and told of as the first equal object.
  all[3]->setValueForKey("d", "name");
  process({});
  EXPECT_EQ(view->told(), "will, =d 0, did");
  context->deleteObject(all[3]);
  process({0});
  EXPECT_EQ(names(controller->fetchedObjects()->subarrayWithRange({1, 1})), "A");
  EXPECT_EQ(controller->fetchedObjects()->count(), 2u);
  view->expectTrue();
}

// ---- Delegates ----------------------------------------------------------------------------------

TEST_F(PLVRandomFetchedResultsControllerTest, WithoutADelegateTheSampleStaysAsItIs) {
  show();
  controller->setDelegate(nullptr);
  EXPECT_FALSE(controller->delegate());
  context->deleteObject(all[3]);
  process({});
  EXPECT_EQ(controller->fetchedObjects()->count(), 2u);
  EXPECT_EQ(sampled(), "{1, 3}");
  EXPECT_EQ(view->told(), "");
  RandomSourceScope scope(numbers({0, 0}));
  ASSERT_TRUE(controller->performFetch());
  EXPECT_EQ(names(controller), "A B");
}

TEST_F(PLVRandomFetchedResultsControllerTest, ADelegateIsHeldWeakly) {
  show();
  Weak<StripView> weak(view);
  view = nullptr;
  EXPECT_FALSE(weak.load());
  EXPECT_FALSE(controller->delegate());
  context->deleteObject(all[3]);
  process({0});
  EXPECT_EQ(names(controller), "B A") << "it is followed until somebody says otherwise";
}

TEST_F(PLVRandomFetchedResultsControllerTest, AControllerThatGoesLeavesNothingBehind) {
  show();
  testing::LiveObjects live;
  {
    const auto other = sampledOf(3);
    const auto otherView = StripView::of(other);
    otherView->rows.clear();
  }
  EXPECT_EQ(live.count(), 0);
  const auto kept = controller->sample()->fetchedResults();
  controller = nullptr;
  EXPECT_FALSE(kept->delegate());
  all[0]->setValueForKey("x", "name");
  process({});
  EXPECT_EQ(view->told(), "");
}

TEST_F(PLVRandomFetchedResultsControllerTest, ASampleThatIsTakenAwayIsNotMissed) {
  show();
  controller->setSample(nullptr);
  all[1]->setValueForKey("b", "name");
  process({});
  EXPECT_EQ(view->told(), "");
  EXPECT_FALSE(controller->fetchedObjects());
}

// ---- Every kind of change -----------------------------------------------------------------------

TEST_F(PLVRandomFetchedResultsControllerTest, SavesOfAnotherContextAreFollowedOnceMerged) {
  show();
  const auto other = newContext();
  const auto same = [&](int i) { return other->objectWithID(all[i]->objectID()); };
  same(1)->setValueForKey("b", "name");
  other->deleteObject(same(3));
  Ref<NSError> error;
  Ref<NSNotification> note;
  const Ref<NSObject> token =
      NSNotificationCenter::defaultCenter()->addObserverForNameObjectUsingBlock(
          NSManagedObjectContextDidSaveNotification, Value(other),
          [&](const Ref<NSNotification>& saved) { note = saved; });
  ASSERT_TRUE(other->save(&error)) << text(error);
  NSNotificationCenter::defaultCenter()->removeObserver(token);
  EXPECT_EQ(view->told(), "");
  RandomSourceScope scope(numbers({0}));
  context->mergeChangesFromContextDidSaveNotification(note);
  EXPECT_EQ(view->batches, 1);
  EXPECT_EQ(names(controller), "b A");
  view->expectTrue();
}

TEST_F(PLVRandomFetchedResultsControllerTest, BatchDeletionsAreFollowedOnceMerged) {
  show();
  const auto deletion = NSBatchDeleteRequest::initWithObjectIDs(
      NSArray::arrayWithObjects(all[3]->objectID(), all[2]->objectID()));
  deletion->setResultType(NSBatchDeleteResultTypeObjectIDs);
  Ref<NSError> error;
  const auto result = context->executeRequestError(deletion, &error);
  ASSERT_TRUE(result) << text(error);
  EXPECT_EQ(view->told(), "");
  RandomSourceScope scope(numbers({2}));
  NSManagedObjectContext::mergeChangesFromRemoteContextSaveIntoContexts(
      NSDictionary::dictionaryWithObjectForKey(as<NSBatchDeleteResult>(result)->result(),
                                               NSDeletedObjectsKey),
      NSArray::arrayWithObject(context));
  process({});
  EXPECT_EQ(names(controller), "B E");
  EXPECT_EQ(view->batches, 1);
  view->expectTrue();
}

TEST_F(PLVRandomFetchedResultsControllerTest, ARollbackBringsObjectsBackAsCandidates) {
  show({0, 0, 0, 0, 0}, 7);
  context->deleteObject(all[0]);
  all[1]->setValueForKey("b", "name");
  process({});
  EXPECT_EQ(view->told(), "will, =b 1, -A 0, did");
  RandomSourceScope scope(numbers({0}));
  context->rollback();
  context->processPendingChanges();
  EXPECT_EQ(names(controller), "B C D E A") << "it comes back as a new draw";
  view->expectTrue();
}

TEST_F(PLVRandomFetchedResultsControllerTest, AResetNeedsAFetch) {
  show();
  context->reset();
  EXPECT_EQ(view->told(), "");
  EXPECT_EQ(controller->fetchedObjects()->count(), 2u) << "objects that are no good any more";
  RandomSourceScope scope(numbers({3, 1}));
  ASSERT_TRUE(controller->performFetch());
  EXPECT_EQ(names(controller), "D B");
  view->reload();
  as<NSObject>(controller->fetchedObjects()->objectAtIndex(0))->setValueForKey("d", "name");
  context->processPendingChanges();
  EXPECT_EQ(view->told(), "will, =d 0, did");
}

TEST_F(PLVRandomFetchedResultsControllerTest, ASaveOfWhatWasToldTellsNoItems) {
  show();
  item("F", 25);
  process({});
  view->told();
  save();
  process({});
  EXPECT_EQ(names(controller), "D B");
  EXPECT_EQ(view->told().find('+'), std::string::npos);
  view->expectTrue();
}

/// Team and its players; a team that goes takes them along.
class RandomControllerOverRelationships : public SampleTest {
 protected:
  void SetUp() override {
    auto team = entityNamed("Team", {attributeNamed("name", NSStringAttributeType)});
    auto player = entityNamed("Player", {attributeNamed("name", NSStringAttributeType)});
    auto players = NSRelationshipDescription::init();
    players->setName("players");
    players->setDeleteRule(NSCascadeDeleteRule);
    auto owner = NSRelationshipDescription::init();
    owner->setName("team");
    owner->setMaxCount(1);
    players->setDestinationEntity(player);
    owner->setDestinationEntity(team);
    players->setInverseRelationship(owner);
    owner->setInverseRelationship(players);
    team->setProperties(team->properties()->arrayByAddingObject(players));
    player->setProperties(player->properties()->arrayByAddingObject(owner));
    auto model = NSManagedObjectModel::init();
    model->setEntities(NSArray::arrayWithObjects(team, player));
    open(NSSQLiteStoreType, model);
  }
};

TEST_F(RandomControllerOverRelationships, ObjectsThatGoByADeleteRuleAreReplaced) {
  std::vector<Ref<NSManagedObject>> teams = {insert("Team", {{"name", "x"}}),
                                             insert("Team", {{"name", "y"}})};
  for (const char* name : {"a", "b", "c", "d"}) {
    insert("Player", {{"name", name}, {"team", teams[name[0] < 'c' ? 0 : 1]}});
  }
  save();
  const auto controller = randomOf(2, request("Player", nullptr, {by("name")}));
  RandomSourceScope scope(numbers({0, 1, 0, 0}));
  ASSERT_TRUE(controller->performFetch());
  const auto view = StripView::of(controller);
  ASSERT_EQ(names(controller), "a b");
  context->deleteObject(teams[0]);
  context->processPendingChanges();
  EXPECT_EQ(names(controller), "c d");
  EXPECT_EQ(view->batches, 1);
  view->expectTrue();
}

}  // namespace
}  // namespace JNFoundation
