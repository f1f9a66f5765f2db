// Which tags a list holds, for callers that ask often.
#pragma once

#include "sdrfile/utilities/digit_columns.h"
#include "sdrfile/utilities/tag_key.h"

namespace tarvek {

/// Where a node of a list stands.
struct TagPlace {
  TagTbl* node;
  TagPlace* before = nullptr;
  TagPlace* after = nullptr;
  TagPlace* next_of_name = nullptr;  // of the same name, further back in the list
};

/// The nodes of one name, in the list's order.
struct TagPlaces {
  TagPlace* first = nullptr;
  TagPlace* last = nullptr;
};

/// Counts tags by name and answers as CheckTable() does for a list of them, without walking it.
///
/// A name without "#", and one without digits, costs the same however many tags there are. One
/// with both is compared with the names of its own form (equal but for "#" and digits, which a
/// "#" stands for alike), 64 at a time: at most a step for each digit in it and each 64 different
/// names of that form. It takes memory in proportion to the different names that were added.
class TagIndex {
 private:
  struct Form;

 public:
  struct Name;

  /// Counts one more tag of that name.
  /// @param name  terminated, or 32 characters.
  /// @return the name, for as long as the index lives; null when memory ran out: it is not counted.
  Name* Add(const char* name);

  /// Adds the tags of a list, which may be null.
  /// @return false when memory ran out: some may be missing.
  bool AddAll(const TagTbl* list);

  /// @return the name, in any letter case, once a tag of it was added; else null. "#" stands for
  ///   itself.
  Name* Find(const char* name) const { return names_.Find(MakeTagKey(name)); }

  /// Counts one tag of that name less, which was added before.
  static void Remove(Name* name);

  /// @param name  terminated, or 32 characters.
  /// @return whether CheckTable() finds `name` in a list of the tags that are counted.
  bool Holds(const char* name);

  /// A name of which tags were added. All but `places` is the index's.
  struct Name {
    explicit Name(const TagKey& of) : key(of) {}
    TagKey key;
    Name* chained = nullptr;
    Form* form = nullptr;
    Name* older = nullptr;   // the name of the same form that was added before
    std::size_t number = 0;  // among the names of its form
    std::size_t count = 0;   // tags of that name
    TagPlaces places;        // the caller's
  };

 private:
  /// The names that are equal but for digits; each digit of its key is a "#".
  struct Form {
    explicit Form(const TagKey& of) : key(of) {}
    TagKey key;
    Form* chained = nullptr;
    Name* newest = nullptr;
    std::size_t names = 0;       // that were ever added
    std::size_t tags = 0;        // that are counted now, over all names
    DigitColumns columns;        // of the names of which tags are counted
    std::size_t in_columns = 0;  // names with a lower number are in `columns`
  };

  static void ShowInColumns(const Name& name, bool shown);
  static bool UpdateColumns(Form* form);
  static bool AnyMatches(Form* form, const TagKey& key);

  TagKeyTable<Name> names_;
  TagKeyTable<Form> forms_;
};

}  // namespace tarvek
