#pragma once

#include <algorithm>
#include <concepts>
#include <iterator>
#include <optional>
#include <string_view>
#include <type_traits>
#include <vector>

#include <JNFoundation/platform/value/NSArray.h>

/// Searching, shuffling and cutting up of any collection: the containers, views and arrays of C++,
/// and the library's own.
///
///     std::vector<int> dice = {1, 2, 3, 4, 5, 6};
///     std::optional<int> big = findFirst(dice, [](int pips) { return pips > 4; });
///     Ref<NSArray> teams = splitBy(shuffle(players), 11);
///
/// What is made of a C++ collection is a `std::vector` with copies of the elements, what is made of
/// one of the library's is an NSArray. A null reference gives null where an array or an element is
/// the result, counts as empty elsewhere, and is never changed.
/// Random choices come from `arc4random_uniform`, each as likely as any other; tests replace its
/// source with a RandomSourceScope.
/// Threads: any that may read the collection.
namespace JNFoundation::inline v0_1 {

namespace impl {

template <class Range>
using IteratorOf = decltype(std::begin(std::declval<std::remove_reference_t<Range>&>()));
template <class Range>
using ElementOf = std::iter_value_t<IteratorOf<Range>>;

/// The containers, views and arrays of C++.
template <class Range>
concept StandardRange = requires(std::remove_reference_t<Range>& range) {
  std::begin(range);
  std::end(range);
}
&&std::input_iterator<IteratorOf<Range>>;

/// Those whose elements are reached by their numbers.
template <class Range>
concept IndexedRange = StandardRange<Range> && std::random_access_iterator<IteratorOf<Range>> &&
    requires(std::remove_reference_t<Range>& range) {
  std::size(range);
};

/// The library's own collections of values.
template <class Collection>
concept ValueCollection = requires(const Collection& collection, const Value& value) {
  { *collection.begin() } -> std::same_as<const Value&>;
  { collection.count() } -> std::same_as<NSUInteger>;
  { collection.containsObject(value) } -> std::same_as<bool>;
};
template <class Collection>
concept IndexedCollection = ValueCollection<Collection> && requires(const Collection& collection) {
  { collection.objectAtIndex(NSUInteger{}) } -> std::same_as<Value>;
};
template <class Collection>
concept ExchangingCollection = IndexedCollection<Collection> && requires(Collection& collection) {
  collection.exchangeObjectAtIndexWithObjectAtIndex(NSUInteger{}, NSUInteger{});
};

/// The elements that stand in the collection now; none for null.
template <class Collection>
std::vector<Value> valuesOf(const Ref<Collection>& collection) {
  std::vector<Value> values;
  if (!collection) return values;
  values.reserve(collection->count());
  for (const Value& value : Ref<Collection>(collection)) values.push_back(value);
  return values;
}

/// How many of the elements go into the next piece: the first `wanted` of them, or all. Stops the
/// process when `wanted` is negative.
std::size_t pieceOf(std::size_t count, NSInteger wanted, std::string_view operation);

/// Where the element `index` changes places with in a shuffle.
std::size_t shufflePartner(std::size_t index, std::size_t count);
/// Stops the process where there is nothing to choose from.
std::size_t randomIndex(std::size_t count);
/// Stops the process where the elements are more than the random source can choose from.
void requireShufflable(std::size_t count);

}  // namespace impl

// ---- Finding ----------------------------------------------------------------------------------

/// The first element, in the order of the walk, for which the predicate is true.
/// Returns: nothing if there is none.
template <impl::StandardRange Range, class Predicate>
std::optional<impl::ElementOf<Range>> findFirst(Range&& range, Predicate&& predicate) {
  for (auto&& element : range) {
    if (predicate(element)) return element;
  }
  return std::nullopt;
}
/// Returns: null if there is none.
template <impl::ValueCollection Collection, class Predicate>
Value findFirst(const Ref<Collection>& collection, Predicate&& predicate) {
  if (!collection) return nullptr;
  // A reference of its own, since the predicate may release the one that it was found through.
  for (const Value& element : Ref<Collection>(collection)) {
    if (predicate(element)) return element;
  }
  return nullptr;
}

/// Whether every one of the strings is an element, by equality; they are looked for in their order,
/// until one is missing. **No strings at all are not contained**: the answer for an empty list is
/// false.
template <impl::StandardRange Range, impl::StandardRange Strings>
bool containsObjects(const Range& range, const Strings& strings) {
  bool containsAll = false;
  for (const auto& string : strings) {
    containsAll = std::find(std::begin(range), std::end(range), string) != std::end(range);
    if (!containsAll) break;
  }
  return containsAll;
}
template <impl::ValueCollection Collection>
bool containsObjects(const Ref<Collection>& collection, const Ref<NSArray>& strings) {
  if (!collection || !strings) return false;
  const Ref<Collection> elements(collection.get());
  bool containsAll = false;
  for (const Value& string : Ref<NSArray>(strings)) {
    containsAll = elements->containsObject(string);
    if (!containsAll) break;
  }
  return containsAll;
}

// ---- Chance -----------------------------------------------------------------------------------

/// Puts the elements into an order that is as likely as any other.
/// Requires: at most 2³²-1 elements; the process stops with a message otherwise.
template <impl::IndexedRange Range>
void shuffleInPlace(Range&& range) {
  const auto first = std::begin(range);
  using Distance = std::iter_difference_t<impl::IteratorOf<Range>>;
  const std::size_t count = std::size(range);
  impl::requireShufflable(count);
  for (std::size_t i = 0; i + 1 < count; ++i) {
    const std::size_t j = impl::shufflePartner(i, count);
    if (j != i) std::iter_swap(first + static_cast<Distance>(i), first + static_cast<Distance>(j));
  }
}
template <impl::ExchangingCollection Collection>
void shuffleInPlace(const Ref<Collection>& collection) {
  if (!collection) return;
  const NSUInteger count = collection->count();
  impl::requireShufflable(count);
  for (NSUInteger i = 0; i + 1 < count; ++i) {
    const NSUInteger j = impl::shufflePartner(i, count);
    if (j != i) collection->exchangeObjectAtIndexWithObjectAtIndex(i, j);
  }
}

/// The elements in an order that is as likely as any other; the collection stays as it is.
/// Requires: as `shuffleInPlace`.
template <impl::StandardRange Range>
std::vector<impl::ElementOf<Range>> shuffle(Range&& range) {
  std::vector<impl::ElementOf<Range>> elements;
  if constexpr (requires { std::size(range); }) elements.reserve(std::size(range));
  for (auto&& element : range) elements.push_back(element);
  shuffleInPlace(elements);
  return elements;
}
template <impl::ValueCollection Collection>
Ref<NSArray> shuffle(const Ref<Collection>& collection) {
  if (!collection) return nullptr;
  std::vector<Value> elements = impl::valuesOf(collection);
  shuffleInPlace(elements);
  return NSArray::arrayWithValues(std::move(elements));
}

/// One of the elements, each as likely as any other.
/// Requires: at least one element and at most 2³²-1; the process stops with a message otherwise.
template <impl::IndexedRange Range>
impl::ElementOf<Range> randomElement(Range&& range) {
  using Distance = std::iter_difference_t<impl::IteratorOf<Range>>;
  const std::size_t index = impl::randomIndex(std::size(range));
  return *(std::begin(range) + static_cast<Distance>(index));
}
template <impl::IndexedCollection Collection>
Value randomElement(const Ref<Collection>& collection) {
  const std::size_t index = impl::randomIndex(collection ? collection->count() : 0);
  return collection->objectAtIndex(index);
}

// ---- Cutting up -------------------------------------------------------------------------------

/// The first `count` elements, or all where they are fewer.
/// Requires: `count` is not negative; the process stops with a message otherwise.
template <impl::IndexedRange Range>
std::vector<impl::ElementOf<Range>> safeTruncate(Range&& range, NSInteger count) {
  using Distance = std::iter_difference_t<impl::IteratorOf<Range>>;
  const std::size_t size = impl::pieceOf(std::size(range), count, "safeTruncate");
  const auto first = std::begin(range);
  return {first, first + static_cast<Distance>(size)};
}
template <impl::IndexedCollection Collection>
Ref<NSArray> safeTruncate(const Ref<Collection>& collection, NSInteger count) {
  if (!collection) return nullptr;
  const std::size_t size = impl::pieceOf(collection->count(), count, "safeTruncate");
  std::vector<Value> elements;
  elements.reserve(size);
  for (std::size_t i = 0; i < size; ++i) elements.push_back(collection->objectAtIndex(i));
  return NSArray::arrayWithValues(std::move(elements));
}

/// The elements in pieces of that length; the last piece has what is left. Of an empty collection
/// there are no pieces, whatever the length is.
///
/// **A length of 0 never ends** unless the collection is empty: it makes one empty piece after
/// another until memory is used up. Pass a positive one. Requires: a length that is not negative;
/// the process stops with a message otherwise.
template <impl::IndexedRange Range>
std::vector<std::vector<impl::ElementOf<Range>>> splitBy(Range&& range, NSInteger length) {
  using Distance = std::iter_difference_t<impl::IteratorOf<Range>>;
  std::vector<std::vector<impl::ElementOf<Range>>> pieces;
  auto first = std::begin(range);
  for (std::size_t left = std::size(range); left > 0;) {
    const std::size_t size = impl::pieceOf(left, length, "splitBy");
    const auto end = first + static_cast<Distance>(size);
    pieces.emplace_back(first, end);
    first = end;
    left -= size;
  }
  return pieces;
}
/// The pieces are NSArrays.
template <impl::IndexedCollection Collection>
Ref<NSArray> splitBy(const Ref<Collection>& collection, NSInteger length) {
  if (!collection) return nullptr;
  const std::vector<Value> elements = impl::valuesOf(collection);
  std::vector<Value> pieces;
  for (std::size_t offset = 0; offset < elements.size();) {
    const std::size_t size = impl::pieceOf(elements.size() - offset, length, "splitBy");
    const auto first = elements.begin() + static_cast<std::ptrdiff_t>(offset);
    pieces.emplace_back(
        NSArray::arrayWithValues({first, first + static_cast<std::ptrdiff_t>(size)}));
    offset += size;
  }
  return NSArray::arrayWithValues(std::move(pieces));
}

}  // namespace JNFoundation
