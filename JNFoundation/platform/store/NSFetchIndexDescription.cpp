#include "JNFoundation/platform/store/NSFetchIndexDescription.h"

#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSFetchIndexDescription::classObject =
    Class::of<NSFetchIndexDescription>("NSFetchIndexDescription");

NSFetchIndexDescription::NSFetchIndexDescription() : _elements(NSArray::array()) {}
NSFetchIndexDescription::~NSFetchIndexDescription() = default;

Ref<NSFetchIndexDescription> NSFetchIndexDescription::initWithNameElements(
    const Ref<NSString>& name, const Ref<NSArray>& elements) {
  auto index = makeObject<NSFetchIndexDescription>();
  index->setName(name);
  index->setElements(elements);
  return index;
}

void NSFetchIndexDescription::willChange() const {
  if (_immutable) raise(NSInternalInconsistencyException, "Can't modify an immutable model.");
}

void NSFetchIndexDescription::makeImmutable() {
  for (const Value& value : *_elements)
    as<NSFetchIndexElementDescription>(value)->_immutable = true;
  _immutable = true;
}

void NSFetchIndexDescription::setName(const Ref<NSString>& name) {
  willChange();
  if (!name || name->utf8().empty()) {
    raise(NSInvalidArgumentException, "An index needs a name, which %@ is not", Value(name));
  }
  _name = name;
}

void NSFetchIndexDescription::setElements(const Ref<NSArray>& elements) {
  willChange();
  const Ref<NSArray> given = elements ? NSArray::arrayWithArray(elements) : NSArray::array();
  for (const Value& value : *given) {
    const auto* element = as<NSFetchIndexElementDescription>(value);
    if (!element) {
      raise(NSInvalidArgumentException, "The index '%@' is made of index elements, not of %@",
            _name, value);
    }
    if (Ref<NSFetchIndexDescription> other = element->indexDescription();
        other && other.get() != this) {
      raise(NSInvalidArgumentException, "The element over '%@' is part of the index '%@' already",
            Value(element->propertyName()), other->_name);
    }
  }
  for (const Value& former : *_elements)
    as<NSFetchIndexElementDescription>(former)->_index = nullptr;
  _elements = given;
  for (const Value& value : *_elements) {
    as<NSFetchIndexElementDescription>(value)->_index = Weak<NSFetchIndexDescription>(this);
  }
}

Ref<NSEntityDescription> NSFetchIndexDescription::entity() const noexcept { return _entity.load(); }

bool NSFetchIndexDescription::isEqual(const Value& other) const {
  if (other.object() == this) return true;
  const auto* index = as<NSFetchIndexDescription>(other);
  return index && Value(_name) == Value(index->_name) &&
         Value(_elements) == Value(index->_elements);
}

std::size_t NSFetchIndexDescription::hash() const { return Value(_name).hash(); }

Ref<NSString> NSFetchIndexDescription::description() const {
  return NSString::stringWithFormat("<NSFetchIndexDescription: %p> %@ %@",
                                    static_cast<const void*>(this), _name, Value(_elements));
}

}  // namespace JNFoundation
