#pragma once

#include <memory>

#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/ValueArray.h>

namespace JNFoundation::impl {

/// A record as predicates, expressions and sort descriptors see it, without an object of its own:
/// its attributes by name, and `objectID`.
class StoredRow final : public NSObject {
 public:
  explicit StoredRow(const NSPersistentStore& store) : _store(store) {}
  /// Keeps the values.
  StoredRow(const NSPersistentStore& store, const NSEntityDescription& entity,
            std::int64_t primaryKey, std::uint32_t version, ValueArray values)
      : StoredRow(store) {
    _owned = std::move(values);
    pointTo(entity, primaryKey, version, _owned.get());
  }

  /// Makes this another record, whose values are borrowed until the next one.
  void pointTo(const NSEntityDescription& entity, std::int64_t primaryKey, std::uint32_t version,
               const Value* values) noexcept {
    _entity = &entity;
    _primaryKey = primaryKey;
    _version = version;
    _values = values;
  }

  const NSEntityDescription& entity() const noexcept { return *_entity; }
  std::int64_t primaryKey() const noexcept { return _primaryKey; }
  std::uint32_t version() const noexcept { return _version; }
  const Value* values() const noexcept { return _values; }
  Value* ownedValues() noexcept { return _owned.get(); }

  /// Null for an attribute of a descendant that this record's entity does not have.
  Value valueForKey(const Ref<NSString>& key) const override;

 private:
  const NSPersistentStore& _store;
  const NSEntityDescription* _entity = nullptr;
  const Value* _values = nullptr;
  ValueArray _owned;
  std::int64_t _primaryKey = 0;
  std::uint32_t _version = 0;
};

/// Collects records with their values.
class RowCollector final : public StoreRowReceiver {
 public:
  explicit RowCollector(const NSPersistentStore& store) : _store(store) {}

  Value* beginRow(const NSEntityDescription& entity, std::int64_t primaryKey,
                  std::uint32_t version) override;
  void endRow() override {}

  std::vector<Value> rows;

 private:
  const NSPersistentStore& _store;
};

}  // namespace JNFoundation::impl
