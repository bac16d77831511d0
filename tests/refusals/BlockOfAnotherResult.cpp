// Refused with: what this block returns does not convert to the type that is expected of it
#include <JNFoundation/platform/value/Block.h>
#include <JNFoundation/platform/value/NSString.h>

JNFoundation::Block<JNFoundation::Ref<JNFoundation::NSString>()> block = [] { return 5; };
