#pragma once

#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/value/NSData.h>

namespace JNFoundation::inline v0_1 {

class NSError;

namespace impl {

// An object's place for a stored transformable attribute holds one of three: null; data, what was
// read from a store and nobody has looked at; or a TransformedValue.

/// A value beside the data that a store has, or will have, for it.
class TransformedValue final : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  TransformedValue(Value value, Ref<NSData> data, Ref<NSAttributeDescription> attribute);
  ~TransformedValue() override;

  const Value& value() const noexcept { return _value; }
  /// Null for a value that was set and not saved yet.
  const Ref<NSData>& data() const noexcept { return _data; }
  const NSAttributeDescription& attribute() const noexcept { return *_attribute; }

 private:
  Value _value;
  Ref<NSData> _data;
  Ref<NSAttributeDescription> _attribute;
};

/// Whether the place holds what nobody has looked at since it was read.
inline bool isUnread(const Value& place, const EntityLayout::Slot& slot) {
  return slot.isTransformed() && isKindOf<NSData>(place);
}

/// What a place holds once the value is set there. Null stays null.
Value placeOfValue(const Value& value, const Ref<NSAttributeDescription>& attribute);

/// The value that the place stands for. Data are turned back, and what comes of them is kept there.
/// Fails: raises NSInternalInconsistencyException for data that cannot be turned back.
Value valueAtPlace(Value& place, const Ref<NSAttributeDescription>& attribute);
/// The same where nothing can be kept.
inline Value valueOfPlace(Value place, const Ref<NSAttributeDescription>& attribute) {
  return valueAtPlace(place, attribute);
}

/// What a store keeps: the data, or null. Requires: `makeDataAtPlace` has succeeded.
Value storedFormOfPlace(const Value& place) noexcept;

/// Turns a value that somebody has looked at or set into data, beside it. It may have been changed
/// where it stands since it was last turned.
/// Fails: returns false and sets the error.
bool makeDataAtPlace(Value& place, const Ref<NSAttributeDescription>& attribute, const Value& owner,
                     Ref<NSError>* error);

/// Whether a save would store the same for both: equal data, or, as long as there are none, equal
/// values.
bool placesAlike(const Value& left, const Value& right);

}  // namespace impl
}  // namespace JNFoundation
