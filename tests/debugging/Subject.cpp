#include <cstdint>
#include <limits>

#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/deferred/PLVPromise.h>
#include <JNFoundation/deferred/PLVRejected.h>
#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/fetched/PLVFetchedResultsChanges.h>
#include <JNFoundation/platform/dispatch/MainQueue.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDate.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSIndexPath.h>
#include <JNFoundation/platform/value/NSIndexSet.h>
#include <JNFoundation/platform/value/NSSet.h>

/// What the printers for debuggers are tried on: a debugger stops at `shown`, where the variables
/// of `main` hold one thing of each kind.
using namespace JNFoundation;

namespace shop {

class Upload : public Subclass<Upload, PLVDeferred> {
 protected:
  using Subclass::Subclass;
};

}  // namespace shop

namespace {

/// As a variable looks before its declaration was reached.
union Unmade {
  Unmade() : address(16) {}
  ~Unmade() {}

  std::uintptr_t address;
  Ref<NSArray> array;
};

[[gnu::noinline]] void shown() { asm volatile(""); }

}  // namespace

int main() {
  const Unmade unmade;
  const Value none;
  const Value truth = true;
  const Value number = -12;
  const Value large = std::numeric_limits<std::uint64_t>::max();
  const Value fraction = 2.5;
  const Value day = NSDate::dateWithTimeIntervalSinceReferenceDate(86400);
  const Value far = NSDate::dateWithTimeIntervalSince1970(1e300);
  const Ref<NSString> text = "say \"ä\"";
  const Ref<NSString> longText = NSString::fromText(std::string(300, 'x'));
  const Ref<NSString> noText;
  const Value boxed = text;
  const Ref<NSArray> array = NSArray::arrayWithObjects(1, "two", NSArray::arrayWithObjects(3.5));
  const Ref<NSDictionary> dictionary =
      NSDictionary::dictionaryWithEntries({{"name", "Ann"}, {"age", 30}});
  const Ref<NSMutableSet> set = NSMutableSet::setWithObjects("a", "b", "c");
  set->removeObject("b");
  const Ref<NSIndexPath> path = plv_indexPathForItemIndexSectionIndex(4, 1);
  const Ref<NSMutableIndexSet> indexes = NSMutableIndexSet::indexSet();
  for (const NSUInteger index : {2, 3, 4, 9}) indexes->addIndex(index);
  const Ref<NSError> error = NSError::errorWithDomainCodeUserInfo(
      "Shop", 7, NSDictionary::dictionaryWithObjectForKey("sold out", "reason"));
  const Ref<PLVRejected> rejected = PLVRejected::initWithValue(error);

  const Ref<PLVDeferred> pending = PLVDeferred::init();
  for (int i = 0; i < 7; ++i) pending->thenResolved([](const Value& value) { return value; });
  const Ref<PLVDeferred> resolved = PLVDeferred::withResolved("done");
  const Ref<PLVDeferred> sourced = PLVDeferred::initWithResolutionSource(array);
  const Ref<PLVDeferred> orphan =
      PLVDeferred::initWithResolutionSource(NSArray::arrayWithObjects("gone"));
  const Ref<PLVDeferred> cancelled = PLVDeferred::init();
  cancelled->cancel();
  const Ref<PLVPromise> promise = PLVPromise::init();
  const Ref<PLVDeferred> listener = promise->deferredResolution();
  const Ref<PLVPromise> listed = PLVPromise::init();
  const Ref<PLVDeferred> enlisted = PLVDeferred::init();
  listed->enlistResolvable(enlisted);
  const Ref<PLVDeferred> inner = PLVDeferred::init();
  const Ref<PLVDeferred> outer = PLVDeferred::withResolved(inner);
  const Ref<PLVPromise> waiting = PLVPromise::withResolved(inner);
  const Ref<PLVPromise> kept = PLVPromise::withResolved(NSArray::arrayWithObject("done"));
  const Ref<NSMutableArray> ring = NSMutableArray::array();
  ring->addObject(1);
  ring->addObject(ring);
  const Ref<shop::Upload> upload = shop::Upload::init();

  const Ref<NSEntityDescription> being = NSEntityDescription::init();
  being->setName("Being");
  const Ref<NSAttributeDescription> name = NSAttributeDescription::init();
  name->setName("name");
  name->setAttributeType(NSStringAttributeType);
  being->setProperties(NSArray::arrayWithObject(name));
  const Ref<NSEntityDescription> person = NSEntityDescription::init();
  person->setName("Person");
  const Ref<NSAttributeDescription> age = NSAttributeDescription::init();
  age->setName("age");
  age->setAttributeType(NSInteger64AttributeType);
  const Ref<NSRelationshipDescription> boss = NSRelationshipDescription::init();
  boss->setName("boss");
  boss->setDestinationEntity(person);
  boss->setMaxCount(1);
  person->setProperties(NSArray::arrayWithObjects(age, boss));
  being->setSubentities(NSArray::arrayWithObject(person));
  const Ref<NSManagedObjectModel> model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(being, person));
  const Ref<NSManagedObjectContext> context =
      NSManagedObjectContext::initWithConcurrencyType(NSMainQueueConcurrencyType);
  const auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(NSInMemoryStoreType, nullptr,
                                                                      nullptr, nullptr, nullptr);
  context->setPersistentStoreCoordinator(coordinator);
  const Value entityClass = NSEntityDescription::classObject;
  const Ref<NSManagedObject> object =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Person", context);
  object->setValueForKey("Ann", "name");
  object->setValueForKey(30, "age");
  object->setValueForKey(object, "boss");

  const Ref<PLVFetchedResultsChanges> changes = PLVFetchedResultsChanges::init();
  changes->changeObjectAtIndexPathForChangeTypeNewIndexPath(nullptr, NSFetchedResultsChangeInsert,
                                                            path);

  shown();
  return none.isNull() ? 0 : 1;
}
