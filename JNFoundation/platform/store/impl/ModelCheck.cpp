#include "JNFoundation/platform/store/impl/ModelCheck.h"

#include <string>
#include <unordered_map>
#include <unordered_set>

#include <JNFoundation/platform/store/NSDerivedAttributeDescription.h>
#include <JNFoundation/platform/store/NSFetchRequest.h>
#include <JNFoundation/platform/store/NSFetchedPropertyDescription.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/store/impl/AttributeRules.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/store/impl/StoreErrors.h>
#include <JNFoundation/platform/value/NSDate.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

/// How many levels of superentities there may be.
constexpr std::size_t hierarchyDepthLimit = 100;
/// How many faults are told at once.
constexpr std::size_t problemLimit = 50;

/// Whether the value can bound values of the type: texts and data are bounded by their length,
/// dates by a date or its seconds since 2001.
bool canBound(const Value& value, NSAttributeType type) {
  switch (type) {
    case NSInteger16AttributeType:
    case NSInteger32AttributeType:
    case NSInteger64AttributeType:
    case NSDecimalAttributeType:
    case NSDoubleAttributeType:
    case NSFloatAttributeType:
    case NSBooleanAttributeType:
    case NSStringAttributeType:
    case NSBinaryDataAttributeType:
      return value.isNumber();
    case NSDateAttributeType:
      return value.isDate() || value.isNumber();
    default:
      return false;
  }
}

Value comparable(const Value& bound) {
  if (!bound.isDate()) return bound;
  return bound.timeIntervalSince1970() - NSDate::timeIntervalBetween1970AndReferenceDate;
}

/// Looks through one model once.
class ModelCheck {
 public:
  explicit ModelCheck(const NSManagedObjectModel& model) : _model(model) {}

  Ref<NSError> run() {
    std::unordered_set<std::string_view> names;
    for (const Ref<NSEntityDescription>& entity : _model.entityList()) {
      Properties& own = _members[entity.get()];
      for (const Ref<NSPropertyDescription>& property : entity->ownProperties()) {
        own.emplace(property->name()->utf8(), property.get());
      }
      if (names.insert(entity->name()->utf8()).second) continue;
      refuse(*entity, "The model has two entities named '%@'", entity->name());
    }
    for (const Ref<NSEntityDescription>& entity : _model.entityList()) {
      if (_problems.size() >= problemLimit) break;
      checkEntity(*entity);
    }
    checkTemplates();
    checkConfigurations();
    return joined();
  }

 private:
  /// The properties that an entity declares itself, by name.
  using Properties = std::unordered_map<std::string_view, const NSPropertyDescription*>;

  void add(const Ref<NSString>& sentence, const Value& entity = nullptr,
           const Value& property = nullptr) {
    if (_problems.size() >= problemLimit) return;
    _problems.push_back(
        cocoaError(NSCoreDataError, sentence, {{"entity", entity}, {"property", property}}));
  }
  template <class... Arguments>
  void refuse(const NSEntityDescription& entity, const char* format,
              const Arguments&... arguments) {
    add(NSString::stringWithFormat(format, arguments...), Value(entity.name()));
  }
  /// Takes: the rest of a sentence that begins with the property's kind, name and entity.
  template <class... Arguments>
  void refuse(const NSPropertyDescription& property, const char* format,
              const Arguments&... arguments) {
    const char* kind = isKindOf<NSRelationshipDescription>(property)      ? "Relationship"
                       : isKindOf<NSFetchedPropertyDescription>(property) ? "Fetched property"
                                                                          : "Attribute";
    const Value name(property.name()), entity(_entity->name());
    add(NSString::stringWithFormat("%s '%@' of entity '%@' %@", kind, name, entity,
                                   NSString::stringWithFormat(format, arguments...)),
        entity, name);
  }

  Ref<NSError> joined() const {
    if (_problems.empty()) return nullptr;
    if (_problems.size() == 1) return _problems.front();
    std::string text;
    for (const Ref<NSError>& problem : _problems) {
      if (!text.empty()) text += '\n';
      text += problem->localizedDescription()->utf8();
    }
    const Ref<NSDictionary> first = _problems.front()->userInfo();
    return cocoaError(
        NSCoreDataError, NSString::fromText(text),
        {{"entity", first->objectForKey("entity")},
         {"property", first->objectForKey("property")},
         {NSDetailedErrorsKey, NSArray::arrayWithValues({_problems.begin(), _problems.end()})}});
  }

