#include "JNFoundation/platform/value/NSIndexSet.h"

#include <algorithm>

#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/text/NumberText.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSIndexSet::classObject = Class::of<NSIndexSet>("NSIndexSet");

namespace {

const ClassDeclaration<NSIndexSet> declarationOfNSIndexSet =
    ClassDeclaration<NSIndexSet>()
        .factory()
        .property("count", &NSIndexSet::count)
        .property("firstIndex", &NSIndexSet::firstIndex)
        .property("lastIndex", &NSIndexSet::lastIndex)
        .operation("containsIndex:", &NSIndexSet::containsIndex)
        .operation("isEqualToIndexSet:", &NSIndexSet::isEqualToIndexSet);

/// Keeps the set alive while blocks run that may drop the last other reference to it.
Ref<NSIndexSet> held(const NSIndexSet* set) { return const_cast<NSIndexSet*>(set); }

/// The part of the range that can be in a set; never overflows.
NSRange validPart(NSRange range) {
  const NSUInteger start = std::min<NSUInteger>(range.location, NSNotFound);
  return {start, std::min<NSUInteger>(range.length, NSNotFound - start)};
}

}  // namespace

NSIndexSet::NSIndexSet(std::vector<NSRange> ranges) noexcept : _ranges(std::move(ranges)) {
  for (const NSRange& range : _ranges) _count += range.length;
}

Ref<NSIndexSet> NSIndexSet::indexSet() { return makeObject<NSIndexSet>(); }

Ref<NSIndexSet> NSIndexSet::indexSetWithIndex(NSUInteger index) {
  return indexSetWithIndexesInRange({index, 1});
}

Ref<NSIndexSet> NSIndexSet::indexSetWithIndexesInRange(NSRange range) {
  return makeObject<NSIndexSet>(NSMutableIndexSet::indexSetWithIndexesInRange(range)->ranges());
}

Ref<NSIndexSet> NSIndexSet::indexSetWithIndexSet(const Ref<NSIndexSet>& other) {
  return other ? makeObject<NSIndexSet>(other->_ranges) : indexSet();
}

std::size_t NSIndexSet::firstRangeEndingAfter(NSUInteger index) const noexcept {
  const auto found =
      std::partition_point(_ranges.begin(), _ranges.end(),
                           [index](const NSRange& range) { return range.end() <= index; });
  return static_cast<std::size_t>(found - _ranges.begin());
}

NSUInteger NSIndexSet::firstIndex() const noexcept {
  return _ranges.empty() ? NSNotFound : _ranges.front().location;
}

NSUInteger NSIndexSet::lastIndex() const noexcept {
  return _ranges.empty() ? NSNotFound : _ranges.back().end() - 1;
}

NSUInteger NSIndexSet::indexGreaterThanIndex(NSUInteger index) const noexcept {
  return index >= NSNotFound ? NSNotFound : indexGreaterThanOrEqualToIndex(index + 1);
}

NSUInteger NSIndexSet::indexGreaterThanOrEqualToIndex(NSUInteger index) const noexcept {
  const std::size_t position = firstRangeEndingAfter(index);
  if (position == _ranges.size()) return NSNotFound;
  return std::max(index, _ranges[position].location);
}

NSUInteger NSIndexSet::indexLessThanIndex(NSUInteger index) const noexcept {
  return index == 0 ? NSNotFound : indexLessThanOrEqualToIndex(index - 1);
}

NSUInteger NSIndexSet::indexLessThanOrEqualToIndex(NSUInteger index) const noexcept {
  const std::size_t position = firstRangeEndingAfter(index);
  if (position < _ranges.size() && _ranges[position].location <= index) return index;
  return position == 0 ? NSNotFound : _ranges[position - 1].end() - 1;
}

bool NSIndexSet::containsIndex(NSUInteger index) const noexcept {
  const std::size_t position = firstRangeEndingAfter(index);
  return position < _ranges.size() && _ranges[position].location <= index;
}

bool NSIndexSet::containsIndexesInRange(NSRange range) const noexcept {
  if (range.length == 0) return true;
  const std::size_t position = firstRangeEndingAfter(range.location);
  if (position == _ranges.size() || _ranges[position].location > range.location) return false;
  return range.length <= _ranges[position].end() - range.location;
}

