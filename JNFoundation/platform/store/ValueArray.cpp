#include "JNFoundation/platform/store/ValueArray.h"

#include <JNFoundation/platform/store/impl/SharedMemory.h>

namespace JNFoundation::inline v0_1 {

ValueArray::ValueArray(std::size_t count)
    : _values(static_cast<Value*>(impl::takeSharedMemory(count * sizeof(Value)))) {
  for (std::size_t i = 0; i < count; ++i) new (_values + i) Value();
}

void ValueArray::release(Value* values) noexcept {
  for (std::size_t i = impl::sizeOfSharedMemory(values) / sizeof(Value); i-- > 0;) {
    values[i].~Value();
  }
  impl::giveBackSharedMemory(values);
}

}  // namespace JNFoundation
