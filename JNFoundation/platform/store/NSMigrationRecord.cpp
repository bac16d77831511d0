#include "JNFoundation/platform/store/NSMigrationRecord.h"

#include <JNFoundation/platform/store/impl/AttributeRules.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/MigratedRecords.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSMigrationRecord::classObject =
    Class::of<NSMigrationRecord>("NSMigrationRecord");

NSMigrationRecord::NSMigrationRecord(Ref<NSEntityDescription> entity, std::int64_t number,
                                     std::vector<Value> values,
                                     std::weak_ptr<impl::MigratedRecords> records)
    : _entity(std::move(entity)),
      _number(number),
      _values(std::move(values)),
      _isChanged(_values.size()),
      _records(std::move(records)) {}

NSMigrationRecord::~NSMigrationRecord() = default;

const NSEntityDescription& impl::MigratedRecords::entityOf(
    const NSMigrationRecord& record) noexcept {
  return *record._entity;
}

const std::vector<Value>& impl::MigratedRecords::valuesOf(
    const NSMigrationRecord& record) noexcept {
  return record._values;
}

const std::vector<bool>& impl::MigratedRecords::changesOf(
    const NSMigrationRecord& record) noexcept {
  return record._isChanged;
}

std::shared_ptr<impl::MigratedRecords> NSMigrationRecord::records() const {
  auto records = _records.lock();
  if (!records)
    raise(NSInternalInconsistencyException, "The migration of %@ is over", description());
  return records;
}

std::size_t NSMigrationRecord::slotNamed(const Ref<NSString>& key) const {
  const impl::EntityLayout& layout = _entity->layout();
  const std::size_t slot = key ? layout.indexOf(*key) : impl::EntityLayout::none;
  if (slot == impl::EntityLayout::none ||
      (layout[slot].attribute ? !layout[slot].stored : layout[slot].relationship->isTransient())) {
    raise(NSUndefinedKeyException, "%@ has no stored property '%@'", description(), Value(key));
  }
  return slot;
}

Value NSMigrationRecord::valueForKey(const Ref<NSString>& key) const {
  const std::size_t slot = slotNamed(key);
  if (_entity->layout()[slot].attribute) return _values[slot];
  return records()->related(*_entity, _number, slot);
}

void NSMigrationRecord::setValueForKey(const Value& value, const Ref<NSString>& key) {
  const std::size_t number = slotNamed(key);
  const impl::EntityLayout::Slot& slot = _entity->layout()[number];
  const auto records = this->records();
  if (!records->isNew()) {
    raise(NSInternalInconsistencyException, "%@ is the record as it was", description());
  }
  if (slot.relationship) return records->relate(*_entity, _number, number, value);
  // Data stand for a transformable value.
  if (slot.isTransformed() ? !value.isNull() && !isKindOf<NSData>(value)
                           : !slot.attribute->acceptsValue(value)) {
    raise(NSInvalidArgumentException, "'%@' of %@ cannot be %@", slot.name, description(), value);
  }
  if (const auto broken =
          slot.isTransformed() ? std::nullopt : impl::typeRuleBrokenBy(value, *slot.attribute)) {
    raise(NSInvalidArgumentException, "The value of '%@' of %@ %s", slot.name, description(),
          broken->problem);
  }
  _values[number] = value;
  _isChanged[number] = true;
}

Ref<NSString> NSMigrationRecord::description() const {
  return NSString::stringWithFormat("<NSMigrationRecord: %@ %lld>", entityName(),
                                    static_cast<long long>(_number));
}

}  // namespace JNFoundation
