// Refused with: co_await
#include <JNFoundation/deferred/Coroutine.h>

JNFoundation::Ref<JNFoundation::PLVDeferred> coroutine() { co_return co_await 3; }
