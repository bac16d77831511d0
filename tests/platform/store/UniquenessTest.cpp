#include <gtest/gtest.h>

#include "tests/platform/store/RelationshipFixture.h"

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {
namespace {

/// Thing (name, unique; first and second, unique together; owner and slot, unique together), below
/// it Special (serial, unique among its own), beside it Other (serial, name); Owner.
Ref<NSManagedObjectModel> uniqueModel() {
  auto owner = entityNamed("Owner", {});
  auto thing = entityNamed("Thing", {attributeNamed("name", NSStringAttributeType),
                                     attributeNamed("first", NSInteger32AttributeType),
                                     attributeNamed("second", NSDoubleAttributeType),
                                     attributeNamed("slot", NSInteger16AttributeType),
                                     relationshipNamed("owner", owner)});
  auto special = entityNamed("Special", {attributeNamed("serial", NSUUIDAttributeType)});
  auto plain = entityNamed("Plain", {attributeNamed("mark", NSStringAttributeType)});
  thing->setSubentities(NSArray::arrayWithObjects(special, plain));
  const auto constraint = [](auto... names) {
    return Value(NSArray::arrayWithObjects(Value(names)...));
  };
  thing->setUniquenessConstraints(NSArray::arrayWithObjects(
      constraint("name"), constraint("first", "second"), constraint("owner", "slot")));
  special->setUniquenessConstraints(NSArray::arrayWithObjects(constraint("serial")));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(thing, owner));
  return model;
}

class Uniqueness : public StoreTest, public ::testing::WithParamInterface<const char*> {
 protected:
  void SetUp() override { open(GetParam(), uniqueModel()); }

  Ref<NSManagedObject> thing(const char* name) { return insert("Thing", {{"name", name}}); }

  /// The save fails with 133021, blames the object, and leaves everything as it was.
  void expectRefusal(const Ref<NSManagedObject>& blamed) {
    const auto before = names();
    Ref<NSError> error;
    ASSERT_FALSE(context->save(&error));
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code(), NSManagedObjectConstraintMergeError) << text(error);
    EXPECT_EQ(error->userInfo()->objectForKey(NSAffectedObjectsErrorKey),
              Value(NSArray::arrayWithObject(blamed)));
    EXPECT_EQ(names(), before);
    EXPECT_TRUE(blamed->hasChanges());
  }

  /// What the store has.
  std::string names() {
    const Ref<NSArray> found =
        newContext()->executeFetchRequestError(request("Thing", nullptr, {by("name")}));
    std::string joined;
    for (const Value& each : found) {
      const Value name = as<NSManagedObject>(each)->valueForKey("name");
      joined += (name.isNull() ? "-" : name.stringValue()->toStdString()) + " ";
    }
    return joined;
  }
};
FOR_EVERY_STORE(Uniqueness);

TEST_P(Uniqueness, ARepetitionIsRefusedAndASaveAfterMendingSucceeds) {
  thing("a");
  save();
  auto second = thing("a");
  auto beside = thing("b");
  expectRefusal(second);
  EXPECT_TRUE(second->objectID()->isTemporaryID());
  EXPECT_TRUE(beside->isInserted());
  second->setValueForKey("c", "name");
  save();
  EXPECT_EQ(names(), "a b c ");
  beside->setValueForKey("c", "name");
  expectRefusal(beside);
  context->rollback();
  EXPECT_EQ(beside->valueForKey("name"), Value("b"));
}

TEST_P(Uniqueness, TwoNewOnesAreHeldAgainstEachOther) {
  thing("a");
  auto second = thing("a");
  expectRefusal(second);
  context->deleteObject(second);
  save();
  EXPECT_EQ(names(), "a ");
}

TEST_P(Uniqueness, TheOneThatRepeatsIsFoundAmongMany) {
  constexpr int count = 70;
  for (const int repeating : {1, 14, 15, 16, 17, 33, 64, 69}) {
    SCOPED_TRACE(repeating);
    std::vector<Ref<NSManagedObject>> things;
    for (int i = 0; i < count; ++i) {
      const int number = i == repeating ? i - 1 : i;
      things.push_back(insert("Thing", {{"name", NSString::stringWithFormat("%02d", number)}}));
    }
    expectRefusal(things[static_cast<std::size_t>(repeating)]);
    EXPECT_EQ(names(), "") << "none of them was written";
    context->rollback();
  }
  std::string all;
  for (int i = 0; i < count; ++i) {
    const Ref<NSString> name = NSString::stringWithFormat("%02d", i);
    all += name->toStdString() + " ";
    insert("Thing", {{"name", name}});
  }
  save();
  EXPECT_EQ(names(), all);
}

