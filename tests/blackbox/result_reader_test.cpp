// What a caller finds who reads the tool's files at any moment: the text that was there, or the
// next one, and never a mix; and no text at all where one could not be written.
#include <fcntl.h>
#include <semaphore.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdlib>
#include <thread>
#include <utility>

#include "tests/blackbox/sdr_text.h"
#include "tests/blackbox/simulated_server.h"

namespace blackbox {
namespace {

using Texts = std::vector<std::string>;

// Lets a reader in between any two calls that change a file.
constexpr const char* kSlow =
    "open@1-=SLOW write@1-=SLOW pwrite@1-=SLOW ftruncate@1-=SLOW close@1-=SLOW fclose@1-=SLOW";

/// Reads a file over and over until it is told to stop. A reading counts when a second one agrees
/// with it: a read that is under way at the very moment of a write is not promised anything.
class Reader {
 public:
  explicit Reader(std::string path) : path_(std::move(path)) {
    Look();
    thread_ = std::thread([this] {
      while (!done_) Look();
    });
  }

  /// @return what it has found, each text once in a row, without the white space behind it.
  Texts Stop() {
    done_ = true;
    thread_.join();
    Look();
    return found_;
  }

 private:
  void Look() {
    const int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return;
    const std::string text = Contents(fd);
    const bool sure = Contents(fd) == text;
    close(fd);
    if (sure && (found_.empty() || found_.back() != text)) found_.push_back(text);
  }

  /// The file with one read, without the white space behind its text.
  static std::string Contents(int fd) {
    std::array<char, 8192> bytes{};
    const ssize_t size = pread(fd, bytes.data(), bytes.size(), 0);
    std::string text(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    text.erase(text.find_last_not_of(" \n") + 1);
    return text;
  }

  std::string path_;
  Texts found_;
  std::atomic<bool> done_ = false;
  std::thread thread_;
};

/// A result file's text as the reader tells it.
std::string Told(const std::string& code, const std::string& data = "") {
  std::string text = ResultText(code, data);
  text.pop_back();
  return text;
}

class ResultReader : public SimulatedServer {
 protected:
  static constexpr const char* kResult = "Update_normal.xml";
  static constexpr const char* kProgress = "Get_ratio.xml_tmp";
  static constexpr const char* kCache = "sdrversion_HW";

  void SetUp() override {
    SimulatedServer::SetUp();
    CreateServer(1);
    Write("BMCSDR.SDR", SdrText(SdrSet(2)));
    KeepBmc();
  }

  /// A run over the BMC as it was at first.
  Outcome Run(const Texts& arguments, const std::string& failing,
              rlim_t file_size = RLIM_INFINITY) {
    RestoreBmc();
    RunOptions options;
    options.direct = true;
    options.failing = failing;
    options.traced = false;
    if (file_size != RLIM_INFINITY) options.limits = {{RLIMIT_FSIZE, file_size}};
    return Tarvek(arguments, options);
  }

