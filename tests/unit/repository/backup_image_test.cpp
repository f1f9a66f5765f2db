#include "repository/backup_image.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>

#include "driver/reporting/run_settings.h"
#include "tests/unit/support/fresh_run.h"
#include "tests/unit/support/no_standard_input.h"
#include "tests/unit/support/small_bmc.h"
#include "transport/ipmi_commands.h"
#include "transport/ipmi_driver.h"

namespace tarvek_test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

constexpr const char* kShortRead = "Error, Backup File I/O error _read : errno=0";
constexpr const char* kBadHeader = "Error, BIN file Checksum error IPMI header infomation";
constexpr const char* kBadControl = "Error, BIN file Checksum error IPMI SDR Contorol infomation";
constexpr const char* kBadRecords = "Error, BIN file Checksum error IPMI SDR Records";
constexpr const char* kNoBackup = "Error, BIN file not Backup file illegal File ID";

constexpr std::size_t kHeaderSize = 64;
constexpr std::size_t kIdentityStart = 64;
constexpr std::size_t kControlStart = 96;
constexpr std::size_t kAreaStart = 128;

std::uint8_t Checksum(const Bytes& bytes) {
  unsigned sum = 0;
  for (const std::uint8_t byte : bytes) sum += byte;
  return static_cast<std::uint8_t>((256 - sum % 256) % 256);
}

void PutLong(Bytes& bytes, std::size_t offset, std::uint32_t value) {
  for (std::size_t i = 0; i < 4; ++i) {
    bytes[offset + i] = static_cast<std::uint8_t>(value >> (8 * i));
  }
}

/// Makes the last byte of a block the checksum of those before it.
void Seal(Bytes& block) {
  block.pop_back();
  block.push_back(Checksum(block));
}

