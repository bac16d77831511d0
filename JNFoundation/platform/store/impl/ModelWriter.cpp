#include "JNFoundation/platform/store/impl/ModelWriter.h"

#include <pugixml.hpp>

#include <JNFoundation/platform/query/NSPredicate.h>
#include <JNFoundation/platform/store/NSDerivedAttributeDescription.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSFetchedPropertyDescription.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/impl/ModelText.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

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
class ModelDocumentWriter {
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
    for (const Ref<NSEntityDescription>& entity : model.entityList()) writeEntity(root, *entity);
    writeTemplates(root, model);
    writeConfigurations(root, model);
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
        : _request ? NSString::stringWithFormat("The fetch request '%s' cannot be written: %@",
                                                _request->utf8(), why)
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
    const bool isRelationship = isKindOf<NSRelationshipDescription>(property);
    pugi::xml_node node = entity.append_child(isAttribute      ? "attribute"
                                              : isRelationship ? "relationship"
                                                               : "fetchedProperty");
    set(node, "name", *property.name());
    setFlag(node, "optional", property.isOptional());
    setFlag(node, "transient", property.isTransient());
    if (isAttribute) {
      writeAttribute(node, static_cast<const NSAttributeDescription&>(property));
    } else if (isRelationship) {
      writeRelationship(node, static_cast<const NSRelationshipDescription&>(property));
    } else {
      pugi::xml_node request = node.append_child("fetchRequest");
      // The name that the platform's editor gives it.
      set(request, "name", "fetchedPropertyFetchRequest");
      writeRequest(request,
                   *static_cast<const NSFetchedPropertyDescription&>(property).fetchRequest());
    }
    setText(node, "versionHashModifier", property.versionHashModifier());
    if (!property.renamingIdentifier()->hasContentOf(*property.name())) {
      setText(node, "renamingIdentifier", property.renamingIdentifier());
    }
    writeUserInfo(node, *property.userInfo());
  }

  void writeAttribute(pugi::xml_node node, const NSAttributeDescription& attribute) {
    const NSAttributeType type = attribute.attributeType();
    if (type != NSUndefinedAttributeType) set(node, "attributeType", writtenNameOfType(type));
    if (type == NSTransformableAttributeType) {
      const Ref<NSString> className = attribute.attributeValueClassName();
      if (className->utf8() != "NSObject") setText(node, "customClassName", className);
    }
    setText(node, "valueTransformerName", attribute.valueTransformerName());
    setText(node, "regularExpressionString", attribute.regularExpression());
    setFlag(node, "allowsExternalBinaryDataStorage", attribute.allowsExternalBinaryDataStorage());
    if (isKindOf<NSDerivedAttributeDescription>(attribute)) {
      set(node, "derived", "YES");
      setText(node, "derivationExpression",
              static_cast<const NSDerivedAttributeDescription&>(attribute).derivationExpression());
    }
    const NSAttributeType boundType = typeOfBounds(type);
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
    set(node, "destinationEntity", *relationship.destinationEntity()->name());
    const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
    if (!inverse) return;
    set(node, "inverseName", *inverse->name());
    set(node, "inverseEntity", *relationship.destinationEntity()->name());
  }

  void writeIndexes(pugi::xml_node entity, const NSEntityDescription& description) {
    for (const Value& value : *description.indexes()) {
      const auto* index = as<NSFetchIndexDescription>(value);
      pugi::xml_node node = entity.append_child("fetchIndex");
      set(node, "name", *index->name());
      for (const Value& member : *index->elements()) {
        const auto* element = as<NSFetchIndexElementDescription>(member);
        pugi::xml_node child = node.append_child("fetchIndexElement");
        set(child, "property", *element->propertyName());
        set(child, "type", nameOfIndexType(element->collationType()));
        set(child, "order", element->isAscending() ? "ascending" : "descending");
      }
    }
  }

  void writeRequest(pugi::xml_node node, const NSFetchRequest& request) {
    const Ref<NSArray>& order = request.sortDescriptors();
    if (order && order->count() > 0) refuse("a fetch request of a file has no sort descriptors");
    if (request.propertiesToFetch()) refuse("a fetch request of a file has no propertiesToFetch");
    if (request.fetchOffset() > 0) refuse("a fetch request of a file has no fetchOffset");
    if (request.resultType() > NSDictionaryResultType) {
      refuse("a fetch request of a file does not count");
    }
    set(node, "entity", *request.entityName());
    if (request.predicate()) writePredicate(node, *request.predicate());
    if (request.fetchLimit() > 0) set(node, "fetchLimit", std::to_string(request.fetchLimit()));
    if (request.fetchBatchSize() > 0) {
      set(node, "fetchBatchSize", std::to_string(request.fetchBatchSize()));
    }
    if (request.resultType() != NSManagedObjectResultType) {
      set(node, "resultType", std::to_string(request.resultType()));
    }
    setFlag(node, "includeSubentities", request.includesSubentities());
    setFlag(node, "includePropertyValues", request.includesPropertyValues());
    setFlag(node, "includesPendingChanges", request.includesPendingChanges());
    setFlag(node, "returnObjectsAsFaults", request.returnsObjectsAsFaults());
    setFlag(node, "returnDistinctResults", request.returnsDistinctResults());
  }

  /// Writes the format that is parsed back to a predicate of the same format.
  void writePredicate(pugi::xml_node node, const NSPredicate& predicate) {
    const Ref<NSString> format = predicate.predicateFormat();
    bool isRead = false;
    try {
      isRead = NSPredicate::predicateWithFormat(format)->predicateFormat()->hasContentOf(*format);
    } catch (const Raised&) {
      // It is no format at all.
    }
    if (!isRead) {
      refuse(
          NSString::stringWithFormat("the predicate %@ has no format that is read back", format));
    }
    set(node, "predicateString", *format);
  }

  void writeTemplates(pugi::xml_node root, const NSManagedObjectModel& model) {
    const Ref<NSDictionary> requests = model.fetchRequestTemplatesByName();
    for (const auto& [name, value] : *requests) {
      _request = as<NSString>(name);
      pugi::xml_node node = root.append_child("fetchRequest");
      set(node, "name", *_request);
      writeRequest(node, *as<NSFetchRequest>(value));
      _request = nullptr;
    }
  }

  void writeConfigurations(pugi::xml_node root, const NSManagedObjectModel& model) {
    const Ref<NSArray> names = model.configurations();
    for (const Value& name : *names) {
      pugi::xml_node node = root.append_child("configuration");
      set(node, "name", *as<NSString>(name));
      const Ref<NSArray> entities = model.entitiesForConfiguration(as<NSString>(name)->utf8());
      for (const Value& entity : *entities) {
        set(node.append_child("memberEntity"), "name", *as<NSEntityDescription>(entity)->name());
      }
    }
  }

  void writeConstraints(pugi::xml_node entity, const NSEntityDescription& description) {
    if (description.uniquenessConstraints()->count() == 0) return;
    pugi::xml_node list = entity.append_child("uniquenessConstraints");
    for (const Value& value : *description.uniquenessConstraints()) {
      pugi::xml_node node = list.append_child("uniquenessConstraint");
      for (const Value& name : *as<NSArray>(value)) {
        set(node.append_child("constraint"), "value", *as<NSString>(name));
      }
    }
  }

  const NSEntityDescription* _entity = nullptr;
  const NSPropertyDescription* _property = nullptr;
  const NSString* _request = nullptr;
  Ref<NSError> _problem;
};

}  // namespace

Ref<NSString> modelText(const NSManagedObjectModel& model, Ref<NSError>* error) {
  return ModelDocumentWriter().write(model, error);
}

}  // namespace JNFoundation::impl
