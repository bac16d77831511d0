#include <gtest/gtest.h>

#include "platform/value/Limits.h"

#include <JNFoundation/fetched/NSIndexPath+PLVUnsignedItemSection.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation {
namespace {

using testing::notFound;

TEST(PLVUnsignedItemSection, ThePathHasTheSectionFirstAndTheItemSecond) {
  const auto path = plv_indexPathForItemIndexSectionIndex(5, 2);
  EXPECT_EQ(path->length(), 2u);
  EXPECT_EQ(path->indexAtPosition(0), 2u);
  EXPECT_EQ(path->indexAtPosition(1), 5u);
  EXPECT_EQ(plv_sectionIndex(path), 2u);
  EXPECT_EQ(plv_itemIndex(path), 5u);
}

TEST(PLVUnsignedItemSection, AShortPathHasNoItem) {
  const auto path = NSIndexPath::indexPathWithIndex(3);
  EXPECT_EQ(plv_sectionIndex(path), 3u);
  EXPECT_EQ(plv_itemIndex(path), notFound);
}

TEST(PLVUnsignedItemSection, AnEmptyPathHasNeither) {
  EXPECT_EQ(plv_sectionIndex(NSIndexPath::indexPath()), notFound);
  EXPECT_EQ(plv_itemIndex(NSIndexPath::indexPath()), notFound);
}

TEST(PLVUnsignedItemSection, ALongPathIsReadFromItsStart) {
  const auto path = NSIndexPath::indexPathWithIndexes({1, 2, 3, 4});
  EXPECT_EQ(plv_sectionIndex(path), 1u);
  EXPECT_EQ(plv_itemIndex(path), 2u);
}

TEST(PLVUnsignedItemSection, ANullPathAnswersZero) {
  EXPECT_EQ(plv_sectionIndex(nullptr), 0u);
  EXPECT_EQ(plv_itemIndex(nullptr), 0u);
}

TEST(PLVUnsignedItemSection, PathsAnswerByName) {
  const Value made =
      performSelector(NSIndexPath::classObject, "plv_indexPathForItemIndex:sectionIndex:", 5, 2);
  EXPECT_EQ(performSelector(made, "plv_sectionIndex").integerValue(), 2);
  EXPECT_EQ(performSelector(made, "plv_itemIndex").integerValue(), 5);
  EXPECT_EQ(performSelector(Value(NSIndexPath::indexPath()), "plv_itemIndex").longLongValue(),
            NSNotFound);
}

}  // namespace
}  // namespace JNFoundation
