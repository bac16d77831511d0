#include "JNFoundation/platform/store/ValidationOperation.h"

#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1::impl {

constinit const Class ValueBox::classObject = Class::of<ValueBox>("ValueBox");

ValueBox::ValueBox(Value value) : value(std::move(value)) {}
ValueBox::~ValueBox() = default;

void putError(const Ref<ValueBox>& box, const Ref<NSError>& error) {
  if (box && error) box->value = error;
}

}  // namespace JNFoundation::impl
