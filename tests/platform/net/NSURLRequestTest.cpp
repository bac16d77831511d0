#include <cmath>
#include <gtest/gtest.h>
#include <string>
#include <vector>

#include "platform/text/Randomness.h"
#include "platform/value/LiveObjects.h"
#include "platform/value/Raising.h"

#include <JNFoundation/platform/net/NSURLError.h>
#include <JNFoundation/platform/net/NSURLRequest.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSError.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/Runtime.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {
namespace {

using testing::LiveObjects;
using testing::raisedName;

Ref<NSURL> address() { return NSURL::URLWithString("http://example.com/feed"); }
Ref<NSMutableURLRequest> request() { return NSMutableURLRequest::requestWithURL(address()); }

/// "Name=value" of every field, in order.
std::vector<std::string> fieldsOf(const Ref<NSURLRequest>& request) {
  std::vector<std::string> fields;
  for (const auto& [name, value] : request->allHTTPHeaderFields()) {
    fields.push_back(name.description()->toStdString() + "=" + value.description()->toStdString());
  }
  return fields;
}
using Fields = std::vector<std::string>;

TEST(NSURLRequest, ANewRequestGetsWhatTheAddressHasWithinAMinute) {
  const auto plain = NSURLRequest::requestWithURL(address());
  EXPECT_EQ(Value(plain->URL()), Value(address()));
  EXPECT_EQ(Value(plain->HTTPMethod()), "GET");
  EXPECT_EQ(plain->timeoutInterval(), 60);
  EXPECT_EQ(plain->cachePolicy(), NSURLRequestUseProtocolCachePolicy);
  EXPECT_TRUE(plain->allowsCellularAccess());
  EXPECT_TRUE(plain->HTTPShouldHandleCookies());
  EXPECT_FALSE(plain->HTTPBody());
  EXPECT_EQ(plain->allHTTPHeaderFields()->count(), 0u);
  EXPECT_FALSE(plain->valueForHTTPHeaderField("Accept"));
}

TEST(NSURLRequest, PolicyAndTimeOutMayBeGivenAtOnce) {
  const auto plain = NSURLRequest::initWithURLCachePolicyTimeoutInterval(
      address(), NSURLRequestReturnCacheDataElseLoad, 2.5);
  EXPECT_EQ(plain->cachePolicy(), NSURLRequestReturnCacheDataElseLoad);
  EXPECT_EQ(plain->timeoutInterval(), 2.5);
  EXPECT_EQ(Value(plain->HTTPMethod()), "GET");
  const auto changeable = NSMutableURLRequest::initWithURLCachePolicyTimeoutInterval(
      address(), NSURLRequestReloadIgnoringCacheData, 7);
  EXPECT_EQ(changeable->cachePolicy(), 1u);
  EXPECT_EQ(changeable->timeoutInterval(), 7);
}

TEST(NSURLRequest, ThePoliciesHaveThePlatformsNumbers) {
  EXPECT_EQ(NSURLRequestReloadIgnoringLocalCacheData, 1u);
  EXPECT_EQ(NSURLRequestReturnCacheDataDontLoad, 3u);
  EXPECT_EQ(NSURLRequestReloadIgnoringLocalAndRemoteCacheData, 4u);
  EXPECT_EQ(NSURLRequestReloadRevalidatingCacheData, 5u);
}

TEST(NSURLRequest, EverythingOfAMutableOneCanBeSet) {
  const auto changed = request();
  changed->setURL(NSURL::URLWithString("http://other/"));
  changed->setCachePolicy(NSURLRequestReturnCacheDataDontLoad);
  changed->setTimeoutInterval(0.5);
  changed->setAllowsCellularAccess(false);
  changed->setHTTPShouldHandleCookies(false);
  changed->setHTTPBody(NSData::dataWithText("body"));
  EXPECT_EQ(Value(changed->URL()->host()), "other");
  EXPECT_EQ(changed->cachePolicy(), NSURLRequestReturnCacheDataDontLoad);
  EXPECT_EQ(changed->timeoutInterval(), 0.5);
  EXPECT_FALSE(changed->allowsCellularAccess());
  EXPECT_FALSE(changed->HTTPShouldHandleCookies());
  EXPECT_EQ(changed->HTTPBody()->view(), "body");
  changed->setURL(nullptr);
  changed->setHTTPBody(nullptr);
  EXPECT_FALSE(changed->URL());
  EXPECT_FALSE(changed->HTTPBody());
}

TEST(NSURLRequest, AMethodOfHTTPIsWrittenInUpperCaseAndAnyOtherAsItIs) {
  const auto changed = request();
  for (const auto& [given, kept] : {std::pair("post", "POST"),
                                    {"Put", "PUT"},
                                    {"dElEtE", "DELETE"},
                                    {"patch", "PATCH"},
                                    {"Purge", "Purge"},
                                    {"gets", "gets"},
                                    {"", ""}}) {
    changed->setHTTPMethod(given);
    EXPECT_EQ(Value(changed->HTTPMethod()), kept);
  }
}

TEST(NSURLRequest, ANullMethodLeavesTheRequestWithoutOne) {
  const auto changed = request();
  changed->setHTTPMethod(nullptr);
  EXPECT_FALSE(changed->HTTPMethod());
  EXPECT_FALSE(as<NSURLRequest>(changed->copy())->HTTPMethod());
}

TEST(NSURLRequest, NamesOfHeaderFieldsAreEqualInAnyCase) {
  const auto changed = request();
  changed->setValueForHTTPHeaderField("text/plain", "Content-Type");
  EXPECT_EQ(Value(changed->valueForHTTPHeaderField("content-TYPE")), "text/plain");
  changed->setValueForHTTPHeaderField("*/*", "Accept");
  changed->setValueForHTTPHeaderField("text/html", "CONTENT-TYPE");
  EXPECT_EQ(fieldsOf(changed), (Fields{"Content-Type=text/html", "Accept=*/*"}))
      << "the place and the spelling of the first time stay";
}

TEST(NSURLRequest, ANullValueTakesTheFieldAway) {
  const auto changed = request();
  changed->setValueForHTTPHeaderField("1", "A");
  changed->setValueForHTTPHeaderField("2", "B");
  changed->setValueForHTTPHeaderField(nullptr, "a");
  changed->setValueForHTTPHeaderField(nullptr, "unknown");
  EXPECT_EQ(fieldsOf(changed), Fields{"B=2"});
  changed->setValueForHTTPHeaderField("3", "a");
  EXPECT_EQ(fieldsOf(changed), (Fields{"B=2", "a=3"}));
}

TEST(NSURLRequest, AValueThatIsAddedStandsBehindAComma) {
  const auto changed = request();
  changed->addValueForHTTPHeaderField("gzip", "Accept-Encoding");
  changed->addValueForHTTPHeaderField("br", "accept-encoding");
  changed->addValueForHTTPHeaderField(nullptr, "Accept-Encoding");
  changed->addValueForHTTPHeaderField(nullptr, "Other");
  EXPECT_EQ(fieldsOf(changed), Fields{"Accept-Encoding=gzip,br"});
}

TEST(NSURLRequest, AllFieldsAreReplacedAtOnce) {
  const auto changed = request();
  changed->setValueForHTTPHeaderField("old", "Old");
  changed->setAllHTTPHeaderFields(NSDictionary::dictionaryWithEntries(
      {{"A", "1"}, {"B", 2}, {3, "C"}, {"D", NSNull::null()}, {"a", "4"}, {"E", "5"}}));
  EXPECT_EQ(fieldsOf(changed), (Fields{"A=4", "E=5"})) << "what is not text to text is passed over";
  changed->setAllHTTPHeaderFields(changed->allHTTPHeaderFields());
  EXPECT_EQ(fieldsOf(changed), (Fields{"A=4", "E=5"}));
  changed->setAllHTTPHeaderFields(nullptr);
  EXPECT_EQ(fieldsOf(changed), Fields{});
}

TEST(NSURLRequest, ANullFieldIsRefusedAndReadAsMissing) {
  const auto changed = request();
  EXPECT_EQ(raisedName([&] { changed->setValueForHTTPHeaderField("1", nullptr); }),
            "NSInvalidArgumentException");
  EXPECT_EQ(raisedName([&] { changed->addValueForHTTPHeaderField("1", nullptr); }),
            "NSInvalidArgumentException");
  EXPECT_FALSE(changed->valueForHTTPHeaderField(nullptr));
  EXPECT_EQ(fieldsOf(changed), Fields{});
}

TEST(NSURLRequest, FieldsThatWereReadStayAsTheyWere) {
  const auto changed = request();
  changed->setValueForHTTPHeaderField("1", "A");
  const Ref<NSDictionary> before = changed->allHTTPHeaderFields();
  changed->setValueForHTTPHeaderField("2", "A");
  EXPECT_EQ(before->objectForKey("A"), "1");
}

TEST(NSURLRequest, ABodyThatCanBeChangedIsCopied) {
  const auto changed = request();
  const auto data = NSMutableData::dataWithData(NSData::dataWithText("before"));
  changed->setHTTPBody(data);
  data->appendBytesLength("!", 1);
  EXPECT_EQ(changed->HTTPBody()->view(), "before");
}

TEST(NSURLRequest, ACopyIsNotTouchedByLaterChanges) {
  const auto changed = request();
  changed->setHTTPMethod("post");
  changed->setValueForHTTPHeaderField("1", "A");
  const Ref<NSURLRequest> copy = as<NSURLRequest>(changed->copy());
  const Ref<NSMutableURLRequest> other = as<NSMutableURLRequest>(copy->mutableCopy());
  ASSERT_TRUE(copy && other);
  EXPECT_FALSE(isKindOf<NSMutableURLRequest>(*copy));
  EXPECT_EQ(Value(copy), Value(changed));
  changed->setValueForHTTPHeaderField("2", "a");
  changed->setHTTPMethod("PUT");
  other->setValueForHTTPHeaderField("3", "B");
  EXPECT_EQ(fieldsOf(copy), Fields{"A=1"});
  EXPECT_EQ(Value(copy->HTTPMethod()), "POST");
  EXPECT_EQ(fieldsOf(other), (Fields{"A=1", "B=3"}));
  EXPECT_EQ(fieldsOf(changed), Fields{"A=2"});
  EXPECT_TRUE(copy->copy().isIdentical(Value(copy))) << "what cannot change is its own copy";
}

TEST(NSURLRequest, RequestsAreEqualWhenEverythingAboutThemIs) {
  const auto one = request(), other = request();
  one->setValueForHTTPHeaderField("1", "A");
  one->setValueForHTTPHeaderField("2", "B");
  other->setValueForHTTPHeaderField("2", "b");
  other->setValueForHTTPHeaderField("1", "a");
  EXPECT_EQ(Value(one), Value(other)) << "the order of fields and the case of names do not count";
  EXPECT_EQ(one->hash(), other->hash());
  const auto differs = [&](auto change) {
    const Ref<NSMutableURLRequest> changed = as<NSMutableURLRequest>(one->mutableCopy());
    change(*changed);
    return Value(changed) != Value(one) && Value(one) != Value(changed);
  };
  EXPECT_TRUE(differs([](auto& r) { r.setURL(nullptr); }));
  EXPECT_TRUE(differs([](auto& r) { r.setHTTPMethod(nullptr); }));
  EXPECT_TRUE(differs([](auto& r) { r.setHTTPBody(NSData::data()); }));
  EXPECT_TRUE(differs([](auto& r) { r.setTimeoutInterval(1); }));
  EXPECT_TRUE(differs([](auto& r) { r.setCachePolicy(NSURLRequestReturnCacheDataDontLoad); }));
  EXPECT_TRUE(differs([](auto& r) { r.setAllowsCellularAccess(false); }));
  EXPECT_TRUE(differs([](auto& r) { r.setHTTPShouldHandleCookies(false); }));
  EXPECT_TRUE(differs([](auto& r) { r.setValueForHTTPHeaderField("9", "A"); }));
  EXPECT_TRUE(differs([](auto& r) { r.setValueForHTTPHeaderField("9", "C"); }));
  EXPECT_NE(Value(one), Value(address()));
}

TEST(NSURLRequest, TheRuntimeReadsAndWritesIt) {
  const auto changed = request();
  changed->setValueForKey("put", "HTTPMethod");
  changed->setValueForKey(9, "timeoutInterval");
  EXPECT_EQ(changed->valueForKey("HTTPMethod"), "PUT");
  EXPECT_EQ(changed->timeoutInterval(), 9);
  performSelector(changed, "setValue:forHTTPHeaderField:", "1", "A");
  EXPECT_EQ(performSelector(changed, "valueForHTTPHeaderField:", "a"), "1");
  EXPECT_EQ(changed->valueForKey("URL"), Value(address()));
  EXPECT_EQ(raisedName([] {
              NSURLRequest::requestWithURL(address())->setValueForKey("PUT", "HTTPMethod");
            }),
            "NSUnknownKeyException");
}

TEST(NSURLRequest, ItsTextNamesClassAndAddress) {
  const std::string text = request()->description()->toStdString();
  EXPECT_EQ(text.find("<NSMutableURLRequest: 0x"), 0u);
  EXPECT_NE(text.find("> { URL: http://example.com/feed }"), std::string::npos);
  EXPECT_NE(NSURLRequest::requestWithURL(nullptr)->description()->utf8().find("{ URL: (null) }"),
            std::string_view::npos);
}

class Signed : public Subclass<Signed, NSMutableURLRequest> {
 public:
  static Ref<Signed> signedRequest() { return makeObject<Signed>(); }

