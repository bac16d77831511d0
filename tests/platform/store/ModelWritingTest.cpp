#include <bit>
#include <filesystem>
#include <fstream>
#include <limits>
#include <platform/store/ModelDifference.h>
#include <platform/store/StoreFixture.h>
#include <random>

#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

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

Ref<NSManagedObjectModel> modelOf(std::vector<Value> entities) {
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithValues(std::move(entities)));
  return model;
}

Ref<NSRelationshipDescription> relationshipNamed(const char* name,
                                                 const Ref<NSEntityDescription>& destination,
                                                 NSUInteger most) {
  auto made = NSRelationshipDescription::init();
  made->setName(name);
  made->setDestinationEntity(destination);
  made->setMaxCount(most);
  return made;
}

/// An attribute of each type, with a default and bounds where the type has texts for them.
std::vector<Value> attributesOfEveryType() {
  const auto decimal = [](const char* text) {
    return Value(NSDecimalNumber::decimalNumberWithString(text));
  };
  struct Case {
    const char* name;
    NSAttributeType type;
    Value initial, least, most;
  };
  const Case cases[] = {
      {"undefined", NSUndefinedAttributeType, {}, {}, {}},
      {"small", NSInteger16AttributeType, -7, INT16_MIN, INT16_MAX},
      {"middle", NSInteger32AttributeType, 0, INT32_MIN, INT32_MAX},
      {"large", NSInteger64AttributeType, 1, INT64_MIN, INT64_MAX},
      {"decimal", NSDecimalAttributeType, decimal("12.5"), decimal("-0.0000001"),
       decimal("12345678901234567890123456789012345678")},
      {"double", NSDoubleAttributeType, 0.1, -1e300, 5e-324},
      {"float", NSFloatAttributeType, 0.1f, -1.5f, 3e38f},
      {"string", NSStringAttributeType, " <a href=\"x\">\t'é😀'\n&amp;\r ", 1, 80},
      {"emptyString", NSStringAttributeType, "", {}, {}},
      {"flag", NSBooleanAttributeType, true, {}, {}},
      {"otherFlag", NSBooleanAttributeType, false, {}, {}},
      {"date", NSDateAttributeType, NSDate::dateWithTimeIntervalSinceReferenceDate(86400.25),
       NSDate::dateWithTimeIntervalSinceReferenceDate(-1e9),
       NSDate::dateWithTimeIntervalSinceReferenceDate(1e9 + 1.0 / 3)},
      {"data", NSBinaryDataAttributeType, {}, {}, {}},
      {"uuid",
       NSUUIDAttributeType,
       NSUUID::initWithUUIDString("68753A44-4D6F-1226-9C60-0050E4C00067"),
       {},
       {}},
      {"uri", NSURIAttributeType, NSURL::URLWithString("https://example.com/a?b=1&c=2"), {}, {}},
      {"transformable", NSTransformableAttributeType, {}, {}, {}},
      {"object", NSObjectIDAttributeType, {}, {}, {}},
  };
  std::vector<Value> all;
  for (const Case& test : cases) {
    auto attribute = attributeNamed(test.name, test.type);
    attribute->setTransient(test.type == NSUndefinedAttributeType);
    attribute->setDefaultValue(test.initial);
    attribute->setMinimumValue(test.least);
    attribute->setMaximumValue(test.most);
    all.emplace_back(attribute);
  }
  return all;
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
  // The way back is one that the destination inherits.
  spoken->setInverseRelationship(writer);
  author->setProperties(NSArray::arrayWithObjects(books, spoken));
  book->setProperties(NSArray::arrayWithObjects(writer, readers));
  book->setSubentities(NSArray::arrayWithObjects(audio));
  auto model = modelOf({author, book});
  expectRoundTrip(model);
  auto again = readBack(written(model));
  const Value value = again->entityWithName("Author")->relationshipsByName()->objectForKey("books");
  EXPECT_EQ(as<NSRelationshipDescription>(value)->inverseRelationship()->entity(),
            again->entityWithName("Book"));
}

/// Random models of all that models have.
class ModelGrower {
 public:
  explicit ModelGrower(unsigned seed) : _random(seed) {}

  Ref<NSManagedObjectModel> model() {
    std::vector<Ref<NSEntityDescription>> entities;
    std::vector<std::vector<Value>> properties;
    const int count = 1 + below(6);
    for (int i = 0; i < count; ++i) {
      auto entity = NSEntityDescription::init();
      entity->setName("Entity " + std::to_string(i) + text());
      entity->setAbstract(below(3) == 0);
      if (below(2)) entity->setManagedObjectClassName("Class" + std::to_string(i));
      if (below(3) == 0) entity->setRenamingIdentifier("Former" + text());
      if (below(3) == 0) entity->setVersionHashModifier("m" + text());
      entity->setUserInfo(userInfo());
      entities.push_back(entity);
      properties.emplace_back();
      for (int k = below(5); k > 0; --k) properties.back().push_back(attribute(i, k));
    }
    for (int i = 0; i < count; ++i) {
      if (below(2)) addRelationship(entities, properties, i);
    }
    std::vector<std::vector<Value>> descendants(entities.size());
    for (int i = 1; i < count; ++i) {
      if (below(2))
        descendants[static_cast<std::size_t>(below(i))].push_back(Value(entities[at(i)]));
    }
    std::vector<Value> all;
    for (std::size_t i = 0; i < entities.size(); ++i) {
      if (properties[i].size() > 1) {
        const auto names =
            NSArray::arrayWithObjects(as<NSPropertyDescription>(properties[i][0])->name(),
                                      as<NSPropertyDescription>(properties[i][1])->name());
        if (below(2)) entities[i]->setIndexes(NSArray::arrayWithObjects(names));
        if (below(2)) entities[i]->setUniquenessConstraints(NSArray::arrayWithObjects(names));
      }
      entities[i]->setProperties(NSArray::arrayWithValues(std::move(properties[i])));
      entities[i]->setSubentities(NSArray::arrayWithValues(std::move(descendants[i])));
      all.emplace_back(entities[i]);
    }
    auto model = modelOf(std::move(all));
    if (below(2)) model->setVersionIdentifier("v" + text());
    return model;
  }

