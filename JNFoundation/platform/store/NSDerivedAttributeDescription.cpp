#include "JNFoundation/platform/store/NSDerivedAttributeDescription.h"

namespace JNFoundation::inline v0_1 {

constinit const Class NSDerivedAttributeDescription::classObject =
    Class::of<NSDerivedAttributeDescription>("NSDerivedAttributeDescription");

NSDerivedAttributeDescription::NSDerivedAttributeDescription() = default;
NSDerivedAttributeDescription::~NSDerivedAttributeDescription() = default;

Ref<NSDerivedAttributeDescription> NSDerivedAttributeDescription::init() {
  return makeObject<NSDerivedAttributeDescription>();
}

void NSDerivedAttributeDescription::setDerivationExpression(const Ref<NSString>& expression) {
  willChange();
  _derivationExpression = expression;
}

bool NSDerivedAttributeDescription::isEqual(const Value& other) const {
  if (other.object() == this) return true;
  if (!NSAttributeDescription::isEqual(other)) return false;
  const auto* attribute = as<NSDerivedAttributeDescription>(other);
  return attribute && Value(_derivationExpression) == Value(attribute->_derivationExpression);
}

}  // namespace JNFoundation
