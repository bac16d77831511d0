#include "../value/Raising.h"
#include "ModelGrower.h"

namespace JNFoundation {
namespace {

using testing::raisedBy;

/// A model of two entities with a pair of relationships, to be broken.
struct BookPair {
  Ref<NSAttributeDescription> name = attributeNamed("name", NSStringAttributeType);
  Ref<NSEntityDescription> author = entityNamed("Author", {name});
  Ref<NSEntityDescription> book = entityNamed("Book", {});
  Ref<NSRelationshipDescription> books = relationshipNamed("books", book, 0);
  Ref<NSRelationshipDescription> writer = relationshipNamed("writer", author, 1);

  BookPair() {
    books->setInverseRelationship(writer);
    writer->setInverseRelationship(books);
    author->setProperties(NSArray::arrayWithObjects(name, books));
    book->setProperties(NSArray::arrayWithObjects(writer));
  }

  Ref<NSManagedObjectModel> model() const { return modelOf({author, book}); }

  /// The text of the only fault, with the entity and property under which it is told.
  std::string fault() const {
    Ref<NSError> error;
    const Ref<NSManagedObjectModel> broken = model();
    if (broken->validate(&error)) return "none";
    EXPECT_TRUE(error->userInfo()->objectForKey(NSDetailedErrorsKey).isNull())
        << error->localizedDescription()->utf8();
    const Value entity = error->userInfo()->objectForKey("entity");
    const Value property = error->userInfo()->objectForKey("property");
    EXPECT_FALSE(broken->validate()) << "without an error asked for";
    EXPECT_FALSE(broken->XMLTextError()) << "what is not whole is not written";
    return (entity.isNull() ? std::string("-") : entity.stringValue()->toStdString()) + "." +
           (property.isNull() ? std::string("-") : property.stringValue()->toStdString()) + ": " +
           error->localizedDescription()->toStdString();
  }
};

TEST(ModelCheck, AWholeModelHasNoFault) { EXPECT_EQ(BookPair().fault(), "none"); }

TEST(ModelCheck, ARelationshipLeadsToAnEntityOfTheModel) {
  BookPair nowhere;
  nowhere.books->setDestinationEntity(nullptr);
  nowhere.books->setInverseRelationship(nullptr);
  nowhere.writer->setInverseRelationship(nullptr);
  EXPECT_EQ(nowhere.fault(),
            "Author.books: Relationship 'books' of entity 'Author' leads to no entity");
  BookPair away;
  auto gone = entityNamed("Gone", {});
  away.books->setDestinationEntity(gone);
  away.books->setInverseRelationship(nullptr);
  away.writer->setInverseRelationship(nullptr);
  EXPECT_EQ(away.fault(),
            "Author.books: Relationship 'books' of entity 'Author' leads to the entity 'Gone', "
            "which is no entity of the model");
}

TEST(ModelCheck, AnInverseLeadsBackAndHasThisOneAsItsOwn) {
  BookPair oneSided;
  oneSided.writer->setInverseRelationship(nullptr);
  EXPECT_EQ(oneSided.fault(),
            "Author.books: Relationship 'books' of entity 'Author' has the inverse 'writer', which "
            "has no inverse");

  BookPair other;
  auto editor = relationshipNamed("editor", other.author, 1);
  editor->setInverseRelationship(other.books);
  other.book->setProperties(NSArray::arrayWithObjects(other.writer, editor));
  EXPECT_EQ(other.fault(),
            "Book.editor: Relationship 'editor' of entity 'Book' has the inverse 'books', which "
            "has the inverse 'writer'");

  BookPair elsewhere;
  elsewhere.writer->setDestinationEntity(elsewhere.book);
  elsewhere.writer->setInverseRelationship(nullptr);
  EXPECT_EQ(elsewhere.fault(),
            "Author.books: Relationship 'books' of entity 'Author' has the inverse 'writer', which "
            "leads to the entity 'Book'");

  BookPair foreign;
  auto film = relationshipNamed("film", foreign.author, 1);
  film->setInverseRelationship(foreign.writer);
  foreign.author->setProperties(NSArray::arrayWithObjects(foreign.name, foreign.books, film));
  EXPECT_EQ(foreign.fault(),
            "Author.film: Relationship 'film' of entity 'Author' leads to the entity 'Author', but "
            "its inverse 'writer' belongs to the entity 'Book'");

  BookPair nobodys;
  auto loose = relationshipNamed("loose", nobodys.author, 1);
  nobodys.books->setInverseRelationship(loose);
  nobodys.writer->setInverseRelationship(nullptr);
  EXPECT_EQ(nobodys.fault(),
            "Author.books: Relationship 'books' of entity 'Author' leads to the entity 'Book', but "
            "its inverse 'loose' belongs to no entity");

  // An inverse that the destination inherits could be set on an object that is no destination.
  BookPair inherited;
  auto audio = entityNamed("Audio", {});
  inherited.book->setSubentities(NSArray::arrayWithObjects(audio));
  inherited.books->setDestinationEntity(audio);
  inherited.writer->setInverseRelationship(nullptr);
  EXPECT_EQ(inherited.fault(),
            "Author.books: Relationship 'books' of entity 'Author' leads to the entity 'Audio', "
            "but its inverse 'writer' belongs to the entity 'Book'");
}

TEST(ModelCheck, CountsOrderAndRuleOfARelationshipFit) {
  BookPair ordered;
  ordered.writer->setOrdered(true);
  EXPECT_EQ(ordered.fault(),
            "Book.writer: Relationship 'writer' of entity 'Book' is ordered, but leads to one "
            "object only");
  BookPair counts;
  counts.books->setMinCount(5);
  EXPECT_EQ(counts.fault(), "none") << "a maximum of 0 is no bound";
  counts.books->setMaxCount(4);
  EXPECT_EQ(counts.fault(),
            "Author.books: Relationship 'books' of entity 'Author' asks for at least 5 objects and "
            "at most 4");
  BookPair rule;
  rule.books->setDeleteRule(static_cast<NSDeleteRule>(4));
  EXPECT_EQ(rule.fault(),
            "Author.books: Relationship 'books' of entity 'Author' has the unknown delete rule 4");
}

TEST(ModelCheck, WhatIsRequiredCanBeThere) {
  BookPair pair;
  pair.author->setAbstract(true);
  pair.writer->setOptional(false);
  EXPECT_EQ(pair.fault(),
            "Book.writer: Relationship 'writer' of entity 'Book' is required, but there are no "
            "objects of the abstract entity 'Author', which it leads to");
  pair.author->setSubentities(NSArray::arrayWithObjects(entityNamed("Poet", {})));
  EXPECT_EQ(pair.fault(), "none");
}

TEST(ModelCheck, AnAttributesDefaultAndBoundsFitItsTypeAndEachOther) {
  const auto fault = [](NSAttributeType type, const Value& initial, const Value& least = nullptr,
                        const Value& most = nullptr) {
    BookPair pair;
    pair.name->setAttributeType(type);
    pair.name->setDefaultValue(initial);
    pair.name->setMinimumValue(least);
    pair.name->setMaximumValue(most);
    const std::string text = pair.fault();
    const std::string start = "Author.name: Attribute 'name' of entity 'Author' ";
    if (text == "none") return text;
    EXPECT_EQ(text.substr(0, start.size()), start);
    return text.substr(std::min(start.size(), text.size()));
  };
  EXPECT_EQ(fault(NSInteger16AttributeType, "seven"),
            "has the default value seven, which is no NSNumber");
  EXPECT_EQ(fault(NSInteger16AttributeType, 32768),
            "has the default value 32768, which is too large, at most 32767 fits its type");
  EXPECT_EQ(fault(NSInteger16AttributeType, 32767), "none");
  EXPECT_EQ(fault(NSInteger16AttributeType, -32768), "none");
  EXPECT_EQ(fault(NSInteger64AttributeType, 1e300),
            "has the default value 1e+300, which is too large, at most 9223372036854775807 fits "
            "its type");
  EXPECT_EQ(fault(NSDateAttributeType, 7), "has the default value 7, which is no NSDate");
  EXPECT_EQ(fault(NSUndefinedAttributeType, nullptr),
            "has no type; only a transient one may have none");
  EXPECT_EQ(fault(NSDoubleAttributeType, nullptr, 2, 1.5),
            "has the minimum 2, which is more than its maximum 1.5");
  EXPECT_EQ(fault(NSDoubleAttributeType, nullptr, 2, 2), "none");
  EXPECT_EQ(fault(NSStringAttributeType, nullptr, "a", 2),
            "has the minimum a, which bounds no values of its type");
  EXPECT_EQ(fault(NSBinaryDataAttributeType, nullptr, 1, 2), "none") << "counts of bytes";
  const Value first = NSDate::dateWithTimeIntervalSinceReferenceDate(0);
  EXPECT_EQ(fault(NSDateAttributeType, nullptr, first, 1), "none") << "seconds since then";
  EXPECT_NE(fault(NSDateAttributeType, nullptr, first, -1), "none");
  EXPECT_EQ(fault(NSUUIDAttributeType, nullptr, nullptr, 2),
            "has the maximum 2, which bounds no values of its type");
  EXPECT_EQ(fault(NSDateAttributeType, nullptr, NSDate::dateWithTimeIntervalSinceReferenceDate(1),
                  NSDate::dateWithTimeIntervalSinceReferenceDate(0))
                .substr(0, 15),
            "has the minimum");
}

TEST(ModelCheck, ARegularExpressionCanBeCompiled) {
  BookPair pair;
  pair.name->setRegularExpression("[a-z]+");
  EXPECT_EQ(pair.fault(), "none");
  pair.name->setRegularExpression("[a-z");
  const std::string start =
      "Author.name: Attribute 'name' of entity 'Author' has the regular expression \"[a-z\", which "
      "is none: ";
  EXPECT_EQ(pair.fault().substr(0, start.size()), start);
  EXPECT_GT(pair.fault().size(), start.size()) << "and says why";
}

TEST(ModelCheck, ConstraintsNameWhatTheStoreKeeps) {
  const auto fault = [](const Value& constraints, bool isTransient = false) {
    BookPair pair;
    pair.name->setTransient(isTransient);
    pair.author->setUniquenessConstraints(as<NSArray>(Value(constraints)));
    return pair.fault();
  };
  const auto of = [](const Value& name) {
    return Value(NSArray::arrayWithObject(NSArray::arrayWithObjects("name", name)));
  };
  const std::string start = "A uniqueness constraint of entity 'Author' ";
  EXPECT_EQ(fault(of("nothing")),
            "Author.nothing: " + start + "names 'nothing', which is none of its properties");
  EXPECT_EQ(fault(of("books")),
            "Author.books: " + start + "names 'books', which leads to many objects");
  EXPECT_EQ(fault(of("name")), "Author.name: " + start + "names 'name', which is in it already");
  EXPECT_EQ(fault(of(7)), "Author.-: " + start + "holds 7, which is no name");
  EXPECT_EQ(fault(NSArray::arrayWithObject(NSArray::arrayWithObjects("name")), true),
            "Author.name: " + start + "names 'name', which is transient");
  EXPECT_EQ(fault(NSArray::arrayWithObject("name")),
            "Author.-: The uniqueness constraints of entity 'Author' hold name, which is no list "
            "of names");
  BookPair toOne;
  toOne.book->setUniquenessConstraints(
      NSArray::arrayWithObject(NSArray::arrayWithObjects("writer")));
  EXPECT_EQ(toOne.fault(), "none") << "the store keeps what leads to one object";
}

TEST(ModelCheck, IndexesNameWhatTheStoreKeeps) {
  const auto element = [](const Ref<NSPropertyDescription>& property) {
    return NSFetchIndexElementDescription::initWithPropertyCollationType(
        property, NSFetchIndexElementTypeBinary);
  };
  const auto faultOf = [&](BookPair& pair, std::vector<Value> elements) {
    pair.author->setIndexes(NSArray::arrayWithObject(NSFetchIndexDescription::initWithNameElements(
        "byIt", NSArray::arrayWithValues(std::move(elements)))));
    return pair.fault();
  };
  const std::string start = "The index 'byIt' of entity 'Author' ";
  BookPair pair;
  EXPECT_EQ(faultOf(pair, {element(pair.name)}), "none");
  EXPECT_EQ(faultOf(pair, {element(pair.books)}),
            "Author.books: " + start + "names 'books', which leads to many objects");
  EXPECT_EQ(faultOf(pair, {element(pair.name), element(pair.name)}),
            "Author.name: " + start + "names 'name', which is in it already");
  EXPECT_EQ(faultOf(pair, {element(pair.writer)}),
            "Author.writer: " + start + "names 'writer', which is none of its properties");
  EXPECT_EQ(faultOf(pair, {element(attributeNamed("name", NSStringAttributeType))}),
            "Author.name: " + start +
                "names 'name', which is a property of the same name, but of another entity");
  EXPECT_EQ(faultOf(pair, {}), "Author.-: " + start + "has no elements");
  EXPECT_EQ(faultOf(pair, {NSFetchIndexElementDescription::initWithPropertyNameCollationType(
                              "name", static_cast<NSFetchIndexElementType>(2))}),
            "Author.name: " + start + "names 'name', which has an unknown collation type there");
  pair.name->setTransient(true);
  EXPECT_EQ(faultOf(pair, {element(pair.name)}),
            "Author.name: " + start + "names 'name', which is transient");
  BookPair twice;
  const auto named = [&] {
    return NSFetchIndexDescription::initWithNameElements(
        "same", NSArray::arrayWithObject(element(twice.name)));
  };
  twice.author->setIndexes(NSArray::arrayWithObjects(named(), named()));
  EXPECT_EQ(twice.fault(), "Author.-: Entity 'Author' has two indexes named 'same'");
}

TEST(ModelCheck, FetchRequestsAndConfigurationsAreAboutTheModel) {
  Ref<NSError> error;
  const auto text = [&](const Ref<NSManagedObjectModel>& model) {
    error = nullptr;
    model->validate(&error);
    return error ? error->localizedDescription()->toStdString() : "none";
  };
  auto model = BookPair().model();
  model->setFetchRequestTemplateForName(NSFetchRequest::fetchRequestWithEntityName("Book"), "all");
  EXPECT_EQ(text(model), "none");
  model->setFetchRequestTemplateForName(NSFetchRequest::fetchRequestWithEntityName("Film"), "all");
  EXPECT_EQ(text(model),
            "The fetch request 'all' asks for the entity 'Film', which is no entity of the model");
  model->setFetchRequestTemplateForName(NSFetchRequest::init(), "all");
  EXPECT_EQ(text(model), "The fetch request 'all' asks for no entity");
  auto strange = NSFetchRequest::init();
  auto elsewhere = BookPair();
  strange->setEntity(elsewhere.book);
  model->setFetchRequestTemplateForName(strange, "all");
  EXPECT_EQ(text(model),
            "The fetch request 'all' asks for the entity 'Book', which is no entity of the model")
      << "an entity of that name, but another one";
  model->setFetchRequestTemplateForName(nullptr, "all");
  EXPECT_EQ(text(model), "none");

  auto plain = entityNamed("Plain", {});
  auto other = entityNamed("Other", {});
  auto parts = modelOf({plain, other});
  parts->setEntitiesForConfiguration(NSArray::arrayWithObjects(plain, other), "main");
  EXPECT_EQ(text(parts), "none");
  parts->setEntities(NSArray::arrayWithObjects(other));
  EXPECT_EQ(text(parts),
            "The configuration 'main' holds the entity 'Plain', which is no entity of the model");
}

TEST(ModelCheck, FetchedAndDerivedPropertiesSayWhatTheyAreMadeOf) {
  auto fetched = NSFetchedPropertyDescription::init();
  fetched->setName("later");
  auto derived = NSDerivedAttributeDescription::init();
  derived->setName("lower");
  derived->setAttributeType(NSStringAttributeType);
  BookPair pair;
  pair.book->setProperties(NSArray::arrayWithObjects(pair.writer, fetched, derived));
  derived->setDerivationExpression("lowercase:(title)");
  EXPECT_EQ(pair.fault(),
            "Book.later: Fetched property 'later' of entity 'Book' has no fetch request");
  fetched->setFetchRequest(NSFetchRequest::fetchRequestWithEntityName("Author"));
  EXPECT_EQ(pair.fault(), "none");
  derived->setDerivationExpression(nullptr);
  EXPECT_EQ(pair.fault(),
            "Book.lower: Attribute 'lower' of entity 'Book' is derived, but has no derivation "
            "expression");
}

TEST(ModelCheck, NamesThatWereChangedLaterAreLookedAtAgain) {
  BookPair reserved;
  reserved.name->setName("objectID");
  EXPECT_EQ(reserved.fault(),
            "Author.objectID: Attribute 'objectID' of entity 'Author' has the name of a method "
            "that every object has");
  BookPair twice;
  twice.name->setName("books");
  EXPECT_EQ(twice.fault(), "Author.books: Entity 'Author' has two properties named 'books'");
  BookPair inherited;
  inherited.author->setSubentities(NSArray::arrayWithObjects(
      entityNamed("Poet", {attributeNamed("name", NSStringAttributeType)})));
  EXPECT_EQ(inherited.fault(),
            "Poet.name: Entity 'Poet' declares 'name', which it inherits already");
  BookPair entities;
  auto model = entities.model();
  entities.book->setName("Author");
  Ref<NSError> error;
  EXPECT_FALSE(model->validate(&error));
  EXPECT_EQ(error->localizedDescription()->toStdString(),
            "The model has two entities named 'Author'");
}

TEST(ModelCheck, ALongLineOfSubentitiesIsRefused) {
  auto top = entityNamed("E0", {});
  Ref<NSEntityDescription> last = top;
  for (int i = 1; i <= 101; ++i) {
    auto below = entityNamed(("E" + std::to_string(i)).c_str(), {});
    last->setSubentities(NSArray::arrayWithObjects(below));
    last = below;
  }
  Ref<NSError> error;
  EXPECT_FALSE(modelOf({top})->validate(&error));
  EXPECT_EQ(error->localizedDescription()->toStdString(),
            "Entity 'E101' has more than 100 levels of superentities");
}

TEST(ModelCheck, EveryFaultIsToldAtOnce) {
  BookPair pair;
  pair.name->setDefaultValue(7);
  pair.writer->setOrdered(true);
  pair.books->setDeleteRule(static_cast<NSDeleteRule>(9));
  auto model = pair.model();
  Ref<NSError> error;
  ASSERT_FALSE(model->makeImmutable(&error));
  const std::string text =
      "Attribute 'name' of entity 'Author' has the default value 7, which is no NSString\n"
      "Relationship 'books' of entity 'Author' has the unknown delete rule 9\n"
      "Relationship 'writer' of entity 'Book' is ordered, but leads to one object only";
  EXPECT_EQ(error->localizedDescription()->toStdString(), text);
  EXPECT_EQ(error->code(), NSCoreDataError);
  EXPECT_EQ(error->userInfo()->objectForKey("entity"), Value("Author"));
  EXPECT_EQ(error->userInfo()->objectForKey("property"), Value("name"));
  const Value all = error->userInfo()->objectForKey(NSDetailedErrorsKey);
  ASSERT_EQ(as<NSArray>(all)->count(), 3u);
  const Value last = as<NSArray>(all)->lastObject();
  EXPECT_EQ(as<NSError>(last)->userInfo()->objectForKey("property"), Value("writer"));
  EXPECT_EQ(raisedBy([&] { NSPersistentStoreCoordinator::initWithManagedObjectModel(model); }),
            "NSInvalidArgumentException: " + text);
  EXPECT_FALSE(model->isImmutable());

  Ref<NSError> refusal;
  EXPECT_FALSE(NSManagedObjectModel::modelWithXMLError(
      "<model><entity name='A'><attribute name='x'/><attribute name='y'/></entity></model>",
      &refusal));
  EXPECT_EQ(as<NSArray>(refusal->userInfo()->objectForKey(NSDetailedErrorsKey))->count(), 2u);
  EXPECT_TRUE(refusal->localizedDescription()->containsString("'x'"));
  EXPECT_TRUE(refusal->localizedDescription()->containsString("'y'"));
}

TEST(ModelCheck, AModelWithVeryManyFaultsTellsTheFirstOnes) {
  std::vector<Value> attributes;
  for (int i = 0; i < 1000; ++i) {
    attributes.emplace_back(
        attributeNamed(("a" + std::to_string(i)).c_str(), NSUndefinedAttributeType));
  }
  Ref<NSError> error;
  EXPECT_FALSE(modelOf({entityNamed("Plain", std::move(attributes))})->validate(&error));
  EXPECT_EQ(as<NSArray>(error->userInfo()->objectForKey(NSDetailedErrorsKey))->count(), 50u);
}

}  // namespace
}  // namespace JNFoundation
