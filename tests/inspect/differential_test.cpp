// The companion and the tool read alike: what `tarvek-sdr show --raw` shows of an input is what a
// forced update with it has written, and what the one refuses the other does, too.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <sstream>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

std::string WholeFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// What the companion shows, record by record as the simulator dumps them: without record IDs.
std::vector<std::string> WithoutIds(const std::string& raw) {
  constexpr std::size_t kId = 6;  // "00 00 "
  std::vector<std::string> lines;
  std::istringstream text(raw);
  for (std::string line; std::getline(text, line);) {
    EXPECT_EQ(line.substr(0, kId), "00 00 ");
    lines.push_back(line.substr(kId));
  }
  return lines;
}

bool HasShortRecord(const std::vector<std::string>& records) {
  constexpr std::size_t kLine = 3 * (16 - 2) - 1;  // of a record of 16 bytes
  return std::any_of(records.begin(), records.end(),
                     [](const std::string& record) { return record.size() < kLine; });
}

class Differential : public SimulatedServer {
 protected:
  void SetUp() override {
    SimulatedServer::SetUp();
    CreateServer();
    KeepBmc();
    old_ = Repository();
    for (const char* name : {"BOARD.SDR", "OLDBOARD.SDR"}) {
      Write(name, WholeFile(std::filesystem::path(EXAMPLES_DIRECTORY) / name));
    }
  }

  Outcome Show(const std::vector<std::string>& options) {
    std::vector<std::string> words{TARVEK_SDR_PROGRAM, "show"};
    words.insert(words.end(), options.begin(), options.end());
    return RunProgram(words, directory().string());
  }

  /// Gives one input to both.
  /// @param option  the tool's: -sdr, -cfg or -bin.
  void Compare(const std::string& option, const std::string& bytes, const std::string& name) {
    SCOPED_TRACE(name);
    RestoreBmc();
    Write("input", bytes);
    Remove("sdrversion_HW");
    Remove("Update_force.xml");
    RunOptions direct;
    direct.direct = true;
    const Outcome run = Tarvek({"-update", "-force", option, "input"}, direct);
    EXPECT_EQ(run.exit_status, 0);
    std::vector<std::string> options{"--raw", "input"};
    if (option == "-cfg") options.insert(options.begin(), "--cfg");
    const Outcome shown = Show(options);
    ASSERT_EQ(shown.signal, 0) << shown.errors;

    const std::string result = Read("Update_force.xml");
    const bool complete = result == ResultText("Complete");
    if (shown.exit_status != 0) {
      EXPECT_EQ(shown.exit_status, 3);
      EXPECT_NE(shown.errors, "");
      EXPECT_EQ(shown.console, "");
      EXPECT_FALSE(complete) << "the tool takes what the companion refuses: " << shown.errors;
      ++refused_;
      return;
    }
    const std::vector<std::string> records = WithoutIds(shown.console);
    if (!complete) {
      // The one thing that the files alone do not decide: how a BMC answers a read of 16 bytes of
      // a shorter record.
      const bool reads_whole_pieces = option == "-bin" || bytes.find("'1.5") == std::string::npos;
      EXPECT_TRUE(reads_whole_pieces && HasShortRecord(records)) << result << Read("tarvek.log");
      return;
    }
    const bool programs = option != "-cfg" || Programs();
    EXPECT_EQ(Repository(), programs ? records : old_);
    ++taken_;
  }

  /// Whether the script that is the input programs a file.
  bool Programs() {
    return Show({"--cfg", "--json", "input"}).console.find("\"compare\": false") !=
           std::string::npos;
  }

  void CompareAll(const std::string& option, const std::filesystem::path& corpus) {
    std::vector<std::filesystem::path> files;
    std::copy_if(std::filesystem::directory_iterator(corpus), {}, std::back_inserter(files),
                 [](const auto& entry) { return entry.is_regular_file(); });
    ASSERT_GT(files.size(), 10U);
    std::sort(files.begin(), files.end());
    for (const std::filesystem::path& file : files) {
      Compare(option, WholeFile(file), file.filename());
    }
  }

  int taken_ = 0;
  int refused_ = 0;

 private:
  std::vector<std::string> old_;
};

