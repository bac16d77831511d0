#include "../value/Raising.h"
#include "StoreFixture.h"

#include <JNFoundation/platform/store/NSExpressionDescription.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSData.h>
#include <JNFoundation/platform/value/NSValueTransformer.h>
#include <JNFoundation/platform/value/Subclass.h>

namespace JNFoundation {

/// Counts what it is asked to do; texts that begin with "bad" it refuses by raising.
class TransformableTestReverser : public Subclass<TransformableTestReverser, NSValueTransformer> {
 public:
  Value transformedValue(const Value& value) const override {
    ++written;
    std::string bytes = isKindOf<NSData>(value) ? std::string(as<NSData>(value)->view())
                                                : value.stringValue()->toStdString();
    if (bytes.rfind("bad", 0) == 0) raise("BadText", "it is bad");
    return NSData::dataWithText((isKindOf<NSData>(value) ? 'd' : 's') +
                                std::string(bytes.rbegin(), bytes.rend()));
  }
  Value reverseTransformedValue(const Value& value) const override {
    ++read;
    const std::string_view bytes = as<NSData>(value)->view();
    if (bytes.empty()) raise("NoText", "there is nothing");
    const std::string text(bytes.rbegin(), bytes.rend() - 1);
    return bytes[0] == 'd' ? Value(NSData::dataWithText(text)) : Value(text);
  }
  bool allowsReverseTransformation() const override { return true; }

  static inline int written = 0;
  static inline int read = 0;
};

namespace {

using testing::raisedBy;

const ClassDeclaration<TransformableTestReverser> reverser =
    ClassDeclaration<TransformableTestReverser>().factory();

Ref<NSAttributeDescription> transformed(const char* name, const char* transformer) {
  auto attribute = attributeNamed(name, NSTransformableAttributeType);
  attribute->setValueTransformerName(transformer);
  return attribute;
}

Ref<NSManagedObjectModel> transformablesModel() {
  auto initial = transformed("initial", "JNJSONTransformer");
  initial->setDefaultValue(NSArray::arrayWithObjects("a"));
  auto required = transformed("required", "JNJSONTransformer");
  required->setOptional(false);
  auto transient = attributeNamed("transient", NSTransformableAttributeType);
  transient->setTransient(true);
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithObjects(
      entityNamed("Item", {attributeNamed("name", NSStringAttributeType),
                           transformed("tags", "JNJSONTransformer"),
                           transformed("secret", "TransformableTestReverser"),
                           transformed("lost", "NobodysTransformer"), initial, transient}),
      entityNamed("Strict", {required})));
  return model;
}

class TransformableAttributesTest : public EveryStoreTest {
 protected:
  void SetUp() override {
    open(GetParam(), transformablesModel());
    TransformableTestReverser::written = TransformableTestReverser::read = 0;
  }

  Ref<NSManagedObject> saved(std::vector<NSDictionary::Pair> values) {
    auto item = insert("Item", std::move(values));
    save();
    return item;
  }

  /// The same record as another context reads it.
  Ref<NSManagedObject> again(const Ref<NSManagedObject>& item) {
    others.push_back(newContext());
    auto found = others.back()->existingObjectWithIDError(item->objectID());
    EXPECT_TRUE(found);
    return found;
  }

  static Ref<NSArray> list(std::vector<Value> values) {
    return NSArray::arrayWithValues(std::move(values));
  }

