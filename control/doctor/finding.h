// How findings are worded.
#pragma once

#include <string>
#include <vector>

#include "control/doctor/doctor.h"

namespace tarvek::control {

Finding Good(const char* subject, std::string sentence);
Finding Note(const char* subject, std::string sentence, std::string remedy,
             std::string command = "");
Finding Problem(const char* subject, std::string sentence, std::string remedy,
                std::string command = "");

/// @return the words of an errno: "No such file or directory".
std::string ErrorWords(int error);

/// @return "A", "A and B", "A, B and C".
std::string Enumeration(const std::vector<std::string>& words);

}  // namespace tarvek::control
