#include "CatalogFilter.h"

#include <JNFoundation/platform/value/ClassDeclaration.h>

namespace catalog {
namespace {

const ClassDeclaration<CatalogFilter> declaration =
    ClassDeclaration<CatalogFilter>()
        .factory()
        .operation("trim:", &CatalogFilter::trim)
        .operation("lowercase:", &CatalogFilter::lowercase)
        .operation("languageScope:", &CatalogFilter::languageScope)
        .operation("languageType:", &CatalogFilter::languageType);

Value wordForLetter(const Ref<NSDictionary>& words, const Value& letter) {
  const Value word = words->objectForKey(letter);
  return word ? word : letter;
}

}  // namespace

Ref<CatalogFilter> CatalogFilter::filter() {
  Ref<CatalogFilter> filter = CatalogFilter::init();
  for (const char* name : {"trim", "lowercase", "languageScope", "languageType"}) {
    filter->setActionForFilter(NSSelectorFromString(std::string(name) + ":"), name);
  }
  return filter;
}

Value CatalogFilter::trim(const Value& value) {
  const NSString* text = as<NSString>(value);
  return text ? Value(text->stringByTrimmingWhitespace()) : value;
}

Value CatalogFilter::lowercase(const Value& value) {
  const NSString* text = as<NSString>(value);
  return text ? Value(text->lowercaseString()) : value;
}

Value CatalogFilter::languageScope(const Value& letter) {
  static const Ref<NSDictionary> words = NSDictionary::dictionaryWithEntries(
      {{"I", "individual"}, {"M", "macrolanguage"}, {"S", "special"}});
  return wordForLetter(words, letter);
}

Value CatalogFilter::languageType(const Value& letter) {
  static const Ref<NSDictionary> words = NSDictionary::dictionaryWithEntries({{"A", "ancient"},
                                                                              {"C", "constructed"},
                                                                              {"E", "extinct"},
                                                                              {"H", "historical"},
                                                                              {"L", "living"},
                                                                              {"S", "special"}});
  return wordForLetter(words, letter);
}

}  // namespace catalog
