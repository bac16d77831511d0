// begin
#include <cstdio>
#include <initializer_list>

#include <JNFoundation/platform/text/Folding.h>

using namespace JNFoundation;

int main() {
  for (const char* city : {"Zürich", "Genève", "Bern"}) {
    if (hasPrefixFolded(city, "zur", Fold::CaseAndDiacritics)) std::puts(city);
  }
}
// end
