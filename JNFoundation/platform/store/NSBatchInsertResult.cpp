#include "JNFoundation/platform/store/NSBatchInsertResult.h"

namespace JNFoundation::inline v0_1 {

constinit const Class NSBatchInsertResult::classObject =
    Class::of<NSBatchInsertResult>("NSBatchInsertResult");

NSBatchInsertResult::NSBatchInsertResult(NSBatchInsertRequestResultType type, Value result)
    : NSPersistentStoreResult(std::move(result)), _resultType(type) {}
NSBatchInsertResult::~NSBatchInsertResult() = default;

}  // namespace JNFoundation
