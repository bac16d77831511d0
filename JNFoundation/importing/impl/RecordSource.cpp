#include "JNFoundation/importing/impl/RecordSource.h"

#include <JNFoundation/deferred/Rejected.h>
#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1::impl {

ListedRecords::ListedRecords(const Ref<NSArray>& records)
    : _records(records ? Ref<NSArray>(as<NSArray>(records->copy())) : NSArray::array()) {}

bool ListedRecords::next(Value& entry) {
  if (_next == _records->count()) return false;
  entry = _records->objectAtIndex(_next++);
  return true;
}

double ListedRecords::fraction() const noexcept {
  const NSUInteger count = _records->count();
  return count == 0 ? 1 : static_cast<double>(_next) / static_cast<double>(count);
}

WrittenRecords::WrittenRecords(const Ref<NSData>& json)
    : _json(json), _elements(json->view(), NSJSONReadingPlain) {}

bool WrittenRecords::next(Value& entry) {
  entry = _elements.next();
  if (!entry.isNull()) {
    ++_given;
    return true;
  }
  Ref<NSError> error;
  if (_elements.failed(&error)) throw Rejected(Value(error));
  _total = _given;
  return false;
}

double WrittenRecords::fraction() const noexcept {
  const std::size_t size = _json->view().size();
  return _total == _given ? 1 : static_cast<double>(_elements.offset()) / static_cast<double>(size);
}

}  // namespace JNFoundation::impl
