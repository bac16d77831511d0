#include <gtest/gtest.h>
#include <string>

#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/fetched/PLVFetchedResultsChanges.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

constexpr auto Insert = NSFetchedResultsChangeInsert;
constexpr auto Delete = NSFetchedResultsChangeDelete;
constexpr auto Move = NSFetchedResultsChangeMove;
constexpr auto Update = NSFetchedResultsChangeUpdate;

Ref<NSIndexPath> at(NSUInteger section, NSUInteger item) {
  return plv_indexPathForItemIndexSectionIndex(item, section);
}

std::string text(const Ref<NSIndexPath>& path) {
  return std::to_string(plv_sectionIndex(path)) + "." + std::to_string(plv_itemIndex(path));
}

/// Everything in a set, as "-{sections} +{sections} -paths +paths =paths >moves"; what is empty is
/// left out.
std::string text(const Ref<PLVFetchedResultsChanges>& changes) {
  std::string all;
  const auto add = [&](const std::string& word) { all += (all.empty() ? "" : " ") + word; };
  for (const NSUInteger index : changes->deletedSections()) add("-s" + std::to_string(index));
  for (const NSUInteger index : changes->insertedSections()) add("+s" + std::to_string(index));
  const auto addPaths = [&](const char* sign, const Ref<NSMutableArray>& paths) {
    for (const Value& path : paths) add(sign + text(Ref<NSIndexPath>(as<NSIndexPath>(path))));
  };
  addPaths("-", changes->deletedItemPaths());
  addPaths("+", changes->insertedItemPaths());
  addPaths("=", changes->updatedItemPaths());
  for (const Value& value : changes->movedItems()) {
    const auto* move = as<PLVFetchedResultsItemMove>(value);
    add(">" + text(move->fromIndexPath()) + ">" + text(move->toIndexPath()));
  }
  return all;
}

/// A set with one section gone, number 1, and one that is new, number 2.
Ref<PLVFetchedResultsChanges> withSections(NSUInteger options = 1) {
  auto changes = PLVFetchedResultsChanges::initWithOptions(options);
  changes->changeSectionAtIndexForChangeType(nullptr, 1, Delete);
  changes->changeSectionAtIndexForChangeType(nullptr, 2, Insert);
  return changes;
}

void item(const Ref<PLVFetchedResultsChanges>& changes, const Ref<NSIndexPath>& from,
          NSFetchedResultsChangeType type, const Ref<NSIndexPath>& to) {
  changes->changeObjectAtIndexPathForChangeTypeNewIndexPath(from, type, to);
}

TEST(PLVFetchedResultsChanges, AFreshSetIsEmptyAndKeepsMoves) {
  const auto changes = PLVFetchedResultsChanges::init();
  EXPECT_EQ(changes->options(), 1u);
  EXPECT_EQ(changes->deletedSections()->count(), 0u);
  EXPECT_EQ(changes->insertedSections()->count(), 0u);
  EXPECT_EQ(changes->deletedItemPaths()->count(), 0u);
  EXPECT_EQ(changes->insertedItemPaths()->count(), 0u);
  EXPECT_EQ(changes->updatedItemPaths()->count(), 0u);
  EXPECT_EQ(changes->movedItems()->count(), 0u);
  EXPECT_FALSE(changes->userInfo());
}

TEST(PLVFetchedResultsChanges, OptionsAreKeptAsTheyAre) {
  EXPECT_EQ(PLVFetchedResultsChanges::initWithOptions(0)->options(), 0u);
  EXPECT_EQ(PLVFetchedResultsChanges::initWithOptions(6)->options(), 6u);
}

TEST(PLVFetchedResultsChanges, ReadingAKeyMakesNoDictionary) {
  const auto changes = PLVFetchedResultsChanges::init();
  EXPECT_TRUE(changes->objectForKeyedSubscript("key").isNull());
  EXPECT_FALSE(changes->userInfo());
}

TEST(PLVFetchedResultsChanges, SettingAKeyMakesTheDictionaryAndNullRemovesOnlyTheEntry) {
  const auto changes = PLVFetchedResultsChanges::init();
  changes->setObjectForKeyedSubscript("value", "key");
  const auto dictionary = changes->userInfo();
  ASSERT_TRUE(dictionary);
  EXPECT_TRUE(changes->objectForKeyedSubscript("key").isEqual("value"));
  EXPECT_TRUE(changes->objectForKeyedSubscript("other").isNull());
  changes->setObjectForKeyedSubscript(nullptr, "key");
  EXPECT_EQ(changes->userInfo(), dictionary);
  EXPECT_EQ(dictionary->count(), 0u);
}

TEST(PLVFetchedResultsChanges, SettingNullFirstMakesAnEmptyDictionary) {
  const auto changes = PLVFetchedResultsChanges::init();
  changes->setObjectForKeyedSubscript(nullptr, "key");
  ASSERT_TRUE(changes->userInfo());
  EXPECT_EQ(changes->userInfo()->count(), 0u);
}

