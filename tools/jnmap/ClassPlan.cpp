#include "ClassPlan.h"

#include <algorithm>
#include <map>
#include <unordered_set>

#include "Command.h"
#include "ModelFile.h"
#include "Output.h"

#include <JNFoundation/platform/store/NSFetchedPropertyDescription.h>
#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>

namespace jnmap {
namespace {

using Names = std::unordered_set<std::string>;

const Names keywords = {
    "alignas", "alignof", "and", "and_eq", "asm", "auto", "bitand", "bitor", "bool", "break",
    "case", "catch", "char", "char16_t", "char32_t", "char8_t", "class", "co_await", "co_return",
    "co_yield", "compl", "concept", "const", "const_cast", "consteval", "constexpr", "constinit",
    "continue", "decltype", "default", "delete", "do", "double", "dynamic_cast", "else", "enum",
    "explicit", "export", "extern", "false", "float", "for", "friend", "goto", "if", "inline",
    "int", "long", "mutable", "namespace", "new", "noexcept", "not", "not_eq", "nullptr",
    "operator", "or", "or_eq", "private", "protected", "public", "register", "reinterpret_cast",
    "requires", "return", "short", "signed", "sizeof", "static", "static_assert", "static_cast",
    "struct", "switch", "template", "this", "thread_local", "throw", "true", "try", "typedef",
    "typeid", "typename", "union", "unsigned", "using", "virtual", "void", "volatile", "wchar_t",
    "while", "xor", "xor_eq",
    // Some compilers and systems have macros of these names.
    "linux", "unix", "errno", "stdin", "stdout", "stderr", "assert", "NULL", "EOF", "major",
    "minor", "signbit", "isnan", "isinf"};

/// What every model class has already, or gets from the generator.
const Names members = {
    // NSObject
    "classObject", "Superclass", "class_", "isEqual", "hash", "description", "copy", "mutableCopy",
    "respondsToSelector", "valueForKey", "setValueForKey", "valueForUndefinedKey",
    "setValueForUndefinedKey", "setNilValueForKey", "retain", "release", "retainCount",
    // NSManagedObject
    "initWithEntityInsertIntoManagedObjectContext", "entity", "objectID", "managedObjectContext",
    "isInserted", "isUpdated", "isDeleted", "hasChanges", "isFault", "mutableSetValueForKey",
    "mutableOrderedSetValueForKey", "hasFaultForRelationshipNamed", "storedValueForKey",
    "setStoredValueForKey", "primitiveValueForKey", "setPrimitiveValueForKey",
    "willAccessValueForKey", "didAccessValueForKey", "willChangeValueForKey",
    "didChangeValueForKey", "changedValues", "committedValuesForKeys", "awakeFromInsert",
    "awakeFromFetch", "willSave", "didSave", "prepareForDeletion", "validateValueForKeyError",
    "validateForInsert", "validateForUpdate", "validateForDelete",
    // PLVManagedObject
    "entityDataMap", "mergeDictionary", "ClassOperations", "requestForEntity", "executeRequest",
    "raiseForeignClass", "aggregate", "fetchRequestWithPredicateContext",
    "fetchRequestInContextMatching", "objectsMatchingPredicateContextError",
    "objectsMatchingPredicateLimitContextError", "objectsInContextErrorMatching",
    "objectsInContextLimitErrorMatching", "firstObjectInContextErrorMatching",
    "valueForAttributeNameWithFunctionContextError",
    // The names of the bases, and what the generator adds.
    "NSObject", "NSManagedObject", "PLVManagedObject", "Subclass", "Self", "Above", "JNFoundation",
    "std", "protocolObject", "ownClass", "registration", "Registered", "entityName",
    "entityInManagedObjectContext", "insertInManagedObjectContext"};

bool isWordByte(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
         (c & 0x80) != 0;
}

/// A name of the model as C++ takes it.
std::string identifierFrom(std::string_view name) {
  std::string result;
  for (const char c : name) result += isWordByte(c) ? c : '_';
  if (result.empty() || (result[0] >= '0' && result[0] <= '9')) result.insert(0, 1, '_');
  return result;
}

std::string capitalized(std::string word) {
  if (word[0] >= 'a' && word[0] <= 'z') word[0] = static_cast<char>(word[0] - 'a' + 'A');
  return word;
}

class Planner {
 public:
  explicit Planner(const NSManagedObjectModel& model) : _model(model) {}

  std::vector<std::unique_ptr<ClassPlan>> plans() {
    std::vector<Ref<NSEntityDescription>> open;
    for (const auto& entity : _model.entityList()) {
      if (!entity->superentity()) open.push_back(entity);
    }
    std::reverse(open.begin(), open.end());
    while (!open.empty()) {
      const Ref<NSEntityDescription> entity = open.back();
      open.pop_back();
      planClass(entity);
      const auto& below = entity->directSubentities();
      open.insert(open.end(), below.rbegin(), below.rend());
    }
    if (_plans.empty()) throw Failure("no entity of the model names a class of its own");
    // Classes are known by now, so that relationships find theirs, and no member takes their names.
    for (const auto& plan : _plans) planMembers(*plan);
    return std::move(_plans);
  }

