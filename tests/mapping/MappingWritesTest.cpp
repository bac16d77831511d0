#include "MappingFixture.h"

#include <JNFoundation/platform/value/NSNull.h>

namespace JNFoundation {
namespace {

class MappingWritesTest : public MappingTest {
 protected:
  /// Maps the record in that way. Returns: how many values the observer was told of.
  int map(const Ref<NSDictionary>& record, const Ref<Person>& person, MappingWrites writes) {
    int told = 0;
    person->entityDataMap()->mapDictionaryToObjectFilterObserver(
        record, person, nullptr, [&told](const MappingEvent&) { ++told; }, writes);
    return told;
  }
};

Ref<NSDictionary> recordOfEveryKind() {
  return NSDictionary::dictionaryWithEntries({{"integer16", 12},
                                              {"integer32", "34"},
                                              {"integer64", 56},
                                              {"double", 0.1},
                                              {"float", 0.1},
                                              {"string", 42},
                                              {"boolean", true},
                                              {"date", "2016-03-01T12:30:00.250Z"}});
}

TEST_F(MappingWritesTest, AnObjectThatHoldsWhatTheRecordSaysStaysWithoutChanges) {
  const auto person = insertPerson();
  map(recordOfEveryKind(), person, MappingWrites::Changes);
  EXPECT_EQ(person->valueForKey("string"), Value("42"));
  ASSERT_TRUE(context()->save());
  EXPECT_EQ(map(recordOfEveryKind(), person, MappingWrites::Changes), 8) << "all are told of";
  EXPECT_FALSE(person->hasChanges());
  map(recordOfEveryKind(), person, MappingWrites::Every);
  EXPECT_TRUE(person->hasChanges());
}

TEST_F(MappingWritesTest, OnlyWhatDiffersIsSet) {
  const auto person = insertPerson();
  map(recordOfEveryKind(), person, MappingWrites::Changes);
  ASSERT_TRUE(context()->save());
  map(NSDictionary::dictionaryWithEntries(
          {{"integer32", 34}, {"boolean", 0}, {"string", NSNull::null()}, {"float", 0.2}}),
      person, MappingWrites::Changes);
  const Ref<NSDictionary> changes = person->changedValues();
  EXPECT_EQ(changes->count(), 3u) << changes->description()->utf8();
  EXPECT_EQ(changes->objectForKey("boolean"), Value(false));
  EXPECT_TRUE(person->valueForKey("string").isNull());
}

TEST_F(MappingWritesTest, ClearingWhatIsClearChangesNothing) {
  const auto person = insertPerson();
  ASSERT_TRUE(context()->save());
  map(NSDictionary::dictionaryWithObjectForKey(NSNull::null(), "string"), person,
      MappingWrites::Changes);
  EXPECT_FALSE(person->hasChanges());
}

TEST_F(MappingWritesTest, MessagesAreSentAllTheSame) {
  setUserInfo({{"$payload", "applyPayload:"}});
  const auto person = insertPerson();
  const auto record = NSDictionary::dictionaryWithObjectForKey("same", "payload");
  map(record, person, MappingWrites::Changes);
  map(record, person, MappingWrites::Changes);
  EXPECT_EQ(person->received.size(), 2u);
}

}  // namespace
}  // namespace JNFoundation
