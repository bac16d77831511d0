#pragma once

#include <vector>

#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/ValueArray.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>

namespace JNFoundation::inline v0_1 {

class NSBatchDeleteRequest;
class NSBatchInsertRequest;
class NSBatchUpdateRequest;
class NSError;
class NSPersistentStoreCoordinator;

namespace impl {

/// How many records are in memory at once while a batch request works.
inline constexpr std::size_t batchChunk = 500;

/// The entity that a request is about. Fails: raises NSInvalidArgumentException for none, for an
/// unknown name and for an entity of another model.
Ref<NSEntityDescription> entityOfRequest(const NSPersistentStoreCoordinator& coordinator,
                                         const Ref<NSEntityDescription>& entity,
                                         const Ref<NSString>& name);

/// The transactions of one batch request. What is not committed when it goes is taken back.
class BatchTransaction {
 public:
  BatchTransaction() = default;
  ~BatchTransaction();
  BatchTransaction(const BatchTransaction&) = delete;
  BatchTransaction& operator=(const BatchTransaction&) = delete;

  /// Begins one in the store, unless it has one already.
  bool begin(NSPersistentStore& store, Ref<NSError>* error);
  bool commit(Ref<NSError>* error);

 private:
  std::vector<Ref<NSPersistentStore>> _stores;
};

/// Writes values into attributes' places past any object.
class PlainValues {
 public:
  /// Takes: the name that a request has for an attribute, or its description.
  /// Returns: its number. Fails: raises NSInvalidArgumentException for all but a stored attribute.
  static std::size_t numberOf(const NSEntityDescription& entity, const Value& property);

  /// Puts the value, NSNull for null, into the place. Fails: raises NSInvalidArgumentException for
  /// one of another kind; returns false and sets the error for one that the model cannot hold.
  static bool put(const NSEntityDescription& entity, std::size_t number, Value value, Value& place,
                  Ref<NSError>* error);
  /// Whether a place may be null. Fails: returns false and sets the error.
  static bool checkMissing(const NSEntityDescription& entity, std::size_t number,
                           const Value& place, Ref<NSError>* error);
};

// Execute a request in the stores of the context's coordinator. Return: the result; null on
// failure, with the error set.
Value executeBatch(NSManagedObjectContext& context, const NSBatchInsertRequest& request,
                   Ref<NSError>* error);
Value executeBatch(NSManagedObjectContext& context, const NSBatchUpdateRequest& request,
                   Ref<NSError>* error);
Value executeBatch(NSManagedObjectContext& context, const NSBatchDeleteRequest& request,
                   Ref<NSError>* error);

}  // namespace impl
}  // namespace JNFoundation
