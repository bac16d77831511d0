// Refused with: deleted
#include <JNFoundation/platform/value/NSArray.h>

JNFoundation::Ref<JNFoundation::NSArray> call();

void walk() {
  for (const JNFoundation::Value& value : *call()) static_cast<void>(value);
}
