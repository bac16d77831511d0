#pragma once

#include <JNFoundation/mapping/PLVDataMapFilter.h>

namespace examples {

/// The filter of FiltersExample.cpp, which the tests of TestingExample.cpp use as well.
JNFoundation::Ref<JNFoundation::PLVDataMapFilter> makeShopFilter();

}  // namespace examples
