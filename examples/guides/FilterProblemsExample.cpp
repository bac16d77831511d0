#include <cstdio>

#include "Examples.h"
#include "ShopFilter.h"

#include <JNFoundation/mapping/MapInspection.h>

namespace examples {
namespace {

// begin
/// What is wrong with the rules of the model; a test wants nothing.
void printProblems(const Ref<NSManagedObjectModel>& model, const Ref<PLVDataMapFilter>& filter) {
  MapInspection::Options options;
  options.filters = NSSet::setWithArray(filter->filterActions()->allKeys());
  using Problem = MapInspection::Problem;
  for (const Problem& problem : MapInspection::problemsOfModel(model, options)) {
    if (problem.severity == Problem::Severity::Note) continue;  // what may well be meant
    std::puts(problem.text()->UTF8String());
  }
}
// end

}  // namespace

void filterProblems() { printProblems(shopModel(), makeShopFilter()); }

}  // namespace examples
