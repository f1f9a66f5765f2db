// Files below a directory that is held open: whoever renames or links something above them in the
// meantime changes nothing. Names are plain ones, without "/". Nothing follows a symbolic link.
#pragma once

#include <cstddef>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "control/system/descriptor.h"

namespace tarvek::control {

/// Something that the system would not do. what() is for people, "PATH: cannot be made: ...".
class SystemError : public std::runtime_error {
 public:
  SystemError(const std::string& path, const std::string& what, int number);
  int error;  // as errno has it
};

class Directory {
 public:
  /// @throws SystemError  unless there is such a directory that may be entered.
  static Directory Open(const std::string& path);
  /// Makes the directory, with those above it, unless it is there.
  /// @param mode  of what is made.
  /// @throws SystemError.
  static Directory OpenOrMake(const std::string& path, unsigned mode);

  /// @throws SystemError  for what is no directory, a symbolic link included.
  Directory Sub(const std::string& name) const;
  Directory MakeSub(const std::string& name, unsigned mode) const;  // must not be there
  Directory SubOrMake(const std::string& name, unsigned mode) const;

  int fd() const { return fd_.get(); }
  const std::string& path() const { return path_; }  // absolute, for people
  std::string PathOf(const std::string& name) const { return path_ + "/" + name; }

  /// The names in it, sorted, without "." and "..".
  std::vector<std::string> Names() const;
  bool Has(const std::string& name) const;
  /// Whether there is something of that name that is neither a regular file nor a link.
  bool HasSpecial(const std::string& name) const;

  /// @return a regular file's bytes; absent when it is not there.
  /// @throws SystemError  for what is no regular file, cannot be read, or is longer than `most`.
  std::optional<std::string> Read(const std::string& name, std::size_t most = kMostBytes) const;

  /// Makes a file for its owner alone where nobody looks yet, so that it may be there in part for a
  /// while.
  /// @throws SystemError  also when there is something of that name; what was made is left.
  void Make(const std::string& name, std::string_view bytes) const;
  /// Writes a file whole: under its name stands what stood there before, or all of `bytes`.
  /// @throws SystemError.
  void Write(const std::string& name, std::string_view bytes, unsigned mode = kPrivateMode) const;
  /// Likewise, also after the power has failed: for what is relied on later.
  void WriteDurably(const std::string& name, std::string_view bytes) const;
  /// Likewise, but fails (EEXIST) when there is something of that name.
  void WriteNew(const std::string& name, std::string_view bytes) const;
  /// Writes to a pipe or a device, without waiting for who reads there.
  /// @throws SystemError  also when nobody reads, or not all of it at once.
  void WriteThrough(const std::string& name, std::string_view bytes) const;

  /// Opens a file for appending, and makes it if need be.
  Descriptor Append(const std::string& name) const;
  /// Takes the exclusive lock on a file, which is made if need be.
  /// @return the lock, held while it lives; empty when somebody else has it.
  Descriptor TryLock(const std::string& name) const;

  /// Makes a file of `bytes` bytes that take their room on the disk.
  void Reserve(const std::string& name, std::size_t bytes) const;

  /// Gives a file or directory another name; what has that name is replaced if it can be.
  void Rename(const std::string& from, const std::string& to) const;
  /// @throws SystemError  when the directory is another user's, or others may write to it: they
  /// could
  ///   replace what is in it at any moment.
  void RequireOwn() const;

  /// @return how long ago something was last changed, in seconds; 0 when it is not there.
  long Age(const std::string& name) const;

  /// Removes a file, or nothing.
  void Remove(const std::string& name) const;
  /// Removes a file or a directory with all that is in it; what cannot be removed stays.
  void RemoveAll(const std::string& name) const;

  static constexpr std::size_t kMostBytes = std::size_t{1} << 30U;
  static constexpr unsigned kPrivateMode = 0600;
  static constexpr unsigned kPrivateDirectory = 0700;

 private:
  Directory(Descriptor fd, std::string path) : fd_(std::move(fd)), path_(std::move(path)) {}
  std::string WriteTemporary(std::string_view bytes, unsigned mode, bool durable) const;
  void Replace(const std::string& temporary, const std::string& name) const;

  Descriptor fd_;
  std::string path_;
};

/// @return `count` lower-case hexadecimal digits that nobody can guess.
std::string RandomDigits(std::size_t count);

}  // namespace tarvek::control
