#include <fstream>

#include "StoreFixture.h"

#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {
namespace {

constexpr const char* catalog = R"xml(<?xml version="1.0" encoding="UTF-8" standalone="yes"?>
<model type="com.apple.IDECoreDataModeler.DataModel" documentVersion="1.0"
       userDefinedModelVersionIdentifier="v3">
  <entity name="Country" representedClassName="Catalog.Country" parentEntity="Place">
    <attribute name="population" attributeType="Integer 64" defaultValueString="0"/>
    <relationship name="regions" optional="YES" toMany="YES" ordered="YES" deletionRule="Cascade"
                  destinationEntity="Region" inverseName="country" inverseEntity="Region"/>
    <uniquenessConstraints>
      <uniquenessConstraint><constraint value="code"/></uniquenessConstraint>
    </uniquenessConstraints>
    <userInfo><entry key="$alpha_2" value="code"/><entry key="%names.$fr" value="trim|name"/></userInfo>
  </entity>
  <entity name="Place" isAbstract="YES" elementID="Location">
    <attribute name="code" optional="NO" attributeType="String">
      <userInfo><entry key="short" value="yes"/></userInfo>
    </attribute>
    <attribute name="name" optional="YES" attributeType="String" minValueString="1"
               maxValueString="80" regularExpressionString="[A-Z].*"/>
    <fetchIndex name="byCode"><fetchIndexElement property="code" type="Binary"/></fetchIndex>
  </entity>
  <entity name="Region" representedClassName=".Region">
    <attribute name="title" optional="YES" attributeType="String" renamingIdentifier="label"/>
    <relationship name="country" optional="YES" maxCount="1" deletionRule="Nullify"
                  destinationEntity="Country" inverseName="regions" inverseEntity="Country"/>
  </entity>
  <elements><element name="Country" positionX="0" positionY="0" width="1" height="1"/></elements>
</model>)xml";

Ref<NSManagedObjectModel> read(std::string_view xml) {
  Ref<NSError> error;
  auto model = NSManagedObjectModel::modelWithXMLError(xml, &error);
  EXPECT_TRUE(model) << (error ? error->description()->toStdString() : "");
  return model;
}

NSAttributeDescription& attributeOf(const Ref<NSManagedObjectModel>& model, const char* entity,
                                    const char* name) {
  const Value found = model->entityWithName(entity)->attributesByName()->objectForKey(name);
  return *as<NSAttributeDescription>(found);
}

TEST(ModelReading, EntitiesComeWithTheirClassParentFlagsAndUserInfo) {
  auto model = read(catalog);
  EXPECT_EQ(model->versionIdentifier()->toStdString(), "v3");
  EXPECT_EQ(model->entities()->count(), 3u);
  auto country = model->entityWithName("Country");
  EXPECT_EQ(country->managedObjectClassName()->toStdString(), "Country");
  EXPECT_EQ(model->entityWithName("Region")->managedObjectClassName()->toStdString(), "Region");
  auto place = model->entityWithName("Place");
  EXPECT_EQ(place->managedObjectClassName()->toStdString(), "NSManagedObject");
  EXPECT_TRUE(place->isAbstract());
  EXPECT_FALSE(country->isAbstract());
  EXPECT_EQ(country->superentity(), place);
  EXPECT_EQ(place->renamingIdentifier()->toStdString(), "Location");
  EXPECT_EQ(country->userInfo()->count(), 2u);
  EXPECT_EQ(country->userInfo()->objectForKey("%names.$fr"), Value("trim|name"));
  EXPECT_EQ(place->userInfo()->count(), 0u);
  EXPECT_EQ(country->managedObjectModel(), model);
}

TEST(ModelReading, AttributesComeWithTypeFlagsBoundsAndUserInfo) {
  auto model = read(catalog);
  const auto& code = attributeOf(model, "Country", "code");
  EXPECT_EQ(code.attributeType(), NSStringAttributeType);
  EXPECT_FALSE(code.isOptional());
  EXPECT_EQ(code.userInfo()->objectForKey("short"), Value("yes"));
  const auto& name = attributeOf(model, "Country", "name");
  EXPECT_TRUE(name.isOptional());
  EXPECT_EQ(name.minimumValue(), Value(1));
  EXPECT_EQ(name.maximumValue(), Value(80));
  EXPECT_EQ(name.regularExpression()->toStdString(), "[A-Z].*");
  EXPECT_FALSE(attributeOf(model, "Country", "population").isOptional())
      << "what is not said to be optional is not";
  EXPECT_EQ(attributeOf(model, "Region", "title").renamingIdentifier()->toStdString(), "label");
}

