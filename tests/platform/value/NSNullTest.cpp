#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

#include "platform/value/Raising.h"

#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/NSString.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

TEST(NSNull, IsOneObject) {
  EXPECT_EQ(NSNull::null(), NSNull::null());
  EXPECT_TRUE(NSNull::null());
  std::vector<NSNull*> found(8);
  std::vector<std::thread> threads;
  for (auto& own : found) threads.emplace_back([&own] { own = NSNull::null().get(); });
  for (auto& thread : threads) thread.join();
  for (const NSNull* own : found) EXPECT_EQ(own, NSNull::null().get());
}

TEST(NSNull, IsNotNull) {
  const Value marker = NSNull::null();
  EXPECT_FALSE(marker.isNull());
  EXPECT_TRUE(marker.isNSNull());
  EXPECT_NE(marker, Value());
  EXPECT_EQ(marker, Value(NSNull::null()));
  EXPECT_NE(marker, Value(0));
}

TEST(NSNull, DescribesItself) { EXPECT_EQ(NSNull::null()->description()->utf8(), "<null>"); }

TEST(NSNull, AnswersEveryKeyWithItself) {
  EXPECT_TRUE(NSNull::null()->valueForKey("anything").isNSNull());
  EXPECT_TRUE(NSNull::null()->valueForKey(nullptr).isNSNull());
  const std::string text = testing::raisedBy([] { NSNull::null()->setValueForKey(1, "key"); });
  EXPECT_EQ(text.rfind("NSUnknownKeyException: [<NSNull 0x", 0), 0u) << text;
}

TEST(NSNull, IsItsOwnCopy) {
  EXPECT_TRUE(NSNull::null()->copy().isNSNull());
  EXPECT_NE(testing::raisedBy([] { NSNull::null()->mutableCopy(); }), "");
}

TEST(NSNull, StandsInForNull) {
  EXPECT_TRUE(orNSNull(nullptr).isNSNull());
  EXPECT_EQ(orNSNull(5), Value(5));
  EXPECT_TRUE(orNSNull(NSNull::null()).isNSNull());
}

TEST(NSNull, IsReachedThroughItsClass) {
  EXPECT_TRUE(performSelector(*NSClassFromString("NSNull"), "null").isNSNull());
}

}  // namespace
}  // namespace JNFoundation
