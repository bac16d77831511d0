#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace jnmap {

/// Standard output: text in colours where they are wanted, and an error where it cannot be written.
class Output {
 public:
  enum class Colour : std::uint8_t { Auto, Always, Never };
  enum class Style : std::uint8_t { Plain, Bold, Faint, Red, Yellow, Green, Cyan };

  static Output& standard();

  void setColour(Colour colour) noexcept { _colour = colour; }

  /// Fails: throws Failure when nothing can be written. A reader that has gone ends the program,
  /// as it ends others, or fails like this where the signal is ignored.
  void write(std::string_view text);
  /// Has everything written. Fails: as above.
  void finish();

  /// The text in a style, or as it is where there are no colours.
  std::string styled(Style style, const std::string& text) const;

 private:
  bool hasColours() const;

  Colour _colour = Colour::Auto;
};

/// Text from outside for a terminal: what would move the cursor, change colours or ring stands
/// there as its code, "\u001b".
std::string printable(std::string_view text);

/// How many places the text takes, taking each code point for one.
std::size_t widthOf(std::string_view text);

/// Columns that are as wide as their widest cell, in code points; the last one is not filled up.
class Table {
 public:
  struct Cell {
    std::string text;
    Output::Style style = Output::Style::Plain;
  };
  void add(std::vector<Cell> row) { _rows.push_back(std::move(row)); }
  bool isEmpty() const noexcept { return _rows.empty(); }
  /// Lines, each behind the indentation.
  std::string text(const Output& output, const std::string& indentation) const;

 private:
  std::vector<std::vector<Cell>> _rows;
};

}  // namespace jnmap
