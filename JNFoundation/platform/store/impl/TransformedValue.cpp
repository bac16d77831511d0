#include "JNFoundation/platform/store/impl/TransformedValue.h"

#include <JNFoundation/platform/store/impl/Transforming.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {

constinit const Class TransformedValue::classObject =
    Class::of<TransformedValue>("TransformedValue");

TransformedValue::TransformedValue(Value value, Ref<NSData> data,
                                   Ref<NSAttributeDescription> attribute)
    : _value(std::move(value)), _data(std::move(data)), _attribute(std::move(attribute)) {}
TransformedValue::~TransformedValue() = default;

Value placeOfValue(const Value& value, const Ref<NSAttributeDescription>& attribute) {
  if (value.isNull()) return {};
  return makeObject<TransformedValue>(value, nullptr, attribute);
}

Value valueAtPlace(Value& place, const Ref<NSAttributeDescription>& attribute) {
  if (const auto* transformed = as<TransformedValue>(place)) return transformed->value();
  auto* data = as<NSData>(place);
  if (!data) return place;
  Ref<NSError> error;
  const std::optional<Value> value = valueFromData(Ref<NSData>(data), *attribute, &error);
  if (!value) raise(NSInternalInconsistencyException, "%@", error->localizedDescription());
  place = makeObject<TransformedValue>(*value, Ref<NSData>(data), attribute);
  return *value;
}

Value storedFormOfPlace(const Value& place) noexcept {
  const auto* transformed = as<TransformedValue>(place);
  return transformed ? Value(transformed->data()) : place;
}

bool makeDataAtPlace(Value& place, const Ref<NSAttributeDescription>& attribute, const Value& owner,
                     Ref<NSError>* error) {
  const auto* transformed = as<TransformedValue>(place);
  if (!transformed) return true;
  const Ref<NSData> data = dataFromValue(transformed->value(), *attribute, owner, error);
  if (!data) return false;
  if (!transformed->data() || !transformed->data()->isEqualToData(data)) {
    place = makeObject<TransformedValue>(transformed->value(), data, attribute);
  }
  return true;
}

bool placesAlike(const Value& left, const Value& right) {
  if (left.isIdentical(right)) return true;
  if (left.isNull() || right.isNull()) return false;
  const Value leftData = storedFormOfPlace(left);
  const Value rightData = storedFormOfPlace(right);
  if (!leftData.isNull() && !rightData.isNull()) return leftData == rightData;
  const auto* known = as<TransformedValue>(left);
  if (!known) known = as<TransformedValue>(right);
  const Ref<NSAttributeDescription> attribute(
      const_cast<NSAttributeDescription*>(&known->attribute()));
  return valueOfPlace(left, attribute) == valueOfPlace(right, attribute);
}

}  // namespace JNFoundation::impl
