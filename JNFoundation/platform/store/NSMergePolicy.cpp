#include "JNFoundation/platform/store/NSMergePolicy.h"

#include <JNFoundation/platform/store/impl/ConflictResolution.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

using impl::ConflictResolution;

constinit const Class NSMergePolicy::classObject = Class::of<NSMergePolicy>("NSMergePolicy");

namespace {

const ClassDeclaration<NSMergePolicy> declarationOfNSMergePolicy =
    ClassDeclaration<NSMergePolicy>().operation(
        "mergeType", [](const NSMergePolicy& policy) -> NSUInteger { return policy.mergeType(); });

constexpr const char* mergeTypeNames[] = {"error", "mergeByPropertyStoreTrump",
                                          "mergeByPropertyObjectTrump", "overwrite", "rollback"};

template <class Conflict>
std::vector<Ref<Conflict>> conflictsOf(const Ref<NSArray>& list) {
  std::vector<Ref<Conflict>> conflicts;
  if (!list) return conflicts;
  for (const Value& value : *list) {
    if (auto* conflict = as<Conflict>(value)) conflicts.emplace_back(conflict);
  }
  return conflicts;
}

}  // namespace

NSMergePolicy::NSMergePolicy(NSMergePolicyType type) : _type(type) {
  if (type > NSRollbackMergePolicyType) {
    raise(NSInvalidArgumentException, "There is no merge policy of type %lu",
          static_cast<unsigned long>(type));
  }
}

Ref<NSMergePolicy> NSMergePolicy::initWithMergeType(NSMergePolicyType type) {
  return makeObject<NSMergePolicy>(type);
}

const Ref<NSMergePolicy>& NSMergePolicy::errorMergePolicy() {
  static const Ref<NSMergePolicy> policy = initWithMergeType(NSErrorMergePolicyType);
  return policy;
}

const Ref<NSMergePolicy>& NSMergePolicy::mergeByPropertyStoreTrumpMergePolicy() {
  static const Ref<NSMergePolicy> policy =
      initWithMergeType(NSMergeByPropertyStoreTrumpMergePolicyType);
  return policy;
}

const Ref<NSMergePolicy>& NSMergePolicy::mergeByPropertyObjectTrumpMergePolicy() {
  static const Ref<NSMergePolicy> policy =
      initWithMergeType(NSMergeByPropertyObjectTrumpMergePolicyType);
  return policy;
}

const Ref<NSMergePolicy>& NSMergePolicy::overwriteMergePolicy() {
  static const Ref<NSMergePolicy> policy = initWithMergeType(NSOverwriteMergePolicyType);
  return policy;
}

const Ref<NSMergePolicy>& NSMergePolicy::rollbackMergePolicy() {
  static const Ref<NSMergePolicy> policy = initWithMergeType(NSRollbackMergePolicyType);
  return policy;
}

bool NSMergePolicy::resolveConflictsError(const Ref<NSArray>& conflicts, Ref<NSError>* error) {
  std::vector<Value> versions, constraints;
  for (const Ref<NSMergeConflict>& conflict : conflictsOf<NSMergeConflict>(conflicts)) {
    versions.emplace_back(conflict);
  }
  for (const Ref<NSConstraintConflict>& conflict : conflictsOf<NSConstraintConflict>(conflicts)) {
    constraints.emplace_back(conflict);
  }
  return (versions.empty() || resolveOptimisticLockingVersionConflictsError(
                                  NSArray::arrayWithValues(std::move(versions)), error)) &&
         (constraints.empty() ||
          resolveConstraintConflictsError(NSArray::arrayWithValues(std::move(constraints)), error));
}

bool NSMergePolicy::resolveOptimisticLockingVersionConflictsError(const Ref<NSArray>& conflicts,
                                                                  Ref<NSError>* error) {
  if (_type == NSErrorMergePolicyType) {
    return impl::fail(error, ConflictResolution::errorOfVersions(conflicts));
  }
  ConflictResolution::resolveVersions(_type, conflictsOf<NSMergeConflict>(conflicts));
  return true;
}

bool NSMergePolicy::resolveConstraintConflictsError(const Ref<NSArray>& conflicts,
                                                    Ref<NSError>* error) {
  if (_type == NSErrorMergePolicyType) {
    return impl::fail(error, ConflictResolution::errorOfConstraints(conflicts));
  }
  ConflictResolution::resolveConstraints(_type, conflictsOf<NSConstraintConflict>(conflicts));
  return true;
}

Ref<NSString> NSMergePolicy::description() const {
  return NSString::stringWithFormat("<%s: %p> (%s)", class_().name(),
                                    static_cast<const void*>(this), mergeTypeNames[_type]);
}

}  // namespace JNFoundation
