// An input's bytes, read once.
#pragma once

#include <string>
#include <string_view>

namespace tarvek::inspect {

/// The bytes that an input held when it was read, under a path of their own: what is told from
/// them and what is read from them are the same, also for a pipe.
class Snapshot {
 public:
  /// @param path  a file, a pipe, or "-": standard input, whose name is then "<stdin>".
  /// @throws InputError  for what cannot be read, a directory, a device (the null device is an
  ///   empty file), or more than 1 GiB.
  explicit Snapshot(const std::string& path);
  /// A snapshot of a text that is no file's.
  Snapshot(std::string name, std::string bytes);
  ~Snapshot();
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;

  const std::string& name() const { return name_; }  // as complaints have it
  std::string_view bytes() const { return bytes_; }
  /// A file that holds the bytes, while this object lives.
  const std::string& path() const { return path_; }

 private:
  void Keep();

  std::string name_;
  std::string bytes_;
  std::string path_;
  int fd_ = -1;
};

}  // namespace tarvek::inspect
