// Refused with: this block must return a value
#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/Value.h>

JNFoundation::Block<JNFoundation::Value(int)> block = [](int) {};