 private:
  void planClass(const Ref<NSEntityDescription>& entity) {
    const std::string className = entity->managedObjectClassName()->toStdString();
    if (className == "NSManagedObject" || className == "PLVManagedObject") return;
    const std::string name = entity->name()->toStdString();
    if (!isIdentifier(className) || members.count(className) > 0) {
      throw Failure("the class '" + className + "' of the entity '" + name +
                    "' has a name that C++ has no class of");
    }
    if (NSClassFromString(className)) {
      throw Failure("the class '" + className + "' of the entity '" + name +
                    "' is one of the library");
    }
    const auto [place, isNew] = _byClass.try_emplace(className, name);
    if (!isNew) {
      throw Failure("the entities '" + place->second + "' and '" + name +
                    "' both name the class '" + className + "'");
    }
    auto plan = std::make_unique<ClassPlan>();
    plan->entity = entity;
    plan->className = className;
    plan->above = planAbove(*entity);
    _byEntity[entity.get()] = plan.get();
    _plans.push_back(std::move(plan));
  }

  const ClassPlan* planAbove(const NSEntityDescription& entity) const {
    for (auto above = entity.superentity(); above; above = above->superentity()) {
      const auto found = _byEntity.find(above.get());
      if (found != _byEntity.end()) return found->second;
    }
    return nullptr;
  }

  /// The class that objects of the entity are sure to have. Returns: empty for none of the model.
  std::string classFor(const Ref<NSEntityDescription>& entity) const {
    if (!entity) return {};
    const auto found = _byEntity.find(entity.get());
    return found != _byEntity.end() ? found->second->className : std::string();
  }

  void planMembers(ClassPlan& plan) {
    Names& used = _used[&plan];
    used = plan.above ? _used.at(plan.above) : members;
    for (const auto& [className, entity] : _byClass) {
      used.insert(className);
      used.insert("Generated" + className);
    }
    const Ref<NSDictionary> inherited =
        plan.above ? plan.above->entity->propertiesByName() : NSDictionary::dictionary();
    const Ref<NSArray> properties = plan.entity->properties();
    for (const Value& value : *properties) {
      const auto property = as<NSPropertyDescription>(Value(value));
      if (inherited->objectForKey(Value(property->name()))) continue;
      if (isKindOf<NSFetchedPropertyDescription>(value)) continue;
      planAccessor(plan, property, used);
    }
    planMessages(plan, used);
  }

  static std::string taken(Names& used, std::string name) {
    while (keywords.count(name) > 0 || !used.insert(name).second) name += '_';
    return name;
  }

  void planAccessor(ClassPlan& plan, const Ref<NSPropertyDescription>& property,
                    Names& used) const {
    const std::string name = identifierFrom(property->name()->utf8());
    const std::string word = capitalized(name);
    ClassPlan::Accessor& accessor = plan.accessors.emplace_back();
    accessor.property = property;
    accessor.getter = taken(used, name);
    const auto relationship = as<NSRelationshipDescription>(Value(property));
    if (relationship) accessor.destinationClass = classFor(relationship->destinationEntity());
    if (relationship && relationship->isToMany()) {
      accessor.mutableGetter = taken(used, "mutable" + word);
      accessor.adder = taken(used, "addTo" + word);
      accessor.remover = taken(used, "removeFrom" + word);
    } else {
      accessor.setter = taken(used, "set" + word);
    }
  }

  /// What rules send, unless a class above declares it already.
  void planMessages(ClassPlan& plan, Names& used) {
    Names& known = _messages[&plan];
    if (plan.above) known = _messages.at(plan.above);
    MapInspection::Options options;
    options.classesElsewhere = MapInspection::Options::ClassesElsewhere::Trusted;
    std::map<std::string, std::size_t> places;
    for (const MapInspection::Rule& rule : MapInspection::ofEntity(plan.entity, options).rules) {
      if (rule.kind != MapInspection::Rule::Kind::Message) continue;
      const std::string selector = rule.destination->toStdString();
      const std::string stem = selector.substr(0, selector.size() - 1);
      if (known.count(selector) > 0 || stem.find(':') != stem.npos) continue;
      const auto [place, isNew] = places.try_emplace(selector, plan.messages.size());
      if (isNew) {
        plan.messages.push_back({selector, taken(used, identifierFrom(stem)), {}});
      }
      plan.messages[place->second].inputKeys.push_back(rule.pathText()->toStdString());
    }
    for (const auto& [selector, place] : places) known.insert(selector);
  }

  const NSManagedObjectModel& _model;
  std::vector<std::unique_ptr<ClassPlan>> _plans;
  std::map<std::string, std::string> _byClass;
  std::map<const NSEntityDescription*, ClassPlan*> _byEntity;
  std::map<const ClassPlan*, Names> _used;
  std::map<const ClassPlan*, Names> _messages;
};

}  // namespace

bool isIdentifier(const std::string& name) {
  return !name.empty() && keywords.count(name) == 0 && identifierFrom(name) == name;
}

std::vector<std::unique_ptr<ClassPlan>> classPlansOf(const NSManagedObjectModel& model) {
  return Planner(model).plans();
}

}  // namespace jnmap
