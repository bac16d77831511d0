#include "JNFoundation/platform/store/NSBatchUpdateResult.h"

namespace JNFoundation::inline v0_1 {

constinit const Class NSBatchUpdateResult::classObject =
    Class::of<NSBatchUpdateResult>("NSBatchUpdateResult");

NSBatchUpdateResult::NSBatchUpdateResult(NSBatchUpdateRequestResultType type, Value result)
    : NSPersistentStoreResult(std::move(result)), _resultType(type) {}
NSBatchUpdateResult::~NSBatchUpdateResult() = default;

}  // namespace JNFoundation
