#pragma once

#include <string>
#include <string_view>

namespace JNFoundation::inline v0_1 {

/// Case, diacritics and order of Unicode text, the same in every locale.
///
/// Folding makes texts comparable that differ in what is folded away. It is Unicode's full case
/// folding ("Straße" and "STRASSE" are equal) and the removal of the marks above, below and through
/// a letter ("é" and "e" are equal); marks that make another letter of another script (Indic vowel
/// signs, Japanese voicing marks) stay, and so do letters that have no decomposition ("ø", "ł").
/// Folded text is in normalisation form C. `Fold::None` compares code points as they are.
///
/// Ill-formed sequences count as U+FFFD. Texts that are all ASCII are compared and searched without
/// an allocation. All functions are pure and may run on any thread.
enum class Fold : unsigned {
  None = 0,              ///< nothing
  Case = 1,              ///< upper and lower case
  Diacritics = 2,        ///< marks
  CaseAndDiacritics = 3  ///< both
};

/// What both take away.
constexpr Fold operator|(Fold left, Fold right) {
  return static_cast<Fold>(static_cast<unsigned>(left) | static_cast<unsigned>(right));
}

/// Whether `fold` takes away everything that `part` takes away.
constexpr bool includes(Fold fold, Fold part) {
  return (static_cast<unsigned>(fold) & static_cast<unsigned>(part)) == static_cast<unsigned>(part);
}

/// The form of the text in which equal texts have equal bytes. With `Fold::None` the text itself.
std::string folded(std::string_view text, Fold fold);

/// Full upper case: "straße" is "STRASSE".
std::string uppercased(std::string_view text);

/// Full lower case, with the Greek final sigma at the end of a word.
std::string lowercased(std::string_view text);

/// The text with its first letter in title case and the rest as it is; empty for empty text.
std::string capitalizedFirst(std::string_view text);

/// Normalisation form C: the composed form of every letter that has one.
std::string normalizedNFC(std::string_view text);

/// The comparisons return -1, 0 or 1 and are total orders: fit for sorting, for a database
/// collation, and for finding equal texts.

/// The order of code points, which is the byte order of UTF-8; 0 for identical texts only.
int compareLiteral(std::string_view left, std::string_view right);

/// The order of the folded texts by code point; 0 for texts that differ only in what is folded
/// away.
int compareFolded(std::string_view left, std::string_view right, Fold fold);

/// The order of a list for people: letters before their case and their marks ("apple", "Äpfel",
/// "Banana"), ties by code point; 0 for identical texts only.
int compareLocalized(std::string_view left, std::string_view right);

/// As compareLocalized, but texts that differ in case only are equal: "ABC" and "abc" are, "resume"
/// and "résumé" are not.
int compareLocalizedCaseInsensitive(std::string_view left, std::string_view right);

/// As compareLocalized, with each run of ASCII digits, of any length, compared by its value:
/// "file9" before "file10".
int compareLocalizedStandard(std::string_view left, std::string_view right);

/// Whether the folded text holds the folded part; every text holds the empty part.
bool containsFolded(std::string_view text, std::string_view part, Fold fold);

/// Whether the folded text begins with the folded part; every text does with the empty part.
bool hasPrefixFolded(std::string_view text, std::string_view part, Fold fold);

/// Whether the folded text ends with the folded part; every text does with the empty part.
bool hasSuffixFolded(std::string_view text, std::string_view part, Fold fold);

}  // namespace JNFoundation
