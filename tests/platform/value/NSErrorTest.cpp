#include <gtest/gtest.h>
#include <string>

#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSDictionary.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

using Details = std::vector<NSDictionary::Pair>;

Ref<NSError> errorOf(const char* domain, NSInteger code, Details details = {}) {
  return NSError::errorWithDomainCodeUserInfo(
      domain, code, NSDictionary::dictionaryWithEntries(std::move(details)));
}

std::string sentenceOf(const Ref<NSError>& error) {
  return error->localizedDescription()->toStdString();
}

/// Answers for a domain while it lives.
struct Provided {
  Provided(const char* domain, NSError::UserInfoValueProvider provider) : domain(domain) {
    NSError::setUserInfoValueProviderForDomainProvider(domain, std::move(provider));
  }
  ~Provided() { NSError::setUserInfoValueProviderForDomainProvider(domain, nullptr); }
  const char* domain;
};

class UploadError : public Subclass<UploadError, NSError> {
 protected:
  using Subclass::Subclass;
};

TEST(NSError, ANullDomainRaisesAndNullDetailsAreEmpty) {
  EXPECT_EQ(testing::raisedName([] { NSError::errorWithDomainCodeUserInfo(nullptr, 1, nullptr); }),
            NSInvalidArgumentException);
  const Ref<NSError> error = NSError::errorWithDomainCodeUserInfo("Upload", -7, nullptr);
  EXPECT_EQ(error->domain()->utf8(), "Upload");
  EXPECT_EQ(error->code(), -7);
  EXPECT_EQ(error->userInfo()->count(), 0u);
}

TEST(NSError, DetailsAreCopied) {
  const Ref<NSMutableDictionary> details = NSMutableDictionary::dictionary();
  const Ref<NSError> error = NSError::errorWithDomainCodeUserInfo("Upload", 1, details);
  details->setObjectForKey("late", NSLocalizedDescriptionKey);
  EXPECT_EQ(error->userInfo()->count(), 0u);
}

TEST(NSError, DescriptionInTheDetailsWins) {
  EXPECT_EQ(sentenceOf(errorOf("Upload", 3,
                               {{NSLocalizedDescriptionKey, "Too large."},
                                {NSLocalizedFailureErrorKey, "Upload failed."},
                                {NSLocalizedFailureReasonErrorKey, "Why."}})),
            "Too large.");
}

TEST(NSError, FailureIsFollowedByItsReason) {
  EXPECT_EQ(sentenceOf(errorOf("Upload", 3,
                               {{NSLocalizedFailureErrorKey, "Upload failed."},
                                {NSLocalizedFailureReasonErrorKey, "No network."}})),
            "Upload failed. No network.");
  EXPECT_EQ(sentenceOf(errorOf("Upload", 3, {{NSLocalizedFailureErrorKey, "Upload failed."}})),
            "Upload failed.");
}

TEST(NSError, WithoutTextTheSentenceIsGeneric) {
  EXPECT_EQ(sentenceOf(errorOf("Upload", 3, {{NSLocalizedFailureReasonErrorKey, "No network."}})),
            "The operation couldn’t be completed. No network.");
  EXPECT_EQ(sentenceOf(errorOf("Upload", 3)),
            "The operation couldn’t be completed. (Upload error 3.)");
  EXPECT_EQ(sentenceOf(errorOf(NSCocoaErrorDomain, 133020)),
            "The operation couldn’t be completed. (Cocoa error 133020.)");
}

TEST(NSError, DetailsOfAnotherClassAreNoText) {
  EXPECT_EQ(sentenceOf(errorOf("Upload", 3, {{NSLocalizedDescriptionKey, 7}})),
            "The operation couldn’t be completed. (Upload error 3.)");
}

