#pragma once

#include <functional>

#include "tests/platform/store/StoreFixture.h"

#include <JNFoundation/platform/dispatch/NSLog.h>
#include <JNFoundation/platform/store/NSFetchedResultsController.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {

/// An item whose section may be computed.
class ListedItem : public Subclass<ListedItem, NSManagedObject> {
 public:
  /// "low" below 100, "high" from there on. Counts how often it is asked.
  Ref<NSString> level() const {
    ++timesAsked;
    return storedValueForKey("rank").longLongValue() < 100 ? "low"_s : "high"_s;
  }
  Ref<NSString> wrong() const { raise(NSGenericException, "no name today"); }

  static inline int timesAsked = 0;
};

/// Item: name, group, rank, score, hidden; below it SpecialItem. Other: name.
inline Ref<NSManagedObjectModel> listModel() {
  auto item = entityNamed("Item", {attributeNamed("name", NSStringAttributeType),
                                   attributeNamed("group", NSStringAttributeType),
                                   attributeNamed("rank", NSInteger32AttributeType),
                                   attributeNamed("score", NSDoubleAttributeType),
                                   attributeNamed("hidden", NSBooleanAttributeType)});
  item->setManagedObjectClassName("ListedItem");
  auto special = entityNamed("SpecialItem", {});
  special->setManagedObjectClassName("ListedItem");
  item->setSubentities(NSArray::arrayWithObjects(special));
  auto other = entityNamed("Other", {attributeNamed("name", NSStringAttributeType)});
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(item, other));
  return model;
}

