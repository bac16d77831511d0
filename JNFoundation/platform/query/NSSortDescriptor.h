#pragma once

#include <JNFoundation/platform/query/KeyPath.h>
#include <JNFoundation/platform/value/Block.h>

namespace JNFoundation::inline v0_1 {

class NSArray;
class NSMutableArray;
class NSOrderedSet;
class NSSet;

/// How two objects are ordered: by which key path, in which direction, with which comparison.
///
/// Null (and the null marker) comes before everything else when ascending and after it when not;
/// two nulls are equal. Numbers compare by value, text by code point unless the selector says
/// otherwise.
///
///     auto byName = NSSortDescriptor::sortDescriptorWithKeyAscendingSelector(
///         "name", true, "localizedStandardCompare:");
///     Ref<NSArray> sorted = sortedArrayUsingDescriptors(people,
///     NSArray::arrayWithObjects(byName));
///
/// Threads: a descriptor never changes; comparing reads the objects on the caller's thread.
class NSSortDescriptor : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override;

  /// The order of two values of the key.
  using Comparator = Block<NSComparisonResult(const Value& left, const Value& right)>;

  /// Orders by `compare:`. A null key compares the objects themselves.
  static Ref<NSSortDescriptor> sortDescriptorWithKeyAscending(const Ref<NSString>& key,
                                                              bool ascending);
  /// Text knows compare:, caseInsensitiveCompare:, localizedCompare:,
  /// localizedCaseInsensitiveCompare: and localizedStandardCompare:; any operation that the values
  /// declare, with one argument and an order as its result, will do. The null selector is compare:.
  static Ref<NSSortDescriptor> sortDescriptorWithKeyAscendingSelector(const Ref<NSString>& key,
                                                                      bool ascending, SEL selector);
  /// Fails: a null comparator is a fatal error.
  static Ref<NSSortDescriptor> sortDescriptorWithKeyAscendingComparator(const Ref<NSString>& key,
                                                                        bool ascending,
                                                                        Comparator comparator);

  /// Null where the objects themselves are compared.
  const Ref<NSString>& key() const noexcept { return _key; }
  /// The keys of the key, parsed; the path without keys where the objects themselves are compared.
  const KeyPath& parsedKey() const noexcept { return _path; }
  /// Whether small values come first.
  bool ascending() const noexcept { return _ascending; }
  /// The null selector where a comparator decides.
  SEL selector() const noexcept { return _selector; }
  /// Null where a selector decides.
  const Comparator& comparator() const noexcept { return _comparator; }

  /// The order of the two objects, direction included.
  /// Fails: raises NSInvalidArgumentException when the values do not answer the selector or have no
  /// common order; reading keys raises what the objects raise.
  virtual NSComparisonResult compareObjectToObject(const Value& left, const Value& right) const;

  /// The same with the direction turned round.
  virtual Ref<NSSortDescriptor> reversedSortDescriptor() const;

  /// The order of two values that the key leads to, direction included.
  NSComparisonResult compareValues(const Value& left, const Value& right) const;

  /// Equal key, direction and selector; a comparator equals only itself, in the same descriptor or
  /// one reversed from it.
  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  /// Text for people and logs.
  Ref<NSString> description() const override;

 protected:
  NSSortDescriptor(Ref<NSString> key, bool ascending, SEL selector);
  NSSortDescriptor(Ref<NSString> key, bool ascending, Comparator comparator);
  /// The same in the given direction.
  NSSortDescriptor(const NSSortDescriptor& other, bool ascending);

 private:
  enum class Order : std::uint8_t {
    Compare,
    CaseInsensitive,
    Localized,
    LocalizedCaseInsensitive,
    LocalizedStandard,
    OtherSelector,
    ByComparator,
  };

  static Order orderOf(SEL selector);
  NSComparisonResult ascendingOrder(const Value& left, const Value& right) const;

  Ref<NSString> _key;
  KeyPath _path;
  SEL _selector;
  Comparator _comparator;
  /// Tells comparators apart: closures themselves do not compare.
  Ref<NSObject> _comparatorIdentity;
  Order _order;
  bool _ascending;
};

/// The elements in the order of the first descriptor, ties in the order of the next, and so on.
/// Stable. Each key is read once per element. A null or empty list of descriptors changes no order.
/// Returns: null for null.
/// Fail: raise NSInvalidArgumentException for a descriptor that is none.
Ref<NSArray> sortedArrayUsingDescriptors(const Ref<NSArray>& array,
                                         const Ref<NSArray>& descriptors);
Ref<NSArray> sortedArrayUsingDescriptors(const Ref<NSSet>& set, const Ref<NSArray>& descriptors);
Ref<NSArray> sortedArrayUsingDescriptors(const Ref<NSOrderedSet>& set,
                                         const Ref<NSArray>& descriptors);
/// If a comparison raises, the array is unchanged.
void sortUsingDescriptors(const Ref<NSMutableArray>& array, const Ref<NSArray>& descriptors);

}  // namespace JNFoundation
