#include "control/messages/advice.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace tarvek::control {
namespace {

// What the server's state is, by the code alone, wherever several codes share it.

// Found before the first request that writes.
constexpr std::string_view kUnchanged = "Nothing was changed.";

// Found while a file is loaded: a script may have programmed another one before it.
constexpr std::string_view kFileNotWritten =
    "Nothing of this file was written; a file that a script programmed before it stays in service.";

// Found anywhere, the spared mode included, but never between its end and the answer to that.
constexpr std::string_view kDropped =
    "A set that was being written is not in service: the BMC was told to drop it and to go on with "
    "the records before it.";

// Found inside the spared mode alone.
constexpr std::string_view kUnfinishedDropped =
    "The BMC was told to drop the unfinished set, and goes on with the records that it had before.";

// Found anywhere, at the request that puts the new set in service, too.
constexpr std::string_view kDroppedOrUncertain =
    "An unfinished set is not in service; but if the request that puts it in service is the one "
    "that failed, only reading the BMC tells.";

// The run goes on after it, so it may be the result of any other failure, too.
constexpr std::string_view kGoesOn =
    "The tool may have gone on after this error: only reading the BMC tells what it serves.";

// What to do, likewise.

constexpr std::string_view kCheckSource =
    "Mend the file; `tarvek-sdr check INPUT` shows the line and what was expected there.";
constexpr std::string_view kCheckScript =
    "Mend the script; `tarvek-sdr check INPUT` shows the line.";
constexpr std::string_view kTryAgain =
    "See the last request and its answer in the log, then run `tarvekctl doctor`, and try again "
    "when the server is less busy.";
constexpr std::string_view kOtherImage =
    "Use another backup; `tarvek-sdr check FILE.BAK` tells whether a file is whole.";
constexpr std::string_view kNullDevice =
    "Look at it with `ls -l /dev/null`: it must be the device 1, 3 that everyone may write to; "
    "then "
    "run `tarvekctl status`.";

constexpr std::array kAdvice{
    Advice{"Complete", "Every file of the input was programmed or compared, and found equal.",
           "The BMC serves the records of the input.",
           "Reboot the server for normal operation; `tarvekctl status` shows what is in service."},
    Advice{
        "OK", "The update had begun and no final result was written, or a query was answered.",
        "The code alone does not tell what the BMC serves.",
        "Run `tarvekctl status`; when no run is under way any more, run `tarvekctl update INPUT` "
        "again."},
    Advice{"Down Grade", "The BMC holds the same version as the input, or a newer one.", kUnchanged,
           "Nothing needs to be done; `tarvekctl update INPUT --force` programs the input all the "
           "same."},
    Advice{"Duplex",
           "Another run holds the lock, a run that was killed has left it, or it cannot be made.",
           "This run has changed nothing.",
           "Wait for the other run with `tarvekctl wait RUN`; when there is none, "
           "`tarvekctl doctor` tells about the lock."},
    Advice{"Busy",
           "A query found the lock taken, left by a run that was killed, or impossible to make.",
           "This run has changed nothing.",
           "Ask again later; when no other run is there, `tarvekctl doctor` tells about the lock."},
    Advice{"No-Command", "The progress was asked for, and no update is running.",
           "This query has changed nothing.", "See the runs that there were: `tarvekctl history`."},

    Advice{
        "SDRC01", "The tool does not take the arguments that it was started with.", kUnchanged,
        "Leave `--tool` out, or name the tarvek of this version with it; `tarvekctl doctor` looks "
        "at it."},
    Advice{"SDRC02", "The versions do not match; the tool says Down Grade instead of this code.",
           kUnchanged,
           "`tarvekctl plan INPUT` compares the versions; `tarvekctl update INPUT --force` does "
           "without."},
    Advice{"SDRC03", "No IPMI driver's device could be opened.", kUnchanged,
           "Load the driver with `modprobe -a ipmi_si ipmi_devintf`, and run as root; "
           "`tarvekctl doctor` tells what else is missing."},
    Advice{
        "SDRC04", "The hardware list does not name this machine's board.", kUnchanged,
        "Get the input that is made for this board; `tarvekctl status` shows which board it is."},
    Advice{"SDRC05", "The BMC did not answer Get Device ID, or answered it wrongly.", kUnchanged,
           "Run `tarvekctl doctor`; when it gets no answer either, reset the BMC with "
           "`ipmitool mc reset cold`."},
    Advice{"SDRC06", "The hardware list could not be opened.", kUnchanged,
           "Put mchk_fil beside the input, or name the list with "
           "`tarvekctl update INPUT --boards FILE`."},
    Advice{"SDRC07", "The input has no version record.", kUnchanged,
           "Add one to the input, or do without with `tarvekctl update INPUT --force`."},
    Advice{"SDRC08", "The progress could not be read or passed on.",
           "This query has changed nothing.", "Ask again with `tarvekctl status`."},

    Advice{"SDR001", "A record's data is invalid; this version of the tool says SDR057 instead.",
           kFileNotWritten, kCheckSource},
    Advice{"SDR002", "Memory ran out, or a script has more than 2,000,000 lines.", kDropped,
           "Free some memory, or shorten the script, and run `tarvekctl update INPUT` again."},
    Advice{"SDR003", "A hexadecimal number in the SDR file has no digits, too many, or wrong ones.",
           kGoesOn, kCheckSource},
    Advice{"SDR004",
           "The BMC gave a piece of a record with another length than was asked for, or records "
           "without end.",
           kDropped, kTryAgain},
    Advice{"SDR005",
           "The BMC gave the beginning of a record with another length than was asked "
           "for.",
           kDropped,
           "Of an image with records shorter than 16 bytes restore the source text: "
           "`tarvekctl restore FILE.BAK` does so; else see the log."},
    Advice{"SDR006",
           "A command of the script has an argument that it does not take; this version "
           "says SDR011 instead.",
           kUnchanged, kCheckScript},
    Advice{"SDR007",
           "A command of the script has an argument that is too long; this version says "
           "SDR011 instead.",
           kUnchanged, kCheckScript},
    Advice{"SDR008", "An argument in the script is too long.", kUnchanged, kCheckScript},
    Advice{"SDR009",
           "The words behind a file's name in the script are not COMPARE, FIRST or LAST, or do not "
           "go together.",
           kUnchanged, kCheckScript},
    Advice{"SDR010", "An argument in the script is invalid; this version has no use for this code.",
           kUnchanged, kCheckScript},
    Advice{"SDR011", "A line of the script is no command that the tool knows, or is malformed.",
           kUnchanged, kCheckScript},
    Advice{"SDR012", "A comment in the script is invalid; this version has no use for this code.",
           kUnchanged, kCheckScript},
    Advice{"SDR013", "A line of the script begins with a command's word, but is none.", kUnchanged,
           kCheckScript},
    Advice{"SDR014", "A closing quote is missing in the script.", kUnchanged, kCheckScript},
    Advice{"SDR015", "A command of the script lacks its argument.", kUnchanged, kCheckScript},
    Advice{"SDR016", "An IFSET of the script names no tag.", kUnchanged, kCheckScript},
    Advice{"SDR017", "An ELSE of the script stands outside every IFSET.", kUnchanged, kCheckScript},
    Advice{"SDR018", "An ENDIF of the script stands outside every IFSET.", kUnchanged,
           kCheckScript},
    Advice{"SDR019", "The script's IFSET and ENDIF do not match.", kUnchanged, kCheckScript},
    Advice{"SDR020", "The quotes on a line of the script do not match.", kUnchanged, kCheckScript},
    Advice{"SDR021", "The script could not be interpreted; this version says the reason instead.",
           kUnchanged, kCheckScript},
    Advice{"SDR022", "A quote stands inside an argument of the script.", kUnchanged, kCheckScript},
    Advice{"SDR023", "The script could not be read.", kUnchanged, kCheckScript},
    Advice{"SDR024", "A command of the script has too many arguments.", kUnchanged, kCheckScript},
    Advice{"SDR025", "The BMC did not clear the copy of the repository that is programmed.",
           kUnfinishedDropped, kTryAgain},
    Advice{"SDR026", "The BMC refused a standard request; the log has the completion code.",
           "Nothing was being written; a file that a script programmed before stays in service.",
           "See the request in the log; code CB at Get SDR means an empty repository, which "
           "`tarvekctl update INPUT` fills."},
    Advice{"SDR027", "Other programs cancelled the repository's reservation 300 times in a row.",
           kDropped,
           "Stop what else uses the repository (monitoring agents, ipmitool), then run "
           "`tarvekctl update INPUT` again."},
    Advice{"SDR028", "The IPMI driver could not be opened; this version says SDRC03 instead.",
           kUnchanged, "Run `tarvekctl doctor`."},
    Advice{"SDR029", "The IPMI driver failed to carry a request or its answer.",
           kDroppedOrUncertain,
           "Run `tarvekctl status`, see the last request and its answer in the log, and run "
           "`tarvekctl update INPUT` again when the server is less busy."},
    Advice{"SDR030", "The BMC's identity or records could not be read.", kUnchanged,
           "See the command in the log, and run `tarvekctl doctor`."},
    Advice{"SDR031", "A backup file could not be read or written to its end.",
           "Nothing was changed on the server; a backup that was being written is incomplete.",
           "Free disk space and run `tarvekctl backup FILE.BAK`, or restore another file."},
    Advice{"SDR032", "What was read back is not what the file holds.",
           "Comparing has written nothing.",
           "See the difference with `tarvekctl plan INPUT`, and program it with "
           "`tarvekctl update INPUT --force`."},
    Advice{"SDR033", "What was read back is not what was written, or writing failed.",
           kUnfinishedDropped, kTryAgain},
    Advice{"SDR034", "The SDR file has no hexadecimal number behind _DEV_ADDRESS.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR035", "The SDR file has no hexadecimal number behind _DEV_BUS.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR036", "The SDR file has no hexadecimal number behind _DATA_LEN.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR037", "A record has no number behind _REC_LEN; this version says SDR057 instead.",
           kFileNotWritten, kCheckSource},
    Advice{"SDR038", "A record has no number behind _SDR_TYPE; this version says SDR057 instead.",
           kFileNotWritten, kCheckSource},
    Advice{"SDR039", "The SDR file has no hexadecimal number behind _START_ADDR.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR040", "The SDR file lacks _DATA_LEN behind _START_ADDR.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR041", "The SDR file lacks _DEV_ADDRESS behind _DEV_BUS.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR042", "The SDR file lacks _DEV_BUS behind _NVS_TYPE.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR043", "The SDR file lacks _SDR behind its header.", kFileNotWritten, kCheckSource},
    Advice{"SDR044", "The SDR file lacks _IPMI_VERSION behind _LF_FMT_VER.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR045", "The SDR file lacks the left parenthesis behind _SDR.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR046", "The SDR file lacks _LF_FMT_VER behind _LF_VERSION.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR047", "The SDR file does not begin with _LF_NAME.", kFileNotWritten, kCheckSource},
    Advice{"SDR048", "The SDR file lacks _LF_VERSION behind _LF_NAME.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR049", "The SDR file lacks _NVS_TYPE behind _DATA_LEN.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR050", "A record lacks _REC_LEN; this version says SDR057 instead.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR051", "The SDR file lacks _START_ADDR at the beginning of its repository.",
           kFileNotWritten, kCheckSource},
    Advice{"SDR052", "The SDR file has no text in quotes behind _LF_FMT_VER.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR053", "The SDR file has no text in quotes behind _LF_NAME.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR054", "The SDR file's _NVS_TYPE is not 'IMBDEVICE'.", kFileNotWritten, kCheckSource},
    Advice{"SDR055", "The SDR file has no version behind _IPMI_VERSION.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR056", "The SDR file has no text in quotes behind _LF_VERSION.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR057", "A record of the SDR file is malformed; the log has its number.",
           kFileNotWritten, kCheckSource},
    Advice{"SDR058",
           "A record of an image or of the BMC has more than 64 bytes behind its header, or is cut "
           "off.",
           kDropped,
           "Use a file without such a record: `tarvek-sdr show FILE` lists them; when the BMC gave "
           "it, see the log, and try again."},
    Advice{"SDR059", "The SDR file's format version is not one that the tool reads.",
           kFileNotWritten, kCheckSource},
    Advice{"SDR060", "The SDR file's IPMI version is not one that formats 1.3 and 1.4 have.",
           kFileNotWritten, kCheckSource},
    Advice{"SDR061", "The SDR file's IPMI version is not one that format 1.5 has.", kFileNotWritten,
           kCheckSource},
    Advice{"SDR062", "The SDR file ends before its closing parenthesis, or a record is malformed.",
           kFileNotWritten, kCheckSource},
    Advice{"SDR063", "A record has no text behind _SDR_TAG; this version says SDR057 instead.",
           kFileNotWritten, kCheckSource},
    Advice{"SDR064", "The script's echo CFG.TMP could not be opened; this version writes none.",
           kUnchanged, "Free disk space, then run `tarvekctl update INPUT` again."},
    Advice{"SDR065", "The null device /dev/null could not be opened.", kGoesOn, kNullDevice},
    Advice{"SDR066", "The backup file could not be opened.", kUnchanged,
           "See that the file is there and may be read: `tarvek-sdr check FILE.BAK`."},
    Advice{"SDR067", "The script could not be opened, or not read to its end.", kUnchanged,
           "See that the script is there and may be read: `tarvek-sdr check INPUT`."},
    Advice{"SDR068", "An SDR file is missing, empty, or may not be read.", kFileNotWritten,
           "See that the input, and each file that a script names beside it, is there: "
           "`tarvek-sdr check INPUT`."},
    Advice{"SDR069", "A line of the script holds a character that may not stand there.", kUnchanged,
           kCheckScript},
    Advice{"SDR070",
           "A line of a file holds an invalid character; this version reads no files that "
           "are checked so.",
           kUnchanged, kCheckSource},
    Advice{"SDR071", "A file is larger than 512 KiB; this version has no such limit.", kUnchanged,
           "Take out what the file does not need, then run `tarvek-sdr check INPUT`."},
    Advice{"SDR072",
           "A line of a file has more than 255 characters; this version reads no files "
           "that are checked so.",
           kUnchanged, kCheckSource},
    Advice{"SDR073", "The null device /dev/null could not be written to.", kGoesOn, kNullDevice},
    Advice{"SDR074", "No script was named, and the BMC's records name none.", kUnchanged,
           "Name the script: `tarvekctl update INPUT`."},
    Advice{"SDR075", "The file is no backup.", kUnchanged, kOtherImage},
    Advice{"SDR076", "A checksum of the backup file is wrong: the file is damaged.", kUnchanged,
           kOtherImage},
    Advice{"SDR077", "The BMC refused a request of its spared mode, or does not have that mode.",
           kDroppedOrUncertain,
           "Run `tarvekctl status` and see the log: code C1 at request F8 10 00 means that the "
           "firmware has no spared mode; else run `tarvekctl update INPUT` again."},
    Advice{"SDR078", "The backup file could not be created.", "Nothing was changed on the server.",
           "See that the directory is there, writable and not full, then run "
           "`tarvekctl backup FILE.BAK`."},
    Advice{"SDR079", "A driver's retries failed; no driver of this version has any.",
           "The code itself says nothing about the server's state.",
           "Run `tarvekctl status` to see what the BMC serves, and read the log."},
};

}  // namespace

std::span<const Advice> AllAdvice() { return kAdvice; }

const Advice* AdviceFor(std::string_view code) {
  const auto* const row = std::find_if(kAdvice.begin(), kAdvice.end(),
                                       [&](const Advice& known) { return known.code == code; });
  return row != kAdvice.end() ? row : nullptr;
}

std::string_view StateSentence(InService in_service, std::optional<bool> changed) {
  switch (in_service) {
    case InService::kInput:
      return changed.value_or(true)
                 ? "The BMC serves the records of the input, read back and found equal."
                 : "The BMC serves the records of the input, as it did before.";
    case InService::kPrevious:
      return "Nothing was changed: the BMC serves the records that it had before.";
    case InService::kOther:
      return changed.value_or(true)
                 ? "The BMC serves records that are neither those of the input nor those that it "
                   "had before."
                 : "Nothing was changed: the BMC serves other records than those of the input.";
    case InService::kUnknown:
      break;
  }
  return "What the BMC serves could not be established.";
}

}  // namespace tarvek::control