/// What a list view keeps: sections of rows, changed by nothing but what a delegate is told.
class ListView : public Subclass<ListView, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  struct Section {
    std::string name;
    std::vector<Value> rows;
  };

  static Ref<ListView> of(const Ref<NSFetchedResultsController>& controller) {
    Ref<ListView> view = makeObject<ListView>();
    view->controller = controller.get();
    view->reload();
    controller->setDelegate(Ref<NSFetchedResultsControllerDelegate>(view));
    return view;
  }

  void reload() { sections = sectionsOf(*controller); }

  static std::vector<Section> sectionsOf(const NSFetchedResultsController& controller) {
    std::vector<Section> sections;
    const Ref<NSArray> infos = controller.sections();
    if (!infos) return sections;
    for (const Value& value : *infos) {
      const auto* info = as<NSFetchedResultsSectionInfo>(value);
      Section section{info->name() ? info->name()->toStdString() : "(null)", {}};
      const Ref<NSArray> objects = info->objects();
      EXPECT_EQ(objects->count(), info->numberOfObjects());
      for (const Value& object : *objects) section.rows.push_back(object);
      sections.push_back(std::move(section));
    }
    return sections;
  }

  bool answers(Callback callback) const override {
    return answered ? answered(callback) : NSFetchedResultsControllerDelegate::answers(callback);
  }

  void controllerWillChangeContent(Controller sender) override {
    EXPECT_EQ(sender.get(), controller);
    EXPECT_FALSE(isInBatch) << "a batch inside a batch";
    isInBatch = true;
    log.emplace_back("will");
    sectionChanges.clear();
    objectChanges.clear();
    if (onWill) onWill();
  }

  void controllerDidChangeSectionAtIndexForChangeType(Controller,
                                                      const Ref<NSFetchedResultsSectionInfo>& info,
                                                      NSUInteger index,
                                                      NSFetchedResultsChangeType type) override {
    EXPECT_TRUE(isInBatch);
    EXPECT_TRUE(objectChanges.empty()) << "sections come before objects";
    EXPECT_TRUE(type == NSFetchedResultsChangeInsert || type == NSFetchedResultsChangeDelete);
    if (type == NSFetchedResultsChangeDelete) {
      EXPECT_EQ(info->numberOfObjects(), 0u);
    } else {
      EXPECT_GT(info->numberOfObjects(), 0u);
    }
    sectionChanges.push_back({info->name()->toStdString(), index, type});
    log.push_back(std::string(type == NSFetchedResultsChangeInsert ? "+" : "-") + "section " +
                  std::to_string(index) + " " + info->name()->toStdString());
    if (onSection) onSection();
  }

  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller, const Ref<NSManagedObject>& object, const Ref<NSIndexPath>& from,
      NSFetchedResultsChangeType type, const Ref<NSIndexPath>& to) override {
    EXPECT_TRUE(isInBatch);
    EXPECT_EQ(from != nullptr, type != NSFetchedResultsChangeInsert);
    EXPECT_EQ(to != nullptr, type != NSFetchedResultsChangeDelete);
    for (const ObjectChange& change : objectChanges) {
      EXPECT_NE(change.object, object) << "told of twice";
    }
    objectChanges.push_back({object, from, type, to});
    log.push_back(text(objectChanges.back()));
    if (onObject) onObject();
  }

  void controllerDidChangeContent(Controller) override {
    EXPECT_TRUE(isInBatch);
    isInBatch = false;
    log.emplace_back("did");
    ++batches;
    if (!ignores) applyChanges();
    if (onDid) onDid();
  }

  Ref<NSString> controllerSectionIndexTitleForSectionName(Controller,
                                                          const Ref<NSString>& name) override {
    return NSString::stringWithFormat("<%@>", name);
  }

  /// The calls since the last time, joined by ", ".
  std::string told() {
    std::string joined;
    for (const std::string& line : std::exchange(log, {})) {
      joined += (joined.empty() ? "" : ", ") + line;
    }
    return joined;
  }

  /// Whether the rows are those of the controller.
  void expectTrue() const {
    const std::vector<Section> expected = sectionsOf(*controller);
    ASSERT_EQ(sections.size(), expected.size());
    NSUInteger index = 0;
    const Ref<NSArray> all = controller->fetchedObjects();
    for (std::size_t i = 0; i < sections.size(); ++i) {
      ASSERT_EQ(sections[i].name, expected[i].name) << "section " << i;
      ASSERT_EQ(sections[i].rows.size(), expected[i].rows.size()) << "section " << i;
      for (std::size_t k = 0; k < expected[i].rows.size(); ++k, ++index) {
        const Value& row = expected[i].rows[k];
        ASSERT_TRUE(sections[i].rows[k].isIdentical(row)) << "row " << i << "." << k;
        ASSERT_TRUE(all->objectAtIndex(index).isIdentical(row));
        const Ref<NSIndexPath> path = NSIndexPath::indexPathWithIndexes({i, k});
        ASSERT_TRUE(controller->objectAtIndexPath(path).isIdentical(row));
        ASSERT_TRUE(controller->indexPathForObject(row)->isEqual(Value(path)));
      }
    }
    ASSERT_EQ(all->count(), index);
  }

  struct SectionChange {
    std::string name;
    NSUInteger index;
    NSFetchedResultsChangeType type;
  };
  struct ObjectChange {
    Ref<NSManagedObject> object;
    Ref<NSIndexPath> from;
    NSFetchedResultsChangeType type;
    Ref<NSIndexPath> to;
  };

  NSFetchedResultsController* controller = nullptr;
  std::vector<Section> sections;
  std::vector<SectionChange> sectionChanges;
  std::vector<ObjectChange> objectChanges;
  std::vector<std::string> log;
  int batches = 0;
  bool isInBatch = false;
  /// Whether the rows are left as they are.
  bool ignores = false;
  std::function<bool(Callback)> answered;
  std::function<void()> onWill, onSection, onObject, onDid;

 private:
  static std::string text(const Ref<NSIndexPath>& path) {
    return std::to_string(path->indexAtPosition(0)) + "." +
           std::to_string(path->indexAtPosition(1));
  }
  static std::string text(const ObjectChange& change) {
    const std::string name =
        change.object->isFault() || change.object->managedObjectContext() == nullptr
            ? "?"
            : change.object->valueForKey("name").description()->toStdString();
    switch (change.type) {
      case NSFetchedResultsChangeInsert:
        return "+" + name + " " + text(change.to);
      case NSFetchedResultsChangeDelete:
        return "-" + name + " " + text(change.from);
      case NSFetchedResultsChangeMove:
        return ">" + name + " " + text(change.from) + " " + text(change.to);
      case NSFetchedResultsChangeUpdate:
        break;
    }
    return "=" + name + " " + text(change.from) + " " + text(change.to);
  }

  /// As list views do: out by the old positions, in by the new ones.
  void applyChanges() {
    std::vector<std::pair<NSUInteger, NSUInteger>> out;
    std::vector<std::tuple<NSUInteger, NSUInteger, Value>> in;
    const auto pair = [](const Ref<NSIndexPath>& path) {
      return std::pair(path->indexAtPosition(0), path->indexAtPosition(1));
    };
    for (const ObjectChange& change : objectChanges) {
      if (change.from) {
        const auto [section, row] = pair(change.from);
        ASSERT_LT(section, sections.size());
        ASSERT_LT(row, sections[section].rows.size());
        ASSERT_TRUE(sections[section].rows[row].isIdentical(Value(change.object)));
      }
      if (change.type == NSFetchedResultsChangeUpdate) continue;
      if (change.from) out.push_back(pair(change.from));
      if (change.to) {
        in.emplace_back(pair(change.to).first, pair(change.to).second, Value(change.object));
      }
    }
    std::sort(out.rbegin(), out.rend());
    for (const auto& [section, row] : out) {
      auto& rows = sections[section].rows;
      rows.erase(rows.begin() + static_cast<std::ptrdiff_t>(row));
    }
    std::vector<NSUInteger> gone;
    for (const SectionChange& change : sectionChanges) {
      if (change.type != NSFetchedResultsChangeDelete) continue;
      ASSERT_LT(change.index, sections.size());
      ASSERT_EQ(sections[change.index].name, change.name);
      ASSERT_TRUE(sections[change.index].rows.empty()) << "its objects are told of as well";
      gone.push_back(change.index);
    }
    std::sort(gone.rbegin(), gone.rend());
    for (const NSUInteger index : gone) {
      sections.erase(sections.begin() + static_cast<std::ptrdiff_t>(index));
    }
    std::sort(sectionChanges.begin(), sectionChanges.end(),
              [](const auto& left, const auto& right) { return left.index < right.index; });
    for (const SectionChange& change : sectionChanges) {
      if (change.type != NSFetchedResultsChangeInsert) continue;
      ASSERT_LE(change.index, sections.size());
      sections.insert(sections.begin() + static_cast<std::ptrdiff_t>(change.index),
                      {change.name, {}});
    }
    std::sort(in.begin(), in.end(), [](const auto& left, const auto& right) {
      return std::pair(std::get<0>(left), std::get<1>(left)) <
             std::pair(std::get<0>(right), std::get<1>(right));
    });
    for (const auto& [section, row, object] : in) {
      ASSERT_LT(section, sections.size());
      auto& rows = sections[section].rows;
      ASSERT_LE(row, rows.size());
      rows.insert(rows.begin() + static_cast<std::ptrdiff_t>(row), object);
    }
    for (const ObjectChange& change : objectChanges) {
      if (change.type != NSFetchedResultsChangeUpdate) continue;
      const auto [section, row] = pair(change.to);
      ASSERT_TRUE(sections[section].rows[row].isIdentical(Value(change.object)));
    }
  }
};

