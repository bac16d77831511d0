#include "JNFoundation/platform/store/NSMigrationPlan.h"

#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSMigrationPlan::classObject = Class::of<NSMigrationPlan>("NSMigrationPlan");

NSMigrationPlan::NSMigrationPlan() = default;
NSMigrationPlan::~NSMigrationPlan() = default;

Ref<NSMigrationPlan> NSMigrationPlan::init() { return makeObject<NSMigrationPlan>(); }

void NSMigrationPlan::addStep(const Ref<NSMigrationStep>& step) {
  if (!step) raise(NSInvalidArgumentException, "A plan has steps, not null");
  _steps.push_back(step);
}

}  // namespace JNFoundation
