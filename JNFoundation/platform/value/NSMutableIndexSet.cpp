#include <algorithm>

#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSIndexSet.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSMutableIndexSet::classObject =
    Class::of<NSMutableIndexSet>("NSMutableIndexSet");

namespace {

const ClassDeclaration<NSMutableIndexSet> declarationOfNSMutableIndexSet =
    ClassDeclaration<NSMutableIndexSet>()
        .factory()
        .operation("addIndex:", &NSMutableIndexSet::addIndex)
        .operation("addIndexes:", &NSMutableIndexSet::addIndexes)
        .operation("removeIndex:", &NSMutableIndexSet::removeIndex)
        .operation("removeIndexes:", &NSMutableIndexSet::removeIndexes)
        .operation("removeAllIndexes", &NSMutableIndexSet::removeAllIndexes);

void checkRange(const char* operation, NSRange range) {
  if (range.location <= NSNotFound && range.length <= NSNotFound - range.location) return;
  raise(NSRangeException, "*** -[NSMutableIndexSet %s]: the range {%llu, %llu} reaches past %lld",
        operation, range.location, range.length, NSNotFound - 1);
}

/// Appends to ranges that ascend by their start, joining what touches or overlaps.
void appendJoining(std::vector<NSRange>& ranges, NSRange range) {
  if (!ranges.empty() && range.location <= ranges.back().end()) {
    ranges.back().length = std::max(ranges.back().end(), range.end()) - ranges.back().location;
  } else {
    ranges.push_back(range);
  }
}

NSUInteger totalLength(const std::vector<NSRange>& ranges) {
  NSUInteger total = 0;
  for (const NSRange& range : ranges) total += range.length;
  return total;
}

}  // namespace

Ref<NSMutableIndexSet> NSMutableIndexSet::indexSet() { return makeObject<NSMutableIndexSet>(); }

Ref<NSMutableIndexSet> NSMutableIndexSet::indexSetWithIndex(NSUInteger index) {
  return indexSetWithIndexesInRange({index, 1});
}

Ref<NSMutableIndexSet> NSMutableIndexSet::indexSetWithIndexesInRange(NSRange range) {
  Ref<NSMutableIndexSet> set = indexSet();
  set->addIndexesInRange(range);
  return set;
}

Ref<NSMutableIndexSet> NSMutableIndexSet::indexSetWithIndexSet(const Ref<NSIndexSet>& other) {
  return other ? makeObject<NSMutableIndexSet>(other->ranges()) : indexSet();
}

void NSMutableIndexSet::addIndexesInRange(NSRange range) {
  checkRange("addIndexesInRange:", range);
  if (range.length == 0) return;
  // Whoever adds in ascending order need not search.
  if (_ranges.empty() || _ranges.back().end() < range.location) {
    _ranges.push_back(range);
    _count += range.length;
    ++_mutations;
    return;
  }
  if (containsIndexesInRange(range)) return;
  // Ranges that end where the new one starts, or start where it ends, are joined with it.
  const auto first = std::partition_point(
      _ranges.begin(), _ranges.end(),
      [range](const NSRange& candidate) { return candidate.end() < range.location; });
  auto last = first;
  NSUInteger start = range.location, end = range.end();
  while (last != _ranges.end() && last->location <= range.end()) {
    start = std::min(start, last->location);
    end = std::max(end, last->end());
    _count -= last->length;
    ++last;
  }
  if (first == last) {
    _ranges.insert(first, range);
  } else {
    *first = {start, end - start};
    _ranges.erase(first + 1, last);
  }
  _count += end - start;
  ++_mutations;
}

void NSMutableIndexSet::addIndexes(const Ref<NSIndexSet>& other) {
  if (!other || other.get() == this) return;
  const std::vector<NSRange>& added = other->ranges();
  if (added.size() <= 1) {
    for (const NSRange& range : added) addIndexesInRange(range);
    return;
  }
  std::vector<NSRange> united;
  united.reserve(_ranges.size() + added.size());
  auto mine = _ranges.begin();
  auto theirs = added.begin();
  while (mine != _ranges.end() || theirs != added.end()) {
    const bool takeMine =
        theirs == added.end() || (mine != _ranges.end() && mine->location <= theirs->location);
    appendJoining(united, takeMine ? *mine++ : *theirs++);
  }
  _ranges = std::move(united);
  _count = totalLength(_ranges);
  ++_mutations;
}

