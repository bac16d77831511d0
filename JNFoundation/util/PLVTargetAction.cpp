#include "JNFoundation/util/PLVTargetAction.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVTargetAction::classObject = Class::of<PLVTargetAction>("PLVTargetAction");

namespace {

const ClassDeclaration<PLVTargetAction> declarationOfPLVTargetAction =
    ClassDeclaration<PLVTargetAction>()
        .property("target", &PLVTargetAction::target, &PLVTargetAction::setTarget)
        .operation("performWithObject:", &PLVTargetAction::performWithObject);

}  // namespace

PLVTargetAction::PLVTargetAction(const Value& target, SEL action) : _action(action) {
  setTarget(target);
}

Ref<PLVTargetAction> PLVTargetAction::initWithTargetAction(const Value& target, SEL action) {
  return makeObject<PLVTargetAction>(target, action);
}

Value PLVTargetAction::target() const noexcept {
  if (!_inlineTarget.isNull()) return _inlineTarget;
  return Value(_object.load());
}

void PLVTargetAction::setTarget(const Value& target) {
  _inlineTarget = target.isObject() ? Value() : target;
  _object = Weak<NSObject>(target.object());
}

Value PLVTargetAction::performWithObject(const Value& object) const {
  return performSelector(target(), _action, object);
}

}  // namespace JNFoundation
