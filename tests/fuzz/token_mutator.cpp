#include "tests/fuzz/token_mutator.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/fuzz/mutation.h"

namespace tarvek_fuzz {
namespace {

constexpr std::string_view kBlanks = " \t\r\n";
constexpr std::string_view kHexDigits = "0123456789ABCDEFabcdef";
constexpr std::array<std::string_view, 8> kSeparators{" ",  "\n", "\r\n", "\t",
                                                      "  ", "",   "\n\n", " // "};
constexpr std::size_t kGrowth = 40;       // characters that a mutated token may gain
constexpr std::size_t kMaxDigits = 8;     // of a number that is made up
constexpr std::size_t kMaxMutations = 4;  // of one input at once
constexpr std::size_t kDigitsPerByte = 2;
constexpr std::size_t kQuotes = 2;  // characters of a quoted text that are none of it

struct Token {
  std::string blank;  // what stands before it
  std::string text;   // empty behind a text's last blanks
};

/// A text as its tokens; every text is the same again when it is put together.
class TokenText {
 public:
  TokenText(const std::uint8_t* data, std::size_t size, const Language& language, Dice* dice);

  std::string Text() const;
  void Mutate();
  /// Puts some records of another text among these.
  void TakeRecords(const TokenText& other);
  /// Lets every record declare the length that its data has.
  void CorrectLengths();

 private:
  struct Range {
    std::size_t begin;
    std::size_t end;
  };
  using Place = std::vector<Token>::iterator;

  Place At(std::size_t index) { return tokens_.begin() + static_cast<std::ptrdiff_t>(index); }
  std::size_t AnyIndex() const { return dice_->Below(tokens_.size()); }
  bool StartsRecord(std::size_t index) const;
  Range AnyRecord() const;

  std::string NewText() const;
  std::string AnyNumber() const;
  void ReplaceByLike(Token* token) const;
  void Insert();
  void Swap();
  void CopyRecord();
  void SwapRecords();

