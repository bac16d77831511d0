#include "JNFoundation/platform/store/NSAttributeType+Name.h"

#include <JNFoundation/platform/store/impl/ModelText.h>

namespace JNFoundation::inline v0_1 {

std::string_view nameOfAttributeType(NSAttributeType type) noexcept {
  const std::string_view name = impl::writtenNameOfType(type);
  return name.empty() ? "Undefined" : name;
}

}  // namespace JNFoundation
