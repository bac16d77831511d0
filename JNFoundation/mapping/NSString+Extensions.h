#pragma once

#include <JNFoundation/platform/value/NSString.h>

namespace JNFoundation::inline v0_1 {

/// The text for use as one component of a URL query: every byte of its UTF-8 becomes "%" and two
/// upper-case hexadecimal digits, except ASCII letters, digits, "-", ".", "_" and "~".
/// Returns: null for null. Threads: any.
Ref<NSString> jn_stringWithUrlEncoding(const Ref<NSString>& text);

/// The text with its percent escapes replaced by the ASCII characters they stand for.
/// Returns: null for null, for a broken escape, and for one of 0x80 or more: what the encoder made
/// of "é" is refused here, and readers of query strings rely on that. Threads: any.
Ref<NSString> jn_stringWithUrlDecoding(const Ref<NSString>& text);

}  // namespace JNFoundation
