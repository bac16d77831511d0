#pragma once

#include <memory>
#include <span>
#include <vector>

#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

/// What a key that starts with "@" does with the collection before it.
enum class CollectionOperator : std::uint8_t {
  None,                    ///< a plain key
  Count,                   ///< how many members there are
  Average,                 ///< the mean of the numbers found
  Sum,                     ///< the sum of the numbers found
  Minimum,                 ///< the smallest value found
  Maximum,                 ///< the largest value found
  UnionOfObjects,          ///< what is found, as an array
  DistinctUnionOfObjects,  ///< each of equal values once
  UnionOfArrays,           ///< the members of the arrays found
  DistinctUnionOfArrays,   ///< each of equal members once
  DistinctUnionOfSets,     ///< the members of the sets found
  Unknown,                 ///< an "@" key that names none of these
};

/// Keys joined by dots, "employer.address.city", parsed once to be read many times.
///
/// A key is read of the object that the keys before it led to. Of null, and of the null marker,
/// every key is again null. Of a collection a key is read of every member: an array gives an array
/// of the same count with the null marker in place of null, a set or an ordered set one without the
/// nulls. Where a key led to a collection and the next key leads to collections again
/// (`departments.employees`), the result is one flat array. A path read of a collection itself is
/// read of every member, as if one by one.
///
/// Collection operators work on the collection before them with what the path behind them finds in
/// the members; without a path behind it that is the members themselves. One of them ends the walk:
/// in "a.@sum.b.c" the path "b.c" is read of every member of "a".
///  - `@count` ignores what follows it.
///  - `@sum` and `@avg` count null as 0, and both are 0 for an empty collection. Sums of integers
///    are integers (doubles past 64 bits), sums with decimal numbers are decimal, an average is a
///    double.
///  - `@min` and `@max` ignore null, and are null when nothing else is there.
///  - `@unionOfObjects` and `@distinctUnionOfObjects` give an array, `@unionOfArrays` and
///    `@distinctUnionOfArrays` an array of the members of what they find, `@distinctUnionOfSets` a
///    set of them. They raise NSInvalidArgumentException where they find null. Distinct members
///    keep the order in which they came first.
/// Another key with "@" raises NSInvalidArgumentException.
///
/// Copies share what was parsed. Threads: any.
class KeyPath {
 public:
  /// One key of a path.
  struct Step {
    /// An operator's key keeps its "@".
    Ref<NSString> key;
    /// None for a plain key.
    CollectionOperator collectionOperator = CollectionOperator::None;
  };

  /// The path without keys, which leads to the object itself.
  KeyPath() noexcept = default;

  /// Fails: raises NSInvalidArgumentException for null, and for more operators than
  /// `maximumOperators`.
  explicit KeyPath(const Ref<NSString>& path);

  /// How many operators a path may have.
  static constexpr std::size_t maximumOperators = 100;

  /// The path as it was written; empty for the path without keys.
  Ref<NSString> text() const;
  /// The keys and operators in their order, borrowed from the path.
  std::span<const Step> steps() const noexcept;

  /// The one key of a path that has no dots and no operators. Returns: null for every other path.
  const NSString* singleKey() const noexcept;

  /// What the path leads to. Fails: as reading the keys fails.
  Value valueInObject(const Value& object) const;

  /// Every single value that the path leads to, nulls included and equal ones as often as they
  /// occur: what a question about every member of a to-many relationship asks. One level of
  /// collection at the end of the path is taken apart, dictionaries are not. Returns: whether the
  /// path led to a collection or null; otherwise nothing is appended.
  bool appendValuesInObject(const Value& object, std::vector<Value>& values) const;

  /// Writes the last key of what the keys before it lead to: of every member of a collection, and
  /// of nothing if they lead to null. Fails: as writing the key fails; raises
  /// NSInvalidArgumentException for the path without keys.
  void setValueInObject(const Value& value, const Value& object) const;

  /// Whether both were written alike.
  friend bool operator==(const KeyPath& left, const KeyPath& right);

 private:
  struct Parsed;

  std::shared_ptr<const Parsed> _parsed;
};

}  // namespace JNFoundation
