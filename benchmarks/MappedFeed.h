#pragma once

#include <string>

#include "feed/RecordFeed.h"

#include <JNFoundation/mapping/PLVManagedObject.h>
#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/NSPersistentStoreCoordinator.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

// The feed's records as managed objects of a class of their own, with the data map of their entity.
namespace bench {

using namespace JNFoundation;

class FeedRecord : public Subclass<FeedRecord, PLVManagedObject> {
 public:
  static Ref<NSEntityDescription> entityInManagedObjectContext(
      const Ref<NSManagedObjectContext>& context) {
    return NSEntityDescription::entityForNameInManagedObjectContext("FeedRecord", context);
  }

  Ref<PLVDictionaryDataMap> entityDataMap() const override { return map; }

  static inline Ref<PLVDictionaryDataMap> map;

 protected:
  using Subclass::Subclass;
};

inline const ClassDeclaration<FeedRecord> feedRecordDeclaration =
    ClassDeclaration<FeedRecord>().factory();

/// With `isUnique`, no two objects may have one identifier, which the store indexes for that.
inline Ref<NSManagedObjectModel> makeFeedModel(bool isUnique = false) {
  Ref<NSMutableArray> attributes = NSMutableArray::array();
  const auto add = [&](const char* name, NSAttributeType type) {
    attributes->addObject(NSAttributeDescription::attributeWithNameType(name, type));
  };
  add("identifier", NSInteger64AttributeType);
  add("quantity", NSInteger64AttributeType);
  add("price", NSDoubleAttributeType);
  add("weight", NSDoubleAttributeType);
  add("name", NSStringAttributeType);
  add("category", NSStringAttributeType);
  add("barcode", NSStringAttributeType);
  add("note", NSStringAttributeType);
  add("available", NSBooleanAttributeType);
  add("updated", NSDateAttributeType);
  auto entity = NSEntityDescription::init();
  entity->setName("FeedRecord");
  entity->setManagedObjectClassName("FeedRecord");
  entity->setProperties(attributes);
  if (isUnique) {
    entity->setUniquenessConstraints(
        NSArray::arrayWithObject(NSArray::arrayWithObject("identifier")));
  }
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObject(entity));
  FeedRecord::map = PLVDictionaryDataMap::newMapForEntityDescriptor(
      entity, PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity));
  return model;
}

/// A context over a store in that file, which is made if it is not there.
inline Ref<NSManagedObjectContext> openFeedStore(const Ref<NSManagedObjectModel>& model,
                                                 const std::string& path) {
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  Ref<NSError> error;
  if (!coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
          NSSQLiteStoreType, nullptr, NSURL::fileURLWithPath(path), nullptr, &error)) {
    return nullptr;
  }
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  return context;
}

/// Reads every attribute of the object into the tally.
inline void addObject(Tally& tally, const NSManagedObject& object) {
  static const Ref<NSString> keys[] = {"identifier"_s, "quantity"_s, "price"_s,   "weight"_s,
                                       "name"_s,       "category"_s, "barcode"_s, "note"_s,
                                       "available"_s,  "updated"_s};
  std::size_t bytes = 0;
  for (int text = 4; text < 8; ++text) {
    bytes += as<NSString>(object.valueForKey(keys[text]))->utf8().size();
  }
  tally.add(object.valueForKey(keys[0]).integerValue(), object.valueForKey(keys[1]).integerValue(),
            object.valueForKey(keys[2]).doubleValue(), object.valueForKey(keys[3]).doubleValue(),
            bytes, object.valueForKey(keys[8]).boolValue(),
            object.valueForKey(keys[9]).timeIntervalSince1970());
}

}  // namespace bench
