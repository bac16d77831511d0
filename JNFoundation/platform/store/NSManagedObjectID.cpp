#include "JNFoundation/platform/store/NSManagedObjectID.h"

#include <string>

#include <JNFoundation/platform/net/NSURL.h>
#include <JNFoundation/platform/store/NSEntityDescription.h>
#include <JNFoundation/platform/store/NSPersistentStore.h>
#include <JNFoundation/platform/store/impl/EntityLayout.h>
#include <JNFoundation/platform/text/Hash.h>
#include <JNFoundation/platform/text/PercentText.h>
#include <JNFoundation/platform/value/NSUUID.h>

namespace JNFoundation::inline v0_1 {

constinit const Class NSManagedObjectID::classObject =
    Class::of<NSManagedObjectID>("NSManagedObjectID");

NSManagedObjectID::NSManagedObjectID(Ref<NSEntityDescription> entity, std::int64_t number,
                                     const NSPersistentStore* store)
    : _number(number), _entity(std::move(entity)) {
  if (!store) return;
  _storeIdentifier = store->identifier();
  _store = Weak<NSPersistentStore>(const_cast<NSPersistentStore*>(store));
}

NSManagedObjectID::~NSManagedObjectID() = default;

Ref<NSPersistentStore> NSManagedObjectID::persistentStore() const noexcept { return _store.load(); }

Ref<NSURL> NSManagedObjectID::URIRepresentation() const {
  const std::string entity = percentEncoded(_entity->name()->utf8());
  if (_storeIdentifier) {
    return NSURL::URLWithString(NSString::stringWithFormat(
        "x-coredata://%s/%s/p%lld", percentEncoded(_storeIdentifier->utf8()), entity, _number));
  }
  // The process's own random half with the number in the other one: a UUID for every object.
  static const Ref<NSUUID> process = NSUUID::UUID();
  NSUUID::Bytes bytes = process->bytes();
  for (int i = 0; i < 7; ++i) {
    bytes[static_cast<std::size_t>(15 - i)] ^= static_cast<std::uint8_t>(_number >> (8 * i));
  }
  return NSURL::URLWithString(NSString::stringWithFormat(
      "x-coredata:///%s/t%@", entity, NSUUID::initWithUUIDBytes(bytes)->UUIDString()));
}

bool NSManagedObjectID::isEqual(const Value& other) const {
  if (other.object() == this) return true;
  const auto* identifier = as<NSManagedObjectID>(other);
  if (!identifier || _number != identifier->_number) return false;
  if (!_storeIdentifier || !identifier->_storeIdentifier) {
    return !_storeIdentifier && !identifier->_storeIdentifier;
  }
  // Numbers are unique within a hierarchy, so the entities may differ where one is a guess.
  return _storeIdentifier->isEqualToString(identifier->_storeIdentifier) &&
         _entity->layout().rootName() == identifier->_entity->layout().rootName();
}

std::size_t NSManagedObjectID::hash() const {
  const std::uint64_t store = _storeIdentifier ? _storeIdentifier->contentHash() : 0;
  return static_cast<std::size_t>(mixHash(store * 31 + static_cast<std::uint64_t>(_number)));
}

Ref<NSString> NSManagedObjectID::description() const {
  return URIRepresentation()->absoluteString();
}

}  // namespace JNFoundation
