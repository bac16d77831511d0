#include "ClassText.h"

#include <algorithm>
#include <cstdio>
#include <initializer_list>
#include <set>
#include <utility>

#include "Output.h"

#include <JNFoundation/mapping/MapInspection.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>

namespace jnmap {
namespace {

using Accessor = ClassPlan::Accessor;

/// The text with values in the places of {names}; other braces stay.
std::string replaced(const std::string& text,
                     std::initializer_list<std::pair<const char*, std::string>> values) {
  std::string result;
  std::size_t start = 0;
  while (true) {
    const std::size_t open = text.find('{', start);
    if (open == text.npos) return result + text.substr(start);
    result += text.substr(start, open - start);
    const std::size_t close = text.find('}', open);
    const std::string name =
        close == text.npos ? std::string() : text.substr(open + 1, close - open - 1);
    const auto* found = std::find_if(values.begin(), values.end(),
                                     [&](const auto& entry) { return name == entry.first; });
    result += found == values.end() ? "{" : found->second;
    start = found == values.end() ? open + 1 : close + 1;
  }
}

/// A string literal of C++.
std::string literal(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      result += '\\';
      result += c;
    } else if (byte < 0x20 || byte == 0x7F) {
      char code[8];
      std::snprintf(code, sizeof code, "\\%03o", byte);
      result += code;
    } else {
      result += c;
    }
  }
  return result + '"';
}

/// How one kind of value is taken, given, read and written.
struct TypeText {
  std::string result;
  std::string parameter;
  /// With {value} in the place of what the store has, and of what is to be stored.
  std::string read;
  std::string write;
};

TypeText objectType(const char* name) {
  const std::string type = std::string("JNFoundation::Ref<JNFoundation::") + name + ">";
  return {type, "const " + type + "&",
          std::string("JNFoundation::as<JNFoundation::") + name + ">({value})", "{value}"};
}

TypeText numberType(const char* type, const char* reader, bool isOptional) {
  const std::string read = std::string("{value}.") + reader + "()";
  if (!isOptional) return {type, type, read, "{value}"};
  const std::string optional = std::string("std::optional<") + type + ">";
  return {optional, optional, "{value} ? " + optional + "({value}." + reader + "()) : std::nullopt",
          "{value} ? JNFoundation::Value(*{value}) : JNFoundation::Value()"};
}

TypeText typeOf(const NSAttributeDescription& attribute) {
  const bool isOptional = attribute.isOptional();
  switch (attribute.attributeType()) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
      return numberType("std::int64_t", "longLongValue", isOptional);
    case NSDoubleAttributeType:
      return numberType("double", "doubleValue", isOptional);
    case NSFloatAttributeType:
      return numberType("float", "floatValue", isOptional);
    case NSBooleanAttributeType:
      return numberType("bool", "boolValue", isOptional);
    case NSStringAttributeType:
      return objectType("NSString");
    case NSBinaryDataAttributeType:
      return objectType("NSData");
    case NSDecimalAttributeType:
      return objectType("NSDecimalNumber");
    case NSUUIDAttributeType:
      return objectType("NSUUID");
    case NSURIAttributeType:
      return objectType("NSURL");
    default:
      return {"JNFoundation::Value", "const JNFoundation::Value&", "{value}", "{value}"};
  }
}

const NSAttributeDescription* attributeOf(const Accessor& accessor) {
  return as<NSAttributeDescription>(Value(accessor.property)).get();
}
const NSRelationshipDescription* relationshipOf(const Accessor& accessor) {
  return as<NSRelationshipDescription>(Value(accessor.property)).get();
}

std::string destinationOf(const Accessor& accessor) {
  return accessor.destinationClass.empty() ? "JNFoundation::NSManagedObject"
                                           : accessor.destinationClass;
}

std::string remarkOn(const Accessor& accessor) {
  if (const auto* attribute = attributeOf(accessor)) {
    std::string remark(MapInspection::nameOf(attribute->attributeType()));
    if (attribute->attributeType() == NSDateAttributeType) remark += ", a date or null";
    remark += attribute->isOptional() ? ", optional" : ", required";
    if (attribute->isTransient()) remark += ", transient";
    return remark;
  }
  const auto* relationship = relationshipOf(accessor);
  const auto entity = relationship->destinationEntity();
  std::string remark = relationship->isToMany() ? "To many" : "To one";
  if (entity) remark += " of " + printable(entity->name()->utf8());
  if (relationship->isToMany() && relationship->isOrdered()) remark += ", in order";
  if (const auto inverse = relationship->inverseRelationship()) {
    remark += ", whose way back is " + printable(inverse->name()->utf8());
  }
  return remark;
}