TEST(NSError, ProviderOfTheDomainComesAfterTheDetails) {
  {
    const Provided provided("Provided", [](const NSError& error, const Ref<NSString>& key) {
      if (key->utf8() == NSLocalizedDescriptionKey && error.code() == 1) return Value("Known.");
      if (key->utf8() == NSLocalizedFailureReasonErrorKey) return Value("Reason.");
      return Value();
    });
    EXPECT_EQ(sentenceOf(errorOf("Provided", 1)), "Known.");
    EXPECT_EQ(sentenceOf(errorOf("Provided", 2)), "The operation couldn’t be completed. Reason.");
    EXPECT_EQ(sentenceOf(errorOf("Provided", 1, {{NSLocalizedDescriptionKey, "Own."}})), "Own.");
    EXPECT_EQ(sentenceOf(errorOf("Provided", 1, {{NSLocalizedFailureErrorKey, "Failed."}})),
              "Failed. Reason.");
    EXPECT_EQ(sentenceOf(errorOf("Other", 1)),
              "The operation couldn’t be completed. (Other error 1.)");
  }
  EXPECT_EQ(sentenceOf(errorOf("Provided", 1)),
            "The operation couldn’t be completed. (Provided error 1.)");
}

TEST(NSError, DescriptionShowsDomainCodeAndDetails) {
  EXPECT_EQ(errorOf("Upload", 3)->description()->utf8(), "Error Domain=Upload Code=3 \"(null)\"");
  EXPECT_EQ(errorOf(NSCocoaErrorDomain, 134060,
                    {{NSLocalizedDescriptionKey, "A sentence."}, {"reason", "why"}})
                ->description()
                ->utf8(),
            "Error Domain=NSCocoaErrorDomain Code=134060 \"A sentence.\" "
            "UserInfo={NSLocalizedDescription=A sentence., reason=why}");
  const Ref<NSError> cause = errorOf("Disk", 28);
  const std::string text =
      errorOf("Upload", 3, {{NSUnderlyingErrorKey, cause}})->description()->toStdString();
  EXPECT_NE(text.find("UserInfo={NSUnderlyingError=0x"), std::string::npos) << text;
  EXPECT_NE(text.find(" {Error Domain=Disk Code=28 \"(null)\"}}"), std::string::npos) << text;
}

TEST(NSError, UnderlyingErrorIsFound) {
  const Ref<NSError> cause = errorOf("Disk", 28);
  EXPECT_EQ(errorOf("Upload", 3, {{NSUnderlyingErrorKey, cause}})->underlyingError(), cause);
  EXPECT_EQ(errorOf("Upload", 3)->underlyingError(), nullptr);
  EXPECT_EQ(errorOf("Upload", 3, {{NSUnderlyingErrorKey, "text"}})->underlyingError(), nullptr);
}

TEST(NSError, EqualityIsDomainCodeAndDetails) {
  const Ref<NSError> error = errorOf("Upload", 3, {{"a", 1}, {"b", 2}});
  const Ref<NSError> same = errorOf("Upload", 3, {{"b", 2.0}, {"a", 1}});
  EXPECT_EQ(Value(error), Value(same));
  EXPECT_EQ(error->hash(), same->hash());
  EXPECT_NE(Value(error), Value(errorOf("Upload", 4, {{"a", 1}, {"b", 2}})));
  EXPECT_NE(Value(error), Value(errorOf("upload", 3, {{"a", 1}, {"b", 2}})));
  EXPECT_NE(Value(error), Value(errorOf("Upload", 3, {{"a", 1}})));
  EXPECT_NE(Value(error), Value(errorOf("Upload", 3, {{"a", 1}, {"c", 2}})));
  EXPECT_NE(Value(error), Value("Upload"));
}

TEST(NSError, LongChainsOfUnderlyingErrorsNeedNoStack) {
  const auto chain = [](NSInteger innermost) {
    Ref<NSError> error = errorOf("Link", innermost);
    for (int i = 0; i < 100'000; ++i) error = errorOf("Link", 1, {{NSUnderlyingErrorKey, error}});
    return error;
  };
  const Ref<NSError> error = chain(0);
  EXPECT_EQ(Value(error), Value(chain(0)));
  EXPECT_NE(Value(error), Value(chain(2)));
  const std::string text = error->description()->toStdString();
  EXPECT_LT(text.size(), 10'000u);
  EXPECT_NE(text.find("UserInfo={...}"), std::string::npos);
}

TEST(NSError, SubclassesMakeInstancesOfThemselves) {
  const Ref<UploadError> error = UploadError::errorWithDomainCodeUserInfo("Upload", 3, nullptr);
  EXPECT_EQ(error->class_().name(), "UploadError");
  EXPECT_TRUE(isKindOf<NSError>(Value(error)));
  EXPECT_EQ(Value(errorOf("Upload", 3)), Value(error));
}

}  // namespace
}  // namespace JNFoundation
