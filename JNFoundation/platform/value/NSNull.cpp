#include "JNFoundation/platform/value/NSNull.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSNull::classObject = Class::of<NSNull>("NSNull");

namespace {

const ClassDeclaration<NSNull> declarationOfNSNull =
    ClassDeclaration<NSNull>().classOperation("null", []() -> Value { return NSNull::null(); });

}  // namespace

const Ref<NSNull>& NSNull::null() noexcept {
  static const Ref<NSNull>& marker = []() -> const Ref<NSNull>& {
    impl::excludeFromLiveObjects();
    return *new Ref<NSNull>(Ref<NSNull>::adopt(new NSNull));  // outlives every static object
  }();
  return marker;
}

Ref<NSString> NSNull::description() const { return "<null>"_s; }

Value NSNull::valueForKey(const Ref<NSString>&) const { return Value(NSNull::null()); }

}  // namespace JNFoundation
