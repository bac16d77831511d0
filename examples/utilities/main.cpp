#include "Examples.h"

int main() {
  examples::workWithArrays();
  examples::workWithAnyCollection();
  examples::tellTime();
  examples::tick();
  examples::showRequest();
  examples::tellOffline();
}
