#include "JNFoundation/platform/store/impl/UnreadPlace.h"

#include <JNFoundation/platform/value/NSObject.h>
#include <JNFoundation/platform/value/Ref.h>

namespace JNFoundation::inline v0_1::impl {

const Value& unreadPlace() {
  class Mark final : public NSObject {};
  static const Value mark(makeObject<Mark>());
  return mark;
}

}  // namespace JNFoundation::impl
