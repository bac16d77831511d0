#include <filesystem>
#include <fstream>
#include <limits>
#include <platform/store/ModelDifference.h>
#include <platform/store/ModelGrower.h>

#include <JNFoundation/platform/value/NSData.h>

namespace JNFoundation {
namespace {

std::string written(const Ref<NSManagedObjectModel>& model) {
  Ref<NSError> error;
  Ref<NSString> text = model->XMLTextError(&error);
  EXPECT_TRUE(text) << (error ? error->description()->toStdString() : "no error");
  EXPECT_EQ(text == nullptr, error != nullptr);
  return text ? text->toStdString() : "";
}

Ref<NSManagedObjectModel> readBack(const std::string& xml) {
  Ref<NSError> error;
  auto model = NSManagedObjectModel::modelWithXMLError(xml, &error);
  EXPECT_TRUE(model) << (error ? error->description()->toStdString() : "") << "\n" << xml;
  return model;
}

/// Writes, reads and writes again: the same model, the same text.
void expectRoundTrip(const Ref<NSManagedObjectModel>& model) {
  const std::string xml = written(model);
  auto again = readBack(xml);
  ASSERT_TRUE(again);
  EXPECT_EQ(ModelDifference::between(*model, *again), "") << xml;
  EXPECT_EQ(written(again), xml);
}

TEST(ModelWriting, EveryAttributeTypeComesBackWithItsDefaultAndBounds) {
  expectRoundTrip(modelOf({entityNamed("Everything", attributesOfEveryType())}));
}

TEST(ModelWriting, WhatAnAttributeCarriesComesBack) {
  auto attribute = attributeNamed("code", NSTransformableAttributeType, false);
  attribute->setTransient(true);
  attribute->setValueTransformerName("CodeTransformer");
  attribute->setAttributeValueClassName("Code");
  attribute->setRegularExpression("[<&>]{2,}\\d\"");
  attribute->setAllowsExternalBinaryDataStorage(true);
  attribute->setVersionHashModifier("two");
  attribute->setRenamingIdentifier("formerCode");
  attribute->setUserInfo(NSDictionary::dictionaryWithEntries(
      {{"$alpha", "a|b"}, {"", ""}, {"%k.$fr", "line\nbreak"}, {"z", " "}}));
  expectRoundTrip(modelOf({entityNamed("Thing", {attribute})}));
}

TEST(ModelWriting, EntitiesComeBackWithParentsClassAndUserInfo) {
  auto model = libraryModel();
  model->setVersionIdentifier("v 7");
  auto book = model->entityWithName("Book");
  book->setManagedObjectClassName("LibraryBook");
  book->setRenamingIdentifier("Tome");
  book->setVersionHashModifier("m");
  book->setUserInfo(NSDictionary::dictionaryWithEntries({{"key", "value"}}));
  book->setIndexes(NSArray::arrayWithObjects(NSArray::arrayWithObjects("isbn"),
                                             NSArray::arrayWithObjects("title", "pages")));
  book->setUniquenessConstraints(NSArray::arrayWithObjects(
      NSArray::arrayWithObjects("isbn"), NSArray::arrayWithObjects("title", "year")));
  expectRoundTrip(model);
  expectRoundTrip(NSManagedObjectModel::init());
}

TEST(ModelWriting, RelationshipsComeBackWithInverseCountsAndRule) {
  auto author = entityNamed("Author", {});
  auto book = entityNamed("Book", {});
  auto audio = entityNamed("Audio", {});
  auto reader = entityNamed("Reader", {});
  auto books = relationshipNamed("books", book, 0);
  books->setOrdered(true);
  books->setDeleteRule(NSCascadeDeleteRule);
  auto writer = relationshipNamed("writer", author, 1);
  writer->setOptional(false);
  writer->setMinCount(1);
  books->setInverseRelationship(writer);
  writer->setInverseRelationship(books);
  auto readers = relationshipNamed("readers", author, 12);
  readers->setMinCount(2);
  readers->setDeleteRule(NSDenyDeleteRule);
  auto spoken = relationshipNamed("spoken", audio, 0);
  spoken->setDeleteRule(NSNoActionDeleteRule);
  auto friends = relationshipNamed("friends", reader, 0);
  friends->setInverseRelationship(friends);
  reader->setProperties(NSArray::arrayWithObjects(friends));
  author->setProperties(NSArray::arrayWithObjects(books, spoken));
  book->setProperties(NSArray::arrayWithObjects(writer, readers));
  book->setSubentities(NSArray::arrayWithObjects(audio));
  auto model = modelOf({author, book, reader});
  expectRoundTrip(model);
  auto again = readBack(written(model));
  const Value value = again->entityWithName("Author")->relationshipsByName()->objectForKey("books");
  EXPECT_EQ(as<NSRelationshipDescription>(value)->inverseRelationship()->entity(),
            again->entityWithName("Book"));
}

TEST(ModelWriting, TheTextIsThatOfThePlatformsFiles) {
  auto lower = NSDerivedAttributeDescription::init();
  lower->setName("lower");
  lower->setAttributeType(NSStringAttributeType);
  lower->setDerivationExpression("lowercase:(name)");
  auto request = NSFetchRequest::fetchRequestWithEntityName("Author");
  request->setPredicate(NSPredicate::predicateWithFormat("name == $NAME"));
  request->setFetchLimit(5);
  auto fetched = NSFetchedPropertyDescription::init();
  fetched->setName("same");
  fetched->setFetchRequest(request);
  auto author =
      entityNamed("Author", {attributeNamed("name", NSStringAttributeType, false), lower, fetched});
  auto descending = NSFetchIndexElementDescription::initWithPropertyNameCollationType(
      "name", NSFetchIndexElementTypeBinary);
  descending->setAscending(false);
  author->setIndexes(NSArray::arrayWithObject(NSFetchIndexDescription::initWithNameElements(
      "byName", NSArray::arrayWithObject(descending))));
  author->setUniquenessConstraints(NSArray::arrayWithObject(NSArray::arrayWithObjects("name")));
  auto model = modelOf({author});
  request->setReturnsObjectsAsFaults(false);
  model->setFetchRequestTemplateForName(request, "named");
  model->setEntitiesForConfiguration(NSArray::arrayWithObject(author), "user");
  EXPECT_EQ(written(model),
            R"xml(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<model type="com.apple.IDECoreDataModeler.DataModel" documentVersion="1.0">
    <entity name="Author" representedClassName="NSManagedObject">
        <attribute name="name" attributeType="String" />
        <attribute name="lower" optional="YES" attributeType="String" derived="YES" derivationExpression="lowercase:(name)" />
        <fetchedProperty name="same" optional="YES">
            <fetchRequest name="fetchedPropertyFetchRequest" entity="Author" predicateString="name == $NAME" fetchLimit="5" includeSubentities="YES" includePropertyValues="YES" includesPendingChanges="YES" returnObjectsAsFaults="YES" />
        </fetchedProperty>
        <fetchIndex name="byName">
            <fetchIndexElement property="name" type="Binary" order="descending" />
        </fetchIndex>
        <uniquenessConstraints>
            <uniquenessConstraint>
                <constraint value="name" />
            </uniquenessConstraint>
        </uniquenessConstraints>
    </entity>
    <fetchRequest name="named" entity="Author" predicateString="name == $NAME" fetchLimit="5" includeSubentities="YES" includePropertyValues="YES" includesPendingChanges="YES" />
    <configuration name="user">
        <memberEntity name="Author" />
    </configuration>
</model>
)xml");
}

TEST(ModelWriting, RandomModelsComeBack) {
  ModelGrower grower(2001);
  for (int round = 0; round < 300 && !::testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(round);
    expectRoundTrip(grower.model());
  }
}

struct RefusedModel {
  Ref<NSManagedObjectModel> model;
  const char* part;
  Value entity, property;
};

TEST(ModelWriting, WhatTheFileHasNoFormForIsRefusedByEntityAndProperty) {
  const auto with = [](const Ref<NSAttributeDescription>& attribute) {
    return modelOf({entityNamed("E", {attribute})});
  };
  auto data = attributeNamed("data", NSBinaryDataAttributeType);
  data->setDefaultValue(NSData::dataWithBytesLength("x", 1));
  auto count = attributeNamed("count", NSInteger16AttributeType);
  count->setDefaultValue(70000);
  auto half = attributeNamed("half", NSInteger32AttributeType);
  half->setMinimumValue(0.5);
  auto endless = attributeNamed("endless", NSDoubleAttributeType);
  endless->setMaximumValue(std::numeric_limits<double>::infinity());
  auto control = attributeNamed("control", NSStringAttributeType);
  control->setDefaultValue("a\x01z");
  auto marked = attributeNamed("marked", NSStringAttributeType);
  marked->setUserInfo(NSDictionary::dictionaryWithEntries({{"k", "\xEF\xBF\xBE"}}));
  auto number = attributeNamed("number", NSStringAttributeType);
  number->setUserInfo(NSDictionary::dictionaryWithEntries({{"k", 7}}));
  auto sorted = NSFetchRequest::fetchRequestWithEntityName("Plain");
  sorted->setSortDescriptors(
      NSArray::arrayWithObjects(NSSortDescriptor::sortDescriptorWithKeyAscending("a", true)));
  auto chosen = NSFetchRequest::fetchRequestWithEntityName("Plain");
  chosen->setPropertiesToFetch(NSArray::arrayWithObjects("a"));
  auto later = NSFetchRequest::fetchRequestWithEntityName("Plain");
  later->setFetchOffset(3);
  auto counting = NSFetchRequest::fetchRequestWithEntityName("Plain");
  counting->setResultType(NSCountResultType);
  auto blocked = NSFetchRequest::fetchRequestWithEntityName("Plain");
  blocked->setPredicate(
      NSPredicate::predicateWithBlock([](const Value&, const Ref<NSDictionary>&) { return true; }));
  const auto asking = [](const Ref<NSFetchRequest>& request) {
    auto model = modelOf({entityNamed("Plain", {})});
    model->setFetchRequestTemplateForName(request, "wanted");
    return model;
  };
  auto fetched = NSFetchedPropertyDescription::init();
  fetched->setName("fetched");
  fetched->setFetchRequest(blocked);
  auto moduled = entityNamed("Moduled", {});
  moduled->setManagedObjectClassName("Module.Class");
  auto gone = entityNamed("Gone", {});
  auto away = entityNamed("Away", {relationshipNamed("other", gone, 1)});
  auto back = entityNamed("Back", {});
  auto there = relationshipNamed("there", back, 1);
  auto nobodys = relationshipNamed("nobodys", back, 1);
  there->setInverseRelationship(nobodys);
  back->setProperties(NSArray::arrayWithObjects(there));
  auto untyped = modelOf({entityNamed("Plain", {attributeNamed("any", NSUndefinedAttributeType)})});
  const RefusedModel refusals[] = {
      {with(data), "defaultValueString", "E", "data"},
      {with(count), "default value 70000, which is too large", "E", "count"},
      {with(half), "minValueString", "E", "half"},
      {with(endless), "maxValueString", "E", "endless"},
      {with(control), "character", "E", "control"},
      {with(marked), "character", "E", "marked"},
      {with(number), "no string", "E", "number"},
      {asking(sorted), "'wanted' cannot be written: a fetch request of a file has no sort", nullptr,
       nullptr},
      {asking(chosen), "propertiesToFetch", nullptr, nullptr},
      {asking(later), "fetchOffset", nullptr, nullptr},
      {asking(counting), "does not count", nullptr, nullptr},
      {asking(blocked), "the predicate BLOCKPREDICATE", nullptr, nullptr},
      {modelOf({entityNamed("Plain", {fetched})}), "the predicate BLOCKPREDICATE", "Plain",
       "fetched"},
      {modelOf({moduled}), "module", "Moduled", nullptr},
      {modelOf({away}), "no entity of the model", "Away", "other"},
      {modelOf({back}), "inverse 'nobodys'", "Back", "there"},
      {untyped, "has no type", "Plain", "any"},
  };
  for (const RefusedModel& refusal : refusals) {
    SCOPED_TRACE(refusal.part);
    Ref<NSError> error;
    EXPECT_FALSE(refusal.model->XMLTextError(&error));
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->localizedDescription()->containsString(refusal.part))
        << error->localizedDescription()->utf8();
    EXPECT_EQ(error->userInfo()->objectForKey("entity"), refusal.entity);
    EXPECT_EQ(error->userInfo()->objectForKey("property"), refusal.property);
    EXPECT_FALSE(refusal.model->XMLTextError()) << "without an error asked for";
  }
}

class ModelFilesWritten : public ::testing::Test {
 protected:
  bool write(const Ref<NSManagedObjectModel>& model, const std::string& name) {
    error = nullptr;
    return model->writeToFileError(directory.file(name), &error);
  }
  Ref<NSManagedObjectModel> read(const std::string& name) {
    error = nullptr;
    return NSManagedObjectModel::initWithContentsOfFileError(directory.file(name), &error);
  }
  /// The names of the files in a directory, joined.
  std::string listing(const std::string& name) const {
    std::string names;
    for (const auto& entry : std::filesystem::directory_iterator(directory.file(name))) {
      names += entry.path().filename().string() + " ";
    }
    return names;
  }