TEST(ModelReading, RelationshipsConstraintsAndIndexesAreKept) {
  auto model = read(catalog);
  const Value value =
      model->entityWithName("Country")->relationshipsByName()->objectForKey("regions");
  const auto* regions = as<NSRelationshipDescription>(value);
  ASSERT_TRUE(regions);
  EXPECT_TRUE(regions->isToMany());
  EXPECT_TRUE(regions->isOrdered());
  EXPECT_EQ(regions->deleteRule(), NSCascadeDeleteRule);
  EXPECT_EQ(regions->destinationEntity(), model->entityWithName("Region"));
  auto country = regions->inverseRelationship();
  ASSERT_TRUE(country);
  EXPECT_EQ(country->name()->toStdString(), "country");
  EXPECT_FALSE(country->isToMany());
  EXPECT_EQ(country->inverseRelationship().get(), regions);
  EXPECT_EQ(Value(model->entityWithName("Country")->uniquenessConstraints()),
            Value(NSArray::arrayWithObjects(NSArray::arrayWithObjects("code"))));
  const Ref<NSArray> indexes = model->entityWithName("Place")->indexes();
  ASSERT_EQ(indexes->count(), 1u);
  const Value byCode = indexes->firstObject();
  EXPECT_EQ(as<NSFetchIndexDescription>(byCode)->name()->toStdString(), "byCode");
}

struct TypeCase {
  const char* xml;
  NSAttributeType type;
  const char* valueClass;
  const char* defaultText;
  Value defaultValue;
};

TEST(ModelReading, EveryTypeAndItsDefaultAreUnderstood) {
  const TypeCase cases[] = {
      {"Integer 16", NSInteger16AttributeType, "NSNumber", "-7", -7},
      {"Integer 32", NSInteger32AttributeType, "NSNumber", "2147483647", 2147483647},
      {"Integer 64", NSInteger64AttributeType, "NSNumber", "9223372036854775807", INT64_MAX},
      {"Decimal", NSDecimalAttributeType, "NSDecimalNumber", "12.50",
       NSDecimalNumber::decimalNumberWithString("12.5")},
      {"Double", NSDoubleAttributeType, "NSNumber", "2.5", 2.5},
      {"Float", NSFloatAttributeType, "NSNumber", "0.1", 0.1f},
      {"String", NSStringAttributeType, "NSString", "a &lt; b", "a < b"},
      {"Boolean", NSBooleanAttributeType, "NSNumber", "YES", true},
      {"Binary", NSBinaryDataAttributeType, "NSData", "", nullptr},
      {"UUID", NSUUIDAttributeType, "NSUUID", "68753A44-4D6F-1226-9C60-0050E4C00067",
       NSUUID::initWithUUIDString("68753A44-4D6F-1226-9C60-0050E4C00067")},
      {"URI", NSURIAttributeType, "NSURL", "https://example.com/a",
       NSURL::URLWithString("https://example.com/a")},
      {"Transformable", NSTransformableAttributeType, "NSObject", "", nullptr},
  };
  for (const TypeCase& test : cases) {
    auto model = read(NSString::stringWithFormat(
                          "<model><entity name=\"E\"><attribute name=\"a\" attributeType=\"%s\" "
                          "defaultValueString=\"%s\"/></entity></model>",
                          test.xml, test.defaultText)
                          ->utf8());
    const auto& attribute = attributeOf(model, "E", "a");
    EXPECT_EQ(attribute.attributeType(), test.type) << test.xml;
    EXPECT_EQ(attribute.attributeValueClassName()->toStdString(), test.valueClass);
    EXPECT_EQ(attribute.defaultValue(), test.defaultValue) << test.xml;
    EXPECT_EQ(attribute.defaultValue().kind(), test.defaultValue.kind()) << test.xml;
  }
}