Bytes Join(const std::vector<Bytes>& parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

std::string AsText(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

/// The parts of an image, good ones unless a test changes them.
struct ImageParts {
  explicit ImageParts(const Bytes& records) : area(records) {
    header = TextBytes("KOV IPMI");
    header.insert(header.end(), {0x04, 0x02, 0x09, 0x00});
    header.resize(kHeaderSize, 0x00);
    PutLong(header, 12, 1000000000);
    PutLong(header, 16, 64);
    PutLong(header, 20, 96);
    identity = {0x00, 0x20, 0x01, 0x02, 0x34, 0x51, 0x9F, 0x77,
                0x00, 0x00, 0xA3, 0x01, 0x0A, 0x0B, 0x0C, 0x0D};
    identity.resize(32, 0x00);
    identity[28] = 0x07;
    identity[29] = 1;
    identity[30] = 1;
    control = {0x00, 0x51, 0x02, 0x00, 0x00, 0x10, 0x04, 0x03,
               0x02, 0x01, 0x08, 0x07, 0x06, 0x05, 0x2F};
    control.resize(32, 0x00);
    PutLong(control, 16, 32);
    PutLong(control, 20, static_cast<std::uint32_t>(area.size()));
    control[30] = Checksum(area);
    SealAll();
  }
  void SealAll() {
    Seal(header);
    Seal(identity);
    Seal(control);
  }
  /// Puts an event-log control block and `data` before the SDR control block.
  void AddEventLog(const Bytes& data, std::uint32_t announced) {
    event_log.assign(32, 0xE1);
    PutLong(event_log, 20, announced);
    event_log.insert(event_log.end(), data.begin(), data.end());
    PutLong(header, 28, 96);
    SealAll();
  }
  Bytes Whole() const { return Join({header, identity, event_log, control, area}); }

  Bytes header;
  Bytes identity;
  Bytes event_log;
  Bytes control;
  Bytes area;
};

std::ptrdiff_t OpenDescriptors() {
  const std::filesystem::directory_iterator entries("/proc/self/fd");
  return std::distance(begin(entries), end(entries));
}

/// Bytes that this process has read so far.
std::ptrdiff_t BytesRead() {
  const std::string counts = ReadFile("/proc/self/io");
  return std::stol(counts.substr(counts.find(' ')));  // "rchar: " comes first
}

class BackupImage : public FreshRun {
 protected:
  void SetUp() override {
    FreshRun::SetUp();
    g_eu_flg = kBackup;  // errors reach the log alone
    UseOpenIpmi();
    machine().bmc = [this](const Bytes& request) { return bmc_.Answer(request); };
  }

  /// Loads `image`; the descriptor that a restore leaves open is closed again.
  int Restore(const Bytes& image) {
    WriteFile("image", AsText(image));
    std::filesystem::remove("tarvek.log");
    const int next = dup(STDERR_FILENO);
    close(next);
    const int result = get_backup("image");
    if (fcntl(next, F_GETFD) != -1) close(next);
    return result;
  }
  static Bytes Area() { return Bytes(ipm_SDR, ipm_SDR + ipm_sdr_size); }
  static Bytes FileBytes(const std::string& path) { return TextBytes(ReadFile(path)); }

  /// What set_backup() writes, put into memory by hand.
  static void Fill(const ImageParts& parts) {
    std::copy(parts.identity.begin(), parts.identity.end(), ipm_ipmi);
    std::copy(parts.control.begin(), parts.control.end(), ipm_sdr_ctrl);
    std::copy(parts.area.begin(), parts.area.end(), ipm_SDR);
    ipm_sdr_size = static_cast<unsigned short>(parts.area.size());
  }

  SmallBmc bmc_;
  const ImageParts small_{Join({CountingRecord(1, 3), CountingRecord(2, 11)})};
};

// --- Saving ---

TEST_F(BackupImage, TheWholeFileByteByByte) {
  machine().now = 0x3B9ACA00;
  bmc_.device_id.insert(bmc_.device_id.end(), {0x0A, 0x0B, 0x0C, 0x0D});
  bmc_.records = {MakeRecord(1, 0x01, {0x11, 0x22, 0x33}), MakerRecord(2, TextBytes("S1"))};
  EXPECT_EQ(sdrBinCreate("BMCSDR.BAK"), 0);
  const Bytes header{'K',  'O',  'V',  ' ',  'I',  'P',  'M',  'I',   //
                     0x04, 0x02, 0x09, 0x00, 0x00, 0xCA, 0x9A, 0x3B,  //
                     0x40, 0x00, 0x00, 0x00, 0x60, 0x00, 0x00, 0x00,  //
                     0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
                     0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
                     0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
                     0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
                     0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x73};
  const Bytes identity{0x00, 0x20, 0x01, 0x02, 0x34, 0x51, 0x9F, 0x77,  //
                       0x00, 0x00, 0xA3, 0x01, 0x0A, 0x0B, 0x0C, 0x0D,  //
                       0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,  //
                       0x00, 0x00, 0x00, 0x00, 0x07, 0x01, 0x01, 0x67};
  const Bytes control{0x00, 0x51, 0x02, 0x00, 0x00, 0x10, 0x04, 0x03,  //
                      0x02, 0x01, 0x08, 0x07, 0x06, 0x05, 0x2F, 0x00,  //
                      0x20, 0x00, 0x00, 0x00, 0x12, 0x00, 0x00, 0x00,  //
                      0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x31, 0xE7};
  const Bytes area{0x01, 0x00, 0x51, 0x01, 0x03, 0x11, 0x22, 0x33,  //
                   0x02, 0x00, 0x51, 0xC0, 0x05, 0x77, 0x00, 0x00, 0x53, 0x31};
  EXPECT_EQ(FileBytes("BMCSDR.BAK"), Join({header, identity, control, area}));
  EXPECT_THAT(LogTexts(), ElementsAre("SDRReocrd Reading", "SDR backup complete."));
}

TEST_F(BackupImage, TheBmcIsAskedInOrderBeforeTheFileIsMade) {
  bmc_.records = {CountingRecord(1, 0)};
  bmc_.intercept = [](const Bytes&) -> std::optional<Reply> {
    EXPECT_FALSE(std::filesystem::exists("BMCSDR.BAK"));
    return std::nullopt;
  };
  EXPECT_EQ(sdrBinCreate("BMCSDR.BAK"), 0);
  std::vector<Bytes> commands;
  for (const Bytes& request : machine().requests) commands.push_back({request[0], request[1]});
  EXPECT_THAT(commands, ElementsAre(Bytes{0x18, 0x01}, Bytes{0xF8, 0xE0}, Bytes{0x28, 0x22},
                                    Bytes{0x28, 0x23}, Bytes{0x28, 0x20}));
}

TEST_F(BackupImage, EveryStepThatFailsEndsTheBackupWith81) {
  struct Case {
    std::uint8_t command;
    const char* line;
  };
  const Case cases[] = {
      {0x01, "Command: Get Device ID"},
      {0x22, "Command: Get SDR or Reserve SDR Repository"},
      {0x23, "Command: Get SDR or Reserve SDR Repository"},
      {0x20, "Command: Get SDR Repository Info"},
  };
  for (const Case& c : cases) {
    ipm_sdr_size = 0;
    std::filesystem::remove("tarvek.log");
    bmc_.records = {CountingRecord(1, 0)};
    bmc_.intercept = [&](const Bytes& request) -> std::optional<Reply> {
      return request[1] == c.command ? std::optional(DriverFails()) : std::nullopt;
    };
    EXPECT_EQ(sdrBinCreate("BMCSDR.BAK"), 81);
    EXPECT_FALSE(std::filesystem::exists("BMCSDR.BAK"));
    const std::vector<std::string> lines = LogTexts();
    EXPECT_EQ(
        std::count(lines.begin(), lines.end(),
                   std::string("Error, IPMI comand error for Backup/GetSdrVersion ") + c.line),
        1);
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "SDR backup complete."), 0);
  }
}