  void checkEntity(const NSEntityDescription& entity) {
    _entity = &entity;
    std::size_t depth = 0;
    for (Ref<NSEntityDescription> above = entity.superentity(); above;
         above = above->superentity()) {
      if (!_members.count(above.get())) {
        return refuse(entity, "The superentity '%@' of entity '%@' is not part of the model",
                      Value(above->name()), entity.name());
      }
      if (++depth > hierarchyDepthLimit) {
        return refuse(entity, "Entity '%@' has more than %zu levels of superentities",
                      entity.name(), hierarchyDepthLimit);
      }
    }
    const Ref<NSEntityDescription> above = entity.superentity();
    std::unordered_set<std::string_view> own;
    for (const Ref<NSPropertyDescription>& property : entity.ownProperties()) {
      const std::string_view name = property->name()->utf8();
      if (!own.insert(name).second) {
        add(NSString::stringWithFormat("Entity '%@' has two properties named '%@'", entity.name(),
                                       property->name()),
            Value(entity.name()), Value(property->name()));
      } else if (above && propertyNamed(*above, name)) {
        add(NSString::stringWithFormat("Entity '%@' declares '%@', which it inherits already",
                                       entity.name(), property->name()),
            Value(entity.name()), Value(property->name()));
      }
      checkProperty(*property);
    }
    checkConstraints(entity);
    checkIndexes(entity);
  }

  /// The entity's own property of that name or the one that it inherits. Returns: null for none.
  /// Requires: its ancestors are members.
  const NSPropertyDescription* propertyNamed(const NSEntityDescription& entity,
                                             std::string_view name) const {
    const Properties* own = &_members.at(&entity);
    for (Ref<NSEntityDescription> above = entity.superentity();; above = above->superentity()) {
      if (const auto found = own->find(name); found != own->end()) return found->second;
      if (!above) return nullptr;
      own = &_members.at(above.get());
    }
  }

  void checkProperty(const NSPropertyDescription& property) {
    if (isReservedPropertyName(property.name()->utf8())) {
      refuse(property, "has the name of a method that every object has");
    }
    if (isKindOf<NSAttributeDescription>(property)) {
      checkAttribute(static_cast<const NSAttributeDescription&>(property));
    } else if (isKindOf<NSRelationshipDescription>(property)) {
      checkRelationship(static_cast<const NSRelationshipDescription&>(property));
    } else if (isKindOf<NSFetchedPropertyDescription>(property)) {
      checkFetched(static_cast<const NSFetchedPropertyDescription&>(property));
    } else {
      refuse(property, "is neither an attribute nor a relationship");
    }
  }

  void checkAttribute(const NSAttributeDescription& attribute) {
    const NSAttributeType type = attribute.attributeType();
    if (type == NSUndefinedAttributeType && !attribute.isTransient()) {
      refuse(attribute, "has no type; only a transient one may have none");
    }
    // What turns a transformable value into data need not be there yet.
    if (type != NSTransformableAttributeType) {
      if (const auto rule = typeRuleBrokenBy(attribute.defaultValue(), attribute)) {
        refuse(attribute, "has the default value %@, which %s", attribute.defaultValue(),
               rule->problem);
      }
    }
    checkBounds(attribute);
    if (const CompiledPattern* pattern = attribute.compiledPattern();
        pattern && !pattern->expression) {
      refuse(attribute, "has the regular expression \"%@\", which is none: %s",
             attribute.regularExpression(), pattern->problem);
    }
    if (!isKindOf<NSDerivedAttributeDescription>(attribute)) return;
    const auto& derived = static_cast<const NSDerivedAttributeDescription&>(attribute);
    if (!derived.derivationExpression() || derived.derivationExpression()->utf8().empty()) {
      refuse(attribute, "is derived, but has no derivation expression");
    }
  }

