#include "JNFoundation/fetched/impl/RandomPlaces.h"

namespace JNFoundation::inline v0_1::impl {

NSUInteger RandomPlaces::draw() {
  const NSUInteger index = below(_free);
  const NSUInteger rank = standingAt(index);
  --_free;
  _displaced[index] = standingAt(_free);
  _displaced.erase(_free);
  // The k-th taken position has as many free ones below it as it is above k.
  std::size_t first = 0;
  for (std::size_t last = _taken.size(); first < last;) {
    const std::size_t middle = first + (last - first) / 2;
    if (_taken[middle] - middle <= rank) {
      first = middle + 1;
    } else {
      last = middle;
    }
  }
  return rank + first;
}

NSUInteger RandomPlaces::standingAt(NSUInteger index) const {
  const auto displaced = _displaced.find(index);
  return displaced == _displaced.end() ? index : displaced->second;
}

/// Numbers above the last whole multiple of the bound would favour small remainders, so they are
/// drawn again.
NSUInteger RandomPlaces::below(NSUInteger bound) const {
  if (bound < 2) return 0;
  const auto bits = [this]() -> std::uint64_t { return _source ? _source() : arc4random(); };
  const std::uint64_t all = std::uint64_t{1} << 32;
  if (bound > all) {
    const std::uint64_t rest = (~std::uint64_t{0} % bound + 1) % bound;
    std::uint64_t number;
    do {
      number = bits() << 32;
      number |= bits();
    } while (number > ~std::uint64_t{0} - rest);
    return static_cast<NSUInteger>(number % bound);
  }
  const std::uint64_t usable = all - all % bound;
  std::uint64_t number;
  do {
    number = bits();
  } while (number >= usable);
  return static_cast<NSUInteger>(number % bound);
}

}  // namespace JNFoundation::impl
