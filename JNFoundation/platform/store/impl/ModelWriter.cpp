#include "JNFoundation/platform/store/impl/ModelWriter.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <pugixml.hpp>
#include <unistd.h>
#include <unordered_set>

#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/impl/ModelText.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>

namespace JNFoundation::impl {
namespace {

namespace fs = std::filesystem;

constexpr NSInteger fileWriteUnknownError = 512;

/// Whether XML has all the characters of the well-formed text.
bool isWritable(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte < 0x20 && byte != '\t' && byte != '\n' && byte != '\r') return false;
    const std::string_view character = text.substr(i, 3);
    if (character == "\xEF\xBF\xBE" || character == "\xEF\xBF\xBF") return false;
  }
  return true;
}

struct StringSink : pugi::xml_writer {
  std::string text;
  void write(const void* data, std::size_t size) override {
    text.append(static_cast<const char*>(data), size);
  }
};

/// Writes one `contents` document. The first thing that cannot be written is kept as the problem;
/// what is written behind it is thrown away.
class ModelDocument {
 public:
  Ref<NSString> write(const NSManagedObjectModel& model, Ref<NSError>* error) {
    if (!model.validate(&_problem)) return refused(error);
    pugi::xml_document document;
    pugi::xml_node declaration = document.append_child(pugi::node_declaration);
    declaration.append_attribute("version") = "1.0";
    declaration.append_attribute("encoding") = "UTF-8";
    declaration.append_attribute("standalone") = "yes";
    pugi::xml_node root = document.append_child("model");
    set(root, "type", "com.apple.IDECoreDataModeler.DataModel");
    set(root, "documentVersion", "1.0");
    setText(root, "userDefinedModelVersionIdentifier", model.versionIdentifier());
    for (const Ref<NSEntityDescription>& entity : model.entityList()) {
      _members.insert(entity.get());
    }
    for (const Ref<NSEntityDescription>& entity : model.entityList()) writeEntity(root, *entity);
    if (_problem) return refused(error);
    StringSink sink;
    document.save(sink, "    ", pugi::format_default, pugi::encoding_utf8);
    return NSString::fromText(sink.text);
  }

 private:
  std::nullptr_t refused(Ref<NSError>* error) {
    fail(error, std::move(_problem));
    return nullptr;
  }

  void refuse(const Ref<NSString>& why) {
    if (_problem) return;
    const Value entity = _entity ? Value(_entity->name()) : Value();
    const Value property = _property ? Value(_property->name()) : Value();
    Ref<NSString> sentence =
        _property ? NSString::stringWithFormat("Property '%@' of entity '%@' cannot be written: %@",
                                               property, entity, why)
        : _entity ? NSString::stringWithFormat("Entity '%@' cannot be written: %@", entity, why)
                  : NSString::stringWithFormat("The data model cannot be written: %@", why);
    _problem = cocoaError(NSCoreDataError, sentence, {{"entity", entity}, {"property", property}});
  }

  void set(pugi::xml_node node, const char* name, std::string_view text) {
    if (!isWritable(text)) {
      return refuse(NSString::stringWithFormat(
          "its %s \"%s\" has a character that XML does not have", name, text));
    }
    node.append_attribute(name).set_value(std::string(text).c_str());
  }
  /// What is empty is read as if it were not there.
  void setText(pugi::xml_node node, const char* name, const Ref<NSString>& text) {
    if (text && !text->utf8().empty()) set(node, name, *text);
  }
  void setFlag(pugi::xml_node node, const char* name, bool flag) {
    if (flag) set(node, name, "YES");
  }
  /// Writes one string of a list that an application made of whatever it liked.
  void setElement(pugi::xml_node node, const char* name, const Value& value, const char* list) {
    if (auto* text = as<NSString>(value)) return set(node, name, *text);
    refuse(NSString::stringWithFormat("its %s hold %@, which is no string", list, value));
  }

  void writeUserInfo(pugi::xml_node node, const NSDictionary& userInfo) {
    if (userInfo.count() == 0) return;
    pugi::xml_node list = node.append_child("userInfo");
    for (const auto& [key, value] : userInfo) {
      pugi::xml_node entry = list.append_child("entry");
      setElement(entry, "key", key, "user info");
      setElement(entry, "value", value, "user info");
    }
  }