 protected:
  using Subclass::Subclass;
};

TEST(NSURLRequest, AnApplicationMayDeriveFromIt) {
  const LiveObjects objects;
  {
    const Ref<Signed> own = Signed::signedRequest();
    own->setValueForHTTPHeaderField("1", "A");
    EXPECT_EQ(fieldsOf(own), Fields{"A=1"});
  }
  EXPECT_EQ(objects.count(), 0);
}

TEST(NSURLRequest, ManyFieldsAreFoundAsQuicklyAsFew) {
  const auto changed = request();
  const int many = testing::amount(100000);
  for (int i = 0; i < many; ++i) {
    changed->setValueForHTTPHeaderField("v", NSString::stringWithFormat("X-%d", i));
  }
  EXPECT_EQ(Value(changed->valueForHTTPHeaderField(NSString::stringWithFormat("x-%d", many - 1))),
            "v");
  EXPECT_EQ(changed->allHTTPHeaderFields()->count(), static_cast<NSUInteger>(many));
}

TEST(NSURLError, DomainAndCodesAreThePlatforms) {
  EXPECT_STREQ(NSURLErrorDomain, "NSURLErrorDomain");
  EXPECT_EQ(NSURLErrorNotConnectedToInternet, -1009);
  EXPECT_EQ(NSURLErrorTimedOut, -1001);
  EXPECT_EQ(NSURLErrorNetworkConnectionLost, -1005);
  EXPECT_EQ(NSURLErrorFileDoesNotExist, -1100);
  EXPECT_EQ(NSURLErrorClientCertificateRequired, -1206);
  const auto error = NSError::errorWithDomainCodeUserInfo(
      NSURLErrorDomain, NSURLErrorCannotFindHost,
      NSDictionary::dictionaryWithObjectForKey(address(), NSURLErrorFailingURLErrorKey));
  EXPECT_EQ(error->userInfo()->objectForKey("NSErrorFailingURLKey"), Value(address()));
}

}  // namespace
}  // namespace JNFoundation
