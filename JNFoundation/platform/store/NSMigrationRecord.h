#pragma once

#include <memory>
#include <vector>

#include <JNFoundation/platform/store/NSEntityDescription.h>

namespace JNFoundation::inline v0_1 {

namespace impl {
class MigratedRecords;
}

/// One record while a store is migrated: as it was before, or as it will be.
///
/// Values are read and written by their names. A relationship to one gives the other record or
/// null, one to many an NSArray of records in its order; they are set the same way, to records of
/// either side, old or new, and not before every record has its values. What a transformer makes of
/// transformable values is not done here: they are the data that the file has.
///
///     record->valueForKeyPath("department.name")
///
/// Threads: the one that migrates. Good until the block that was given the record returns.
class NSMigrationRecord : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The entity in the model that the record is of.
  const Ref<NSString>& entityName() const noexcept { return _entity->name(); }
  /// The record's number, which stays the same.
  std::int64_t number() const noexcept { return _number; }

  /// Fails: raises NSUndefinedKeyException for a name that is no stored property of the entity,
  /// NSInternalInconsistencyException when the migration is over.
  Value valueForKey(const Ref<NSString>& key) const override;
  /// Takes: null, or a value of the property's kind.
  /// Fails: as `valueForKey`; raises NSInvalidArgumentException for a value of another kind or out
  /// of the type's range, and NSInternalInconsistencyException for a record as it was.
  void setValueForKey(const Value& value, const Ref<NSString>& key) override;

  /// The entity and the number, for logs.
  Ref<NSString> description() const override;

 protected:
  NSMigrationRecord(Ref<NSEntityDescription> entity, std::int64_t number, std::vector<Value> values,
                    std::weak_ptr<impl::MigratedRecords> records);
  ~NSMigrationRecord() override;

 private:
  friend class impl::MigratedRecords;

  std::size_t slotNamed(const Ref<NSString>& key) const;
  std::shared_ptr<impl::MigratedRecords> records() const;

  Ref<NSEntityDescription> _entity;
  std::int64_t _number;
  /// By property number.
  std::vector<Value> _values;
  std::vector<bool> _isChanged;
  std::weak_ptr<impl::MigratedRecords> _records;
};

}  // namespace JNFoundation