/// A context over a store of the list model, with controllers and their views.
class FetchedResultsTest : public StoreTest {
 protected:
  void SetUp() override { open(NSSQLiteStoreType, listModel()); }

  Ref<NSManagedObject> item(const char* name, int rank = 0, const char* group = nullptr) {
    return insert("Item", {{"name", name}, {"rank", rank}, {"group", group}});
  }

  static Ref<NSFetchRequest> items(std::vector<Value> sortDescriptors = {by("rank")},
                                   const Ref<NSPredicate>& predicate = nullptr) {
    return request("Item", predicate, std::move(sortDescriptors));
  }

  Ref<NSFetchedResultsController> controllerOf(const Ref<NSFetchRequest>& request,
                                               const char* section = nullptr,
                                               const char* cache = nullptr) const {
    return NSFetchedResultsController::
        initWithFetchRequestManagedObjectContextSectionNameKeyPathCacheName(request, context,
                                                                            section, cache);
  }

  /// A fetched controller.
  Ref<NSFetchedResultsController> fetchedOf(const Ref<NSFetchRequest>& request,
                                            const char* section = nullptr) const {
    auto controller = controllerOf(request, section);
    Ref<NSError> error;
    EXPECT_TRUE(controller->performFetch(&error)) << text(error);
    return controller;
  }

  void process() { context->processPendingChanges(); }

  /// The names of the objects, sections in brackets where there are several.
  static std::string names(const Ref<NSFetchedResultsController>& controller) {
    std::string joined;
    for (const ListView::Section& section : ListView::sectionsOf(*controller)) {
      if (controller->sectionNameKeyPath()) {
        joined += (joined.empty() ? "" : " ") + section.name + ":";
      }
      for (const Value& row : section.rows) {
        joined += (joined.empty() ? "" : " ") +
                  as<NSObject>(row)->valueForKey("name").description()->toStdString();
      }
    }
    return joined;
  }

  static std::string names(const Ref<NSArray>& objects) {
    std::string joined;
    for (const Value& object : *objects) {
      joined += (joined.empty() ? "" : " ") +
                as<NSObject>(object)->valueForKey("name").description()->toStdString();
    }
    return joined;
  }

  static Ref<NSIndexPath> path(NSUInteger section, NSUInteger row) {
    return NSIndexPath::indexPathWithIndexes({section, row});
  }

  /// The lines that the function has written to the log.
  template <class Function>
  static std::vector<std::string> logged(Function&& function) {
    std::vector<std::string> lines;
    const LogSinkScope scope(
        [&](const Ref<NSString>& line) { lines.push_back(line->toStdString()); });
    function();
    return lines;
  }
};

}  // namespace JNFoundation
