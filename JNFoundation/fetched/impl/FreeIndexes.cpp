#include "JNFoundation/fetched/impl/FreeIndexes.h"

#include <algorithm>
#include <bit>
#include <utility>

namespace JNFoundation::inline v0_1::impl {

NSUInteger FreeIndexes::take(NSUInteger index) {
  NSUInteger taken = firstFrom(index);
  if (taken >= _count) taken = last();
  _ways.add(taken, taken + 1);
  --_free;
  return taken;
}

const NSRange* FreeIndexes::runWith(NSUInteger index) const noexcept {
  const auto run =
      std::partition_point(_before.begin(), _before.end(),
                           [index](const NSRange& range) { return range.end() <= index; });
  return run != _before.end() && run->location <= index ? &*run : nullptr;
}

/// Returns: `_count`, or what is above it, where everything from the index on is taken.
NSUInteger FreeIndexes::firstFrom(NSUInteger index) {
  std::vector<NSUInteger*> gone;
  while (index < _count) {
    if (Ways::Way* way = _ways.find(index)) {
      gone.push_back(&way->onward);
      index = way->onward;
    } else if (const NSRange* run = runWith(index)) {
      index = run->end();
    } else {
      break;
    }
  }
  for (NSUInteger* onward : gone) *onward = index;
  return index;
}

NSUInteger FreeIndexes::last() {
  for (;;) {
    const NSUInteger index = _end - 1;
    if (const NSRange* run = runWith(index)) {
      _end = run->location;
    } else if (_ways.find(index)) {
      _end = index;
    } else {
      return index;
    }
  }
}

Ref<NSIndexSet> FreeIndexes::drawn() const {
  std::vector<NSUInteger> indexes = _ways.positions();
  std::sort(indexes.begin(), indexes.end());
  const Ref<NSMutableIndexSet> set = NSMutableIndexSet::indexSet();
  for (const NSUInteger index : indexes) set->addIndex(index);
  return set;
}

// ---- Ways ---------------------------------------------------------------------------------------

FreeIndexes::Ways::Ways(NSUInteger expected) {
  // Room for many is made as they come.
  const NSUInteger soon = std::min<NSUInteger>(expected, 10'000);
  _slots.resize(std::bit_ceil(2 * soon + 2));
  _positions.reserve(soon);
}

FreeIndexes::Ways::Way& FreeIndexes::Ways::slotFor(NSUInteger from) noexcept {
  const std::size_t mask = _slots.size() - 1;
  // The high bits of the product depend on all bits of the position.
  std::size_t slot = static_cast<std::size_t>((from * 0x9E3779B97F4A7C15u) >> 32) & mask;
  while (_slots[slot].from != none && _slots[slot].from != from) slot = (slot + 1) & mask;
  return _slots[slot];
}

FreeIndexes::Ways::Way* FreeIndexes::Ways::find(NSUInteger from) noexcept {
  Way& way = slotFor(from);
  return way.from == none ? nullptr : &way;
}

void FreeIndexes::Ways::add(NSUInteger from, NSUInteger onward) {
  _positions.push_back(from);
  if (2 * _positions.size() > _slots.size()) {
    const std::vector<Way> before = std::exchange(_slots, std::vector<Way>(2 * _slots.size()));
    for (const Way& way : before) {
      if (way.from != none) slotFor(way.from) = way;
    }
  }
  slotFor(from) = {from, onward};
}

}  // namespace JNFoundation::impl
