#pragma once

#include <string>
#include <string_view>

namespace JNFoundation::inline v0_1 {

/// The text as it stands inside of a printed array or dictionary (an old-style property list).
///
/// Text of letters, digits and _ . / $ - only, at least one, stays as it is. Any other text is put
/// between double quotes, with \" \\ \n \r \t for these characters, and \Uxxxx, four lower-case
/// hexadecimal digits of a UTF-16 unit, for the other control characters and for all that is not
/// ASCII. Ill-formed sequences count as U+FFFD. Pure; may run on any thread.
std::string quotedForPropertyList(std::string_view text);

}  // namespace JNFoundation