  void checkBounds(const NSAttributeDescription& attribute) {
    const Value &least = attribute.minimumValue(), &most = attribute.maximumValue();
    bool areBounds = true;
    for (const Value* bound : {&least, &most}) {
      if (bound->isNull() || canBound(*bound, attribute.attributeType())) continue;
      refuse(attribute, "has the %s %@, which bounds no values of its type",
             bound == &least ? "minimum" : "maximum", *bound);
      areBounds = false;
    }
    if (areBounds && !least.isNull() && !most.isNull() &&
        comparable(least).compare(comparable(most)) == NSOrderedDescending) {
      refuse(attribute, "has the minimum %@, which is more than its maximum %@", least, most);
    }
  }

  void checkRelationship(const NSRelationshipDescription& relationship) {
    const Ref<NSEntityDescription> destination = relationship.destinationEntity();
    if (!destination) {
      refuse(relationship, "leads to no entity");
    } else if (!_members.count(destination.get())) {
      refuse(relationship, "leads to the entity '%@', which is no entity of the model",
             Value(destination->name()));
    } else {
      checkDestination(relationship, *destination);
    }
    if (!relationship.isToMany() && relationship.isOrdered()) {
      refuse(relationship, "is ordered, but leads to one object only");
    }
    if (relationship.maxCount() != 0 && relationship.minCount() > relationship.maxCount()) {
      refuse(relationship, "asks for at least %llu objects and at most %llu",
             relationship.minCount(), relationship.maxCount());
    }
    if (relationship.deleteRule() > NSDenyDeleteRule) {
      refuse(relationship, "has the unknown delete rule %llu",
             static_cast<NSUInteger>(relationship.deleteRule()));
    }
  }

  void checkDestination(const NSRelationshipDescription& relationship,
                        const NSEntityDescription& destination) {
    if (!relationship.isOptional() && !_entity->isAbstract() &&
        destination.layout().family().empty()) {
      refuse(relationship,
             "is required, but there are no objects of the abstract entity '%@', which it leads to",
             destination.name());
    }
    const Ref<NSRelationshipDescription> inverse = relationship.inverseRelationship();
    if (!inverse) return;
    const Ref<NSEntityDescription> other = inverse->entity();
    const Value inverseName(inverse->name());
    if (other.get() != &destination) {
      refuse(relationship, "leads to the entity '%@', but its inverse '%@' belongs to %@",
             destination.name(), inverseName,
             other ? NSString::stringWithFormat("the entity '%@'", Value(other->name()))
                   : "no entity"_s);
    } else if (inverse->destinationEntity().get() != _entity) {
      const Ref<NSEntityDescription> back = inverse->destinationEntity();
      refuse(relationship, "has the inverse '%@', which leads to %@", inverseName,
             back ? NSString::stringWithFormat("the entity '%@'", Value(back->name()))
                  : "no entity"_s);
    } else if (inverse->inverseRelationship().get() != &relationship) {
      const Ref<NSRelationshipDescription> back = inverse->inverseRelationship();
      refuse(relationship, "has the inverse '%@', which has %@", inverseName,
             back ? NSString::stringWithFormat("the inverse '%@'", Value(back->name()))
                  : "no inverse"_s);
    }
  }

  void checkFetched(const NSFetchedPropertyDescription& property) {
    const Ref<NSFetchRequest> request = property.fetchRequest();
    if (!request) return refuse(property, "has no fetch request");
    if (Ref<NSString> problem = problemOfEntityOf(*request)) {
      refuse(property, "has a fetch request that asks for %@", problem);
    }
  }

  /// Returns: null for a request of an entity of the model.
  Ref<NSString> problemOfEntityOf(const NSFetchRequest& request) const {
    const Ref<NSString> name = request.entityName();
    if (!name) return "no entity";
    const bool isMember = request.entity() ? _members.count(request.entity().get()) > 0
                                           : _model.entityWithName(name->utf8()) != nullptr;
    if (isMember) return nullptr;
    return NSString::stringWithFormat("the entity '%@', which is no entity of the model", name);
  }

  /// What keeps a store from having the property in an index or a constraint. Null for nothing.
  static const char* problemOfStored(const NSPropertyDescription* property) {
    if (!property) return "is none of its properties";
    if (property->isTransient()) return "is transient";
    if (isKindOf<NSRelationshipDescription>(*property)) {
      return static_cast<const NSRelationshipDescription*>(property)->isToMany()
                 ? "leads to many objects"
                 : nullptr;
    }
    return isKindOf<NSAttributeDescription>(*property) ? nullptr : "is stored nowhere";
  }

