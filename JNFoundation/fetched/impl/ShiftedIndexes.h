#pragma once

#include <vector>

#include <JNFoundation/platform/value/NSIndexSet.h>

namespace JNFoundation::inline v0_1::impl {

/// Positions in a list that is changed one place at a time, kept true.
///
/// They are split at the place of the last change: those from there on wait on a stack and move
/// together, by one number. Changes in order, up or down, thus cost as much as the positions and
/// the changes, however many there are of both.
class ShiftedIndexes {
 public:
  explicit ShiftedIndexes(const NSIndexSet& indexes) {
    _below.reserve(indexes.count());
    for (const NSRange& range : indexes.ranges()) {
      for (NSUInteger i = range.location; i < range.end(); ++i) _below.push_back(i);
    }
  }

  /// The place is gone: its position is dropped, and those above come down by one.
  void removePlace(NSUInteger place) {
    splitAt(place);
    if (!_above.empty() && _above.back() + _shift == place) _above.pop_back();
    --_shift;
  }

  /// There is a new place: the positions from there on rise by one.
  void insertPlace(NSUInteger place) {
    splitAt(place);
    ++_shift;
  }

  void writeTo(NSMutableIndexSet& indexes) {
    splitAt(NSNotFound);
    indexes.removeAllIndexes();
    for (const NSUInteger index : _below) indexes.addIndex(index);
  }

 private:
  void splitAt(NSUInteger place) {
    for (; !_below.empty() && _below.back() >= place; _below.pop_back()) {
      _above.push_back(_below.back() - _shift);
    }
    for (; !_above.empty() && _above.back() + _shift < place; _above.pop_back()) {
      _below.push_back(_above.back() + _shift);
    }
  }

  /// Ascending.
  std::vector<NSUInteger> _below;
  /// Descending, each less by `_shift` than it is. Unsigned numbers wrap around and back.
  std::vector<NSUInteger> _above;
  NSUInteger _shift = 0;
};

}  // namespace JNFoundation::impl
