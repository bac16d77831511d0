#include "ImportFixture.h"

namespace JNFoundation {
namespace {

using Texts = std::vector<std::string>;

/// Records that are read out of a JSON text while they are imported.
class WrittenRecords : public ImportTest {
 protected:
  static std::string feedOf(int count) {
    std::string feed = "[";
    for (int i = 0; i < count; ++i) {
      feed += (i > 0 ? ", " : "") + std::string("{\"code\": \"L") + std::to_string(i) +
              "\", \"name\": \"n\"}";
    }
    return feed + "]";
  }

  Ref<NSError> error() const {
    return failure ? Ref<NSError>(as<NSError>(failure->value())) : nullptr;
  }
};

TEST_F(WrittenRecords, ComeToTheSameAsAList) {
  const std::string feed =
      R"([{"code": "A", "name": "a"}, 7, {"name": "nobody"}, {"code": "A", "name": "b"}])";
  const auto listed = importText(feed, {}, "Region");
  const auto report = importJSON(context, " " + feed + " ");
  ASSERT_TRUE(listed && report) << text(error());
  EXPECT_EQ(text(report), text(listed));
  EXPECT_EQ(report->inserted(), 1u);
  ASSERT_EQ(report->refusals().size(), 2u);
  EXPECT_EQ(report->refusals()[0].index, 1u);
  EXPECT_EQ(report->refusals()[0].error->code(), JNImportErrorNotARecord);
  EXPECT_EQ(report->refusals()[1].index, 2u);
  ASSERT_EQ(report->duplicates().size(), 1u);
  EXPECT_EQ(report->duplicates()[0].index, 3u);
  EXPECT_EQ(lands(), (Texts{"A:b:-"}));
}

TEST_F(WrittenRecords, TellHowFarTheyAre) {
  std::vector<ImportProgress> told;
  ImportOptions options{.chunkSize = 4};
  options.progress = [&told](const ImportProgress& progress) { told.push_back(progress); };
  ASSERT_TRUE(importJSON(context, feedOf(10), options));
  ASSERT_EQ(told.size(), 3u);
  EXPECT_EQ(told[0].recordsDone, 4u);
  EXPECT_EQ(told[0].recordsTotal, static_cast<NSUInteger>(NSNotFound));
  EXPECT_EQ(told[1].recordsDone, 8u);
  EXPECT_GT(told[0].fraction, 0.3);
  EXPECT_LT(told[0].fraction, 0.5);
  EXPECT_GT(told[1].fraction, told[0].fraction);
  EXPECT_LT(told[1].fraction, 1.0);
  // The end was seen.
  EXPECT_EQ(told[2].recordsDone, 10u);
  EXPECT_EQ(told[2].recordsTotal, 10u);
  EXPECT_EQ(told[2].fraction, 1.0);
}

TEST_F(WrittenRecords, OfAListKnowTheirNumber) {
  std::vector<ImportProgress> told;
  ImportOptions options{.chunkSize = 2};
  options.progress = [&told](const ImportProgress& progress) { told.push_back(progress); };
  ASSERT_TRUE(importInto(context,
                         records("[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b'},"
                                 " {'code': 'C', 'name': 'c'}, {'code': 'D', 'name': 'd'}]"),
                         options));
  ASSERT_EQ(told.size(), 2u);
  EXPECT_EQ(told[0].recordsTotal, 4u);
  EXPECT_EQ(told[0].fraction, 0.5);
  EXPECT_EQ(told[1].fraction, 1.0);
}

TEST_F(WrittenRecords, EndWhereTheTextGoesWrong) {
  std::string feed = feedOf(10);
  feed.replace(feed.find("\"L7\""), 4, "L7");
  EXPECT_FALSE(importJSON(context, feed, {.chunkSize = 3}));
  EXPECT_EQ(failureCode(), NSPropertyListReadCorruptError);
  ASSERT_TRUE(error());
  EXPECT_NE(error()->localizedDescription()->toStdString().find("line 1, column "),
            std::string::npos);
  // The chunks before stay.
  EXPECT_EQ(lands().size(), 6u);
  EXPECT_FALSE(context->hasChanges());
}

TEST_F(WrittenRecords, AreAllOrNothing) {
  const std::string feed = feedOf(10);
  EXPECT_FALSE(importJSON(context, feed.substr(0, feed.size() - 1),
                          {.commit = ImportCommit::AllOrNothing, .chunkSize = 3}));
  EXPECT_EQ(failureCode(), NSPropertyListReadCorruptError);
  EXPECT_TRUE(lands().empty());
  EXPECT_FALSE(context->hasChanges());
  ASSERT_TRUE(importJSON(context, feed, {.commit = ImportCommit::AllOrNothing, .chunkSize = 3}));
  EXPECT_EQ(lands().size(), 10u);
}

TEST_F(WrittenRecords, ThatAreNoArrayAreAnError) {
  for (const char* text : {"", "{}", "\"list\"", "[", "[{}", "[{}]]", "[{},]"}) {
    EXPECT_FALSE(importJSON(context, text)) << text;
    EXPECT_EQ(failureCode(), NSPropertyListReadCorruptError) << text;
    EXPECT_TRUE(lands().empty());
  }
  const auto report = importJSON(context, " [ ] ");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->inserted(), 0u);
  EXPECT_THROW(importRecordsFromJSON(nullptr, "Land", context), Raised);
}

TEST_F(WrittenRecords, GoOnWhereAnEarlierImportEnded) {
  ASSERT_TRUE(importJSON(context, feedOf(10), {.chunkSize = 3, .firstRecord = 8}));
  EXPECT_EQ(lands(), (Texts{"L8:n:-", "L9:n:-"}));
  const auto report = importJSON(context, feedOf(10), {.chunkSize = 3, .firstRecord = 11});
  ASSERT_TRUE(report);
  EXPECT_EQ(report->inserted(), 0u);
}

TEST_F(WrittenRecords, AreReadInAPrivateQueueToo) {
  const auto background = newPrivateContext();
  const auto report = importJSON(background, feedOf(50), {.chunkSize = 7});
  ASSERT_TRUE(report);
  EXPECT_EQ(report->inserted(), 50u);
  EXPECT_EQ(importJSON(background, feedOf(50), {.chunkSize = 7})->unchanged(), 50u);
}

TEST_F(WrittenRecords, AreNotReadOnOnceCancelled) {
  ImportOptions options{.chunkSize = 2};
  Ref<PLVDeferred> running;
  options.progress = [&running](const ImportProgress& progress) {
    if (progress.recordsDone == 4) running->cancel();
  };
  auto imported = importRecordsFromJSON(NSData::dataWithText(feedOf(10)), "Land", context, options);
  running = imported.untyped();
  const Value outcome = outcomeOf(running);
  EXPECT_TRUE(isKindOf<PLVRejected>(outcome));
  EXPECT_EQ(lands().size(), 4u);
}

}  // namespace
}  // namespace JNFoundation
