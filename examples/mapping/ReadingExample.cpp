#include <cstdio>

#include "Examples.h"

#include <JNFoundation/mapping/NSDictionary+Extensions.h>
#include <JNFoundation/mapping/RecordEntry.h>

namespace examples {

void readByHand() {
  const Ref<NSDictionary> record = recordOf(R"({"name": "Ann", "nickname": null, "age": "41"})");
  // begin
  // Of the kind that is asked for, or it raises a "Parse exception"; null where there is nothing.
  const Ref<NSString> name = jn_stringForKey(record, "name");
  // Of another kind is as good as nothing.
  const Value age = jn_numberForKeyOptionalType(record, "age");
  // Missing, null and present, told apart.
  const RecordEntry nickname = entryForKey(record, "nickname");
  // end
  std::printf("%s %s %s\n", name->UTF8String(), age.isNull() ? "without a number" : "?",
              nickname.isNull() ? "gave the nickname up" : "?");
}

}  // namespace examples
