#pragma once

#include <JNFoundation/platform/json/JSONElements.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSData.h>

namespace JNFoundation::inline v0_1::impl {

/// Where an import has its records from, one after the other. Threads: one at a time.
class RecordSource {
 public:
  virtual ~RecordSource() = default;

  /// Gives the next entry, which may be no record. Returns: false at the end. Fails: throws a
  /// Rejected for a text that is no list.
  virtual bool next(Value& entry) = 0;
  /// How many entries there are; NSNotFound until that is known.
  virtual NSUInteger total() const noexcept = 0;
  /// How much of them was given, from 0 to 1.
  virtual double fraction() const noexcept = 0;

 protected:
  RecordSource() = default;
  RecordSource(const RecordSource&) = default;
  RecordSource& operator=(const RecordSource&) = default;
};

/// The records of a list. Takes: the list, copied; null for an empty one.
class ListedRecords final : public RecordSource {
 public:
  explicit ListedRecords(const Ref<NSArray>& records);

  bool next(Value& entry) override;
  NSUInteger total() const noexcept override { return _records->count(); }
  double fraction() const noexcept override;

 private:
  Ref<NSArray> _records;
  NSUInteger _next = 0;
};

/// The records of a JSON text, each read when it is wanted.
class WrittenRecords final : public RecordSource {
 public:
  explicit WrittenRecords(const Ref<NSData>& json);

  bool next(Value& entry) override;
  NSUInteger total() const noexcept override { return _total; }
  double fraction() const noexcept override;

 private:
  Ref<NSData> _json;
  JSONElements _elements;
  NSUInteger _given = 0;
  NSUInteger _total = static_cast<NSUInteger>(NSNotFound);
};

}  // namespace JNFoundation::impl