  TemporaryDirectory directory;
  Ref<NSError> error;
};

TEST_F(ModelFilesWritten, AFileOrADirectoryIsMadeAndReplaced) {
  auto first = modelOf({entityNamed("First", {attributeNamed("a", NSStringAttributeType)})});
  auto second = modelOf({entityNamed("Second", {})});
  for (const char* name : {"model.xml", "Plain.xcdatamodel", "Slash.xcdatamodel/"}) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(write(first, name));
    EXPECT_EQ(ModelDifference::between(*first, *read(name)), "");
    ASSERT_TRUE(write(second, name));
    EXPECT_EQ(ModelDifference::between(*second, *read(name)), "");
  }
  EXPECT_EQ(listing("Plain.xcdatamodel"), "contents ");
  EXPECT_TRUE(std::filesystem::is_regular_file(directory.file("model.xml")));
}

TEST_F(ModelFilesWritten, VersionsOfABundleAreWrittenOneByOneAndTheCurrentOneIsRead) {
  auto first = modelOf({entityNamed("First", {})});
  auto second = modelOf({entityNamed("Second", {})});
  ASSERT_TRUE(write(first, "Shop.xcdatamodeld/Shop.xcdatamodel"));
  EXPECT_EQ(ModelDifference::between(*first, *read("Shop.xcdatamodeld")), "");
  ASSERT_TRUE(write(second, "Shop.xcdatamodeld/Shop 2.xcdatamodel"));
  EXPECT_FALSE(read("Shop.xcdatamodeld"));
  std::ofstream(directory.file("Shop.xcdatamodeld/.xccurrentversion"))
      << "<plist><dict><key>_XCCurrentVersionName</key>"
         "<string>Shop 2.xcdatamodel</string></dict></plist>";
  EXPECT_EQ(ModelDifference::between(*second, *read("Shop.xcdatamodeld")), "");
  EXPECT_FALSE(write(first, "Shop.xcdatamodeld"));
  EXPECT_TRUE(error->localizedDescription()->containsString("bundle of versions"));
}

TEST_F(ModelFilesWritten, AFailureLeavesWhatWasThere) {
  auto good = modelOf({entityNamed("Good", {})});
  ASSERT_TRUE(write(good, "Kept.xcdatamodel"));
  auto data = attributeNamed("data", NSBinaryDataAttributeType);
  data->setDefaultValue(NSData::data());
  EXPECT_FALSE(write(modelOf({entityNamed("Bad", {data})}), "Kept.xcdatamodel"));
  EXPECT_EQ(error->userInfo()->objectForKey("property"), Value("data"));
  EXPECT_EQ(ModelDifference::between(*good, *read("Kept.xcdatamodel")), "");
  EXPECT_FALSE(write(good, "missing/model.xml"));
  EXPECT_EQ(error->userInfo()->objectForKey(NSFilePathErrorKey),
            Value(directory.file("missing/model.xml")));
  // A directory stands where the file should be.
  std::filesystem::create_directories(directory.file("Full.xcdatamodel/contents/inner"));
  EXPECT_FALSE(write(good, "Full.xcdatamodel"));
  EXPECT_EQ(listing("Full.xcdatamodel"), "contents ");
  EXPECT_FALSE(good->writeToFileError(nullptr, &error));
}

}  // namespace
}  // namespace JNFoundation
