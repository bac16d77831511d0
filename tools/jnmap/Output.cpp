#include "Output.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "Command.h"

namespace jnmap {
namespace {

[[noreturn]] void failToWrite() {
  throw Failure(std::string("standard output: ") + std::strerror(errno));
}

}  // namespace

Output& Output::standard() {
  static Output output;
  return output;
}

void Output::write(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) failToWrite();
}

void Output::finish() {
  if (std::fflush(stdout) != 0 || std::ferror(stdout)) failToWrite();
}

bool Output::hasColours() const {
  if (_colour != Colour::Auto) return _colour == Colour::Always;
  static const bool isWanted = [] {
    const char* refusal = std::getenv("NO_COLOR");
    const char* terminal = std::getenv("TERM");
    return (!refusal || !*refusal) && terminal && std::strcmp(terminal, "dumb") != 0 &&
           isatty(STDOUT_FILENO) == 1;
  }();
  return isWanted;
}

std::string Output::styled(Style style, const std::string& text) const {
  if (style == Style::Plain || text.empty() || !hasColours()) return text;
  static const char* codes[] = {"0", "1", "2", "31", "33", "32", "36"};
  return std::string("\x1b[") + codes[static_cast<int>(style)] + "m" + text + "\x1b[0m";
}

std::string printable(std::string_view text) {
  std::string result;
  result.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
    // The controls of the second row are two bytes long.
    const bool isLongControl = byte == 0xC2 && next >= 0x80 && next < 0xA0;
    if (byte >= 0x20 && byte != 0x7F && !isLongControl) {
      result += text[i];
      continue;
    }
    char code[8];
    std::snprintf(code, sizeof code, "\\u%04x", isLongControl ? next : byte);
    result += code;
    if (isLongControl) ++i;
  }
  return result;
}

std::size_t widthOf(std::string_view text) {
  return static_cast<std::size_t>(
      std::count_if(text.begin(), text.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string Table::text(const Output& output, const std::string& indentation) const {
  std::vector<std::size_t> widths;
  for (const auto& row : _rows) {
    if (widths.size() < row.size()) widths.resize(row.size());
    for (std::size_t i = 0; i < row.size(); ++i) {
      widths[i] = std::max(widths[i], widthOf(row[i].text));
    }
  }
  std::string result;
  for (const auto& row : _rows) {
    std::string line = indentation;
    std::size_t missing = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
      // Cells that are empty up to the end of the line leave no blanks behind.
      if (!row[i].text.empty()) {
        line += std::string(missing, ' ') + output.styled(row[i].style, row[i].text);
        missing = 0;
      }
      missing += widths[i] - widthOf(row[i].text) + 2;
    }
    result += line + '\n';
  }
  return result;
}

}  // namespace jnmap