 private:
  int below(int bound) { return static_cast<int>(_random() % static_cast<unsigned>(bound)); }
  static std::size_t at(int index) { return static_cast<std::size_t>(index); }

  std::string text() {
    static const char* pieces[] = {"a",  "B",  " ", "<", "&",   "\"",    "'", ">", "\n",
                                   "\t", "\r", "é", "😀", "]]>", "&amp;", "=", "%", "\x7F"};
    std::string made;
    for (int i = below(5); i > 0; --i)
      made += pieces[at(below(static_cast<int>(std::size(pieces))))];
    return made;
  }

  Ref<NSDictionary> userInfo() {
    NSDictionary::Builder entries;
    for (int i = below(3); i > 0; --i) {
      entries.set(NSString::fromText(text()), NSString::fromText(text()));
    }
    return entries.finish();
  }

  Value attribute(int entity, int number) {
    const auto kinds = attributesOfEveryType();
    const Value value = kinds[at(below(static_cast<int>(kinds.size())))];
    auto* made = as<NSAttributeDescription>(value);
    made->setName("p" + std::to_string(entity) + "_" + std::to_string(number) + text());
    made->setOptional(below(2));
    made->setTransient(made->isTransient() || below(4) == 0);
    made->setUserInfo(userInfo());
    if (below(4) == 0) made->setRegularExpression("r" + text());
    if (below(4) == 0) made->setVersionHashModifier("m" + text());
    if (below(4) == 0) made->setRenamingIdentifier("former" + text());
    if (below(2)) made->setDefaultValue(nullptr);
    if (made->attributeType() == NSDoubleAttributeType) {
      made->setDefaultValue(
          std::bit_cast<double>((static_cast<std::uint64_t>(_random()) << 30) ^ _random()));
    }
    return value;
  }

  void addRelationship(const std::vector<Ref<NSEntityDescription>>& entities,
                       std::vector<std::vector<Value>>& properties, int from) {
    const int to = below(static_cast<int>(entities.size()));
    const auto name = [&](const char* kind) { return kind + std::to_string(from) + text(); };
    auto there = relationshipNamed(name("there").c_str(), entities[at(to)],
                                   static_cast<NSUInteger>(below(4)));
    auto back = relationshipNamed(name("back").c_str(), entities[at(from)],
                                  static_cast<NSUInteger>(below(4)));
    for (const auto& made : {there, back}) {
      made->setOrdered(below(2));
      made->setOptional(below(2));
      made->setMinCount(static_cast<NSUInteger>(below(2)));
      made->setDeleteRule(static_cast<NSDeleteRule>(below(4)));
      made->setUserInfo(userInfo());
    }
    if (below(3)) {
      there->setInverseRelationship(back);
      back->setInverseRelationship(there);
    }
    properties[at(from)].emplace_back(there);
    properties[at(to)].emplace_back(back);
  }

  std::mt19937 _random;
};

TEST(ModelWriting, RandomModelsComeBack) {
  ModelGrower grower(2001);
  for (int round = 0; round < 300 && !::testing::Test::HasFailure(); ++round) {
    SCOPED_TRACE(round);
    expectRoundTrip(grower.model());
  }
}

struct Refusal {
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
  auto indexed = entityNamed("Indexed", {});
  indexed->setIndexes(NSArray::arrayWithObjects("name"));
  auto moduled = entityNamed("Moduled", {});
  moduled->setManagedObjectClassName("Module.Class");
  auto away = entityNamed("Away", {relationshipNamed("other", entityNamed("Gone", {}), 1)});
  auto back = entityNamed("Back", {});
  auto there = relationshipNamed("there", back, 1);
  auto nobodys = relationshipNamed("nobodys", back, 1);
  there->setInverseRelationship(nobodys);
  back->setProperties(NSArray::arrayWithObjects(there));
  auto untyped = modelOf({entityNamed("Plain", {attributeNamed("any", NSUndefinedAttributeType)})});
  const Refusal refusals[] = {
      {with(data), "defaultValueString", "E", "data"},
      {with(count), "defaultValueString", "E", "count"},
      {with(half), "minValueString", "E", "half"},
      {with(endless), "maxValueString", "E", "endless"},
      {with(control), "character", "E", "control"},
      {with(marked), "character", "E", "marked"},
      {with(number), "no string", "E", "number"},
      {modelOf({indexed}), "indexes", "Indexed", nullptr},
      {modelOf({moduled}), "module", "Moduled", nullptr},
      {modelOf({away}), "no entity of the model", "Away", "other"},
      {modelOf({back}), "inverse 'nobodys'", "Back", "there"},
      {untyped, "has no type", "Plain", "any"},
  };
  for (const Refusal& refusal : refusals) {
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
