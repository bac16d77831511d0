#include "ImportFixture.h"
#include "platform/value/Raising.h"

#include <JNFoundation/importing/RelatedRecords.h>

namespace JNFoundation {
namespace {

using Texts = std::vector<std::string>;

class RelatedRecords : public ImportTest {
 protected:
  Ref<Land> insertLand(const char* code) {
    const auto object =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Land", context);
    object->setValueForKey(code, "code");
    object->setValueForKey(code, "name");
    return Ref<Land>(as<Land>(Value(object)));
  }

  NSUInteger countOf(const char* entity) const {
    return newContext()->countForFetchRequestError(
        NSFetchRequest::fetchRequestWithEntityName(entity));
  }
};

TEST_F(RelatedRecords, ARecordWithinARecordIsFoundOrMadeByItsIdentity) {
  const auto report = importText(
      "[{'code': 'FR', 'name': 'France', 'region': {'code': 'EU', 'name': 'Europe'}},"
      " {'code': 'DE', 'name': 'Germany', 'region': {'code': 'EU'}}]");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->insertedRelated(), 1u);
  EXPECT_EQ(related("region"), (Texts{"DE: Europe", "FR: Europe"}));
  const auto again = importText("[{'code': 'FR', 'region': {'code': 'EU', 'name': 'Old Europe'}}]");
  EXPECT_EQ(again->insertedRelated(), 0u);
  EXPECT_EQ(related("region"), (Texts{"DE: Old Europe", "FR: Old Europe"}));
}

TEST_F(RelatedRecords, AValueThatIsNoDictionaryIsTheIdentity) {
  importText("[{'code': 'EU', 'name': 'Europe'}]", {}, "Region");
  const auto report = importText("[{'code': 'FR', 'name': 'France', 'region': 'EU'}]");
  ASSERT_TRUE(report);
  EXPECT_EQ(report->refusals().size(), 0u);
  EXPECT_EQ(related("region"), (Texts{"FR: Europe"}));
}

TEST_F(RelatedRecords, AnIdentityWithoutAnObjectIsReportedAndWhatIsThereStays) {
  importText("[{'code': 'FR', 'name': 'France', 'region': {'code': 'EU', 'name': 'Europe'}}]");
  const auto report = importText("[{'code': 'FR', 'population': 68, 'region': 'XX'}]");
  ASSERT_TRUE(report);
  ASSERT_EQ(report->refusals().size(), 1u);
  EXPECT_EQ(report->refusals()[0].index, 0u);
  EXPECT_EQ(report->refusals()[0].error->code(), JNImportErrorNoRelatedObject);
  EXPECT_EQ(related("region"), (Texts{"FR: Europe"}));
  EXPECT_EQ(lands(), (Texts{"FR:France:68"})) << "the rest of the record counts";
}

TEST_F(RelatedRecords, NullLeadsToNobodyAndAMissingKeyChangesNothing) {
  importText(
      "[{'code': 'FR', 'name': 'F', 'region': {'code': 'EU', 'name': 'Europe'},"
      " 'languages': [{'code': 'fr', 'name': 'French'}]}]");
  importText("[{'code': 'FR', 'population': 1}]");
  EXPECT_EQ(related("region"), (Texts{"FR: Europe"}));
  EXPECT_EQ(related("languages"), (Texts{"FR: French"}));
  importText("[{'code': 'FR', 'region': null, 'languages': null}]");
  EXPECT_EQ(related("region"), (Texts{"FR:"}));
  EXPECT_EQ(related("languages"), (Texts{"FR:"}));
  EXPECT_EQ(countOf("Region"), 1u);
}

TEST_F(RelatedRecords, ARelationshipToManyLeadsToExactlyWhatTheListHas) {
  importText(
      "[{'code': 'CH', 'name': 'S', 'languages': [{'code': 'de', 'name': 'German'},"
      " {'code': 'fr', 'name': 'French'}, 'de', null]}]");
  EXPECT_EQ(related("languages"), (Texts{"CH: French German"}));
  importText("[{'code': 'CH', 'languages': ['fr', 'de', {'code': 'it', 'name': 'Italian'}]}]");
  EXPECT_EQ(related("languages"), (Texts{"CH: French German Italian"}));
  importText("[{'code': 'CH', 'languages': []}]");
  EXPECT_EQ(related("languages"), (Texts{"CH:"}));
  importText("[{'code': 'CH', 'languages': 'it'}]");
  EXPECT_EQ(related("languages"), (Texts{"CH: Italian"})) << "one value stands for a list of one";
}

TEST_F(RelatedRecords, WithoutAnIdentityTheObjectThatIsThereIsFilledElseANewOne) {
  importText(
      "[{'code': 'FR', 'name': 'F', 'capital': {'name': 'Paris'}},"
      " {'code': 'DE', 'name': 'D', 'capital': {'name': 'Bonn'}}]");
  EXPECT_EQ(related("capital"), (Texts{"DE: Bonn", "FR: Paris"}));
  importText("[{'code': 'DE', 'capital': {'name': 'Berlin'}}]");
  EXPECT_EQ(related("capital"), (Texts{"DE: Berlin", "FR: Paris"}));
  EXPECT_EQ(countOf("City"), 2u);
}

TEST_F(RelatedRecords, ARecordThatCannotBeToldApartIsReported) {
  const auto report = importText(
      "[{'code': 'FR', 'name': 'F', 'languages': [{'name': 'no code'}, 7, ['a list']]}]");
  ASSERT_TRUE(report);
  ASSERT_EQ(report->refusals().size(), 3u);
  EXPECT_EQ(report->refusals()[0].error->code(), JNImportErrorNoIdentity);
  EXPECT_EQ(report->refusals()[1].error->code(), JNImportErrorNoRelatedObject);
  EXPECT_EQ(report->refusals()[2].error->code(), JNImportErrorNoRelatedObject);
  EXPECT_EQ(text(report->refusals()[0].error->localizedDescription()),
            "Nothing tells which Language the record for languages stands for.");
}

TEST_F(RelatedRecords, RecordsAreRelatedHoweverDeepTheyAre) {
  // Each land brings its neighbour along, which brings the next one.
  const int depth = 300;
  std::string list = "{'code': 'L0', 'name': 'n'}";
  for (int i = 1; i < depth; ++i) {
    std::string land = "{'code': 'L" + std::to_string(i) + "', 'name': 'n', 'neighbours': [";
    land.append(list).append("]}");
    list = std::move(land);
  }
  const auto report = importText("[" + list + "]");
  ASSERT_TRUE(report) << text(failure);
  EXPECT_EQ(report->refusals().size(), 0u);
  EXPECT_EQ(report->inserted(), 1u);
  EXPECT_EQ(report->insertedRelated(), static_cast<NSUInteger>(depth) - 1);
  EXPECT_EQ(lands().size(), static_cast<std::size_t>(depth));
}

TEST_F(RelatedRecords, IdentitiesOfRelatedEntitiesMayBeGiven) {
  importText("[{'code': 'EU', 'name': 'Europe'}]", {}, "Region");
  ImportOptions options;
  options.relatedIdentities =
      NSDictionary::dictionaryWithObjectForKey(NSArray::arrayWithObject("name"), "Region");
  const auto report = importText("[{'code': 'FR', 'name': 'F', 'region': 'Europe'}]", options);
  ASSERT_TRUE(report);
  EXPECT_EQ(report->refusals().size(), 0u);
  EXPECT_EQ(related("region"), (Texts{"FR: Europe"}));
}

TEST_F(RelatedRecords, AnInvalidRelatedObjectIsRefusedUnderTheNumberOfItsRecord) {
  const auto report = importText(
      "[{'code': 'A', 'name': 'a'}, {'code': 'B', 'name': 'b', 'neighbours': [{'code': 'C'}]}]");
  ASSERT_TRUE(report);
  ASSERT_EQ(report->refusals().size(), 1u);
  EXPECT_EQ(report->refusals()[0].index, 1u);
  EXPECT_EQ(lands(), (Texts{"A:a:-", "B:b:-"}));
}

TEST_F(RelatedRecords, ARelationshipThatTheEntityLacksRefusesTheRecord) {
  const auto report = importText("[{'code': 'A', 'name': 'a', 'nothing': 1}]");
  ASSERT_TRUE(report);
  ASSERT_EQ(report->refusals().size(), 1u);
  EXPECT_EQ(text(report->refusals()[0].error->localizedDescription()),
            "NSInvalidArgumentException: The entity Land has no relationship nothing.");
  EXPECT_EQ(lands(), Texts{});
}

TEST_F(RelatedRecords, OutsideAnImportItHappensAtOnce) {
  const auto land = insertLand("FR");
  land->mergeDictionary(Ref<NSDictionary>(as<NSDictionary>(
      records("[{'region': {'code': 'EU', 'name': 'Europe'}, 'languages': ['xx']}]")
          ->objectAtIndex(0))));
  EXPECT_EQ(text(as<NSManagedObject>(land->valueForKey("region"))->valueForKey("name")), "Europe");
  ASSERT_EQ(log.size(), 1u);
  EXPECT_NE(log[0].find("There is no Language that the value for languages stands for."),
            std::string::npos)
      << log[0];
  // Unsaved objects are found, too.
  const auto other = insertLand("DE");
  relateRecord(*other, "region", "EU");
  EXPECT_EQ(other->valueForKey("region"), land->valueForKey("region"));
  EXPECT_EQ(log.size(), 1u);
}

TEST_F(RelatedRecords, AnObjectWithoutAContextIsLeftAlone) {
  const auto loose = NSManagedObject::initWithEntityInsertIntoManagedObjectContext(
      NSEntityDescription::entityForNameInManagedObjectContext("Land", context), nullptr);
  relateRecord(*loose, "region", "EU");
  EXPECT_TRUE(loose->valueForKey("region").isNull());
  EXPECT_EQ(testing::raisedName([&] { relateRecord(*loose, "nothing", "EU"); }),
            NSInvalidArgumentException);
}

TEST_F(RelatedRecords, AllOrNothingTakesRelatedObjectsBackToo) {
  EXPECT_FALSE(importText("[{'code': 'A', 'name': 'a', 'region': {'code': 'EU'}}, {'code': 'B'}]",
                          {.commit = ImportCommit::AllOrNothing}));
  EXPECT_EQ(countOf("Region"), 0u);
  EXPECT_EQ(lands(), Texts{});
}

}  // namespace
}  // namespace JNFoundation