bool NSIndexSet::containsIndexes(const Ref<NSIndexSet>& other) const noexcept {
  if (!other) return true;
  return std::all_of(other->_ranges.begin(), other->_ranges.end(),
                     [this](const NSRange& range) { return containsIndexesInRange(range); });
}

bool NSIndexSet::intersectsIndexesInRange(NSRange range) const noexcept {
  const NSRange valid = validPart(range);
  if (valid.length == 0) return false;
  const std::size_t position = firstRangeEndingAfter(valid.location);
  return position < _ranges.size() && _ranges[position].location < valid.end();
}

NSUInteger NSIndexSet::countOfIndexesInRange(NSRange range) const noexcept {
  const NSRange valid = validPart(range);
  NSUInteger count = 0;
  for (std::size_t i = firstRangeEndingAfter(valid.location);
       i < _ranges.size() && _ranges[i].location < valid.end(); ++i) {
    count +=
        std::min(_ranges[i].end(), valid.end()) - std::max(_ranges[i].location, valid.location);
  }
  return count;
}

bool NSIndexSet::isEqualToIndexSet(const Ref<NSIndexSet>& other) const noexcept {
  return other && _ranges == other->_ranges;
}

void NSIndexSet::raiseMutatedDuringWalk() const {
  raise(NSGenericException, "*** Collection <%s: %p> was mutated while being enumerated.",
        class_().name(), static_cast<const void*>(this));
}

void NSIndexSet::enumerateIndexesUsingBlock(
    const Block<void(NSUInteger index, bool& stop)>& block) const {
  const Ref<NSIndexSet> self = held(this);
  enumerateRangesUsingBlock([this, &block](NSRange range, bool& stop) {
    const std::uint64_t mutations = _mutations;
    for (NSUInteger index = range.location; index < range.end() && !stop; ++index) {
      block(index, stop);
      if (_mutations != mutations) raiseMutatedDuringWalk();
    }
  });
}

void NSIndexSet::enumerateIndexesInReverseUsingBlock(
    const Block<void(NSUInteger index, bool& stop)>& block) const {
  const Ref<NSIndexSet> self = held(this);
  const std::uint64_t mutations = _mutations;
  bool stop = false;
  for (std::size_t i = _ranges.size(); i-- > 0;) {
    for (NSUInteger index = _ranges[i].end(); index-- > _ranges[i].location;) {
      block(index, stop);
      if (_mutations != mutations) raiseMutatedDuringWalk();
      if (stop) return;
    }
  }
}

void NSIndexSet::enumerateRangesUsingBlock(
    const Block<void(NSRange range, bool& stop)>& block) const {
  const Ref<NSIndexSet> self = held(this);
  const std::uint64_t mutations = _mutations;
  bool stop = false;
  for (std::size_t i = 0; i < _ranges.size() && !stop; ++i) {
    block(_ranges[i], stop);
    if (_mutations != mutations) raiseMutatedDuringWalk();
  }
}

bool NSIndexSet::isEqual(const Value& other) const {
  const NSIndexSet* set = as<NSIndexSet>(other);
  return set && _ranges == set->_ranges;
}

std::size_t NSIndexSet::hash() const {
  if (_ranges.empty()) return static_cast<std::size_t>(mixHash(0));
  return static_cast<std::size_t>(mixHash(31 * (31 * _count + firstIndex()) + lastIndex()));
}

Ref<NSString> NSIndexSet::description() const {
  std::string text = NSObject::description()->toStdString();
  if (_ranges.empty()) return text + "(no indexes)";
  text += "[number of indexes: " + textFromUnsigned(_count);
  text += " (in " + textFromUnsigned(_ranges.size());
  text += _ranges.size() == 1 ? " range), indexes: (" : " ranges), indexes: (";
  for (const NSRange& range : _ranges) {
    if (&range != &_ranges.front()) text += ' ';
    text += textFromUnsigned(range.location);
    if (range.length > 1) text += "-" + textFromUnsigned(range.end() - 1);
  }
  return text + ")]";
}

Value NSIndexSet::copy() const { return Value(const_cast<NSIndexSet*>(this)); }

Value NSIndexSet::mutableCopy() const { return makeObject<NSMutableIndexSet>(_ranges); }

}  // namespace JNFoundation
