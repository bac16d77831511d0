#include "MigrationFixture.h"

#include <JNFoundation/platform/store/NSCoreDataErrors.h>
#include <JNFoundation/platform/store/NSMappingModel.h>

namespace JNFoundation {
namespace {

/// What is inferred from two models, and what is refused.
class MappingModel : public MigrationTest {
 protected:
  static std::string inferred(const std::string& from, const std::string& to) {
    Ref<NSError> error;
    const auto mapping = NSMappingModel::inferredMappingModelForSourceModelDestinationModelError(
        modelOf(from), modelOf(to), &error);
    return mapping ? mapping->description()->toStdString() : text(error);
  }

  /// The place and the reason of a refusal.
  static std::string refused(const std::string& from, const std::string& to) {
    Ref<NSError> error;
    const auto mapping = NSMappingModel::inferredMappingModelForSourceModelDestinationModelError(
        modelOf(from), modelOf(to), &error);
    if (mapping || !error) return "inferred";
    EXPECT_EQ(error->code(), NSInferredMappingModelError);
    const auto part = [&](const char* key) { return shown(error->userInfo()->objectForKey(key)); };
    return part("entity") + "." + part("property") + ": " + part("reason");
  }
};

TEST_F(MappingModel, SaysWhatBecomesOfEachEntity) {
  const std::string from = entity("Person", attribute("name") + attribute("age", "Integer 16") +
                                                one("home", "House", "people")) +
                           entity("House", attribute("name") + many("people", "Person", "home")) +
                           entity("Dog", attribute("name")) + entity("Same", attribute("x"));
  const std::string to =
      entity("Human",
             attribute("name") +
                 attribute("years", "Integer 16", "optional='YES' " + renamed("age")) +
                 attribute("mail") + one("house", "House", "people", renamed("home")),
             "elementID='Person'") +
      entity("House", many("people", "Human", "house")) + entity("Cat", attribute("name")) +
      entity("Same", attribute("x"));
  EXPECT_EQ(inferred(from, to),
            "Transform Person to Human\n  years <- age\n  mail (new)\n  house <- home\n"
            "Transform House\n  name (gone)\n"
            "Add Cat\n  name (new)\n"
            "Copy Same\n"
            "Remove Dog");
  const auto mapping = NSMappingModel::inferredMappingModelForSourceModelDestinationModelError(
      modelOf(from), modelOf(to));
  const Value found = mapping->entityMappingsByName()->objectForKey("Transform Person to Human");
  const auto* human = as<NSEntityMapping>(found);
  ASSERT_TRUE(human);
  EXPECT_EQ(human->mappingType(), NSTransformEntityMappingType);
  EXPECT_EQ(shown(human->sourceEntityName()), "Person");
  EXPECT_EQ(shown(human->destinationEntityName()), "Human");
  EXPECT_EQ(human->attributeMappings()->count(), 3u);
  EXPECT_EQ(human->relationshipMappings()->count(), 1u);
}

TEST_F(MappingModel, RefusesAnotherType) {
  EXPECT_EQ(
      refused(entity("A", attribute("x", "Integer 16")), entity("A", attribute("x", "Double"))),
      "A.x: its type changed from Integer 16 to Double");
}

TEST_F(MappingModel, RefusesRequiredAttributesWithoutADefault) {
  EXPECT_EQ(refused(entity("A", attribute("x")), entity("A", attribute("x", "String", ""))),
            "A.x: it became required, and has no default for the records without a value");
  EXPECT_EQ(refused(entity("A", ""), entity("A", attribute("x", "String", ""))),
            "A.x: it is new and required, and has no default for the records that there are");
  EXPECT_EQ(refused(entity("A", ""), entity("A", "") + entity("B", attribute("x", "String", ""))),
            "inferred")
      << "of a new entity there are no records";
}

TEST_F(MappingModel, RefusesToOneWhereItWasToMany) {
  EXPECT_EQ(refused(entity("A", many("x", "A")), entity("A", one("x", "A"))),
            "A.x: it led to many objects, and now leads to one");
}

TEST_F(MappingModel, RefusesOneHierarchyOfSeveral) {
  EXPECT_EQ(refused(entity("A", attribute("x")) + entity("B", attribute("y")),
                    entity("P", "") + entity("A", attribute("x"), "parentEntity='P'") +
                        entity("B", attribute("y"), "parentEntity='P'")),
            "B.-: it came into one hierarchy with 'A', with which it had no ancestor in common");
  EXPECT_EQ(refused(entity("A", attribute("x")) + entity("B", attribute("y")),
                    entity("A", attribute("x")) + entity("B", attribute("y"), "parentEntity='A'")),
            "B.-: it came into one hierarchy with 'A', with which it had no ancestor in common");
}

TEST_F(MappingModel, RefusesRecordsOfWhatBecameAbstract) {
  EXPECT_EQ(refused(entity("A", ""), entity("A", "", "isAbstract='YES'")),
            "A.-: it became abstract, and its records would have nowhere to go");
}

TEST_F(MappingModel, RefusesAnotherKindOfProperty) {
  EXPECT_EQ(refused(entity("A", attribute("x")), entity("A", one("x", "A"))),
            "A.x: it was an attribute and became a relationship");
  EXPECT_EQ(refused(entity("A", one("x", "A")), entity("A", attribute("x"))),
            "A.x: it was a relationship and became an attribute");
}

TEST_F(MappingModel, RefusesAnotherDestination) {
  const std::string more = entity("B", "") + entity("C", "", "parentEntity='B'");
  EXPECT_EQ(refused(entity("A", one("x", "A")) + more, entity("A", one("x", "B")) + more),
            "A.x: it led to 'A', and now leads to 'B'");
  EXPECT_EQ(refused(entity("A", one("x", "B")) + more, entity("A", one("x", "C")) + more),
            "A.x: it led to 'B', and now leads to 'C'")
      << "it may lead to records that are no C";
  EXPECT_EQ(refused(entity("A", one("x", "C")) + more, entity("A", one("x", "B")) + more),
            "inferred");
}

TEST_F(MappingModel, RefusesAnotherWayBack) {
  EXPECT_EQ(refused(entity("A", one("x", "A", "y") + many("y", "A", "x") + many("z", "A")),
                    entity("A", one("x", "A", "z") + many("z", "A", "x"))),
            "A.x: its way back, 'z', was that of another one");
  EXPECT_EQ(
      refused(entity("A", one("x", "A")), entity("A", one("x", "A", "y") + one("y", "A", "x"))),
      "A.x: its new way back, 'y', leads to one object, where several may lead from");
  EXPECT_EQ(
      refused(entity("A", many("x", "A")), entity("A", many("x", "A", "y") + one("y", "A", "x"))),
      "A.x: its new way back, 'y', leads to one object, where several may lead from");
}

TEST_F(MappingModel, RefusesANameThatCouldBeEitherOfTwo) {
  EXPECT_EQ(refused(entity("A", attribute("a") +
                                    attribute("x", "String", "optional='YES' " + renamed("a"))),
                    entity("A", attribute("y", "String", "optional='YES' " + renamed("a")))),
            "A.y: both 'a' and 'x' could be what it was");
}

TEST_F(MappingModel, SaysAllThatStandsAgainstIt) {
  Ref<NSError> error;
  EXPECT_FALSE(NSMappingModel::inferredMappingModelForSourceModelDestinationModelError(
      modelOf(entity("A", attribute("x") + attribute("y"))),
      modelOf(entity("A", attribute("x", "Date") + attribute("y", "URI"))), &error));
  const Value details = error->userInfo()->objectForKey(NSDetailedErrorsKey);
  EXPECT_EQ(as<NSArray>(details)->count(), 2u);
  EXPECT_EQ(error->localizedDescription()->toStdString(),
            "No mapping can be inferred. 'A.x': its type changed from String to Date. "
            "No mapping can be inferred. 'A.y': its type changed from String to URI.");
}

TEST_F(MappingModel, ARefusalLeavesTheFileAsItIs) {
  make(entity("A", attribute("x")), [](const Context& context) {
    insert(context, "A", {{"x", "1"}});
  });
  const auto error = refusal(entity("A", attribute("x", "Integer 16")));
  EXPECT_EQ(error->code(), NSInferredMappingModelError);
  EXPECT_EQ(error->localizedDescription()->toStdString(),
            "No mapping can be inferred. 'A.x': its type changed from String to Integer 16.");
}

TEST_F(MappingModel, NeedsTwoModels) {
  EXPECT_THROW(NSMappingModel::inferredMappingModelForSourceModelDestinationModelError(
                   nullptr, modelOf(entity("A", ""))),
               Raised);
}

}  // namespace
}  // namespace JNFoundation
