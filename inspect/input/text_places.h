// Where the pieces of a text stand that the tool's readers count.
#pragma once

#include <cstddef>
#include <string_view>

#include "inspect/input/record_set.h"

namespace tarvek::inspect {

/// Follows a reader through a text. The tool's readers take a line in pieces of at most 255 bytes
/// and count the pieces; people count lines.
class TextPlaces {
 public:
  explicit TextPlaces(std::string_view text) : text_(text) {}

  /// Goes to a piece.
  /// @param number  from 1; not less than at the call before.
  void GoTo(int number);

  /// The place `column` bytes (from 0) into the piece.
  Place At(const std::string& file, std::size_t column) const;
  /// The same as bytes from the start of the text.
  std::size_t OffsetOf(std::size_t column) const;
  /// The piece, its line feed included.
  std::string_view Piece() const;
  /// The whole line that the piece is of, without its end.
  std::string_view Line() const;

 private:
  std::string_view text_;
  int number_ = 0;
  int line_ = 1;
  std::size_t line_start_ = 0;
  std::size_t start_ = 0;  // of the piece
  std::size_t size_ = 0;
};

}  // namespace tarvek::inspect
