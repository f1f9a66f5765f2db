#include "config/script_tags.h"

#include <memory>
#include <new>
#include <utility>

namespace tarvek {

ScriptTags::~ScriptTags() {
  while (last_ != nullptr) delete std::exchange(last_, last_->before);
}

bool ScriptTags::TakeUp() {
  for (TagTbl* node = *list_; node != nullptr; node = node->next) {
    if (!Note(node)) return false;
  }
  return true;
}

bool ScriptTags::Append(TagTbl* node) {
  TagTbl** const link = last_ == nullptr ? list_ : &last_->node->next;
  if (!Note(node)) return false;
  *link = node;
  return true;
}

/// Remembers a node as the last one.
bool ScriptTags::Note(TagTbl* node) {
  // cppcheck-suppress unreadVariable  // it is released below
  std::unique_ptr<TagPlace> place(new (std::nothrow) TagPlace{node, last_});
  if (place == nullptr) return false;
  TagIndex::Name* const name = index_.Add(node->name);
  if (name == nullptr) return false;
  if (last_ != nullptr) last_->after = place.get();
  last_ = place.release();
  TagPlaces& places = name->places;
  (places.first == nullptr ? places.first : places.last->next_of_name) = last_;
  places.last = last_;
  return true;
}

TagTbl* ScriptTags::Unlink(const char* name) {
  TagIndex::Name* const entry = index_.Find(name);
  if (entry == nullptr || entry->places.first == nullptr) return nullptr;
  const std::unique_ptr<const TagPlace> place(
      std::exchange(entry->places.first, entry->places.first->next_of_name));
  TagIndex::Remove(entry);
  (place->after == nullptr ? last_ : place->after->before) = place->before;
  if (place->before != nullptr) place->before->after = place->after;
  TagTbl** const link = place->before == nullptr ? list_ : &place->before->node->next;
  *link = std::exchange(place->node->next, nullptr);
  return place->node;
}

}  // namespace tarvek
