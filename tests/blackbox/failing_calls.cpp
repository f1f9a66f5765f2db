// libfailing_calls.so: put under tarvek in front of libbmcsim.so, it counts the calls that the tool
// makes of the C library, and lets chosen ones fail as they do on a machine whose disk is full,
// whose memory is used up or whose files are not to be opened. For tests alone. call_ledger.h tells
// how it is asked, and what it reports.
//
// A call counts when tarvek itself makes it, or when the libraries make it on tarvek's behalf (the
// memory that fdopen takes for a stream is tarvek's to lose). Not counted is what happens before
// main() or after it, and what libbmcsim.so does in the place of a driver or of a clock.

// The headers of a hardened or optimised program define some of the functions that are to be
// replaced here.
#undef _FORTIFY_SOURCE
#undef __OPTIMIZE__

#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <semaphore.h>
#include <stdio_ext.h>
#include <sys/ioctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <new>

#include "tests/blackbox/call_ledger.h"

namespace failing_calls {
namespace {

template <typename Function>
Function* Next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

/// The allocation functions behind ours. Resolving them may allocate.
struct RealAllocation {
  void* (*malloc)(std::size_t);
  void* (*calloc)(std::size_t, std::size_t);
  void* (*realloc)(void*, std::size_t);
  void (*free)(void*);
  void* (*new_object)(std::size_t);
  void* (*new_array)(std::size_t);
  void* (*new_object_nothrow)(std::size_t, const std::nothrow_t&);
  void* (*new_array_nothrow)(std::size_t, const std::nothrow_t&);
};

/// Memory for whoever allocates while the real functions are looked up; never given back.
class Bootstrap {
 public:
  void* Take(std::size_t size) {
    constexpr std::size_t kAlignment = alignof(std::max_align_t);
    const std::size_t rounded = (size + kAlignment - 1) / kAlignment * kAlignment;
    if (rounded > memory_.size() - used_) std::abort();
    used_ += rounded;
    return memory_.data() + used_ - rounded;
  }
  bool Owns(const void* memory) const {
    return memory >= memory_.data() && memory < memory_.data() + memory_.size();
  }

 private:
  alignas(std::max_align_t) std::array<char, 16384> memory_{};
  std::size_t used_ = 0;
};

constinit Bootstrap g_bootstrap;
constinit CallLedger g_ledger;
constinit bool g_resolving = false;

// Calls that happen inside these are not judged: the simulator's work, and what operator new asks
// malloc for, which is one allocation and not two.
constinit int g_unjudged = 0;

class Unjudged {
 public:
  Unjudged() { ++g_unjudged; }
  ~Unjudged() { --g_unjudged; }
  Unjudged(const Unjudged&) = delete;
  Unjudged& operator=(const Unjudged&) = delete;
};

const RealAllocation& Real() {
  static constinit RealAllocation calls = {};
  static constinit bool resolved = false;
  if (resolved || g_resolving) return calls;
  g_resolving = true;
  calls.malloc = Next<void*(std::size_t)>("malloc");
  calls.calloc = Next<void*(std::size_t, std::size_t)>("calloc");
  calls.realloc = Next<void*(void*, std::size_t)>("realloc");
  calls.free = Next<void(void*)>("free");
  calls.new_object = Next<void*(std::size_t)>("_Znwm");
  calls.new_array = Next<void*(std::size_t)>("_Znam");
  calls.new_object_nothrow = Next<void*(std::size_t, const std::nothrow_t&)>("_ZnwmRKSt9nothrow_t");
  calls.new_array_nothrow = Next<void*(std::size_t, const std::nothrow_t&)>("_ZnamRKSt9nothrow_t");
  g_resolving = false;
  resolved = true;
  return calls;
}

/// The names of the files that the descriptors stand for.
class FileNames {
 public:
  void Set(int fd, const char* path) {
    if (fd < 0 || static_cast<std::size_t>(fd) >= names_.size()) return;
    const char* const slash = std::strrchr(path, '/');
    auto& name = names_[static_cast<std::size_t>(fd)];
    name = {};
    std::strncpy(name.data(), slash == nullptr ? path : slash + 1, name.size() - 1);
  }
  const char* Of(int fd) const {
    if (fd < 0 || static_cast<std::size_t>(fd) >= names_.size()) return nullptr;
    const char* const name = names_[static_cast<std::size_t>(fd)].data();
    return *name == '\0' ? nullptr : name;
  }