/// The library's headers that the accessors' types come from.
std::set<std::string> headersOf(const ClassPlan& plan) {
  std::set<std::string> headers;
  for (const Accessor& accessor : plan.accessors) {
    if (const auto* relationship = relationshipOf(accessor)) {
      if (relationship->isToMany()) {
        headers.insert(relationship->isOrdered() ? "JNFoundation/platform/value/NSOrderedSet.h"
                                                 : "JNFoundation/platform/value/NSSet.h");
      }
      continue;
    }
    switch (attributeOf(accessor)->attributeType()) {
      case NSBinaryDataAttributeType:
        headers.insert("JNFoundation/platform/value/NSData.h");
        break;
      case NSDecimalAttributeType:
        headers.insert("JNFoundation/platform/value/NSDecimalNumber.h");
        break;
      case NSUUIDAttributeType:
        headers.insert("JNFoundation/platform/value/NSUUID.h");
        break;
      case NSURIAttributeType:
        headers.insert("JNFoundation/platform/net/NSURL.h");
        break;
      default:
        break;
    }
  }
  return headers;
}

/// The other classes of the model that the accessors name.
std::set<std::string> destinationsOf(const ClassPlan& plan) {
  std::set<std::string> classes;
  for (const Accessor& accessor : plan.accessors) {
    if (!accessor.destinationClass.empty()) classes.insert(accessor.destinationClass);
  }
  return classes;
}

std::string argumentOf(const ClassPlan::Message& message) {
  return message.inputKeys.size() == 1
             ? "the value under " + literal(printable(message.inputKeys[0]))
             : "the values under several keys";
}

}  // namespace

std::string ClassText::inNamespace(const std::string& body) const {
  if (_nameSpace.empty()) return body;
  return "namespace " + _nameSpace + " {\n\n" + body + "\n}  // namespace " + _nameSpace + "\n";
}

std::string ClassText::declarationOf(const Accessor& accessor) const {
  std::string text = "  /// " + remarkOn(accessor) + ".\n";
  if (const auto* attribute = attributeOf(accessor)) {
    const TypeText type = typeOf(*attribute);
    return text + "  " + type.result + " " + accessor.getter + "() const;\n  void " +
           accessor.setter + "(" + type.parameter + " value);\n";
  }
  const auto* relationship = relationshipOf(accessor);
  const std::string one = "JNFoundation::Ref<" + destinationOf(accessor) + ">";
  if (!relationship->isToMany()) {
    return text + "  " + one + " " + accessor.getter + "() const;\n  void " + accessor.setter +
           "(const " + one + "& object);\n";
  }
  const std::string set = relationship->isOrdered() ? "OrderedSet>" : "Set>";
  return text + "  JNFoundation::Ref<JNFoundation::NS" + set + " " + accessor.getter +
         "() const;\n  /// The same, to be changed.\n  JNFoundation::Ref<JNFoundation::NSMutable" +
         set + " " + accessor.mutableGetter + "();\n  void " + accessor.adder + "(const " + one +
         "& object);\n  void " + accessor.remover + "(const " + one + "& object);\n";
}

