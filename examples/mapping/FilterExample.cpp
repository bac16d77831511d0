#include <cstdio>

#include "Country.h"

#include <JNFoundation/mapping/NSManagedObjectContext+PLVAssociatedFilter.h>
#include <JNFoundation/mapping/ReadyMadeFilters.h>
#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace examples {
namespace {

// begin
class FeedFilter : public Subclass<FeedFilter, PLVDataMapFilter> {
 public:
  Value withoutArticle(const Value& value) {
    const NSString* text = as<NSString>(value);
    return text && text->hasPrefix("The ") ? Value(text->substringFromIndex(4)) : value;
  }
};
const ClassDeclaration<FeedFilter> declaration =
    ClassDeclaration<FeedFilter>().operation("withoutArticle:", &FeedFilter::withoutArticle);

Ref<PLVDataMapFilter> makeFilter() {
  const Ref<FeedFilter> filter = FeedFilter::init();
  filter->setActionForFilter("withoutArticle:", "article");       // an operation of the class
  registerReadyMadeFilters(filter);                               // trim, number, url, …
  setBlockForFilter(filter, dateFilter("dd.MM.yyyy"), "german");  // dates of another form
  return filter;
}
// end

}  // namespace

void useFilters(const Ref<NSManagedObjectContext>& context) {
  plv_setDataMapFilter(context, makeFilter());
  const Ref<Country> country = insertCountry(context);
  country->mergeDictionary(recordOf(R"({"meta": {"area": " 543908.4 "}})"));
  const auto filter = plv_dataMapFilter(context);
  std::printf("area %s, %s, %s\n", country->valueForKey("area").description()->UTF8String(),
              filter->valueFilteredBy("The Gambia", "article").description()->UTF8String(),
              filter->valueFilteredBy("22.09.1792", "german").description()->UTF8String());
}

}  // namespace examples
