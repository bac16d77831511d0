#include "JNFoundation/importing/impl/ImportLinks.h"

#include <utility>

#include <JNFoundation/importing/ImportReport.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSOrderedSet.h>
#include <JNFoundation/platform/value/NSSet.h>
#include <JNFoundation/platform/value/Runtime.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

const char takingKey = 0;

/// What a relationship to many has to lead to.
Value collectionOf(const NSRelationshipDescription& relationship, std::vector<Value> objects) {
  const Ref<NSArray> list = NSArray::arrayWithValues(std::move(objects));
  if (relationship.isOrdered()) return NSOrderedSet::orderedSetWithArray(list);
  return NSSet::setWithArray(list);
}

}  // namespace

/// What leads to one entity.
struct ImportLinks::Group {
  Ref<NSEntityDescription> entity;
  std::vector<const Link*> links;
};

ImportLinks* ImportLinks::taking(const NSManagedObjectContext& context) {
  // The collector outlives its time of taking, so the pointer is good.
  const Value attached = objc_getAssociatedObject(&context, &takingKey);
  return static_cast<ImportLinks*>(attached.object());
}

ImportLinks::Taking::Taking(ImportLinks& related)
    : _related(related), _outer(objc_getAssociatedObject(related._context.get(), &takingKey)) {
  objc_setAssociatedObject(related._context.get(), &takingKey, Value(Ref<NSObject>(&related)),
                           OBJC_ASSOCIATION_RETAIN);
}

ImportLinks::Taking::~Taking() {
  objc_setAssociatedObject(_related._context.get(), &takingKey, _outer, OBJC_ASSOCIATION_RETAIN);
}

ImportLinks::ImportLinks(Ref<NSManagedObjectContext> context, Ref<NSDictionary> identities,
                         Ref<PLVDataMapFilter> filter, Refuse refuse)
    : _context(std::move(context)),
      _identities(std::move(identities)),
      _filter(std::move(filter)),
      _refuse(std::move(refuse)) {}

Ref<ImportLinks> ImportLinks::init(const Ref<NSManagedObjectContext>& context,
                                   const Ref<NSDictionary>& identities,
                                   const Ref<PLVDataMapFilter>& filter, Refuse refuse) {
  return makeObject<ImportLinks>(context, identities, filter, std::move(refuse));
}

void ImportLinks::add(const Ref<NSManagedObject>& object,
                      const Ref<NSRelationshipDescription>& relationship, const Value& value) {
  _links.push_back({object, relationship, value, _index});
}

void ImportLinks::dropRecord(NSUInteger index) {
  std::erase_if(_links, [index](const Link& link) { return link.index == index; });
}

std::vector<std::pair<Ref<NSManagedObject>, NSUInteger>> ImportLinks::takeInserted() {
  return std::exchange(_inserted, {});
}

void ImportLinks::relate() {
  const std::vector<Link> links = std::exchange(_links, {});
  std::vector<Group> groups;
  std::unordered_map<const NSEntityDescription*, std::size_t> places;
  for (const Link& link : links) {
    const Ref<NSEntityDescription> entity = link.relationship->destinationEntity();
    const auto [place, isNew] = places.try_emplace(entity.get(), groups.size());
    if (isNew) groups.push_back({entity, {}});
    groups[place->second].links.push_back(&link);
  }
  for (const Group& group : groups) relateGroup(group);
}

EntityImport& ImportLinks::entityImport(const Ref<NSEntityDescription>& entity) {
  std::unique_ptr<EntityImport>& known = _imports[entity.get()];
  if (!known) {
    const Value identity = _identities ? _identities->objectForKey(entity->name()) : Value();
    known = std::make_unique<EntityImport>(_context, entity, Ref<NSArray>(as<NSArray>(identity)),
                                           nullptr, _filter);
  }
  return *known;
}