TEST(PLVFetchedResultsChanges, TheDictionaryCanBeReplaced) {
  const auto changes = PLVFetchedResultsChanges::init();
  const auto own = NSMutableDictionary::dictionary();
  own->setObjectForKey(1, "one");
  changes->setUserInfo(own);
  EXPECT_EQ(changes->objectForKeyedSubscript("one").intValue(), 1);
  changes->setObjectForKeyedSubscript(2, "two");
  EXPECT_EQ(own->objectForKey("two").intValue(), 2);
  changes->setUserInfo(nullptr);
  EXPECT_TRUE(changes->objectForKeyedSubscript("one").isNull());
}

TEST(PLVFetchedResultsChanges, SectionsAreInsertedAndDeletedAndNothingElse) {
  const auto changes = PLVFetchedResultsChanges::init();
  changes->changeSectionAtIndexForChangeType(nullptr, 4, Move);
  changes->changeSectionAtIndexForChangeType(nullptr, 4, Update);
  for (const NSUInteger unknown : {0u, 5u, 17u}) {
    changes->changeSectionAtIndexForChangeType(nullptr, 4,
                                               static_cast<NSFetchedResultsChangeType>(unknown));
  }
  EXPECT_EQ(text(changes), "");
  changes->changeSectionAtIndexForChangeType(nullptr, 4, Delete);
  changes->changeSectionAtIndexForChangeType(nullptr, 0, Delete);
  changes->changeSectionAtIndexForChangeType(nullptr, 4, Insert);
  EXPECT_EQ(text(changes), "-s0 -s4 +s4");
}

TEST(PLVFetchedResultsChanges, EachKindOfItemChangeHasItsPlace) {
  const auto changes = PLVFetchedResultsChanges::init();
  item(changes, nullptr, Insert, at(0, 7));
  item(changes, at(0, 3), Delete, nullptr);
  item(changes, at(0, 4), Update, at(0, 5));
  item(changes, at(0, 1), Move, at(3, 2));
  EXPECT_EQ(text(changes), "-0.3 +0.7 =0.4 >0.1>3.2");
}

TEST(PLVFetchedResultsChanges, PathsStayInTheOrderOfTheCallsAndAreNotMerged) {
  const auto changes = PLVFetchedResultsChanges::init();
  for (const NSUInteger i : {3u, 1u, 2u, 1u}) {
    item(changes, at(0, i), Delete, nullptr);
    item(changes, nullptr, Insert, at(0, i));
    item(changes, at(0, i), Update, nullptr);
  }
  EXPECT_EQ(text(changes), "-0.3 -0.1 -0.2 -0.1 +0.3 +0.1 +0.2 +0.1 =0.3 =0.1 =0.2 =0.1");
}

TEST(PLVFetchedResultsChanges, WithoutTheOptionAMoveIsADeleteAndAnInsert) {
  for (const NSUInteger options : {0u, 2u, 6u}) {
    const auto changes = PLVFetchedResultsChanges::initWithOptions(options);
    item(changes, at(0, 1), Move, at(3, 2));
    EXPECT_EQ(text(changes), "-0.1 +3.2");
  }
  const auto changes = PLVFetchedResultsChanges::initWithOptions(3);
  item(changes, at(0, 1), Move, at(3, 2));
  EXPECT_EQ(text(changes), ">0.1>3.2") << "the other bits mean nothing";
}

TEST(PLVFetchedResultsChanges, ItemsOfANewSectionAreNotInsertedAgain) {
  const auto changes = withSections();
  item(changes, nullptr, Insert, at(2, 0));
  EXPECT_EQ(text(changes), "-s1 +s2");
  item(changes, nullptr, Insert, at(1, 0));
  EXPECT_EQ(text(changes), "-s1 +s2 +1.0") << "1 is the number of a section that was";
}

TEST(PLVFetchedResultsChanges, ItemsOfADeletedSectionAreNotDeletedAgain) {
  const auto changes = withSections();
  item(changes, at(1, 0), Delete, nullptr);
  EXPECT_EQ(text(changes), "-s1 +s2");
  item(changes, at(2, 0), Delete, nullptr);
  EXPECT_EQ(text(changes), "-s1 +s2 -2.0") << "2 is the number of a section that will be";
}

TEST(PLVFetchedResultsChanges, AMoveBetweenSectionsThatComeAndGoIsWhatIsLeftOfIt) {
  for (const NSUInteger options : {0u, 1u}) {
    auto changes = withSections(options);
    item(changes, at(1, 5), Move, at(2, 6));
    EXPECT_EQ(text(changes), "-s1 +s2") << "both";
    changes = withSections(options);
    item(changes, at(1, 5), Move, at(3, 6));
    EXPECT_EQ(text(changes), "-s1 +s2 +3.6") << "its section is gone";
    changes = withSections(options);
    item(changes, at(3, 5), Move, at(2, 6));
    EXPECT_EQ(text(changes), "-s1 +s2 -3.5") << "its section is new";
    changes = withSections(options);
    item(changes, at(2, 5), Move, at(1, 6));
    EXPECT_EQ(text(changes), options == 1 ? "-s1 +s2 >2.5>1.6" : "-s1 +s2 -2.5 +1.6")
        << "neither: the numbers are those of the other list";
  }
}

