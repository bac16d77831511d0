#pragma once

#include <span>

#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1::impl {

ValueArray copyOfValues(const ValueArray& values, const EntityLayout& layout);

/// Whether a save would write another record. Requires: an object of a store.
bool hasStoredChanges(NSManagedObject& object);

/// The stored attributes and relationships to one object by name: NSNull for null, and for an
/// object its identifier.
Ref<NSDictionary> snapshotOfValues(const Value* values, const EntityLayout& layout);

/// The values of some properties as one, as a store holds them against each other.
/// Returns: null where one of them is null, which repeats nothing.
Value uniqueKeyOf(const Value* values, std::span<const std::size_t> properties,
                  const EntityLayout& layout);

/// Reads one record.
class RecordReceiver final : public StoreRowReceiver {
 public:
  Value* beginRow(const NSEntityDescription& rowEntity, std::int64_t rowKey,
                  std::uint32_t rowVersion) override {
    entity = &rowEntity;
    primaryKey = rowKey;
    version = rowVersion;
    values = ValueArray(rowEntity.layout().count());
    return values.get();
  }
  void endRow() override {}

  /// Null if there was no record.
  const NSEntityDescription* entity = nullptr;
  std::int64_t primaryKey = 0;
  std::uint32_t version = 0;
  ValueArray values;
};

}  // namespace JNFoundation::impl
