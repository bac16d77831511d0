#pragma once

#include <bit>
#include <platform/store/StoreFixture.h>
#include <random>

#include <JNFoundation/platform/store/NSDerivedAttributeDescription.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSFetchedPropertyDescription.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/NSDecimalNumber.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation {

inline Ref<NSManagedObjectModel> modelOf(std::vector<Value> entities) {
  auto model = NSManagedObjectModel::init();
  model->setEntities(NSArray::arrayWithValues(std::move(entities)));
  return model;
}

inline Ref<NSRelationshipDescription> relationshipNamed(const char* name,
                                                        const Ref<NSEntityDescription>& destination,
                                                        NSUInteger most) {
  auto made = NSRelationshipDescription::init();
  made->setName(name);
  made->setDestinationEntity(destination);
  made->setMaxCount(most);
  return made;
}

/// An attribute of each type, with a default and bounds where the type has texts for them.
inline std::vector<Value> attributesOfEveryType() {
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

/// Random models of all that models have, whole ones only.
class ModelGrower {
 public:
  explicit ModelGrower(unsigned seed) : _random(seed) {}

  Ref<NSManagedObjectModel> model() {
    _entities.clear();
    _properties.clear();
    const int count = 1 + below(6);
    for (int i = 0; i < count; ++i) {
      auto entity = NSEntityDescription::init();
      entity->setName("Entity " + std::to_string(i) + text());
      entity->setAbstract(below(3) == 0);
      if (below(2)) entity->setManagedObjectClassName("Class" + std::to_string(i));
      if (below(3) == 0) entity->setRenamingIdentifier("Former" + text());
      if (below(3) == 0) entity->setVersionHashModifier("m" + text());
      entity->setUserInfo(userInfo());
      _entities.push_back(entity);
      _properties.emplace_back();
      for (int k = below(5); k > 0; --k) _properties.back().push_back(attribute(i, k));
    }
    for (int i = 0; i < count; ++i) {
      if (below(2)) addRelationship(i);
      if (below(3) == 0) addFetchedProperty(i);
    }
    std::vector<std::vector<Value>> descendants(_entities.size());
    for (int i = 1; i < count; ++i) {
      if (below(2)) descendants[at(below(i))].push_back(Value(_entities[at(i)]));
    }
    std::vector<Value> all;
    for (std::size_t i = 0; i < _entities.size(); ++i) {
      _entities[i]->setProperties(NSArray::arrayWithValues(std::move(_properties[i])));
      _entities[i]->setSubentities(NSArray::arrayWithValues(std::move(descendants[i])));
      all.emplace_back(_entities[i]);
    }
    for (const auto& entity : _entities) addIndexesAndConstraints(*entity);
    auto model = modelOf(std::move(all));
    if (below(2)) model->setVersionIdentifier("v" + text());
    for (int i = below(3); i > 0; --i) {
      model->setFetchRequestTemplateForName(request(), "request" + std::to_string(i) + text());
    }
    for (int i = below(3); i > 0; --i) {
      std::vector<Value> members;
      for (const auto& entity : _entities) {
        if (below(2)) members.emplace_back(entity);
      }
      model->setEntitiesForConfiguration(NSArray::arrayWithValues(std::move(members)),
                                         "part" + std::to_string(i) + text());
    }
    return model;
  }

 private:
  int below(int bound) { return static_cast<int>(_random() % static_cast<unsigned>(bound)); }
  static std::size_t at(int index) { return static_cast<std::size_t>(index); }
  const Ref<NSEntityDescription>& anyEntity() {
    return _entities[at(below(static_cast<int>(_entities.size())))];
  }

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
    Value value = kinds[at(below(static_cast<int>(kinds.size())))];
    if (below(5) == 0) {
      static const char* expressions[] = {"canonical:(name)", "books.@count", "now()",
                                          "shelf.books.price.@sum"};
      auto derived = NSDerivedAttributeDescription::init();
      derived->setDerivationExpression(expressions[below(4)]);
      derived->setAttributeType(below(2) ? NSStringAttributeType : NSInteger64AttributeType);
      value = derived;
    }
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

  void addRelationship(int from) {
    const int to = below(static_cast<int>(_entities.size()));
    const auto made = [&](const char* kind, int destination) {
      const int most = below(4);
      const Ref<NSEntityDescription>& other = _entities[at(destination)];
      auto relationship = relationshipNamed((kind + std::to_string(from) + text()).c_str(), other,
                                            static_cast<NSUInteger>(most));
      relationship->setOrdered(most != 1 && below(2));
      // What leads to an abstract entity may have nothing to lead to.
      relationship->setOptional(other->isAbstract() || below(2));
      relationship->setMinCount(static_cast<NSUInteger>(below(most == 0 ? 9 : most + 1)));
      relationship->setDeleteRule(static_cast<NSDeleteRule>(below(4)));
      relationship->setTransient(below(5) == 0);
      relationship->setUserInfo(userInfo());
      return relationship;
    };
    auto there = made("there", to), back = made("back", from);
    if (below(3)) {
      there->setInverseRelationship(back);
      back->setInverseRelationship(there);
    }
    if (from == to && below(4) == 0) there->setInverseRelationship(there);
    if (there->inverseRelationship() == there) back->setInverseRelationship(nullptr);
    _properties[at(from)].emplace_back(there);
    _properties[at(to)].emplace_back(back);
  }

  void addFetchedProperty(int entity) {
    auto property = NSFetchedPropertyDescription::init();
    property->setName("fetched" + std::to_string(entity) + text());
    property->setOptional(below(2));
    property->setUserInfo(userInfo());
    property->setFetchRequest(request());
    _properties[at(entity)].emplace_back(property);
  }

  Ref<NSFetchRequest> request() {
    auto made = NSFetchRequest::init();
    if (below(2)) {
      made->setEntity(anyEntity());
    } else {
      made = NSFetchRequest::fetchRequestWithEntityName(anyEntity()->name());
    }
    static const char* predicates[] = {"name == $NAME AND (a > 3 OR NOT b IN {1, 2.5, \"x\\\"y\"})",
                                       "ANY books.title BEGINSWITH[cd] \"é\\n<&>\"",
                                       "SUBQUERY(books, $b, $b.price * 2 >= $PRICE).@count != 0",
                                       "code == $FETCH_SOURCE.code", "TRUEPREDICATE"};
    if (below(4)) made->setPredicate(NSPredicate::predicateWithFormat(predicates[below(5)]));
    if (below(2)) made->setFetchLimit(_random());
    if (below(2)) made->setFetchBatchSize(~NSUInteger{0} >> below(64));
    made->setResultType(static_cast<NSFetchRequestResultType>(below(3)));
    made->setIncludesSubentities(below(2));
    made->setIncludesPropertyValues(below(2));
    made->setIncludesPendingChanges(below(2));
    made->setReturnsObjectsAsFaults(below(2));
    made->setReturnsDistinctResults(below(2));
    return made;
  }

  /// Over what the entity's store keeps, inherited properties included.
  void addIndexesAndConstraints(NSEntityDescription& entity) {
    std::vector<Ref<NSPropertyDescription>> stored;
    const Ref<NSArray> properties = entity.properties();
    for (const Value& value : *properties) {
      auto* property = as<NSPropertyDescription>(value);
      const auto* relationship = as<NSRelationshipDescription>(value);
      if (property->isTransient() || isKindOf<NSFetchedPropertyDescription>(value)) continue;
      if (!relationship || !relationship->isToMany()) stored.emplace_back(property);
    }
    const auto some = [&] {
      std::vector<Ref<NSPropertyDescription>> chosen;
      for (const auto& property : stored) {
        if (below(3) == 0) chosen.push_back(property);
      }
      return chosen;
    };
    std::vector<Value> indexes, constraints;
    for (int i = below(3); i > 0; --i) {
      std::vector<Value> elements, names;
      for (const auto& property : some()) {
        const auto type = static_cast<NSFetchIndexElementType>(below(2));
        auto element =
            below(2) ? NSFetchIndexElementDescription::initWithPropertyCollationType(property, type)
                     : NSFetchIndexElementDescription::initWithPropertyNameCollationType(
                           property->name(), type);
        element->setAscending(below(2));
        elements.emplace_back(element);
      }
      for (const auto& property : some()) names.emplace_back(property->name());
      if (!elements.empty()) {
        indexes.emplace_back(NSFetchIndexDescription::initWithNameElements(
            "index" + std::to_string(i) + text(), NSArray::arrayWithValues(std::move(elements))));
      }
      if (names.empty()) continue;
      if (below(2)) indexes.emplace_back(NSArray::arrayWithValues(names));
      constraints.emplace_back(NSArray::arrayWithValues(std::move(names)));
    }
    entity.setIndexes(NSArray::arrayWithValues(std::move(indexes)));
    entity.setUniquenessConstraints(NSArray::arrayWithValues(std::move(constraints)));
  }

  std::mt19937 _random;
  std::vector<Ref<NSEntityDescription>> _entities;
  std::vector<std::vector<Value>> _properties;
};

}  // namespace JNFoundation
