#include "JNFoundation/platform/store/impl/ModelReader.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <pugixml.hpp>
#include <unordered_map>
#include <vector>

#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/ModelText.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>

namespace JNFoundation::impl {
namespace {

namespace fs = std::filesystem;

constexpr NSInteger fileReadUnknownError = 256;
constexpr NSInteger fileReadCorruptError = 259;
constexpr NSInteger fileReadNoSuchFileError = 260;

Ref<NSString> textOf(const pugi::xml_attribute& attribute) {
  return attribute && *attribute.value() ? NSString::fromText(attribute.value()) : nullptr;
}

/// A name that something of the file has elsewhere: mended like the one that it stands for.
std::string nameOf(const pugi::xml_attribute& attribute) {
  return NSString::fromText(attribute.value())->toStdString();
}

/// Reads one `contents` document.
class ModelDocument {
 public:
  ModelDocument(const std::string& path, Ref<NSError>* error) : _path(path), _error(error) {}

  Ref<NSManagedObjectModel> read(std::string_view xml) {
    pugi::xml_document document;
    const pugi::xml_parse_result parsed = document.load_buffer(xml.data(), xml.size());
    if (!parsed) {
      const auto offset = std::min(static_cast<std::size_t>(parsed.offset), xml.size());
      const std::string_view before = xml.substr(0, offset);
      return refuse(
          fileReadCorruptError,
          NSString::stringWithFormat(
              "line %zu: this is not well-formed XML: %s",
              static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) + 1,
              parsed.description()));
    }
    const pugi::xml_node root = document.child("model");
    if (!root) return refuse(fileReadCorruptError, "there is no <model> in it");
    auto model = NSManagedObjectModel::init();
    model->setVersionIdentifier(textOf(root.attribute("userDefinedModelVersionIdentifier")));
    for (const pugi::xml_node& node : root.children("entity")) {
      if (!readEntity(node)) return nullptr;
    }
    if (!linkParents(root) || !linkRelationships(root)) return nullptr;
    std::vector<Value> entities;
    for (const Entity& entity : _entities) entities.emplace_back(entity.description);
    model->setEntities(NSArray::arrayWithValues(std::move(entities)));
    Ref<NSError> problem;
    if (!model->validate(&problem)) {
      return refuse(problem->code(), problem->localizedDescription(),
                    problem->userInfo()->objectForKey("entity"),
                    problem->userInfo()->objectForKey("property"));
    }
    return model;
  }

 private:
  struct Entity {
    Ref<NSEntityDescription> description;
    std::size_t parent;
  };
  static constexpr std::size_t none = static_cast<std::size_t>(-1);

