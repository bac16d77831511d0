#pragma once

#include <memory>
#include <unordered_map>

#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/ValueArray.h>
#include <JNFoundation/platform/store/impl/ObjectRegistry.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/Block.h>

namespace JNFoundation::inline v0_1::impl {

/// What stands for one record in a predicate: equal to everything else that stands for it, be it a
/// row of a store, an object with unsaved changes, or what a predicate names.
class RecordIdentity : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  explicit RecordIdentity(const ObjectKey& key) : _key(key) {}

  const ObjectKey& key() const noexcept { return _key; }

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  /// Null for every key but `self` and `objectID`, which are this again.
  Value valueForKey(const Ref<NSString>& key) const override;

 protected:
  RecordIdentity() = default;

  ObjectKey _key;
};

/// Where rows of one store find the rows that they are related to, each read once.
/// Lives longer than its rows. Threads: one at a time, under the store's lock.
class RowSource {
 public:
  explicit RowSource(NSPersistentStore& store) : _store(store) {}

  NSPersistentStore& store() const noexcept { return _store; }

  /// Returns: null for a record that is not there. Fails: throws UnreadableRows.
  Value row(const NSManagedObjectID& identifier);
  /// The rows at the other end of a relationship to many. Fails: throws UnreadableRows.
  Value relatedRows(const NSRelationshipDescription& relationship, std::int64_t primaryKey);

 private:
  NSPersistentStore& _store;
  std::unordered_map<const NSEntityDescription*, std::unordered_map<std::int64_t, Value>> _known;
};

/// A record as predicates, expressions and sort descriptors see it, without an object of its own:
/// its attributes by name, the records that it is related to, and `objectID`.
class StoredRow final : public RecordIdentity {
 public:
  using Superclass = RecordIdentity;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  explicit StoredRow(RowSource& source) : _source(source) {}
  /// Keeps the values.
  StoredRow(RowSource& source, const NSEntityDescription& entity, std::int64_t primaryKey,
            std::uint32_t version, ValueArray values)
      : StoredRow(source) {
    _owned = std::move(values);
    pointTo(entity, primaryKey, version, _owned.get());
  }

  /// Makes this another record, whose values are borrowed until the next one.
  void pointTo(const NSEntityDescription& entity, std::int64_t primaryKey, std::uint32_t version,
               const Value* values) noexcept;

  const NSEntityDescription& entity() const noexcept { return *_entity; }
  std::int64_t primaryKey() const noexcept { return _key.number; }
  std::uint32_t version() const noexcept { return _version; }
  const Value* values() const noexcept { return _values; }
  /// What the attribute's value stands for.
  Value attributeAtIndex(std::size_t index) const;
  Value* ownedValues() noexcept { return _owned.get(); }
  Ref<NSManagedObjectID> objectID() const;

  /// Null for an attribute of a descendant that this record's entity does not have.
  Value valueForKey(const Ref<NSString>& key) const override;

 private:
  RowSource& _source;
  const NSEntityDescription* _entity = nullptr;
  const Value* _values = nullptr;
  ValueArray _owned;
  std::uint32_t _version = 0;
};

/// An object with unsaved changes where predicates hold it beside records.
class ObjectRow final : public RecordIdentity {
 public:
  using Superclass = RecordIdentity;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  explicit ObjectRow(Ref<NSManagedObject> object);

  Value valueForKey(const Ref<NSString>& key) const override;

 private:
  Ref<NSManagedObject> _object;
};

/// Collects records with their values.
class RowCollector final : public StoreRowReceiver {
 public:
  explicit RowCollector(RowSource& source) : _source(source) {}

  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t version) override;
  void endRow() override {}

  std::vector<Value> rows;

 private:
  RowSource& _source;
};

/// Shows records with their values, one after the other, and keeps none.
class RowVisitor final : public StoreRowReceiver {
 public:
  RowVisitor(RowSource& source, Block<void(StoredRow& row)> visit)
      : _source(source), _visit(std::move(visit)) {}

  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t version) override;
  void endRow() override;

 private:
  RowSource& _source;
  Block<void(StoredRow& row)> _visit;
  Ref<StoredRow> _row;
};

}  // namespace JNFoundation::impl