void NSMutableIndexSet::removeIndexesInRange(NSRange range) {
  checkRange("removeIndexesInRange:", range);
  if (!intersectsIndexesInRange(range)) return;
  const std::size_t first = firstRangeEndingAfter(range.location);
  std::size_t last = first;
  NSRange before{}, after{};
  for (; last < _ranges.size() && _ranges[last].location < range.end(); ++last) {
    const NSRange hit = _ranges[last];
    _count -= hit.length;
    if (hit.location < range.location) before = {hit.location, range.location - hit.location};
    if (hit.end() > range.end()) after = {range.end(), hit.end() - range.end()};
  }
  _count += before.length + after.length;
  const auto at = _ranges.erase(_ranges.begin() + static_cast<std::ptrdiff_t>(first),
                                _ranges.begin() + static_cast<std::ptrdiff_t>(last));
  NSRange remaining[2];
  std::size_t remainingCount = 0;
  if (before.length > 0) remaining[remainingCount++] = before;
  if (after.length > 0) remaining[remainingCount++] = after;
  _ranges.insert(at, remaining, remaining + remainingCount);
  ++_mutations;
}

void NSMutableIndexSet::removeIndexes(const Ref<NSIndexSet>& other) {
  if (!other) return;
  if (other.get() == this) return removeAllIndexes();
  const std::vector<NSRange>& removed = other->ranges();
  if (removed.size() <= 1) {
    for (const NSRange& range : removed) removeIndexesInRange(range);
    return;
  }
  std::vector<NSRange> remaining;
  remaining.reserve(_ranges.size() + removed.size());
  auto hole = removed.begin();
  for (const NSRange& range : _ranges) {
    NSUInteger start = range.location;
    while (hole != removed.end() && hole->end() <= start) ++hole;
    for (; hole != removed.end() && hole->location < range.end(); ++hole) {
      if (hole->location > start) remaining.push_back({start, hole->location - start});
      start = hole->end();
      // A hole that reaches further belongs to the next range as well.
      if (start >= range.end()) break;
    }
    if (start < range.end()) remaining.push_back({start, range.end() - start});
  }
  _ranges = std::move(remaining);
  _count = totalLength(_ranges);
  ++_mutations;
}

void NSMutableIndexSet::removeAllIndexes() noexcept {
  if (_ranges.empty()) return;
  _ranges.clear();
  _count = 0;
  ++_mutations;
}

void NSMutableIndexSet::shiftIndexesStartingAtIndexBy(NSUInteger index, NSInteger delta) {
  checkRange("shiftIndexesStartingAtIndex:by:", {index, 1});
  if (delta == 0 || _ranges.empty()) return;
  const NSUInteger last = lastIndex();
  if (delta > 0) {
    if (last < index) return;
    const auto distance = static_cast<NSUInteger>(delta);
    if (distance >= NSNotFound - last) {
      raise(NSRangeException,
            "*** -[NSMutableIndexSet shiftIndexesStartingAtIndex:by:]: index %llu moved by %lld "
            "reaches past %lld",
            last, delta, NSNotFound - 1);
    }
    std::size_t position = firstRangeEndingAfter(index);
    if (_ranges[position].location < index) {
      const NSRange above{index, _ranges[position].end() - index};
      _ranges[position].length -= above.length;
      ++position;
      _ranges.insert(_ranges.begin() + static_cast<std::ptrdiff_t>(position), above);
    }
    for (; position < _ranges.size(); ++position) _ranges[position].location += distance;
    ++_mutations;
    return;
  }
  const NSUInteger distance = NSUInteger{0} - static_cast<NSUInteger>(delta);
  // Everything from here on moves; the positions that it moves onto lose their indexes first.
  const NSUInteger firstMoved = std::max(index, std::min<NSUInteger>(distance, NSNotFound));
  const NSUInteger firstDeleted = firstMoved - std::min<NSUInteger>(distance, firstMoved);
  removeIndexesInRange({firstDeleted, firstMoved - firstDeleted});
  std::size_t position = firstRangeEndingAfter(firstMoved);
  if (position == _ranges.size()) return;
  for (std::size_t i = position; i < _ranges.size(); ++i) _ranges[i].location -= distance;
  if (position > 0 && _ranges[position - 1].end() == _ranges[position].location) {
    _ranges[position - 1].length += _ranges[position].length;
    _ranges.erase(_ranges.begin() + static_cast<std::ptrdiff_t>(position));
  }
  ++_mutations;
}

Value NSMutableIndexSet::copy() const { return makeObject<NSIndexSet>(_ranges); }

}  // namespace JNFoundation
