// Calls one operation that leads to each kind of library beneath, so that a program that links here
// links everywhere.

#include <cstdio>

#include <JNFoundation/platform/text/Folding.h>
#include <JNFoundation/platform/text/TextMatch.h>

bool doHostsWork();

int main() {
  using namespace JNFoundation;
  const auto expression = RegularExpression::compile("[a-z]+", Fold::Case);
  if (folded("\u00C9t\u00E9", Fold::CaseAndDiacritics) != "ete" || !expression ||
      !expression->matches("Ete")) {
    std::puts("JNFoundation gave a wrong answer");
    return 1;
  }
  if (!doHostsWork()) {
    std::puts("a host of the main queue does not run it");
    return 1;
  }
  std::puts("JNFoundation works");
  return 0;
}
