#pragma once

#include <initializer_list>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

/// The way to a node of nested lists: one position for each level, the outermost first.
///
///     NSIndexPath::indexPathWithIndexes({section, item})
///
/// Paths of up to two positions are a single allocation.
/// Threads: any; a path never changes.
class NSIndexPath final : public NSObject {
 public:
  using Superclass = NSObject;
  static const Class classObject;
  const Class& class_() const noexcept override { return classObject; }

  /// The path without positions.
  static Ref<NSIndexPath> indexPath();
  /// A path of one position.
  static Ref<NSIndexPath> indexPathWithIndex(NSUInteger index);
  /// A path of those positions, the outermost first.
  static Ref<NSIndexPath> indexPathWithIndexes(std::initializer_list<NSUInteger> indexes);
  /// Takes: a copy of the positions; null only with length 0.
  static Ref<NSIndexPath> indexPathWithIndexesLength(const NSUInteger* indexes, NSUInteger length);

  /// How many positions there are.
  NSUInteger length() const noexcept { return _length; }
  /// Returns: NSNotFound behind the end.
  NSUInteger indexAtPosition(NSUInteger position) const noexcept {
    return position < _length ? indexes()[position] : NSNotFound;
  }
  /// All positions, borrowed from the path.
  const NSUInteger* indexes() const noexcept {
    return _length <= inlineLength ? _inside : _indexes;
  }

  /// The path with one more position at its end.
  Ref<NSIndexPath> indexPathByAddingIndex(NSUInteger index) const;
  /// An empty path gives an empty path.
  Ref<NSIndexPath> indexPathByRemovingLastIndex() const;

  /// Position by position; where one path is the start of the other, the shorter one is first.
  /// Fails: raises NSInvalidArgumentException for null.
  NSComparisonResult compare(const Ref<NSIndexPath>& other) const;

  bool isEqual(const Value& other) const override;
  std::size_t hash() const override;
  Ref<NSString> description() const override;

 private:
  static constexpr NSUInteger inlineLength = 2;

  explicit NSIndexPath(NSUInteger length);
  ~NSIndexPath() override;
  NSUInteger* writable() noexcept { return _length <= inlineLength ? _inside : _indexes; }

  NSUInteger _length;
  union {
    NSUInteger _inside[inlineLength];
    NSUInteger* _indexes;
  };
};

}  // namespace JNFoundation
