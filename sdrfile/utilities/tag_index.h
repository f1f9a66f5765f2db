// How often each tag is set, so that a script with many tags asks for one in constant time.
#pragma once

#include <cctype>
#include <string>
#include <string_view>
#include <unordered_map>

namespace tarvek {

/// Counts the nodes of a tag list by name, without regard to letter case. The list stays the
/// truth: it keeps the order, and the wildcard is looked up there.
class TagIndex {
 public:
  void Add(std::string_view name) { ++counts_[Key(name)]; }

  /// Takes one node of that name away; it was added before.
  void Remove(std::string_view name) {
    const auto found = counts_.find(Key(name));
    if (found != counts_.end() && --found->second == 0) counts_.erase(found);
  }

  /// @param name  a name without the wildcard "#".
  bool Holds(std::string_view name) const { return counts_.contains(Key(name)); }

 private:
  static std::string Key(std::string_view name) {
    std::string key(name);
    for (char& c : key) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return key;
  }

  std::unordered_map<std::string, int> counts_;
};

}  // namespace tarvek