TEST_F(Differential, OverTheSourceFilesOfTheFuzzersCorpus) {
  CompareAll("-sdr", std::filesystem::path(CORPUS_DIRECTORY) / "sdr_text");
  EXPECT_GT(taken_, 3);
  EXPECT_GT(refused_, 3);
}

TEST_F(Differential, OverTheScriptsOfTheFuzzersCorpus) {
  CompareAll("-cfg", std::filesystem::path(CORPUS_DIRECTORY) / "script_text");
  EXPECT_GT(refused_, 3);
}

TEST_F(Differential, OverTheImagesOfTheFuzzersCorpus) {
  CompareAll("-bin", std::filesystem::path(CORPUS_DIRECTORY) / "backup_image");
  EXPECT_GT(refused_, 3);
}

/// Changes a text here and there, in words more often than in bytes.
class Mutator {
 public:
  explicit Mutator(unsigned seed) : random_(seed) {}

  std::string Mutate(std::string text) {
    for (unsigned n = Below(3) + 1; n > 0; --n) text = MutateOnce(std::move(text));
    return text;
  }

 private:
  unsigned Below(std::size_t end) { return static_cast<unsigned>(random_() % end); }

  std::string MutateOnce(std::string text) {
    static const std::vector<std::string> kWords{
        "_SDR_TYPE", "_SDR_TAG",     "_REC_LEN", ")",       "(",     "//",
        "''",        "'A",           "C0",       "C0#",     "1",     "123",
        "00",        "40",           "41",       "FF",      "'ABC'", "_SDR",
        "\n",        "\r\n",         "01 02 03", "SET",     "CLEAR", "IFSET",
        "ELSE",      "ENDIF",        "SDRNAME",  "COMPARE", "FIRST", "LAST",
        "BOARD.SDR", "OLDBOARD.SDR", "NONE.SDR", "\"",      "CPU2",  "PSU1",
        "DISPLAY"};
    const std::size_t at = Below(text.size() + 1);
    const std::size_t end = std::min(text.find_first_of(" \n", at), text.size());
    switch (Below(6)) {
      case 0:
        return text.substr(0, at) + " " + kWords[Below(kWords.size())] + " " + text.substr(at);
      case 1:
        return text.erase(at, end - at);
      case 2:
        return text.substr(0, at) + kWords[Below(kWords.size())] + text.substr(end);
      case 3:
        return text.insert(at, text.substr(at, end - at) + " ");
      case 4:
        if (!text.empty()) text[std::min(at, text.size() - 1)] = static_cast<char>(Below(256));
        return text;
      default:
        return Below(4) == 0 ? text.substr(0, at) : text;
    }
  }

  std::mt19937 random_;
};

TEST_F(Differential, OverSourceFilesWithChanges) {
  Mutator mutator(1);
  const std::string board = Read("BOARD.SDR");
  std::string old_format = SdrText(SdrSet(3));
  old_format.replace(old_format.find("'1.5'"), 5, "'1.4'");
  old_format.replace(old_format.find("'1.50'"), 6, "0100");
  for (int i = 0; i < 200; ++i) {
    const std::string text = mutator.Mutate(i % 3 == 0 ? old_format : board);
    Compare("-sdr", text, "change " + std::to_string(i) + ":\n" + text);
    if (HasFailure()) return;
  }
  EXPECT_GT(taken_, 20);
  EXPECT_GT(refused_, 20);
}

TEST_F(Differential, OverScriptsWithChanges) {
  Mutator mutator(2);
  const std::string script =
      "SET CPU2\nIFSET CPU2\nSET PSU1\nSDRNAME BOARD.SDR FIRST\nELSE\nSDRNAME OLDBOARD.SDR\nENDIF\n"
      "SDRNAME BOARD.SDR COMPARE LAST\nCLEAR X\n";
  for (int i = 0; i < 150; ++i) {
    const std::string text = mutator.Mutate(script);
    Compare("-cfg", text, "change " + std::to_string(i) + ":\n" + text);
    if (HasFailure()) return;
  }
  EXPECT_GT(taken_, 20);
  EXPECT_GT(refused_, 20);
}

TEST_F(Differential, OverABackupOfTheBmc) {
  RunOptions direct;
  direct.direct = true;
  Tarvek({"-backup"}, direct);
  Compare("-bin", Read("BMCSDR.BAK"), "backup");
  EXPECT_EQ(taken_, 1);
}

}  // namespace
}  // namespace blackbox
