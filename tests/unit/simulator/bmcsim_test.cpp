// The launcher and the preload library under real programs: a small client of ours, built as the
// rest is, and once more with AddressSanitizer's shared runtime.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "simulator/bmc_state.h"
#include "simulator/state_file.h"

namespace bmcsim_test {
namespace {

namespace fs = std::filesystem;

using ::testing::HasSubstr;
using ::testing::Not;
using Words = std::vector<std::string>;

constexpr char kDeviceId[] = "1C 01 00 20 01 01 10 51 9F 77 00 00 A3 01 00 00 00 00";

// The system's own programs say so on standard error when a library is not of their size.
constexpr bool kLibraryFitsTheSystem = sizeof(void*) == 8;
constexpr char kMisfit[] = "the system's programs have 64 bits";

struct Ended {
  int status = -1;  // -1 when a signal ended it
  int signal = 0;
  std::string output;
  std::string errors;
};

std::string ReadWhole(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

class BmcsimTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string name = (fs::temp_directory_path() / "bmcsim-XXXXXX").string();
    ASSERT_NE(mkdtemp(name.data()), nullptr);
    directory_ = name;
  }
  void TearDown() override { fs::remove_all(directory_); }

  // Starts a program in the test's directory; its output goes to files named after `tag`.
  pid_t Start(const Words& words, const std::string& tag = "run") {
    const pid_t child = fork();
    if (child != 0) return child;
    if (chdir(directory_.c_str()) != 0) _exit(99);
    const bool redirected = freopen((tag + ".out").c_str(), "w", stdout) != nullptr &&
                            freopen((tag + ".err").c_str(), "w", stderr) != nullptr;
    std::vector<char*> arguments;
    for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    // What the caller of the tests has open must not move the program's descriptor numbers.
    (void)close_range(3, ~0U, 0);
    if (redirected) execv(arguments[0], arguments.data());
    _exit(98);
  }

  Ended Wait(pid_t child, const std::string& tag = "run") {
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    Ended ended;
    if (WIFEXITED(status)) ended.status = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) ended.signal = WTERMSIG(status);
    ended.output = ReadWhole(directory_ / (tag + ".out"));
    ended.errors = ReadWhole(directory_ / (tag + ".err"));
    return ended;
  }

  Ended Bmcsim(Words words) {
    words.insert(words.begin(), BMCSIM_PROGRAM);
    return Wait(Start(words));
  }

  Ended Shell(const std::string& line) { return Wait(Start({"/bin/sh", "-c", line})); }

  // Puts the launcher and its library into a directory, as an installation does, and gives the
  // launcher's path.
  std::string Install(const std::string& bin, const std::string& lib) {
    for (const std::string& place : {bin, lib}) fs::create_directories(directory_ / place);
    const fs::path library = fs::path(BMCSIM_PROGRAM).parent_path() / "libbmcsim.so";
    fs::copy_file(library, directory_ / lib / "libbmcsim.so");
    fs::copy_file(BMCSIM_PROGRAM, directory_ / bin / "bmcsim");
    return (directory_ / bin / "bmcsim").string();
  }

  // Runs the client under the simulator and gives what it prints; it must end well.
  std::string Client(const Words& options, const Words& steps,
                     const char* program = CLIENT_PROGRAM) {
    const Ended ended = Bmcsim(Join(options, program, steps));
    EXPECT_EQ(ended.status, 0) << ended.output << ended.errors;
    EXPECT_EQ(ended.signal, 0);
    EXPECT_EQ(ended.errors, "");
    return ended.output;
  }

  static Words Join(const Words& options, const char* program, const Words& steps) {
    Words words = options;
    words.insert(words.end(), {"--", program});
    words.insert(words.end(), steps.begin(), steps.end());
    return words;
  }

  std::string Read(const std::string& name) { return ReadWhole(directory_ / name); }
  void Write(const std::string& name, const std::string& text) {
    std::ofstream(directory_ / name, std::ios::binary) << text;
  }

  void ExpectWholeState() {
    bmcsim::StateFile file;
    std::string error;
    EXPECT_TRUE(file.Open((directory_ / "bmcsim.state").string(), error)) << error;
  }

  fs::path directory_;
};

// The launcher itself.

