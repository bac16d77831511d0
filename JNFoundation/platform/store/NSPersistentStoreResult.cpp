#include "JNFoundation/platform/store/NSPersistentStoreResult.h"

namespace JNFoundation {

constinit const Class NSPersistentStoreResult::classObject =
    Class::of<NSPersistentStoreResult>("NSPersistentStoreResult");

NSPersistentStoreResult::NSPersistentStoreResult() = default;
NSPersistentStoreResult::NSPersistentStoreResult(Value result) : _result(std::move(result)) {}
NSPersistentStoreResult::~NSPersistentStoreResult() = default;

}  // namespace JNFoundation
