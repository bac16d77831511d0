#include "JNFoundation/platform/store/impl/StoreErrors.h"

#include <JNFoundation/platform/value/NSArray.h>

namespace JNFoundation::inline v0_1::impl {

Ref<NSError> cocoaError(NSInteger code, const Ref<NSString>& sentence,
                        std::vector<NSDictionary::Pair> details) {
  std::vector<NSDictionary::Pair> entries{{NSLocalizedDescriptionKey, sentence}};
  for (NSDictionary::Pair& detail : details) {
    if (!detail.value.isNull()) entries.push_back(std::move(detail));
  }
  return NSError::errorWithDomainCodeUserInfo(
      NSCocoaErrorDomain, code, NSDictionary::dictionaryWithEntries(std::move(entries)));
}

Ref<NSError> joinedErrors(const std::vector<Ref<NSError>>& errors) {
  if (errors.size() == 1) return errors.front();
  std::vector<Value> list(errors.begin(), errors.end());
  return cocoaError(NSValidationMultipleErrorsError, "Multiple validation errors occurred.",
                    {{NSDetailedErrorsKey, NSArray::arrayWithValues(std::move(list))}});
}

void appendErrors(const Ref<NSError>& error, std::vector<Ref<NSError>>& errors) {
  const Value details = error->code() == NSValidationMultipleErrorsError
                            ? error->userInfo()->objectForKey(NSDetailedErrorsKey)
                            : Value();
  const auto* list = as<NSArray>(details);
  if (!list) {
    errors.push_back(error);
    return;
  }
  for (const Value& value : *list) {
    if (auto* detail = as<NSError>(value)) errors.emplace_back(detail);
  }
}

Ref<NSError> errorFromInaccessibleObject(const Raised& raised) {
  const Ref<NSException>& exception = raised.exception();
  if (exception->name()->utf8() != NSObjectInaccessibleException) return nullptr;
  return cocoaError(NSManagedObjectReferentialIntegrityError, exception->reason());
}

}  // namespace JNFoundation::impl
