#include "Catalog.h"

#include <algorithm>
#include <filesystem>

#include "CatalogFilter.h"
#include "Feed.h"

#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/platform/dispatch/Random.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

namespace catalog {

Ref<NSManagedObjectModel> Catalog::readModel(const std::string& path, Ref<NSError>* error) {
  return NSManagedObjectModel::initWithContentsOfFileError(path, error);
}

bool Catalog::open(Ref<NSError>* error) {
  if (_context) return true;
  std::error_code ignored;  // opening the store says what is wrong with its folder
  std::filesystem::create_directories(std::filesystem::path(_storePath).parent_path(), ignored);
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(_model);
  if (!coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(_storePath), nullptr, error)) {
    return false;
  }
  _context = NSManagedObjectContext::init();
  _context->setPersistentStoreCoordinator(coordinator);
  plv_setDataMapFilter(_context, CatalogFilter::filter());
  return true;
}

NSUInteger Catalog::countOf(const Ref<NSString>& entityName) const {
  return _context->countForFetchRequestError(
      NSFetchRequest::fetchRequestWithEntityName(entityName));
}

Ref<NSArray> Catalog::sampleOf(const Ref<NSString>& entityName, NSUInteger count) const {
  const Ref<NSArray> all =
      _context->executeFetchRequestError(NSFetchRequest::fetchRequestWithEntityName(entityName));
  Ref<NSMutableArray> sample = NSMutableArray::array();
  if (!all) return sample;
  Ref<NSMutableArray> rest = NSMutableArray::arrayWithArray(all);
  for (NSUInteger left = rest->count(); left > 0 && sample->count() < count; --left) {
    const NSUInteger chosen = JNFoundation::arc4random_uniform(static_cast<std::uint32_t>(left));
    sample->addObject(rest->objectAtIndex(chosen));
    rest->exchangeObjectAtIndexWithObjectAtIndex(chosen, left - 1);
  }
  return sample;
}

Ref<PLVDeferred> importFiles(Catalog& catalog, std::vector<FeedFile>& files, Worker& worker,
                             const MergeProgress& progress) {
  // Every stage is a step; a step that returns a deferred makes the next one wait for it. A failure
  // anywhere passes by the steps behind it, to whoever handles rejections.
  Ref<NSMutableArray> lists = NSMutableArray::array();
  Ref<PLVDeferred> work = PLVDeferred::withResolved(nullptr);
  for (const FeedFile& file : files) {
    work->thenResolved(
        [&worker, path = &file.path](const Value&) { return recordsOfFile(*path, worker); });
    work->thenResolved([lists](const Value& records) {
      lists->addObject(records);
      return records;
    });
  }
  work->thenResolved([&catalog](const Value&) -> Value {
    Ref<NSError> error;
    return catalog.open(&error) ? Value() : Value(PLVRejected::withValue(error));
  });
  for (std::size_t i = 0; i < files.size(); ++i) {
    work->thenResolved([&catalog, file = &files[i], lists, i, progress](const Value&) {
      return mergeRecords(as<NSArray>(lists->objectAtIndex(i)), file->entityName, catalog.context(),
                          progress, file->counts);
    });
  }
  return work->thenResolved([&catalog](const Value&) -> Value {
    Ref<NSError> error;
    return catalog.context()->save(&error) ? Value() : Value(PLVRejected::withValue(error));
  });
}

}  // namespace catalog
