#include "control/runs/run_store.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>

namespace tarvek::control {
namespace {

constexpr const char* kRequest = "request.json";
constexpr const char* kUnnamed = ".new-";      // before a run's id, until it is led
constexpr const char* kScratch = ".scratch-";  // before a scratch directory's own name
constexpr const char* kGone = ".gone-";        // before the id of a run that is being removed
constexpr long kLeftBehind = 3600;             // seconds: nothing that is in use is so old
constexpr std::size_t kMostJson = std::size_t{16} << 20U;  // bytes

/// An id is a name of ours: digits, small letters and "-", and so nothing that leads elsewhere.
bool IsId(const std::string& id) {
  constexpr std::size_t kLongest = 64;
  return !id.empty() && id.size() <= kLongest && id.front() != '-' &&
         id.find_first_not_of("0123456789abcdefghijklmnopqrstuvwxyz-") == std::string::npos;
}

/// An id: when, to the microsecond, and three digits that tell runs of the same moment apart.
std::string NewId() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  std::tm parts{};
  gmtime_r(&now.tv_sec, &parts);
  constexpr std::size_t kTextSize = 48;
  constexpr long kNanoseconds = 1000;  // in a microsecond
  std::array<char, kTextSize> time{};
  const std::size_t size = std::strftime(time.data(), time.size(), "%Y%m%d-%H%M%S-", &parts);
  std::snprintf(time.data() + size, time.size() - size, "%05lx",
                static_cast<unsigned long>(now.tv_nsec / kNanoseconds));
  constexpr std::size_t kDigits = 3;
  return time.data() + RandomDigits(kDigits);
}

Directory OpenOwn(const std::string& path) {
  Directory directory = Directory::OpenOrMake(path, Directory::kPrivateDirectory);
  directory.RequireOwn();
  return directory;
}

}  // namespace

Json RequestJson(const Request& request) {
  return {{"command", request.command},
          {"input", request.input},
          {"tool", request.tool},
          {"force", request.force},
          {"reprogram", request.reprogram},
          {"allow_findings", request.allow_findings},
          {"keep_backup", request.keep_backup},
          {"break_lock", request.break_lock},
          {"boards", request.boards},
          {"listed", request.listed},
          {"digest", request.digest},
          {"keep", request.keep},
          {"began", request.began}};
}

Request RequestFromJson(const Json& json) {
  Request request;
  json.at("command").get_to(request.command);
  json.at("input").get_to(request.input);
  json.at("tool").get_to(request.tool);
  json.at("force").get_to(request.force);
  json.at("reprogram").get_to(request.reprogram);
  json.at("allow_findings").get_to(request.allow_findings);
  json.at("keep_backup").get_to(request.keep_backup);
  json.at("break_lock").get_to(request.break_lock);
  json.at("boards").get_to(request.boards);
  json.at("listed").get_to(request.listed);
  json.at("digest").get_to(request.digest);
  json.at("keep").get_to(request.keep);
  json.at("began").get_to(request.began);
  return request;
}

bool Run::IsLead(const Descriptor& lead) const {
  struct stat given {};
  struct stat own {};
  return fstat(lead.get(), &given) == 0 &&
         fstatat(directory_.fd(), kLead, &own, AT_SYMLINK_NOFOLLOW) == 0 &&
         given.st_dev == own.st_dev && given.st_ino == own.st_ino &&
         flock(lead.get(), LOCK_EX | LOCK_NB) == 0;
}

void Run::Save(const Request& request) const {
  directory_.WriteDurably(kRequest, JsonLine(RequestJson(request)));
}

Request Run::ReadRequest() const {
  return RequestFromJson(Json::parse(directory_.Read(kRequest, kMostJson).value_or("")));
}

std::optional<Result> Run::ReadResult() const {
  try {
    const std::optional<std::string> text = directory_.Read(kResult, kMostJson);
    if (!text) return std::nullopt;
    return ResultFromJson(Json::parse(*text));
  } catch (const std::exception&) {
    Result damaged;
    damaged.command = "update";
    damaged.status = ExitStatus::kInterrupted;
    damaged.outcome = Outcome::kFailed;
    damaged.changed.reset();
    damaged.in_service = InService::kUnknown;
    damaged.message = {"The run's result is damaged.", "What the BMC serves is not known.",
                       "See what it serves: tarvekctl status."};
    damaged.run = id_;
    return damaged;
  }
}

void Run::Save(const Result& result) const {
  directory_.WriteDurably(kResult, JsonLine(ResultJson(result)));
}

RunStore::RunStore(const std::string& state_directory)
    : default_(state_directory == kDefaultStateDirectory),
      state_(OpenOwn(state_directory)),
      runs_(state_.SubOrMake("runs", Directory::kPrivateDirectory)),
      backups_(state_.SubOrMake("backups", Directory::kPrivateDirectory)) {}

Run RunStore::New(Descriptor* lead) const {
  const std::string id = NewId();
  const std::string unnamed = kUnnamed + id;
  const Run run(id, runs_.MakeSub(unnamed, Directory::kPrivateDirectory));
  *lead = run.TakeLead();
  run.directory().MakeSub(Run::kWork, Directory::kPrivateDirectory);
  runs_.Rename(unnamed, id);
  return {id, runs_.Sub(id)};
}

std::optional<Run> RunStore::Find(const std::string& id) const {
  if (!IsId(id)) return std::nullopt;
  try {
    return Run(id, runs_.Sub(id));
  } catch (const SystemError&) {
    return std::nullopt;  // there is none, or something that is none
  }
}

std::vector<std::string> RunStore::Ids() const {
  std::vector<std::string> ids = runs_.Names();
  ids.erase(std::remove_if(ids.begin(), ids.end(), [](const auto& id) { return !IsId(id); }),
            ids.end());
  return ids;
}

std::vector<Run> RunStore::Unfinished() const {
  std::vector<Run> runs;  // few: each has a descriptor
  for (const std::string& id : Ids()) {
    std::optional<Run> run = Find(id);
    if (run && !run->directory().Has(Run::kResult)) runs.push_back(*std::move(run));
  }
  return runs;
}

void RunStore::Remove(const std::string& id) const {
  try {
    // At once: half of a run would look like one that was killed.
    runs_.Rename(id, kGone + id);
    runs_.RemoveAll(kGone + id);
  } catch (const SystemError&) {
    return;  // another command was faster
  }
}

void RunStore::Prune(std::size_t keep) const {
  std::vector<std::string> ended;
  for (const std::string& id : Ids()) {
    const std::optional<Run> run = Find(id);
    if (run && run->directory().Has(Run::kResult)) ended.push_back(id);
  }
  keep = std::max(keep, std::size_t{1});
  if (ended.size() <= keep) return;
  ended.resize(ended.size() - keep);
  for (const std::string& id : ended) Remove(id);
}

Directory RunStore::Scratch(std::string* name) const {
  constexpr std::size_t kDigits = 16;
  *name = kScratch + RandomDigits(kDigits);
  return state_.MakeSub(*name, Directory::kPrivateDirectory);
}

std::vector<std::string> RunStore::Scratches() const {
  std::vector<std::string> names = state_.Names();
  names.erase(std::remove_if(names.begin(), names.end(),
                             [](const auto& name) { return name.rfind(kScratch, 0) != 0; }),
              names.end());
  return names;
}

void RunStore::Sweep() const {
  for (const Directory* const directory : {&state_, &runs_, &backups_}) {
    for (const std::string& name : directory->Names()) {
      if (name.front() == '.' && directory->Age(name) >= kLeftBehind) directory->RemoveAll(name);
    }
  }
}

}  // namespace tarvek::control