TEST_F(BackupImage, AFileThatCannotBeCreatedEndsTheBackupWith81) {
  bmc_.records = {CountingRecord(1, 0)};
  EXPECT_EQ(sdrBinCreate("no/such/directory"), 81);
  EXPECT_THAT(LogTexts(), ElementsAre("SDRReocrd Reading",
                                      "Error, failed to open output bin file _open : errno=2"));
}

TEST_F(BackupImage, TheReasonOfAFailedCreateIsItsErrno) {
  std::filesystem::create_directory("directory");
  EXPECT_EQ(set_backup("directory"), 0);
  EXPECT_EQ(LogTexts().back(), "Error, failed to open output bin file _open : errno=21");
  g_eu_flg = kNormalUpdate;
  EXPECT_EQ(set_backup(""), 0);
  EXPECT_EQ(LogTexts().back(), "Error, failed to open output bin file _open : errno=2");
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDR078"));
}

TEST_F(BackupImage, APipeWithoutAReaderCannotBeCreated) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  EXPECT_EQ(set_backup("pipe"), 0);
  EXPECT_THAT(LogTexts(), ElementsAre("Error, failed to open output bin file _open : errno=6"));
}

TEST_F(BackupImage, TheCreationTimeIsLocalStandardTime) {
  struct Case {
    const char* zone;
    std::uint32_t time;
  };
  for (const Case& c : {Case{"UTC", 1000000000}, Case{"JST-9", 1000000000 + 9 * 3600},
                        Case{"EST5EDT", 1000000000 - 5 * 3600}}) {
    setenv("TZ", c.zone, 1);
    Fill(small_);
    std::fill(std::begin(ipm_head), std::end(ipm_head), static_cast<unsigned char>(0xFF));
    EXPECT_EQ(set_backup("image"), 1);
    ImageParts expected = small_;
    PutLong(expected.header, 12, c.time);
    expected.SealAll();
    EXPECT_EQ(FileBytes("image"), expected.Whole()) << c.zone;
  }
  setenv("TZ", "UTC", 1);
  tzset();
}

TEST_F(BackupImage, ANewFileIsTheOwnersAloneAndAnOlderOneIsReplaced) {
  Fill(small_);
  const mode_t mask = umask(0);
  EXPECT_EQ(set_backup("new"), 1);
  umask(mask);
  struct stat info {};
  ASSERT_EQ(stat("new", &info), 0);
  EXPECT_EQ(info.st_mode & 07777, 0600U);

  WriteFile("old", std::string(100000, 'x'));
  EXPECT_EQ(set_backup("old"), 1);
  EXPECT_EQ(FileBytes("old"), small_.Whole());
}

TEST_F(BackupImage, AnEmptyRepositoryIsAnImageWithoutRecords) {
  const ImageParts empty{Bytes{}};
  Fill(empty);
  EXPECT_EQ(set_backup("image"), 1);
  EXPECT_EQ(FileBytes("image"), empty.Whole());
}