  const Language& language_;
  Dice* dice_;
  std::vector<Token> tokens_;
};

bool IsNumber(std::string_view text) {
  return !text.empty() && text.find_first_not_of(kHexDigits) == std::string_view::npos;
}

/// Behind the token that begins at `start`.
std::size_t EndOfToken(std::string_view text, std::size_t start, char quote) {
  if (text[start] != quote) return std::min(text.find_first_of(kBlanks, start), text.size());
  const std::array<char, 2> ends{quote, '\n'};
  const std::size_t end = text.find_first_of(ends.data(), start + 1, ends.size());
  if (end == std::string_view::npos) return text.size();
  return text[end] == quote ? end + 1 : end;
}

TokenText::TokenText(const std::uint8_t* data, std::size_t size, const Language& language,
                     Dice* dice)
    : language_(language), dice_(dice) {
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  for (std::size_t position = 0; position < size;) {
    const std::size_t start = std::min(text.find_first_not_of(kBlanks, position), size);
    const std::size_t end = start < size ? EndOfToken(text, start, language.quote) : size;
    tokens_.push_back({std::string(text.substr(position, start - position)),
                       std::string(text.substr(start, end - start))});
    position = end;
  }
}

std::string TokenText::Text() const {
  std::string text;
  for (const Token& token : tokens_) text.append(token.blank).append(token.text);
  return text;
}

bool TokenText::StartsRecord(std::size_t index) const {
  const Token& token = tokens_[index];
  if (!language_.record_word.empty()) return token.text == language_.record_word;
  return index == 0 || token.blank.find('\n') != std::string::npos;
}

/// From a record's first token to the next record or the text's end; of a text without records,
/// all of it.
TokenText::Range TokenText::AnyRecord() const {
  std::vector<std::size_t> starts;
  for (std::size_t i = 0; i < tokens_.size(); ++i) {
    if (StartsRecord(i)) starts.push_back(i);
  }
  starts.push_back(tokens_.size());
  if (starts.size() == 1) return {0, tokens_.size()};
  const std::size_t chosen = dice_->Below(starts.size() - 1);
  return {starts[chosen], starts[chosen + 1]};
}

std::string TokenText::AnyNumber() const {
  std::string number(1 + dice_->Below(kMaxDigits), '0');
  for (char& digit : number) digit = dice_->Pick(kHexDigits);
  return number;
}

std::string TokenText::NewText() const {
  if (dice_->OneIn(8)) return AnyNumber();
  return dice_->Pick(dice_->OneIn(2) ? language_.words : language_.values);
}

/// Another keyword for a keyword, another number for a number, any value for what else there is.
void TokenText::ReplaceByLike(Token* token) const {
  const auto& words = language_.words;
  if (IsNumber(token->text)) {
    token->text = AnyNumber();
  } else {
    const bool word = std::find(words.begin(), words.end(), token->text) != words.end();
    token->text = dice_->Pick(word ? words : language_.values);
  }
}

void TokenText::Insert() {
  tokens_.insert(At(AnyIndex()), {std::string(dice_->Pick(kSeparators)), NewText()});
}

void TokenText::Swap() {
  if (tokens_.empty()) return;
  std::swap(tokens_[AnyIndex()].text, tokens_[AnyIndex()].text);
}

void TokenText::TakeRecords(const TokenText& other) {
  if (other.tokens_.empty()) return;
  const Range range = other.AnyRecord();
  const std::vector<Token> copy(other.tokens_.begin() + static_cast<std::ptrdiff_t>(range.begin),
                                other.tokens_.begin() + static_cast<std::ptrdiff_t>(range.end));
  tokens_.insert(At(tokens_.empty() ? 0 : AnyRecord().begin), copy.begin(), copy.end());
}

void TokenText::CopyRecord() { TakeRecords(TokenText(*this)); }

void TokenText::SwapRecords() {
  Range first = AnyRecord();
  Range second = AnyRecord();
  if (first.begin > second.begin) std::swap(first, second);
  if (first.begin == second.begin) return;
  std::rotate(At(first.begin), At(second.begin), At(second.end));
}

void TokenText::CorrectLengths() {
  if (language_.length_word.empty()) return;
  for (std::size_t i = 0; i + 1 < tokens_.size(); ++i) {
    if (tokens_[i].text != language_.length_word) continue;
    std::size_t length = 0;
    for (std::size_t data = i + 2; data < tokens_.size(); ++data) {
      const std::string& text = tokens_[data].text;
      const bool quoted = text.size() >= kQuotes && text[0] == language_.quote;
      if (!quoted && !IsNumber(text)) break;
      length += quoted ? text.size() - kQuotes : text.size() / kDigitsPerByte;
    }
    constexpr std::size_t kDigit = 16;
    tokens_[i + 1].text = {kHexDigits[length / kDigit % kDigit], kHexDigits[length % kDigit]};
  }
}

void TokenText::Mutate() {
  if (tokens_.empty()) return Insert();
  Token& token = tokens_[AnyIndex()];
  switch (dice_->Below(12)) {
    case 0:
    case 1:
      return Insert();
    case 2:
      tokens_.erase(At(AnyIndex()));
      return;
    case 3:
      tokens_.insert(At(AnyIndex()), Token(token));
      return;
    case 4:
      return Swap();
    case 5:
    case 6:
      return ReplaceByLike(&token);
    case 7:
      return MutateBytes(token.text, kGrowth);
    case 8:
      token.blank = dice_->Pick(kSeparators);
      return;
    case 9: {
      const Range record = AnyRecord();
      tokens_.erase(At(record.begin), At(record.end));
      return;
    }
    case 10:
      return CopyRecord();
    default:
      return SwapRecords();
  }
}

/// @return the size of what was put into `out`; 0 when it is too long or nothing.
std::size_t Store(const TokenText& text, std::uint8_t* out, std::size_t max_size) {
  const std::string bytes = text.Text();
  if (bytes.size() > max_size) return 0;
  std::copy(bytes.begin(), bytes.end(), out);
  return bytes.size();
}

}  // namespace

/// Mutates tokens and records, or, each third time, any bytes.
extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned seed) {
  Dice dice(seed);
  if (dice.OneIn(3)) return LLVMFuzzerMutate(data, size, max_size);
  TokenText text(data, size, FuzzedLanguage(), &dice);
  for (std::size_t n = 1 + dice.Below(kMaxMutations); n > 0; --n) text.Mutate();
  if (!dice.OneIn(4)) text.CorrectLengths();
  const std::size_t mutated = Store(text, data, max_size);
  return mutated != 0 ? mutated : LLVMFuzzerMutate(data, size, max_size);
}

/// Puts records of one input into another. Made rare: it is chosen as often as the mutator.
extern "C" std::size_t LLVMFuzzerCustomCrossOver(const std::uint8_t* data1, std::size_t size1,
                                                 const std::uint8_t* data2, std::size_t size2,
                                                 std::uint8_t* out, std::size_t max_size,
                                                 unsigned seed) {
  Dice dice(seed);
  if (!dice.OneIn(4)) return 0;
  TokenText text(data1, size1, FuzzedLanguage(), &dice);
  text.TakeRecords(TokenText(data2, size2, FuzzedLanguage(), &dice));
  return Store(text, out, max_size);
}

}  // namespace tarvek_fuzz