TEST(ModelReading, ADateDefaultCountsSecondsFromTheYear2001) {
  auto model = read(
      "<model><entity name='E'><attribute name='d' attributeType='Date' "
      "defaultDateTimeInterval='86400'/></entity></model>");
  const Value value = attributeOf(model, "E", "d").defaultValue();
  ASSERT_TRUE(value.isDate());
  EXPECT_EQ(value.timeIntervalSince1970(), 978307200 + 86400);
}

TEST(ModelReading, TransientAttributesMayHaveNoType) {
  auto model = read(
      "<model><entity name='E'><attribute name='t' transient='YES'/><attribute name='s' "
      "attributeType='String' transient='YES' optional='YES'/></entity></model>");
  EXPECT_EQ(attributeOf(model, "E", "t").attributeType(), NSUndefinedAttributeType);
  EXPECT_TRUE(attributeOf(model, "E", "s").isTransient());
}

struct RefusedText {
  const char* xml;
  const char* part;
  const char* entity;
  const char* property;
};

TEST(ModelReading, AModelErrorNamesTheEntityAndTheProperty) {
  const RefusedText refusals[] = {
      {"<model><entity name='A' parentEntity='B'/></model>", "unknown parent entity 'B'", "A",
       nullptr},
      {"<model><entity name='A' parentEntity='B'/><entity name='B' parentEntity='A'/></model>",
       "descends from itself", "A", nullptr},
      {"<model><entity name='A' parentEntity='A'/></model>", "descends from itself", "A", nullptr},
      {"<model><entity name='A'/><entity name='A'/></model>", "two entities named 'A'", "A",
       nullptr},
      {"<model><entity/></model>", "has no name", nullptr, nullptr},
      {"<model><entity name='A'><attribute name='x' attributeType='String'/><attribute name='x' "
       "attributeType='Date'/></entity></model>",
       "two properties named 'x'", "A", "x"},
      {"<model><entity name='A'><attribute name='x' attributeType='Complex'/></entity></model>",
       "unknown type \"Complex\"", "A", "x"},
      {"<model><entity name='A'><attribute name='x'/></entity></model>", "has no type", "A", "x"},
      {"<model><entity name='A'><attribute attributeType='String'/></entity></model>",
       "a property of entity 'A' has no name", "A", nullptr},
      {"<model><entity name='A'><attribute name='hash' attributeType='String'/></entity></model>",
       "name of a method", "A", "hash"},
      {"<model><entity name='A'><attribute name='n' attributeType='Integer 16' "
       "defaultValueString='12abc'/></entity></model>",
       "defaultValueString=\"12abc\"", "A", "n"},
      {"<model><entity name='A'><attribute name='n' attributeType='Integer 16' "
       "defaultValueString='70000'/></entity></model>",
       "not a value of its type", "A", "n"},
      {"<model><entity name='A'><attribute name='d' attributeType='Date' "
       "defaultDateTimeInterval='soon'/></entity></model>",
       "defaultDateTimeInterval=\"soon\"", "A", "d"},
      {"<model><entity name='A'><relationship name='r' destinationEntity='B'/></entity></model>",
       "unknown entity 'B'", "A", "r"},
      {"<model><entity name='A'><relationship name='r' destinationEntity='A' "
       "inverseName='s'/></entity></model>",
       "unknown inverse 's'", "A", "r"},
      {"<model><entity name='A'><relationship name='r' destinationEntity='A' "
       "inverseName='r' inverseEntity='B'/></entity><entity name='B'/></model>",
       "inverse of entity 'B', but leads elsewhere", "A", "r"},
      {"<model><entity name='A'><relationship name='r' destinationEntity='A' "
       "inverseEntity='A'/></entity></model>",
       "inverse of entity 'A' that has no name", "A", "r"},
      {"<model><entity name='A'><relationship name='r' destinationEntity='A' toMany='YES' "
       "maxCount='1'/></entity></model>",
       "leads to many objects, but has the maxCount \"1\"", "A", "r"},
      {"<model><entity name='A'><relationship name='r' destinationEntity='A' "
       "maxCount='5'/></entity></model>",
       "leads to one object, but has the maxCount \"5\"", "A", "r"},
      {"<model><entity name='A'><relationship name='r' destinationEntity='A' "
       "minCount='-1'/></entity></model>",
       "minCount \"-1\"", "A", "r"},
      {"<model><entity name='A'><relationship name='r' destinationEntity='A' "
       "deletionRule='Purge'/></entity></model>",
       "unknown deletionRule \"Purge\"", "A", "r"},
      {"<model><entity name='A'><fetchIndex/></entity></model>", "has no name", "A", nullptr},
      {"<model><entity name='A'><fetchIndex name='i'/></entity></model>", "has no elements", "A",
       nullptr},
      {"<model><entity name='A'><fetchIndex name='i'><fetchIndexElement property='x'/>"
       "</fetchIndex></entity></model>",
       "names 'x', which is none of its properties", "A", "x"},
      {"<model><entity name='A'><attribute name='x' attributeType='String'/><fetchIndex name='i'>"
       "<fetchIndexElement property='x' type='Hash'/></fetchIndex></entity></model>",
       "property=\"x\", type=\"Hash\"", "A", nullptr},
      {"<model><entity name='A'><attribute name='x' attributeType='String'/><fetchIndex name='i'>"
       "<fetchIndexElement property='x' order='up'/></fetchIndex></entity></model>",
       "order=\"up\"", "A", nullptr},
      {"<model><entity name='A'><uniquenessConstraints><uniquenessConstraint><constraint "
       "value='x'/>"
       "</uniquenessConstraint></uniquenessConstraints></entity></model>",
       "names 'x', which is none of its properties", "A", "x"},
      {"<model><entity name='A'><fetchedProperty name='f'/></entity></model>",
       "'f' of entity 'A' has no fetch request", "A", "f"},
      {"<model><entity name='A'><fetchedProperty name='f'><fetchRequest entity='B'/>"
       "</fetchedProperty></entity></model>",
       "asks for the entity 'B'", "A", "f"},
      {"<model><entity name='A'><fetchedProperty name='f'><fetchRequest entity='A' "
       "predicateString='x =='/></fetchedProperty></entity></model>",
       "a predicate that cannot be read", "A", "f"},
      {"<model><entity name='A'><attribute name='d' attributeType='String' derived='YES'/></entity>"
       "</model>",
       "no derivation expression", "A", "d"},
      {"<model><entity name='A'/><fetchRequest entity='A'/></model>", "has no name", nullptr,
       nullptr},
      {"<model><entity name='A'/><fetchRequest name='q' entity='A'/><fetchRequest name='q' "
       "entity='A'/></model>",
       "two fetch requests named 'q'", nullptr, nullptr},
      {"<model><entity name='A'/><fetchRequest name='q'/></model>", "'q' asks for no entity",
       nullptr, nullptr},
      {"<model><entity name='A'/><fetchRequest name='q' entity='B'/></model>",
       "'q' asks for the entity 'B'", nullptr, nullptr},
      {"<model><entity name='A'/><fetchRequest name='q' entity='A' predicateString='x = %@'/>"
       "</model>",
       "'q' has a predicate that cannot be read", nullptr, nullptr},
      {"<model><entity name='A'/><fetchRequest name='q' entity='A' fetchLimit='many'/></model>",
       "fetchLimit=\"many\"", nullptr, nullptr},
      {"<model><entity name='A'/><fetchRequest name='q' entity='A' resultType='3'/></model>",
       "unknown resultType 3", nullptr, nullptr},
      {"<model><entity name='A'/><configuration/></model>", "configuration has no name", nullptr,
       nullptr},
      {"<model><entity name='A'/><configuration name='c'><memberEntity name='B'/></configuration>"
       "</model>",
       "'c' holds the unknown entity 'B'", nullptr, nullptr},
      {"<model><entity name='A'/><configuration name='c'/><configuration name='c'/></model>",
       "two configurations named 'c'", nullptr, nullptr},
      {"<model><entity name='A'><attribute name='x' attributeType='String'/></entity><entity "
       "name='B' "
       "parentEntity='A'><attribute name='x' attributeType='String'/></entity></model>",
       "inherits already", "B", "x"},
  };
  for (const RefusedText& refusal : refusals) {
    Ref<NSError> error;
    EXPECT_FALSE(NSManagedObjectModel::modelWithXMLError(refusal.xml, &error)) << refusal.xml;
    ASSERT_TRUE(error) << refusal.xml;
    EXPECT_TRUE(error->localizedDescription()->containsString(refusal.part))
        << error->localizedDescription()->utf8() << " should contain " << refusal.part;
    EXPECT_EQ(error->userInfo()->objectForKey("entity"), Value(refusal.entity)) << refusal.xml;
    EXPECT_EQ(error->userInfo()->objectForKey("property"), Value(refusal.property)) << refusal.xml;
    EXPECT_FALSE(NSManagedObjectModel::modelWithXMLError(refusal.xml))
        << "without an error asked for";
  }
}