void ImportLinks::relateGroup(const Group& group) {
  EntityImport& records = entityImport(group.entity);
  std::vector<Element> elements;
  std::vector<Value> identities;
  const auto take = [&](std::size_t number, const Value& value) {
    const Ref<NSDictionary> record(as<NSDictionary>(value));
    Value identity;
    try {
      if (records.hasIdentity()) {
        identity = record ? records.identityOfRecord(record) : records.identityOfValue(value);
      }
    } catch (const Raised& raised) {
      _refuse(group.links[number]->index, raisedError(raised));
      return;
    }
    if (!identity.isNull()) identities.push_back(identity);
    elements.push_back({number, record, identity});
  };
  for (std::size_t i = 0; i < group.links.size(); ++i) {
    const Link& link = *group.links[i];
    if (link.value.isNull() || link.value.isNSNull()) continue;
    const auto* list = link.relationship->isToMany() ? as<NSArray>(link.value) : nullptr;
    if (!list) {
      take(i, link.value);
      continue;
    }
    for (const Value& value : *list) {
      if (!value.isNSNull()) take(i, value);
    }
  }

  const Ref<NSMutableDictionary> known = NSMutableDictionary::dictionary();
  records.addObjectsOfIdentities(identities, known);
  std::size_t next = 0;
  for (std::size_t i = 0; i < group.links.size(); ++i) {
    const Link& link = *group.links[i];
    setRecordIndex(link.index);
    const bool isNull = link.value.isNull() || link.value.isNSNull();
    std::vector<Value> objects;
    for (; next < elements.size() && elements[next].link == i; ++next) {
      Ref<NSManagedObject> object = objectFor(link, elements[next], records, *known);
      if (object) objects.emplace_back(std::move(object));
    }
    if (link.object->isDeleted() || !link.object->managedObjectContext()) continue;
    // What cannot be found is no reason to let go of the one that is there.
    if (!link.relationship->isToMany() && objects.empty() && !isNull) continue;
    const Value wanted = link.relationship->isToMany()
                             ? collectionOf(*link.relationship, std::move(objects))
                         : objects.empty() ? Value()
                                           : objects.front();
    const Ref<NSString>& name = link.relationship->name();
    if (link.object->valueForKey(name) != wanted) link.object->setValueForKey(wanted, name);
  }
}

Ref<NSManagedObject> ImportLinks::objectFor(const Link& link, const Element& element,
                                            EntityImport& records, NSMutableDictionary& known) {
  const bool isOwned = !records.hasIdentity() && !link.relationship->isToMany();
  Ref<NSManagedObject> object;
  if (!element.identity.isNull()) {
    object = as<NSManagedObject>(known.objectForKey(element.identity));
  } else if (isOwned && element.record) {
    object = as<NSManagedObject>(link.object->valueForKey(link.relationship->name()));
  }
  if (!element.record) {
    if (!object) {
      refuse(link, JNImportErrorNoRelatedObject,
             "There is no %@ that the value for %@ stands for.");
    }
    return object;
  }
  if (element.identity.isNull() && !isOwned) {
    refuse(link, JNImportErrorNoIdentity, "Nothing tells which %@ the record for %@ stands for.");
    return nullptr;
  }
  const bool isNew = !object;
  if (isNew) {
    object = records.insertObject();
    _inserted.emplace_back(object, link.index);
    if (!element.identity.isNull()) known.setObjectForKey(object, element.identity);
  }
  try {
    records.map(element.record, object);
  } catch (const Raised& raised) {
    _refuse(link.index, raisedError(raised));
    if (!isNew) return object;
    if (!element.identity.isNull()) known.removeObjectForKey(element.identity);
    _context->deleteObject(object);
    return nullptr;
  }
  return object;
}

void ImportLinks::refuse(const Link& link, NSInteger code, const char* sentence) {
  _refuse(link.index,
          importError(code, NSString::stringWithFormat(
                                sentence, link.relationship->destinationEntity()->name(),
                                link.relationship->name())));
}

}  // namespace JNFoundation::impl
