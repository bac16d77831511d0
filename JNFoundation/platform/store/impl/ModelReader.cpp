#include "JNFoundation/platform/store/impl/ModelReader.h"

#include <algorithm>
#include <optional>
#include <pugixml.hpp>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSDerivedAttributeDescription.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSFetchedPropertyDescription.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ModelText.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

Ref<NSString> textOf(const pugi::xml_attribute& attribute) {
  return attribute && *attribute.value() ? NSString::fromText(attribute.value()) : nullptr;
}

/// A name that something of the file has elsewhere: mended like the one that it stands for.
std::string nameOf(const pugi::xml_attribute& attribute) {
  return NSString::fromText(attribute.value())->toStdString();
}

bool flag(const pugi::xml_node& node, const char* name) {
  return flagFromModelText(node.attribute(name).value()).value_or(false);
}

/// Whether the old mark of an index on the property itself means one.
bool canBeIndexed(const NSPropertyDescription& property) {
  if (property.isTransient()) return false;
  return !isKindOf<NSRelationshipDescription>(property) ||
         !static_cast<const NSRelationshipDescription&>(property).isToMany();
}

/// Reads one `contents` document.
class ModelDocumentReader {
 public:
  ModelDocumentReader(const std::string& path, Ref<NSError>* error) : _path(path), _error(error) {}

