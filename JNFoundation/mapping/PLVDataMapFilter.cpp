#include "JNFoundation/mapping/PLVDataMapFilter.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/util/PLVTargetAction.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVDataMapFilter::classObject =
    Class::of<PLVDataMapFilter>("PLVDataMapFilter");

namespace {

const ClassDeclaration<PLVDataMapFilter> declarationOfPLVDataMapFilter =
    ClassDeclaration<PLVDataMapFilter>()
        .factory()
        .property("filterActions", &PLVDataMapFilter::filterActions,
                  &PLVDataMapFilter::setFilterActions)
        .operation("removeActionForFilter:", &PLVDataMapFilter::removeActionForFilter)
        .operation("value:filteredBy:", &PLVDataMapFilter::valueFilteredBy);

}  // namespace

PLVDataMapFilter::PLVDataMapFilter() : _filterActions(NSMutableDictionary::dictionary()) {}

Ref<PLVDataMapFilter> PLVDataMapFilter::init() { return makeObject<PLVDataMapFilter>(); }

void PLVDataMapFilter::setActionForFilter(SEL action, const Ref<NSString>& name) {
  if (!_filterActions) return;
  _filterActions->setObjectForKey(PLVTargetAction::initWithTargetAction(Value(this), action), name);
}

void PLVDataMapFilter::removeActionForFilter(const Ref<NSString>& name) {
  if (_filterActions && name) _filterActions->removeObjectForKey(name);
}

Value PLVDataMapFilter::valueFilteredBy(const Value& value, const Ref<NSString>& name) const {
  if (!_filterActions) return nullptr;
  // Kept alive for the call: the action may register another one under its own name.
  const Value registered = _filterActions->objectForKey(name);
  if (registered.isNull()) return nullptr;
  const auto* action = as<PLVTargetAction>(registered);
  if (!action) doesNotRecognizeSelector(registered, "performWithObject:");
  return action->performWithObject(value);
}

}  // namespace JNFoundation
