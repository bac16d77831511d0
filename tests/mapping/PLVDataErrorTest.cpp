#include <gtest/gtest.h>

#include <JNFoundation/mapping/PLVDataError.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

TEST(PLVDataError, TheDomainIsNamedAsItIsSpelled) {
  EXPECT_STREQ(PLVDataErrorDomain, "PLVDataErrorDomain");
}

TEST(PLVDataError, AnErrorIsOfItsOwnClassAndOfTheBase) {
  const Ref<PLVDataError> error =
      PLVDataError::errorWithDomainCodeUserInfo(PLVDataErrorDomain, 1066150, nullptr);
  EXPECT_EQ(&error->class_(), &PLVDataError::classObject);
  EXPECT_TRUE(isKindOf<PLVDataError>(*error));
  EXPECT_TRUE(isKindOf<NSError>(*error));
  EXPECT_EQ(Value(error->domain()), "PLVDataErrorDomain");
  EXPECT_EQ(error->code(), 1066150);
}

TEST(PLVDataError, AnErrorOfTheBaseIsNone) {
  const auto error = NSError::errorWithDomainCodeUserInfo(PLVDataErrorDomain, 1, nullptr);
  EXPECT_FALSE(isKindOf<PLVDataError>(*error));
}

TEST(PLVDataError, AnErrorEqualsOneOfTheBaseWithTheSameContent) {
  const auto info = NSDictionary::dictionaryWithObjectForKey("why", NSLocalizedDescriptionKey);
  const Value error(PLVDataError::errorWithDomainCodeUserInfo(PLVDataErrorDomain, 2, info));
  EXPECT_EQ(error, Value(NSError::errorWithDomainCodeUserInfo(PLVDataErrorDomain, 2, info)));
  EXPECT_NE(error, Value(PLVDataError::errorWithDomainCodeUserInfo(PLVDataErrorDomain, 3, info)));
  EXPECT_EQ(as<NSError>(error)->localizedDescription()->utf8(), "why");
}

TEST(PLVDataError, TheClassIsFoundByItsName) {
  EXPECT_EQ(NSClassFromString("PLVDataError"), &PLVDataError::classObject);
}

class SyncError : public Subclass<SyncError, PLVDataError> {
 protected:
  using Subclass::Subclass;
};

TEST(PLVDataError, ASubclassMakesErrorsOfItself) {
  const Ref<SyncError> error = SyncError::errorWithDomainCodeUserInfo("Sync", 1, nullptr);
  EXPECT_TRUE(isKindOf<SyncError>(*error));
  EXPECT_TRUE(isKindOf<PLVDataError>(*error));
}

}  // namespace
}  // namespace JNFoundation
