#include "feed/RecordReader.h"

#include <stdexcept>

namespace bench {
namespace {

int64_t digits(const char* text, int count) {
  int64_t number = 0;
  for (int i = 0; i < count; ++i) {
    const unsigned digit = static_cast<unsigned char>(text[i]) - '0';
    if (digit > 9) throw std::invalid_argument("a date text has a letter where a digit belongs");
    number = number * 10 + digit;
  }
  return number;
}

// Days since 1970-01-01 in the Gregorian calendar; years count from March, so that the leap day is
// the last of its year.
int64_t daysSince1970(int64_t year, int64_t month, int64_t day) {
  year -= month <= 2;
  const int64_t era = year / 400;
  const int64_t yearOfEra = year - era * 400;
  const int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  return era * 146097 + yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear - 719468;
}

}  // namespace

double secondsOfDateText(std::string_view text) {
  if (text.size() != 24 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' ||
      text[16] != ':' || text[19] != '.' || text[23] != 'Z') {
    throw std::invalid_argument("a date text is not of the form 2016-03-01T12:30:00.250Z");
  }
  const char* at = text.data();
  const int64_t days = daysSince1970(digits(at, 4), digits(at + 5, 2), digits(at + 8, 2));
  const int64_t seconds =
      days * 86400 + digits(at + 11, 2) * 3600 + digits(at + 14, 2) * 60 + digits(at + 17, 2);
  return static_cast<double>(seconds * 1000 + digits(at + 20, 3)) / 1000;
}

}  // namespace bench
