#include "JNFoundation/platform/store/impl/EntityLayout.h"

#include <algorithm>
#include <array>
#include <string>

#include <JNFoundation/platform/store/NSManagedObject.h>
#include <JNFoundation/platform/store/NSManagedObjectModel.h>
#include <JNFoundation/platform/store/NSRelationshipDescription.h>
#include <JNFoundation/platform/value/NSException.h>

namespace JNFoundation::inline v0_1::impl {
namespace {

std::string capitalized(std::string_view key) {
  std::string text(key);
  if (!text.empty() && text[0] >= 'a' && text[0] <= 'z') text[0] = static_cast<char>(text[0] - 32);
  return text;
}

/// The operation that the application declares. What every managed object has (`isUpdated`) is no
/// accessor of an attribute that happens to be named like it (`updated`).
const Method* ownMethod(const Class& cls, const std::string& name) {
  const SEL selector(name);
  const Method* method = cls.instanceMethodForSelector(selector);
  return method == NSManagedObject::classObject.instanceMethodForSelector(selector) ? nullptr
                                                                                    : method;
}

const Method* declaredGetter(const Class& cls, std::string_view key) {
  const std::string name = capitalized(key);
  for (const std::string& candidate :
       {"get" + name, std::string(key), "is" + name, "_" + std::string(key)}) {
    const Method* method = ownMethod(cls, candidate);
    if (method && method->numberOfArguments() == 2 && method->returnType() != 'v') return method;
  }
  return nullptr;
}

const Method* declaredSetter(const Class& cls, std::string_view key) {
  const std::string name = capitalized(key);
  for (const std::string& candidate : {"set" + name + ":", "_set" + name + ":"}) {
    const Method* method = ownMethod(cls, candidate);
    if (method && method->numberOfArguments() == 3) return method;
  }
  return nullptr;
}

const Method* declaredValidator(const Class& cls, std::string_view key) {
  // What nobody ever named, no class declares; names out of models need not become selectors.
  const SEL selector = SEL::ifKnown("validate" + capitalized(key) + ":error:");
  const Method* method = selector ? cls.instanceMethodForSelector(selector) : nullptr;
  return method && method->numberOfArguments() == 4 && method->returnType() == 'B' ? method
                                                                                   : nullptr;
}

}  // namespace

bool isReservedPropertyName(std::string_view name) noexcept {
  static constexpr std::array<std::string_view, 45> reserved = {"autorelease",
                                                                "awakeFromFetch",
                                                                "awakeFromInsert",
                                                                "changedValues",
                                                                "changedValuesForCurrentEvent",
                                                                "class",
                                                                "classForCoder",
                                                                "copy",
                                                                "dealloc",
                                                                "debugDescription",
                                                                "description",
                                                                "didSave",
                                                                "didTurnIntoFault",
                                                                "entity",
                                                                "faultingState",
                                                                "finalize",
                                                                "hasChanges",
                                                                "hasPersistentChangedValues",
                                                                "hash",
                                                                "init",
                                                                "isDeleted",
                                                                "isFault",
                                                                "isInserted",
                                                                "isProxy",
                                                                "isUpdated",
                                                                "load",
                                                                "managedObjectContext",
                                                                "mutableCopy",
                                                                "new",
                                                                "objectID",
                                                                "observationInfo",
                                                                "prepareForDeletion",
                                                                "release",
                                                                "retain",
                                                                "retainCount",
                                                                "self",
                                                                "superclass",
                                                                "validateForDelete",
                                                                "validateForInsert",
                                                                "validateForUpdate",
                                                                "willSave",
                                                                "willTurnIntoFault",
                                                                "zone",
                                                                "awakeFromNib",
                                                                "isAccessibilityElement"};
  return std::find(reserved.begin(), reserved.end(), name) != reserved.end();
}

EntityLayout::EntityLayout(const NSEntityDescription& entity) : _entity(entity), _root(&entity) {
  std::vector<Ref<NSEntityDescription>> line{
      Ref<NSEntityDescription>(const_cast<NSEntityDescription*>(&entity))};
  while (Ref<NSEntityDescription> above = line.back()->superentity()) line.push_back(above);
  _root = line.back().get();
  _rootName = _root->name();
  for (auto ancestor = line.rbegin(); ancestor != line.rend(); ++ancestor) {
    for (const Ref<NSPropertyDescription>& property : (*ancestor)->ownProperties()) {
      addSlot(*property);
    }
  }
  std::vector<const NSEntityDescription*> pending{&entity};
  while (!pending.empty()) {
    const NSEntityDescription* next = pending.back();
    pending.pop_back();
    if (!next->isAbstract()) _family.push_back(next);
    const auto& below = next->directSubentities();
    for (auto entry = below.rbegin(); entry != below.rend(); ++entry)
      pending.push_back(entry->get());
  }
  buildIndex();
}

EntityLayout::~EntityLayout() {
  for (BindingNode* node = _bindings.load(); node;) delete std::exchange(node, node->next);
}

std::size_t EntityLayout::find(const NSString& name) const noexcept {
  const std::uint64_t hash = name.contentHash();
  for (std::size_t place = static_cast<std::size_t>(hash) & _mask; _index[place].name;
       place = (place + 1) & _mask) {
    const NSString* candidate = _index[place].name;
    if (candidate == &name || candidate->hasContentOf(name)) return _index[place].number;
  }
  return none;
}

void EntityLayout::addSlot(NSPropertyDescription& property) {
  Slot slot{nullptr,
            nullptr,
            property.name(),
            NSUndefinedAttributeType,
            !property.isTransient(),
            property.isOptional(),
            false,
            nullptr};
  if (isKindOf<NSAttributeDescription>(property)) {
    slot.attribute = Ref<NSAttributeDescription>(static_cast<NSAttributeDescription*>(&property));
    slot.type = slot.attribute->attributeType();
    slot.stored = slot.stored && slot.type != NSUndefinedAttributeType;
    slot.hasRules = slot.attribute->regularExpression() ||
                    !slot.attribute->minimumValue().isNull() ||
                    !slot.attribute->maximumValue().isNull();
    slot.defaultValue = slot.attribute->defaultValue();
    _hasDefaults |= !slot.defaultValue.isNull();
    _hasTransformed |= slot.isTransformed();
  } else if (isKindOf<NSRelationshipDescription>(property)) {
    slot.relationship =
        Ref<NSRelationshipDescription>(static_cast<NSRelationshipDescription*>(&property));
    if (slot.relationship->isToMany()) {
      slot.stored = false;
      _toManys.push_back(_slots.size());
    } else {
      slot.type = NSObjectIDAttributeType;
      _toOnes.push_back(_slots.size());
    }
  } else {
    return;
  }
  _slots.push_back(std::move(slot));
}

void EntityLayout::buildIndex() {
  // With room to spare, so that most names stand where they belong.
  std::size_t size = 8;
  while (size < _slots.size() * 8) size *= 2;
  _index.assign(size, {});
  _mask = size - 1;
  for (std::size_t number = 0; number < _slots.size(); ++number) {
    const NSString& name = *_slots[number].name;
    // A name that an ancestor has already stays the ancestor's; using the model reports it.
    if (indexOf(name) != none) continue;
    std::size_t place = static_cast<std::size_t>(name.contentHash()) & _mask;
    while (_index[place].name) place = (place + 1) & _mask;
    _index[place] = {&name, number};
  }
}

EntityLayout::ClassBinding EntityLayout::makeBinding(const Class& cls) const {
  ClassBinding binding{&cls, {}, {}, {}};
  binding.getters.reserve(_slots.size());
  binding.setters.reserve(_slots.size());
  for (const Slot& slot : _slots) {
    binding.getters.push_back(declaredGetter(cls, slot.name->utf8()));
    binding.setters.push_back(declaredSetter(cls, slot.name->utf8()));
    binding.validators.push_back(declaredValidator(cls, slot.name->utf8()));
  }
  return binding;
}

const EntityLayout::ClassBinding& EntityLayout::bindingOfOther(const Class& cls) const {
  for (BindingNode* node = _bindings.load(std::memory_order_acquire); node; node = node->next) {
    if (node->binding.cls == &cls) return node->binding;
  }
  // Two threads may both add one; either is as good.
  auto* fresh = new BindingNode{makeBinding(cls), _bindings.load(std::memory_order_relaxed)};
  while (!_bindings.compare_exchange_weak(fresh->next, fresh, std::memory_order_acq_rel)) {
  }
  return fresh->binding;
}

bool EntityLayout::isLedToWithoutWayBack() const {
  const Answer known = _isLedToWithoutWayBack.load(std::memory_order_relaxed);
  if (known != Answer::None) return known == Answer::Yes;
  bool isLedTo = false;
  for (const Ref<NSEntityDescription>& entity : _entity.managedObjectModel()->entityList()) {
    for (const Slot& slot : entity->layout().slots()) {
      isLedTo = isLedTo || (slot.relationship && !slot.relationship->inverseRelationship() &&
                            &slot.relationship->destinationEntity()->layout().root() == _root);
    }
  }
  _isLedToWithoutWayBack.store(isLedTo ? Answer::Yes : Answer::No, std::memory_order_relaxed);
  return isLedTo;
}

const EntityLayout::ClassBinding& EntityLayout::findObjectClass() const {
  const Ref<NSString>& name = _entity.managedObjectClassName();
  const Class* cls = NSClassFromString(name->utf8());
  if (!cls) {
    raise(
        NSInternalInconsistencyException,
        "Unable to find the class named '%@' of entity '%@': it is not linked into the program, or "
        "nothing refers to it",
        name, _entity.name());
  }
  if (!cls->isSubclassOf(NSManagedObject::classObject)) {
    raise(NSInternalInconsistencyException,
          "The class '%@' of entity '%@' is not a subclass of NSManagedObject", name,
          _entity.name());
  }
  if (!cls->canMakeInstances()) {
    raise(NSInternalInconsistencyException,
          "The class '%@' of entity '%@' declares no factory, so that no object of it can be made",
          name, _entity.name());
  }
  const ClassBinding& binding = bindingOfOther(*cls);
  _objectClass.store(&binding, std::memory_order_release);
  return binding;
}

}  // namespace JNFoundation::impl
