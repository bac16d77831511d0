#pragma once

#include <vector>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/impl/ObjectAccess.h>

namespace JNFoundation::inline v0_1::impl {

/// What a fetch request says of one object and of two: whether it is a result, which comes first,
/// in which section. What an object raises when it is asked is written to the log, and counts as no
/// result, as equal, and as a section without a name.
class ResultOrder {
 public:
  /// Takes: no key path for results without sections. Fails: raises NSInvalidArgumentException for
  /// a request that makes no sense.
  ResultOrder(NSManagedObjectContext& context, Ref<NSFetchRequest> request,
              Ref<NSString> sectionKeyPath);

  bool hasSections() const noexcept { return _sectionKeyPath != nullptr; }
  /// Whether unsaved changes count.
  bool includesPendingChanges() const noexcept { return _request->includesPendingChanges(); }
  const Ref<NSEntityDescription>& entity() const noexcept { return _entity; }

  bool includes(const NSManagedObject& object) const;
  /// A total order: by the sort descriptors, then as a fetch gives what they leave open.
  bool isBefore(const NSManagedObject& left, const NSManagedObject& right) const;
  /// Has the object read its values, so that it does not change while others are compared with it.
  static void read(const NSManagedObject& object);
  /// A number that an object makes greater which is read again, in a comparison for instance, and
  /// turns out to be another one than when it was put in its place.
  std::uint64_t rereads() const noexcept { return ObjectAccess::rereads(_context); }

  /// Never null.
  Ref<NSString> sectionName(const NSManagedObject& object) const;

 private:
  struct Key {
    const NSSortDescriptor* descriptor;
    /// The number of a stored attribute, whose place is read; otherwise the objects are asked.
    std::size_t attribute;
  };

  NSComparisonResult compare(const Key& key, const NSManagedObject& left,
                             const NSManagedObject& right) const;

  NSManagedObjectContext& _context;
  Ref<NSFetchRequest> _request;
  Ref<NSEntityDescription> _entity;
  Ref<NSPredicate> _predicate;
  Ref<NSString> _sectionKeyPath;
  std::vector<Key> _keys;
  /// Whether the predicate names objects or identifiers, which it takes a fetch to compare.
  bool _namesRecords = false;
};

}  // namespace JNFoundation::impl