TEST_P(Uniqueness, ValuesAreHandedOnWithinOneSave) {
  auto a = thing("a"), b = thing("b"), c = thing("c");
  save();
  a->setValueForKey("b", "name");
  b->setValueForKey("c", "name");
  c->setValueForKey("a", "name");
  save();
  EXPECT_EQ(names(), "a b c ");
  a->setValueForKey("d", "name");
  thing("b");
  save();
  EXPECT_EQ(names(), "a b c d ") << "to a new one";
  context->deleteObject(a);
  auto e = thing("d");
  save();
  EXPECT_EQ(names(), "a b c d ") << "from a deleted one";
  context->deleteObject(e);
  b->setValueForKey("d", "name");
  save();
  EXPECT_EQ(names(), "a b d ");
}

TEST_P(Uniqueness, AHandOverThatFailsLeavesTheRecords) {
  auto a = thing("a"), b = thing("b"), c = thing("c");
  save();
  a->setValueForKey("b", "name");
  b->setValueForKey("c", "name");
  expectRefusal(b);
  c->setValueForKey("a", "name");
  save();
  EXPECT_EQ(names(), "a b c ");
}

TEST_P(Uniqueness, NullsRepeat) {
  for (int i = 0; i < 3; ++i) insert("Thing");
  save();
  EXPECT_EQ(names(), "- - - ");
  insert("Thing", {{"first", 1}});
  insert("Thing", {{"first", 1}});
  save();
}

TEST_P(Uniqueness, SeveralAttributesAreUniqueTogether) {
  auto one = insert("Thing", {{"name", "a"}, {"first", 1}, {"second", 1}});
  insert("Thing", {{"name", "b"}, {"first", 1}, {"second", 2}});
  insert("Thing", {{"name", "c"}, {"first", 2}, {"second", 1}});
  save();
  auto repeated = insert("Thing", {{"name", "d"}, {"first", 1.0}, {"second", 1}});
  expectRefusal(repeated);
  one->setValueForKey(nullptr, "second");
  save();
  EXPECT_EQ(names(), "a b c d ");
}

TEST_P(Uniqueness, ARelationshipToOneMayBePartOfIt) {
  auto ann = insert("Owner"), bob = insert("Owner");
  auto first = insert("Thing", {{"name", "a"}, {"slot", 1}, {"owner", ann}});
  auto second = insert("Thing", {{"name", "b"}, {"slot", 1}, {"owner", bob}});
  save();
  auto third = insert("Thing", {{"name", "c"}, {"slot", 1}, {"owner", ann}});
  expectRefusal(third);
  third->setValueForKey(nullptr, "owner");
  first->setValueForKey(bob, "owner");
  second->setValueForKey(ann, "owner");
  save();
  EXPECT_EQ(names(), "a b c ");
}

TEST_P(Uniqueness, SubentitiesHoldTheirAncestorsAndTheirOwn) {
  thing("a");
  save();
  auto special = insert("Special", {{"name", "a"}});
  expectRefusal(special);
  const Value serial = NSUUID::initWithUUIDString("E621E1F8-C36C-495A-93FC-0C247A3E6E5F");
  special->setValueForKey("b", "name");
  special->setValueForKey(serial, "serial");
  insert("Plain", {{"name", "c"}, {"mark", "x"}});
  insert("Plain", {{"name", "d"}, {"mark", "x"}});
  save();
  auto second = insert("Special", {{"name", "e"}, {"serial", serial}});
  expectRefusal(second);
  context->deleteObject(special);
  save();
  EXPECT_EQ(names(), "a c d e ");
}

TEST_P(Uniqueness, AnotherContextMayHaveBeenFaster) {
  auto ours = thing("a");
  auto other = newContext();
  auto theirs =
      NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("Thing", other);
  theirs->setValueForKey("a", "name");
  ASSERT_TRUE(other->save());
  expectRefusal(ours);
  other->deleteObject(theirs);
  ASSERT_TRUE(other->save());
  save();
  EXPECT_EQ(names(), "a ");
}

}  // namespace
}  // namespace JNFoundation
