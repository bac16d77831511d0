#pragma once

#include <optional>
#include <vector>

#include <JNFoundation/importing/impl/RecordComparison.h>
#include <JNFoundation/mapping/PLVDataMapFilter.h>
#include <JNFoundation/mapping/PLVDictionaryDataMap.h>
#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {

/// A record on its way to its object.
struct ImportItem {
  /// What a look at the store has found out about the object, without making it.
  enum class Finding {
    None,     ///< nobody has looked
    Absent,   ///< there is none
    Differs,  ///< there is one, which the record may change
    Settled,  ///< there is one, which the record does not change
  };

  NSUInteger index;
  Ref<NSDictionary> record = nullptr;
  Value identity = nullptr;
  Finding finding = Finding::None;
  /// Whether an earlier record, or one of the same chunk, has the same object.
  bool isRepeated = false;
};

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

  /// Whether a look at the store tells what records change: the context has nothing to add to it,
  /// and nobody watches the mapping.
  bool canCompare() const;
  /// Finds out in one fetch of values what becomes of the records, but for those that share an
  /// object with another. Does nothing where the records are such that only mapping can tell.
  /// Fails: throws a Rejected with the error of the fetch.
  void compare(std::vector<ImportItem>& items);

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
  /// Finds those records whose identities are wanted, and perhaps more.
  Ref<NSFetchRequest> requestFor(const std::vector<Value>& identities) const;
  /// The identity of the values of its attributes.
  template <class ValueAt>
  Value identityOf(const ValueAt& valueAt) const;
  void findPlainIdentity();
  void prepareComparison();

  const Ref<NSManagedObjectContext> _context;
  const Ref<NSEntityDescription> _entity;
  std::vector<Ref<NSAttributeDescription>> _identity;
  Ref<PLVDictionaryDataMap> _map;
  const Ref<PLVDataMapFilter> _filter;
  /// The rules of the map that lead to attributes of the identity, and what they are tried on.
  Ref<PLVDictionaryDataMap> _identityMap;
  Ref<NSManagedObject> _scratch;
  /// The key under which a record has its identity as it is, if that is so; else null.
  Ref<NSString> _plainIdentityKey;
  std::optional<RecordComparison> _comparison;
  /// Of a comparison: the attributes that are read, and the place of each of the identity's.
  Ref<NSMutableArray> _compared;
  std::vector<std::size_t> _comparedIdentity;
};

/// An error of JNImportErrorDomain.
Ref<NSError> importError(NSInteger code, const Ref<NSString>& sentence,
                         std::vector<NSDictionary::Pair> details = {});
/// The error for what code of the application raised.
Ref<NSError> raisedError(const Raised& raised);

}  // namespace JNFoundation::impl
