#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "Catalog.h"

namespace catalog {

/// Shows how far the merge is: a bar that moves on a terminal, one plain line per list elsewhere.
void showProgress(const Ref<NSString>& entityName, NSUInteger done, NSUInteger all);

/// Shows what a user would look at after an import: what came in and how fast, what was refused, a
/// few objects chosen at random, the largest code, and last what the store holds.
void showReport(const Catalog& catalog, const std::vector<FeedFile>& files,
                const std::vector<std::string>& refused, std::chrono::duration<double> time);

}  // namespace catalog
