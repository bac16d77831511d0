#pragma once

#include <JNFoundation/platform/value/NSObject.h>
#include <JNFoundation/platform/value/Subclass.h>
#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation {

/// An object that takes itself for the null marker: it is equal to it, and is not the marker.
class EqualsNull : public Subclass<EqualsNull, NSObject> {
 public:
  static Ref<EqualsNull> init() { return makeObject<EqualsNull>(); }

  bool isEqual(const Value& other) const override {
    return other.isNSNull() || other.object() == this;
  }
  std::size_t hash() const override { return 0; }

 protected:
  using Subclass::Subclass;
};

}  // namespace JNFoundation
