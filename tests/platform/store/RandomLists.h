#pragma once

#include "tests/platform/store/FetchedResultsFixture.h"
#include "tests/platform/text/Randomness.h"

namespace JNFoundation {

/// Controllers with random sections, sorts and predicates, over either kind of store, and random
/// changes of what they list.
class RandomLists : public FetchedResultsTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { open(GetParam(), listModel()); }

  struct Shown {
    Ref<NSFetchedResultsController> controller;
    Ref<ListView> view;
    bool isSectioned;
  };

  Value randomGroup() {
    static const char* const groups[] = {"a", "b", "c", "d", "e", ""};
    const auto at = random.below(7);
    return at == 6 ? Value() : Value(groups[at]);
  }
  Value randomRank() { return random.below(9) == 0 ? Value() : Value(random.between(-3, 12)); }

  void change(const Ref<NSManagedObject>& object) {
    switch (random.below(5)) {
      case 0:
        return object->setValueForKey(randomGroup(), "group");
      case 1:
      case 2:
        return object->setValueForKey(randomRank(), "rank");
      case 3:
        return object->setValueForKey(
            random.below(5) == 0 ? Value() : Value(random.between(0, 8) / 2.0), "score");
      default:
        return object->setValueForKey(random.below(2) == 0, "hidden");
    }
  }

  Shown show() {
    std::vector<Value> sorts;
    Shown shown;
    shown.isSectioned = random.below(2) == 0;
    if (shown.isSectioned) sorts.emplace_back(by("group", random.below(2) == 0));
    static const char* const keys[] = {"rank", "score", "name", "hidden"};
    for (auto count = 1 + random.below(2); count > 0; --count) {
      sorts.emplace_back(by(keys[random.below(4)], random.below(2) == 0));
    }
    static const char* const predicates[] = {"TRUEPREDICATE",
                                             "hidden == NO",
                                             "rank > 3",
                                             "rank BETWEEN {0, 8} OR group == nil",
                                             "group IN {'a', 'b', 'c'} AND hidden != YES",
                                             "score * 2 > rank"};
    auto wanted = items(sorts, random.below(4) == 0
                                   ? nullptr
                                   : NSPredicate::predicateWithFormat(predicates[random.below(6)]));
    wanted->setIncludesSubentities(random.below(4) != 0);
    // Sections are those of the objects, which may have left their place among the records.
    const bool mayLookPast = !shown.isSectioned || !context->hasChanges();
    wanted->setIncludesPendingChanges(!mayLookPast || random.below(6) != 0);
    shown.controller = fetchedOf(wanted, shown.isSectioned ? "group" : nullptr);
    shown.view = ListView::of(shown.controller);
    return shown;
  }

  /// The view has what the controller has, and that is what a fetch gives.
  void expectTrue(const Shown& shown, int step) {
    SCOPED_TRACE("step " + std::to_string(step));
    shown.view->expectTrue();
    ASSERT_FALSE(HasFatalFailure());
    // A list of what is saved waits with the rest until it is.
    if (!shown.controller->fetchRequest()->includesPendingChanges() && context->hasChanges()) {
      return;
    }
    const Ref<NSArray> fresh = context->executeFetchRequestError(shown.controller->fetchRequest());
    ASSERT_TRUE(shown.controller->fetchedObjects()->isEqualToArray(fresh))
        << "sorted by "
        << shown.controller->fetchRequest()->sortDescriptors()->description()->toStdString() << "\n"
        << names(shown.controller->fetchedObjects()) << "\nis not\n"
        << names(fresh);
    if (!shown.isSectioned) return;
    std::string last = "?";
    for (const ListView::Section& section : shown.view->sections) {
      ASSERT_FALSE(section.rows.empty());
      ASSERT_NE(section.name, last);
      last = section.name;
      for (const Value& row : section.rows) {
        const Value group = as<NSObject>(row)->valueForKey("group");
        ASSERT_EQ(group.isNull() ? "" : group.description()->toStdString(), section.name);
      }
    }
  }

  testing::Randomness random;
};

}  // namespace JNFoundation
