#pragma once

#include <initializer_list>

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSString.h>

/// Searching, filtering, mapping, folding, indexing and cutting up arrays.
///
/// Elements are visited in the order of their indexes. A block that takes `stop` ends the walk
/// after the current element by setting it. Formats are those of
/// `NSPredicate::predicateWithFormat`, with its arguments; key paths are those of `KeyPath`.
///
///     plv_firstObjectMatching(people, "age >= %d AND name BEGINSWITH %@", 18, "A")
///     plv_mapObjectsUsingBlock(people, [](const Value& person, bool&) {
///       return valueForKey(person, "name");
///     })
///
/// A null array answers what a message to null answers: null or false. Nothing is called, and no
/// format is read.
/// Threads: any that may read the array; blocks are called there, before the operation returns.
/// Fail: raise NSGenericException when a block changes the array, and NSInvalidArgumentException
/// for a bad format; reading keys raises what the element raises.
namespace JNFoundation::inline v0_1 {

class NSMutableDictionary;

namespace impl {

using FormatArguments = std::initializer_list<FormatArgument>;

bool hasAnyMatching(const Ref<NSArray>& array, const Ref<NSString>& format, FormatArguments);
bool hasAllMatching(const Ref<NSArray>& array, const Ref<NSString>& format, FormatArguments);
Value firstObjectMatching(const Ref<NSArray>& array, const Ref<NSString>& format, FormatArguments);
Ref<NSArray> filteredArrayMatching(const Ref<NSArray>& array, const Ref<NSString>& format,
                                   FormatArguments);

}  // namespace impl

// ---- Finding ----------------------------------------------------------------------------------

/// The first element. Returns: null for an empty array and for null.
Value plv_firstObject(const Ref<NSArray>& array);

/// The element at the index. Returns: null at or past the end and for null; never fails.
Value jn_safelyGetObjectAtIndex(const Ref<NSArray>& array, NSUInteger index);

/// Whether an element matches; false for an empty array.
template <class... Arguments>
bool plv_hasAnyMatching(const Ref<NSArray>& array, const Ref<NSString>& format,
                        const Arguments&... arguments) {
  return impl::hasAnyMatching(array, format, {FormatArgument(arguments)...});
}

/// Whether every element matches; true for an empty array.
template <class... Arguments>
bool plv_hasAllMatching(const Ref<NSArray>& array, const Ref<NSString>& format,
                        const Arguments&... arguments) {
  return impl::hasAllMatching(array, format, {FormatArgument(arguments)...});
}

/// The first element that matches. Returns: null if there is none.
template <class... Arguments>
Value plv_firstObjectMatching(const Ref<NSArray>& array, const Ref<NSString>& format,
                              const Arguments&... arguments) {
  return impl::firstObjectMatching(array, format, {FormatArgument(arguments)...});
}

/// The element for which the block is true, the last one where it is true for several: the array is
/// always walked to its end. Returns: null if there is none, and for a null block.
Value plv_singleObjectWhere(const Ref<NSArray>& array, Block<bool(const Value& object)> block);

/// The element whose value at the key path is the earliest of `values` that any element has: a
/// look-up by preference. The order of the values is the caller's; they need not be sorted, and the
/// null marker among them is passed over. Of several elements with that value it is the last one.
/// Returns: null if there is none.
Value plv_firstObjectWithKeyPathPresentInSortedValues(const Ref<NSArray>& array,
                                                      const Ref<NSString>& keyPath,
                                                      const Ref<NSArray>& values);

// ---- Making other arrays ----------------------------------------------------------------------

/// The elements that match.
template <class... Arguments>
Ref<NSArray> plv_filteredArrayMatching(const Ref<NSArray>& array, const Ref<NSString>& format,
                                       const Arguments&... arguments) {
  return impl::filteredArrayMatching(array, format, {FormatArgument(arguments)...});
}

/// The elements for which the block is true, the one at which it stops included.
/// Returns: an empty array for a null block.
Ref<NSMutableArray> plv_filteredArrayUsingBlock(const Ref<NSArray>& array,
                                                Block<bool(const Value& object, bool& stop)> block);

/// The elements by the values of the key, see NSSortDescriptor. Stable.
Ref<NSArray> plv_sortedArrayByKeyAscending(const Ref<NSArray>& array, const Ref<NSString>& key,
                                           bool ascending);

/// What the block makes of each element; where it gives null the result has nothing, and is
/// shorter. Requires: a non-null block, unless the array is empty; the process stops with a message
/// otherwise.
Ref<NSMutableArray> plv_mapObjectsUsingBlock(const Ref<NSArray>& array,
                                             Block<Value(const Value& object, bool& stop)> block);

// ---- Folding, indexing, cutting up ------------------------------------------------------------

/// The block is given the memo and the first element, then what it gave and the next element, and
/// so on. Returns: what it gave last; the memo for an empty array.
/// Requires: a non-null block, unless the array is empty.
Value plv_reduceWithMemoUsingBlock(
    const Ref<NSArray>& array, const Value& memo,
    Block<Value(const Value& memo, const Value& object, bool& stop)> block);

/// The elements by their values at the key path, which may be of any kind. The null marker as an
/// element, and elements whose value is null, are left out; of elements with equal values the last
/// one stays.
Ref<NSMutableDictionary> plv_indexByKeyPath(const Ref<NSArray>& array,
                                            const Ref<NSString>& keyPath);

/// Calls: the block with the first `length` elements, with the next, and so on; the last piece has
/// what is left. A length of 0 makes one piece of everything; of an empty array there is none.
/// Requires: a non-null block, unless the array is empty.
void plv_enumerateSubarraysOfLengthUsingBlock(
    const Ref<NSArray>& array, NSUInteger length,
    Block<void(const Ref<NSArray>& subarray, bool& stop)> block);

}  // namespace JNFoundation
