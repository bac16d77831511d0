#include "../value/Raising.h"
#include "ModelGrower.h"

namespace JNFoundation {
namespace {

using testing::raisedBy;
using testing::raisedName;

Ref<NSFetchIndexElementDescription> elementNamed(const char* property) {
  return NSFetchIndexElementDescription::initWithPropertyNameCollationType(
      property, NSFetchIndexElementTypeBinary);
}

TEST(ModelIndexes, AnElementFindsItsPropertyInTheEntityOfTheIndex) {
  auto model = libraryModel();
  auto book = model->entityWithName("Book");
  auto year = elementNamed("year");
  EXPECT_EQ(year->property(), nullptr) << "it is in no index yet";
  auto index = NSFetchIndexDescription::initWithNameElements(
      "byYear", NSArray::arrayWithObjects(year, elementNamed("isbn")));
  EXPECT_EQ(year->property(), nullptr) << "the index is in no entity yet";
  book->setIndexes(NSArray::arrayWithObject(index));
  EXPECT_EQ(index->entity(), book);
  EXPECT_EQ(year->indexDescription(), index);
  EXPECT_EQ(Value(year->property()),
            model->entityWithName("Work")->attributesByName()->objectForKey("year"));
  auto isbn = as<NSPropertyDescription>(book->attributesByName()->objectForKey("isbn"));
  auto given = NSFetchIndexElementDescription::initWithPropertyCollationType(
      isbn, NSFetchIndexElementTypeRTree);
  EXPECT_EQ(given->property(), isbn);
  EXPECT_EQ(given->propertyName()->toStdString(), "isbn");
  EXPECT_EQ(given->collationType(), NSFetchIndexElementTypeRTree);
  EXPECT_TRUE(given->isAscending());
  book->setIndexes(nullptr);
  EXPECT_EQ(index->entity(), nullptr);
}

TEST(ModelIndexes, ListsOfNamesStandForAscendingIndexes) {
  auto entity = entityNamed("E", {attributeNamed("year", NSInteger16AttributeType),
                                  attributeNamed("title", NSStringAttributeType)});
  const auto list = [](const auto&... names) { return NSArray::arrayWithObjects(names...); };
  entity->setIndexes(NSArray::arrayWithObjects(
      list("year", "title"), list("year"), list("year"),
      NSFetchIndexDescription::initWithNameElements("byYearIndex2", list(elementNamed("title"))),
      list("year")));
  std::string names;
  for (const Value& value : *entity->indexes()) {
    const auto* index = as<NSFetchIndexDescription>(value);
    names += index->name()->toStdString() + ":" + std::to_string(index->elements()->count()) + " ";
  }
  EXPECT_EQ(names,
            "byYearAndTitleIndex:2 byYearIndex:1 byYearIndex3:1 byYearIndex2:1 byYearIndex4:1 ");
}

TEST(ModelIndexes, WhatIsNoneIsRefused) {
  auto entity = entityNamed("E", {attributeNamed("year", NSInteger16AttributeType)});
  const auto given = [&](const Value& value) {
    return raisedBy([&] { entity->setIndexes(NSArray::arrayWithObject(value)); });
  };
  const std::string start =
      "NSInvalidArgumentException: The indexes of entity 'E' must be index descriptions or arrays "
      "of names, not ";
  EXPECT_EQ(given("year"), start + "year");
  EXPECT_NE(given(NSArray::array()), "");
  EXPECT_NE(given(NSArray::arrayWithObjects("year", 7)), "");
  EXPECT_NE(given(NSArray::arrayWithObjects("")), "");
  auto element = elementNamed("year");
  auto index =
      NSFetchIndexDescription::initWithNameElements("i", NSArray::arrayWithObject(element));
  EXPECT_EQ(given(index), "");
  EXPECT_EQ(raisedBy([&] { entityNamed("F", {})->setIndexes(NSArray::arrayWithObject(index)); }),
            "NSInvalidArgumentException: Index 'i' of entity 'F' belongs to entity 'E' already");
  EXPECT_EQ(raisedBy([&] {
              NSFetchIndexDescription::initWithNameElements("j", NSArray::arrayWithObject(element));
            }),
            "NSInvalidArgumentException: The element over 'year' is part of the index 'i' already");
  EXPECT_EQ(raisedName([&] { index->setElements(NSArray::arrayWithObject("year")); }),
            NSInvalidArgumentException);
  EXPECT_EQ(index->elements()->count(), 1u);
  EXPECT_EQ(raisedName([&] { index->setName(""); }), NSInvalidArgumentException);
  EXPECT_EQ(raisedName([] {
              NSFetchIndexElementDescription::initWithPropertyCollationType(
                  nullptr, NSFetchIndexElementTypeBinary);
            }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([] { elementNamed(""); }), NSInvalidArgumentException);
}

TEST(ModelIndexes, IndexesChangeNoMoreOnceTheModelIsInUse) {
  auto model = libraryModel();
  auto element = elementNamed("isbn");
  auto index =
      NSFetchIndexDescription::initWithNameElements("i", NSArray::arrayWithObject(element));
  model->entityWithName("Book")->setIndexes(NSArray::arrayWithObject(index));
  ASSERT_TRUE(model->makeImmutable());
  for (const std::string& raised :
       {raisedBy([&] { index->setName("j"); }), raisedBy([&] { index->setElements(nullptr); }),
        raisedBy([&] { element->setAscending(false); }),
        raisedBy([&] { element->setCollationType(NSFetchIndexElementTypeRTree); }),
        raisedBy([&] { model->setFetchRequestTemplateForName(nullptr, "t"); }),
        raisedBy([&] { model->setEntitiesForConfiguration(nullptr, "c"); })}) {
    EXPECT_EQ(raised, "NSInternalInconsistencyException: Can't modify an immutable model.");
  }
}

TEST(ModelIndexes, OldFilesMarkIndexesAtTheProperties) {
  Ref<NSError> error;
  auto model = NSManagedObjectModel::modelWithXMLError(
      "<model><entity name='E'><attribute name='a' attributeType='String' indexed='YES'/>"
      "<attribute name='b' attributeType='String' indexed='YES'/>"
      "<attribute name='t' attributeType='String' indexed='YES' transient='YES'/>"
      "<relationship name='one' destinationEntity='E' indexed='YES' maxCount='1'/>"
      "<relationship name='many' destinationEntity='E' indexed='YES' toMany='YES'/>"
      "<fetchIndex name='mine'><fetchIndexElement property='a' type='RTree' order='descending'/>"
      "</fetchIndex><compoundIndexes><compoundIndex><index value='a'/><index value='b'/>"
      "</compoundIndex><compoundIndex/></compoundIndexes></entity></model>",
      &error);
  ASSERT_TRUE(model) << error->description()->utf8();
  std::string found;
  for (const Value& value : *model->entityWithName("E")->indexes()) {
    const auto* index = as<NSFetchIndexDescription>(value);
    found += index->name()->toStdString() + "(";
    for (const Value& element : *index->elements()) {
      const auto* over = as<NSFetchIndexElementDescription>(element);
      found += over->propertyName()->toStdString() + (over->isAscending() ? "+" : "-") +
               (over->collationType() == NSFetchIndexElementTypeRTree ? "r" : "");
    }
    found += ") ";
  }
  EXPECT_EQ(found, "mine(a-r) byAAndBIndex(a+b+) byBIndex(b+) byOneIndex(one+) ");
}

TEST(FetchRequestTemplates, ARequestIsKeptAndGivenAsACopy) {
  auto model = libraryModel();
  auto request = NSFetchRequest::fetchRequestWithEntityName("Book");
  request->setFetchLimit(3);
  model->setFetchRequestTemplateForName(request, "some");
  request->setFetchLimit(4);
  auto first = model->fetchRequestTemplateForName("some");
  ASSERT_TRUE(first);
  EXPECT_EQ(first->fetchLimit(), 3u);
  EXPECT_EQ(first->entity(), model->entityWithName("Book")) << "looked up by its name";
  first->setFetchLimit(5);
  EXPECT_EQ(model->fetchRequestTemplateForName("some")->fetchLimit(), 3u);
  EXPECT_EQ(model->fetchRequestTemplateForName("other"), nullptr);
  EXPECT_EQ(model->fetchRequestTemplateForName(nullptr), nullptr);
  model->setFetchRequestTemplateForName(request, "other");
  EXPECT_EQ(
      model->fetchRequestTemplatesByName()->allKeys()->componentsJoinedByString(" ")->toStdString(),
      "some other");
  model->setFetchRequestTemplateForName(request, "some");
  EXPECT_EQ(model->fetchRequestTemplateForName("some")->fetchLimit(), 4u);
  model->setFetchRequestTemplateForName(nullptr, "some");
  EXPECT_EQ(model->fetchRequestTemplatesByName()->count(), 1u);
  EXPECT_EQ(raisedName([&] { model->setFetchRequestTemplateForName(request, ""); }),
            NSInvalidArgumentException);
  EXPECT_EQ(raisedName([&] { model->setFetchRequestTemplateForName(request, nullptr); }),
            NSInvalidArgumentException);
}

TEST(FetchRequestTemplates, EveryVariableNeedsAValueAndNullIsTheNullMarker) {
  auto model = libraryModel();
  auto request = NSFetchRequest::fetchRequestWithEntityName("Book");
  request->setPredicate(
      NSPredicate::predicateWithFormat("title == $TITLE AND (year > $YEAR OR isbn == $ISBN)"));
  model->setFetchRequestTemplateForName(request, "wanted");
  const auto made = [&](std::vector<NSDictionary::Pair> values) {
    return model->fetchRequestFromTemplateWithNameSubstitutionVariables(
        "wanted", NSDictionary::dictionaryWithEntries(std::move(values)));
  };
  auto found = made({{"TITLE", "a"}, {"YEAR", 1900}, {"ISBN", NSNull::null()}, {"MORE", 1}});
  const auto holds = [&](const char* title, const Value& isbn) {
    return found->predicate()->evaluateWithObject(
        NSDictionary::dictionaryWithEntries({{"title", title}, {"year", 1900}, {"isbn", isbn}}));
  };
  EXPECT_TRUE(holds("a", NSNull::null()));
  EXPECT_FALSE(holds("b", NSNull::null()));
  EXPECT_FALSE(holds("a", "x"));
  EXPECT_EQ(found->entity(), model->entityWithName("Book"));
  const std::string start =
      "NSInvalidArgumentException: The fetch request 'wanted' cannot be made of its template: "
      "Can't get value for 'ISBN' in bindings ";
  EXPECT_EQ(raisedBy([&] {
              made({{"TITLE", "a"}, {"YEAR", 1900}});
            }).substr(0, start.size()),
            start);
  EXPECT_NE(raisedBy([&] {
              model->fetchRequestFromTemplateWithNameSubstitutionVariables("wanted", nullptr);
            }),
            "");
  EXPECT_EQ(Value(model->fetchRequestTemplateForName("wanted")->predicate()),
            Value(request->predicate()))
      << "the template keeps its variables";
  EXPECT_EQ(model->fetchRequestFromTemplateWithNameSubstitutionVariables("none", nullptr), nullptr);
  model->setFetchRequestTemplateForName(NSFetchRequest::fetchRequestWithEntityName("Book"), "all");
  EXPECT_EQ(
      model->fetchRequestFromTemplateWithNameSubstitutionVariables("all", nullptr)->predicate(),
      nullptr);
}

TEST(FetchRequestTemplates, AFileSpellsTheFlagsBothWaysAndLeavesOutWhatIsFalse) {
  Ref<NSError> error;
  auto model = NSManagedObjectModel::modelWithXMLError(
      "<model><entity name='E'/>"
      "<fetchRequest name='none' entity='E'/>"
      "<fetchRequest name='mixed' entity='E' predicateString='name = $N' fetchLimit='7' "
      "fetchBatchSize='20' resultType='1' includeSubentities='YES' includePropertyValues='YES' "
      "includesPendingChanges='YES' returnObjectsAsFaults='YES' returnDistinctResults='YES'/>"
      "<fetchRequest name='other' entity='E' resultType='0' includesSubentities='YES' "
      "includesPropertyValues='YES' includePendingChanges='YES' returnsObjectsAsFaults='YES' "
      "returnsDistinctResults='YES'/></model>",
      &error);
  ASSERT_TRUE(model) << error->description()->utf8();
  const auto flags = [&](const char* name) {
    auto request = model->fetchRequestTemplateForName(name);
    std::string text;
    for (const bool flag : {request->includesSubentities(), request->includesPropertyValues(),
                            request->includesPendingChanges(), request->returnsObjectsAsFaults(),
                            request->returnsDistinctResults()}) {
      text += flag ? '1' : '0';
    }
    return text;
  };
  EXPECT_EQ(flags("none"), "00000");
  EXPECT_EQ(flags("mixed"), "11111");
  EXPECT_EQ(flags("other"), "11111");
  auto mixed = model->fetchRequestTemplateForName("mixed");
  EXPECT_EQ(mixed->fetchLimit(), 7u);
  EXPECT_EQ(mixed->fetchBatchSize(), 20u);
  EXPECT_EQ(mixed->resultType(), NSManagedObjectIDResultType);
  EXPECT_EQ(mixed->predicate()->predicateFormat()->toStdString(), "name == $N");
  EXPECT_EQ(mixed->entity(), model->entityWithName("E"));
}

TEST(Configurations, EntitiesAreDividedByName) {
  auto model = libraryModel();
  const auto names = [&](const Ref<NSString>& configuration) {
    std::string text;
    const Ref<NSArray> entities = model->entitiesForConfiguration(configuration);
    if (!entities) return std::string("none");
    for (const Value& entity : *entities) {
      text += as<NSEntityDescription>(entity)->name()->toStdString() + " ";
    }
    return text;
  };
  const auto listed = [&](std::vector<const char*> entities) {
    std::vector<Value> all;
    for (const char* name : entities) all.emplace_back(model->entityWithName(name));
    return NSArray::arrayWithValues(std::move(all));
  };
  EXPECT_EQ(model->configurations()->count(), 0u);
  model->setEntitiesForConfiguration(listed({"Note", "Work", "Note"}), "user");
  model->setEntitiesForConfiguration(listed({}), "empty");
  EXPECT_EQ(model->configurations()->componentsJoinedByString(" ")->toStdString(), "user empty");
  EXPECT_EQ(names("user"), "Note Work ");
  EXPECT_EQ(names("empty"), "");
  EXPECT_EQ(names("other"), "none");
  EXPECT_EQ(names(nullptr), "Work Note Book Film AudioBook ") << "the whole model";
  model->setEntitiesForConfiguration(listed({"Film"}), "user");
  EXPECT_EQ(names("user"), "Film ");
  model->setEntitiesForConfiguration(nullptr, "user");
  EXPECT_EQ(names("user"), "none");
  for (const Value& stranger : {Value(entityNamed("Film", {})), Value("Film")}) {
    EXPECT_EQ(raisedName([&] {
                model->setEntitiesForConfiguration(NSArray::arrayWithObject(stranger), "c");
              }),
              NSInvalidArgumentException);
  }
  EXPECT_EQ(raisedName([&] { model->setEntitiesForConfiguration(nullptr, nullptr); }),
            NSInvalidArgumentException);
  EXPECT_EQ(model->configurations()->componentsJoinedByString(" ")->toStdString(), "empty");
}

TEST(FetchedProperties, TheRequestIsACopyThatKeepsNoEntityAlive) {
  Weak<NSEntityDescription> watched;
  auto property = NSFetchedPropertyDescription::init();
  {
    property->setName("same");
    auto entity = entityNamed("E", {property});
    watched = Weak<NSEntityDescription>(entity);
    auto model = modelOf({entity});
    auto request = NSFetchRequest::init();
    request->setEntity(entity);
    request->setPredicate(NSPredicate::predicateWithFormat("code == $FETCH_SOURCE.code"));
    property->setFetchRequest(request);
    request->setPredicate(nullptr);
    EXPECT_EQ(property->fetchRequest()->entity(), entity);
    EXPECT_EQ(property->fetchRequest()->predicate()->predicateFormat()->toStdString(),
              "code == $FETCH_SOURCE.code");
    property->setFetchRequest(NSFetchRequest::fetchRequestWithEntityName("E"));
    EXPECT_EQ(property->fetchRequest()->entity(), entity) << "looked up by its name";
    EXPECT_EQ(Value(entity->propertiesByName()->objectForKey("same")), Value(property));
    EXPECT_EQ(entity->attributesByName()->count(), 0u);
    EXPECT_EQ(entity->relationshipsByName()->count(), 0u);
    property->setFetchRequest(request);
  }
  EXPECT_EQ(watched.load(), nullptr) << "a request of the entity itself is no cycle";
  EXPECT_EQ(property->fetchRequest()->entity(), nullptr);
  property->setFetchRequest(nullptr);
  EXPECT_EQ(property->fetchRequest(), nullptr);
}

/// The parameter is the kind of store.
class StoresOfWholeModels : public ::testing::TestWithParam<const char*> {};

TEST_P(StoresOfWholeModels, DerivedAndFetchedPropertiesAndIndexesAreNoHindrance) {
  Ref<NSError> error;
  auto model = NSManagedObjectModel::modelWithXMLError(
      "<model><entity name='E'><attribute name='name' attributeType='String' optional='YES'/>"
      "<attribute name='lower' attributeType='String' optional='YES' derived='YES' "
      "derivationExpression='lowercase:(name)'/>"
      "<attribute name='made' optional='YES' derived='YES' derivationExpression='now()'/>"
      "<relationship name='next' optional='YES' maxCount='1' destinationEntity='E'/>"
      "<fetchedProperty name='same' optional='YES'><fetchRequest name='f' entity='E' "
      "predicateString='name == $FETCH_SOURCE.name'/></fetchedProperty>"
      "<fetchIndex name='i'><fetchIndexElement property='lower' order='descending'/>"
      "<fetchIndexElement property='name' type='RTree'/></fetchIndex>"
      "<fetchIndex name='j'><fetchIndexElement property='next'/></fetchIndex></entity>"
      "<entity name='e'/><fetchRequest name='byName' entity='E' predicateString='name == $NAME' "
      "includesPendingChanges='YES'/></model>",
      &error);
  ASSERT_TRUE(model) << error->description()->utf8();
  TemporaryDirectory directory;
  auto coordinator = NSPersistentStoreCoordinator::initWithManagedObjectModel(model);
  ASSERT_TRUE(coordinator->addPersistentStoreWithTypeConfigurationURLOptionsError(
      GetParam(), nullptr, NSURL::fileURLWithPath(directory.file("store")), nullptr, &error))
      << error->description()->utf8();
  auto context = NSManagedObjectContext::init();
  context->setPersistentStoreCoordinator(coordinator);
  for (const char* name : {"One", "Two"}) {
    auto object =
        NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("E", context);
    object->setValueForKey(name, "name");
  }
  NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("e", context);
  ASSERT_TRUE(context->save(&error)) << error->description()->utf8();
  context->reset();
  auto request = model->fetchRequestFromTemplateWithNameSubstitutionVariables(
      "byName", NSDictionary::dictionaryWithEntries({{"NAME", "Two"}}));
  const Ref<NSArray> found = context->executeFetchRequestError(request, &error);
  ASSERT_TRUE(found) << error->description()->utf8();
  ASSERT_EQ(found->count(), 1u);
  const Value object = found->firstObject();
  EXPECT_EQ(as<NSManagedObject>(object)->valueForKey("name"), Value("Two"));
  EXPECT_TRUE(as<NSManagedObject>(object)->valueForKey("lower").isNull());
  EXPECT_EQ(raisedName([&] { as<NSManagedObject>(object)->valueForKey("same"); }),
            NSUndefinedKeyException);
}

INSTANTIATE_TEST_SUITE_P(BothKinds, StoresOfWholeModels,
                         ::testing::Values(NSSQLiteStoreType, NSInMemoryStoreType));

/// The hash of an entity that has the relationship `r`, once the change was made.
template <class Change>
std::string hashAfter(const Change& change) {
  auto other = entityNamed("Other", {});
  auto third = entityNamed("Third", {});
  auto back = relationshipNamed("back", nullptr, 0);
  auto relationship = relationshipNamed("r", other, 0);
  auto attribute = attributeNamed("a", NSStringAttributeType);
  auto entity = entityNamed("E", {relationship, attribute});
  back->setDestinationEntity(entity);
  other->setProperties(NSArray::arrayWithObject(back));
  struct {
    NSEntityDescription& entity;
    NSRelationshipDescription& relationship;
    NSAttributeDescription& attribute;
    Ref<NSRelationshipDescription> back;
    Ref<NSEntityDescription> third;
  } parts{*entity, *relationship, *attribute, back, third};
  change(parts);
  return entity->versionHash()->toStdString();
}

TEST(VersionHashes, WhatIsStoredIsPartOfThem) {
  const std::string plain = hashAfter([](auto&) {});
  EXPECT_NE(hashAfter([](auto& p) { p.relationship.setInverseRelationship(p.back); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.relationship.setDestinationEntity(p.third); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.relationship.setMinCount(1); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.relationship.setMaxCount(1); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.relationship.setName("q"); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.relationship.setOptional(false); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.relationship.setTransient(true); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.relationship.setVersionHashModifier("2"); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.attribute.setAttributeType(NSDateAttributeType); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.attribute.setOptional(false); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.attribute.setTransient(true); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.entity.setAbstract(true); }), plain);
  EXPECT_NE(hashAfter([](auto& p) { p.entity.setName("F"); }), plain);
  EXPECT_NE(
      hashAfter([](auto& p) {
        p.entity.setUniquenessConstraints(NSArray::arrayWithObject(NSArray::arrayWithObjects("a")));
      }),
      plain);
  EXPECT_NE(
      hashAfter([](auto& p) {
        p.third->setSubentities(NSArray::arrayWithObject(Ref<NSEntityDescription>(&p.entity)));
      }),
      plain);
}

TEST(VersionHashes, WhatIsNotStoredIsNoPartOfThem) {
  const std::string plain = hashAfter([](auto&) {});
  const auto info = NSDictionary::dictionaryWithEntries({{"k", "v"}});
  EXPECT_EQ(hashAfter([&](auto& p) {
              p.entity.setIndexes(NSArray::arrayWithObject(NSArray::arrayWithObjects("a")));
              p.entity.setUserInfo(info);
              p.entity.setManagedObjectClassName("Class");
              p.entity.setRenamingIdentifier("Former");
              p.attribute.setUserInfo(info);
              p.attribute.setDefaultValue("d");
              p.attribute.setMinimumValue(1);
              p.attribute.setMaximumValue(2);
              p.attribute.setRegularExpression("x");
              p.attribute.setRenamingIdentifier("former");
              p.attribute.setValueTransformerName("T");
              p.relationship.setUserInfo(info);
              p.relationship.setDeleteRule(NSCascadeDeleteRule);
              p.relationship.setRenamingIdentifier("former");
            }),
            plain);
  auto model = libraryModel();
  EXPECT_EQ(model->entityVersionHashesByName()->objectForKey("Book"),
            Value(model->entityWithName("Book")->versionHash()));
  EXPECT_EQ(model->entityVersionHashesByName()->count(), 5u);
}

}  // namespace
}  // namespace JNFoundation
