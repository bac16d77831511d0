#pragma once

#include <vector>

#include <JNFoundation/mapping/PLVDataMapFilter.h>
#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {

/// How records become objects of one entity: what tells them apart, how they are found, and the map
/// that fills them. Threads: the context's.
class EntityImport {
 public:
  /// Takes: the identity; null stands for the entity's own. The map; null stands for that of the
  /// entity's class. Fails: throws a Rejected for an entity that cannot have objects, and for an
  /// identity that it does not have.
  EntityImport(Ref<NSManagedObjectContext> context, Ref<NSEntityDescription> entity,
               const Ref<NSArray>& identity, Ref<PLVDictionaryDataMap> map,
               Ref<PLVDataMapFilter> filter);

  const Ref<NSEntityDescription>& entity() const noexcept { return _entity; }
  bool hasIdentity() const noexcept { return !_identity.empty(); }

  /// Tells the record's object apart: the value of the attribute, or an array of several, as the
  /// map makes them. Null if the record lacks one.
  Value identityOfRecord(const Ref<NSDictionary>& record);
  /// The identity that a value is by itself, as the attribute has it. Null if it cannot be one.
  Value identityOfValue(const Value& value);
  Value identityOfObject(const NSManagedObject& object) const;

  /// Puts the objects of these identities under them, found in one fetch; the first in the store's
  /// order where several have the same. Fails: throws a Rejected with the error of the fetch.
  void addObjectsOfIdentities(const std::vector<Value>& identities,
                              const Ref<NSMutableDictionary>& objects) const;

  Ref<NSManagedObject> insertObject() const;
  /// Maps the record; values that the object has already are not set.
  void map(const Ref<NSDictionary>& record, const Ref<NSManagedObject>& object) const;

 private:
  Value identityOfScratch() const;
  void clearScratch();

  const Ref<NSManagedObjectContext> _context;
  const Ref<NSEntityDescription> _entity;
  std::vector<Ref<NSAttributeDescription>> _identity;
  Ref<PLVDictionaryDataMap> _map;
  const Ref<PLVDataMapFilter> _filter;
  /// The rules of the map that lead to attributes of the identity, and what they are tried on.
  Ref<PLVDictionaryDataMap> _identityMap;
  Ref<NSManagedObject> _scratch;
};

/// An error of JNImportErrorDomain.
Ref<NSError> importError(NSInteger code, const Ref<NSString>& sentence,
                         std::vector<NSDictionary::Pair> details = {});
/// The error for what code of the application raised.
Ref<NSError> raisedError(const Raised& raised);

}  // namespace JNFoundation::impl
