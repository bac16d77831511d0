#include "JNFoundation/platform/store/impl/BatchArray.h"

#include <algorithm>

namespace JNFoundation::inline v0_1::impl {

Ref<NSManagedObjectID> FoundRecord::objectID() const {
  if (unsaved) return unsaved->objectID();
  return ObjectAccess::makeID(Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(entity)),
                              number, hierarchy->store);
}

BatchArray::BatchArray(std::vector<FoundRecord> records, NSUInteger batchSize,
                       std::unique_ptr<BatchReader> reader)
    : NSArray(Representation::Foreign),
      _records(std::move(records)),
      _batchSize(batchSize),
      _reader(std::move(reader)) {}

BatchArray::~BatchArray() = default;

Value BatchArray::foreignObjectAtIndex(NSUInteger index) const {
  _reader->requireThread();
  const NSUInteger number = index / _batchSize;
  const auto known = std::find_if(_batches.begin(), _batches.end(),
                                  [&](const Batch& batch) { return batch.number == number; });
  if (known != _batches.end()) {
    _batches.splice(_batches.begin(), _batches, known);
    return _batches.front().elements[index % _batchSize];
  }
  const NSUInteger first = number * _batchSize;
  const NSUInteger count = std::min(_batchSize, _records.size() - first);
  // Reading may call code that reads this array again.
  std::vector<Value> elements = _reader->read(std::span(_records).subspan(first, count));
  Value element = elements[index % _batchSize];
  std::list<Batch> released;
  _batches.push_front({number, std::move(elements)});
  if (_batches.size() > keptCount) released.splice(released.begin(), _batches, --_batches.end());
  return element;
}

AccompaniedArray::AccompaniedArray(std::vector<Value> elements,
                                   std::vector<Ref<NSManagedObject>> companions)
    : NSArray(std::move(elements)), _companions(std::move(companions)) {}

AccompaniedArray::~AccompaniedArray() = default;

}  // namespace JNFoundation::impl