  void writeEntity(pugi::xml_node root, const NSEntityDescription& entity) {
    _entity = &entity;
    pugi::xml_node node = root.append_child("entity");
    set(node, "name", *entity.name());
    if (entity.managedObjectClassName()->utf8().find('.') != std::string_view::npos) {
      refuse("its class has a name with a dot, before which a module would stand");
    }
    set(node, "representedClassName", *entity.managedObjectClassName());
    if (Ref<NSEntityDescription> above = entity.superentity()) {
      set(node, "parentEntity", *above->name());
    }
    setFlag(node, "isAbstract", entity.isAbstract());
    setText(node, "versionHashModifier", entity.versionHashModifier());
    if (!entity.renamingIdentifier()->hasContentOf(*entity.name())) {
      setText(node, "elementID", entity.renamingIdentifier());
    }
    for (const Ref<NSPropertyDescription>& property : entity.ownProperties()) {
      _property = property.get();
      writeProperty(node, *property);
      _property = nullptr;
    }
    writeIndexes(node, entity);
    writeConstraints(node, entity);
    writeUserInfo(node, *entity.userInfo());
    _entity = nullptr;
  }

  void writeProperty(pugi::xml_node entity, const NSPropertyDescription& property) {
    const bool isAttribute = isKindOf<NSAttributeDescription>(property);
    if (!isAttribute && !isKindOf<NSRelationshipDescription>(property)) {
      return refuse("it is neither an attribute nor a relationship");
    }
    pugi::xml_node node = entity.append_child(isAttribute ? "attribute" : "relationship");
    set(node, "name", *property.name());
    setFlag(node, "optional", property.isOptional());
    setFlag(node, "transient", property.isTransient());
    if (isAttribute) {
      writeAttribute(node, static_cast<const NSAttributeDescription&>(property));
    } else {
      writeRelationship(node, static_cast<const NSRelationshipDescription&>(property));
    }
    setText(node, "versionHashModifier", property.versionHashModifier());
    if (!property.renamingIdentifier()->hasContentOf(*property.name())) {
      setText(node, "renamingIdentifier", property.renamingIdentifier());
    }
    writeUserInfo(node, *property.userInfo());
  }

  void writeAttribute(pugi::xml_node node, const NSAttributeDescription& attribute) {
    const NSAttributeType type = attribute.attributeType();
    if (type != NSUndefinedAttributeType) set(node, "attributeType", nameOfAttributeType(type));
    if (type == NSTransformableAttributeType) {
      const Ref<NSString> className = attribute.attributeValueClassName();
      if (className->utf8() != "NSObject") setText(node, "customClassName", className);
    }
    setText(node, "valueTransformerName", attribute.valueTransformerName());
    setText(node, "regularExpressionString", attribute.regularExpression());
    setFlag(node, "allowsExternalBinaryDataStorage", attribute.allowsExternalBinaryDataStorage());
    // Of a text its length has bounds.
    const NSAttributeType boundType =
        type == NSStringAttributeType ? NSInteger64AttributeType : type;
    writeValue(node, "default", attribute.defaultValue(), type);
    writeValue(node, "min", attribute.minimumValue(), boundType);
    writeValue(node, "max", attribute.maximumValue(), boundType);
  }

  /// Writes `<prefix>ValueString`, or `<prefix>DateTimeInterval` of a date.
  void writeValue(pugi::xml_node node, const std::string& prefix, const Value& value,
                  NSAttributeType type) {
    if (value.isNull()) return;
    const std::string name =
        prefix + (type == NSDateAttributeType ? "DateTimeInterval" : "ValueString");
    const auto text = modelTextFromValue(value, type);
    if (!text) {
      return refuse(
          NSString::stringWithFormat("its %s has no text that is read back to %@ of class %s", name,
                                     value, value.class_()->name()));
    }
    set(node, name.c_str(), *text);
  }

