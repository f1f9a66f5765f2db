#include "control/runs/machine_state.h"

#include <exception>

#include "control/system/interrupts.h"

namespace tarvek::control {
namespace {

constexpr const char* kName = "state.json";
constexpr std::size_t kMostBytes = std::size_t{1} << 16U;

template <typename Value>
Json OrNull(const std::optional<Value>& value) {
  return value ? Json(*value) : Json(nullptr);
}

std::optional<std::string> Maybe(const Json& json) {
  if (json.is_null()) return std::nullopt;
  return json.get<std::string>();
}

Json ServedJson(const ServedState& served) {
  return {{"product", served.product},
          {"driver", served.driver},
          {"records", served.records},
          {"added", served.added},
          {"erased", served.erased},
          {"version", OrNull(served.version)},
          {"script", OrNull(served.script)},
          {"digest", served.digest},
          {"programmed", OrNull(served.programmed)},
          {"read", served.read}};
}

ServedState ServedFromJson(const Json& json) {
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
}

Json MachineJson(const MachineState& machine) {
  Json json{{"served", nullptr},
            {"readable", machine.readable},
            {"running", OrNull(machine.running)},
            {"last", nullptr}};
  if (machine.served) json["served"] = ServedJson(*machine.served);
  if (machine.last) {
    json["last"] = {
        {"id", machine.last->id}, {"status", machine.last->status}, {"ended", machine.last->ended}};
  }
  return json;
}

MachineState MachineFromJson(const Json& json) {
  MachineState machine;
  if (const Json& served = json.at("served"); !served.is_null()) {
    machine.served = ServedFromJson(served);
  }
  json.at("readable").get_to(machine.readable);
  machine.running = Maybe(json.at("running"));
  if (const Json& last = json.at("last"); !last.is_null()) {
    machine.last = {last.at("id").get<std::string>(), last.at("status").get<int>(),
                    last.at("ended").get<long>()};
  }
  return machine;
}

/// Keeps other commands from changing the state meanwhile; whoever stops in the middle is not
/// waited for.
Descriptor TakeTurn(const Directory& state) {
  constexpr int kTries = 100;
  constexpr int kPause = 10;  // milliseconds
  for (int left = kTries; left > 0; --left) {
    Descriptor turn = state.TryLock("state.lock");
    if (turn) return turn;
    WaitFor(-1, nullptr, kPause);
  }
  return Descriptor();
}

/// A label's value, with what the format wants escaped; control characters do not belong there.
std::string Label(const std::string& text) {
  std::string label;
  for (const char c : text) {
    if (c == '\\' || c == '"') label += '\\';
    label += c >= ' ' && c <= '~' ? c : '?';
  }
  return label;
}

std::string Metric(const std::string& name, const std::string& help, const std::string& labels,
                   const std::string& value) {
  return "# HELP " + name + ' ' + help + "\n# TYPE " + name + " gauge\n" + name + labels + ' ' +
         value + '\n';
}

std::string ServedMetrics(const ServedState& served) {
  std::string text =
      Metric("tarvek_info", "What the BMC served when it was last read.",
             "{product=\"" + Label(served.product) + "\",version=\"" +
                 Label(served.version.value_or("")) + "\",script=\"" +
                 Label(served.script.value_or("")) + "\",driver=\"" + Label(served.driver) + "\"}",
             "1");
  text += Metric("tarvek_state_timestamp_seconds", "When the BMC was last read.", "",
                 std::to_string(served.read));
  if (const std::optional<bool> drift = served.Drift()) {
    text +=
        Metric("tarvek_drift", "Whether the BMC served something else than the last good run left.",
               "", *drift ? "1" : "0");
  }
  return text;
}

}  // namespace

std::optional<bool> ServedState::Drift() const {
  if (!programmed) return std::nullopt;
  return *programmed != digest;
}

MachineState ReadMachineState(const Directory& state) {
  try {
    const std::optional<std::string> text = state.Read(kName, kMostBytes);
    return text ? MachineFromJson(Json::parse(*text)) : MachineState();
  } catch (const std::exception&) {
    return {};
  }
}

void ChangeMachineState(const Directory& state, const std::function<void(MachineState*)>& change) {
  try {
    const Descriptor turn = TakeTurn(state);
    MachineState machine = ReadMachineState(state);
    change(&machine);
    state.Write(kName, JsonLine(MachineJson(machine)));
  } catch (const SystemError&) {
    return;
  }
}

std::string MetricsText(const MachineState& machine) {
  std::string text = machine.served ? ServedMetrics(*machine.served) : "";
  text += Metric("tarvek_bmc_readable", "Whether the BMC could be read when that was last tried.",
                 "", machine.readable ? "1" : "0");
  text +=
      Metric("tarvek_run_in_progress", "Whether a run goes on.", "", machine.running ? "1" : "0");
  if (machine.last) {
    text += Metric("tarvek_last_run_status", "The exit status of the last run.", "",
                   std::to_string(machine.last->status));
    text += Metric("tarvek_last_run_timestamp_seconds", "When the last run ended.", "",
                   std::to_string(machine.last->ended));
  }
  return text;
}

}  // namespace tarvek::control
