#include "platform/value/Limits.h"
#include "tests/fetched/ListModel.h"

#include <JNFoundation/fetched/ListChanges.h>
#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/fetched/PLVFetchedResultsChanges.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation {
namespace {

using testing::notFound;

Ref<NSIndexPath> path(NSUInteger section, NSUInteger item) {
  return plv_indexPathForItemIndexSectionIndex(item, section);
}

template <class Function>
std::string raised(Function&& function) {
  try {
    function();
  } catch (const Raised& raised) {
    return raised.exception()->name()->toStdString() + ": " +
           raised.exception()->reason()->toStdString();
  }
  return "nothing";
}

// ---- Collecting ---------------------------------------------------------------------------------

TEST(ListChanges, WhatADelegateIsToldIsNotedInSectionsThatComeAndGoAsWell) {
  ListChanges changes;
  changes.changeSectionAtIndexForChangeType(2, NSFetchedResultsChangeDelete);
  changes.changeSectionAtIndexForChangeType(1, NSFetchedResultsChangeInsert);
  changes.changeSectionAtIndexForChangeType(5, NSFetchedResultsChangeMove);
  changes.changeSectionAtIndexForChangeType(6, NSFetchedResultsChangeUpdate);
  const auto change = [&](const Ref<NSIndexPath>& from, NSFetchedResultsChangeType type,
                          const Ref<NSIndexPath>& to) {
    changes.changeObjectAtIndexPathForChangeTypeNewIndexPath(from, type, to);
  };
  change(path(2, 0), NSFetchedResultsChangeDelete, nullptr);
  change(nullptr, NSFetchedResultsChangeInsert, path(1, 0));
  change(path(2, 1), NSFetchedResultsChangeMove, path(1, 1));
  change(path(0, 3), NSFetchedResultsChangeUpdate, path(0, 4));
  change(path(0, 3), static_cast<NSFetchedResultsChangeType>(9), path(0, 4));
  EXPECT_EQ(changes.deletedSections, (std::vector<NSUInteger>{2}));
  EXPECT_EQ(changes.insertedSections, (std::vector<NSUInteger>{1}));
  EXPECT_EQ(changes.deletedItems, (std::vector<ListPlace>{{2, 0}}));
  EXPECT_EQ(changes.insertedItems, (std::vector<ListPlace>{{1, 0}}));
  EXPECT_EQ(changes.movedItems, (std::vector<ListMove>{{{2, 1}, {1, 1}}}));
  EXPECT_EQ(changes.updatedItems, (std::vector<ListPlace>{{0, 3}}));
  EXPECT_EQ(changes.size(), 6u);
}

TEST(ListChanges, APathThatIsNoneRaisesAndNothingIsNoted) {
  ListChanges changes;
  const auto change = [&](const Ref<NSIndexPath>& from, NSFetchedResultsChangeType type,
                          const Ref<NSIndexPath>& to) {
    return raised(
        [&] { changes.changeObjectAtIndexPathForChangeTypeNewIndexPath(from, type, to); });
  };
  EXPECT_EQ(change(path(0, 0), NSFetchedResultsChangeInsert, nullptr),
            "NSInvalidArgumentException: (null) is no path of an item in a section");
  EXPECT_NE(change(nullptr, NSFetchedResultsChangeDelete, path(0, 0)), "nothing");
  EXPECT_NE(change(nullptr, NSFetchedResultsChangeMove, path(0, 0)), "nothing");
  EXPECT_NE(change(path(0, 0), NSFetchedResultsChangeMove, nullptr), "nothing");
  EXPECT_NE(change(NSIndexPath::indexPathWithIndex(1), NSFetchedResultsChangeUpdate, nullptr),
            "nothing");
  EXPECT_TRUE(changes.isEmpty());
}

TEST(ListChanges, ACollectedSetSaysTheSameBothWays) {
  auto set = PLVFetchedResultsChanges::init();
  set->changeSectionAtIndexForChangeType(nullptr, 3, NSFetchedResultsChangeDelete);
  set->changeSectionAtIndexForChangeType(nullptr, 0, NSFetchedResultsChangeInsert);
  set->changeObjectAtIndexPathForChangeTypeNewIndexPath(path(1, 1), NSFetchedResultsChangeDelete,
                                                        nullptr);
  set->changeObjectAtIndexPathForChangeTypeNewIndexPath(nullptr, NSFetchedResultsChangeInsert,
                                                        path(1, 2));
  set->changeObjectAtIndexPathForChangeTypeNewIndexPath(path(1, 4), NSFetchedResultsChangeUpdate,
                                                        nullptr);
  set->changeObjectAtIndexPathForChangeTypeNewIndexPath(path(1, 5), NSFetchedResultsChangeMove,
                                                        path(2, 0));
  const ListChanges changes = ListChanges::withChanges(set);
  EXPECT_EQ(changes.size(), 6u);
  EXPECT_EQ(changes.movedItems, (std::vector<ListMove>{{{1, 5}, {2, 0}}}));
  const auto back = changes.fetchedResultsChanges();
  EXPECT_EQ(back->options(), PLVFetchedResultsChanges::keepsMoves);
  EXPECT_TRUE(back->deletedSections()->isEqualToIndexSet(set->deletedSections()));
  EXPECT_TRUE(back->insertedSections()->isEqualToIndexSet(set->insertedSections()));
  EXPECT_TRUE(back->deletedItemPaths()->isEqual(set->deletedItemPaths()));
  EXPECT_TRUE(back->insertedItemPaths()->isEqual(set->insertedItemPaths()));
  EXPECT_TRUE(back->updatedItemPaths()->isEqual(set->updatedItemPaths()));
  EXPECT_EQ(ListChanges::withChanges(back), changes);
  EXPECT_TRUE(ListChanges::withChanges(nullptr).isEmpty());
}

TEST(ListChanges, ASetWithSomethingElseInItRaises) {
  auto set = PLVFetchedResultsChanges::init();
  set->movedItems()->addObject("no move");
  EXPECT_EQ(raised([&] { ListChanges::withChanges(set); }),
            "NSInvalidArgumentException: no move is no move");
  set = PLVFetchedResultsChanges::init();
  set->deletedItemPaths()->addObject(3);
  EXPECT_NE(raised([&] { ListChanges::withChanges(set); }), "nothing");
}

// ---- Calculating --------------------------------------------------------------------------------

TEST(ListChanges, NothingAfterNothingIsNothing) {
  const ListChanges nothing;
  EXPECT_TRUE(nothing.followedBy(nothing).isEmpty());
  EXPECT_TRUE(nothing.inverted().isEmpty());
  EXPECT_TRUE(nothing.reduced().isEmpty());
  EXPECT_TRUE(nothing.layout({}, nullptr).empty());
  EXPECT_TRUE(applyChanges(nothing, Rows(), ListModel()).empty());
}

TEST(ListChanges, WhatComesAndGoesAgainIsNotToldOf) {
  ListChanges first, second;
  first.insertedItems = {{0, 2}};
  first.insertedSections = {1};
  second.deletedItems = {{0, 2}};
  second.deletedSections = {1};
  EXPECT_TRUE(first.followedBy(second).isEmpty());
  // What goes and comes again is another one.
  EXPECT_EQ(second.followedBy(first).size(), 4u);
}

TEST(ListChanges, AMoveAndItsWayBackIsAnUpdate) {
  ListChanges away;
  away.movedItems = {{{0, 1}, {0, 4}}};
  const ListChanges back = away.followedBy(away.inverted());
  EXPECT_EQ(back.movedItems, (std::vector<ListMove>{{{0, 1}, {0, 1}}}));
  ListChanges updated;
  updated.updatedItems = {{0, 1}};
  EXPECT_EQ(back.reduced(), updated);
}

TEST(ListChanges, AMovedItemIsFollowed) {
  ListChanges moved, deleted, updated;
  moved.movedItems = {{{0, 1}, {0, 4}}};
  deleted.deletedItems = {{0, 4}};
  updated.updatedItems = {{0, 4}};
  ListChanges gone;
  gone.deletedItems = {{0, 1}};
  EXPECT_EQ(moved.followedBy(deleted), gone);
  EXPECT_EQ(moved.followedBy(updated), moved);
}

TEST(ListChanges, AnItemThatMovesIntoASectionThatGoesIsGone) {
  ListChanges moved, deleted;
  moved.movedItems = {{{0, 1}, {1, 0}}};
  moved.updatedItems = {{1, 3}};
  deleted.deletedSections = {1};
  const ListChanges both = moved.followedBy(deleted);
  EXPECT_EQ(both.deletedItems, (std::vector<ListPlace>{{0, 1}}));
  EXPECT_EQ(both.deletedSections, (std::vector<NSUInteger>{1}));
  EXPECT_EQ(both.size(), 2u);
}

TEST(ListChanges, AnItemThatASectionBroughtIsNewWhereItMovesTo) {
  ListChanges brought, moved;
  brought.insertedSections = {0};
  moved.movedItems = {{{0, 2}, {1, 0}}};
  moved.deletedItems = {{0, 1}};
  moved.updatedItems = {{0, 0}};
  const ListChanges both = brought.followedBy(moved);
  EXPECT_EQ(both.insertedSections, (std::vector<NSUInteger>{0}));
  EXPECT_EQ(both.insertedItems, (std::vector<ListPlace>{{1, 0}}));
  EXPECT_EQ(both.size(), 2u);
}

TEST(ListChanges, AnInverseTellsOfUpdatesWhereTheyAreThen) {
  ListChanges changes;
  changes.deletedItems = {{0, 0}};
  changes.updatedItems = {{0, 3}, {1, 0}};
  changes.deletedSections = {1};
  ListChanges inverse;
  inverse.insertedItems = {{0, 0}};
  inverse.updatedItems = {{0, 2}};
  inverse.insertedSections = {1};
  EXPECT_EQ(changes.inverted(), inverse);
}

TEST(ListChanges, AReducedBatchLeavesToSectionsWhatTheySay) {
  ListChanges changes;
  changes.deletedSections = {0, 0};
  changes.insertedSections = {2};
  changes.deletedItems = {{0, 0}, {1, 0}, {1, 0}};
  changes.insertedItems = {{2, 0}, {0, 5}};
  changes.updatedItems = {{0, 3}, {1, 0}, {1, 4}};
  changes.movedItems = {{{0, 1}, {2, 1}}, {{0, 2}, {0, 4}}, {{1, 3}, {2, 2}}};
  ListChanges reduced;
  reduced.deletedSections = {0};
  reduced.insertedSections = {2};
  reduced.deletedItems = {{1, 0}};
  reduced.insertedItems = {{0, 5}};
  reduced.updatedItems = {{1, 4}};
  reduced.movedItems = {{{0, 2}, {0, 4}}, {{1, 3}, {2, 2}}};
  EXPECT_EQ(changes.reduced(), reduced);
}

TEST(ListChanges, WhatDoesNotFitTogetherRaises) {
  const auto fault = [](const ListChanges& changes) {
    std::string reason = raised([&] { changes.reduced(); });
    EXPECT_EQ(raised([&] { changes.inverted(); }), reason);
    EXPECT_EQ(raised([&] { changes.followedBy({}); }), reason);
    EXPECT_EQ(raised([&] { ListChanges().followedBy(changes); }), reason);
    EXPECT_EQ(raised([&] { changes.layout({9, 9}, nullptr); }), reason);
    ListPlace after;
    EXPECT_EQ(raised([&] { changes.placeAfter({0, 0}, &after); }), reason);
    return reason;
  };
  ListChanges changes;
  changes.deletedItems = {{0, 1}};
  changes.movedItems = {{{0, 1}, {0, 2}}};
  EXPECT_EQ(fault(changes),
            "NSInvalidArgumentException: the item at [0, 1] is deleted or moved in more than one "
            "way");
  changes = {};
  changes.movedItems = {{{0, 1}, {0, 2}}, {{0, 1}, {0, 3}}};
  EXPECT_NE(fault(changes), "nothing");
  changes = {};
  changes.insertedItems = {{1, 2}};
  changes.movedItems = {{{0, 1}, {1, 2}}};
  EXPECT_EQ(fault(changes), "NSInvalidArgumentException: two items come to [1, 2]");
  changes = {};
  changes.deletedSections = {notFound};
  EXPECT_EQ(fault(changes), "NSInvalidArgumentException: 9223372036854775807 is no section");
  changes = {};
  changes.insertedItems = {{0, notFound}};
  EXPECT_EQ(fault(changes), "NSInvalidArgumentException: [0, 9223372036854775807] is no place");
  changes = {};
  changes.updatedItems = {{~NSUInteger{0}, 0}};
  EXPECT_NE(fault(changes), "nothing");
}

TEST(ListChanges, PlacesAtTheEndOfAllPlacesAreCalculatedWith) {
  ListChanges changes;
  changes.deletedItems = {{notFound - 1, notFound - 1}};
  changes.insertedItems = {{notFound - 1, notFound - 2}};
  ListPlace after;
  ASSERT_TRUE(changes.placeAfter({notFound - 1, notFound - 2}, &after));
  EXPECT_EQ(after, (ListPlace{notFound - 1, notFound - 1}));
  EXPECT_EQ(changes.inverted().inverted(), changes);
  EXPECT_EQ(changes.reduced(), changes);
}

// ---- The list after -----------------------------------------------------------------------------

TEST(ListChanges, ALayoutJoinsWhatStandsTogether) {
  ListChanges changes;
  changes.deletedItems = {{0, 2}};
  changes.insertedItems = {{0, 4}, {0, 5}};
  changes.updatedItems = {{0, 1}};
  changes.movedItems = {{{0, 7}, {0, 0}}};
  changes.insertedSections = {1};
  const auto layout = changes.layout({8}, [](NSUInteger section) { return section * 3; });
  ASSERT_EQ(layout.size(), 2u);
  std::string text;
  for (const ListRun& run : layout[0]) {
    text += "KUN"[static_cast<int>(run.origin)];
    text += std::to_string(run.place.item) + "x" + std::to_string(run.count) + " ";
  }
  EXPECT_EQ(text, "U7x1 K0x1 U1x1 K3x1 N4x2 K4x3 ");
  ASSERT_EQ(layout[1].size(), 1u);
  EXPECT_EQ(layout[1][0].origin, ListRun::Origin::New);
  EXPECT_EQ(layout[1][0].count, 3u);
}

TEST(ListChanges, ABatchOfAnotherListRaisesBeforeARowIsTouched) {
  struct Untouched : ListModel {
    Row make(const ListPlace&) const {
      ADD_FAILURE();
      return {};
    }
    void update(Row&, const ListPlace&) const { ADD_FAILURE(); }
    NSUInteger count(NSUInteger) const { return 2; }
  };
  const ListModel list{{1, 2}, {{1, 2}, {3}}};
  const auto fault = [&](const ListChanges& changes) {
    return raised([&] { applyChanges(changes, list.rows(), Untouched()); });
  };
  const auto with = [](auto member, auto entry) {
    ListChanges changes;
    changes.updatedItems = {{0, 0}};
    (changes.*member).push_back(entry);
    return changes;
  };
  EXPECT_EQ(fault(with(&ListChanges::deletedItems, ListPlace{1, 1})),
            "NSRangeException: there is no item at [1, 1] before the changes");
  EXPECT_EQ(fault(with(&ListChanges::updatedItems, ListPlace{2, 0})),
            "NSRangeException: there is no item at [2, 0] before the changes");
  EXPECT_EQ(fault(with(&ListChanges::deletedSections, NSUInteger{2})),
            "NSRangeException: there is no section 2 before the changes");
  EXPECT_EQ(fault(with(&ListChanges::insertedSections, NSUInteger{3})),
            "NSRangeException: there is no section 3 after the changes");
  EXPECT_EQ(fault(with(&ListChanges::insertedItems, ListPlace{1, 2})),
            "NSRangeException: there is no item at [1, 2] after the changes");
  EXPECT_EQ(fault(with(&ListChanges::insertedItems, ListPlace{2, 0})),
            "NSRangeException: there is no item at [2, 0] after the changes");
  EXPECT_EQ(fault(with(&ListChanges::movedItems, ListMove{{0, 1}, {0, 2}})),
            "NSRangeException: there is no item at [0, 2] after the changes");
  ListChanges intoNew = with(&ListChanges::insertedItems, ListPlace{0, 2});
  intoNew.insertedSections = {0};
  EXPECT_EQ(fault(intoNew), "NSRangeException: there is no item at [0, 2] after the changes");
}

// ---- JSON ---------------------------------------------------------------------------------------

std::string textOf(const Ref<NSData>& data) {
  return std::string(data->bytes(), data->bytes() + data->length());
}

Ref<NSData> dataOf(std::string_view text) {
  return NSData::dataWithBytesLength(text.data(), text.size());
}

TEST(ListChanges, JSONHasAMemberForEachKindThereIs) {
  EXPECT_EQ(textOf(ListChanges().JSONData()), "{}");
  ListChanges changes;
  changes.deletedSections = {0};
  changes.insertedSections = {2, 1};
  changes.deletedItems = {{1, 4}};
  changes.insertedItems = {{0, 0}, {0, notFound - 1}};
  changes.updatedItems = {{1, 0}};
  changes.movedItems = {{{1, 2}, {1, 3}}};
  EXPECT_EQ(
      textOf(changes.JSONData()),
      R"({"deleted":[[1,4]],"deletedSections":[0],"inserted":[[0,0],[0,9223372036854775806]],)"
      R"("insertedSections":[2,1],"moved":[[[1,2],[1,3]]],"updated":[[1,0]]})");
  ListChanges read;
  ASSERT_TRUE(ListChanges::readJSONData(changes.JSONData(), &read));
  EXPECT_EQ(read, changes);
  ASSERT_TRUE(ListChanges::readJSONObject(changes.JSONObject(), &read));
  EXPECT_EQ(read, changes);
  ASSERT_TRUE(ListChanges::readJSONData(dataOf(R"({"deleted": [], "more": 3})"), &read));
  EXPECT_TRUE(read.isEmpty());
}

TEST(ListChanges, BadJSONHasAnErrorAndLosesNothing) {
  const auto fault = [](std::string_view text) {
    ListChanges changes;
    changes.deletedSections = {7};
    const ListChanges before = changes;
    Ref<NSError> error;
    EXPECT_FALSE(ListChanges::readJSONData(dataOf(text), &changes, &error)) << text;
    EXPECT_FALSE(ListChanges::readJSONData(dataOf(text), &changes)) << text;
    EXPECT_EQ(changes, before) << text;
    if (!error) return std::string("no error");
    EXPECT_TRUE(error->domain()->isEqualToString(NSCocoaErrorDomain));
    EXPECT_EQ(error->code(), NSPropertyListReadCorruptError);
    return error->localizedDescription()->toStdString();
  };
  EXPECT_NE(fault(""), "no error");
  EXPECT_NE(fault("{\"deleted\": [[0, 1]"), "no error");
  EXPECT_EQ(fault("[]"), "These are no changes of a list: there is no object.");
  EXPECT_EQ(fault("null"), "These are no changes of a list: there is no object.");
  EXPECT_EQ(fault(R"({"deleted": 3})"), "These are no changes of a list: \"deleted\" is no array.");
  EXPECT_EQ(fault(R"({"deleted": null})"),
            "These are no changes of a list: \"deleted\" is no array.");
  EXPECT_EQ(fault(R"({"updated": [[0, 1], [0]]})"),
            "These are no changes of a list: \"updated\", number 1, is not [section, item].");
  EXPECT_EQ(fault(R"({"moved": [[[0, 1], 2]]})"),
            "These are no changes of a list: \"moved\", number 0, is not [[section, item], "
            "[section, item]].");
  for (const char* index : {"-1", "1.5", "true", "\"1\"", "null", "9223372036854775807", "1e300",
                            "18446744073709551615", "[1]"}) {
    EXPECT_EQ(fault(std::string(R"({"insertedSections": [)") + index + "]}"),
              "These are no changes of a list: \"insertedSections\", number 0, is not a section.");
  }
  EXPECT_EQ(fault(R"({"deleted": [[0, 1]], "moved": [[[0, 1], [0, 2]]]})"),
            "These are no changes of a list: the item at [0, 1] is deleted or moved in more than "
            "one way.");
  EXPECT_FALSE(ListChanges::readJSONObject(nullptr, nullptr));
  EXPECT_FALSE(ListChanges::readJSONObject(3, nullptr));
}

}  // namespace
}  // namespace JNFoundation
