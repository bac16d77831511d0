// Refused with: this promise is of another type
#include <string>

#include <JNFoundation/deferred/Promise.h>

void resolve(JNFoundation::Promise<int> promise) { promise.resolve(std::string("text")); }
