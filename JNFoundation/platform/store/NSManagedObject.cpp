#include "JNFoundation/platform/store/NSManagedObject.h"

#include <JNFoundation/platform/store/NSManagedObjectContext.h>
#include <JNFoundation/platform/store/impl/Relations.h>
#include <JNFoundation/platform/store/impl/TransformedValue.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>
#include <JNFoundation/platform/value/NSException.h>
#include <JNFoundation/platform/value/NSNull.h>
#include <JNFoundation/platform/value/SharedMemory.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSManagedObject::classObject = Class::of<NSManagedObject>("NSManagedObject");

namespace {
const ClassDeclaration<NSManagedObject> declarationOfNSManagedObject =
    ClassDeclaration<NSManagedObject>()
        .factory()
        .operation("objectID", &NSManagedObject::objectID)
        .operation(
            "entity",
            [](const NSManagedObject& self) -> Ref<NSEntityDescription> { return self.entity(); })
        .operation("managedObjectContext", &NSManagedObject::managedObjectContext)
        .operation("isInserted", &NSManagedObject::isInserted)
        .operation("isUpdated", &NSManagedObject::isUpdated)
        .operation("isDeleted", &NSManagedObject::isDeleted)
        .operation("isFault", &NSManagedObject::isFault)
        .operation("hasChanges", &NSManagedObject::hasChanges);
}  // namespace

void* NSManagedObject::operator new(std::size_t size) {
  return takeSharedMemory(size, SharedMemoryUse::Objects);
}
void NSManagedObject::operator delete(void* memory) noexcept {
  if (memory) giveBackSharedMemory(memory);
}
void* NSManagedObject::operator new(std::size_t size, std::align_val_t alignment) {
  return ::operator new(size, alignment);
}
void NSManagedObject::operator delete(void* memory, std::align_val_t alignment) noexcept {
  ::operator delete(memory, alignment);
}

NSManagedObject::NSManagedObject() = default;

NSManagedObject::~NSManagedObject() {
  if (_registry) _registry->remove(impl::ObjectAccess::key(*this), *this);
}

Ref<NSManagedObject> NSManagedObject::initWithEntityInsertIntoManagedObjectContext(
    const Ref<NSEntityDescription>& entity, const Ref<NSManagedObjectContext>& context) {
  if (!entity) raise(NSInvalidArgumentException, "A managed object needs an entity");
  if (entity->isAbstract()) {
    raise(NSInvalidArgumentException, "The entity '%@' is abstract: it has no objects of its own",
          entity->name());
  }
  const impl::EntityLayout& layout = entity->layout();
  Ref<NSManagedObject> object = impl::ObjectAccess::make(*entity);
  object->_values = ValueArray(layout.count());
  object->_flags = HasValues;
  if (layout.hasDefaults()) {
    for (std::size_t i = 0; i < layout.count(); ++i) {
      const Value& initial = layout[i].defaultValue;
      object->_values[i] =
          layout[i].isTransformed() ? impl::placeOfValue(initial, layout[i].attribute) : initial;
    }
  }
  if (context) {
    context->insertObject(object);
  } else {
    object->_number = impl::ObjectAccess::nextTemporaryNumber();
  }
  return object;
}

Ref<NSManagedObjectID> NSManagedObject::objectID() const {
  if (!_objectID) {
    _objectID =
        impl::ObjectAccess::makeID(_entity, _number, _hierarchy ? _hierarchy->store : nullptr);
  }
  return _objectID;
}

Ref<NSManagedObjectContext> NSManagedObject::managedObjectContext() const noexcept {
  return _registry ? _registry->context() : nullptr;
}

// ---- Life ---------------------------------------------------------------------------------------

void NSManagedObject::awakeFromInsert() {}
void NSManagedObject::awakeFromFetch() {}
void NSManagedObject::willSave() {}
void NSManagedObject::didSave() {}
void NSManagedObject::prepareForDeletion() {}

void NSManagedObject::requireThread() const noexcept {
  if (impl::checksThreads && _registry) _registry->requireThread();
}

void NSManagedObject::fire() const {
  requireThread();
  auto* self = const_cast<NSManagedObject*>(this);
  if ((_flags & HasValues) == 0) {
    Ref<NSManagedObjectContext> context = managedObjectContext();
    if (!context) {
      raise(NSObjectInaccessibleException,
            "The NSManagedObject with ID:%@ has been invalidated: its context is gone or was reset",
            Value(objectID()));
    }
    context->fulfillFault(*self);
    // Its record may turn out to be gone, and the object with it.
    if (!_registry) return;
  }
  self->_flags = (_flags & ~(Fault | Partial)) | Awakening;
  struct Awake {
    std::uint32_t& flags;
    ~Awake() { flags &= ~Awakening; }
  } awake{self->_flags};
  self->awakeFromFetch();
}

void NSManagedObject::willChange() {
  if ((_flags & Awakening) == 0) trackChange();
}

void NSManagedObject::trackChange() {
  if (!_registry) return;
  if ((_flags & (Inserted | Updated)) == 0) {
    const std::size_t count = _entity->layout().count();
    _committed = ValueArray(count);
    for (std::size_t i = 0; i < count; ++i) _committed[i] = _values[i];
    _flags |= Updated;
    if ((_flags & Deleted) == 0) {
      if (Ref<NSManagedObjectContext> context = _registry->context()) context->noteUpdate(*this);
    }
  }
  ++_registry->edits;
  constexpr std::uint32_t noted = EventInserted | EventUpdated | EventDeleted;
  if ((_flags & noted) == 0 || !_registry->processingIsPosted) {
    if (Ref<NSManagedObjectContext> context = _registry->context()) context->noteEdit(*this);
  }
}

Ref<NSString> NSManagedObject::description() const {
  const impl::EntityLayout& layout = _entity->layout();
  Ref<NSString> values = "<fault>"_s;
  if ((_flags & HasValues) != 0) {
    NSDictionary::Builder builder(layout.count());
    for (std::size_t i = 0; i < layout.count(); ++i) {
      if (layout[i].isToMany()) {
        const impl::RelatedObjects* related = impl::Relations::known(*this, i);
        const bool isKnown = related && related->isLoaded();
        builder.set(layout[i].name,
                    isKnown ? Value(related->members().array()) : Value("<relationship fault>"_s));
        continue;
      }
      const Value value =
          impl::isUnread(_values[i], layout[i]) ? Value("<data>"_s) : attributeAtIndex(i);
      builder.set(layout[i].name, value.isNull() ? Value("nil"_s) : value);
    }
    values = builder.finish()->description();
  }
  return NSString::stringWithFormat("<%s: %p> (entity: %@; id: %@; data: %@)", class_().name(),
                                    static_cast<const void*>(this), _entity->name(),
                                    Value(objectID()), values);
}

}  // namespace JNFoundation
