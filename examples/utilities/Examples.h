#pragma once

#include <JNFoundation/platform/value/NSArray.h>

namespace examples {

using namespace JNFoundation;

void workWithArrays();
void workWithAnyCollection();
void tellTime();
void tick();
void showRequest();
void tellOffline();

}  // namespace examples
