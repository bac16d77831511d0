#pragma once

#include <vector>

#include <JNFoundation/platform/store/NSAttributeDescription.h>
#include <JNFoundation/platform/store/sqlite/impl/Database.h>

namespace JNFoundation::inline v0_1::impl {

/// Binds a value in the form in which its attribute's type stands in the file. Text that had to be
/// made for it is kept in `made` until the statement has run.
void bindValue(Statement& statement, int parameter, NSAttributeType type, const Value& value,
               std::vector<Ref<NSString>>& made);

}  // namespace JNFoundation::impl
