#include "JNFoundation/platform/store/ValueArray.h"

#include <JNFoundation/platform/value/SharedMemory.h>

namespace JNFoundation::inline v0_1 {

ValueArray::ValueArray(std::size_t count)
    : _values(
          static_cast<Value*>(takeSharedMemory(count * sizeof(Value), SharedMemoryUse::Contents))) {
  for (std::size_t i = 0; i < count; ++i) new (_values + i) Value();
}

void ValueArray::release(Value* values) noexcept {
  Value* end = values + sizeOfSharedMemory(values) / sizeof(Value);
  for (Value* value = values; value != end; ++value) value->~Value();
  giveBackSharedMemory(values);
}

}  // namespace JNFoundation
