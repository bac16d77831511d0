#pragma once

#include <string>
#include <vector>

#include "feed/BenchTable.h"
#include "feed/RecordFeed.h"

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>

// A store of ours that holds the feed's records, for questions to it and to its objects.
namespace bench {

using namespace JNFoundation;

inline const NSAttributeType kTypes[] = {NSInteger64AttributeType, NSInteger64AttributeType,
                                         NSDoubleAttributeType,    NSDoubleAttributeType,
                                         NSStringAttributeType,    NSStringAttributeType,
                                         NSStringAttributeType,    NSStringAttributeType,
                                         NSBooleanAttributeType,   NSDateAttributeType};
inline const char* const kKeys[] = {"identifier", "quantity", "price", "weight",    "name",
                                    "category",   "barcode",  "note",  "available", "updated"};

inline Ref<NSManagedObjectModel> makeModel() {
  std::vector<Value> attributes;
  for (int i = 0; i < 10; ++i) {
    attributes.emplace_back(NSAttributeDescription::attributeWithNameType(kKeys[i], kTypes[i]));
  }
  const auto quantity = Ref<NSPropertyDescription>(as<NSPropertyDescription>(attributes[1]));
  auto entity = NSEntityDescription::init();
  entity->setName("Record");
  entity->setProperties(NSArray::arrayWithValues(std::move(attributes)));
  entity->setIndexes(NSArray::arrayWithObject(NSFetchIndexDescription::initWithNameElements(
      "byQuantity",
      NSArray::arrayWithObject(NSFetchIndexElementDescription::initWithPropertyCollationType(
          quantity, NSFetchIndexElementTypeBinary)))));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObject(entity));
  return model;
}

/// A store in that file, with a context; null if it cannot be opened.
inline Ref<NSManagedObjectContext> openStore(const Ref<NSManagedObjectModel>& model,
                                             const std::string& path) {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  if (!coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path), nullptr)) {
    return nullptr;
  }
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  return context;
}

/// A file that holds a store of the feed's records, removed at the end.
struct RecordStore {
  explicit RecordStore(const char* side) : path(freshFile(side)), model(makeModel()) {
    const Ref<NSManagedObjectContext> context = openStore(model, path);
    for (std::size_t i = 0; i < kRecords; ++i) {
      const Record record = recordAt(i);
      auto object = NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext(
          "Record", context);
      const Value values[] = {
          record.identifier, record.quantity,
          record.price,      record.weight,
          record.name,       record.category,
          record.barcode,    record.note,
          record.available,  Value::dateWithTimeIntervalSince1970(record.updated)};
      for (int k = 0; k < 10; ++k) object->setValueForKey(values[k], kKeys[k]);
    }
    isSaved = context->save(nullptr);
  }
  ~RecordStore() { removeFile(path); }
  RecordStore(const RecordStore&) = delete;
  RecordStore& operator=(const RecordStore&) = delete;

  std::string path;
  Ref<NSManagedObjectModel> model;
  bool isSaved = false;
};

}  // namespace bench