 private:
  std::array<std::array<char, 40>, 64> names_{};
};

constinit FileNames g_names;
constinit const char* g_file = nullptr;  // what the call in hand is about

const char* NameOf(const char* path) {
  const char* const slash = std::strrchr(path, '/');
  return slash == nullptr ? path : slash + 1;
}
const char* NameOf(int fd) { return g_names.Of(fd); }
const char* NameOf(std::FILE* stream) {
  if (stream == stdout) return "stdout";
  if (stream == stdin) return "stdin";
  return g_names.Of(fileno(stream));
}

/// Remembers for whom a call's allocations are.
class About {
 public:
  explicit About(const char* file) : before_(g_file) { g_file = file; }
  ~About() { g_file = before_; }
  About(const About&) = delete;
  About& operator=(const About&) = delete;

 private:
  const char* before_;
};

Verdict Judge(Kind kind, const char* function) {
  return g_unjudged > 0 ? Verdict::kPass : g_ledger.Judge(kind, function, g_file);
}

bool AllocationFails(const char* function) {
  return Judge(Kind::kAlloc, function) != Verdict::kPass;
}

/// Makes a call, unless it is to fail: then it is not made, and gives `failure`.
template <typename Result, typename Call>
Result Try(const char* function, const char* file, Result failure, Call call) {
  const About about(file);
  return Judge(Kind::kCall, function) == Verdict::kFail ? failure : call();
}

/// The same of a stream, which then knows that an error has happened.
template <typename Result, typename Call>
Result TryStream(const char* function, std::FILE* stream, Result failure, Call call) {
  const About about(NameOf(stream));
  if (Judge(Kind::kCall, function) != Verdict::kFail) return call();
  stream->_flags |= _IO_ERR_SEEN;
  return failure;
}

/// The same of a call that libbmcsim.so may answer.
template <typename Result, typename Call>
Result TrySimulated(const char* function, const char* file, Result failure, Call call) {
  return Try(function, file, failure, [&] {
    const Unjudged simulator;
    return call();
  });
}

template <typename Call>
int OpenAny(const char* function, const char* path, Call call) {
  const int fd = TrySimulated(function, NameOf(path), -1, call);
  g_names.Set(fd, path);
  return fd;
}

template <typename Call>
std::FILE* OpenStream(const char* function, const char* path, Call call) {
  std::FILE* const stream = Try(function, NameOf(path), static_cast<std::FILE*>(nullptr), call);
  if (stream != nullptr) g_names.Set(fileno(stream), path);
  return stream;
}

mode_t TakeMode(int flags, va_list arguments) {
  const bool has_mode = (flags & O_CREAT) != 0 || (flags & O_TMPFILE) == O_TMPFILE;
  return has_mode ? va_arg(arguments, mode_t) : 0;
}

using Main = int(int, char**, char**);
constinit Main* g_main = nullptr;

int JudgedMain(int argc, char** argv, char** environment) {
  g_ledger.Open();
  const int status = g_main(argc, argv, environment);
  g_ledger.Close();
  return status;
}

}  // namespace

ReportCalls RealReportCalls() {
  static const ReportCalls calls{Next<int(const char*, int, ...)>("open"),
                                 Next<ssize_t(int, const void*, std::size_t)>("write"),
                                 Next<int(int)>("close")};
  return calls;
}

}  // namespace failing_calls

// From here on the names are the system's; what begins with "__" is what a hardened program calls.
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
#define FAILING_CALL extern "C" __attribute__((visibility("default")))
#undef getc
#undef getc_unlocked
#undef getchar
#undef putc

