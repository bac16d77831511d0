#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <iterator>
#include <utility>
#include <vector>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation::inline v0_1 {

namespace impl {

/// Equality of a member of a collection with what is searched for. Where a class of the application
/// decides it, that code may reach the collection: both values are held meanwhile.
/// Fails: raises NSGenericException when the generation is another one afterwards, so that no
/// search goes on in a collection that was changed under it.
bool memberEquals(const Value& member, const Value& other, const std::uint64_t& generation);

[[noreturn]] void raiseTooManyEntries();

}  // namespace impl

/// Entries in the order of their insertion, found by the hash of their key: the storage of
/// dictionaries and sets. An Entry has the members `Value key` and `std::uint64_t hash`.
///
/// Up to a handful of entries are searched one by one; beyond that an open-addressing index of
/// positions stands beside them. A removed entry leaves a hole (a null key) until enough of them
/// are closed at once, so removing costs constant time on average and keeps the order; what is
/// removed from the front costs no more than being passed over.
template <class Entry>
class OrderedHashTable {
 public:
  /// No position.
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  OrderedHashTable() = default;
  OrderedHashTable(const OrderedHashTable&) = default;
  /// What was moved is empty.
  OrderedHashTable(OrderedHashTable&& other) noexcept
      : _entries(std::move(other._entries)),
        _index(std::move(other._index)),
        _first(std::exchange(other._first, 0)),
        _live(std::exchange(other._live, 0)),
        _usedSlots(std::exchange(other._usedSlots, 0)),
        // A search under way in either table notices.
        _generation(++other._generation),
        _shift(other._shift) {}
  OrderedHashTable& operator=(OrderedHashTable other) noexcept {
    swap(other);
    return *this;
  }
  void swap(OrderedHashTable& other) noexcept {
    _entries.swap(other._entries);
    _index.swap(other._index);
    std::swap(_first, other._first);
    std::swap(_live, other._live);
    std::swap(_usedSlots, other._usedSlots);
    std::swap(_shift, other._shift);
    // Greater than both, so that a search under way in either table notices.
    _generation = other._generation = std::max(_generation, other._generation) + 1;
  }

  /// How many entries there are, without holes.
  std::size_t count() const noexcept { return _live; }

  // Positions run from `begin()`, which is no hole, to `end()`; `isHole` tells the holes between.
  std::size_t begin() const noexcept { return _first; }
  std::size_t end() const noexcept { return _entries.size(); }
  bool isHole(std::size_t position) const noexcept { return _entries[position].key.isNull(); }
  // The entry at a position from `begin()` on and before `end()`.
  const Entry& at(std::size_t position) const noexcept { return _entries[position]; }
  Entry& at(std::size_t position) noexcept { return _entries[position]; }

  /// Makes room for that many entries. A wish beyond a million is cut: what comes then still fits.
  void reserve(std::size_t count) {
    if (count > largestReservation) count = largestReservation;
    _entries.reserve(count);
    if (count > unindexedLimit && count * 2 > _index.size()) rebuildIndex(count);
  }

  /// The position of the equal key, or npos. Positions hold until the next change.
  std::size_t find(const Value& key, std::uint64_t hash) const {
    return findWhere(hash, [&](const Value& candidate) {
      return candidate.isIdentical(key) || impl::memberEquals(candidate, key, _generation);
    });
  }

  /// The position of the first entry of that hash whose key satisfies the condition, or npos.
  /// Requires: the condition does not change the table.
  template <class Condition>
  std::size_t findWhere(std::uint64_t hash, Condition&& matches) const {
    if (_index.empty()) {
      for (std::size_t i = _first; i < _entries.size(); ++i) {
        const Entry& entry = _entries[i];
        if (entry.hash == hash && !entry.key.isNull() && matches(entry.key)) return i;
      }
      return npos;
    }
    const std::size_t mask = _index.size() - 1;
    for (std::size_t slot = slotOf(hash); _index[slot] != 0; slot = (slot + 1) & mask) {
      const std::size_t position = _index[slot] - 1;
      const Entry& entry = _entries[position];
      if (entry.hash == hash && !entry.key.isNull() && matches(entry.key)) return position;
    }
    return npos;
  }

  /// Appends an entry. Requires: no entry has an equal key.
  Entry& append(Entry entry) {
    if (_entries.size() == _entries.capacity() || needsLargerIndex()) makeRoom();
    _entries.push_back(std::move(entry));
    ++_live;
    ++_generation;
    if (!_index.empty()) enterIndex(_entries.size() - 1);
    return _entries.back();
  }

  /// Puts an entry before the one at the position, in time linear in the count; in front of the
  /// first one in constant time where entries were removed from the front.
  /// Requires: there are no holes from `begin()` on, and no entry has an equal key.
  void insert(std::size_t position, Entry entry) {
    if (position == _entries.size()) {
      append(std::move(entry));
      return;
    }
    ++_generation;
    if (position == _first && _first > 0) {
      makeRoomForSlots(1);
      _entries[--_first] = std::move(entry);
      ++_live;
      if (!_index.empty()) enterIndex(_first);
      return;
    }
    const std::size_t index = position - _first;
    if (_entries.size() == _entries.capacity()) _entries.reserve(_entries.size() * 2);
    if (needsLargerIndex()) makeRoom();
    _first = 0;
    _entries.erase(_entries.begin(), _entries.end() - static_cast<std::ptrdiff_t>(_live));
    _entries.insert(_entries.begin() + static_cast<std::ptrdiff_t>(index), std::move(entry));
    ++_live;
    if (!_index.empty()) rebuildIndex(_entries.size());
  }

