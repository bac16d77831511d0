#include <cstdint>
#include <gtest/gtest.h>

#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/util/NSArray+PLVExtensions.h>

namespace JNFoundation {
namespace {

TEST(FirstObject, IsElementZero) {
  EXPECT_EQ(plv_firstObject(NSArray::arrayWithObjects("a", "b")), "a");
  EXPECT_EQ(plv_firstObject(NSMutableArray::arrayWithArray(NSArray::arrayWithObject(7))), Value(7));
}

TEST(FirstObject, IsNothingOfAnEmptyArrayAndOfNull) {
  EXPECT_TRUE(plv_firstObject(NSArray::array()).isNull());
  EXPECT_TRUE(plv_firstObject(NSMutableArray::array()).isNull());
  EXPECT_TRUE(plv_firstObject(nullptr).isNull());
}

TEST(FirstObject, IsTheElementItselfTheNullMarkerIncluded) {
  const Value element(NSMutableArray::array());
  EXPECT_TRUE(plv_firstObject(NSArray::arrayWithObject(element)).isIdentical(element));
  EXPECT_TRUE(plv_firstObject(NSArray::arrayWithObject(NSNull::null())).isNSNull());
}

TEST(FirstObject, FollowsTheChangesOfAMutableArray) {
  const auto array = NSMutableArray::arrayWithArray(NSArray::arrayWithObjects("a", "b"));
  array->removeObjectAtIndex(0);
  EXPECT_EQ(plv_firstObject(array), "b");
}

TEST(ObjectAtAnyIndex, IsTheElementWithinTheArray) {
  const auto array = NSArray::arrayWithObjects("a", "b", NSNull::null());
  EXPECT_EQ(jn_safelyGetObjectAtIndex(array, 0), "a");
  EXPECT_EQ(jn_safelyGetObjectAtIndex(array, 1), "b");
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, 2).isNSNull());
}

TEST(ObjectAtAnyIndex, IsNothingAtAndPastTheEnd) {
  const auto array = NSArray::arrayWithObjects("a", "b");
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, 2).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, 3).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, UINT64_MAX).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, static_cast<NSUInteger>(-1)).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, NSNotFound).isNull());
}

TEST(ObjectAtAnyIndex, IsNothingOfAnEmptyArrayAndOfNull) {
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(NSArray::array(), 0).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(nullptr, 0).isNull());
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(nullptr, UINT64_MAX).isNull());
}

TEST(ObjectAtAnyIndex, FollowsTheChangesOfAMutableArray) {
  const auto array = NSMutableArray::arrayWithArray(NSArray::arrayWithObject("a"));
  array->removeAllObjects();
  EXPECT_TRUE(jn_safelyGetObjectAtIndex(array, 0).isNull());
  array->addObject("b");
  EXPECT_EQ(jn_safelyGetObjectAtIndex(array, 0), "b");
}

}  // namespace
}  // namespace JNFoundation
