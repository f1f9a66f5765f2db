#include "control/engine/examination.h"

#include <algorithm>
#include <chrono>

#include "control/engine/lock_gate.h"
#include "control/engine/verdict.h"
#include "control/messages/advice.h"
#include "inspect/convert/source.h"
#include "inspect/decoded_set.h"
#include "inspect/difference_text.h"
#include "inspect/json/difference_json.h"
#include "inspect/set_pair.h"
#include "inspect/text/escape.h"

namespace tarvek::control {
namespace {

using inspect::Format;

constexpr std::size_t kRecordIdSize = 2;
constexpr std::size_t kShortest = 16 - kRecordIdSize;  // what an image's read-back can verify
constexpr std::size_t kLongest = 64 - kRecordIdSize;   // what source text can hold
constexpr std::size_t kMostInImage = 32767;            // bytes

bool HasShort(const RecordList& records) {
  return std::any_of(records.begin(), records.end(),
                     [](const std::string& record) { return record.size() < kShortest; });
}

bool HasLong(const RecordList& records) {
  return std::any_of(records.begin(), records.end(),
                     [](const std::string& record) { return record.size() > kLongest; });
}

std::size_t Bytes(const RecordList& records) {
  std::size_t bytes = 0;
  for (const std::string& record : records) bytes += record.size() + kRecordIdSize;
  return bytes;
}

std::string Quoted(const std::optional<std::string>& version) {
  return version ? '"' + inspect::Escaped(*version) + '"' : "none";
}

[[noreturn]] void RefuseForm(const Session& session, const std::string& what) {
  Refuse(session, ExitStatus::kUnfit, what,
         "Nothing that tarvekctl has can hold such a set; program it with tarvek itself.");
}

/// The image as source text.
void WriteAsSource(const Session& session, const inspect::RecordSet& set, const Directory& work) {
  try {
    work.Write("restore.SDR", inspect::ConvertToSource(set, {"restore.SDR"}));
  } catch (const inspect::ConversionError& error) {
    RefuseForm(session, std::string("The image cannot be written as source text: ") + error.what());
  }
}

/// Settles how the tool is given INPUT.
std::vector<std::string> ArgumentsFor(const Session& session, const Request& request,
                                      const Input& input, bool empty, const Directory& work) {
  std::string file = input.name;
  std::string option = "-sdr";
  if (input.set.format == Format::kScript) option = "-cfg";
  if (input.set.format == Format::kImage) {
    option = "-bin";
    // An image's records are read back 16 bytes at once, so shorter ones cannot be verified; and
    // no plain mode works on an empty repository.
    if (empty || HasShort(input.records)) {
      WriteAsSource(session, input.set, work);
      file = "restore.SDR";
      option = "-sdr";
    }
  }
  bool force = request.force || input.compares_only;
  if (empty) {
    // The one way into an empty repository is a forced script: it does not read what is there.
    force = true;
    if (option == "-sdr") {
      work.Write("fill.cfg", "SDRNAME " + file + "\n");
      file = "fill.cfg";
      option = "-cfg";
    }
  }
  std::vector<std::string> arguments{"-update", option, file};
  if (force) arguments.emplace_back("-force");
  return arguments;
}

void CheckBoard(const Session& session, const Request& request, const Input& input, const Bmc& bmc,
                const Directory& work) {
  const std::string product = bmc.device.ProductText();
  if (!request.listed) {
    // Offsets of the product ID in an identity block.
    constexpr std::size_t kLow = 10;
    constexpr std::size_t kHigh = 11;
    const auto& identity = input.set.identity;
    constexpr unsigned kByteBits = 8;
    const bool own = identity.size() > kHigh &&
                     (identity[kLow] | static_cast<unsigned>(identity[kHigh]) << kByteBits) ==
                         bmc.device.product;
    if (!own) {
      Refuse(session, ExitStatus::kUnfit,
             "The image was made on another product than this machine's, " + product + ".",
             "Restore it on its own board; or name this board in a list: --boards FILE.", "SDRC04");
    }
    work.Write("mchk_fil", product + "\n");
    return;
  }
  if (ListNames(work.Read("mchk_fil").value_or(""), bmc.device)) return;
  Refuse(session, ExitStatus::kUnfit,
         "The hardware list does not name this machine's product, " + product + ".",
         std::string(AdviceFor("SDRC04")->remedy), "SDRC04");
}

inspect::SetPair PairOf(const Served& served, const Input& input) {
  const auto decoded = [](const inspect::RecordSet& set) {
    inspect::DecodedSet result;
    result.set = set;
    result.decoded = inspect::DecodeAll(set);
    for (std::size_t i = 1; i <= set.records.size(); ++i) {
      result.numbers.push_back(static_cast<int>(i));
    }
    inspect::KeepSelected(&result);
    return result;
  };
  return {decoded(served.set), decoded(input.set)};
}

}  // namespace

void AddDifference(const Served& served, const Input& input, Result* result) {
  const inspect::SetPair pair = PairOf(served, input);
  const inspect::Difference difference = inspect::CompareSets(pair);
  result->more["difference"] =
      inspect::DifferenceJson(pair.old_set.Shown(), pair.new_set.Shown(), difference);
  result->more["difference_text"] = inspect::DifferenceText(pair, difference, false);
}

void AddVersion(const Input& input, Result* result) {
  result->more["version_input"] = input.version ? Json(*input.version) : Json(nullptr);
}

namespace {

[[noreturn]] void StopNothing(const Session& session, const std::string& what,
                              const std::string& remedy, const Examination& found, bool identical) {
  Result result = Unchanged(session, ExitStatus::kNothing, Outcome::kNothing, what, remedy);
  result.differs = !identical;
  if (found.served) {
    result.version_before = found.served->version;
    result.version_after = found.served->version;
  }
  if (!identical && found.served && session.command == "plan") {
    AddDifference(*found.served, found.input, &result);
  }
  if (session.command == "plan") AddVersion(found.input, &result);
  if (identical) {
    result.in_service = InService::kInput;
    result.message.state = StateSentence(InService::kInput, false);
  }
  throw Stop(std::move(result));
}

void Judge(const Session& session, const Request& request, const Examination& found) {
  Facts facts;
  facts.input_version = found.input.version;
  facts.served_known = found.served.has_value();
  facts.empty = found.bmc.info.records == 0;
  facts.force = request.force;
  facts.reprogram = request.reprogram;
  if (found.served) {
    facts.served_version = found.served->version;
    facts.identical = !facts.empty && found.served->records == found.input.records;
  }
  const std::string versions = Quoted(facts.served_version);
  switch (Decide(facts)) {
    case Verdict::kGo:
      return;
    case Verdict::kNoVersion:
      Refuse(session, ExitStatus::kBadInput, "INPUT has no version record.",
             "Give it one, or program it whatever the versions are: --force.", "SDRC07");
    case Verdict::kIdentical:
      StopNothing(session, "The BMC serves the records of INPUT already, byte for byte.",
                  std::string("Nothing. To write them all the same, type the command with ") +
                      (session.command == "restore" ? "--reprogram." : "--force --reprogram."),
                  found, true);
    case Verdict::kSame:
      StopNothing(session,
                  "The BMC holds the version of INPUT, " + versions +
                      ", already, but its records differ from INPUT's.",
                  "See what differs with tarvekctl plan INPUT --force; write INPUT with "
                  "tarvekctl update INPUT --force.",
                  found, false);
    case Verdict::kNewer:
      StopNothing(session, "The BMC holds a newer version, " + versions + ", than INPUT.",
                  "Nothing. To go back all the same, type: tarvekctl update INPUT --force.", found,
                  false);
  }
}

/// Reads what is served, and weighs whether it could be brought back.
void ReadBefore(const Session& session, const Request& request, Examination* found) {
  ReadFailure failure;
  found->served = ReadServed(session, found->bmc, &failure);
  if (!found->served && failure.busy) StopInUse(session, failure.what, failure.remedy);
  const std::string way_out = "Save it by other means, then go on without a backup: --no-backup.";
  if (!found->served && failure.too_large) {
    if (!request.keep_backup) return;
    Refuse(session, ExitStatus::kUnfit,
           "The BMC serves more than the 32,767 bytes of records that a backup can hold.", way_out);
  }
  if (!found->served) {
    Result result =
        Unchanged(session, ExitStatus::kBmcFailed, Outcome::kFailed, failure.what, failure.remedy);
    result.error = failure.error;
    throw Stop(std::move(result));
  }
  RememberServed(session, found->bmc, *found->served, false);
  if (request.keep_backup && HasShort(found->served->records) && HasLong(found->served->records)) {
    Refuse(session, ExitStatus::kUnfit,
           "The BMC serves records of under 16 and of over 64 bytes: no backup of both can be "
           "restored.",
           way_out);
  }
}

/// The tool holds its last word back, and its progress file after that.
constexpr int kHold = 30;    // seconds
constexpr int kLinger = 10;  // seconds

}  // namespace

Examination Examine(const Session& session, const Request& request, const Directory& work) {
  Examination found;
  found.input = LoadInput(session, work, request.input, request.allow_findings);
  if (Bytes(found.input.records) > kMostInImage) {
    RefuseForm(session,
               "INPUT has more than 32,767 bytes of records: what the BMC serves then "
               "could not be read back as an image.");
  }
  found.bmc = IdentifyBmc(session);
  CheckBoard(session, request, found.input, found.bmc, work);
  WaitForFreeLock(session);
  session.sink.Show({"", "reading", 1, {}});
  const auto began = std::chrono::steady_clock::now();
  ReadBefore(session, request, &found);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - began;
  if (!found.input.compares_only) Judge(session, request, found);
  found.arguments = ArgumentsFor(session, request, found.input, found.bmc.info.records == 0, work);

  const RecordList none;
  const RecordList& served = found.served ? found.served->records : none;
  found.requests = RequestsFor(found.input.records, served);
  const double each = taken.count() / static_cast<double>(RequestsFor(none, served));
  found.seconds =
      std::max(kHold, static_cast<int>(each * static_cast<double>(found.requests))) + kLinger;
  return found;
}

std::string DifferenceTextOf(const Served& served, const Input& input, bool color) {
  const inspect::SetPair pair = PairOf(served, input);
  return inspect::DifferenceText(pair, inspect::CompareSets(pair), color);
}

}  // namespace tarvek::control