using failing_calls::AllocationFails;
using failing_calls::g_bootstrap;
using failing_calls::g_resolving;
using failing_calls::Next;
using failing_calls::OpenAny;
using failing_calls::OpenStream;
using failing_calls::Real;
using failing_calls::Try;
using failing_calls::TrySimulated;
using failing_calls::TryStream;
using failing_calls::Unjudged;
using failing_calls::Verdict;

FAILING_CALL int __libc_start_main(failing_calls::Main* main_function, int argc, char** argv,
                                   void (*init)(), void (*fini)(), void (*rtld_fini)(),
                                   void* stack_end) {
  const auto real =
      Next<int(failing_calls::Main*, int, char**, void (*)(), void (*)(), void (*)(), void*)>(
          "__libc_start_main");
  failing_calls::g_main = main_function;
  const bool judged = std::strcmp(program_invocation_short_name, failing_calls::kProgram) == 0;
  return real(judged ? failing_calls::JudgedMain : main_function, argc, argv, init, fini, rtld_fini,
              stack_end);
}

// Memory.

FAILING_CALL void* malloc(std::size_t size) noexcept {
  if (g_resolving) return g_bootstrap.Take(size);
  return AllocationFails("malloc") ? nullptr : Real().malloc(size);
}

FAILING_CALL void* calloc(std::size_t count, std::size_t size) noexcept {
  if (g_resolving) return g_bootstrap.Take(count * size);
  return AllocationFails("calloc") ? nullptr : Real().calloc(count, size);
}

FAILING_CALL void* realloc(void* memory, std::size_t size) noexcept {
  return AllocationFails("realloc") ? nullptr : Real().realloc(memory, size);
}

FAILING_CALL void free(void* memory) noexcept {
  if (!g_bootstrap.Owns(memory)) Real().free(memory);
}

#define FAILING_NEW __attribute__((visibility("default")))

FAILING_NEW void* operator new(std::size_t size) {
  if (AllocationFails("new")) throw std::bad_alloc();
  const Unjudged inner;
  return Real().new_object(size);
}

FAILING_NEW void* operator new[](std::size_t size) {
  if (AllocationFails("new[]")) throw std::bad_alloc();
  const Unjudged inner;
  return Real().new_array(size);
}

FAILING_NEW void* operator new(std::size_t size, const std::nothrow_t& nothrow) noexcept {
  if (AllocationFails("new")) return nullptr;
  const Unjudged inner;
  return Real().new_object_nothrow(size, nothrow);
}

FAILING_NEW void* operator new[](std::size_t size, const std::nothrow_t& nothrow) noexcept {
  if (AllocationFails("new[]")) return nullptr;
  const Unjudged inner;
  return Real().new_array_nothrow(size, nothrow);
}

// Opening.

FAILING_CALL int open(const char* path, int flags, ...) {
  static const auto real = Next<int(const char*, int, ...)>("open");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = failing_calls::TakeMode(flags, arguments);
  va_end(arguments);
  return OpenAny("open", path, [=] { return real(path, flags, mode); });
}

FAILING_CALL int __open_2(const char* path, int flags) {
  static const auto real = Next<int(const char*, int)>("__open_2");
  return OpenAny("open", path, [=] { return real(path, flags); });
}

FAILING_CALL int openat(int directory, const char* path, int flags, ...) {
  static const auto real = Next<int(int, const char*, int, ...)>("openat");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = failing_calls::TakeMode(flags, arguments);
  va_end(arguments);
  return OpenAny("openat", path, [=] { return real(directory, path, flags, mode); });
}

FAILING_CALL int __openat_2(int directory, const char* path, int flags) {
  static const auto real = Next<int(int, const char*, int)>("__openat_2");
  return OpenAny("openat", path, [=] { return real(directory, path, flags); });
}

FAILING_CALL std::FILE* fopen(const char* path, const char* mode) {
  static const auto real = Next<std::FILE*(const char*, const char*)>("fopen");
  return OpenStream("fopen", path, [=] { return real(path, mode); });
}

FAILING_CALL std::FILE* fdopen(int fd, const char* mode) noexcept {
  static const auto real = Next<std::FILE*(int, const char*)>("fdopen");
  return Try("fdopen", failing_calls::NameOf(fd), static_cast<std::FILE*>(nullptr),
             [=] { return real(fd, mode); });
}

