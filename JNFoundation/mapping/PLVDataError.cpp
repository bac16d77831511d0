#include "JNFoundation/mapping/PLVDataError.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVDataError::classObject = Class::of<PLVDataError>("PLVDataError");

namespace {

const ClassDeclaration<PLVDataError> declarationOfPLVDataError = ClassDeclaration<PLVDataError>();

}  // namespace

Ref<PLVDataError> PLVDataError::errorWithDomainCodeUserInfo(const Ref<NSString>& domain,
                                                            NSInteger code,
                                                            const Ref<NSDictionary>& userInfo) {
  return makeObject<PLVDataError>(domain, code, userInfo);
}

}  // namespace JNFoundation
