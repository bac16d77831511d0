#pragma once

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class ConflictResolution;
}

/// A record that a save is about to change or delete, and that somebody else has changed or deleted
/// since the context read it.
///
/// Snapshots have the stored attributes and the relationships to one object by name: NSNull for
/// null, and for an object its identifier.
/// Threads: the context's.
class NSMergeConflict : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The object in the context, with its changes. Never null.
  const Ref<NSManagedObject>& sourceObject() const noexcept { return _object; }

  /// The version that the object's changes are based on.
  NSUInteger oldVersionNumber() const noexcept { return _oldVersion; }
  /// The version that the store has. Returns: 0 for a record that is gone.
  NSUInteger newVersionNumber() const noexcept { return _newVersion; }

  /// What the object held when it was last read or saved. Never null.
  Ref<NSDictionary> objectSnapshot() const;
  /// What the store has. Returns: null for a record that is gone.
  Ref<NSDictionary> persistedSnapshot() const;
  /// The same: nothing stands between a context and its store that keeps rows.
  Ref<NSDictionary> cachedSnapshot() const { return persistedSnapshot(); }

  /// Object, identifier, versions and snapshots.
  Ref<NSString> description() const override;

 protected:
  /// Takes: the record's values by property number, null where it is gone.
  NSMergeConflict(Ref<NSManagedObject> object, ValueArray record, std::uint32_t newVersion);
  ~NSMergeConflict() override;

 private:
  friend class impl::ConflictResolution;

  /// What was decided.
  enum class Outcome : std::uint8_t {
    Open,
    /// The object's changes are based on what the store has.
    Settled,
    /// The record is gone, and is to be written again.
    WriteAnew,
    /// Both sides have deleted it.
    Gone,
  };

  Ref<NSManagedObject> _object;
  ValueArray _base;
  ValueArray _record;
  std::uint32_t _oldVersion;
  std::uint32_t _newVersion;
  Outcome _outcome = Outcome::Open;
  /// The context was asked to watch the object, which has no changes.
  bool _isWatched = false;
};

}  // namespace JNFoundation