FAILING_CALL sem_t* sem_open(const char* name, int flags, ...) noexcept {
  static const auto real = Next<sem_t*(const char*, int, ...)>("sem_open");
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = failing_calls::TakeMode(flags, arguments);
  const unsigned value = (flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0U;
  va_end(arguments);
  return Try("sem_open", failing_calls::NameOf(name), SEM_FAILED,
             [=] { return real(name, flags, mode, value); });
}

// Reading.

FAILING_CALL ssize_t read(int fd, void* buffer, std::size_t size) {
  static const auto real = Next<ssize_t(int, void*, std::size_t)>("read");
  return Try("read", failing_calls::NameOf(fd), ssize_t{-1},
             [=] { return real(fd, buffer, size); });
}

FAILING_CALL ssize_t __read_chk(int fd, void* buffer, std::size_t size, std::size_t room) {
  static const auto real = Next<ssize_t(int, void*, std::size_t, std::size_t)>("__read_chk");
  return Try("read", failing_calls::NameOf(fd), ssize_t{-1},
             [=] { return real(fd, buffer, size, room); });
}

FAILING_CALL off_t lseek(int fd, off_t offset, int whence) noexcept {
  static const auto real = Next<off_t(int, off_t, int)>("lseek");
  return Try("lseek", failing_calls::NameOf(fd), off_t{-1},
             [=] { return real(fd, offset, whence); });
}

FAILING_CALL char* fgets(char* buffer, int size, std::FILE* stream) {
  static const auto real = Next<char*(char*, int, std::FILE*)>("fgets");
  return TryStream("fgets", stream, static_cast<char*>(nullptr),
                   [=] { return real(buffer, size, stream); });
}

FAILING_CALL char* __fgets_chk(char* buffer, std::size_t room, int size, std::FILE* stream) {
  static const auto real = Next<char*(char*, std::size_t, int, std::FILE*)>("__fgets_chk");
  return TryStream("fgets", stream, static_cast<char*>(nullptr),
                   [=] { return real(buffer, room, size, stream); });
}

FAILING_CALL int getc(std::FILE* stream) {
  static const auto real = Next<int(std::FILE*)>("getc");
  return TryStream("getc", stream, EOF, [=] { return real(stream); });
}

// What a program calls that is not optimized; in others it is part of the caller, and only
// __uflow below is a call.
FAILING_CALL int getc_unlocked(std::FILE* stream) {
  static const auto real = Next<int(std::FILE*)>("getc_unlocked");
  return TryStream("getc", stream, EOF, [=] { return real(stream); });
}

FAILING_CALL int getchar() {
  static const auto real = Next<int(std::FILE*)>("getc");
  return TryStream("getc", stdin, EOF, [=] { return real(stdin); });
}

FAILING_CALL int __uflow(std::FILE* stream) {
  static const auto real = Next<int(std::FILE*)>("__uflow");
  return TryStream("getc", stream, EOF, [=] { return real(stream); });
}

// Writing.

FAILING_CALL ssize_t write(int fd, const void* bytes, std::size_t size) {
  static const auto real = Next<ssize_t(int, const void*, std::size_t)>("write");
  const failing_calls::About about(failing_calls::NameOf(fd));
  switch (failing_calls::Judge(failing_calls::Kind::kCall, "write")) {
    case Verdict::kFail:
      return -1;
    case Verdict::kShort:
      return real(fd, bytes, (size + 1) / 2);
    default:
      return real(fd, bytes, size);
  }
}

FAILING_CALL ssize_t pwrite(int fd, const void* bytes, std::size_t size, off_t offset) {
  static const auto real = Next<ssize_t(int, const void*, std::size_t, off_t)>("pwrite");
  const failing_calls::About about(failing_calls::NameOf(fd));
  switch (failing_calls::Judge(failing_calls::Kind::kCall, "pwrite")) {
    case Verdict::kFail:
      return -1;
    case Verdict::kShort:
      return real(fd, bytes, (size + 1) / 2, offset);
    default:
      return real(fd, bytes, size, offset);
  }
}

FAILING_CALL std::size_t fwrite(const void* bytes, std::size_t size, std::size_t count,
                                std::FILE* stream) {
  static const auto real =
      Next<std::size_t(const void*, std::size_t, std::size_t, std::FILE*)>("fwrite");
  return TryStream("fwrite", stream, std::size_t{0},
                   [=] { return real(bytes, size, count, stream); });
}

FAILING_CALL int fputs(const char* text, std::FILE* stream) {
  static const auto real = Next<int(const char*, std::FILE*)>("fputs");
  return TryStream("fputs", stream, EOF, [=] { return real(text, stream); });
}

FAILING_CALL int fputc(int character, std::FILE* stream) {
  static const auto real = Next<int(int, std::FILE*)>("fputc");
  return TryStream("fputc", stream, EOF, [=] { return real(character, stream); });
}

FAILING_CALL int putc(int character, std::FILE* stream) {
  static const auto real = Next<int(int, std::FILE*)>("putc");
  return TryStream("putc", stream, EOF, [=] { return real(character, stream); });
}

FAILING_CALL int fprintf(std::FILE* stream, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result =
      TryStream("fprintf", stream, -1, [&] { return std::vfprintf(stream, format, arguments); });
  va_end(arguments);
  return result;
}

FAILING_CALL int __fprintf_chk(std::FILE* stream, int /*flag*/, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result =
      TryStream("fprintf", stream, -1, [&] { return std::vfprintf(stream, format, arguments); });
  va_end(arguments);
  return result;
}

FAILING_CALL int ftruncate(int fd, off_t size) noexcept {
  static const auto real = Next<int(int, off_t)>("ftruncate");
  return Try("ftruncate", failing_calls::NameOf(fd), -1, [=] { return real(fd, size); });
}

// A stream that cannot be flushed loses what was not written yet.
FAILING_CALL int fflush(std::FILE* stream) {
  static const auto real = Next<int(std::FILE*)>("fflush");
  if (stream == nullptr) return real(stream);
  const int result = TryStream("fflush", stream, EOF, [=] { return real(stream); });
  const int error = errno;
  if (result == EOF) __fpurge(stream);
  errno = error;
  return result;
}

FAILING_CALL int fclose(std::FILE* stream) {
  static const auto real = Next<int(std::FILE*)>("fclose");
  const failing_calls::About about(failing_calls::NameOf(stream));
  if (failing_calls::Judge(failing_calls::Kind::kCall, "fclose") != Verdict::kFail) {
    return real(stream);
  }
  const int error = errno;
  __fpurge(stream);
  real(stream);
  errno = error;
  return EOF;
}

// A descriptor is closed even when closing it fails.
FAILING_CALL int close(int fd) {
  static const auto real = Next<int(int)>("close");
  const failing_calls::About about(failing_calls::NameOf(fd));
  const bool fails = failing_calls::Judge(failing_calls::Kind::kCall, "close") == Verdict::kFail;
  const int error = errno;
  const Unjudged simulator;
  const int result = real(fd);
  if (!fails) return result;
  errno = error;
  return -1;
}

// Files by name, and the rest.

FAILING_CALL int access(const char* path, int mode) noexcept {
  static const auto real = Next<int(const char*, int)>("access");
  return Try("access", failing_calls::NameOf(path), -1, [=] { return real(path, mode); });
}

FAILING_CALL int linkat(int old_place, const char* from, int new_place, const char* to,
                        int flags) noexcept {
  static const auto real = Next<int(int, const char*, int, const char*, int)>("linkat");
  return Try("linkat", failing_calls::NameOf(to), -1,
             [=] { return real(old_place, from, new_place, to, flags); });
}

FAILING_CALL ssize_t readlinkat(int place, const char* path, char* buffer,
                                std::size_t size) noexcept {
  static const auto real = Next<ssize_t(int, const char*, char*, std::size_t)>("readlinkat");
  return Try("readlinkat", failing_calls::NameOf(place), ssize_t{-1},
             [=] { return real(place, path, buffer, size); });
}

FAILING_CALL ssize_t __readlinkat_chk(int place, const char* path, char* buffer, std::size_t size,
                                      std::size_t room) noexcept {
  static const auto real =
      Next<ssize_t(int, const char*, char*, std::size_t, std::size_t)>("__readlinkat_chk");
  return Try("readlinkat", failing_calls::NameOf(place), ssize_t{-1},
             [=] { return real(place, path, buffer, size, room); });
}

FAILING_CALL int unlink(const char* path) noexcept {
  static const auto real = Next<int(const char*)>("unlink");
  return Try("unlink", failing_calls::NameOf(path), -1, [=] { return real(path); });
}

FAILING_CALL int rename(const char* from, const char* to) noexcept {
  static const auto real = Next<int(const char*, const char*)>("rename");
  return Try("rename", failing_calls::NameOf(from), -1, [=] { return real(from, to); });
}

FAILING_CALL int sem_unlink(const char* name) noexcept {
  static const auto real = Next<int(const char*)>("sem_unlink");
  return Try("sem_unlink", failing_calls::NameOf(name), -1, [=] { return real(name); });
}

FAILING_CALL int fstat(int fd, struct stat* status) noexcept {
  static const auto real = Next<int(int, struct stat*)>("fstat");
  return TrySimulated("fstat", failing_calls::NameOf(fd), -1, [=] { return real(fd, status); });
}

FAILING_CALL int fstatfs(int fd, struct statfs* status) noexcept {
  static const auto real = Next<int(int, struct statfs*)>("fstatfs");
  return Try("fstatfs", failing_calls::NameOf(fd), -1, [=] { return real(fd, status); });
}

FAILING_CALL int stat(const char* path, struct stat* status) noexcept {
  static const auto real = Next<int(const char*, struct stat*)>("stat");
  return Try("stat", failing_calls::NameOf(path), -1, [=] { return real(path, status); });
}

FAILING_CALL int lstat(const char* path, struct stat* status) noexcept {
  static const auto real = Next<int(const char*, struct stat*)>("lstat");
  return Try("lstat", failing_calls::NameOf(path), -1, [=] { return real(path, status); });
}

FAILING_CALL char* get_current_dir_name() noexcept {
  static const auto real = Next<char*()>("get_current_dir_name");
  return Try("get_current_dir_name", nullptr, static_cast<char*>(nullptr), real);
}

FAILING_CALL std::tm* localtime(const std::time_t* time) noexcept {
  static const auto real = Next<std::tm*(const std::time_t*)>("localtime");
  return Try("localtime", nullptr, static_cast<std::tm*>(nullptr), [=] { return real(time); });
}

FAILING_CALL int poll(pollfd* descriptors, nfds_t count, int timeout) {
  static const auto real = Next<int(pollfd*, nfds_t, int)>("poll");
  return Try("poll", nullptr, -1, [=] { return real(descriptors, count, timeout); });
}

// What a fault plan makes fail is not ours; but nothing inside it counts.

FAILING_CALL int ioctl(int fd, unsigned long request, ...) noexcept {
  static const auto real = Next<int(int, unsigned long, ...)>("ioctl");
  va_list arguments;
  va_start(arguments, request);
  void* const argument = va_arg(arguments, void*);
  va_end(arguments);
  const Unjudged simulator;
  return real(fd, request, argument);
}

FAILING_CALL int select(int count, fd_set* read_set, fd_set* write_set, fd_set* error_set,
                        timeval* timeout) {
  static const auto real = Next<int(int, fd_set*, fd_set*, fd_set*, timeval*)>("select");
  const Unjudged simulator;
  return real(count, read_set, write_set, error_set, timeout);
}

FAILING_CALL int usleep(useconds_t microseconds) {
  static const auto real = Next<int(useconds_t)>("usleep");
  const Unjudged simulator;
  return real(microseconds);
}

FAILING_CALL unsigned sleep(unsigned seconds) {
  static const auto real = Next<unsigned(unsigned)>("sleep");
  const Unjudged simulator;
  return real(seconds);
}
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