  std::vector<Ref<NSManagedObjectContext>> others;
};
FOR_EVERY_STORE(TransformableAttributesTest);

TEST_P(TransformableAttributesTest, ValuesComeBackFromTheStore) {
  const Value tags = NSDictionary::dictionaryWithEntries({{"colours", list({"red", 2})}});
  auto item = saved({{"tags", tags}, {"secret", "swordfish"}});
  auto other = again(item);
  EXPECT_EQ(other->valueForKey("tags"), tags);
  EXPECT_EQ(other->valueForKey("secret"), Value("swordfish"));
  EXPECT_EQ(other->storedValueForKey("secret"), Value("swordfish"));
  EXPECT_EQ(other->primitiveValueForKey("secret"), Value("swordfish"));
  EXPECT_TRUE(other->valueForKey("lost").isNull());
  EXPECT_FALSE(other->hasChanges());
}

TEST_P(TransformableAttributesTest, DataMayBeTheValueToo) {
  const Value data = NSData::dataWithText("abc");
  auto item = insert("Item", {{"secret", data}});
  EXPECT_EQ(item->valueForKey("secret"), data);
  save();
  EXPECT_EQ(item->valueForKey("secret"), data);
  EXPECT_EQ(again(item)->valueForKey("secret"), data);
}

TEST_P(TransformableAttributesTest, TheObjectKeepsTheValueThatItWasGiven) {
  auto item = saved({{"secret", "a"}});
  const Value given = list({1});
  item->setValueForKey(given, "tags");
  save();
  EXPECT_TRUE(item->valueForKey("tags").isIdentical(given));
  item->setValueForKey(nullptr, "tags");
  save();
  EXPECT_TRUE(again(item)->valueForKey("tags").isNull());
}

TEST_P(TransformableAttributesTest, ValuesAreReadWhenTheyAreLookedAtAndOnce) {
  auto item = saved({{"name", "n"}, {"secret", "abc"}});
  auto other = again(item);
  EXPECT_EQ(other->valueForKey("name"), Value("n"));
  EXPECT_NE(other->description()->toStdString().find("<data>"), std::string::npos);
  EXPECT_EQ(TransformableTestReverser::read, 0);
  const Value first = other->valueForKey("secret");
  EXPECT_EQ(TransformableTestReverser::read, 1);
  EXPECT_TRUE(other->valueForKey("secret").isIdentical(first));
  EXPECT_EQ(TransformableTestReverser::read, 1);
}

TEST_P(TransformableAttributesTest, WhatNobodyLookedAtIsNeitherReadNorWritten) {
  auto item = saved({{"name", "n"}, {"secret", "abc"}});
  auto other = again(item);
  TransformableTestReverser::written = 0;
  other->setValueForKey("m", "name");
  EXPECT_EQ(other->changedValues()->count(), 1u);
  Ref<NSError> error;
  EXPECT_TRUE(others.back()->save(&error)) << text(error);
  EXPECT_EQ(TransformableTestReverser::read + TransformableTestReverser::written, 0);
  EXPECT_EQ(again(item)->valueForKey("secret"), Value("abc"));
}

TEST_P(TransformableAttributesTest, ChangesAreDifferencesOfWhatIsStored) {
  auto item = again(saved({{"tags", list({1, 2})}}));
  item->setValueForKey(list({1, 2}), "tags");
  EXPECT_TRUE(item->hasChanges());
  EXPECT_EQ(item->changedValues()->count(), 0u);
  item->setValueForKey(list({1, 3}), "tags");
  EXPECT_EQ(Value(item->changedValues()),
            Value(NSDictionary::dictionaryWithObjectForKey(list({1, 3}), "tags")));
  EXPECT_EQ(item->committedValuesForKeys(list({"tags"}))->objectForKey("tags"),
            Value(list({1, 2})));
  Ref<NSError> error;
  EXPECT_TRUE(others.back()->save(&error)) << text(error);
  EXPECT_FALSE(item->hasChanges());
  EXPECT_EQ(again(item)->valueForKey("tags"), Value(list({1, 3})));
}

TEST_P(TransformableAttributesTest, ASaveOfEqualValuesWritesNoRow) {
  auto item = again(saved({{"tags", list({1, 2})}}));
  auto context = others.back();
  item->setValueForKey(list({1, 2}), "tags");
  EXPECT_TRUE(context->save(nullptr));
  // Had that been a new version of the record, this other one would be in conflict with it.
  auto stale = again(item);
  EXPECT_EQ(stale->valueForKey("tags"), Value(list({1, 2})));
  item->setValueForKey(list({1, 2}), "tags");
  EXPECT_TRUE(context->save(nullptr));
  stale->setValueForKey("s", "name");
  Ref<NSError> error;
  EXPECT_TRUE(others.back()->save(&error)) << text(error);
}

TEST_P(TransformableAttributesTest, AValueChangedWhereItStandsIsStoredWithItsObject) {
  auto tags = NSMutableArray::array();
  tags->addObject(1);
  auto item = saved({{"tags", tags}});
  tags->addObject(2);
  EXPECT_FALSE(item->hasChanges()) << "nobody said so";
  item->willChangeValueForKey("tags");
  item->didChangeValueForKey("tags");
  save();
  EXPECT_EQ(again(item)->valueForKey("tags"), Value(list({1, 2})));
}

TEST_P(TransformableAttributesTest, DefaultsAreStored) {
  auto item = saved({});
  EXPECT_EQ(item->valueForKey("initial"), Value(list({"a"})));
  EXPECT_EQ(again(item)->valueForKey("initial"), Value(list({"a"})));
}

TEST_P(TransformableAttributesTest, TransientValuesNeedNoTransformer) {
  const Value anything = NSValueTransformer::valueTransformerForName(NSIsNilTransformerName);
  auto item = saved({{"transient", anything}});
  EXPECT_TRUE(item->valueForKey("transient").isIdentical(anything));
  EXPECT_TRUE(again(item)->valueForKey("transient").isNull());
}

TEST_P(TransformableAttributesTest, WhatCannotBeTransformedFailsTheSaveByName) {
  auto item = insert("Item", {{"lost", 1}, {"secret", "bad one"}, {"tags", NSDate::date()}});
  auto strict = insert("Strict");
  Ref<NSError> error;
  EXPECT_FALSE(context->save(&error));
  ASSERT_EQ(error->code(), 1560);
  std::string said;
  const Value details = error->userInfo()->objectForKey(NSDetailedErrorsKey);
  for (const Value& detail : *as<NSArray>(details)) {
    const NSError& one = *as<NSError>(detail);
    said += std::to_string(one.code()) + " " +
            one.userInfo()->objectForKey(NSValidationKeyErrorKey).stringValue()->toStdString() +
            "; ";
    if (one.code() != 1550) continue;
    EXPECT_EQ(one.userInfo()->objectForKey(NSValidationObjectErrorKey), Value(item));
  }
  EXPECT_EQ(said, "1570 required; 1550 tags; 1550 secret; 1550 lost; ");
  EXPECT_NE(text(error).find("the value transformer 'TransformableTestReverser' raised BadText, it "
                             "is bad"),
            std::string::npos)
      << text(error);
  EXPECT_NE(text(error).find("'NobodysTransformer'"), std::string::npos) << text(error);
  EXPECT_EQ(newContext()->countForFetchRequestError(request("Item"), nullptr), 0u);

  item->setValueForKey(nullptr, "lost");
  item->setValueForKey("good", "secret");
  item->setValueForKey(nullptr, "tags");
  strict->setValueForKey(list({}), "required");
  save();
  EXPECT_EQ(again(item)->valueForKey("secret"), Value("good"));
}

TEST_P(TransformableAttributesTest, DataThatCannotBeTurnedBackRaiseAndStay) {
  auto oneWay = [](const char* bytes) {
    return NSValueTransformer::transformerWithBlockReverseBlock(
        [bytes](const Value&) -> Value { return NSData::dataWithText(bytes); },
        [](const Value& data) { return data; });
  };
  NSValueTransformer::setValueTransformerForName(oneWay(""), "TransformableTestReverser");
  auto item = saved({{"name", "n"}, {"secret", "abc"}});
  NSValueTransformer::setValueTransformerForName(nullptr, "TransformableTestReverser");
  auto other = again(item);
  EXPECT_EQ(raisedBy([&] { other->valueForKey("secret"); }),
            "NSInternalInconsistencyException: The value of 'secret' of an object of entity 'Item' "
            "cannot be transformed: the value transformer 'TransformableTestReverser' raised "
            "NoText, there is nothing.");
  other->setValueForKey("m", "name");
  Ref<NSError> error;
  EXPECT_TRUE(others.back()->save(&error)) << text(error);
  other->setValueForKey("mended", "secret");
  EXPECT_TRUE(others.back()->save(&error)) << text(error);
  EXPECT_EQ(again(item)->valueForKey("secret"), Value("mended"));
}

TEST_P(TransformableAttributesTest, FetchesSeeTheValues) {
  auto first = saved({{"name", "first"}, {"secret", "abc"}});
  saved({{"name", "second"}, {"secret", "xyz"}});
  saved({{"name", "third"}});
  const auto found = [&](const char* format) {
    context = newContext();
    return fetched(request("Item", NSPredicate::predicateWithFormat(format), {by("name")}), "name");
  };
  EXPECT_EQ(found("secret == 'abc'"), "first");
  EXPECT_EQ(found("secret != 'abc'"), "second third");
  EXPECT_EQ(found("secret IN {'abc', 'xyz'}"), "first second");
  EXPECT_EQ(found("secret == nil"), "third");
  EXPECT_EQ(found("secret BEGINSWITH 'x'"), "second");
  EXPECT_EQ(found("'a' IN initial"), "first second third");

  auto rows = request("Item", nullptr, {by("name")});
  rows->setResultType(NSDictionaryResultType);
  rows->setPropertiesToFetch(list({"secret"}));
  const Ref<NSArray> dictionaries = fetch(rows);
  EXPECT_EQ(as<NSDictionary>(dictionaries->firstObject())->objectForKey("secret"), Value("abc"));
}

TEST_P(TransformableAttributesTest, PendingValuesAreFoundAsSavedOnes) {
  saved({{"name", "saved"}, {"secret", "abc"}});
  insert("Item", {{"name", "pending"}, {"secret", "abc"}});
  EXPECT_EQ(
      fetched(request("Item", NSPredicate::predicateWithFormat("secret == 'abc'"), {by("name")}),
              "name"),
      "pending saved");
}

}  // namespace
}  // namespace JNFoundation
