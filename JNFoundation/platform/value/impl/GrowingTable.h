#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string_view>

namespace JNFoundation::inline v0_1::impl {

/// The names of the process: entries by text that are added and never removed, so that looking one
/// up takes no lock. An Entry has `text()`, `hash()` and a member `Entry* next`, and lives as long
/// as the process.
/// Threads: any.
template <class Entry>
class GrowingTable {
 public:
  /// Returns: null if there is none.
  Entry* find(std::string_view text, std::uint64_t hash) const noexcept {
    Entry* entry =
        _lists[static_cast<std::size_t>(hash) % _lists.size()].load(std::memory_order_acquire);
    while (entry && (entry->hash() != hash || entry->text() != text)) entry = entry->next;
    return entry;
  }

  /// The entry of that text, made by `make()` where there is none yet.
  template <class Make>
  Entry& findOrAdd(std::string_view text, std::uint64_t hash, Make&& make) {
    if (Entry* known = find(text, hash)) return *known;
    std::lock_guard guard(_mutex);
    if (Entry* known = find(text, hash)) return *known;
    std::atomic<Entry*>& list = _lists[static_cast<std::size_t>(hash) % _lists.size()];
    Entry* entry = make();
    entry->next = list.load(std::memory_order_relaxed);
    list.store(entry, std::memory_order_release);
    return *entry;
  }

 private:
  /// Programs have some thousand names.
  std::array<std::atomic<Entry*>, 4096> _lists{};
  std::mutex _mutex;
};

}  // namespace JNFoundation::impl
