#pragma once

#include <benchmark/benchmark.h>
#include <cstdint>
#include <vector>

#include "Figures.h"
#include "ListWork.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSFetchedResultsController.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/Subclass.h>

// Objects in the order of a number, and a delegate that counts what it is told.
namespace bench {

using namespace JNFoundation;

class Counter : public Subclass<Counter, NSObject, NSFetchedResultsControllerDelegate> {
 public:
  void controllerDidChangeObjectAtIndexPathForChangeTypeNewIndexPath(
      Controller, const Ref<NSManagedObject>&, const Ref<NSIndexPath>& from,
      NSFetchedResultsChangeType, const Ref<NSIndexPath>& to) override {
    ++changes;
    if (from && to) rows += from->indexAtPosition(1) + to->indexAtPosition(1);
  }
  void controllerDidChangeContent(Controller) override { ++batches; }

  int64_t changes = 0;
  int64_t batches = 0;
  NSUInteger rows = 0;
};

// A context over so many saved objects in memory.
class People {
 public:
  explicit People(int64_t count) {
    Ref<NSError> error;
    const Ref<NSManagedObjectModel> model = NSManagedObjectModel::modelWithXMLError(R"(
      <model>
        <entity name="Person">
          <attribute name="rank" attributeType="Integer 64"/>
          <attribute name="score" optional="YES" attributeType="Double"/>
        </entity>
      </model>)");
    auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
    coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
        NSInMemoryStoreType, nullptr, nullptr, nullptr, &error);
    context = NSManagedObjectContext::init();
    context->setPersistentStoreCoordinator(coordinator);
    for (int64_t i = 0; i < count; ++i) {
      objects.push_back(NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
          "Person", context));
      objects.back()->setValueForKey(i * kGap, "rank");
    }
    isReady = context->save(&error);
    request = NSFetchRequest::fetchRequestWithEntityName("Person");
    request->setSortDescriptors(
        NSArray::arrayWithObjects(NSSortDescriptor::sortDescriptorWithKeyAscending("rank", true)));
  }

  Ref<NSManagedObjectContext> context;
  Ref<NSFetchRequest> request;
  std::vector<Ref<NSManagedObject>> objects;
  bool isReady = false;
};

inline bool isSorted(const Ref<NSArray>& objects, std::size_t count) {
  if (!objects || objects->count() != count) return false;
  int64_t last = 0;
  for (const Value& object : *objects) {
    const int64_t rank = as<NSManagedObject>(object)->valueForKey("rank").longLongValue();
    if (rank < last) return false;
    last = rank;
  }
  return true;
}

// The same list, fetched anew after every change.
inline void queryAgain(benchmark::State& state, int64_t count) {
  const People people(count);
  require(state, people.isReady, "there is no list");
  Moves moves(count);
  Ref<NSArray> found;
  for (auto _ : state) {
    NSManagedObject& object = *people.objects[static_cast<std::size_t>(moves.element())];
    object.setValueForKey(moves.key(), "rank"_s);
    found = people.context->executeFetchRequestError(people.request);
  }
  reportItems(state, 1);
  require(state, isSorted(found, people.objects.size()), "the list is not in order");
  people.context->rollback();
}

}  // namespace bench
