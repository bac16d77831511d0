#include "JNFoundation/platform/store/NSPropertyDescription.h"

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSPropertyDescription::classObject =
    Class::of<NSPropertyDescription>("NSPropertyDescription");

NSPropertyDescription::NSPropertyDescription() : _userInfo(NSDictionary::dictionary()) {}
NSPropertyDescription::~NSPropertyDescription() = default;

Ref<NSEntityDescription> NSPropertyDescription::entity() const noexcept { return _entity.load(); }

void NSPropertyDescription::willChange() {
  if (_immutable) raise(NSInternalInconsistencyException, "Can't modify an immutable model.");
  if (Ref<NSEntityDescription> entity = _entity.load()) entity->invalidateLayout();
}

void NSPropertyDescription::setName(const Ref<NSString>& name) {
  willChange();
  if (!name || name->utf8().empty() || name->utf8().find('\0') != std::string_view::npos) {
    raise(NSInvalidArgumentException, "A property needs a name, which %@ is not", Value(name));
  }
  _name = NSString::interned(name->utf8());
}

void NSPropertyDescription::setOptional(bool optional) {
  willChange();
  _optional = optional;
}

void NSPropertyDescription::setTransient(bool transient) {
  willChange();
  _transient = transient;
}

void NSPropertyDescription::setUserInfo(const Ref<NSDictionary>& userInfo) {
  willChange();
  _userInfo =
      NSDictionary::dictionaryWithDictionary(userInfo ? userInfo : NSDictionary::dictionary());
}

void NSPropertyDescription::setVersionHashModifier(const Ref<NSString>& modifier) {
  willChange();
  _versionHashModifier = modifier;
}

void NSPropertyDescription::setRenamingIdentifier(const Ref<NSString>& identifier) {
  willChange();
  _renamingIdentifier = identifier;
}

bool NSPropertyDescription::isEqual(const Value& other) const {
  if (other.object() == this) return true;
  const auto* property = as<NSPropertyDescription>(other);
  return property && class_() == property->class_() && Value(_name) == Value(property->_name) &&
         _optional == property->_optional && _transient == property->_transient;
}

std::size_t NSPropertyDescription::hash() const { return Value(_name).hash(); }

Ref<NSString> NSPropertyDescription::description() const {
  Ref<NSEntityDescription> entity = this->entity();
  return NSString::stringWithFormat("<%s: %p> %@.%@", class_().name(),
                                    static_cast<const void*>(this),
                                    entity ? Value(entity->name()) : Value(), Value(_name));
}

std::string NSPropertyDescription::versionHashInput() const {
  std::string input;
  // Lengths go first, so that no two lists of texts are written alike.
  const auto append = [&](const Ref<NSString>& text) {
    const std::string_view bytes = text ? text->utf8() : std::string_view();
    input += std::to_string(bytes.size()) + ':' + std::string(bytes);
  };
  append(_name);
  input += _optional ? 'o' : 'm';
  input += _transient ? 't' : 's';
  append(_versionHashModifier);
  return input;
}

}  // namespace JNFoundation