TEST_F(BackupImage, AFileThatIsSavedIsClosed) {
  Fill(small_);
  const std::ptrdiff_t before = OpenDescriptors();
  EXPECT_EQ(set_backup("image"), 1);
  EXPECT_EQ(set_backup("/dev/full"), 0);
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(BackupImage, ADescriptorOf0IsAsGoodAsAnother) {
  const int input = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  EXPECT_EQ(set_backup("saved"), 1);
  EXPECT_EQ(open("saved", O_RDONLY), STDIN_FILENO) << "it was closed again";
  EXPECT_EQ(get_backup("saved"), 1);
  dup2(input, STDIN_FILENO);
  close(input);
}

TEST_F(BackupImage, AFullDeviceIsNoSpace) {
  bmc_.records = {CountingRecord(1, 0)};
  EXPECT_EQ(sdrBinCreate("/dev/full"), 81);
  EXPECT_THAT(LogTexts(),
              ElementsAre("SDRReocrd Reading", "Error, Backup File I/O error No Space"));
}

TEST_F(BackupImage, AFileThatMayNotGrowIsLeftHalfWritten) {
  Fill(ImageParts(Bytes(30000, 0x55)));
  rlimit limit{};
  ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
  rlimit small = limit;
  small.rlim_cur = 20000;
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
  auto* const handler = std::signal(SIGXFSZ, SIG_IGN);
  const int result = set_backup("image");
  std::signal(SIGXFSZ, handler);
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  EXPECT_EQ(result, 0);
  EXPECT_THAT(LogTexts(), ElementsAre("Error, Backup File I/O error _write : errno=0"));
  EXPECT_EQ(std::filesystem::file_size("image"), 20000U);
}

/// Some file systems tell of a write that has failed only when the file is closed.
TEST_F(BackupImage, AFileThatCannotBeClosedIsAFailedWrite) {
  struct Case {
    int error;
    const char* line;
  };
  for (const Case& c : {Case{EIO, "Error, Backup File I/O error _write : errno=5"},
                        Case{ENOSPC, "Error, Backup File I/O error No Space"}}) {
    std::filesystem::remove("tarvek.log");
    Fill(small_);
    const std::ptrdiff_t before = OpenDescriptors();
    machine().close_error = c.error;
    EXPECT_EQ(set_backup("image"), 0);
    EXPECT_THAT(LogTexts(), ElementsAre(c.line));
    EXPECT_EQ(OpenDescriptors(), before);
  }
}

TEST_F(BackupImage, TheLargestRepositoryHas32767Bytes) {
  const ImageParts largest(Bytes(32767, 0x55));
  Fill(largest);
  EXPECT_EQ(set_backup("image"), 1);
  EXPECT_EQ(FileBytes("image"), largest.Whole());
}

TEST_F(BackupImage, ARepositoryOf32768BytesIsNeverReportedComplete) {
  bmc_.records.assign(128, CountingRecord(1, 250));  // 128 * 255 = 32640
  bmc_.records.push_back(CountingRecord(1, 123));    // and 128
  EXPECT_EQ(sdrBinCreate("image"), 81);
  EXPECT_EQ(ipm_sdr_size, 32768);
  EXPECT_THAT(LogTexts(),
              ElementsAre("SDRReocrd Reading", "Error, Backup File I/O error _write : errno=0"));
  // What was written stays.
  const Bytes written = FileBytes("image");
  EXPECT_GE(written.size(), kAreaStart);
  EXPECT_EQ(Bytes(written.begin(), written.begin() + 8), TextBytes("KOV IPMI"));
}

TEST_F(BackupImage, ABlockOf32768BytesOrMoreIsNeverWrittenOrRead) {
  static unsigned char block[USHRT_MAX] = {};
  for (const int size : {32768, 32769, 40000, 65534, 65535}) {
    const auto n = static_cast<unsigned short>(size);
    std::filesystem::remove("tarvek.log");
    int fd = open("block", O_RDWR | O_CREAT | O_TRUNC, 0600);
    EXPECT_EQ(binwrite(static_cast<short>(fd), block, n), 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    // An error's -1 must not pass for 65535 bytes.
    EXPECT_EQ(binwrite(-1, block, n), 0);

    WriteFile("block", std::string(USHRT_MAX, 'x'));
    fd = open("block", O_RDONLY);
    EXPECT_EQ(binread(static_cast<short>(fd), block, n), 0);
    EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_EQ(binread(-1, block, n), 0);
    EXPECT_THAT(LogTexts(), ElementsAre("Error, Backup File I/O error _write : errno=0",
                                        "Error, Backup File I/O error _write : errno=9",
                                        "Error, Backup File I/O error _read : errno=0",
                                        "Error, Backup File I/O error _read : errno=9"));
  }
}

TEST_F(BackupImage, BlocksGoToTheFileAndBackWithOneCallEach) {
  Bytes block(32767);
  for (std::size_t i = 0; i < block.size(); ++i) block[i] = static_cast<std::uint8_t>(i * 7);
  const auto fd = static_cast<short>(open("block", O_RDWR | O_CREAT, 0600));
  EXPECT_EQ(binwrite(fd, block.data(), 32767), 1);
  EXPECT_EQ(binwrite(fd, block.data(), 0), 1);
  EXPECT_EQ(lseek(fd, 0, SEEK_SET), 0);
  Bytes back(32767);
  EXPECT_EQ(binread(fd, back.data(), 32767), 1);
  EXPECT_EQ(binread(fd, back.data(), 0), 1);
  EXPECT_EQ(back, block);
  EXPECT_NE(fcntl(fd, F_GETFD), -1);
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
  // One byte more than there is.
  EXPECT_EQ(binread(fd, back.data(), 1), 0);
  EXPECT_EQ(fcntl(fd, F_GETFD), -1);
  EXPECT_THAT(LogTexts(), ElementsAre(kShortRead));
}

TEST_F(BackupImage, IoFailuresAreStatus31) {
  g_eu_flg = kNormalUpdate;
  unsigned char byte = 0;
  EXPECT_EQ(binread(-1, &byte, 1), 0);
  EXPECT_EQ(ReadFile("Update_normal.xml"), ResultText("SDR031"));
}

// --- Loading ---

TEST_F(BackupImage, ARestoreBringsEveryBlockBack) {
  std::fill(std::begin(ipm_SDR), std::end(ipm_SDR), static_cast<unsigned char>(0xA5));
  ipm_sdr_size = 65535;
  EXPECT_EQ(Restore(small_.Whole()), 1);
  EXPECT_EQ(Bytes(std::begin(ipm_head), std::end(ipm_head)), small_.header);
  EXPECT_EQ(Bytes(std::begin(ipm_ipmi), std::end(ipm_ipmi)), small_.identity);
  EXPECT_EQ(Bytes(std::begin(ipm_sdr_ctrl), std::end(ipm_sdr_ctrl)), small_.control);
  EXPECT_EQ(Area(), small_.area);
  EXPECT_TRUE(std::all_of(ipm_SDR + ipm_sdr_size, std::end(ipm_SDR),
                          [](unsigned char byte) { return byte == 0; }));
  EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
  unsigned short length = 0;
  EXPECT_EQ(get_sdr_addr(0, &length), ipm_SDR);
  EXPECT_EQ(length, 3);
  EXPECT_EQ(get_sdr_addr(1, &length), ipm_SDR + 8);
  EXPECT_EQ(length, 11);
  EXPECT_EQ(get_sdr_addr(2, &length), nullptr);
}

TEST_F(BackupImage, WhatWasSavedIsRestored) {
  for (int body = 0; body <= 64; ++body) bmc_.records.push_back(CountingRecord(1, body));
  EXPECT_EQ(sdrBinCreate("BMCSDR.BAK"), 0);
  const Bytes saved = FileBytes("BMCSDR.BAK");
  EXPECT_EQ(Restore(saved), 1);
  EXPECT_EQ(Area(), Join(bmc_.records));
  EXPECT_EQ(set_backup("again"), 1);
  EXPECT_EQ(FileBytes("again"), saved);
}

TEST_F(BackupImage, DescribesTheBmcThatItWasMadeFrom) {
  EXPECT_EQ(Restore(small_.Whole()), 1);
  EXPECT_STREQ(ipm_bmc.name, "Basbrd Mgmt Ctlr");
  EXPECT_EQ(ipm_bmc.answer_length, 16);
  EXPECT_EQ(ipm_bmc.slot, 0x07);
  EXPECT_EQ(ipm_bmc.slot_valid, 1);
  EXPECT_TRUE(
      std::equal(ipm_bmc.device_id.begin(), ipm_bmc.device_id.end(), small_.identity.begin()));
  ImageParts plain = small_;
  plain.identity[28] = plain.identity[29] = plain.identity[30] = 0;
  EXPECT_EQ(Restore(plain.Whole()), 1);
  EXPECT_EQ(ipm_bmc.answer_length, 12);
  EXPECT_EQ(ipm_bmc.slot, 0);
  EXPECT_EQ(ipm_bmc.slot_valid, 0);
}

TEST_F(BackupImage, AFileThatCannotBeOpenedIsNamed) {
  EXPECT_EQ(get_backup("no %s such %n file"), 0);
  EXPECT_THAT(LogTexts(),
              ElementsAre("Error, failed to open the specified input file no %s such %n file"));
  g_eu_flg = kForcedUpdate;
  EXPECT_EQ(get_backup("missing"), 0);
  EXPECT_EQ(ReadFile("Update_force.xml"), ResultText("SDR066"));
}

TEST_F(BackupImage, AFileThatCannotBeOpenedLeavesMemoryAlone) {
  Fill(small_);
  EXPECT_EQ(get_backup("missing"), 0);
  EXPECT_EQ(Area(), small_.area);
}

TEST_F(BackupImage, ADirectoryIsAReadError) {
  std::filesystem::create_directory("directory");
  EXPECT_EQ(get_backup("directory"), 0);
  EXPECT_THAT(LogTexts(), ElementsAre("Error, Backup File I/O error _read : errno=21"));
}

TEST_F(BackupImage, APipeWithoutAWriterIsATruncatedFile) {
  ASSERT_EQ(mkfifo("pipe", 0600), 0);
  EXPECT_EQ(get_backup("pipe"), 0);
  EXPECT_THAT(LogTexts(), ElementsAre(kShortRead));
}

TEST_F(BackupImage, StaysOpenAfterARestoreAndIsClosedAfterAFailure) {
  WriteFile("image", AsText(small_.Whole()));
  const std::ptrdiff_t before = OpenDescriptors();
  const int next = dup(STDERR_FILENO);
  close(next);
  EXPECT_EQ(get_backup("image"), 1);
  EXPECT_EQ(OpenDescriptors(), before + 1);
  close(next);
  WriteFile("image", "KOV IPMI");
  EXPECT_EQ(get_backup("image"), 0);
  EXPECT_EQ(OpenDescriptors(), before);
  WriteFile("image", std::string(kAreaStart, '\0'));
  EXPECT_EQ(get_backup("image"), 0);
  EXPECT_EQ(OpenDescriptors(), before);
}

TEST_F(BackupImage, MayHaveDescriptorZero) {
  Fill(small_);
  const NoStandardInput closed;
  EXPECT_EQ(set_backup("image"), 1);
  EXPECT_TRUE(closed.IsFree());
  EXPECT_EQ(get_backup("/dev/zero"), 0);
  EXPECT_TRUE(closed.IsFree());
  EXPECT_EQ(get_backup("image"), 1);
  EXPECT_FALSE(closed.IsFree());
  EXPECT_EQ(Area(), small_.area);
}

TEST_F(BackupImage, AnImageWithoutRecordsPassesAllChecks) {
  const ImageParts empty{Bytes{}};
  EXPECT_EQ(Restore(empty.Whole()), 1);
  EXPECT_EQ(ipm_sdr_size, 0);
  unsigned short length = 0;
  EXPECT_EQ(get_sdr_addr(0, &length), nullptr);
}

TEST_F(BackupImage, AnImageWithoutAnSdrBlockHasNoRecords) {
  ImageParts parts = small_;
  PutLong(parts.header, 20, 0);
  parts.SealAll();
  EXPECT_EQ(Restore(parts.Whole()), 1);
  EXPECT_EQ(ipm_sdr_size, 0);
  EXPECT_THAT(ipm_sdr_ctrl, Each(0));
}

TEST_F(BackupImage, PositionsAreTestedForZeroAndNeverSought) {
  ImageParts parts = small_;
  PutLong(parts.header, 16, 0xFFFFFFFF);
  PutLong(parts.header, 20, 0x80000000);
  parts.SealAll();
  EXPECT_EQ(Restore(parts.Whole()), 1);
  EXPECT_EQ(Area(), small_.area);
}

TEST_F(BackupImage, BytesBehindTheRecordAreaAreNotRead) {
  Bytes image = small_.Whole();
  image.insert(image.end(), 1000, 0xFF);
  EXPECT_EQ(Restore(image), 1);
  EXPECT_EQ(Area(), small_.area);
}

TEST_F(BackupImage, AnEventLogIsSkipped) {
  for (const std::size_t length : {0U, 1U, 31U, 16383U, 16384U, 16385U, 32768U, 65536U, 100000U}) {
    ImageParts parts = small_;
    parts.AddEventLog(Bytes(length, 0xEE), static_cast<std::uint32_t>(length));
    EXPECT_EQ(Restore(parts.Whole()), 1) << length;
    EXPECT_EQ(Area(), small_.area) << length;
  }
}

/// Nobody reads four gigabytes to get past them.
TEST_F(BackupImage, AnEventLogOfAnyLengthIsSoughtOver) {
  for (const std::uint32_t length : {0x80000000U, 0xFFFFFFFFU}) {
    ImageParts parts = small_;
    parts.AddEventLog({}, length);
    constexpr std::size_t kLogStart = kControlStart + 32;
    const std::string image = AsText(parts.Whole());
    WriteFile("image", image.substr(0, kLogStart));
    std::filesystem::resize_file("image", kLogStart + length);
    const int fd = open("image", O_WRONLY | O_APPEND);
    const std::string rest = image.substr(kLogStart);
    ASSERT_EQ(write(fd, rest.data(), rest.size()), static_cast<ssize_t>(rest.size()));
    close(fd);
    const std::ptrdiff_t before = BytesRead();
    EXPECT_EQ(get_backup("image"), 1);
    EXPECT_EQ(Area(), small_.area);
    EXPECT_LT(BytesRead() - before, 10000);
  }
}

/// In a pipe nothing can be sought: an image with an event log is to come from a file.
TEST_F(BackupImage, AnEventLogInAPipeIsAReadError) {
  ImageParts with_log = small_;
  with_log.AddEventLog(Bytes(10, 0xEE), 10);
  for (const ImageParts& parts : {small_, with_log}) {
    std::array<int, 2> ends{};
    ASSERT_EQ(pipe(ends.data()), 0);
    const std::string image = AsText(parts.Whole());
    ASSERT_EQ(write(ends[1], image.data(), image.size()), static_cast<ssize_t>(image.size()));
    close(ends[1]);
    const bool has_log = !parts.event_log.empty();
    const std::ptrdiff_t before = OpenDescriptors();
    EXPECT_EQ(get_backup(("/proc/self/fd/" + std::to_string(ends[0])).c_str()), has_log ? 0 : 1);
    EXPECT_EQ(OpenDescriptors(), before + (has_log ? 0 : 1));
    close(ends[0]);
  }
  EXPECT_THAT(LogTexts(), ElementsAre("Error, Backup File I/O error _read : errno=29"));
}

TEST_F(BackupImage, AnEventLogLongerThanTheFileIsAReadError) {
  for (const std::uint32_t announced :
       {std::uint32_t{173}, std::uint32_t{65536}, std::uint32_t{0x7FFFFFFF},
        std::uint32_t{0x80000000}, std::uint32_t{0xFFFFFFFF}}) {
    ImageParts parts = small_;
    parts.AddEventLog(Bytes(100, 0xEE), announced);
    EXPECT_EQ(Restore(parts.Whole()), 0) << announced;
    EXPECT_THAT(LogTexts(), ElementsAre(kShortRead));
  }
}

TEST_F(BackupImage, ARecordAreaOf32768BytesOrMoreIsAReadErrorBeforeAnythingIsRead) {
  for (const std::uint32_t length :
       {std::uint32_t{32768}, std::uint32_t{65535}, std::uint32_t{65536}, std::uint32_t{65541},
        std::uint32_t{0x10008}, std::uint32_t{0x80000000}, std::uint32_t{0xFFFFFFFF}}) {
    ImageParts parts{Bytes(70000, 0x55)};
    PutLong(parts.control, 20, length);
    parts.control[30] = 0;
    parts.SealAll();
    const std::ptrdiff_t before = OpenDescriptors();
    EXPECT_EQ(Restore(parts.Whole()), 0) << length;
    EXPECT_THAT(LogTexts(), ElementsAre(kShortRead));
    EXPECT_EQ(ipm_sdr_size, 0);
    EXPECT_THAT(ipm_SDR, Each(0));
    EXPECT_EQ(OpenDescriptors(), before);
  }
}

TEST_F(BackupImage, TheLargestAreaIsRestored) {
  const ImageParts largest(Bytes(32767, 0x55));
  EXPECT_EQ(Restore(largest.Whole()), 1);
  EXPECT_EQ(Area(), largest.area);
}

TEST_F(BackupImage, EveryCheckReportsItsOwnLineAndTheFirstWins) {
  struct Case {
    const char* name;
    void (*spoil)(ImageParts&);
    const char* line;
    const char* code;
  };
  const Case cases[] = {
      {"file ID",
       [](ImageParts& p) {
         p.header[0] = 'k';
         Seal(p.header);
       },
       kNoBackup, "SDR075"},
      {"last letter",
       [](ImageParts& p) {
         p.header[7] = 'i';
         Seal(p.header);
       },
       kNoBackup, "SDR075"},
      {"header", [](ImageParts& p) { p.header[63] ^= 1; }, kBadHeader, "SDR076"},
      {"control block", [](ImageParts& p) { p.control[31] ^= 1; }, kBadControl, "SDR076"},
      {"records", [](ImageParts& p) { p.area[5] ^= 1; }, kBadRecords, "SDR076"},
      {"checksum of the records",
       [](ImageParts& p) {
         p.control[30] ^= 1;
         Seal(p.control);
       },
       kBadRecords, "SDR076"},
      {"ID and header",
       [](ImageParts& p) {
         p.header[0] = 'k';
         p.area[5] ^= 1;
       },
       kNoBackup, "SDR075"},
      {"header and control block",
       [](ImageParts& p) {
         p.header[40] = 1;
         p.control[31] ^= 1;
       },
       kBadHeader, "SDR076"},
      {"control block and records",
       [](ImageParts& p) {
         p.control[24] = 1;
         p.area[5] ^= 1;
       },
       kBadControl, "SDR076"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ImageParts parts = small_;
    c.spoil(parts);
    g_eu_flg = kForcedUpdate;
    PrgError::firstError = true;
    EXPECT_EQ(Restore(parts.Whole()), 0);
    EXPECT_THAT(LogTexts(), ElementsAre(c.line));
    EXPECT_EQ(ReadFile("Update_force.xml"), ResultText(c.code));
  }
}

TEST_F(BackupImage, ChkBackupLooksAtMemoryAlone) {
  EXPECT_EQ(Restore(small_.Whole()), 1);
  EXPECT_EQ(chk_backup(), 1);
  ipm_SDR[5] ^= 1;
  EXPECT_EQ(chk_backup(), 0);
  EXPECT_THAT(LogTexts(), ElementsAre(kBadRecords));
}

TEST_F(BackupImage, IdentityAndVersionAreNotChecked) {
  ImageParts parts = small_;
  parts.identity[31] ^= 0xFF;
  parts.header[8] = 9;
  parts.header[9] = 9;
  parts.header[10] = 3;
  Seal(parts.header);
  EXPECT_EQ(Restore(parts.Whole()), 1);
  EXPECT_EQ(Area(), small_.area);
}

TEST_F(BackupImage, AnyHeaderByteChangedWithoutItsChecksumIsRefused) {
  for (std::size_t i = 8; i < kHeaderSize; ++i) {
    if (i >= 28 && i < 32) continue;  // announces an event log that is not there
    ImageParts parts = small_;
    ++parts.header[i];
    EXPECT_EQ(Restore(parts.Whole()), 0);
    EXPECT_THAT(LogTexts(), ElementsAre(kBadHeader)) << i;
  }
}

TEST_F(BackupImage, AFileTruncatedAtAnyByteIsAReadError) {
  ImageParts with_log = small_;
  with_log.AddEventLog(Bytes(10, 0xEE), 10);
  for (const Bytes& image : {small_.Whole(), with_log.Whole()}) {
    for (std::size_t n = 0; n < image.size(); ++n) {
      EXPECT_EQ(Restore(Bytes(image.begin(), image.begin() + static_cast<std::ptrdiff_t>(n))), 0);
      EXPECT_THAT(LogTexts(), ElementsAre(kShortRead)) << n;
      EXPECT_EQ(ipm_sdr_size, 0) << n;
    }
  }
}

TEST_F(BackupImage, EverySingleBitFlipIsRefusedOrHasNoEffect) {
  const Bytes image = small_.Whole();
  for (std::size_t i = 0; i < image.size(); ++i) {
    for (int bit = 0; bit < 8; ++bit) {
      SCOPED_TRACE(testing::Message() << "byte " << i << " bit " << bit);
      Bytes flipped = image;
      flipped[i] = static_cast<std::uint8_t>(flipped[i] ^ (1 << bit));
      const int result = Restore(flipped);
      if (i >= kIdentityStart && i < kControlStart) {
        EXPECT_EQ(result, 1);
        EXPECT_EQ(Area(), small_.area);
        EXPECT_FALSE(std::filesystem::exists("tarvek.log"));
        continue;
      }
      EXPECT_EQ(result, 0);
      std::string line = kBadRecords;
      if (i < kAreaStart) line = kBadControl;
      if (i < kHeaderSize) line = kBadHeader;
      if (i < 8) line = kNoBackup;
      // An event log that is announced but not there swallows the blocks behind it.
      if (i >= 28 && i < 32) line = kShortRead;
      // A longer record area than there is.
      if (i >= 116 && i < 120 && flipped[i] > image[i]) line = kShortRead;
      EXPECT_THAT(LogTexts(), ElementsAre(line));
    }
  }
}

TEST_F(BackupImage, BitFlipsInAnEventLogDoNotReachTheRecords) {
  ImageParts parts = small_;
  parts.AddEventLog(Bytes(10, 0xEE), 10);
  const Bytes image = parts.Whole();
  for (std::size_t i = kControlStart; i < kControlStart + 42; ++i) {
    for (int bit = 0; bit < 8; ++bit) {
      SCOPED_TRACE(testing::Message() << "byte " << i << " bit " << bit);
      Bytes flipped = image;
      flipped[i] = static_cast<std::uint8_t>(flipped[i] ^ (1 << bit));
      const int result = Restore(flipped);
      const bool length_byte = i >= kControlStart + 20 && i < kControlStart + 24;
      EXPECT_EQ(result, length_byte ? 0 : 1);
      if (result == 1) {
        EXPECT_EQ(Area(), small_.area);
      } else {
        EXPECT_EQ(LogTexts().size(), 1U);
      }
    }
  }
}

}  // namespace
}  // namespace tarvek_test
