#pragma once

#include "tests/platform/store/FetchedResultsFixture.h"

#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/fetched/PLVRandomFetchedResultsController.h>
#include <JNFoundation/platform/dispatch/Random.h>

namespace JNFoundation {

/// A row of objects on a screen, changed by nothing but what a delegate is told.
class StripView : public Subclass<StripView, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  struct Change {
    NSFetchedResultsChangeType type;
    Ref<NSManagedObject> object;
    Ref<NSIndexPath> from, to;
  };

  static Ref<StripView> of(const Ref<NSFetchedResultsController>& controller) {
    Ref<StripView> view = makeObject<StripView>();
    view->controller = controller.get();
    view->reload();
    controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(view));
    return view;
  }

  void reload() {
    rows.clear();
    if (const Ref<NSArray> objects = controller->fetchedObjects()) {
      for (const Value& object : objects) rows.push_back(object);
    }
  }

  bool answers(Callback callback) const override {
    return answered ? answered(callback) : callback != Callback::SectionIndexTitle;
  }

  void controllerWillChangeContent(Controller sender) override {
    EXPECT_EQ(sender.get(), controller);
    EXPECT_FALSE(isInBatch) << "a batch inside a batch";
    isInBatch = true;
    changes.clear();
    log.emplace_back("will");
    if (onWill) onWill();
  }

  void controllerDidChangeSectionAtIndexForChangeType(Controller,
                                                      const Ref<NSFetchedResultsSectionInfo>&,
                                                      NSUInteger,
                                                      NSFetchedResultsChangeType) override {
    ADD_FAILURE() << "a sample has no sections to tell of";
  }

  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller sender, const Ref<NSManagedObject>& object, const Ref<NSIndexPath>& from,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& to) override {
    EXPECT_EQ(sender.get(), controller);
    EXPECT_EQ(from != nullptr, type != NSFetchedResultsChangeInsert);
    EXPECT_EQ(to != nullptr, type != NSFetchedResultsChangeDelete);
    for (const auto& path : {from, to}) {
      if (path) {
        EXPECT_EQ(path->length(), 2u);
        EXPECT_EQ(plv_sectionIndex(path), 0u);
      }
    }
    if (type == NSFetchedResultsChangeUpdate) {
      EXPECT_TRUE(from->isEqual(to));
    }
    changes.push_back({type, object, from, to});
    log.push_back(line(changes.back()));
    if (onObject) onObject();
  }

  void controllerDidChangeContent(Controller sender) override {
    EXPECT_EQ(sender.get(), controller);
    isInBatch = false;
    log.emplace_back("did");
    ++batches;
    applyChanges();
    if (onDid) onDid();
  }

  /// The calls since the last time, joined by ", ".
  std::string told() {
    std::string joined;
    for (const std::string& each : std::exchange(log, {})) {
      joined += (joined.empty() ? "" : ", ") + each;
    }
    return joined;
  }

  void expectTrue() const {
    const Ref<NSArray> objects = controller->fetchedObjects();
    ASSERT_EQ(rows.size(), objects->count());
    for (std::size_t i = 0; i < rows.size(); ++i) {
      ASSERT_TRUE(rows[i].isIdentical(objects->objectAtIndex(i))) << "row " << i;
    }
  }

  NSFetchedResultsController* controller = nullptr;
  std::vector<Value> rows;
  std::vector<Change> changes;
  std::vector<std::string> log;
  int batches = 0;
  bool isInBatch = false;
  std::function<bool(Callback)> answered;
  std::function<void()> onWill, onObject, onDid;

 private:
  static std::string line(const Change& change) {
    const std::string name = change.object->isFault() || !change.object->managedObjectContext()
                                 ? "?"
                                 : change.object->valueForKey("name").description()->toStdString();
    const char* sign = change.type == NSFetchedResultsChangeInsert   ? "+"
                       : change.type == NSFetchedResultsChangeDelete ? "-"
                                                                     : "=";
    return sign + name + " " + std::to_string(plv_itemIndex(change.from ? change.from : change.to));
  }

  /// As list views do: out by the old positions, in by the new ones.
  void applyChanges() {
    std::vector<NSUInteger> out;
    std::vector<std::pair<NSUInteger, Value>> in;
    for (const Change& change : changes) {
      if (change.from) {
        ASSERT_LT(plv_itemIndex(change.from), rows.size());
        ASSERT_TRUE(rows[plv_itemIndex(change.from)].isIdentical(Value(change.object)));
      }
      if (change.type == NSFetchedResultsChangeDelete) out.push_back(plv_itemIndex(change.from));
      if (change.type == NSFetchedResultsChangeInsert) {
        in.emplace_back(plv_itemIndex(change.to), Value(change.object));
      }
    }
    std::sort(out.rbegin(), out.rend());
    for (const NSUInteger at : out) rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(at));
    std::sort(in.begin(), in.end(),
              [](const auto& left, const auto& right) { return left.first < right.first; });
    for (const auto& [at, object] : in) {
      ASSERT_LE(at, rows.size());
      rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(at), object);
    }
  }
};

/// Random controllers over a context of the list model.
class SampleTest : public FetchedResultsTest {
 protected:
  /// Saved items, by rank in the order given.
  void fill(std::initializer_list<const char*> names) {
    int rank = 0;
    for (const char* name : names) all.push_back(item(name, rank += 10));
    save();
  }

  Ref<PLVRandomFetchedResultsController> randomOf(NSUInteger limit,
                                                  const Ref<NSFetchRequest>& request = items()) {
    return PLVRandomFetchedResultsController::initWithFetchRequestManagedObjectContextSampleLimit(
        request, context, limit);
  }

  Ref<PLVRandomFetchedResultsController> sampledOf(NSUInteger limit) {
    auto controller = randomOf(limit);
    Ref<NSError> error;
    EXPECT_TRUE(controller->performFetch(&error)) << text(error);
    return controller;
  }

  /// Gives these numbers, and fails where one more is asked for.
  static RandomSource numbers(std::vector<std::uint32_t> script) {
    return [script = std::move(script), next = std::size_t{0}]() mutable {
      if (next < script.size()) return script[next++];
      ADD_FAILURE() << "a draw too many";
      return 0u;
    };
  }

  /// As "{1, 3}".
  static std::string indexes(const Ref<NSMutableIndexSet>& set) {
    std::string joined = "{";
    for (const NSUInteger index : set) {
      joined += (joined.size() > 1 ? ", " : "") + std::to_string(index);
    }
    return joined + "}";
  }

  static std::string itemsOf(const Ref<NSMutableArray>& paths) {
    std::string joined;
    for (const Value& path : paths) {
      joined += (joined.empty() ? "" : " ") + std::to_string(plv_itemIndex(as<NSIndexPath>(path)));
    }
    return joined;
  }
  static std::string names(const Ref<PLVRandomFetchedResultsController>& controller) {
    return FetchedResultsTest::names(controller->fetchedObjects());
  }
  using FetchedResultsTest::names;

  std::vector<Ref<NSManagedObject>> all;
};

}  // namespace JNFoundation