  /// Puts an entry in the place of another one and returns that.
  /// Requires: no other entry has an equal key.
  Entry replace(std::size_t position, Entry entry) {
    makeRoomForSlots(1);
    ++_generation;
    std::swap(_entries[position], entry);
    if (!_index.empty()) enterIndex(position);
    return entry;
  }

  /// Lets two entries change places.
  void exchange(std::size_t first, std::size_t second) {
    makeRoomForSlots(2);
    ++_generation;
    std::swap(_entries[first], _entries[second]);
    if (_index.empty()) return;
    enterIndex(first);
    enterIndex(second);
  }

  /// Takes the entry out and returns it, so that the caller decides when what it held is released.
  Entry take(std::size_t position) {
    Entry taken = std::move(_entries[position]);
    _entries[position].key = Value();
    --_live;
    ++_generation;
    if (_live == 0) {
      clear();
    } else if (position == _first) {
      do ++_first;
      while (isHole(_first));
    } else if (innerHoles() > _live && _entries.size() > unindexedLimit) {
      compact();
    }
    return taken;
  }

  /// The same for a run of entries; in time linear in the run from the front, else in the count.
  /// Requires: there are no holes from `begin()` on.
  std::vector<Entry> takeRun(std::size_t position, std::size_t count) {
    const auto start = _entries.begin() + static_cast<std::ptrdiff_t>(position);
    const auto end = start + static_cast<std::ptrdiff_t>(count);
    std::vector<Entry> taken(std::make_move_iterator(start), std::make_move_iterator(end));
    ++_generation;
    _live -= count;
    if (_live == 0) {
      clear();
    } else if (position == _first) {
      _first += count;
    } else {
      _entries.erase(start, end);
      refreshIndex();
    }
    return taken;
  }

  /// Removes all entries, and gives them with the holes between them.
  std::vector<Entry> takeAll() {
    std::vector<Entry> taken = std::exchange(_entries, {});
    clear();
    ++_generation;
    return taken;
  }

  /// Puts the entries in a row from `begin()` on.
  void closeHoles() {
    if (innerHoles() != 0) compact();
  }

  /// Puts the entries in a row from 0 on.
  void compact() {
    if (_live == _entries.size()) return;
    std::size_t to = 0;
    for (std::size_t from = _first; from < _entries.size(); ++from) {
      if (isHole(from)) continue;
      if (to != from) _entries[to] = std::move(_entries[from]);
      ++to;
    }
    _entries.erase(_entries.begin() + static_cast<std::ptrdiff_t>(to), _entries.end());
    _first = 0;
    refreshIndex();
  }

 private:
  static constexpr std::size_t unindexedLimit = 16;
  static constexpr std::size_t largestReservation = std::size_t{1} << 20;
  static constexpr std::size_t largestCount = std::size_t{1} << 30;

  /// Passing over removed entries at the front is free, so only those behind `begin()` count.
  std::size_t innerHoles() const noexcept { return _entries.size() - _first - _live; }

  void clear() noexcept {
    _entries.clear();
    _index.clear();
    _first = _live = _usedSlots = 0;
  }

  bool needsLargerIndex() const noexcept {
    return _index.empty() ? _entries.size() >= unindexedLimit
                          : (_usedSlots + 1) * 2 > _index.size();
  }

  void makeRoom() {
    // Closing at least as many holes as there are entries pays for moving the entries.
    if (_live * 2 <= _entries.size()) compact();
    if (_entries.capacity() < 4) _entries.reserve(4);
    if (needsLargerIndex()) rebuildIndex(roomyCapacity());
  }

  /// An entry that moved is entered anew; the slot of its old place is passed over, because the
  /// hash of what stands there now is another one, and goes when the index is built again.
  void makeRoomForSlots(std::size_t count) {
    if (!_index.empty() && (_usedSlots + count) * 2 > _index.size()) rebuildIndex(roomyCapacity());
  }

  /// Leaves so many slots free that the next rebuilding is paid for by what happens before.
  std::size_t roomyCapacity() const noexcept { return _entries.size() + _entries.size() / 2 + 2; }

  void refreshIndex() {
    if (_entries.size() > unindexedLimit) {
      rebuildIndex(_entries.size());
    } else {
      _index.clear();
      _usedSlots = 0;
    }
  }

  /// The multiplication spreads hashes that differ only in a few bits, as an application's may.
  std::size_t slotOf(std::uint64_t hash) const noexcept {
    return static_cast<std::size_t>((hash * 0x9E3779B97F4A7C15) >> _shift);
  }

  void enterIndex(std::size_t position) noexcept {
    const std::size_t mask = _index.size() - 1;
    std::size_t slot = slotOf(_entries[position].hash);
    while (_index[slot] != 0) slot = (slot + 1) & mask;
    _index[slot] = static_cast<std::uint32_t>(position + 1);
    ++_usedSlots;
  }

  void rebuildIndex(std::size_t capacity) {
    if (capacity > largestCount) impl::raiseTooManyEntries();
    const std::size_t size = std::bit_ceil(capacity * 2 < 32 ? std::size_t{32} : capacity * 2);
    _index.assign(size, 0);
    _usedSlots = 0;
    _shift = static_cast<std::uint8_t>(64 - std::countr_zero(size));
    for (std::size_t i = _first; i < _entries.size(); ++i) {
      if (!isHole(i)) enterIndex(i);
    }
  }

  std::vector<Entry> _entries;
  /// Position plus one of the entry, 0 for a free slot; the size is a power of two, at least twice
  /// the number of positions. Empty for a table that is searched one by one.
  std::vector<std::uint32_t> _index;
  std::size_t _first = 0;
  std::size_t _live = 0;
  /// At most half of the index, so that every search ends.
  std::size_t _usedSlots = 0;
  /// Counts the changes, so that a search notices them.
  std::uint64_t _generation = 0;
  std::uint8_t _shift = 0;
};

}  // namespace JNFoundation
