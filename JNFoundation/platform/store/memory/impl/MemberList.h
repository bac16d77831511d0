#pragma once

#include <cstdint>
#include <map>
#include <unordered_map>
#include <utility>
#include <vector>

namespace JNFoundation::inline v0_1::impl {

/// The records at the other end of one record's relationship, in their order or, without one,
/// ascending. As in a file, each has a place of its own, so that one comes or goes without the
/// others being looked at; what has no place yet stands last.
class MemberList {
 public:
  explicit MemberList(bool isOrdered) : _isOrdered(isOrdered) {}

  bool isEmpty() const noexcept { return _byPlace.empty(); }

  std::vector<std::int64_t> members() const {
    std::vector<std::int64_t> list;
    list.reserve(_byPlace.size());
    for (const auto& [place, member] : _byPlace) list.push_back(member);
    return list;
  }

  bool hasPlace(std::int64_t member) const {
    const auto known = _places.find(member);
    return known != _places.end() && !known->second.first;
  }

  /// Without a place, unless it is a member.
  void add(std::int64_t member) {
    if (_isOrdered && _places.count(member) > 0) return;
    put(member, {_isOrdered, member});
  }

  void remove(std::int64_t member) {
    if (!_isOrdered) {
      _byPlace.erase({false, member});
    } else if (const auto known = _places.find(member); known != _places.end()) {
      _byPlace.erase(known->second);
      _places.erase(known);
    }
  }

  /// Behind all others that have a place. Ignored without an order and for what is no member.
  void moveToEnd(std::int64_t member) {
    if (_places.count(member) == 0) return;
    remove(member);
    const auto behind = _byPlace.lower_bound({true, 0});
    const std::int64_t last = behind == _byPlace.begin() ? 0 : std::prev(behind)->first.second;
    put(member, {false, last + 1});
  }

  /// First those given, as far as they are members, then the others.
  void putInOrder(const std::vector<std::int64_t>& order) {
    if (!_isOrdered) return;
    const std::vector<std::int64_t> others = members();
    const auto known = std::exchange(_places, {});
    _byPlace.clear();
    for (const auto* list : {&order, &others}) {
      for (const std::int64_t member : *list) {
        if (known.count(member) == 0 || _places.count(member) > 0) continue;
        put(member, {false, static_cast<std::int64_t>(_places.size()) + 1});
      }
    }
  }

 private:
  /// Whether it has none, and which one.
  using Place = std::pair<bool, std::int64_t>;

  void put(std::int64_t member, Place place) {
    if (_isOrdered) {
      _places[member] = place;
    } else {
      place = {false, member};
    }
    _byPlace[place] = member;
  }

  bool _isOrdered;
  std::map<Place, std::int64_t> _byPlace;
  /// Empty without an order, where a member is its own place.
  std::unordered_map<std::int64_t, Place> _places;
};

}  // namespace JNFoundation::impl
