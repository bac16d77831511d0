#pragma once

#include <optional>
#include <string>

#include <JNFoundation/platform/store/impl/FetchedResults.h>

namespace JNFoundation::inline v0_1::impl {

/// What the sections of a fetch were, in a file of the cache directory, for as long as the fetch
/// is the same and its stores are unchanged. A file that cannot be read is none.
class SectionCache {
 public:
  /// Takes: a null name, or one whose results have no sections, for no cache.
  SectionCache(const Ref<NSString>& name, const ResultOrder& order,
               const NSManagedObjectContext& context, const NSFetchRequest& request,
               const Ref<NSString>& sectionKeyPath);

  std::optional<FetchedResults::SectionLengths> read() const;
  void write(const FetchedResults::SectionLengths& lengths) const;

  static void setDirectory(const Ref<NSString>& path);
  static Ref<NSString> directory();
  static void remove(const Ref<NSString>& name);

 private:
  /// Empty for no cache.
  std::string _path;
  /// What the sections depend on, as text.
  std::string _stamp;
};

}  // namespace JNFoundation::impl
