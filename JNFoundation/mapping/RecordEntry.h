#pragma once

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>

namespace JNFoundation::inline v0_1 {

/// What a record says under a key: nothing, null, or something. The typed readers in
/// NSDictionary+Extensions.h treat the first two alike; where "leave it" and "clear it" differ,
/// this tells them apart.
///
///     const RecordEntry nickname = entryForKey(record, "nickname");
///     if (nickname.isNull()) forget();
///     if (nickname.isPresent()) remember(nickname.value);
struct RecordEntry {
  /// What stands under a key.
  enum class State {
    Missing,  ///< the record has no such key
    Null,     ///< the null marker stands there
    Present,  ///< a value that is neither
  };

  /// What stands under the key.
  State state = State::Missing;
  /// Null unless it is present.
  Value value;

  /// Whether the record has no such key.
  bool isMissing() const noexcept { return state == State::Missing; }
  /// Whether the null marker stands there.
  bool isNull() const noexcept { return state == State::Null; }
  /// Whether something stands there.
  bool isPresent() const noexcept { return state == State::Present; }
};

/// The key is looked up as it stands. Everything is missing in a null dictionary. Threads: any, for
/// dictionaries that nobody changes meanwhile.
RecordEntry entryForKey(const Ref<NSDictionary>& dictionary, const Value& key);

/// The entry under the last key, in the dictionaries under the keys before it: that of
/// `{"meta", "born"}` in `{"meta": {"born": null}}` is null. What is no dictionary, the null marker
/// included, has no keys, so everything is missing there. An empty or null path names nothing.
RecordEntry entryForPath(const Ref<NSDictionary>& dictionary, const Ref<NSArray>& path);

}  // namespace JNFoundation
