#include "JNFoundation/platform/store/NSBatchDeleteResult.h"

namespace JNFoundation::inline v0_1 {

constinit const Class NSBatchDeleteResult::classObject =
    Class::of<NSBatchDeleteResult>("NSBatchDeleteResult");

NSBatchDeleteResult::NSBatchDeleteResult(NSBatchDeleteRequestResultType type, Value result)
    : NSPersistentStoreResult(std::move(result)), _resultType(type) {}
NSBatchDeleteResult::~NSBatchDeleteResult() = default;

}  // namespace JNFoundation
