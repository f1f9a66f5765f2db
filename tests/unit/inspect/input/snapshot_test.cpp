#include "inspect/input/snapshot.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <iterator>
#include <thread>

#include "inspect/input/input_error.h"
#include "tests/unit/inspect/input/scratch.h"

namespace tarvek::inspect {
namespace {

std::string Complaint(const std::string& path) {
  try {
    const Snapshot snapshot(path);
  } catch (const InputError& error) {
    return error.what();
  }
  return "";
}

std::string BytesUnder(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Snapshot, HoldsAFilesBytesUnderAPathOfItsOwn) {
  const Scratch scratch;
  const std::string path = scratch.File("a", "bytes");
  const Snapshot snapshot(path);
  scratch.File("a", "others");
  EXPECT_EQ(snapshot.bytes(), "bytes");
  EXPECT_EQ(BytesUnder(snapshot.path()), "bytes");
  EXPECT_EQ(snapshot.name(), path);
}

TEST(Snapshot, ReadsAPipeToItsEnd) {
  const Scratch scratch;
  const std::string path = scratch.Path("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  std::thread writer([&] {
    std::ofstream pipe(path);
    pipe << "from " << std::flush;
    usleep(1000);
    pipe << "a pipe";
  });
  const Snapshot snapshot(path);
  writer.join();
  EXPECT_EQ(snapshot.bytes(), "from a pipe");
}

TEST(Snapshot, TakesTheNullDeviceForAnEmptyFile) { EXPECT_EQ(Snapshot("/dev/null").bytes(), ""); }

TEST(Snapshot, RefusesWhatIsNoInput) {
  const Scratch scratch;
  EXPECT_EQ(Complaint("/"), "is a directory");
  EXPECT_EQ(Complaint("/dev/zero"), "is a device");
  EXPECT_EQ(Complaint(scratch.Path("none")), "cannot be opened: No such file or directory");
}

TEST(Snapshot, RefusesAFileWithoutEnd) {
  const Scratch scratch;
  const std::string path = scratch.File("huge", "");
  ASSERT_EQ(truncate(path.c_str(), off_t{1} << 33U), 0);
  EXPECT_EQ(Complaint(path), "is larger than 1 GiB");
}

}  // namespace
}  // namespace tarvek::inspect
