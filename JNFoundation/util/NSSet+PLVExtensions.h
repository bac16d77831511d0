#pragma once

#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/util/NSArray+PLVExtensions.h>

/// The operations of arrays that make sense without an order. Members are visited in the set's own
/// order of enumeration; all else is as NSArray+PLVExtensions.h says.
namespace JNFoundation::inline v0_1 {

namespace impl {

bool hasAnyMatching(const Ref<NSSet>& set, const Ref<NSString>& format, FormatArguments);
bool hasAllMatching(const Ref<NSSet>& set, const Ref<NSString>& format, FormatArguments);
Value anyObjectMatching(const Ref<NSSet>& set, const Ref<NSString>& format, FormatArguments);
Ref<NSSet> filteredSetMatching(const Ref<NSSet>& set, const Ref<NSString>& format, FormatArguments);

}  // namespace impl

/// Whether a member matches; false for an empty set, of which the format is not even read: a bad
/// one goes unnoticed there.
template <class... Arguments>
bool plv_hasAnyMatching(const Ref<NSSet>& set, const Ref<NSString>& format,
                        const Arguments&... arguments) {
  return impl::hasAnyMatching(set, format, {FormatArgument(arguments)...});
}

/// Whether every member matches; true for an empty set.
template <class... Arguments>
bool plv_hasAllMatching(const Ref<NSSet>& set, const Ref<NSString>& format,
                        const Arguments&... arguments) {
  return impl::hasAllMatching(set, format, {FormatArgument(arguments)...});
}

/// The first matching member that is met. Returns: null if there is none.
template <class... Arguments>
Value plv_anyObjectMatching(const Ref<NSSet>& set, const Ref<NSString>& format,
                            const Arguments&... arguments) {
  return impl::anyObjectMatching(set, format, {FormatArgument(arguments)...});
}

/// The members that match.
template <class... Arguments>
Ref<NSSet> plv_filteredSetMatching(const Ref<NSSet>& set, const Ref<NSString>& format,
                                   const Arguments&... arguments) {
  return impl::filteredSetMatching(set, format, {FormatArgument(arguments)...});
}

/// What the block makes of the members: nulls are left out, equal results are one.
/// Requires: a non-null block, unless the set is empty.
Ref<NSMutableSet> plv_mapObjectsUsingBlock(const Ref<NSSet>& set,
                                           Block<Value(const Value& object, bool& stop)> block);

/// See the array's. Requires: a non-null block, unless the set is empty.
Value plv_reduceWithMemoUsingBlock(
    const Ref<NSSet>& set, const Value& memo,
    Block<Value(const Value& memo, const Value& object, bool& stop)> block);

/// See the array's; of members with equal values the one that is met last stays.
Ref<NSMutableDictionary> plv_indexByKeyPath(const Ref<NSSet>& set, const Ref<NSString>& keyPath);

}  // namespace JNFoundation
