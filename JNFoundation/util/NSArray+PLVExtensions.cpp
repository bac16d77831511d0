#include "JNFoundation/util/NSArray+PLVExtensions.h"

#include <algorithm>

#include <JNFoundation/platform/query/NSSortDescriptor.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/util/impl/Walking.h>

namespace JNFoundation::inline v0_1 {

namespace {

const ClassDeclaration<NSArray> declarationOfNSArrayPLVExtensions =
    ClassDeclaration<NSArray>()
        .operation("plv_firstObject", [](const NSArray& array) { return array.firstObject(); })
        .operation("jn_safelyGetObjectAtIndex:",
                   [](NSArray& array, NSUInteger index) {
                     return jn_safelyGetObjectAtIndex(Ref<NSArray>(&array), index);
                   })
        .operation("plv_firstObjectWithKeyPath:presentInSortedValues:",
                   [](NSArray& array, const Ref<NSString>& keyPath, const Ref<NSArray>& values) {
                     return plv_firstObjectWithKeyPathPresentInSortedValues(Ref<NSArray>(&array),
                                                                            keyPath, values);
                   })
        .operation("plv_sortedArrayByKey:ascending:",
                   [](NSArray& array, const Ref<NSString>& key, bool ascending) {
                     return plv_sortedArrayByKeyAscending(Ref<NSArray>(&array), key, ascending);
                   })
        .operation("plv_indexByKeyPath:", [](NSArray& array, const Ref<NSString>& keyPath) {
          return plv_indexByKeyPath(Ref<NSArray>(&array), keyPath);
        });

}  // namespace

namespace impl {

bool hasAnyMatching(const Ref<NSArray>& array, const Ref<NSString>& format,
                    FormatArguments arguments) {
  return array && !firstElement(array, predicateOf(format, arguments), true).isNull();
}

bool hasAllMatching(const Ref<NSArray>& array, const Ref<NSString>& format,
                    FormatArguments arguments) {
  return array && firstElement(array, predicateOf(format, arguments), false).isNull();
}

Value firstObjectMatching(const Ref<NSArray>& array, const Ref<NSString>& format,
                          FormatArguments arguments) {
  return array ? firstElement(array, predicateOf(format, arguments), true) : Value();
}

Ref<NSArray> filteredArrayMatching(const Ref<NSArray>& array, const Ref<NSString>& format,
                                   FormatArguments arguments) {
  return array ? filteredArrayUsingPredicate(array, predicateOf(format, arguments)) : nullptr;
}

}  // namespace impl

Value plv_firstObject(const Ref<NSArray>& array) { return array ? array->firstObject() : Value(); }

Value jn_safelyGetObjectAtIndex(const Ref<NSArray>& array, NSUInteger index) {
  return array && index < array->count() ? array->objectAtIndex(index) : Value();
}

Value plv_singleObjectWhere(const Ref<NSArray>& array, Block<bool(const Value& object)> block) {
  Value found;
  if (!array || !block) return found;
  // A reference of its own, since the block may release the one that it was handed in.
  for (const Value& element : Ref<NSArray>(array)) {
    if (block(element)) found = element;
  }
  return found;
}

Value plv_firstObjectWithKeyPathPresentInSortedValues(const Ref<NSArray>& array,
                                                      const Ref<NSString>& keyPath,
                                                      const Ref<NSArray>& values) {
  if (!array || !values) return nullptr;
  const Ref<NSMutableDictionary> index = plv_indexByKeyPath(array, keyPath);
  for (const Value& value : Ref<NSArray>(values)) {
    if (value.isNSNull()) continue;
    if (Value element = index->objectForKey(value); !element.isNull()) return element;
  }
  return nullptr;
}

Ref<NSMutableArray> plv_filteredArrayUsingBlock(
    const Ref<NSArray>& array, Block<bool(const Value& object, bool& stop)> block) {
  if (!array) return nullptr;
  std::vector<Value> matching;
  if (block) {
    bool stop = false;
    for (const Value& element : Ref<NSArray>(array)) {
      if (block(element, stop)) matching.push_back(element);
      if (stop) break;
    }
  }
  return NSMutableArray::arrayWithValues(std::move(matching));
}

Ref<NSArray> plv_sortedArrayByKeyAscending(const Ref<NSArray>& array, const Ref<NSString>& key,
                                           bool ascending) {
  return sortedArrayUsingDescriptors(
      array,
      NSArray::arrayWithObject(NSSortDescriptor::sortDescriptorWithKeyAscending(key, ascending)));
}

Ref<NSMutableArray> plv_mapObjectsUsingBlock(const Ref<NSArray>& array,
                                             Block<Value(const Value& object, bool& stop)> block) {
  return array ? NSMutableArray::arrayWithValues(impl::mapped(array, block)) : nullptr;
}

Value plv_reduceWithMemoUsingBlock(
    const Ref<NSArray>& array, const Value& memo,
    Block<Value(const Value& memo, const Value& object, bool& stop)> block) {
  return array ? impl::reduced(array, memo, block) : Value();
}

Ref<NSMutableDictionary> plv_indexByKeyPath(const Ref<NSArray>& array,
                                            const Ref<NSString>& keyPath) {
  return array ? impl::indexed(array, keyPath) : nullptr;
}

void plv_enumerateSubarraysOfLengthUsingBlock(
    const Ref<NSArray>& array, NSUInteger length,
    Block<void(const Ref<NSArray>& subarray, bool& stop)> block) {
  if (!array) return;
  const Ref<NSArray> elements(array.get());
  // Not walked, but asked after each piece whether the array was changed, as a walk would be.
  const NSArray::Iterator walk = elements->begin();
  const NSUInteger count = elements->count();
  if (length == 0) length = count;
  bool stop = false;
  for (NSUInteger offset = 0; offset < count && !stop;) {
    if (!block) fatalError("plv_enumerateSubarraysOfLengthUsingBlock: the block must not be null");
    const NSUInteger size = std::min(length, count - offset);
    block(elements->subarrayWithRange({offset, size}), stop);
    offset += size;
    if (!stop) static_cast<void>(walk != elements->end());
  }
}

}  // namespace JNFoundation
