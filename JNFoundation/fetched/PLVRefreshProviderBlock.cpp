#include "JNFoundation/fetched/PLVRefreshProviderBlock.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace JNFoundation::inline v0_1 {

constinit const Class PLVRefreshProviderBlock::classObject =
    Class::of<PLVRefreshProviderBlock>("PLVRefreshProviderBlock");

namespace {

const ClassDeclaration<PLVRefreshProviderBlock> declarationOfPLVRefreshProviderBlock =
    ClassDeclaration<PLVRefreshProviderBlock>().factory().property(
        "provider", &PLVRefreshProviderBlock::provider, &PLVRefreshProviderBlock::setProvider);

}  // namespace

Ref<PLVRefreshProviderBlock> PLVRefreshProviderBlock::init() {
  return makeObject<PLVRefreshProviderBlock>();
}

}  // namespace JNFoundation