  Ref<NSManagedObjectModel> read(std::string_view xml) {
    pugi::xml_document document;
    const pugi::xml_parse_result parsed = document.load_buffer(xml.data(), xml.size());
    if (!parsed) {
      const auto offset = std::min(static_cast<std::size_t>(parsed.offset), xml.size());
      const std::string_view before = xml.substr(0, offset);
      return refuse(
          NSFileReadCorruptFileError,
          NSString::stringWithFormat(
              "line %zu: this is not well-formed XML: %s",
              static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) + 1,
              parsed.description()));
    }
    const pugi::xml_node root = document.child("model");
    if (!root) return refuse(NSFileReadCorruptFileError, "there is no <model> in it");
    auto model = NSManagedObjectModel::init();
    model->setVersionIdentifier(textOf(root.attribute("userDefinedModelVersionIdentifier")));
    for (const pugi::xml_node& node : root.children("entity")) {
      if (!readEntity(node)) return nullptr;
    }
    if (!linkParents(root) || !linkRelationships(root)) return nullptr;
    std::vector<Value> entities;
    for (const Entity& entity : _entities) entities.emplace_back(entity.description);
    model->setEntities(NSArray::arrayWithValues(std::move(entities)));
    if (!readTemplates(root, *model) || !readConfigurations(root, *model)) return nullptr;
    Ref<NSError> problem;
    if (!model->validate(&problem)) {
      const Ref<NSDictionary> details = problem->userInfo();
      return refuse(problem->code(), problem->localizedDescription(),
                    details->objectForKey("entity"), details->objectForKey("property"),
                    details->objectForKey(NSDetailedErrorsKey));
    }
    return model;
  }

 private:
  struct Entity {
    Ref<NSEntityDescription> description;
    std::size_t parent;
    std::unordered_map<std::string, NSPropertyDescription*> properties;
  };
  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  std::nullptr_t refuse(NSInteger code, const Ref<NSString>& why, const Value& entity = nullptr,
                        const Value& property = nullptr, const Value& all = nullptr) {
    Ref<NSString> sentence =
        _path.empty()
            ? NSString::stringWithFormat("The data model cannot be read: %@", why)
            : NSString::stringWithFormat("The data model %s cannot be read: %@", _path, why);
    fail(_error, cocoaError(code, sentence,
                            {{NSFilePathErrorKey, _path.empty() ? Value() : Value(_path)},
                             {"entity", entity},
                             {"property", property},
                             {NSDetailedErrorsKey, all}}));
    return nullptr;
  }
  bool refuseModel(const Ref<NSString>& why) {
    refuse(NSCoreDataError, why);
    return false;
  }
  bool refuseEntity(const Ref<NSString>& entity, const Ref<NSString>& why) {
    refuse(NSCoreDataError, why, entity);
    return false;
  }
  bool refuseProperty(const Ref<NSString>& entity, const Ref<NSString>& property,
                      const Ref<NSString>& why) {
    refuse(NSCoreDataError, why, entity, property);
    return false;
  }

  static Ref<NSDictionary> userInfoOf(const pugi::xml_node& node) {
    NSDictionary::Builder entries;
    for (const pugi::xml_node& entry : node.child("userInfo").children("entry")) {
      entries.set(NSString::fromText(entry.attribute("key").value()),
                  NSString::fromText(entry.attribute("value").value()));
    }
    return entries.finish();
  }

  bool readEntity(const pugi::xml_node& node) {
    Ref<NSString> name = textOf(node.attribute("name"));
    if (!name) return refuseEntity(nullptr, "an entity has no name");
    if (!_numbers.emplace(name->toStdString(), _entities.size()).second) {
      return refuseEntity(name,
                          NSString::stringWithFormat("there are two entities named '%@'", name));
    }
    auto entity = NSEntityDescription::init();
    entity->setName(name);
    std::string_view className = node.attribute("representedClassName").value();
    entity->setManagedObjectClassName(className.substr(className.rfind('.') + 1));
    entity->setAbstract(flag(node, "isAbstract"));
    entity->setVersionHashModifier(textOf(node.attribute("versionHashModifier")));
    entity->setRenamingIdentifier(textOf(node.attribute("elementID")));
    entity->setUserInfo(userInfoOf(node));
    entity->setUniquenessConstraints(constraintsOf(node));
    std::vector<Value> properties, indexed;
    std::unordered_map<std::string, NSPropertyDescription*> names;
    for (const pugi::xml_node& child : node.children()) {
      const std::string_view kind = child.name();
      if (kind != "attribute" && kind != "relationship" && kind != "fetchedProperty") continue;
      Ref<NSString> property = textOf(child.attribute("name"));
      if (!property) {
        return refuseEntity(
            name, NSString::stringWithFormat("a property of entity '%@' has no name", name));
      }
      if (isReservedPropertyName(property->utf8())) {
        return refuseProperty(
            name, property,
            NSString::stringWithFormat(
                "property '%@' of entity '%@' has the name of a method that every object has",
                property, name));
      }
      if (names.count(property->toStdString())) {
        return refuseProperty(name, property,
                              NSString::stringWithFormat(
                                  "entity '%@' has two properties named '%@'", name, property));
      }
      Ref<NSPropertyDescription> read = kind == "attribute" ? readAttribute(child, name, property)
                                        : kind == "relationship"
                                            ? readRelationship(child, name, property)
                                            : readFetchedProperty(child, name, property);
      if (!read) return false;
      names.emplace(property->toStdString(), read.get());
      properties.emplace_back(read);
      if (flag(child, "indexed") && canBeIndexed(*read)) indexed.emplace_back(property);
    }
    entity->setProperties(NSArray::arrayWithValues(std::move(properties)));
    if (!readIndexes(node, *entity, indexed)) return false;
    _entities.push_back({std::move(entity), none, std::move(names)});
    return true;
  }

  void readCommon(const pugi::xml_node& node, const Ref<NSString>& name,
                  NSPropertyDescription& property) {
    property.setName(name);
    property.setOptional(flag(node, "optional"));
    property.setTransient(flag(node, "transient"));
    property.setUserInfo(userInfoOf(node));
    property.setVersionHashModifier(textOf(node.attribute("versionHashModifier")));
    Ref<NSString> former = textOf(node.attribute("renamingIdentifier"));
    property.setRenamingIdentifier(former ? former : textOf(node.attribute("elementID")));
  }

  Ref<NSPropertyDescription> readAttribute(const pugi::xml_node& node, const Ref<NSString>& entity,
                                           const Ref<NSString>& name) {
    const Ref<NSString> derivation = textOf(node.attribute("derivationExpression"));
    const bool isDerived = derivation || flag(node, "derived");
    Ref<NSAttributeDescription> attribute = NSAttributeDescription::init();
    if (isDerived) {
      auto derived = NSDerivedAttributeDescription::init();
      derived->setDerivationExpression(derivation);
      attribute = derived;
    }
    readCommon(node, name, *attribute);
    const std::string_view typeName = node.attribute("attributeType").value();
    const auto type = attributeTypeNamed(typeName);
    if (!type) {
      refuseProperty(
          entity, name,
          NSString::stringWithFormat("attribute '%@' of entity '%@' has the unknown type \"%s\"",
                                     name, entity, typeName));
      return nullptr;
    }
    attribute->setAttributeType(*type);
    // A derived attribute without a type is computed, never stored.
    if (*type == NSUndefinedAttributeType && isDerived) attribute->setTransient(true);
    attribute->setValueTransformerName(textOf(node.attribute("valueTransformerName")));
    attribute->setAttributeValueClassName(textOf(node.attribute("customClassName")));
    attribute->setRegularExpression(textOf(node.attribute("regularExpressionString")));
    attribute->setAllowsExternalBinaryDataStorage(flag(node, "allowsExternalBinaryDataStorage"));
    Value initial, minimum, maximum;
    const NSAttributeType boundType = typeOfBounds(*type);
    if (!readValue(node, "default", *type, entity, name, initial) ||
        !readValue(node, "min", boundType, entity, name, minimum) ||
        !readValue(node, "max", boundType, entity, name, maximum)) {
      return nullptr;
    }
    attribute->setDefaultValue(initial);
    attribute->setMinimumValue(minimum);
    attribute->setMaximumValue(maximum);
    return attribute;
  }

  /// Reads `<prefix>ValueString`, or `<prefix>DateTimeInterval` of a date.
  bool readValue(const pugi::xml_node& node, const std::string& prefix, NSAttributeType type,
                 const Ref<NSString>& entity, const Ref<NSString>& name, Value& value) {
    const std::string suffix = type == NSDateAttributeType ? "DateTimeInterval" : "ValueString";
    const pugi::xml_attribute source = node.attribute((prefix + suffix).c_str());
    if (!source) return true;
    const std::string_view text = source.value();
    value = valueFromModelText(text, type);
    // The platform's editor leaves empty texts behind.
    if (value.isNull() && text.empty()) return true;
    if (!value.isNull()) return true;
    return refuseProperty(entity, name,
                          NSString::stringWithFormat(
                              "attribute '%@' of entity '%@' has %s%s=\"%s\", which is not a value "
                              "of its type",
                              name, entity, prefix, suffix, text));
  }

  Ref<NSPropertyDescription> readRelationship(const pugi::xml_node& node,
                                              const Ref<NSString>& entity,
                                              const Ref<NSString>& name) {
    auto relationship = NSRelationshipDescription::init();
    readCommon(node, name, *relationship);
    relationship->setOrdered(flag(node, "ordered"));
    const bool toMany = flag(node, "toMany");
    const auto count = [&](const char* key, NSUInteger absent) -> std::optional<NSUInteger> {
      const pugi::xml_attribute attribute = node.attribute(key);
      return attribute ? numberFromModelText<NSUInteger>(attribute.value()) : absent;
    };
    const auto minimum = count("minCount", 0);
    const auto maximum = count("maxCount", toMany ? 0 : 1);
    const std::string_view ruleName = node.attribute("deletionRule").value();
    const auto rule = ruleName.empty() ? NSNullifyDeleteRule : deleteRuleNamed(ruleName);
    const auto contradiction = [&](const char* what, const char* given) {
      refuseProperty(entity, name,
                     NSString::stringWithFormat("relationship '%@' of entity '%@' %s \"%s\"", name,
                                                entity, what, given));
      return nullptr;
    };
    if (!minimum) return contradiction("has the minCount", node.attribute("minCount").value());
    if (!maximum) return contradiction("has the maxCount", node.attribute("maxCount").value());
    if (!rule) {
      return contradiction("has the unknown deletionRule", node.attribute("deletionRule").value());
    }
    if (toMany != (*maximum != 1)) {
      return contradiction(toMany ? "leads to many objects, but has the maxCount"
                                  : "leads to one object, but has the maxCount",
                           node.attribute("maxCount").value());
    }
    relationship->setMinCount(*minimum);
    relationship->setMaxCount(*maximum);
    relationship->setDeleteRule(*rule);
    return relationship;
  }

  static Ref<NSArray> constraintsOf(const pugi::xml_node& node) {
    std::vector<Value> all;
    for (const pugi::xml_node& set :
         node.child("uniquenessConstraints").children("uniquenessConstraint")) {
      std::vector<Value> names;
      for (const pugi::xml_node& constraint : set.children("constraint")) {
        names.emplace_back(NSString::fromText(constraint.attribute("value").value()));
      }
      if (!names.empty()) all.emplace_back(NSArray::arrayWithValues(std::move(names)));
    }
    return NSArray::arrayWithValues(std::move(all));
  }

  Ref<NSPropertyDescription> readFetchedProperty(const pugi::xml_node& node,
                                                 const Ref<NSString>& entity,
                                                 const Ref<NSString>& name) {
    auto property = NSFetchedPropertyDescription::init();
    readCommon(node, name, *property);
    if (const pugi::xml_node child = node.child("fetchRequest")) {
      Ref<NSString> problem;
      const Ref<NSFetchRequest> request = requestFrom(child, problem);
      if (!request) {
        refuseProperty(entity, name,
                       NSString::stringWithFormat("fetched property '%@' of entity '%@' has %@",
                                                  name, entity, problem));
        return nullptr;
      }
      property->setFetchRequest(request);
    }
    return property;
  }

  /// Fails: returns null; the problem is what the request has that it must not.
  static Ref<NSFetchRequest> requestFrom(const pugi::xml_node& node, Ref<NSString>& problem) {
    auto request = NSFetchRequest::fetchRequestWithEntityName(textOf(node.attribute("entity")));
    const auto number = [&](const char* key) -> std::optional<NSUInteger> {
      const std::string_view text = node.attribute(key).value();
      if (text.empty()) return 0;
      const auto read = numberFromModelText<NSUInteger>(text);
      if (!read && !problem) {
        problem = NSString::stringWithFormat("%s=\"%s\", which is no number", key, text);
      }
      return read;
    };
    const auto limit = number("fetchLimit"), batch = number("fetchBatchSize"),
               type = number("resultType");
    if (type && *type > NSDictionaryResultType && !problem) {
      problem = NSString::stringWithFormat("the unknown resultType %llu", *type);
    }
    if (problem) return nullptr;
    request->setFetchLimit(*limit);
    request->setFetchBatchSize(*batch);
    request->setResultType(static_cast<NSFetchRequestResultType>(*type));
    // The platform's editor spells these sometimes with an s and sometimes without.
    const auto either = [&](const char* one, const char* other) {
      return flag(node, one) || flag(node, other);
    };
    request->setIncludesSubentities(either("includeSubentities", "includesSubentities"));
    request->setIncludesPropertyValues(either("includePropertyValues", "includesPropertyValues"));
    request->setIncludesPendingChanges(either("includesPendingChanges", "includePendingChanges"));
    request->setReturnsObjectsAsFaults(either("returnObjectsAsFaults", "returnsObjectsAsFaults"));
    request->setReturnsDistinctResults(either("returnDistinctResults", "returnsDistinctResults"));
    const Ref<NSString> predicate = textOf(node.attribute("predicateString"));
    if (!predicate) return request;
    try {
      request->setPredicate(NSPredicate::predicateWithFormat(predicate));
    } catch (const Raised& raised) {
      problem = NSString::stringWithFormat("a predicate that cannot be read: %@",
                                           Value(raised.exception()->reason()));
      return nullptr;
    }
    return request;
  }

  bool readTemplates(const pugi::xml_node& root, NSManagedObjectModel& model) {
    std::unordered_set<std::string> names;
    for (const pugi::xml_node& node : root.children("fetchRequest")) {
      const Ref<NSString> name = textOf(node.attribute("name"));
      if (!name) return refuseModel("a fetch request has no name");
      if (!names.insert(name->toStdString()).second) {
        return refuseModel(
            NSString::stringWithFormat("there are two fetch requests named '%@'", name));
      }
      Ref<NSString> problem;
      const Ref<NSFetchRequest> request = requestFrom(node, problem);
      if (!request) {
        return refuseModel(
            NSString::stringWithFormat("the fetch request '%@' has %@", name, problem));
      }
      model.setFetchRequestTemplateForName(request, name);
    }
    return true;
  }

  bool readConfigurations(const pugi::xml_node& root, NSManagedObjectModel& model) {
    for (const pugi::xml_node& node : root.children("configuration")) {
      const Ref<NSString> name = textOf(node.attribute("name"));
      if (!name) return refuseModel("a configuration has no name");
      if (model.entitiesForConfiguration(name)) {
        return refuseModel(
            NSString::stringWithFormat("there are two configurations named '%@'", name));
      }
      std::vector<Value> members;
      for (const pugi::xml_node& member : node.children("memberEntity")) {
        const auto found = _numbers.find(nameOf(member.attribute("name")));
        if (found == _numbers.end()) {
          return refuseModel(
              NSString::stringWithFormat("the configuration '%@' holds the unknown entity '%s'",
                                         name, nameOf(member.attribute("name"))));
        }
        members.emplace_back(_entities[found->second].description);
      }
      model.setEntitiesForConfiguration(NSArray::arrayWithValues(std::move(members)), name);
    }
    return true;
  }

  /// Reads indexes of the current form, and those of old files: lists of names, and marks at the
  /// properties themselves, where the current form does not say the same.
  bool readIndexes(const pugi::xml_node& node, NSEntityDescription& entity,
                   const std::vector<Value>& indexed) {
    std::vector<Value> all;
    std::unordered_set<std::string> single;
    for (const pugi::xml_node& index : node.children("fetchIndex")) {
      const Ref<NSString> name = textOf(index.attribute("name"));
      if (!name) {
        return refuseEntity(
            entity.name(),
            NSString::stringWithFormat("an index of entity '%@' has no name", entity.name()));
      }
      std::vector<Value> elements;
      for (const pugi::xml_node& element : index.children("fetchIndexElement")) {
        const Ref<NSFetchIndexElementDescription> read = indexElementFrom(element);
        if (!read) {
          return refuseEntity(
              entity.name(),
              NSString::stringWithFormat(
                  "the index '%@' of entity '%@' has an element with property=\"%s\", "
                  "type=\"%s\" and order=\"%s\"",
                  name, entity.name(), element.attribute("property").value(),
                  element.attribute("type").value(), element.attribute("order").value()));
        }
        elements.emplace_back(read);
      }
      if (elements.size() == 1)
        single.insert(nameOf(index.child("fetchIndexElement").attribute("property")));
      all.emplace_back(NSFetchIndexDescription::initWithNameElements(
          name, NSArray::arrayWithValues(std::move(elements))));
    }
    for (const pugi::xml_node& index : node.child("compoundIndexes").children("compoundIndex")) {
      std::vector<Value> names;
      for (const pugi::xml_node& element : index.children("index")) {
        if (Ref<NSString> name = textOf(element.attribute("value"))) names.emplace_back(name);
      }
      if (!names.empty()) all.emplace_back(NSArray::arrayWithValues(std::move(names)));
    }
    for (const Value& property : indexed) {
      if (!single.count(as<NSString>(property)->toStdString())) {
        all.emplace_back(NSArray::arrayWithObject(property));
      }
    }
    entity.setIndexes(NSArray::arrayWithValues(std::move(all)));
    return true;
  }

  /// Returns: null for what is none.
  static Ref<NSFetchIndexElementDescription> indexElementFrom(const pugi::xml_node& node) {
    const Ref<NSString> property = textOf(node.attribute("property"));
    const auto type = indexTypeNamed(node.attribute("type").value());
    const std::string_view order = node.attribute("order").value();
    const bool isDescending = order == "descending";
    if (!property || !type || (!order.empty() && order != "ascending" && !isDescending)) {
      return nullptr;
    }
    auto element =
        NSFetchIndexElementDescription::initWithPropertyNameCollationType(property, *type);
    element->setAscending(!isDescending);
    return element;
  }

  bool linkParents(const pugi::xml_node& root) {
    std::size_t number = 0;
    for (const pugi::xml_node& node : root.children("entity")) {
      Entity& entity = _entities[number++];
      const std::string parent = nameOf(node.attribute("parentEntity"));
      if (parent.empty()) continue;
      const auto found = _numbers.find(parent);
      if (found == _numbers.end()) {
        return refuseEntity(
            entity.description->name(),
            NSString::stringWithFormat("entity '%@' has the unknown parent entity '%s'",
                                       entity.description->name(), parent));
      }
      entity.parent = found->second;
    }
    std::vector<std::vector<Value>> below(_entities.size());
    for (std::size_t i = 0; i < _entities.size(); ++i) {
      // Far more levels than the model's own limit, which the check of the whole model explains.
      constexpr std::size_t stepLimit = 1000;
      std::size_t steps = 0;
      for (std::size_t above = _entities[i].parent; above != none;
           above = _entities[above].parent) {
        if (above != i && ++steps < stepLimit) continue;
        return refuseEntity(_entities[i].description->name(),
                            NSString::stringWithFormat(
                                above == i ? "entity '%@' descends from itself"
                                           : "entity '%@' has more than 100 levels of parents",
                                _entities[i].description->name()));
      }
      if (_entities[i].parent != none)
        below[_entities[i].parent].emplace_back(_entities[i].description);
    }
    for (std::size_t i = 0; i < _entities.size(); ++i) {
      if (!below[i].empty()) {
        _entities[i].description->setSubentities(NSArray::arrayWithValues(std::move(below[i])));
      }
    }
    return true;
  }

  NSRelationshipDescription* relationshipNamed(const Entity& entity,
                                               const std::string& name) const {
    for (const Entity* next = &entity;; next = &_entities[next->parent]) {
      const auto found = next->properties.find(name);
      if (found != next->properties.end() && isKindOf<NSRelationshipDescription>(*found->second)) {
        return static_cast<NSRelationshipDescription*>(found->second);
      }
      if (next->parent == none) return nullptr;
    }
  }

  bool linkRelationships(const pugi::xml_node& root) {
    std::size_t number = 0;
    for (const pugi::xml_node& node : root.children("entity")) {
      const Entity& entity = _entities[number++];
      for (const pugi::xml_node& child : node.children("relationship")) {
        NSRelationshipDescription* relationship =
            relationshipNamed(entity, nameOf(child.attribute("name")));
        const std::string destination = nameOf(child.attribute("destinationEntity"));
        const auto found = _numbers.find(destination);
        if (found == _numbers.end()) {
          return refuseProperty(
              entity.description->name(), relationship->name(),
              NSString::stringWithFormat(
                  "relationship '%@' of entity '%@' leads to the unknown entity '%s'",
                  relationship->name(), entity.description->name(), destination));
        }
        const Entity& other = _entities[found->second];
        relationship->setDestinationEntity(other.description);
        const std::string inverseName = nameOf(child.attribute("inverseName"));
        const std::string inverseEntity = nameOf(child.attribute("inverseEntity"));
        if (!inverseEntity.empty() && (inverseName.empty() || inverseEntity != destination)) {
          return refuseProperty(
              entity.description->name(), relationship->name(),
              NSString::stringWithFormat(
                  inverseName.empty()
                      ? "relationship '%@' of entity '%@' has an inverse of entity '%s' that has "
                        "no name"
                      : "relationship '%@' of entity '%@' has an inverse of entity '%s', but leads "
                        "elsewhere",
                  relationship->name(), entity.description->name(), inverseEntity));
        }
        if (inverseName.empty()) continue;
        NSRelationshipDescription* inverse = relationshipNamed(other, inverseName);
        if (!inverse) {
          return refuseProperty(entity.description->name(), relationship->name(),
                                NSString::stringWithFormat(
                                    "relationship '%@' of entity '%@' has the unknown inverse '%s'",
                                    relationship->name(), entity.description->name(), inverseName));
        }
        relationship->setInverseRelationship(Ref<NSRelationshipDescription>(inverse));
      }
    }
    return true;
  }

  const std::string& _path;
  Ref<NSError>* _error;
  std::vector<Entity> _entities;
  std::unordered_map<std::string, std::size_t> _numbers;
};

}  // namespace

Ref<NSManagedObjectModel> readModelText(std::string_view xml, const std::string& path,
                                        Ref<NSError>* error) {
  return ModelDocumentReader(path, error).read(xml);
}

}  // namespace JNFoundation::impl