  void checkConstraints(const NSEntityDescription& entity) {
    for (const Value& value : *entity.uniquenessConstraints()) {
      const auto* names = as<NSArray>(value);
      if (!names || names->count() == 0) {
        refuse(entity,
               "The uniqueness constraints of entity '%@' hold %@, which is no list of names",
               entity.name(), value);
        continue;
      }
      std::unordered_set<std::string_view> known;
      for (const Value& element : *names) {
        const auto* name = as<NSString>(element);
        if (!name) {
          refuse(entity, "A uniqueness constraint of entity '%@' holds %@, which is no name",
                 entity.name(), element);
          continue;
        }
        const char* problem = problemOfStored(propertyNamed(entity, name->utf8()));
        if (!known.insert(name->utf8()).second) problem = "is in it already";
        if (!problem) continue;
        add(NSString::stringWithFormat(
                "A uniqueness constraint of entity '%@' names '%@', which %s", entity.name(),
                element, problem),
            Value(entity.name()), element);
      }
    }
  }

  void checkIndexes(const NSEntityDescription& entity) {
    std::unordered_set<std::string_view> names;
    for (const Value& value : *entity.indexes()) {
      const auto& index = *as<NSFetchIndexDescription>(value);
      if (!names.insert(index.name()->utf8()).second) {
        refuse(entity, "Entity '%@' has two indexes named '%@'", entity.name(), index.name());
      }
      if (index.elements()->count() == 0) {
        refuse(entity, "The index '%@' of entity '%@' has no elements", index.name(),
               entity.name());
      }
      std::unordered_set<std::string_view> known;
      for (const Value& element : *index.elements()) {
        checkElement(entity, index, *as<NSFetchIndexElementDescription>(element), known);
      }
    }
  }

  void checkElement(const NSEntityDescription& entity, const NSFetchIndexDescription& index,
                    const NSFetchIndexElementDescription& element,
                    std::unordered_set<std::string_view>& known) {
    const Value name(element.propertyName());
    const std::string_view key =
        name.isNull() ? std::string_view() : element.propertyName()->utf8();
    const NSPropertyDescription* property = propertyNamed(entity, key);
    const char* problem = problemOfStored(property);
    if (!problem && property != element.property().get()) {
      problem = "is a property of the same name, but of another entity";
    }
    if (!problem && !known.insert(key).second) problem = "is in it already";
    if (!problem && element.collationType() > NSFetchIndexElementTypeRTree) {
      problem = "has an unknown collation type there";
    }
    if (!problem) return;
    add(NSString::stringWithFormat("The index '%@' of entity '%@' names '%@', which %s",
                                   index.name(), entity.name(), name, problem),
        Value(entity.name()), name);
  }

  void checkTemplates() {
    const Ref<NSDictionary> requests = _model.fetchRequestTemplatesByName();
    for (const auto& [name, value] : *requests) {
      if (Ref<NSString> problem = problemOfEntityOf(*as<NSFetchRequest>(value))) {
        add(NSString::stringWithFormat("The fetch request '%@' asks for %@", name, problem));
      }
    }
  }

  void checkConfigurations() {
    const Ref<NSArray> names = _model.configurations();
    for (const Value& name : *names) {
      const Ref<NSArray> entities = _model.entitiesForConfiguration(as<NSString>(name)->utf8());
      for (const Value& value : *entities) {
        const auto* entity = as<NSEntityDescription>(value);
        if (_members.count(entity)) continue;
        refuse(*entity,
               "The configuration '%@' holds the entity '%@', which is no entity of the "
               "model",
               name, entity->name());
      }
    }
  }

  const NSManagedObjectModel& _model;
  std::unordered_map<const NSEntityDescription*, Properties> _members;
  std::vector<Ref<NSError>> _problems;
  const NSEntityDescription* _entity = nullptr;
};

}  // namespace

Ref<NSError> problemOfModel(const NSManagedObjectModel& model) { return ModelCheck(model).run(); }

}  // namespace JNFoundation::impl
