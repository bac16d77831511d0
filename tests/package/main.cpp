// Asks the library for what a package can get wrong: one operation that leads to each library
// beneath, classes and exceptions that cross from one file to the other, and the version.

#include <cstdio>
#include <string>

#include <JNFoundation/Version.h>
#include <JNFoundation/deferred/PLVDeferred.h>
#include <JNFoundation/platform/json/NSJSONSerialization.h>
#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/text/TextMatch.h>
#include <JNFoundation/platform/value/NSArray.h>
#include <JNFoundation/platform/value/NSException.h>

using namespace JNFoundation;

bool doDeclarationsWork();
bool doHostsWork();
bool doesTestingWork();
bool doStoresWork();

namespace {

class Upload : public Subclass<Upload, PLVDeferred> {
 protected:
  using Subclass::Subclass;
};

bool isVersionRight() { return std::string(EXPECTED_VERSION) == JN_VERSION; }

bool doesTextWork() {
  const auto expression = RegularExpression::compile("[a-z]+", Fold::Case);
  return folded("\u00C9t\u00E9", Fold::CaseAndDiacritics) == "ete" && expression &&
         expression->matches("Ete");
}

bool doesJSONWork() {
  const Value numbers =
      NSJSONSerialization::JSONObjectWithTextOptionsError("[1, 2]", NSJSONReadingPlain, nullptr);
  return isKindOf<NSArray>(numbers) && as<NSArray>(numbers)->count() == 2;
}

bool doClassesCross() {
  const Value upload = Upload::withResolved("sent");
  return isKindOf<Upload>(upload) && isKindOf<PLVDeferred>(upload) && !isKindOf<NSArray>(upload);
}

bool doExceptionsCross() {
  try {
    NSArray::array()->objectAtIndex(1);
  } catch (const Raised& raised) {
    return raised.exception()->name()->utf8() == "NSRangeException";
  }
  return false;
}

}  // namespace

int main() {
  const struct {
    const char* what;
    bool (*works)();
  } parts[] = {{"the version of the headers", isVersionRight},
               {"text", doesTextWork},
               {"JSON", doesJSONWork},
               {"a class of the application", doClassesCross},
               {"an exception of the library", doExceptionsCross},
               {"classes that are declared only", doDeclarationsWork},
               {"a store", doStoresWork},
               {"a host of the main queue", doHostsWork},
               {"what tests use", doesTestingWork}};
  for (const auto& part : parts) {
    if (!part.works()) {
      std::printf("%s is not as it should be\n", part.what);
      return 1;
    }
  }
  std::puts("JNFoundation works");
  return 0;
}
