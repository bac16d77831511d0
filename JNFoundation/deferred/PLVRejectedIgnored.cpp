#include "JNFoundation/deferred/PLVRejectedIgnored.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVRejectedIgnored::classObject =
    Class::of<PLVRejectedIgnored>("PLVRejectedIgnored");

namespace {

const ClassDeclaration<PLVRejectedIgnored> declarationOfPLVRejectedIgnored =
    ClassDeclaration<PLVRejectedIgnored>()
        .property("rejected", &PLVRejectedIgnored::rejected, &PLVRejectedIgnored::setRejected)
        .classOperation("withRejected:", &PLVRejectedIgnored::withRejected);

}  // namespace

Ref<PLVRejectedIgnored> PLVRejectedIgnored::withRejected(const Ref<PLVRejected>& rejected) {
  return PLVRejectedIgnored::initWithRejected(rejected);
}

Ref<PLVRejectedIgnored> PLVRejectedIgnored::initWithRejected(const Ref<PLVRejected>& rejected) {
  Ref<PLVRejectedIgnored> ignored = makeObject<PLVRejectedIgnored>();
  ignored->setRejected(rejected);
  return ignored;
}

Ref<NSString> PLVRejectedIgnored::description() const {
  // Read twice, once to test and once to format: a subclass may answer each time afresh.
  const Ref<NSString> suffix =
      rejected() ? NSString::stringWithFormat(" (%@)", rejected()) : NSString::string();
  return NSString::stringWithFormat("%@%@", NSObject::description(), suffix);
}

}  // namespace JNFoundation
