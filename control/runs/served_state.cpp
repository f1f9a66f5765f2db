#include "control/runs/served_state.h"

#include <exception>

namespace tarvek::control {
namespace {

constexpr const char* kName = "state.json";
constexpr std::size_t kMostBytes = std::size_t{1} << 16U;

Json OrNull(const std::optional<std::string>& text) { return text ? Json(*text) : Json(nullptr); }

std::optional<std::string> Maybe(const Json& json) {
  if (json.is_null()) return std::nullopt;
  return json.get<std::string>();
}

}  // namespace

std::optional<bool> ServedState::Drift() const {
  if (!programmed) return std::nullopt;
  return *programmed != digest;
}

std::optional<ServedState> ReadServedState(const Directory& state) {
  try {
    const std::optional<std::string> text = state.Read(kName, kMostBytes);
    if (!text) return std::nullopt;
    const Json json = Json::parse(*text);
    ServedState served;
    json.at("product").get_to(served.product);
    json.at("driver").get_to(served.driver);
    json.at("records").get_to(served.records);
    json.at("added").get_to(served.added);
    json.at("erased").get_to(served.erased);
    served.version = Maybe(json.at("version"));
    served.script = Maybe(json.at("script"));
    json.at("digest").get_to(served.digest);
    served.programmed = Maybe(json.at("programmed"));
    json.at("read").get_to(served.read);
    return served;
  } catch (const std::exception&) {
    return std::nullopt;  // it is read anew
  }
}

void SaveServedState(const Directory& state, const ServedState& served) {
  state.Write(kName, JsonLine({{"product", served.product},
                               {"driver", served.driver},
                               {"records", served.records},
                               {"added", served.added},
                               {"erased", served.erased},
                               {"version", OrNull(served.version)},
                               {"script", OrNull(served.script)},
                               {"digest", served.digest},
                               {"programmed", OrNull(served.programmed)},
                               {"read", served.read}}));
}

}  // namespace tarvek::control