  void writeRelationship(pugi::xml_node node, const NSRelationshipDescription& relationship) {
    if (relationship.isToMany()) set(node, "toMany", "YES");
    if (const NSUInteger least = relationship.minCount()) {
      set(node, "minCount", std::to_string(least));
    }
    if (const NSUInteger most = relationship.maxCount()) {
      set(node, "maxCount", std::to_string(most));
    }
    setFlag(node, "ordered", relationship.isOrdered());
    set(node, "deletionRule", nameOfDeleteRule(relationship.deleteRule()));
    Ref<NSEntityDescription> destination = relationship.destinationEntity();
    if (!destination || !_members.count(destination.get())) {
      return refuse("it leads to no entity of the model");
    }
    set(node, "destinationEntity", *destination->name());
    Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
    if (!inverse) return;
    const Value found = destination->relationshipsByName()->objectForKey(inverse->name());
    if (found.object() != inverse.get()) {
      return refuse(NSString::stringWithFormat("its inverse '%@' is no relationship of entity '%@'",
                                               Value(inverse->name()), destination->name()));
    }
    set(node, "inverseName", *inverse->name());
    set(node, "inverseEntity", *destination->name());
  }

  void writeIndexes(pugi::xml_node entity, const NSEntityDescription& description) {
    int number = 0;
    for (const Value& value : *description.indexes()) {
      auto* names = as<NSArray>(value);
      if (!names || names->count() == 0) {
        return refuse(
            NSString::stringWithFormat("its indexes hold %@, which is no list of names", value));
      }
      pugi::xml_node node = entity.append_child("fetchIndex");
      set(node, "name", "index" + std::to_string(++number));
      for (const Value& name : *names) {
        pugi::xml_node element = node.append_child("fetchIndexElement");
        setElement(element, "property", name, "indexes");
        set(element, "type", "Binary");
        set(element, "order", "ascending");
      }
    }
  }

  void writeConstraints(pugi::xml_node entity, const NSEntityDescription& description) {
    if (description.uniquenessConstraints()->count() == 0) return;
    pugi::xml_node list = entity.append_child("uniquenessConstraints");
    for (const Value& value : *description.uniquenessConstraints()) {
      auto* names = as<NSArray>(value);
      if (!names || names->count() == 0) {
        return refuse(NSString::stringWithFormat(
            "its uniqueness constraints hold %@, which is no list of names", value));
      }
      pugi::xml_node node = list.append_child("uniquenessConstraint");
      for (const Value& name : *names) {
        setElement(node.append_child("constraint"), "value", name, "uniqueness constraints");
      }
    }
  }

  std::unordered_set<const NSEntityDescription*> _members;
  const NSEntityDescription* _entity = nullptr;
  const NSPropertyDescription* _property = nullptr;
  Ref<NSError> _problem;
};

bool refuseFile(Ref<NSError>* error, const fs::path& path, const std::string& why) {
  return fail(error, cocoaError(fileWriteUnknownError,
                                NSString::stringWithFormat(
                                    "The data model %s cannot be written: %s", path.string(), why),
                                {{NSFilePathErrorKey, path.string()}}));
}

/// Fails: returns false with errno set.
bool writeBytes(const fs::path& path, std::string_view bytes) {
  std::FILE* file = std::fopen(path.c_str(), "wb");
  if (!file) return false;
  const bool written = std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() &&
                       std::fflush(file) == 0 && fsync(fileno(file)) == 0;
  const int reason = errno;
  const bool closed = std::fclose(file) == 0;
  if (!written) errno = reason;
  return written && closed;
}

}  // namespace

Ref<NSString> modelText(const NSManagedObjectModel& model, Ref<NSError>* error) {
  return ModelDocument().write(model, error);
}

bool writeModelFile(const NSManagedObjectModel& model, const std::string& path,
                    Ref<NSError>* error) {
  fs::path file(path);
  if (!file.has_filename()) file = file.parent_path();
  if (file.empty()) return refuseFile(error, file, "it has no name");
  if (file.extension() == ".xcdatamodeld") {
    return refuseFile(error, file, "it is a bundle of versions; name one of them in it");
  }
  const Ref<NSString> text = modelText(model, error);
  if (!text) return false;
  if (file.extension() == ".xcdatamodel") {
    std::error_code trouble;
    fs::create_directories(file, trouble);
    if (trouble) return refuseFile(error, file, trouble.message());
    file /= "contents";
  }
  fs::path beside = file;
  beside += ".new-" + std::to_string(getpid());
  if (!writeBytes(beside, *text) || std::rename(beside.c_str(), file.c_str()) != 0) {
    const std::string why = std::strerror(errno);
    std::remove(beside.c_str());
    return refuseFile(error, file, why);
  }
  return true;
}

}  // namespace JNFoundation::impl
