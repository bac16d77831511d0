#include "JNFoundation/platform/store/NSPropertyMapping.h"

namespace JNFoundation::inline v0_1 {

constinit const Class NSPropertyMapping::classObject =
    Class::of<NSPropertyMapping>("NSPropertyMapping");

NSPropertyMapping::NSPropertyMapping(Ref<NSString> name, Ref<NSString> sourceName)
    : _name(std::move(name)), _sourceName(std::move(sourceName)) {}

NSPropertyMapping::~NSPropertyMapping() = default;

Ref<NSString> NSPropertyMapping::description() const {
  if (!_sourceName) return NSString::stringWithFormat("%@ (new)", _name);
  if (_sourceName->hasContentOf(*_name)) return _name;
  return NSString::stringWithFormat("%@ <- %@", _name, _sourceName);
}

}  // namespace JNFoundation
