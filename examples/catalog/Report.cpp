#include "Report.h"

#include <cstdio>
#include <unistd.h>

#include "Country.h"
#include "Product.h"

namespace catalog {
namespace {

void print(const Ref<NSString>& line) { std::puts(line->UTF8String()); }

/// "largest code" of the entities that have numbers; null for the others.
Value largestNumberOf(const Ref<NSString>& entityName, const Ref<NSManagedObjectContext>& context) {
  if (entityName->utf8() == "Country") {
    return Country::valueForAttributeNameWithFunctionContextError("numericCode", "max:", context,
                                                                  nullptr);
  }
  if (entityName->utf8() == "Product") {
    return Product::valueForAttributeNameWithFunctionContextError("identifier", "max:", context,
                                                                  nullptr);
  }
  return nullptr;
}

}  // namespace

void showProgress(const Ref<NSString>& entityName, NSUInteger done, NSUInteger all) {
  constexpr int width = 40;
  if (isatty(STDOUT_FILENO)) {
    const int filled = all == 0 ? width : static_cast<int>(done * width / all);
    std::printf("\r%-12s [%.*s%*s] %llu/%llu", entityName->UTF8String(), filled,
                "========================================", width - filled, "",
                static_cast<unsigned long long>(done), static_cast<unsigned long long>(all));
    if (done == all) std::putchar('\n');
    std::fflush(stdout);
  } else if (done == all) {
    print(NSString::stringWithFormat("%@: %lu records merged", entityName, all));
  }
}

void showReport(const Catalog& catalog, const std::vector<FeedFile>& files,
                const std::vector<std::string>& refused, std::chrono::duration<double> time) {
  NSUInteger total = 0;
  for (const FeedFile& file : files) {
    const MergeCounts& counts = file.counts;
    total += counts.total();
    print(NSString::stringWithFormat("%@: %lu new, %lu updated, %lu without a code",
                                     file.entityName, counts.inserted, counts.updated,
                                     counts.skipped));
  }
  const double seconds = time.count();
  print(NSString::stringWithFormat("%lu records in %.2f s, %.0f records per second", total, seconds,
                                   seconds > 0 ? static_cast<double>(total) / seconds : 0.0));
  print(NSString::stringWithFormat("\n%lu values refused", refused.size()));
  for (const std::string& line : refused) print(NSString::stringWithFormat("  %s", line));
  for (const FeedFile& file : files) {
    print(NSString::stringWithFormat("\nSome of %@:", file.entityName));
    for (const Value& object : catalog.sampleOf(file.entityName, 4)) {
      print(NSString::stringWithFormat("  %@", as<CatalogItem>(object)->summary()));
    }
    const Value largest = largestNumberOf(file.entityName, catalog.context());
    if (largest) print(NSString::stringWithFormat("  largest code: %@", largest));
  }
  Ref<NSMutableArray> holdings = NSMutableArray::array();
  for (const Value& value : catalog.model()->entities()) {
    const auto* entity = as<NSEntityDescription>(value);
    if (entity->isAbstract()) continue;
    holdings->addObject(
        NSString::stringWithFormat("%lu %@", catalog.countOf(entity->name()), entity->name()));
  }
  print(NSString::stringWithFormat("\nThe store holds %@.",
                                   holdings->componentsJoinedByString(", ")));
}

}  // namespace catalog