  std::nullptr_t refuse(NSInteger code, const Ref<NSString>& why, const Value& entity = nullptr,
                        const Value& property = nullptr) {
    Ref<NSString> sentence =
        _path.empty()
            ? NSString::stringWithFormat("The data model cannot be read: %@", why)
            : NSString::stringWithFormat("The data model %s cannot be read: %@", _path, why);
    fail(_error, cocoaError(code, sentence,
                            {{NSFilePathErrorKey, _path.empty() ? Value() : Value(_path)},
                             {"entity", entity},
                             {"property", property}}));
    return nullptr;
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

  bool flag(const pugi::xml_node& node, const char* name) const {
    return flagFromModelText(node.attribute(name).value()).value_or(false);
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
    entity->setIndexes(indexesOf(node));
    std::vector<Value> properties;
    std::unordered_map<std::string, bool> names;
    for (const pugi::xml_node& child : node.children()) {
      const std::string_view kind = child.name();
      if (kind != "attribute" && kind != "relationship") continue;
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
      if (!names.emplace(property->toStdString(), true).second) {
        return refuseProperty(name, property,
                              NSString::stringWithFormat(
                                  "entity '%@' has two properties named '%@'", name, property));
      }
      Ref<NSPropertyDescription> read = kind == "attribute"
                                            ? readAttribute(child, name, property)
                                            : readRelationship(child, name, property);
      if (!read) return false;
      properties.emplace_back(read);
    }
    entity->setProperties(NSArray::arrayWithValues(std::move(properties)));
    _entities.push_back({std::move(entity), none});
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
    auto attribute = NSAttributeDescription::init();
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
    if (typeName.empty() && flag(node, "derived")) attribute->setTransient(true);
    attribute->setValueTransformerName(textOf(node.attribute("valueTransformerName")));
    attribute->setAttributeValueClassName(textOf(node.attribute("customClassName")));
    attribute->setRegularExpression(textOf(node.attribute("regularExpressionString")));
    attribute->setAllowsExternalBinaryDataStorage(flag(node, "allowsExternalBinaryDataStorage"));
    Value initial, minimum, maximum;
    // Of a text its length has bounds.
    const NSAttributeType boundType =
        *type == NSStringAttributeType ? NSInteger64AttributeType : *type;
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
    if (!minimum || !maximum || !rule) {
      refuseProperty(
          entity, name,
          NSString::stringWithFormat("relationship '%@' of entity '%@' has a %s that is none", name,
                                     entity, rule ? "count" : "deletionRule"));
      return nullptr;
    }
    relationship->setMinCount(*minimum);
    relationship->setMaxCount(toMany && *maximum == 1 ? 0 : *maximum);
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

  /// Indexes of the current form, and single attributes of the old one.
  Ref<NSArray> indexesOf(const pugi::xml_node& node) const {
    std::vector<Value> all;
    for (const pugi::xml_node& index : node.children("fetchIndex")) {
      std::vector<Value> names;
      for (const pugi::xml_node& element : index.children("fetchIndexElement")) {
        if (Ref<NSString> property = textOf(element.attribute("property"))) {
          names.emplace_back(property);
        }
      }
      if (!names.empty()) all.emplace_back(NSArray::arrayWithValues(std::move(names)));
    }
    for (const pugi::xml_node& attribute : node.children("attribute")) {
      if (flag(attribute, "indexed")) {
        all.emplace_back(
            NSArray::arrayWithObject(NSString::fromText(attribute.attribute("name").value())));
      }
    }
    return NSArray::arrayWithValues(std::move(all));
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

  NSRelationshipDescription* relationshipNamed(const Entity& entity, std::string_view name) const {
    for (const Entity* next = &entity;; next = &_entities[next->parent]) {
      for (const Ref<NSPropertyDescription>& property : next->description->ownProperties()) {
        if (property->name()->utf8() == name && isKindOf<NSRelationshipDescription>(*property)) {
          return static_cast<NSRelationshipDescription*>(property.get());
        }
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

std::nullptr_t refuseFile(Ref<NSError>* error, NSInteger code, const std::string& path,
                          const char* why) {
  fail(error,
       cocoaError(code,
                  NSString::stringWithFormat("The data model %s cannot be read: %s", path, why),
                  {{NSFilePathErrorKey, path}}));
  return nullptr;
}

std::optional<std::string> contentsOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (file.bad()) return std::nullopt;
  return text;
}

/// The name of the current version that a property list of a bundle has.
/// Returns: nothing where it has none, and for what is no name of a version.
std::optional<std::string> currentVersionFrom(const std::string& list) {
  pugi::xml_document document;
  if (!document.load_buffer(list.data(), list.size())) return std::nullopt;
  for (const pugi::xml_node& key : document.child("plist").child("dict").children("key")) {
    if (std::string_view(key.text().get()) != "_XCCurrentVersionName") continue;
    pugi::xml_node value = key.next_sibling();
    while (value && value.type() != pugi::node_element) value = value.next_sibling();
    const std::string name = value.text().get();
    const bool isName = std::string_view(value.name()) == "string" && fs::path(name).has_stem() &&
                        fs::path(name).extension() == ".xcdatamodel" &&
                        name.find('/') == std::string::npos;
    return isName ? std::optional(name) : std::nullopt;
  }
  return std::nullopt;
}

/// The version that `.xccurrentversion` names, else the only one.
/// Fails: returns nothing and sets the error.
std::optional<fs::path> currentVersionIn(const fs::path& bundle, Ref<NSError>* error) {
  std::error_code trouble;
  const fs::path list = bundle / ".xccurrentversion";
  if (fs::exists(list, trouble)) {
    const auto text = contentsOf(list);
    const auto name = text ? currentVersionFrom(*text) : std::nullopt;
    if (!name) {
      refuseFile(error, fileReadCorruptError, list.string(),
                 "it is no property list that names a version");
      return std::nullopt;
    }
    if (fs::exists(bundle / *name / "contents", trouble)) return bundle / *name;
    refuseFile(error, fileReadNoSuchFileError, list.string(),
               ("the current version '" + *name + "' is missing").c_str());
    return std::nullopt;
  }
  fs::path only;
  std::size_t versions = 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(bundle, trouble)) {
    if (entry.path().extension() != ".xcdatamodel") continue;
    only = entry.path();
    ++versions;
  }
  if (versions == 1) return only;
  refuseFile(error, fileReadCorruptError, bundle.string(),
             versions == 0 ? "it has neither contents nor a version"
                           : "it has several versions, and no .xccurrentversion says which is the "
                             "current one");
  return std::nullopt;
}

}  // namespace

Ref<NSManagedObjectModel> readModelText(std::string_view xml, Ref<NSError>* error) {
  return ModelDocument(std::string(), error).read(xml);
}

Ref<NSManagedObjectModel> readModelFile(const std::string& path, Ref<NSError>* error) {
  std::error_code trouble;
  fs::path file(path);
  if (!fs::exists(file, trouble)) {
    return refuseFile(error, fileReadNoSuchFileError, path, "there is no such file");
  }
  if (fs::is_directory(file, trouble) && !fs::exists(file / "contents", trouble)) {
    const auto version = currentVersionIn(file, error);
    if (!version) return nullptr;
    file = *version;
  }
  if (fs::is_directory(file, trouble)) file /= "contents";
  if (!fs::is_regular_file(file, trouble)) {
    return refuseFile(error, fileReadNoSuchFileError, file.string(), "there is no such file");
  }
  const auto text = contentsOf(file);
  if (!text) return refuseFile(error, fileReadUnknownError, file.string(), "it cannot be opened");
  const std::string name = file.string();
  return ModelDocument(name, error).read(*text);
}

}  // namespace JNFoundation::impl