  static void ExpectRisingProgress(const Texts& found) {
    EXPECT_GE(found.size(), 2U);
    int before = 0;
    for (const std::string& text : found) {
      const int percent = std::atoi(text.c_str() + Told("OK").find("</data>"));
      EXPECT_EQ(text, Told("OK", std::to_string(percent)));
      EXPECT_GE(percent, before);
      before = percent;
    }
  }
};

TEST_F(ResultReader, FindsEachWordOfAnUpdateWholeAndInItsOrder) {
  // An earlier word that is longer than the next one, one that is as long, and one that is shorter.
  for (const std::string earlier : {"Down Grade", "Complete, and more", "??", ""}) {
    SCOPED_TRACE(earlier);
    Write(kResult, ResultText(earlier));
    Reader reader(Path(kResult));
    EXPECT_EQ(Run({"-update", "-sdr"}, kSlow).exit_status, 0);
    EXPECT_EQ(reader.Stop(), (Texts{Told(earlier), Told("OK"), Told("Complete")}));
    EXPECT_EQ(Read(kResult), ResultText("Complete")) << "and no white space behind the last one";
  }
}

TEST_F(ResultReader, FindsAFileThatIsNewWithItsTextInIt) {
  Reader result(Path(kResult));
  Reader progress(Path(kProgress));
  EXPECT_EQ(Run({"-update", "-sdr"}, kSlow).exit_status, 0);
  EXPECT_EQ(result.Stop(), (Texts{Told("OK"), Told("Complete")}));
  ExpectRisingProgress(progress.Stop());
}

TEST_F(ResultReader, FindsEachStepOfTheProgressWhole) {
  const std::string earlier = Told("OK", "what a run that was killed has left");
  Write(kProgress, earlier);
  Reader reader(Path(kProgress));
  EXPECT_EQ(Run({"-update", "-sdr"}, kSlow).exit_status, 0);
  Texts found = reader.Stop();
  EXPECT_EQ(found.front(), earlier);
  found.erase(found.begin());
  ExpectRisingProgress(found);
}

TEST_F(ResultReader, FindsTheAnswersOfProgressQueriesWhole) {
  const std::string progress = Told("OK", "5");
  Write("Get_ratio.xml", ResultText("No-Command"));
  Reader reader(Path("Get_ratio.xml"));
  Write(kProgress, progress);
  EXPECT_EQ(Run({"-ratio"}, kSlow).exit_status, 0);
  Remove(kProgress);
  EXPECT_EQ(Run({"-ratio"}, kSlow).exit_status, 0);
  EXPECT_EQ(reader.Stop(), (Texts{Told("No-Command"), progress, Told("No-Command")}));
}

/// Whatever write fails for good, what was found before it is never found again, and never a mix.
TEST_F(ResultReader, FindsNothingWhereNothingCouldBeWritten) {
  const std::string error = Told("SDR068");
  for (int k = 1; k <= 16; ++k) {
    const std::string rule = std::string(kSlow) + " pwrite@" + std::to_string(k) + "-=ENOSPC";
    SCOPED_TRACE(rule);
    Write(kResult, ResultText("Complete"));
    Reader reader(Path(kResult));
    EXPECT_EQ(Run({"-update", "-sdr", "missing"}, rule).exit_status, 0);
    const Texts found = reader.Stop();
    for (const std::string& text : found) {
      EXPECT_TRUE(text == Told("Complete") || text == Told("OK") || text == error || text.empty())
          << text;
    }
    EXPECT_EQ(std::count(found.begin(), found.end(), Told("Complete")), 1);
    EXPECT_TRUE(found.back() == error || found.back().empty()) << found.back();
    ASSERT_FALSE(HasFailure());
  }
}

TEST_F(ResultReader, FindsTheWordThoughOneWriteHasFailed) {
  for (const char* failure : {"ENOSPC", "EIO", "EINTR", "SHORT"}) {
    for (const char* function : {"write@", "pwrite@"}) {
      for (int k = 1; k <= 16; ++k) {
        const std::string rule = function + std::to_string(k) + "=" + failure;
        SCOPED_TRACE(rule);
        Write(kResult, ResultText("Complete"));
        EXPECT_EQ(Run({"-update", "-sdr", "missing"}, rule).exit_status, 0);
        EXPECT_EQ(Read(kResult), ResultText("SDR068"));
        ASSERT_FALSE(HasFailure());
      }
    }
  }
}

TEST_F(ResultReader, FindsWhatFitsIntoTheLimitOfTheSizeOfFiles) {
  const std::size_t ok = ResultText("OK").size();
  const std::size_t error = ResultText("SDR068").size();
  for (std::size_t size = ok - 8; size <= error + 2; ++size) {
    SCOPED_TRACE(size);
    Write(kResult, ResultText("Complete"));
    Remove("tarvek.log");
    EXPECT_EQ(Run({"-update", "-sdr", "missing"}, "", size).exit_status, 0);
    EXPECT_EQ(Read(kResult), size >= error ? ResultText("SDR068") : "");
  }
}

// The version cache, whose reader is the next run.

TEST_F(ResultReader, FindsNoVersionThatWasCutShort) {
  EXPECT_EQ(Run({"-version", "-sdr"}, "").exit_status, 0);
  const std::size_t whole = Read(kCache).size();
  ASSERT_EQ(Read(kCache).substr(whole - 6), "01.02\n");
  for (std::size_t size = sizeof(sem_t); size <= whole; ++size) {  // the lock is a file, too
    SCOPED_TRACE(size);
    Remove(kCache);
    EXPECT_EQ(Run({"-version", "-sdr"}, "", size).exit_status, 0);
    EXPECT_EQ(Exists(kCache), size == whole);
    EXPECT_EQ(Run({"-version", "-sdr"}, "").exit_status, 0);
    EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", "Upper", "01.02"));
  }
}

TEST_F(ResultReader, FindsNoVersionWhoseWritingOrClosingFailed) {
  int lost = 0;
  for (const std::string function : {"pwrite@", "close@"}) {
    for (int k = 1; k <= (function == "pwrite@" ? 8 : 40); ++k) {
      const std::string rule = function + std::to_string(k) + "-=ENOSPC";
      SCOPED_TRACE(rule);
      Remove(kCache);
      Run({"-version", "-sdr"}, rule);
      const Texts report = TakeCallReport();
      const std::string failure = "fail call " + function.substr(0, function.size() - 1) + " ";
      if (std::count(report.begin(), report.end(), failure + kCache) != 0) {
        EXPECT_FALSE(Exists(kCache));
        ++lost;
      }
      EXPECT_EQ(Run({"-version", "-sdr"}, "").exit_status, 0);
      EXPECT_EQ(Read("Get_version.xml"), VersionResult("OK", "Upper", "01.02"));
      ASSERT_FALSE(HasFailure());
    }
  }
  EXPECT_GT(lost, 8) << "both kinds of failure have struck the cache";
}

}  // namespace
}  // namespace blackbox
