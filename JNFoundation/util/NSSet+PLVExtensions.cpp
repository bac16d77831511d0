#include "JNFoundation/util/NSSet+PLVExtensions.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/util/impl/Walking.h>

namespace JNFoundation::inline v0_1 {

namespace {

const ClassDeclaration<NSSet> declarationOfNSSetPLVExtensions = ClassDeclaration<NSSet>().operation(
    "plv_indexByKeyPath:", [](NSSet& set, const Ref<NSString>& keyPath) {
      return plv_indexByKeyPath(Ref<NSSet>(&set), keyPath);
    });

}  // namespace

namespace impl {

bool hasAnyMatching(const Ref<NSSet>& set, const Ref<NSString>& format, FormatArguments arguments) {
  return set && set->count() > 0 &&
         !firstElement(set, predicateOf(format, arguments), true).isNull();
}

bool hasAllMatching(const Ref<NSSet>& set, const Ref<NSString>& format, FormatArguments arguments) {
  return set && firstElement(set, predicateOf(format, arguments), false).isNull();
}

Value anyObjectMatching(const Ref<NSSet>& set, const Ref<NSString>& format,
                        FormatArguments arguments) {
  return set ? firstElement(set, predicateOf(format, arguments), true) : Value();
}

Ref<NSSet> filteredSetMatching(const Ref<NSSet>& set, const Ref<NSString>& format,
                               FormatArguments arguments) {
  return set ? filteredSetUsingPredicate(set, predicateOf(format, arguments)) : nullptr;
}

}  // namespace impl

Ref<NSMutableSet> plv_mapObjectsUsingBlock(const Ref<NSSet>& set,
                                           Block<Value(const Value& object, bool& stop)> block) {
  return set ? NSMutableSet::setWithValues(impl::mapped(set, block)) : nullptr;
}

Value plv_reduceWithMemoUsingBlock(
    const Ref<NSSet>& set, const Value& memo,
    Block<Value(const Value& memo, const Value& object, bool& stop)> block) {
  return set ? impl::reduced(set, memo, block) : Value();
}

Ref<NSMutableDictionary> plv_indexByKeyPath(const Ref<NSSet>& set, const Ref<NSString>& keyPath) {
  return set ? impl::indexed(set, keyPath) : nullptr;
}

}  // namespace JNFoundation
