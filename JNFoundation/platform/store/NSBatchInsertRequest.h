#pragma once

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSPersistentStoreRequest.h>
#include <JNFoundation/platform/value/Block.h>

namespace JNFoundation::inline v0_1 {

class NSMutableDictionary;

/// What the result of a request is: true, the identifiers of the records, or their number.
enum NSBatchInsertRequestResultType : NSUInteger {
  NSBatchInsertRequestResultTypeStatusOnly = 0,  ///< true
  NSBatchInsertRequestResultTypeObjectIDs = 1,   ///< an NSArray of NSManagedObjectIDs
  NSBatchInsertRequestResultTypeCount = 2,       ///< a number
};

/// Fills the dictionary, which is empty, with the attributes of the next object.
/// Returns: true to stop; nothing is inserted for that call.
using NSBatchInsertDictionaryHandler = Block<bool(const Ref<NSMutableDictionary>& object)>;

/// Many new records in one transaction, all of them or none, without an object for any: their
/// attributes by name, from an array of dictionaries or from a block that fills one after the
/// other. What is not given gets its default value.
///
///     auto request = NSBatchInsertRequest::batchInsertRequestWithEntityNameObjects("City",
///     cities); request->setResultType(NSBatchInsertRequestResultTypeObjectIDs); Value result =
///     context->executeRequestError(request, &error);
///
/// No object is asked to validate, but no record is made that the model could not hold: a missing
/// value that is not optional (1570), a number out of its type's range (1610, 1620), a repetition
/// of what must be unique (133021) fail the request. A name that is no stored attribute of the
/// entity, a relationship among them, and a value of another kind raise NSInvalidArgumentException;
/// nothing is inserted then either.
class NSBatchInsertRequest : public NSPersistentStoreRequest {
 public:
  using Superclass = NSPersistentStoreRequest;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }
  /// NSBatchInsertRequestType.
  NSPersistentStoreRequestType requestType() const noexcept override {
    return NSBatchInsertRequestType;
  }

  // Takes: NSDictionaries.
  static Ref<NSBatchInsertRequest> batchInsertRequestWithEntityNameObjects(
      const Ref<NSString>& entityName, const Ref<NSArray>& dictionaries);
  static Ref<NSBatchInsertRequest> initWithEntityObjects(const Ref<NSEntityDescription>& entity,
                                                         const Ref<NSArray>& dictionaries);
  // Calls: the block while the request is executed, inside its transaction, before a save of the
  // same store could begin. What it raises ends the request. It must not be null.
  static Ref<NSBatchInsertRequest> batchInsertRequestWithEntityNameDictionaryHandler(
      const Ref<NSString>& entityName, NSBatchInsertDictionaryHandler handler);
  static Ref<NSBatchInsertRequest> initWithEntityDictionaryHandler(
      const Ref<NSEntityDescription>& entity, NSBatchInsertDictionaryHandler handler);

  /// Null where a name stands for it.
  const Ref<NSEntityDescription>& entity() const noexcept { return _entity; }
  /// Null where neither an entity nor a name was given.
  Ref<NSString> entityName() const { return _entity ? _entity->name() : _entityName; }
  /// Null where a block gives the objects.
  const Ref<NSArray>& objectsToInsert() const noexcept { return _objectsToInsert; }
  void setObjectsToInsert(const Ref<NSArray>& dictionaries);
  /// Null where an array has the objects.
  const NSBatchInsertDictionaryHandler& dictionaryHandler() const noexcept { return _handler; }
  void setDictionaryHandler(NSBatchInsertDictionaryHandler handler);

  /// What the result is; true unless it is set otherwise.
  NSBatchInsertRequestResultType resultType() const noexcept { return _resultType; }
  void setResultType(NSBatchInsertRequestResultType type) noexcept { _resultType = type; }

 protected:
  NSBatchInsertRequest();
  ~NSBatchInsertRequest() override;

 private:
  Ref<NSEntityDescription> _entity;
  Ref<NSString> _entityName;
  Ref<NSArray> _objectsToInsert;
  NSBatchInsertDictionaryHandler _handler;
  NSBatchInsertRequestResultType _resultType = NSBatchInsertRequestResultTypeStatusOnly;
};

}  // namespace JNFoundation
