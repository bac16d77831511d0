#include "JNFoundation/platform/store/NSPersistentStoreResult.h"

namespace JNFoundation::inline v0_1 {

constinit const Class NSPersistentStoreResult::classObject =
    Class::of<NSPersistentStoreResult>("NSPersistentStoreResult");

NSPersistentStoreResult::NSPersistentStoreResult() = default;
NSPersistentStoreResult::NSPersistentStoreResult(Value result) : _result(std::move(result)) {}
NSPersistentStoreResult::~NSPersistentStoreResult() = default;

}  // namespace JNFoundation
