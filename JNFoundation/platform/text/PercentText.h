#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace JNFoundation::inline v0_1 {

/// Percent-encoding of URL text. All functions are pure and may run on any thread.

/// The text for use as one component of a URL query: every byte of its UTF-8 as "%" and two
/// upper-case hexadecimal digits, but for A-Z a-z 0-9 - . _ ~. A space is "%20".
std::string percentEncoded(std::string_view text);

/// The general form: escapes every character that may not stand in a URL and is not in `leave`, and
/// every character that may stand there but is in `force`. "%" may not stand there, so that text
/// that holds escapes already is escaped again. Both sets are read by code point.
std::string percentEncodedExcept(std::string_view text, std::string_view leave,
                                 std::string_view force);

/// Replaces every percent escape by the ASCII character it stands for; every other character stays
/// as it is, "+" and characters that are not ASCII included.
/// Returns: nothing when a "%" is not followed by two hexadecimal digits, or when they give 0x80 or
/// more. The reader takes ASCII only, although percentEncoded writes UTF-8: what it made of "é" is
/// refused here. Callers rely on that.
std::optional<std::string> percentDecodedASCII(std::string_view text);

}  // namespace JNFoundation
