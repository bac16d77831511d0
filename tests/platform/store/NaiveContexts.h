#pragma once

#include <algorithm>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <utility>
#include <vector>

// Contexts over one store as plainly as they can be written down: every state is whole, nothing is
// shared, and what follows from something is worked out each time.

namespace JNFoundation::naive {

using Uid = std::int64_t;
constexpr Uid nobody = 0;

struct Record {
  bool isNote = false;
  std::int64_t value = 0;
  std::int64_t tag = 0;
  Uid parent = nobody;

  friend bool operator==(const Record&, const Record&) = default;
};

/// Two that are friends, the smaller first.
using Pair = std::pair<Uid, Uid>;
inline Pair pairOf(Uid one, Uid other) { return {std::min(one, other), std::max(one, other)}; }

/// Records and friendships.
struct State {
  std::map<Uid, Record> records;
  std::set<Pair> friends;

  bool has(Uid uid) const { return records.count(uid) > 0; }
  std::vector<Uid> childrenOf(Uid uid) const {
    std::vector<Uid> children;
    for (const auto& [child, record] : records) {
      if (record.parent == uid) children.push_back(child);
    }
    return children;
  }
  std::vector<Uid> friendsOf(Uid uid) const {
    std::vector<Uid> found;
    for (const auto& [one, other] : friends) {
      if (one == uid) found.push_back(other);
      if (other == uid && one != uid) found.push_back(one);
    }
    std::sort(found.begin(), found.end());
    return found;
  }
  /// Deletes the record; those that lead to it lead nowhere.
  void remove(Uid uid) {
    records.erase(uid);
    for (auto& [child, record] : records) {
      if (record.parent == uid) record.parent = nobody;
    }
    std::erase_if(friends,
                  [&](const Pair& pair) { return pair.first == uid || pair.second == uid; });
  }
};

/// What a file has: the present state, and how often each record was written.
struct Store {
  State state;
  std::map<Uid, std::int64_t> versions;
};

/// What a context has: what it last read or saved, and what it shows.
struct View {
  State base;
  std::map<Uid, std::int64_t> versions;
  State now;

  void read(const Store& store) {
    base = now = store.state;
    versions = store.versions;
  }

  bool hasChanges() const { return now.records != base.records || now.friends != base.friends; }

  /// Whether the store refuses a save: a record that is to be written or deleted is not as it was
  /// read, or what is to be written leads to one that is gone.
  bool conflictsWith(const Store& store) const {
    for (const auto& [uid, before] : base.records) {
      const auto after = now.records.find(uid);
      if (after != now.records.end() && after->second == before) continue;
      const auto version = store.versions.find(uid);
      if (version == store.versions.end() || version->second != versions.at(uid)) return true;
    }
    // What others have related to a record that is to go would lead nowhere.
    for (const auto& [uid, record] : store.state.records) {
      const bool isToGo = base.has(record.parent) && !now.has(record.parent);
      const bool goesToo = base.has(uid) && !now.has(uid);
      if (isToGo && !goesToo && (!base.has(uid) || base.records.at(uid).parent != record.parent)) {
        return true;
      }
    }
    const auto isGone = [&](Uid uid) {
      return uid != nobody && base.has(uid) && !store.state.has(uid);
    };
    for (const auto& [uid, record] : now.records) {
      const auto before = base.records.find(uid);
      const bool isWritten = before == base.records.end() || before->second != record;
      if (isWritten && isGone(record.parent)) return true;
    }
    for (const Pair& pair : now.friends) {
      if (base.friends.count(pair) == 0 && (isGone(pair.first) || isGone(pair.second))) return true;
    }
    return false;
  }

  void save(Store& store) {
    for (const auto& [uid, before] : base.records) {
      if (now.has(uid)) continue;
      store.state.remove(uid);
      store.versions.erase(uid);
      versions.erase(uid);
    }
    for (const auto& [uid, record] : now.records) {
      const auto before = base.records.find(uid);
      if (before != base.records.end() && before->second == record) continue;
      store.state.records[uid] = record;
      versions[uid] = ++store.versions[uid];
    }
    for (const Pair& pair : base.friends) {
      if (now.friends.count(pair) == 0) store.state.friends.erase(pair);
    }
    for (const Pair& pair : now.friends) {
      if (base.friends.count(pair) == 0) store.state.friends.insert(pair);
    }
    base = now;
  }

  /// Takes over all that was saved: what was changed here stays on top of it, property by property.
  void merge(const Store& store) {
    State merged = store.state;
    const auto isGone = [&](Uid uid) { return base.has(uid) && !store.state.has(uid); };
    for (const auto& [uid, record] : now.records) {
      const auto before = base.records.find(uid);
      if (before == base.records.end()) {
        merged.records[uid] = record;
      } else if (!isGone(uid)) {
        Record& target = merged.records.at(uid);
        if (record.value != before->second.value) target.value = record.value;
        if (record.tag != before->second.tag) target.tag = record.tag;
        if (record.parent != before->second.parent) target.parent = record.parent;
      }
    }
    for (auto& [uid, record] : merged.records) {
      if (isGone(record.parent)) record.parent = nobody;
    }
    for (const Pair& pair : now.friends) {
      const bool isNew = base.friends.count(pair) == 0;
      if (isNew && !isGone(pair.first) && !isGone(pair.second)) merged.friends.insert(pair);
    }
    for (const Pair& pair : base.friends) {
      if (now.friends.count(pair) == 0) merged.friends.erase(pair);
    }
    for (const auto& [uid, before] : base.records) {
      if (!now.has(uid) && merged.has(uid)) merged.remove(uid);
    }
    base = store.state;
    versions = store.versions;
    now = std::move(merged);
  }
};

}  // namespace JNFoundation::naive
