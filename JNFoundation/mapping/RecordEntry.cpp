#include "JNFoundation/mapping/RecordEntry.h"

#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation::inline v0_1 {

RecordEntry entryForKey(const Ref<NSDictionary>& dictionary, const Value& key) {
  Value value = dictionary ? dictionary->objectForKey(key) : Value();
  if (value.isNull()) return {};
  if (value.isEqual(Value(NSNull::null()))) return {RecordEntry::State::Null, nullptr};
  return {RecordEntry::State::Present, std::move(value)};
}

RecordEntry entryForPath(const Ref<NSDictionary>& dictionary, const Ref<NSArray>& path) {
  RecordEntry entry;
  if (!path) return entry;
  Ref<NSDictionary> level = dictionary;
  for (const Value& key : *path) {
    entry = entryForKey(level, key);
    level = as<NSDictionary>(Value(entry.value));
  }
  return entry;
}

}  // namespace JNFoundation