TEST_F(BmcsimTest, HelpAndVersionGoToStandardOutput) {
  Ended ended = Bmcsim({"--version"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_EQ(ended.output, "bmcsim " BMCSIM_VERSION "\n");
  ended = Bmcsim({"--help"});
  EXPECT_EQ(ended.status, 0);
  EXPECT_THAT(ended.output, HasSubstr("bmcsim [OPTION]... -- PROGRAM"));
  EXPECT_EQ(ended.errors, "");
}

TEST_F(BmcsimTest, MistakesEndWithStatus2AndNothingIsRun) {
  Write("foreign", "not a state");
  Write("plan", "1: explode");
  Write("set", "51 01");
  Write("full", "51 01 00\n51 01 00\n");
  Write("raw", {"\1\0\x51\1\7", 5});
  Write("image", "KOV IPMI\4\2");
  const std::pair<Words, const char*> rows[] = {
      {{"--what"}, "bmcsim: there is no option --what\n"},
      {{"--dump"}, "bmcsim: cannot use bmcsim.state as a BMC's state: No such file or directory\n"},
      {{"--state", "foreign", "--dump"},
       "bmcsim: cannot use foreign as a BMC's state: it is not a simulated BMC's state (its size "
       "is another)\n"},
      {Join({"--state", "foreign"}, CLIENT_PROGRAM, {"say", "hi"}),
       "bmcsim: cannot use foreign as a BMC's state: it is not a simulated BMC's state (its size "
       "is another)\n"},
      {{"--state", "foreign", "--create"}, "bmcsim: foreign exists already\n"},
      {Join({"--fault", "1: explode"}, CLIENT_PROGRAM, {"say", "hi"}),
       "bmcsim: fault plan, line 1, '1: explode': the action is unknown\n"},
      {Join({"--fault", "plan"}, CLIENT_PROGRAM, {"say", "hi"}),
       "bmcsim: fault plan, line 1, '1: explode': the action is unknown\n"},
      {Join({"--fault", "no-such-plan"}, CLIENT_PROGRAM, {"say", "hi"}),
       "bmcsim: cannot read the fault plan no-such-plan: No such file or directory\n"},
      {{"--create", "--load", "set"},
       "bmcsim: set, line 1: it is not a whole record (SDR version, type, body length, body)\n"},
      {{"--create", "--load", "raw"},
       "bmcsim: raw, offset 0: it is not a whole record (record ID, SDR version, type, body "
       "length, body)\n"},
      {{"--create", "--load", "image"}, "bmcsim: image, offset 10: the image ends in the header\n"},
      {{"--create", "--load", "/dev/zero"},
       "bmcsim: cannot read /dev/zero: it is longer than 1048576 bytes\n"},
      {{"--create", "--load", "."}, "bmcsim: cannot read .: Is a directory\n"},
      {{"--create", "--load", "full", "--capacity", "9"},
       "bmcsim: full, line 2: there is no room for this record\n"},
      {{"--create", "--load", "no-such-set"},
       "bmcsim: cannot read no-such-set: No such file or directory\n"},
      {{"--create", "--records", "9", "--capacity", "100"},
       "bmcsim: the records do not fit the capacity\n"},
      {{"--", "no-such-program"}, "bmcsim: there is no program no-such-program\n"},
      {{"--", "./foreign"}, "bmcsim: cannot run ./foreign: Permission denied\n"},
  };
  for (const auto& [words, complaint] : rows) {
    const Ended ended = Bmcsim(words);
    EXPECT_EQ(ended.status, 2) << complaint;
    EXPECT_EQ(ended.errors, complaint);
    EXPECT_EQ(ended.output, "");
  }
  EXPECT_EQ(Read("foreign"), "not a state");
}

TEST_F(BmcsimTest, WhatCannotBeWrittenIsToldAndEndsWithStatus2) {
  Bmcsim({"--create"});
  for (const char* what : {"--help", "--version", "--dump", "--dump=hex"}) {
    const Ended ended = Shell("exec '" BMCSIM_PROGRAM "' " + std::string(what) + " >/dev/full");
    EXPECT_EQ(ended.status, 2) << what;
    EXPECT_EQ(ended.errors, "bmcsim: cannot write to standard output: No space left on device\n");
  }
  for (const char* file : {"/dev/full", "no/directory"}) {
    const Ended stats = Bmcsim(
        Join({"--stats", file}, "/bin/sh",
             {"-c", std::string("'") + CLIENT_PROGRAM + "' open /dev/ipmi0 ask 'F8 11' say last"}));
    EXPECT_EQ(stats.status, 2) << file;
    EXPECT_EQ(stats.output, "open 3\nask 3 FC 11 D5\nlast\n") << "the program's own output";
    EXPECT_THAT(stats.errors, HasSubstr("bmcsim: cannot write the statistics "));
    const Ended trace =
        Bmcsim(Join({"--trace", file}, CLIENT_PROGRAM, {"open", "/dev/ipmi0", "ask", "F8 11"}));
    EXPECT_EQ(trace.status, 2) << file;
    EXPECT_THAT(trace.errors, HasSubstr("bmcsim: cannot write the trace "));
  }
}

TEST_F(BmcsimTest, ClosedStandardDescriptorsNeverBecomeTheStateFile) {
  Bmcsim({"--create"});
  const std::string before = Read("bmcsim.state");
  for (const char* closed : {">&-", "2>&-", ">&- 2>&-", "<&- >&- 2>&-"}) {
    for (const char* what : {"--dump", "--dump=hex", "--create", "--what"}) {
      const std::string line = std::string("exec '") + BMCSIM_PROGRAM + "' " + what + " " + closed;
      const bool printed = std::string(what).starts_with("--dump") && closed[0] == '2';
      EXPECT_EQ(Shell(line).status, printed ? 0 : 2) << line;
      EXPECT_EQ(Read("bmcsim.state"), before) << line;
    }
  }
  EXPECT_EQ(Shell("exec '" BMCSIM_PROGRAM "' --dump >&-").errors,
            "bmcsim: cannot write to standard output: Bad file descriptor\n");
}

TEST_F(BmcsimTest, ProgramFindsTheStandardDescriptorsAsTheyWere) {
  const std::string open =
      " -- /bin/sh -c 'for fd in 0 1 2; do [ ! -e /proc/self/fd/$fd ] || "
      "echo $fd >>open; done' ";
  Shell("'" BMCSIM_PROGRAM "'" + open + "<&- >&- 2>&-");
  EXPECT_FALSE(fs::exists(directory_ / "open"));
  Shell("'" BMCSIM_PROGRAM "'" + open + ">&-");
  EXPECT_EQ(Read("open"), "0\n2\n");
}

TEST_F(BmcsimTest, CreateMakesABmcOnce) {
  EXPECT_EQ(Bmcsim({"--create", "--product", "BEEF", "--records", "3"}).status, 0);
  EXPECT_THAT(Bmcsim({"--dump"}).output, HasSubstr("Product ID          BEEFh\n"));
  const Ended again = Bmcsim({"--create"});
  EXPECT_EQ(again.status, 2);
  EXPECT_EQ(again.errors, "bmcsim: bmcsim.state exists already\n");
}

TEST_F(BmcsimTest, SetCannotBeChangedAfterwardsButTheBmcCan) {
  Bmcsim({"--create", "--records", "3"});
  const Ended refused = Bmcsim(Join({"--records", "4"}, CLIENT_PROGRAM, {}));
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(refused.errors, "bmcsim: bmcsim.state exists already, its records stay as they are\n");
  EXPECT_EQ(Client({"--product", "0102", "--no-aux"}, {"open", "/dev/ipmi0", "ask", "18 01"}),
            "open 3\nask 14 1C 01 00 20 01 01 10 51 9F 77 00 00 02 01\n");
  EXPECT_THAT(Bmcsim({"--dump"}).output, HasSubstr("Product ID          0102h\n")) << "it stays";
}

TEST_F(BmcsimTest, DumpedSetCanBeLoaded) {
  Bmcsim({"--create", "--records", "5", "--version-text", "07.08"});
  const std::string dump = Bmcsim({"--dump=hex"}).output;
  EXPECT_EQ(std::count(dump.begin(), dump.end(), '\n'), 6);
  Write("set", dump);
  EXPECT_EQ(Bmcsim({"--state", "other", "--create", "--load", "set"}).status, 0);
  EXPECT_EQ(Bmcsim({"--state", "other", "--dump=hex"}).output, dump);
}

TEST_F(BmcsimTest, BoardsImageMakesABmcLikeTheBoards) {
  // Header, identity of product 0102h, control block, one record with ID 0007h.
  std::string image = "KOV IPMI\4\2\x9" + std::string(53, '\0');
  image[20] = 96;
  image += {'\0', '\x20', 1, 1, '\x10', '\x51', '\x9F', '\x77', 0, 0, 2, 1};
  image.resize(96);
  image += {'\0', '\x51', 1, 0, 0, 0, 0, 0, '\x4A', '\x5A', 0, 0, '\x4B', '\x5A', 2};
  image.resize(128);
  const std::string record = {7, 0, '\x51', '\x01', 0};
  image[116] = static_cast<char>(record.size());
  const auto seal = [](std::string& bytes, std::size_t first, std::size_t at) {
    for (std::size_t i = first; i < at; ++i) bytes[at] = static_cast<char>(bytes[at] - bytes[i]);
  };
  seal(image, 0, 63);
  seal(image, 64, 95);
  for (const char byte : record) image[126] = static_cast<char>(image[126] - byte);
  seal(image, 96, 127);
  Write("board", image + record);
  EXPECT_EQ(Client({"--load", "board"}, {"open", "/dev/ipmi0", "ask", "18 01", "ask", "28 20",
                                         "ask", "28 23 00 00 00 00 00 05"}),
            "open 3\nask 14 1C 01 00 20 01 01 10 51 9F 77 00 00 02 01\n"
            "ask 17 2C 20 00 51 01 00 FB FF 00 00 4A 5A 00 00 4B 5A 02\n"
            "ask 10 2C 23 00 FF FF 07 00 51 01 00\n");
  const Ended made = Bmcsim({"--state", "other", "--create", "--load", "board", "--product", "BEEF",
                             "--version-text", "01.02"});
  EXPECT_EQ(made.errors, "");
  const std::string dump = Bmcsim({"--state", "other", "--dump"}).output;
  EXPECT_THAT(dump, HasSubstr("Product ID          BEEFh\n")) << "options have the last word";
  EXPECT_THAT(dump, HasSubstr("0008h  type C0h OEM"));
}

TEST_F(BmcsimTest, BmcIsMadeByTheFirstRunThatNeedsIt) {
  EXPECT_EQ(Client({}, {"open", "/dev/ipmi0", "ask", "18 01"}),
            "open 3\nask 18 " + std::string(kDeviceId) + "\n");
  EXPECT_THAT(Bmcsim({"--dump"}).output, HasSubstr("\"SDR Version 01.00\""));
}

TEST_F(BmcsimTest, ExitStatusAndSignalAreTheProgramsOwn) {
  EXPECT_EQ(Bmcsim({"--", "/bin/sh", "-c", "exit 0"}).status, 0);
  EXPECT_EQ(Bmcsim({"--", "/bin/sh", "-c", "exit 15"}).status, 15);
  EXPECT_EQ(Bmcsim({"--", "/bin/sh", "-c", "kill -9 $$"}).signal, SIGKILL);
}

TEST_F(BmcsimTest, ProgramsAreFoundThroughThePath) {
  EXPECT_EQ(Bmcsim({"--", "sh", "-c", "exit 7"}).status, 7);
}

TEST_F(BmcsimTest, ProgramsOfTheAdministratorAreFoundWithoutHisPath) {
  setenv("PATH", "/usr/bin:/bin", 1);
  EXPECT_EQ(Bmcsim({"--", "sh", "-c", "echo $PATH"}).output, "/usr/bin:/bin:/usr/sbin:/sbin\n");
  setenv("PATH", "/sbin:/usr/bin:/usr/sbin:/bin", 1);
  EXPECT_EQ(Bmcsim({"--", "sh", "-c", "echo $PATH"}).output, "/sbin:/usr/bin:/usr/sbin:/bin\n")
      << "none of them twice";
  unsetenv("PATH");
  EXPECT_EQ(Bmcsim({"--", "sh", "-c", "echo $PATH"}).output, "/usr/bin:/bin:/usr/sbin:/sbin\n");
  setenv("PATH", "/usr/bin:/bin", 1);
  const std::string bmcsim = Install("local/bin", "local/lib/tarvek");
  fs::create_directory(directory_ / "local/sbin");
  fs::copy_file(CLIENT_PROGRAM, directory_ / "local/sbin/rehearsed");
  const Ended ended = Wait(Start({bmcsim, "--", "rehearsed", "open", "/dev/ipmi0"}));
  EXPECT_EQ(ended.output, "open 3\n") << "that of the same installation: " << ended.errors;
}

TEST_F(BmcsimTest, DirectoriesMayHaveBlanks) {
  const std::string bmcsim = Install("a server/to try", "a server/to try");
  setenv("LD_LIBRARY_PATH", "/nowhere", 1);
  const Ended ended =
      Wait(Start({bmcsim, "--state", "a server/its state", "--", "/bin/sh", "-c",
                  std::string("'") + CLIENT_PROGRAM + "' open /dev/ipmi0 ask 'F8 11'; " +
                      "echo $LD_LIBRARY_PATH"}));
  unsetenv("LD_LIBRARY_PATH");
  EXPECT_EQ(ended.output,
            "open 3\nask 3 FC 11 D5\n" + (directory_ / "a server/to try").string() + ":/nowhere\n")
      << ended.errors;
  const std::string colon = Install("a:server", "a:server");
  EXPECT_EQ(Wait(Start({colon, "--", "/bin/true"})).status, 2);
}

// The nodes.

TEST_F(BmcsimTest, OnlyTheChosenDriversNodesExist) {
  struct Row {
    Words options;
    const char* opens[4];  // of /dev/ipmidev, /dev/ipmidev/0, /dev/ipmi0, /dev/ipmi/0
  };
  const std::string absent = "open errno " + std::to_string(ENOENT) + "\nstat other\n";
  const Row rows[] = {
      {{}, {"absent", "absent", "device", "absent"}},
      {{"--node", "/dev/ipmi/0"}, {"absent", "absent", "absent", "device"}},
      {{"--node", "/dev/ipmidev/0"}, {"directory", "device", "absent", "absent"}},
      {{"--driver", "maker"}, {"device", "absent", "absent", "absent"}},
      {{"--driver", "both"}, {"device", "absent", "device", "absent"}},
      {{"--driver", "none"}, {"absent", "absent", "absent", "absent"}},
  };
  const char* nodes[] = {"/dev/ipmidev", "/dev/ipmidev/0", "/dev/ipmi0", "/dev/ipmi/0"};
  for (const Row& row : rows) {
    for (int i = 0; i < 4; ++i) {
      const std::string expected = std::string(row.opens[i]) == "absent"
                                       ? absent
                                       : "open 3\nstat " + std::string(row.opens[i]) + "\n";
      EXPECT_EQ(Client(row.options, {"open", nodes[i], "stat"}), expected)
          << nodes[i] << " with " << ::testing::PrintToString(row.options);
    }
  }
}

TEST_F(BmcsimTest, DirectoryOfANodeTakesNoRequest) {
  const std::string enotty = "errno " + std::to_string(ENOTTY) + "\n";
  EXPECT_EQ(Client({"--node", "/dev/ipmidev/0"}, {"open", "/dev/ipmidev", "maker", "18 01"}),
            "open 3\nmaker " + enotty);
  EXPECT_EQ(Client({"--node", "/dev/ipmidev/0"}, {"open", "/dev/ipmidev/0", "ask", "18 01"}),
            "open 3\nask 18 " + std::string(kDeviceId) + "\n");
}

TEST_F(BmcsimTest, EachDriverKnowsItsOwnIoctlsOnly) {
  const std::string enotty = "errno " + std::to_string(ENOTTY) + "\n";
  EXPECT_EQ(Client({}, {"open", "/dev/ipmi0", "maker", "18 01", "ioctl", "5401"}),
            "open 3\nmaker " + enotty + "ioctl " + enotty);
  EXPECT_EQ(
      Client({"--driver", "maker"}, {"open", "/dev/ipmidev", "ask", "18 01", "ioctl", "5401"}),
      "open 3\nsend " + enotty + "ioctl " + enotty);
}

TEST_F(BmcsimTest, OtherPathsAndDescriptorsAreTheSystems) {
  Write("file", "");
  EXPECT_EQ(Client({}, {"open", "file", "stat", "close", "open", "/", "stat"}),
            "open 3\nstat other\nclose 0\nopen 3\nstat directory\n");
  EXPECT_EQ(Client({}, {"open", "/dev/null", "stat", "maker", "18 01"}),
            "open 3\nstat device\nmaker errno " + std::to_string(ENOTTY) + "\n");
  EXPECT_EQ(Client({}, {"close"}), "close -1\n");
}

TEST_F(BmcsimTest, DescriptorsAreNumberedAsWithoutTheSimulator) {
  EXPECT_EQ(Client({"--trace", "t", "--stats", "s"},
                   {"open", "/dev/ipmi0", "ask", "28 22", "open", "/dev/ipmi0", "open", "/dev/null",
                    "close", "open", "/dev/ipmi0"}),
            "open 3\nask 5 2C 22 00 01 00\nopen 4\nopen 5\nclose 0\nopen 5\n");
}

TEST_F(BmcsimTest, EveryCallThatOpensFilesKnowsTheNodes) {
  for (const char* call : {"open", "open64", "openat", "openat64", "__open_2", "__open64_2",
                           "__openat_2", "__openat64_2"}) {
    EXPECT_EQ(Client({}, {"open-as", call, "/dev/ipmi0", "stat", "ask", "F8 11", "open-as", call,
                          "/dev/ipmidev", "open-as", call, "/dev/null", "stat"}),
              "open 3\nstat device\nask 3 FC 11 D5\nopen errno " + std::to_string(ENOENT) +
                  "\nopen 4\nstat device\n")
        << call;
  }
}

TEST_F(BmcsimTest, FilesAreMadeWithTheModeThatWasAskedFor) {
  for (const char* call : {"open", "open64", "openat", "openat64"}) {
    EXPECT_EQ(Client({}, {"create", call, call, "create", call, call}),
              "create 3\ncreate errno " + std::to_string(EEXIST) + "\n");
    EXPECT_EQ(static_cast<unsigned>(fs::status(directory_ / call).permissions()), 0604U) << call;
  }
}

TEST_F(BmcsimTest, MoreNodesThanAnyoneNeedsCannotBeOpened) {
  Words steps;
  std::string expected;
  for (int i = 0; i < 16; ++i) {
    steps.insert(steps.end(), {"open", "/dev/ipmi0"});
    expected += "open " + std::to_string(3 + i) + "\n";
  }
  steps.insert(steps.end(), {"ask", "F8 11", "open", "/dev/ipmi0"});
  expected += "ask 3 FC 11 D5\nopen errno " + std::to_string(EMFILE) + "\n";
  EXPECT_EQ(Client({}, steps), expected);
}

TEST_F(BmcsimTest, SelectOnOtherDescriptorsBesideTheNodeIsTheSystems) {
  const Ended ended =
      Bmcsim({"--", "/bin/sh", "-c",
              std::string("'") + CLIENT_PROGRAM + "' open /dev/ipmi0 select-both </dev/null"});
  EXPECT_EQ(ended.output, "open 3\nselect 2\n") << ended.errors;
}

// The drivers.

TEST_F(BmcsimTest, BothDriversCarryTheSameAnswers) {
  for (const char* request : {"18 01", "28 20", "28 22", "28 23 00 00 00 00 00 10", "F8 11"}) {
    std::string openipmi = Client({}, {"open", "/dev/ipmi0", "ask", request});
    std::string maker = Client({"--driver", "maker"}, {"open", "/dev/ipmidev", "maker", request});
    // The reservation that a run takes is not the other's.
    if (std::string(request) == "28 22") {
      openipmi.replace(openipmi.find("00 01 00"), 8, "00 02 00");
    }
    EXPECT_EQ(maker, "open 3\nmaker" + openipmi.substr(std::string("open 3\nask").size()));
  }
}

TEST_F(BmcsimTest, OpenIpmiRefusesWhatTheKernelRefuses) {
  const std::string einval = "send errno " + std::to_string(EINVAL) + "\n";
  const std::string emsgsize = "send errno " + std::to_string(EMSGSIZE) + "\n";
  EXPECT_EQ(Client({}, {"open",    "/dev/ipmi0", "send",    "address-length",
                        "7",       "send",       "channel", "0",
                        "send",    "type",       "1",       "send",
                        "netfn",   "7",          "send",    "lun",
                        "4",       "send",       "length",  "271",
                        "receive", "send",       "none",    "0",
                        "receive"}),
            "open 3\n" + einval + einval + einval + einval + einval + emsgsize + "receive errno " +
                std::to_string(EAGAIN) + "\nsend 0\nreceive 18 " + kDeviceId + "\n");
}

TEST_F(BmcsimTest, CutAnswerIsCopiedAndFails) {
  EXPECT_EQ(Client({}, {"open", "/dev/ipmi0", "ask-cut", "3", "18 01", "ask", "28 22"}),
            "open 3\nreceive errno " + std::to_string(EMSGSIZE) +
                "\nask 5 1C 01 00 20 01\nask 5 2C 22 00 01 00\n");
}

TEST_F(BmcsimTest, AnswersStayWithTheirDescriptor) {
  EXPECT_EQ(Client({}, {"open", "/dev/ipmi0", "send", "none", "0", "open", "/dev/ipmi0", "receive",
                        "select", "0"}),
            "open 3\nsend 0\nopen 4\nreceive errno " + std::to_string(EAGAIN) + "\nselect 0\n");
  EXPECT_EQ(Client({}, {"open", "/dev/ipmi0", "send", "none", "0", "close", "open", "/dev/ipmi0",
                        "receive"}),
            "open 3\nsend 0\nclose 0\nopen 3\nreceive errno " + std::to_string(EAGAIN) + "\n");
}

TEST_F(BmcsimTest, SelectIsReadyOnlyWithAnAnswer) {
  EXPECT_EQ(Client({"--clock", "virtual:100"},
                   {"open",   "/dev/ipmi0", "select", "0",       "select", "5500",   "select",
                    "500",    "time",       "send",   "none",    "0",      "select", "5000",
                    "select", "0",          "time",   "receive", "select", "0"}),
            "open 3\nselect 0\nselect 0\nselect 0\ntime 106 106 106\nsend 0\nselect 1\nselect 1\n"
            "time 106 106 106\nreceive 18 " +
                std::string(kDeviceId) + "\nselect 0\n");
}

// Faults.

struct DriverFault {
  const char* plan;
  std::string openipmi;
  std::string maker;
};

TEST_F(BmcsimTest, FaultsReachTheProgramThroughBothDrivers) {
  const auto number = [](int error) { return "errno " + std::to_string(error) + "\n"; };
  const DriverFault rows[] = {
      {"1: cc C3", "ask 3 2C 22 C3\n", "maker 3 2C 22 C3\n"},
      {"1: length 0", "ask 2 00 00\n", "maker 0\n"},
      {"1: length 2", "ask 2 2C 22\n", "maker 2 2C 22\n"},
      {"1: netfn 1C", "ask 5 1C 22 00 01 00\n", "maker 5 1C 22 00 01 00\n"},
      {"1: send-error ENODEV", "send " + number(ENODEV), "maker " + number(ENODEV)},
      {"1: ioctl-error", "send " + number(EIO), "maker " + number(EIO)},
      {"1: select-error EIO", "select " + number(EIO), "maker " + number(EIO)},
      {"1: receive-error ENXIO", "receive " + number(ENXIO), "maker " + number(ENXIO)},
      {"1: silence 20", "select " + number(ETIMEDOUT), "maker " + number(ETIMEDOUT)},
      {"1: silence 20, cc FF", "ask 3 2C 22 FF\n", "maker 3 2C 22 FF\n"},
      {"1: delay 20", "ask 5 2C 22 00 01 00\n", "maker 5 2C 22 00 01 00\n"},
  };
  for (const DriverFault& row : rows) {
    const bool waits = std::string(row.plan).find("20") != std::string::npos;
    const std::string time = waits ? "time 120 120 120\n" : "time 100 100 100\n";
    const Words common = {"--clock", "virtual:100", "--fault", row.plan};
    fs::remove(directory_ / "bmcsim.state");
    EXPECT_EQ(Client(common, {"open", "/dev/ipmi0", "ask", "28 22", "time"}),
              "open 3\n" + row.openipmi + time)
        << row.plan;
    fs::remove(directory_ / "bmcsim.state");
    Words maker = common;
    maker.insert(maker.end(), {"--driver", "maker"});
    EXPECT_EQ(Client(maker, {"open", "/dev/ipmidev", "maker", "28 22", "time"}),
              "open 3\n" + row.maker + time)
        << row.plan;
  }
}

TEST_F(BmcsimTest, PlanCountsAnewInEachRun) {
  for (int run = 0; run < 2; ++run) {
    EXPECT_EQ(Client({"--fault", "reserve@1: cc C3"},
                     {"open", "/dev/ipmi0", "ask", "28 22", "ask", "28 20"})
                  .substr(0, 22),
              "open 3\nask 3 2C 22 C3\n");
  }
}

TEST_F(BmcsimTest, PlanCanBeAFile) {
  Write("plan", "# both\n1: cc C1\n2: cc C2\n");
  EXPECT_EQ(Client({"--fault", "plan"}, {"open", "/dev/ipmi0", "ask", "28 22", "ask", "28 22"}),
            "open 3\nask 3 2C 22 C1\nask 3 2C 22 C2\n");
}

TEST_F(BmcsimTest, SilenceForEverEndsWithASignal) {
  for (const char* driver : {"openipmi", "maker"}) {
    const bool maker = std::string(driver) == "maker";
    const pid_t child =
        Start({BMCSIM_PROGRAM, "--driver", driver, "--trace", driver, "--fault", "2: silence", "--",
               CLIENT_PROGRAM, "survive", "open", maker ? "/dev/ipmidev" : "/dev/ipmi0",
               maker ? "maker" : "ask", "28 22", maker ? "maker" : "ask", "28 22", "say", "over"});
    // The second request's lines tell that the program has got there.
    while (Read(driver).find("< - ! silence\n") == std::string::npos) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    int status = 0;
    // It may be just about to wait, so one signal might come too early to interrupt it.
    while (waitpid(child, &status, WNOHANG) == 0) {
      kill(child, SIGTERM);
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    EXPECT_TRUE(WIFEXITED(status));
    const std::string output = Read("run.out");
    EXPECT_THAT(output, HasSubstr("caught\n"));
    EXPECT_THAT(output, HasSubstr((maker ? "maker errno " : "select errno ") +
                                  std::to_string(EINTR) + "\nover\n"));
  }
}

TEST_F(BmcsimTest, SignalsStopTheProgramWhereThePlanSays) {
  Words steps = {"open", "/dev/ipmi0", "ask", "28 22", "ask", "F8 10 00", "say", "alive"};
  Ended ended = Bmcsim(Join({"--trace", "t", "--fault", "2: signal KILL"}, CLIENT_PROGRAM, steps));
  EXPECT_EQ(ended.signal, SIGKILL);
  EXPECT_EQ(ended.output, "open 3\nask 5 2C 22 00 01 00\n");
  EXPECT_EQ(Read("t"), "> 28 22\n< 2C 22 00 01 00\n! signal 9\n");
  EXPECT_THAT(Bmcsim({"--dump"}).output, HasSubstr("Spare copy          closed\n"));

  ended = Bmcsim(Join({"--fault", "2: signal KILL after"}, CLIENT_PROGRAM, steps));
  EXPECT_EQ(ended.signal, SIGKILL);
  EXPECT_EQ(ended.output, "open 3\nask 5 2C 22 00 02 00\n");
  EXPECT_THAT(Bmcsim({"--dump"}).output, HasSubstr("Spare copy          open\n"));

  ended = Bmcsim(Join({"--fault", "2: signal TERM"}, CLIENT_PROGRAM, steps));
  EXPECT_EQ(ended.signal, SIGTERM);

  steps.insert(steps.begin(), "survive");
  ended = Bmcsim(Join({"--fault", "2: signal USR1"}, CLIENT_PROGRAM, steps));
  EXPECT_EQ(ended.output, "open 3\nask 5 2C 22 00 04 00\ncaught\nask 3 FC 10 00\nalive\n");
}

TEST_F(BmcsimTest, SignalsComeInWaitsToo) {
  const Ended ended =
      Bmcsim(Join({"--clock", "virtual", "--fault", "wait@4: signal USR1"}, CLIENT_PROGRAM,
                  {"survive", "usleep", "1", "say", "1", "sleep", "1", "say", "2", "nanosleep", "1",
                   "say", "3", "until", "1", "say", "4"}));
  EXPECT_EQ(ended.output, "1\n2\n3\ncaught\n4\n");
}

// Rules that never strike, and the launcher that waits to tell of them.

constexpr char kNeverStruck[] = "bmcsim: the fault plan's rule '2: cc C1' never struck\n";

TEST_F(BmcsimTest, RulesThatNeverStruckAreToldAtTheEnd) {
  const Words steps = {"open", "/dev/ipmi0", "ask", "28 22", "usleep", "1"};
  const std::string plan = "1: cancel\n2: cc C1  # not reached\nwait@1: clock +1; wait@2: clock +1";
  for (const bool strict : {false, true}) {
    Words options = {"--fault", plan};
    if (strict) options.emplace_back("--strict");
    const Ended ended = Bmcsim(Join(options, CLIENT_PROGRAM, steps));
    EXPECT_EQ(ended.status, strict ? 125 : 0);
    EXPECT_EQ(ended.output, "open 3\nask 5 2C 22 00 0" + std::string(strict ? "2" : "1") + " 00\n");
    EXPECT_EQ(ended.errors, std::string(kNeverStruck) +
                                "bmcsim: the fault plan's rule 'wait@2: clock +1' never struck\n");
  }
  const Ended all = Bmcsim(Join({"--strict", "--fault", "1: cancel"}, CLIENT_PROGRAM, steps));
  EXPECT_EQ(all.status, 0);
  EXPECT_EQ(all.errors, "");
}

TEST_F(BmcsimTest, RuleHasStruckIfItStruckInAnyProgramOfTheRun) {
  if (!kLibraryFitsTheSystem) GTEST_SKIP() << kMisfit;
  const std::string client = std::string("'") + CLIENT_PROGRAM + "' ";
  const std::string once = client + "open /dev/ipmi0 ask 'F8 11';";
  const std::string twice = client + "open /dev/ipmi0 ask 'F8 11' ask 'F8 11';";
  const Words strict = {"--strict", "--fault", "2: cc C1", "--", "/bin/sh", "-c"};
  const auto status = [&](const std::string& line) {
    Words words = strict;
    words.push_back(line);
    return Bmcsim(words);
  };
  EXPECT_EQ(status(once + once).errors, kNeverStruck) << "each program counts for itself";
  EXPECT_EQ(status(once + twice + once).status, 0);
  EXPECT_EQ(status(twice + "exit 9").status, 9);
  EXPECT_EQ(status("exit 9").status, 125) << "no program has used the BMC";
  EXPECT_EQ(status(twice + "kill -9 $$").signal, SIGKILL);
  EXPECT_EQ(status(once + "kill -9 $$").status, 125);
}

TEST_F(BmcsimTest, ProgramThatCannotBeRunUnderAPlanIsToldOnce) {
  Write("foreign", "no program");
  const Ended ended = Bmcsim({"--strict", "--fault", "2: cc C1", "--", "./foreign"});
  EXPECT_EQ(ended.status, 2);
  EXPECT_EQ(ended.errors, "bmcsim: cannot run ./foreign: Permission denied\n");
}

TEST_F(BmcsimTest, LauncherThatWaitsPassesSignalsOn) {
  for (const int signal : {SIGTERM, SIGUSR1}) {
    const std::string tag = std::to_string(signal);
    const pid_t child = Start({BMCSIM_PROGRAM, "--fault", "2: cc C1", "--", CLIENT_PROGRAM,
                               "survive", "say", "ready", "sleep", "30", "say", "over"},
                              tag);
    while (Read(tag + ".out") != "ready\n") {
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    kill(child, signal);
    const Ended ended = Wait(child, tag);
    EXPECT_EQ(ended.status, 0);
    EXPECT_EQ(ended.output, "ready\ncaught\nover\n");
    EXPECT_EQ(ended.errors, kNeverStruck);
  }
  const pid_t child = Start(
      {BMCSIM_PROGRAM, "--fault", "2: cc C1", "--", CLIENT_PROGRAM, "say", "ready", "sleep", "30"});
  while (Read("run.out") != "ready\n") std::this_thread::sleep_for(std::chrono::milliseconds(2));
  kill(child, SIGHUP);
  EXPECT_EQ(Wait(child).signal, SIGHUP) << "it ends as the program has ended";
}

TEST_F(BmcsimTest, ProgramDiesWithTheLauncherThatWaits) {
  const pid_t child = Start({BMCSIM_PROGRAM, "--fault", "9: cc C1", "--", "/bin/sh", "-c",
                             "echo $$ >pid.new && mv pid.new pid; exec sleep 60"});
  while (Read("pid").empty()) std::this_thread::sleep_for(std::chrono::milliseconds(2));
  const pid_t program = std::stoi(Read("pid"));
  ASSERT_NE(program, child);
  kill(child, SIGKILL);
  EXPECT_EQ(Wait(child).signal, SIGKILL);
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  // Whoever adopts it may leave it a zombie, which has no memory.
  const fs::path memory = "/proc/" + std::to_string(program) + "/statm";
  while (kill(program, 0) == 0 && !ReadWhole(memory).starts_with("0 ")) {
    ASSERT_LT(std::chrono::steady_clock::now(), give_up) << "it lives on";
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
}

TEST_F(BmcsimTest, NotesThatCannotBeMadeAreFatal) {
  const Ended ended = Bmcsim({"--fault", "9: cc C1", "--", "/usr/bin/env", "BMCSIM_STRIKES=nowhere",
                              CLIENT_PROGRAM, "say", "hi"});
  EXPECT_EQ(ended.status, 2);
  EXPECT_EQ(ended.output, "");
  EXPECT_THAT(ended.errors, HasSubstr("bmcsim: cannot note what the fault plan does: "));
}

// Trace and statistics.

TEST_F(BmcsimTest, TraceIsAppendedTo) {
  for (int run = 0; run < 2; ++run) {
    Client({"--trace", "t"}, {"open", "/dev/ipmi0", "ask", "F8 10 00", "ask", "F8 10 01"});
  }
  const std::string once = "> F8 10 00\n< FC 10 00\n> F8 10 01\n< FC 10 00\n";
  EXPECT_EQ(Read("t"), once + once);
}

TEST_F(BmcsimTest, TraceThatCannotBeWrittenIsFatal) {
  const Ended ended =
      Bmcsim(Join({"--trace", "no/dir"}, CLIENT_PROGRAM, {"open", "/dev/ipmi0", "ask", "28 22"}));
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.errors, HasSubstr("bmcsim: cannot write the trace "));
}

TEST_F(BmcsimTest, StatisticsCountRequestsFaultsAndWaits) {
  Client({"--stats", "s", "--clock", "virtual", "--fault", "every 2: cancel"},
         {"open", "/dev/ipmi0", "loop", "1000", "28 22", "usleep", "5", "sleep", "1"});
  const std::string stats = Read("s");
  EXPECT_THAT(stats, HasSubstr("requests 1000\nfaulted 500\nwaits 2\nsimulator_cpu_ns "));
  const std::string nanoseconds = stats.substr(stats.rfind(' ') + 1);
  EXPECT_GT(std::stoll(nanoseconds), 0) << stats;
}

TEST_F(BmcsimTest, StatisticsAreOfTheProgramThatUsedTheBmc) {
  const Ended ended =
      Bmcsim({"--stats", "s", "--", "/bin/sh", "-c",
              std::string("'") + CLIENT_PROGRAM + "' open /dev/ipmi0 ask '28 22' && sleep 0"});
  EXPECT_EQ(ended.status, 0) << ended.errors;
  EXPECT_THAT(Read("s"), HasSubstr("requests 1\n"));
}

// The clock.

TEST_F(BmcsimTest, VirtualWaitsPassAtOnceAndMoveEveryClock) {
  const std::string output =
      Client({"--clock", "virtual:1000000000"},
             {"time", "usleep", "2000000", "time", "sleep", "30", "time", "nanosleep", "100",
              "time", "until", "4000000", "time", "elapsed"});
  const std::string expected =
      "time 1000000000 1000000000 1000000000\ntime 1000000002 1000000002 1000000002\n"
      "time 1000000032 1000000032 1000000032\ntime 1000000132 1000000132 1000000132\n"
      "time 1004000132 1004000132 1004000132\nelapsed ";
  EXPECT_EQ(output.substr(0, expected.size()), expected);
  EXPECT_LT(std::stol(output.substr(expected.size())), 1000000) << "46 days have not passed";
}

TEST_F(BmcsimTest, CpuClocksAreNoWallClocks) {
  EXPECT_EQ(Client({"--clock", "virtual:1000000000"}, {"sleep", "30", "cpu-time"}), "cpu-time 0\n");
}

TEST_F(BmcsimTest, VirtualClockWithoutAStartBeginsNow) {
  const long before = time(nullptr);
  const std::string output = Client({"--clock", "virtual"}, {"sleep", "1000000", "time"});
  const long shown = std::stol(output.substr(5));
  EXPECT_GE(shown, before + 1000000);
  EXPECT_LE(shown, time(nullptr) + 1000000);
}

TEST_F(BmcsimTest, RealClockIsLeftAlone) {
  const long before = time(nullptr);
  const std::string output = Client({}, {"usleep", "30000", "elapsed", "time"});
  EXPECT_GE(std::stol(output.substr(std::string("elapsed ").size())), 30);
  const long shown = std::stol(output.substr(output.find("time ") + 5));
  EXPECT_GE(shown, before);
  EXPECT_LE(shown, time(nullptr));
}

TEST_F(BmcsimTest, SettingTheClockMovesTheProgramsWallClockAlone) {
  const std::string output =
      Client({"--clock", "virtual:1000000000", "--trace", "t", "--fault",
              "wait@2: clock -3600; 1: clock +86400"},
             {"usleep", "5", "time", "usleep", "5", "time", "open", "/dev/ipmi0", "ask", "F8 10 00",
              "time", "until", "10", "time"});
  EXPECT_EQ(output,
            "time 1000000000 1000000000 1000000000\ntime 999996400 999996400 999996400\n"
            "open 3\nask 3 FC 10 00\ntime 1000082800 1000082800 1000082800\n"
            "time 1000082810 1000082810 1000082810\n");
  EXPECT_EQ(Read("t"), "! clock -3600\n> F8 10 00\n< FC 10 00 ! clock +86400\n");
}

TEST_F(BmcsimTest, SettingTheClockLeavesTheBmcs) {
  Bmcsim({"--create", "--records", "0"});
  // A record is added at 5F5E1000h (1600000000) whatever the program's clock shows.
  const Words steps{"open", "/dev/ipmi0", "ask", "F8 10 00",
                    "ask",  "F8 11",      "ask", "F8 13 01 00 00 00 00 01 00 00 51 01 00",
                    "ask",  "F8 10 02",   "ask", "28 20",
                    "time"};
  const std::string output =
      Client({"--clock", "virtual:1600000000", "--fault", "1: clock +86400"}, steps);
  EXPECT_THAT(output, HasSubstr(" 00 10 5E 5F "));
  EXPECT_THAT(output, HasSubstr("time 1600086400"));
}

TEST_F(BmcsimTest, TheRealClockCanBeSetToo) {
  const long before = time(nullptr);
  const std::string output = Client({"--fault", "wait@1: clock -86400"}, {"usleep", "1", "time"});
  const long shown = std::stol(output.substr(std::string("time ").size()));
  EXPECT_GE(shown, before - 86400);
  EXPECT_LE(shown, time(nullptr) - 86400);
}

TEST_F(BmcsimTest, DelaysTakeTheirTimeOnTheRealClock) {
  for (const char* driver : {"openipmi", "maker"}) {
    const bool maker = std::string(driver) == "maker";
    const std::string output = Client({"--driver", driver, "--fault", "1: delay 0.05"},
                                      {"open", maker ? "/dev/ipmidev" : "/dev/ipmi0",
                                       maker ? "maker" : "ask", "F8 11", "elapsed"});
    const std::string expected =
        maker ? "open 3\nmaker 3 FC 11 D5\nelapsed " : "open 3\nask 3 FC 11 D5\nelapsed ";
    ASSERT_EQ(output.substr(0, expected.size()), expected);
    EXPECT_GE(std::stol(output.substr(expected.size())), 50);
  }
}

// Several programs, and their deaths.

TEST_F(BmcsimTest, TwoProgramsShareOneBmc) {
  Bmcsim({"--create"});
  constexpr int kEach = 2000;
  std::vector<pid_t> children;
  for (const char* tag : {"one", "two"}) {
    children.push_back(Start({BMCSIM_PROGRAM, "--trace", "t", "--", CLIENT_PROGRAM, "open",
                              "/dev/ipmi0", "loop", std::to_string(kEach), "28 22"},
                             tag));
  }
  EXPECT_EQ(Wait(children[0], "one").status, 0);
  EXPECT_EQ(Wait(children[1], "two").status, 0);
  // Each request got a reservation of its own, and the trace lost no line.
  std::istringstream trace(Read("t"));
  std::vector<bool> seen(2 * kEach + 1);
  int answers = 0;
  for (std::string line; std::getline(trace, line);) {
    if (line == "> 28 22") continue;
    ASSERT_EQ(line.size(), 16U) << line;
    const int id = std::stoi(line.substr(14, 2) + line.substr(11, 2), nullptr, 16);
    ASSERT_LE(id, 2 * kEach);
    EXPECT_FALSE(seen[static_cast<std::size_t>(id)]) << id;
    seen[static_cast<std::size_t>(id)] = true;
    ++answers;
  }
  EXPECT_EQ(answers, 2 * kEach);
}

TEST_F(BmcsimTest, ReaderBesideAnUpdateSeesWholeSetsOnly) {
  Bmcsim({"--create", "--records", "0"});
  const pid_t updater =
      Start({BMCSIM_PROGRAM, "--", CLIENT_PROGRAM, "open", "/dev/ipmi0", "update"}, "updater");
  std::string sets;
  for (int reads = 0; reads < 60; ++reads) {
    const std::string dump = Bmcsim({"--dump=hex"}).output;
    const std::string first = dump.substr(0, dump.find('\n') + 1);
    std::string whole;
    for (int record = 0; record < 10 && !first.empty(); ++record) whole += first;
    EXPECT_EQ(dump, whole);
    sets += first;
  }
  kill(updater, SIGKILL);
  EXPECT_EQ(Wait(updater, "updater").signal, SIGKILL);
  EXPECT_NE(sets, "") << "the updater got nowhere";
}

TEST_F(BmcsimTest, KillingAProgramAnywhereLeavesAWholeBmc) {
  Bmcsim({"--create", "--records", "0"});
  const auto state = (directory_ / "bmcsim.state").string();
  std::uint32_t random = 12345;
  for (int round = 0; round < 150; ++round) {
    const pid_t updater =
        Start({BMCSIM_PROGRAM, "--", CLIENT_PROGRAM, "open", "/dev/ipmi0", "update"});
    random = random * 1664525 + 1013904223;
    std::this_thread::sleep_for(std::chrono::microseconds(3000 + (random >> 16) % 8000));
    kill(updater, SIGKILL);
    ASSERT_EQ(Wait(updater).signal, SIGKILL);
    bmcsim::StateFile file;
    std::string error;
    ASSERT_TRUE(file.Open(state, error)) << error << " in round " << round;
    // The set that is served is one that an update committed, or the empty one of the start.
    const bmcsim::Control& control = bmcsim::ActiveControl(*file.state());
    const bmcsim::Store& served = control.store[control.served];
    ASSERT_TRUE(served.record_count == 0 || served.record_count == 10) << served.record_count;
    const auto& bytes = file.state()->store_bytes[control.served];
    for (std::size_t at = 0; at < served.used; at += 32) {
      ASSERT_EQ(bytes[at + 5], bytes[5]);
      ASSERT_EQ(bytes[at + 31], bytes[5]);
    }
  }
}

TEST_F(BmcsimTest, HandlerMayMakeRequestsInsideARequest) {
  constexpr int kRequests = 20000;
  EXPECT_EQ(Client({"--driver", "maker", "--stats", "s"},
                   {"open", "/dev/ipmidev", "pester", std::to_string(kRequests), "28 22"}),
            "open 3\npester " + std::to_string(kRequests) + "\n");
  const int requests = std::stoi(Read("s").substr(std::string("requests ").size()));
  EXPECT_GT(requests, kRequests + 100) << "the handler was hardly called";
}

TEST_F(BmcsimTest, SignalOfThePlanFindsTheDriverReadyForRequests) {
  for (const char* when : {"", " after"}) {
    const std::string plan = std::string("2: signal ALRM") + when;
    EXPECT_EQ(Client({"--driver", "maker", "--fault", plan, "--trace", "t"},
                     {"open", "/dev/ipmidev", "pester-once", "28 22", "maker", "28 22", "maker",
                      "F8 11"}),
              "open 3\nmaker 5 2C 22 00 01 00\nmaker 3 FC 11 D5\n")
        << when;
    fs::remove(directory_ / "bmcsim.state");
  }
  EXPECT_EQ(Read("t"),
            "> 28 22\n< 2C 22 00 01 00\n! signal 14\n> 28 22\n< 2C 22 00 02 00\n"
            "> F8 11\n< FC 11 D5 ! signal ALRM\n"
            "> 28 22\n< 2C 22 00 01 00\n> F8 11\n< FC 11 D5 ! signal ALRM after\n! signal 14\n"
            "> 28 22\n< 2C 22 00 02 00\n");
}

TEST_F(BmcsimTest, StoppedProgramThatHoldsNothingBlocksNobody) {
  Bmcsim({"--create"});
  const pid_t child = Start({BMCSIM_PROGRAM, "--fault", "2: signal STOP", "--", CLIENT_PROGRAM,
                             "open", "/dev/ipmi0", "loop", "9", "28 22"},
                            "stopped");
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, WUNTRACED), child);
  ASSERT_TRUE(WIFSTOPPED(status));
  EXPECT_EQ(Client({}, {"open", "/dev/ipmi0", "ask", "28 22"}), "open 3\nask 5 2C 22 00 02 00\n");
  kill(child, SIGCONT);
  EXPECT_EQ(Wait(child, "stopped").status, 0);
}

TEST_F(BmcsimTest, EnvironmentThatTheLauncherDidNotMakeIsChecked) {
  if (!kLibraryFitsTheSystem) GTEST_SKIP() << kMisfit;
  for (const char* spoilt : {"BMCSIM_CLOCK=fast", "BMCSIM_FAULT=1:explode"}) {
    const Ended ended = Bmcsim({"--", "/usr/bin/env", spoilt, CLIENT_PROGRAM, "say", "hi"});
    EXPECT_EQ(ended.status, 2);
    EXPECT_EQ(ended.output, "");
    EXPECT_THAT(ended.errors, ::testing::StartsWith("bmcsim: "));
  }
}

TEST_F(BmcsimTest, StateThatVanishesIsTold) {
  const Ended ended =
      Bmcsim({"--", "/bin/sh", "-c",
              std::string("rm bmcsim.state; '") + CLIENT_PROGRAM + "' open /dev/ipmi0"});
  EXPECT_EQ(ended.status, 2);
  EXPECT_THAT(ended.errors, HasSubstr("bmcsim.state as a BMC's state: No such file or directory"));
}

TEST_F(BmcsimTest, FewDescriptorsAreEnough) {
  const Ended ended = Bmcsim(
      {"--trace", "t", "--", "/bin/sh", "-c",
       std::string("ulimit -n 5; exec '") + CLIENT_PROGRAM + "' open /dev/ipmi0 ask '28 22'"});
  EXPECT_EQ(ended.output, "open 3\nask 5 2C 22 00 01 00\n") << ended.errors;
  EXPECT_EQ(Read("t"), "> 28 22\n< 2C 22 00 01 00\n");
}

TEST_F(BmcsimTest, OtherPreloadedLibrariesStay) {
  const Ended ended = Bmcsim({"--", "/usr/bin/env", "LD_PRELOAD=", BMCSIM_PROGRAM, "--", "/bin/sh",
                              "-c", "echo $LD_PRELOAD"});
  EXPECT_THAT(ended.output, HasSubstr("libbmcsim.so\n"));
  EXPECT_THAT(ended.output, Not(HasSubstr(":")));
  const Ended two = Bmcsim({"--", BMCSIM_PROGRAM, "--", "/bin/sh", "-c", "echo $LD_PRELOAD"});
  EXPECT_THAT(two.output, HasSubstr("libbmcsim.so:"));
}

// AddressSanitizer's shared runtime wants to be the first library.

TEST_F(BmcsimTest, SanitizedProgramsRunToo) {
  const Words steps = {"open", "/dev/ipmi0", "ask", "28 22", "time", "sleep", "5", "time"};
  EXPECT_EQ(Client({"--clock", "virtual:100", "--trace", "t"}, steps, CLIENT_ASAN_PROGRAM),
            "open 3\nask 5 2C 22 00 01 00\ntime 100 100 100\ntime 105 105 105\n");
  EXPECT_EQ(Client({"--driver", "maker", "--fault", "1: cc C3", "--stats", "s"},
                   {"open", "/dev/ipmidev", "maker", "28 22"}, CLIENT_ASAN_PROGRAM),
            "open 3\nmaker 3 2C 22 C3\n");
}

}  // namespace
}  // namespace bmcsim_test