std::string ClassText::definitionOf(const Accessor& accessor) const {
  const std::string owner = _plan.generatedName() + "::";
  const std::string key = literal(accessor.property->name()->utf8()) + "_s";
  if (const auto* attribute = attributeOf(accessor)) {
    const TypeText type = typeOf(*attribute);
    return replaced(
        "{result} {owner}{getter}() const {\n"
        "  const JNFoundation::Value value = storedValueForKey({key});\n"
        "  return {read};\n}\n\n"
        "void {owner}{setter}({parameter} value) {\n  setStoredValueForKey({write}, {key});\n}\n\n",
        {{"result", type.result},
         {"owner", owner},
         {"getter", accessor.getter},
         {"setter", accessor.setter},
         {"key", key},
         {"parameter", type.parameter},
         {"read", replaced(type.read, {{"value", "value"}})},
         {"write", replaced(type.write, {{"value", "value"}})}});
  }
  const auto* relationship = relationshipOf(accessor);
  const std::string destination = destinationOf(accessor);
  const std::string one = "JNFoundation::Ref<" + destination + ">";
  if (!relationship->isToMany()) {
    return replaced(
        "{one} {owner}{getter}() const {\n"
        "  return JNFoundation::as<{destination}>(storedValueForKey({key}));\n}\n\n"
        "void {owner}{setter}(const {one}& object) {\n"
        "  setStoredValueForKey(object, {key});\n}\n\n",
        {{"one", one},
         {"owner", owner},
         {"getter", accessor.getter},
         {"setter", accessor.setter},
         {"destination", destination},
         {"key", key}});
  }
  const std::string set = relationship->isOrdered() ? "OrderedSet" : "Set";
  return replaced(
      "JNFoundation::Ref<JNFoundation::NS{set}> {owner}{getter}() const {\n"
      "  return JNFoundation::as<JNFoundation::NS{set}>(storedValueForKey({key}));\n}\n\n"
      "JNFoundation::Ref<JNFoundation::NSMutable{set}> {owner}{mutable}() {\n"
      "  return mutable{set}ValueForKey({key});\n}\n\n"
      "void {owner}{adder}(const {one}& object) { {mutable}()->addObject(object); }\n\n"
      "void {owner}{remover}(const {one}& object) { {mutable}()->removeObject(object); }\n\n",
      {{"set", set},
       {"owner", owner},
       {"getter", accessor.getter},
       {"mutable", accessor.mutableGetter},
       {"adder", accessor.adder},
       {"remover", accessor.remover},
       {"one", one},
       {"key", key}});
}

std::string ClassText::generatedHeader() const {
  const std::string entityName = printable(_plan.entity->name()->utf8());
  const std::string above = _plan.above ? _plan.above->className : "JNFoundation::PLVManagedObject";
  std::string text = "// Written by jnmap generate; changes are lost. The class for yours is in " +
                     _plan.className +
                     ".h.\n#pragma once\n\n#include <cstdint>\n#include <optional>\n\n";
  if (_plan.above) text += "#include \"../" + _plan.above->className + ".h\"\n\n";
  std::set<std::string> headers = headersOf(_plan);
  headers.insert("JNFoundation/mapping/PLVManagedObject.h");
  for (const std::string& header : headers) text += "#include <" + header + ">\n";
  text += "\n";
  std::set<std::string> forward = destinationsOf(_plan);
  forward.insert(_plan.className);
  std::string body;
  for (const std::string& name : forward) body += "class " + name + ";\n";
  body += "\n/// What the data model says of the entity " + entityName +
          ". A number that is required reads as 0 while it is null.\nclass " +
          _plan.generatedName() + " : public JNFoundation::Subclass<" + _plan.generatedName() +
          ", " + above + "> {\n public:\n  static constexpr const char* entityName = " +
          literal(_plan.entity->name()->utf8()) +
          ";\n\n  /// Returns: null where the context's model has no such entity.\n"
          "  static JNFoundation::Ref<JNFoundation::NSEntityDescription> "
          "entityInManagedObjectContext(\n      const "
          "JNFoundation::Ref<JNFoundation::NSManagedObjectContext>& context);\n";
  if (!_plan.entity->isAbstract()) {
    body += "  /// A new object, with the model's default values.\n  static JNFoundation::Ref<" +
            _plan.className +
            "> insertInManagedObjectContext(\n      const "
            "JNFoundation::Ref<JNFoundation::NSManagedObjectContext>& context);\n";
  }
  body +=
      "\n  /// The mapping rules of the model, read once.\n"
      "  JNFoundation::Ref<JNFoundation::PLVDictionaryDataMap> entityDataMap() const override;\n";
  for (const Accessor& accessor : _plan.accessors) body += "\n" + declarationOf(accessor);
  if (!_plan.messages.empty()) body += "\n  // What mapping rules send.\n";
  for (const ClassPlan::Message& message : _plan.messages) {
    body += "  /// Takes: " + argumentOf(message) + " of a record, which may be null.\n" +
            "  virtual void " + message.function + "(const JNFoundation::Value& value) = 0;\n";
  }
  body += "\n protected:\n  using Subclass::Subclass;\n};\n";
  return text + inNamespace(body);
}