TEST(PLVFetchedResultsChanges, AnUpdateIsNotedAtItsOldPathInADeletedSectionToo) {
  const auto changes = withSections();
  item(changes, at(1, 5), Update, at(2, 6));
  EXPECT_EQ(text(changes), "-s1 +s2 =1.5");
}

TEST(PLVFetchedResultsChanges, ASectionThatIsToldOfLaterLeavesItsItemsInPlace) {
  const auto changes = PLVFetchedResultsChanges::init();
  item(changes, at(1, 0), Delete, nullptr);
  item(changes, nullptr, Insert, at(2, 0));
  item(changes, at(1, 1), Move, at(2, 1));
  changes->changeSectionAtIndexForChangeType(nullptr, 1, Delete);
  changes->changeSectionAtIndexForChangeType(nullptr, 2, Insert);
  EXPECT_EQ(text(changes), "-s1 +s2 -1.0 +2.0 >1.1>2.1");
}

TEST(PLVFetchedResultsChanges, TypesThatDoNotExistAreIgnored) {
  const auto changes = PLVFetchedResultsChanges::init();
  for (const NSUInteger unknown : {0u, 5u, 99u}) {
    item(changes, at(0, 0), static_cast<NSFetchedResultsChangeType>(unknown), at(0, 1));
    item(changes, nullptr, static_cast<NSFetchedResultsChangeType>(unknown), nullptr);
  }
  EXPECT_EQ(text(changes), "");
}

TEST(PLVFetchedResultsChanges, ShortPathsAreInNoSection) {
  const auto changes = withSections();
  item(changes, NSIndexPath::indexPath(), Delete, nullptr);
  item(changes, nullptr, Insert, NSIndexPath::indexPath());
  EXPECT_EQ(changes->deletedItemPaths()->count(), 1u);
  EXPECT_EQ(changes->insertedItemPaths()->count(), 1u);
}

TEST(PLVFetchedResultsChanges, AMissingPathRaisesAndChangesNothing) {
  for (const NSUInteger options : {0u, 1u}) {
    const auto changes = withSections(options);
    EXPECT_THROW(item(changes, at(0, 0), Insert, nullptr), Raised);
    EXPECT_THROW(item(changes, nullptr, Delete, at(0, 0)), Raised);
    EXPECT_THROW(item(changes, nullptr, Update, at(0, 0)), Raised);
    EXPECT_THROW(item(changes, at(0, 0), Move, nullptr), Raised);
    EXPECT_THROW(item(changes, nullptr, Move, at(0, 0)), Raised);
    EXPECT_THROW(item(changes, at(1, 0), Move, nullptr), Raised);
    EXPECT_THROW(item(changes, nullptr, Move, at(2, 0)), Raised);
    EXPECT_EQ(text(changes), "-s1 +s2");
  }
}

TEST(PLVFetchedResultsChanges, TheCollectionsAreTheSetsOwnAndCanBeChanged) {
  const auto changes = PLVFetchedResultsChanges::init();
  const auto paths = changes->deletedItemPaths();
  item(changes, at(0, 3), Delete, nullptr);
  EXPECT_EQ(paths->count(), 1u);
  changes->insertedSections()->addIndex(0);
  item(changes, nullptr, Insert, at(0, 3));
  EXPECT_EQ(text(changes), "+s0 -0.3");
}

TEST(PLVFetchedResultsChanges, ASetAnswersByName) {
  const Value changes(PLVFetchedResultsChanges::init());
  performSelector(changes, "setObject:forKeyedSubscript:", "value", "key");
  EXPECT_TRUE(performSelector(changes, "objectForKeyedSubscript:", "key").isEqual("value"));
  EXPECT_EQ(performSelector(changes, "options").integerValue(), 1);
}

class OwnChanges : public Subclass<OwnChanges, PLVFetchedResultsChanges> {
 protected:
  using Subclass::Subclass;
};

TEST(PLVFetchedResultsChanges, ASubclassMakesItsOwn) {
  const Ref<OwnChanges> changes = OwnChanges::init();
  EXPECT_EQ(changes->options(), 1u);
  EXPECT_EQ(OwnChanges::initWithOptions(0)->options(), 0u);
  EXPECT_EQ(&changes->class_(), &OwnChanges::classObject);
}

TEST(PLVFetchedResultsItemMove, AMoveKeepsBothPaths) {
  const auto from = at(1, 2), to = at(3, 4);
  const auto move = PLVFetchedResultsItemMove::initWithFromTo(from, to);
  EXPECT_EQ(move->fromIndexPath(), from);
  EXPECT_EQ(move->toIndexPath(), to);
  const auto empty = PLVFetchedResultsItemMove::initWithFromTo(nullptr, nullptr);
  EXPECT_FALSE(empty->fromIndexPath());
  EXPECT_FALSE(empty->toIndexPath());
}

}  // namespace
}  // namespace JNFoundation