TEST(ModelReading, WhatIsNoModelIsRefusedWithTheLine) {
  Ref<NSError> error;
  EXPECT_FALSE(
      NSManagedObjectModel::modelWithXMLError("<model>\n<entity name='A'>\n</model>", &error));
  EXPECT_TRUE(error->localizedDescription()->containsString("line 3"))
      << error->description()->utf8();
  EXPECT_FALSE(NSManagedObjectModel::modelWithXMLError("", &error));
  EXPECT_FALSE(NSManagedObjectModel::modelWithXMLError("<plist/>", &error));
  EXPECT_TRUE(error->localizedDescription()->containsString("<model>"));
}

TEST(ModelReading, NamesInBrokenTextAreMendedAlikeWhereverTheyStand) {
  for (const char* text : {"\xFF-", "&#xD800;-"}) {
    const std::string broken = text;
    auto model = read("<model><entity name='" + broken + "'><relationship name='" + broken +
                      "' destinationEntity='" + broken + "' inverseName='" + broken +
                      "'/></entity><entity name='B' parentEntity='" + broken + "'/></model>");
    ASSERT_TRUE(model);
    auto below = model->entityWithName("B");
    ASSERT_TRUE(below->superentity());
    const Value value = below->relationshipsByName()->allValues()->firstObject();
    const auto* relationship = as<NSRelationshipDescription>(value);
    ASSERT_TRUE(relationship);
    EXPECT_EQ(relationship->destinationEntity(), below->superentity());
    EXPECT_EQ(relationship->inverseRelationship().get(), relationship);
  }
}

