// A backup image where files may grow no more.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <csignal>
#include <filesystem>

#include "driver/reporting/run_settings.h"
#include "repository/backup_image.h"
#include "tests/unit/support/fresh_run.h"
#include "transport/ipmi_commands.h"

namespace tarvek_test {
namespace {

/// Lets files grow only so far, without a signal, as long as it lives.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t size) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &old_);
    rlimit changed = old_;
    changed.rlim_cur = size;
    EXPECT_EQ(setrlimit(RLIMIT_FSIZE, &changed), 0);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &old_);
    std::signal(SIGXFSZ, handler_);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  void (*const handler_)(int);
  rlimit old_{};
};

class BackupLimits : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kBackup;  // errors reach the log alone
    ipm_sdr_size = 16;
  }
};

TEST_F(BackupLimits, TheFirstBlockThatDoesNotFitEndsTheBackup) {
  for (const rlim_t size : {0U, 32U, 64U, 96U}) {  // ahead of header, identity, control, records
    SCOPED_TRACE(size);
    std::filesystem::remove("tarvek.log");
    int result = 1;
    {
      const FileSizeLimit limit(size);
      result = set_backup("image");
    }
    EXPECT_EQ(result, 0);
    EXPECT_EQ(std::filesystem::file_size("image"), size);
  }
}

}  // namespace
}  // namespace tarvek_test
