#include "../value/Raising.h"
#include "StoreFixture.h"

#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>

namespace JNFoundation {
namespace {

using testing::raisedBy;
using testing::raisedName;

std::string joined(const Ref<NSArray>& values) {
  return values->componentsJoinedByString(" ")->toStdString();
}

TEST(NSManagedObjectModel, AttributesOfAnEntityIncludeTheInheritedOnesFirst) {
  auto model = libraryModel();
  auto audioBook = model->entityWithName("AudioBook");
  EXPECT_EQ(joined(audioBook->attributesByName()->allKeys()),
            "title year rating available added pages isbn reader");
  EXPECT_EQ(audioBook->superentity()->name()->toStdString(), "Book");
  EXPECT_EQ(model->entityWithName("Work")->superentity(), nullptr);
}

TEST(NSManagedObjectModel, AnInheritedAttributeEqualsTheSuperentitysOwn) {
  auto model = libraryModel();
  const Value own = model->entityWithName("Work")->attributesByName()->objectForKey("title");
  const Value inherited = model->entityWithName("Film")->attributesByName()->objectForKey("title");
  EXPECT_EQ(own, inherited);
  EXPECT_EQ(own.hash(), inherited.hash());
}

TEST(NSManagedObjectModel, AttributesOfTheSameNameAndAnotherTypeAreNotEqual) {
  const Value text = attributeNamed("a", NSStringAttributeType);
  EXPECT_EQ(text, Value(attributeNamed("a", NSStringAttributeType)));
  EXPECT_NE(text, Value(attributeNamed("a", NSDateAttributeType)));
  EXPECT_NE(text, Value(attributeNamed("b", NSStringAttributeType)));
  EXPECT_NE(text, Value(attributeNamed("a", NSStringAttributeType, false)));
}

TEST(NSManagedObjectModel, AnAttributeHasTheSameNumberInEveryDescendant) {
  auto model = libraryModel();
  const auto numberIn = [&](const char* entity, const char* name) {
    const Ref<NSString> key(name);
    return model->entityWithName(entity)->layout().indexOf(*key);
  };
  EXPECT_EQ(numberIn("Work", "rating"), 2u);
  EXPECT_EQ(numberIn("AudioBook", "rating"), 2u);
  EXPECT_EQ(numberIn("Book", "isbn"), numberIn("AudioBook", "isbn"));
  EXPECT_EQ(numberIn("Work", "isbn"), impl::EntityLayout::none);
}

TEST(NSManagedObjectModel, SubentitiesThatWereNotListedBelongToTheModel) {
  auto model = libraryModel();
  EXPECT_EQ(joined(model->entitiesByName()->allKeys()), "Work Note Book Film AudioBook");
  EXPECT_TRUE(model->entityWithName("AudioBook")->isKindOfEntity(model->entityWithName("Work")));
  EXPECT_FALSE(model->entityWithName("Work")->isKindOfEntity(model->entityWithName("Book")));
  EXPECT_EQ(model->entityWithName("Nothing"), nullptr);
}

TEST(NSManagedObjectModel, NamesThatCannotBeAreRefused) {
  auto model = NSManagedObjectModel::init();
  EXPECT_EQ(
      raisedBy([&] {
        model->setEntities(NSArray::arrayWithObjects(entityNamed("A", {}), entityNamed("A", {})));
      }),
      "NSInvalidArgumentException: The model has two entities named 'A'");
  EXPECT_EQ(raisedBy([] {
              entityNamed("A", {attributeNamed("x", NSStringAttributeType),
                                attributeNamed("x", NSDateAttributeType)});
            }),
            "NSInvalidArgumentException: Entity 'A' has two properties named 'x'");
  EXPECT_EQ(
      raisedBy([] { entityNamed("A", {attributeNamed("description", NSStringAttributeType)}); }),
      "NSInvalidArgumentException: Property 'description' of entity 'A' has the name of a method "
      "that every object has");
  EXPECT_EQ(raisedName([] { attributeNamed("", NSStringAttributeType); }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] {
              model->setEntities(NSArray::arrayWithObjects(NSEntityDescription::init()));
            }),
            NSInvalidArgumentException);
}

TEST(NSManagedObjectModel, EveryMethodNameOfObjectsIsRefused) {
  for (const char* name : {"hash", "class", "self", "copy", "entity", "objectID", "isDeleted",
                           "managedObjectContext", "hasChanges", "superclass"}) {
    EXPECT_EQ(raisedName([&] { entityNamed("A", {attributeNamed(name, NSStringAttributeType)}); }),
              NSInvalidArgumentException)
        << name;
  }
}

TEST(NSManagedObjectModel, AnEntityCannotDescendFromItself) {
  auto first = entityNamed("First", {});
  auto second = entityNamed("Second", {});
  first->setSubentities(NSArray::arrayWithObjects(second));
  EXPECT_EQ(raisedName([&] { second->setSubentities(NSArray::arrayWithObjects(first)); }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] { first->setSubentities(NSArray::arrayWithObjects(first)); }),
            NSInvalidArgumentException);
}