TEST(ModelReading, ALongLineOfParentsIsRefusedNotFollowed) {
  std::string xml = "<model><entity name='E0'/>";
  for (int i = 1; i < 20000; ++i) {
    xml +=
        "<entity name='E" + std::to_string(i) + "' parentEntity='E" + std::to_string(i - 1) + "'/>";
  }
  Ref<NSError> error;
  EXPECT_FALSE(NSManagedObjectModel::modelWithXMLError(xml + "</model>", &error));
  EXPECT_TRUE(error->localizedDescription()->containsString("100 levels"))
      << error->description()->utf8();
}

class ModelFiles : public ::testing::Test {
 protected:
  void write(const std::string& name, std::string_view text) {
    const std::filesystem::path path = directory.file(name);
    std::filesystem::create_directories(path.parent_path());
    std::ofstream(path) << text;
  }
  Ref<NSManagedObjectModel> open(const std::string& name) {
    error = nullptr;
    return NSManagedObjectModel::initWithContentsOfFileError(directory.file(name), &error);
  }

  TemporaryDirectory directory;
  Ref<NSError> error;
};

TEST_F(ModelFiles, AModelIsReadFromItsContentsItsDirectoryOrABundleOfVersions) {
  const std::string first = "<model><entity name='First'/></model>";
  const std::string second = "<model><entity name='Second'/></model>";
  write("Catalog.xcdatamodeld/Catalog.xcdatamodel/contents", first);
  EXPECT_TRUE(open("Catalog.xcdatamodeld/Catalog.xcdatamodel/contents"));
  EXPECT_TRUE(open("Catalog.xcdatamodeld/Catalog.xcdatamodel"));
  auto only = open("Catalog.xcdatamodeld");
  ASSERT_TRUE(only);
  EXPECT_TRUE(only->entityWithName("First"));

  write("Catalog.xcdatamodeld/Catalog 2.xcdatamodel/contents", second);
  EXPECT_FALSE(open("Catalog.xcdatamodeld")) << "two versions, and none is said to be current";
  write("Catalog.xcdatamodeld/.xccurrentversion",
        "<?xml version='1.0'?><plist version='1.0'><dict><key>_XCCurrentVersionName</key>"
        "<string>Catalog 2.xcdatamodel</string></dict></plist>");
  auto current = open("Catalog.xcdatamodeld");
  ASSERT_TRUE(current);
  EXPECT_TRUE(current->entityWithName("Second"));
  EXPECT_TRUE(NSManagedObjectModel::initWithContentsOfURL(
      NSURL::fileURLWithPath(directory.file("Catalog.xcdatamodeld"))));
}

