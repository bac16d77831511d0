#include "JNFoundation/importing/ImportReport.h"

#include <string>

namespace JNFoundation::inline v0_1 {

constinit const Class ImportReport::classObject = Class::of<ImportReport>("ImportReport");

Ref<NSString> ImportReport::description() const {
  std::string text;
  const auto add = [&text](NSUInteger count, const char* what) {
    if (count == 0) return;
    if (!text.empty()) text += ", ";
    text += std::to_string(count) + " " + what;
  };
  add(_counts.inserted, "inserted");
  add(_counts.updated, "updated");
  add(_counts.unchanged, "unchanged");
  add(_counts.deleted, "deleted");
  add(_counts.insertedRelated, "related inserted");
  add(_duplicates.size(), "duplicate");
  add(_refusals.size(), "refused");
  return NSString::fromText(text.empty() ? "nothing to import" : text);
}

}  // namespace JNFoundation
