#pragma once

#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Weak.h>

namespace JNFoundation::inline v0_1 {

class NSEntityDescription;
class NSPersistentStore;
class NSURL;

namespace impl {
class ObjectAccess;
}

/// The identity of a managed object: which record, of which entity, in which store.
///
/// An object that was never saved has a temporary identifier, which means something in its own
/// context only; it gives way to a permanent one at the save. Identifiers are compared by content.
/// Threads: any; an identifier never changes, which is what makes it fit to cross threads.
class NSManagedObjectID : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The entity of the object. Never null.
  const Ref<NSEntityDescription>& entity() const noexcept { return _entity; }

  /// Returns: null for a temporary identifier and when the store is gone.
  Ref<NSPersistentStore> persistentStore() const noexcept;

  /// Whether the object was never saved.
  bool isTemporaryID() const noexcept { return !_storeIdentifier; }

  /// The identifier as an address: "x-coredata:///Country/t…" while it is temporary, then
  /// "x-coredata://STORE-IDENTIFIER/Country/p7". A coordinator reads the permanent form back.
  Ref<NSURL> URIRepresentation() const;

  /// The number of the record among those of the entity's hierarchy; of a temporary identifier, its
  /// number within the process.
  std::int64_t number() const noexcept { return _number; }
  /// Returns: null for a temporary identifier.
  const Ref<NSString>& storeIdentifier() const noexcept { return _storeIdentifier; }

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  /// The text form.
  Ref<NSString> description() const override;

 protected:
  NSManagedObjectID(Ref<NSEntityDescription> entity, std::int64_t number,
                    const NSPersistentStore* store);
  ~NSManagedObjectID() override;

 private:
  friend class impl::ObjectAccess;

  // What a look-up reads stands together.
  std::int64_t _number;
  Ref<NSEntityDescription> _entity;
  Ref<NSString> _storeIdentifier;
  Weak<NSPersistentStore> _store;
};

}  // namespace JNFoundation
