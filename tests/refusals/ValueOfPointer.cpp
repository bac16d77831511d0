// Refused with: deleted
#include <JNFoundation/platform/value/Value.h>

int number = 0;
JNFoundation::Value value = &number;
