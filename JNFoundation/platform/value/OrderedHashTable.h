#pragma once

#include <cstdint>
#include <utility>
#include <vector>

#include <JNFoundation/platform/value/Value.h>

namespace JNFoundation {

/// Entries in the order of their insertion, found by the hash of their key: the storage of
/// dictionaries and sets. An Entry has the members `Value key` and `std::uint64_t hash`.
///
/// Up to a handful of entries are searched one by one; beyond that an open-addressing index of
/// positions stands beside them. A removed entry leaves a hole (a null key) until enough of them are
/// closed at once, so removing costs constant time on average and keeps the order.
template <class Entry>
class OrderedHashTable {
 public:
  static constexpr std::size_t npos = static_cast<std::size_t>(-1);

  std::size_t count() const noexcept { return _live; }

  /// Positions run from 0 to `end()`, holes included; `isHole` tells them.
  std::size_t end() const noexcept { return _entries.size(); }
  bool isHole(std::size_t position) const noexcept { return _entries[position].key.isNull(); }
  const Entry& at(std::size_t position) const noexcept { return _entries[position]; }
  Entry& at(std::size_t position) noexcept { return _entries[position]; }

  void reserve(std::size_t count) {
    _entries.reserve(count);
    if (count > unindexedLimit) rebuildIndex(count);
  }

  /// The position of the equal key, or npos.
  std::size_t find(const Value& key, std::uint64_t hash) const {
    return findWhere(hash, [&](const Value& candidate) {
      return candidate.isIdentical(key) || candidate.isEqual(key);
    });
  }

  /// The position of the first entry of that hash whose key satisfies the condition, or npos.
  template <class Condition>
  std::size_t findWhere(std::uint64_t hash, Condition&& matches) const {
    if (_index.empty()) {
      for (std::size_t i = 0; i < _entries.size(); ++i) {
        const Entry& entry = _entries[i];
        if (entry.hash == hash && !entry.key.isNull() && matches(entry.key)) return i;
      }
      return npos;
    }
    const std::size_t mask = _index.size() - 1;
    for (std::size_t slot = hash & mask; _index[slot] != 0; slot = (slot + 1) & mask) {
      const Entry& entry = _entries[_index[slot] - 1];
      if (entry.hash == hash && !entry.key.isNull() && matches(entry.key)) return _index[slot] - 1;
    }
    return npos;
  }

  /// Appends an entry. Requires: no entry has an equal key.
  Entry& append(Entry entry) {
    _entries.push_back(std::move(entry));
    ++_live;
    if (!_index.empty() || _entries.size() > unindexedLimit) {
      if (_index.size() < _entries.size() * 2) {
        rebuildIndex(_entries.size() * 2);
      } else {
        enterIndex(_entries.size() - 1);
      }
    }
    return _entries.back();
  }

  /// Takes the entry out and returns it, so that the caller decides when what it held is released.
  Entry take(std::size_t position) {
    Entry taken = std::move(_entries[position]);
    _entries[position].key = Value();
    --_live;
    if (_live == 0) {
      clearIndex();
    } else if (_entries.size() > unindexedLimit && _live < _entries.size() / 2) {
      closeHoles();
    }
    return taken;
  }

  std::vector<Entry> takeAll() {
    _live = 0;
    _index.clear();
    return std::exchange(_entries, {});
  }

 private:
  static constexpr std::size_t unindexedLimit = 8;

  void clearIndex() {
    _entries.clear();
    _index.clear();
  }

  void enterIndex(std::size_t position) {
    const std::size_t mask = _index.size() - 1;
    std::size_t slot = _entries[position].hash & mask;
    while (_index[slot] != 0) slot = (slot + 1) & mask;
    _index[slot] = static_cast<std::uint32_t>(position + 1);
  }

  void rebuildIndex(std::size_t capacity) {
    std::size_t size = 16;
    while (size < capacity * 2) size *= 2;
    _index.assign(size, 0);
    for (std::size_t i = 0; i < _entries.size(); ++i) {
      if (!_entries[i].key.isNull()) enterIndex(i);
    }
  }

  void closeHoles() {
    std::size_t to = 0;
    for (std::size_t from = 0; from < _entries.size(); ++from) {
      if (_entries[from].key.isNull()) continue;
      if (to != from) _entries[to] = std::move(_entries[from]);
      ++to;
    }
    _entries.resize(to);
    if (to > unindexedLimit) {
      rebuildIndex(to);
    } else {
      _index.clear();
    }
  }

  std::vector<Entry> _entries;
  /// Position plus one of the entry, 0 for a free slot; the size is a power of two.
  std::vector<std::uint32_t> _index;
  std::size_t _live = 0;
};

}  // namespace JNFoundation
