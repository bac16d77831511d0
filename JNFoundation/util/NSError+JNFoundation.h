#pragma once

#include <JNFoundation/platform/value/NSError.h>

namespace JNFoundation::inline v0_1 {

/// Whether the error says that the device is offline: it, or what caused it, or what caused that
/// and so on, is of NSURLErrorDomain with the code -1009 (NSURLErrorNotConnectedToInternet).
/// Time-outs, lost connections and hosts that are not found do not count. Also an operation for the
/// runtime. Returns: false for null. Threads: any. Fails: raises NSInvalidArgumentException where
/// what stands under NSUnderlyingErrorKey is no error and has no such operation.
bool jn_isNetworkConnectivityError(const Ref<NSError>& error);

}  // namespace JNFoundation
