#include "control/doctor/finding.h"

#include <system_error>

namespace tarvek::control {

const char* GravityName(Gravity gravity) {
  switch (gravity) {
    case Gravity::kGood:
      return "good";
    case Gravity::kNote:
      return "note";
    case Gravity::kProblem:
      break;
  }
  return "problem";
}

Finding Good(const char* subject, std::string sentence) {
  return {subject, Gravity::kGood, std::move(sentence), {}, {}};
}

Finding Note(const char* subject, std::string sentence, std::string remedy, std::string command) {
  return {subject, Gravity::kNote, std::move(sentence), std::move(remedy), std::move(command)};
}

Finding Problem(const char* subject, std::string sentence, std::string remedy,
                std::string command) {
  return {subject, Gravity::kProblem, std::move(sentence), std::move(remedy), std::move(command)};
}

std::string ErrorWords(int error) { return std::generic_category().message(error); }

std::string Enumeration(const std::vector<std::string>& words) {
  std::string text;
  for (std::size_t n = 0; n < words.size(); ++n) {
    const bool last = n + 1 == words.size();
    text += (n == 0 ? "" : last ? " and " : ", ") + words[n];
  }
  return text;
}

}  // namespace tarvek::control