TEST(NSManagedObjectModel, AWholeModelValidatesAndABrokenOneSaysWhatIsMissing) {
  EXPECT_TRUE(libraryModel()->validate());
  Ref<NSError> error;

  auto above = entityNamed("Above", {attributeNamed("name", NSStringAttributeType)});
  auto below = entityNamed("Below", {attributeNamed("name", NSStringAttributeType)});
  above->setSubentities(NSArray::arrayWithObjects(below));
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(above));
  EXPECT_FALSE(model->validate(&error));
  EXPECT_EQ(error->localizedDescription()->toStdString(),
            "Entity 'Below' declares 'name', which it inherits already");
  EXPECT_EQ(error->userInfo()->objectForKey("entity"), Value("Below"));
  EXPECT_EQ(error->userInfo()->objectForKey("property"), Value("name"));

  model->setEntities(NSArray::arrayWithObjects(
      entityNamed("Plain", {attributeNamed("any", NSUndefinedAttributeType)})));
  EXPECT_FALSE(model->validate(&error));
  EXPECT_EQ(error->userInfo()->objectForKey("property"), Value("any"));

  auto wrong = attributeNamed("count", NSInteger16AttributeType);
  wrong->setDefaultValue("seven");
  model->setEntities(NSArray::arrayWithObjects(entityNamed("Plain", {wrong})));
  EXPECT_FALSE(model->validate(&error));
  EXPECT_EQ(raisedName([&] { NSPersistentStoreCoordinator::initWithManagedObjectModel(model); }),
            NSInvalidArgumentException);
  EXPECT_FALSE(model->isImmutable());
}

TEST(NSManagedObjectModel, NothingOfItChangesOnceACoordinatorUsesIt) {
  auto model = libraryModel();
  auto book = model->entityWithName("Book");
  const Value pages = book->attributesByName()->objectForKey("pages");
  auto* attribute = as<NSAttributeDescription>(pages);
  attribute->setDefaultValue(100);
  EXPECT_FALSE(model->isImmutable());
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  EXPECT_TRUE(model->isImmutable());
  const std::string refusal = "NSInternalInconsistencyException: Can't modify an immutable model.";
  EXPECT_EQ(raisedBy([&] { model->setEntities(NSArray::array()); }), refusal);
  EXPECT_EQ(raisedBy([&] { book->setName("Tome"); }), refusal);
  EXPECT_EQ(raisedBy([&] { book->setProperties(NSArray::array()); }), refusal);
  EXPECT_EQ(raisedBy([&] { book->setUserInfo(nullptr); }), refusal);
  EXPECT_EQ(raisedBy([&] { attribute->setAttributeType(NSStringAttributeType); }), refusal);
  EXPECT_EQ(raisedBy([&] { attribute->setOptional(false); }), refusal);
  EXPECT_EQ(attribute->defaultValue(), Value(100));
}

TEST(NSManagedObjectModel, TheVersionHashFollowsWhatIsStoredAndNothingElse) {
  const auto hashOf = [](const Ref<NSEntityDescription>& entity) {
    return entity->versionHash()->toStdString();
  };
  const std::string plain = hashOf(entityNamed(
      "A", {attributeNamed("x", NSStringAttributeType), attributeNamed("y", NSDateAttributeType)}));
  EXPECT_EQ(plain.size(), 16u);
  auto other = entityNamed(
      "A", {attributeNamed("y", NSDateAttributeType), attributeNamed("x", NSStringAttributeType)});
  other->setManagedObjectClassName("Country");
  other->setUserInfo(NSDictionary::dictionaryWithEntries({{"k", "v"}}));
  EXPECT_EQ(hashOf(other), plain);
  EXPECT_NE(hashOf(entityNamed("A", {attributeNamed("x", NSStringAttributeType),
                                     attributeNamed("y", NSInteger16AttributeType)})),
            plain);
  EXPECT_NE(hashOf(entityNamed("B", {attributeNamed("x", NSStringAttributeType),
                                     attributeNamed("y", NSDateAttributeType)})),
            plain);
  other->setVersionHashModifier("2");
  EXPECT_NE(hashOf(other), plain);
  EXPECT_EQ(Value(libraryModel()->entityVersionHashesByName()),
            Value(libraryModel()->entityVersionHashesByName()));
}

TEST(NSManagedObjectModel, APropertyBelongsToOneEntity) {
  auto shared = attributeNamed("x", NSStringAttributeType);
  auto first = entityNamed("First", {shared});
  EXPECT_EQ(shared->entity(), first);
  EXPECT_EQ(raisedName([&] { entityNamed("Second", {shared}); }), NSInvalidArgumentException);
  first->setProperties(NSArray::array());
  EXPECT_EQ(shared->entity(), nullptr);
  EXPECT_EQ(raisedName([&] { entityNamed("Second", {shared}); }), "");
}

TEST(NSManagedObjectModel, ADescriptionOutlivesItsModel) {
  Ref<NSEntityDescription> book = libraryModel()->entityWithName("Book");
  EXPECT_EQ(book->managedObjectModel(), nullptr);
  EXPECT_EQ(book->name()->toStdString(), "Book");
  EXPECT_EQ(book->superentity(), nullptr);
}

}  // namespace
}  // namespace JNFoundation
