// Values that are objects of their own, the same wherever one stands.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "inspect/json/record_json.h"

namespace tarvek::inspect {

/// Adds a key that is not there yet; looking for it would be most of the work.
template <typename T>
void Put(Json* object, std::string_view key, T&& value) {
  object->get_ref<Json::object_t&>().emplace_back(std::string(key), Json(std::forward<T>(value)));
}

Json ValueJson(const Reading& reading);
Json ValueJson(const Threshold& threshold);
Json ValueJson(const Hysteresis& hysteresis);
Json ValueJson(const std::vector<ContainedEntity>& entities);

}  // namespace tarvek::inspect
