// Writes the table of advice as the pages have it: advice-table markdown | mdoc
//
// Developers' tool, not installed; scripts/make-advice puts what it writes into its places.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <string>
#include <string_view>

#include "control/messages/advice.h"

namespace tarvek::control {
namespace {

constexpr char kCodeMark = '`';  // around what is to be typed
constexpr std::size_t kRoffLine = 76;

std::string MarkdownRow(const Advice& advice) {
  const std::string code(advice.code);
  std::string row = "| `" + code + "` | ";
  row.append(advice.what).append(" | ").append(advice.state).append(" | ");
  return row.append(advice.remedy).append(" |\n");
}

std::string Markdown() {
  std::string text =
      "| Result | What happened | State of the server | What to do |\n|---|---|---|---|\n";
  for (const Advice& advice : AllAdvice()) text += MarkdownRow(advice);
  return text;
}

/// Characters that roff takes for its own: a hyphen stays the one that is typed, and no line
/// begins with a control character.
std::string RoffText(std::string_view text) {
  std::string escaped;
  if (text.starts_with('.') || text.starts_with('\'')) escaped += "\\&";
  for (const char c : text) {
    if (c == '\\') {
      escaped += "\\e";
    } else if (c == '-') {
      escaped += "\\-";
    } else {
      escaped += c;
    }
  }
  return escaped;
}

/// Words in lines of at most kRoffLine characters, each but an empty text ended.
std::string RoffLines(std::string_view text) {
  std::string lines;
  while (!text.empty()) {
    std::size_t end = text.size() <= kRoffLine ? text.size() : text.rfind(' ', kRoffLine);
    end = std::min(end, text.size());
    lines += RoffText(text.substr(0, end)) + '\n';
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

/// A sentence in lines of mdoc: what is to be typed is a quoted literal on a line of its own, with
/// the punctuation that follows it.
std::string MdocSentence(std::string_view sentence) {
  std::string text;
  while (!sentence.empty()) {
    const std::size_t begin = std::min(sentence.find(kCodeMark), sentence.size());
    std::string_view plain = sentence.substr(0, begin);
    if (plain.ends_with(' ')) plain.remove_suffix(1);
    text += RoffLines(plain);
    if (begin == sentence.size()) break;
    sentence.remove_prefix(begin + 1);
    const std::size_t end = sentence.find(kCodeMark);
    text += ".Ql " + RoffText(sentence.substr(0, end));
    sentence.remove_prefix(end + 1);
    while (!sentence.empty() && std::ispunct(static_cast<unsigned char>(sentence.front())) != 0) {
      text += std::string(" ") + sentence.front();
      sentence.remove_prefix(1);
    }
    text += '\n';
    if (sentence.starts_with(' ')) sentence.remove_prefix(1);
  }
  return text;
}

std::string Mdoc() {
  std::string text = ".Bl -tag -width No-Command\n";
  for (const Advice& advice : AllAdvice()) {
    text += ".It Li " + RoffText(advice.code) + '\n';
    for (const std::string_view sentence : {advice.what, advice.state, advice.remedy}) {
      text += MdocSentence(sentence);
    }
  }
  return text + ".El\n";
}

int Print(std::string_view form) {
  if (form != "markdown" && form != "mdoc") {
    std::fputs("usage: advice-table markdown | mdoc\n", stderr);
    return 1;
  }
  const std::string text = form == "mdoc" ? Mdoc() : Markdown();
  return std::fwrite(text.data(), 1, text.size(), stdout) == text.size() ? 0 : 1;
}

}  // namespace
}  // namespace tarvek::control

int main(int argc, char** argv) { return tarvek::control::Print(argc == 2 ? argv[1] : ""); }
