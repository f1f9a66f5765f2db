#include "inspect/input/text_places.h"

#include <algorithm>

#include "sdrfile/utilities/file_record.h"

namespace tarvek::inspect {

void TextPlaces::GoTo(int number) {
  constexpr std::size_t kPiece = kLineBufferSize - 1;
  for (; number_ < number && start_ + size_ < text_.size(); ++number_) {
    start_ += size_;
    if (start_ != 0 && text_[start_ - 1] == '\n') {
      ++line_;
      line_start_ = start_;
    }
    const std::string_view left = text_.substr(start_, kPiece);
    const std::size_t feed = left.find('\n');
    size_ = feed == std::string_view::npos ? left.size() : feed + 1;
  }
}

Place TextPlaces::At(const std::string& file, std::size_t column) const {
  Place place;
  place.file = file;
  place.line = line_;
  place.column = static_cast<int>(start_ - line_start_ + column + 1);
  return place;
}

std::size_t TextPlaces::OffsetOf(std::size_t column) const {
  return std::min(start_ + column, text_.size());
}

std::string_view TextPlaces::Piece() const { return text_.substr(start_, size_); }

std::string_view TextPlaces::Line() const {
  std::string_view line = text_.substr(line_start_);
  line = line.substr(0, line.find('\n'));
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  return line;
}

}  // namespace tarvek::inspect
