#pragma once

#include <list>
#include <span>
#include <vector>

#include <JNFoundation/platform/store/impl/ObjectAccess.h>
#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1::impl {

/// A record that a fetch has found, not read.
struct FoundRecord {
  const StoreHierarchy* hierarchy = nullptr;
  const NSEntityDescription* entity = nullptr;
  std::int64_t number = 0;
  std::uint32_t version = 0;
  /// Set for one that is no record yet.
  Ref<NSManagedObject> unsaved = {};

  Ref<NSManagedObjectID> objectID() const;
};

/// Makes what an array holds of the records that it knows.
class BatchReader {
 public:
  virtual ~BatchReader() = default;
  /// Stops the process on a wrong thread, where that is noticed.
  virtual void requireThread() const noexcept = 0;
  /// One element for each record, in their order. What else is to live as long as the batch may
  /// follow them. Fails: raises NSObjectInaccessibleException when a store cannot be read.
  virtual std::vector<Value> read(std::span<const FoundRecord> records) = 0;
};

/// The result of a fetch that reads a batch when one of its elements is first asked for. The
/// batches that were used last stay; others are read again. Threads: those of its context.
class BatchArray final : public NSArray {
 public:
  BatchArray(std::vector<FoundRecord> records, NSUInteger batchSize,
             std::unique_ptr<BatchReader> reader);
  ~BatchArray() override;

 protected:
  NSUInteger foreignCount() const override { return _records.size(); }
  Value foreignObjectAtIndex(NSUInteger index) const override;

 private:
  struct Batch {
    NSUInteger number;
    std::vector<Value> elements;
  };

  /// How many batches stay.
  static constexpr std::size_t keptCount = 4;

  const std::vector<FoundRecord> _records;
  const NSUInteger _batchSize;
  const std::unique_ptr<BatchReader> _reader;
  /// The one that was used last is the first.
  mutable std::list<Batch> _batches;
};

/// An array that keeps further objects alive: those that were read along with its own.
class AccompaniedArray final : public NSArray {
 public:
  AccompaniedArray(std::vector<Value> elements, std::vector<Ref<NSManagedObject>> companions);
  ~AccompaniedArray() override;

 private:
  std::vector<Ref<NSManagedObject>> _companions;
};

}  // namespace JNFoundation::impl
