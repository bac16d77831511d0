#include "JNFoundation/deferred/JNTimeout.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation::inline v0_1 {

constinit const Class JNTimeout::classObject = Class::of<JNTimeout>("JNTimeout");

namespace {

const ClassDeclaration<JNTimeout> declarationOfJNTimeout =
    ClassDeclaration<JNTimeout>().classOperation("instance", &JNTimeout::instance);

}  // namespace

Ref<JNTimeout> JNTimeout::instance() {
  // Never destroyed: static objects may ask for it while the process ends.
  static JNTimeout* timeout = makeObject<JNTimeout>().leak();
  return Ref<JNTimeout>(timeout);
}

}  // namespace JNFoundation
