#include "JNFoundation/platform/store/NSRelationshipDescription.h"

#include <JNFoundation/platform/store/NSEntityDescription.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSRelationshipDescription::classObject =
    Class::of<NSRelationshipDescription>("NSRelationshipDescription");

NSRelationshipDescription::NSRelationshipDescription() = default;
NSRelationshipDescription::~NSRelationshipDescription() = default;

Ref<NSRelationshipDescription> NSRelationshipDescription::init() {
  return makeObject<NSRelationshipDescription>();
}

Ref<NSEntityDescription> NSRelationshipDescription::destinationEntity() const noexcept {
  return _destinationEntity.load();
}

void NSRelationshipDescription::setDestinationEntity(const Ref<NSEntityDescription>& entity) {
  willChange();
  _destinationEntity = Weak<NSEntityDescription>(entity);
}

Ref<NSRelationshipDescription> NSRelationshipDescription::inverseRelationship() const noexcept {
  return _inverseRelationship.load();
}

void NSRelationshipDescription::setInverseRelationship(
    const Ref<NSRelationshipDescription>& inverse) {
  willChange();
  _inverseRelationship = Weak<NSRelationshipDescription>(inverse);
}

void NSRelationshipDescription::setDeleteRule(NSDeleteRule rule) {
  willChange();
  _deleteRule = rule;
}

void NSRelationshipDescription::setMinCount(NSUInteger count) {
  willChange();
  _minCount = count;
}

void NSRelationshipDescription::setMaxCount(NSUInteger count) {
  willChange();
  _maxCount = count;
}

void NSRelationshipDescription::setOrdered(bool ordered) {
  willChange();
  _ordered = ordered;
}

bool NSRelationshipDescription::isEqual(const Value& other) const {
  if (other.object() == this) return true;
  if (!NSPropertyDescription::isEqual(other)) return false;
  const auto* relationship = as<NSRelationshipDescription>(other);
  return relationship && destinationEntity() == relationship->destinationEntity() &&
         _minCount == relationship->_minCount && _maxCount == relationship->_maxCount &&
         _ordered == relationship->_ordered && _deleteRule == relationship->_deleteRule;
}

std::string NSRelationshipDescription::versionHashInput() const {
  const auto named = [](const Ref<NSString>& name) {
    return name ? std::to_string(name->utf8().size()) + ':' + name->toStdString() : "0:";
  };
  std::string input = 'R' + NSPropertyDescription::versionHashInput();
  Ref<NSEntityDescription> destination = destinationEntity();
  Ref<NSRelationshipDescription> inverse = inverseRelationship();
  input += named(destination ? destination->name() : nullptr);
  input += named(inverse ? inverse->name() : nullptr);
  input += std::to_string(_minCount) + ',' + std::to_string(_maxCount);
  // A column or a table stands otherwise in the file for these.
  if (_ordered) input += 'o';
  if (_deleteRule == NSNoActionDeleteRule) input += 'n';
  return input;
}

}  // namespace JNFoundation