TEST_F(ModelFiles, ABundleWhoseCurrentVersionCannotBeToldSaysWhy) {
  const auto refusal = [&] {
    EXPECT_FALSE(open("Shop.xcdatamodeld"));
    return error ? error->localizedDescription()->toStdString() : "";
  };
  const auto list = [&](const std::string& inside) {
    write("Shop.xcdatamodeld/.xccurrentversion", "<plist version='1.0'>" + inside + "</plist>");
  };
  const auto expect = [&](const char* part) {
    const std::string text = refusal();
    EXPECT_NE(text.find(part), std::string::npos) << text;
  };
  write("Shop.xcdatamodeld/notes.txt", "nothing");
  expect("neither contents nor a version");
  const std::string key = "<key>_XCCurrentVersionName</key>";
  for (int version = 1; version <= 3; ++version) {
    const std::string number = std::to_string(version);
    write("Shop.xcdatamodeld/Shop " + number + ".xcdatamodel/contents",
          "<model><entity name='Version" + number + "'/></model>");
  }
  expect("several versions");
  for (const std::string& inside :
       {std::string(), std::string("<dict></dict>"), "<dict>" + key + "</dict>",
        "<dict>" + key + "<integer>1</integer><string>Shop 1.xcdatamodel</string></dict>",
        "<dict>" + key + "<string></string></dict>",
        "<dict>" + key + "<string>../Shop 1.xcdatamodel</string></dict>",
        "<dict>" + key + "<string>.xcdatamodel</string></dict>",
        "<dict>" + key + "<string>..</string></dict>",
        "<dict>" + key + "<string>Shop 1.xcdatamodel</dict>"}) {
    SCOPED_TRACE(inside);
    list(inside);
    expect("no property list that names a version");
  }
  list("<dict>" + key + "<string>Shop 4.xcdatamodel</string></dict>");
  expect("'Shop 4.xcdatamodel' is missing");
  for (const char* number : {"1", "2", "3"}) {
    list("<dict><key>other</key><string>x</string>" + key + "<!-- which --> <string>Shop " +
         number + ".xcdatamodel</string></dict>");
    auto model = open("Shop.xcdatamodeld");
    ASSERT_TRUE(model) << error->description()->utf8();
    EXPECT_TRUE(model->entityWithName(std::string("Version") + number));
  }
}

TEST_F(ModelFiles, AFileThatCannotBeReadIsNamed) {
  EXPECT_FALSE(open("Missing.xcdatamodel"));
  EXPECT_EQ(error->code(), 260);
  EXPECT_TRUE(error->localizedDescription()->containsString("Missing.xcdatamodel"));
  write("Empty.xcdatamodeld/notes.txt", "nothing");
  EXPECT_FALSE(open("Empty.xcdatamodeld"));
  write("Away.xcdatamodeld/.xccurrentversion",
        "<plist><dict><key>_XCCurrentVersionName</key><string>../../etc</string></dict></plist>");
  EXPECT_FALSE(open("Away.xcdatamodeld"));
  write("Bad.xcdatamodel/contents", "no xml at all");
  EXPECT_FALSE(open("Bad.xcdatamodel"));
  EXPECT_EQ(error->userInfo()->objectForKey(NSFilePathErrorKey),
            Value(directory.file("Bad.xcdatamodel/contents")));
}

}  // namespace
}  // namespace JNFoundation
