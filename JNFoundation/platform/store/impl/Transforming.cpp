#include "JNFoundation/platform/store/impl/Transforming.h"

#include <JNFoundation/platform/json/JNJSONTransformer.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// One attribute with its transformer, or with what is wrong about that.
class Transformation {
 public:
  Transformation(const NSAttributeDescription& attribute, NSInteger code, Ref<NSError>* error,
                 const Value& value = nullptr, const Value& owner = nullptr)
      : _attribute(attribute), _code(code), _error(error), _value(value), _owner(owner) {
    const Ref<NSString>& name = attribute.valueTransformerName();
    if (!name) {
      refuse("needs a value transformer, but its attribute names none");
      return;
    }
    _transformer = transformerNamed(name);
    if (!_transformer) {
      refuse("needs the value transformer '%@', but there is none of that name", name);
    } else if (!_transformer->allowsReverseTransformation()) {
      refuse("cannot be kept by the value transformer '%@', which cannot be reversed", name);
      _transformer = nullptr;
    }
  }

  explicit operator bool() const noexcept { return static_cast<bool>(_transformer); }

  /// What the operation of the transformer gives. Returns: nothing if it raises.
  std::optional<Value> run(Value (NSValueTransformer::*operation)(const Value&) const,
                           const Value& value) {
    try {
      return ((*_transformer).*operation)(value);
    } catch (const Raised& raised) {
      const NSException& exception = *raised.exception();
      refuse("cannot be transformed: the value transformer '%@' raised %@, %@",
             _attribute.valueTransformerName(), exception.name(), exception.description());
      return std::nullopt;
    }
  }

  template <class... Arguments>
  void refuse(std::string_view problem, const Arguments&... arguments) {
    if (!_error) return;
    const Ref<NSEntityDescription> entity = _attribute.entity();
    *_error = cocoaError(_code,
                         NSString::stringWithFormat(
                             "The value of '%@' of an object of entity '%@' %@.",
                             Value(_attribute.name()), entity ? Value(entity->name()) : Value(),
                             NSString::stringWithFormat(problem, arguments...)),
                         {{NSValidationObjectErrorKey, _owner},
                          {NSValidationKeyErrorKey, Value(_attribute.name())},
                          {NSValidationValueErrorKey, _value}});
  }

 private:
  static Ref<NSValueTransformer> transformerNamed(const Ref<NSString>& name) {
    Ref<NSValueTransformer> found = NSValueTransformer::valueTransformerForName(name);
    // Being named here has it linked into every program with a store, so that models may name it.
    if (!found && name->utf8() == JNJSONTransformerName) found = JNJSONTransformer::init();
    return found;
  }

  const NSAttributeDescription& _attribute;
  NSInteger _code;
  Ref<NSError>* _error;
  Value _value;
  Value _owner;
  Ref<NSValueTransformer> _transformer;
};

}  // namespace

Ref<NSData> dataFromValue(const Value& value, const NSAttributeDescription& attribute,
                          const Value& owner, Ref<NSError>* error) {
  if (value.isNull()) return nullptr;
  Transformation transformation(attribute, NSManagedObjectValidationError, error, value, owner);
  if (!transformation) return nullptr;
  const std::optional<Value> result =
      transformation.run(&NSValueTransformer::transformedValue, value);
  if (!result) return nullptr;
  auto* data = as<NSData>(*result);
  if (!data) {
    transformation.refuse("cannot be stored: the value transformer '%@' gave %@ instead of data",
                          attribute.valueTransformerName(), *result);
    return nullptr;
  }
  // Data may be mutable, and the transformer may keep them.
  const Value kept = data->copy();
  return Ref<NSData>(as<NSData>(kept));
}

std::optional<Value> valueFromData(const Ref<NSData>& data, const NSAttributeDescription& attribute,
                                   Ref<NSError>* error) {
  if (!data) return Value();
  Transformation transformation(attribute, NSCoreDataError, error);
  if (!transformation) return std::nullopt;
  std::optional<Value> value =
      transformation.run(&NSValueTransformer::reverseTransformedValue, data);
  if (value && value->isNull()) {
    transformation.refuse("cannot be read: the value transformer '%@' makes nothing of its data",
                          attribute.valueTransformerName());
    return std::nullopt;
  }
  return value;
}

}  // namespace JNFoundation::impl
