// Refused with: this coroutine returns another type than its Deferred gives
#include <string>

#include <JNFoundation/deferred/Deferred.h>

JNFoundation::Deferred<int> coroutine() { co_return std::string("text"); }
