#ifndef TARVEK_SIMULATOR_STATE_FILE_H_
#define TARVEK_SIMULATOR_STATE_FILE_H_

#include <string>

#include "simulator/bmc_state.h"

namespace bmcsim {

/// A BMC's memory in a file, mapped and shared with every other process that has it open.
///
/// Whoever reads or changes it holds the file's lock (flock) for the length of one request. The
/// system drops the lock of a process that dies, and Publish (bmc_state.h) sees to it that what
/// such a process leaves is whole.
class StateFile {
 public:
  StateFile() = default;
  StateFile(const StateFile&) = delete;
  StateFile& operator=(const StateFile&) = delete;
  ~StateFile();

  /// Makes a new file, whole or not at all.
  ///
  /// @param state  what it is to hold.
  /// @param error  receives what went wrong, for people, when the result is false.
  /// @return false also when the file exists already.
  static bool Create(const std::string& path, const BmcState& state, std::string& error);

  /// Maps a file and checks that it is one that Create made.
  ///
  /// @param error  receives what went wrong, for people, when the result is false.
  bool Open(const std::string& path, std::string& error);

  /// The mapped memory; null unless Open succeeded. Lives as long as this object.
  BmcState* state() { return state_; }

  /// Waits for the lock and takes it; a process holds it once at most.
  void Lock();
  void Unlock();

  /// Lets go of the file: closes the descriptor and leaves the memory mapped until the process
  /// ends.
  ///
  /// @return the memory, or null when nothing is open.
  BmcState* Detach();

 private:
  bool Fail(const std::string& path, const std::string& what, std::string& error);
  void Close();

  int fd_ = -1;
  BmcState* state_ = nullptr;
};

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_STATE_FILE_H_
