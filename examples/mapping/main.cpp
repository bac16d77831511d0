#include "Examples.h"

int main() {
  const auto context = examples::open();
  examples::readByHand();
  examples::mapRecord(context);
  examples::useFilters(context);
  examples::watch(context);
  examples::exportCountry(context);
  examples::cross(context);
}