std::string ClassText::generatedSource() const {
  std::string text = "// Written by jnmap generate; changes are lost.\n#include \"" +
                     _plan.generatedName() + ".h\"\n\n#include \"../" + _plan.className + ".h\"\n";
  for (const std::string& name : destinationsOf(_plan)) {
    if (name != _plan.className) text += "#include \"../" + name + ".h\"\n";
  }
  text +=
      "\n#include <JNFoundation/platform/store/NSManagedObjectContext.h>\n"
      "#include <JNFoundation/platform/value/ClassDeclaration.h>\n\n";
  std::string body = "using JNFoundation::operator\"\"_s;\n\n";
  if (!_plan.messages.empty()) {
    body += replaced(
        "static const JNFoundation::ClassDeclaration<{name}> declarationOf{name} =\n"
        "    JNFoundation::ClassDeclaration<{name}>()",
        {{"name", _plan.generatedName()}});
    for (const ClassPlan::Message& message : _plan.messages) {
      body += "\n        .operation(" + literal(message.selector) + ", &" + _plan.generatedName() +
              "::" + message.function + ")";
    }
    body += ";\n\n";
  }
  const std::initializer_list<std::pair<const char*, std::string>> names = {
      {"generated", _plan.generatedName()}, {"class", _plan.className}};
  body += replaced(
      "JNFoundation::Ref<JNFoundation::NSEntityDescription> "
      "{generated}::entityInManagedObjectContext(\n    const "
      "JNFoundation::Ref<JNFoundation::NSManagedObjectContext>& context) {\n  return "
      "JNFoundation::NSEntityDescription::entityForNameInManagedObjectContext(entityName,\n        "
      " "
      "                                                                 context);\n}\n\n",
      names);
  if (!_plan.entity->isAbstract()) {
    body += replaced(
        "JNFoundation::Ref<{class}> {generated}::insertInManagedObjectContext(\n    const "
        "JNFoundation::Ref<JNFoundation::NSManagedObjectContext>& context) {\n  return "
        "JNFoundation::as<{class}>(JNFoundation::Value(\n      "
        "JNFoundation::NSEntityDescription::insertNewObjectForEntityForNameInManagedObjectContext("
        "\n          entityName, context)));\n}\n\n",
        names);
  }
  body += replaced(
      "JNFoundation::Ref<JNFoundation::PLVDictionaryDataMap> {generated}::entityDataMap() const {\n"
      "  static const JNFoundation::Ref<JNFoundation::PLVDictionaryDataMap> map =\n"
      "      JNFoundation::PLVDictionaryDataMap::newMapForEntityDescriptor(\n"
      "          entity(), "
      "JNFoundation::PLVDictionaryDataMap::automaticMapDescriptorForEntity(entity()));\n"
      "  return map;\n}\n\n",
      names);
  for (const Accessor& accessor : _plan.accessors) body += definitionOf(accessor);
  body.pop_back();
  return text + inNamespace(body);
}

std::string ClassText::applicationHeader() const {
  std::string body = "/// Objects of the entity " + printable(_plan.entity->name()->utf8()) +
                     ". This file is the application's own.\nclass " + _plan.className +
                     " : public JNFoundation::Subclass<" + _plan.className + ", " +
                     _plan.generatedName() + "> {\n";
  if (!_plan.messages.empty()) body += " public:\n";
  for (const ClassPlan::Message& message : _plan.messages) {
    body += "  void " + message.function + "(const JNFoundation::Value& value) override;\n";
  }
  if (!_plan.messages.empty()) body += "\n";
  body += " protected:\n  using Subclass::Subclass;\n};\n";
  return "#pragma once\n\n#include \"generated/" + _plan.generatedName() + ".h\"\n\n" +
         inNamespace(body);
}

std::string ClassText::applicationSource() const {
  std::string text = "#include \"" + _plan.className + ".h\"\n\n";
  if (!_plan.messages.empty()) text += "#include <JNFoundation/platform/dispatch/NSLog.h>\n";
  text += "#include <JNFoundation/platform/value/ClassDeclaration.h>\n\n";
  std::string body = replaced(
      "static const JNFoundation::ClassDeclaration<{class}> declarationOf{class} =\n"
      "    JNFoundation::ClassDeclaration<{class}>(){factory};\n",
      {{"class", _plan.className}, {"factory", _plan.entity->isAbstract() ? "" : ".factory()"}});
  for (const ClassPlan::Message& message : _plan.messages) {
    std::string format = _plan.className + " does nothing yet with ";
    for (const char c : message.selector) format += c == '%' ? "%%" : std::string(1, c);
    body += replaced(
        "\nvoid {class}::{function}(const JNFoundation::Value& value) {\n"
        "  JNFoundation::NSLog({format}, value);\n}\n",
        {{"class", _plan.className},
         {"function", message.function},
         {"format", literal(format + " %@")}});
  }
  return text + inNamespace(body);
}

}  // namespace jnmap
