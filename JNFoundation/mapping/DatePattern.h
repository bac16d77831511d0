#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace JNFoundation::inline v0_1 {

/// A form in which a feed writes dates, e.g. "dd.MM.yyyy HH:mm" or "EEE, dd MMM yyyy HH:mm:ss Z".
///
/// | letters | what stands there |
/// |---|---|
/// | `yyyy` | the year, 0001 to 9999 |
/// | `MM`, `M`, `MMM`, `MMMM` | the month: two digits, one or two, "Mar", "March" |
/// | `dd`, `d` | the day: two digits, one or two |
/// | `EEE`, `EEEE` | the day's own name: "Tue", "Tuesday" |
/// | `HH`, `H` | the hour, 0 to 23 |
/// | `hh`, `h`, `a` | the hour, 1 to 12, and "AM" or "PM" |
/// | `mm`, `ss` | minute and second, 0 to 59 |
/// | `S` … `SSSSSSSSS` | a fraction of the second of so many digits |
/// | `Z` | an offset from UTC: "+0100" |
/// | `X`, one to three of them | "+01", "+0100", "+01:00"; or "Z" for none |
///
/// Names are English, in any case. Text in apostrophes stands for itself, two of them for one, and
/// so does everything else that is no ASCII letter. Dates are read in the proleptic Gregorian
/// calendar and in UTC where no offset says otherwise; what the pattern lacks is that of
/// 2000-01-01 00:00. Threads: any; a pattern never changes.
class DatePattern {
 public:
  /// Fails: raises NSInvalidArgumentException for other letters, for too many or too few of them,
  /// and for an apostrophe without its partner.
  explicit DatePattern(std::string_view pattern);

  /// Reads text that has the form from its first character to its last. Returns: seconds since
  /// 1970-01-01 00:00:00 UTC; nothing for any other text, and for a date that does not exist.
  std::optional<double> secondsSince1970(std::string_view text) const;

 private:
  struct Piece {
    /// The letter of a field, or an apostrophe for text that stands for itself.
    char letter;
    std::size_t count;
    std::string text;
  };

  void addField(std::string_view letters);
  void addText(std::string_view text);

  std::vector<Piece> _pieces;
};

}  // namespace JNFoundation
