// Where the tool reads what the BMC serves.
#pragma once

#include <optional>
#include <string>

#include "control/runs/run_store.h"

namespace tarvek::control {

/// A scratch directory that is made when it is needed, serves one reading after the other, and goes
/// with the command at the latest.
class ReadingPlace {
 public:
  /// @param store  must outlive this object.
  explicit ReadingPlace(const RunStore& store) : store_(store) {}
  ~ReadingPlace();
  ReadingPlace(const ReadingPlace&) = delete;
  ReadingPlace& operator=(const ReadingPlace&) = delete;

  /// Makes it ready for a run of `tarvek -backup`: a hardware list of `product` alone, the tool's
  /// own file, and nothing that an earlier reading has left.
  /// @param product  four hexadecimal digits.
  /// @return the directory, which stays this object's; until Clear() or Leave().
  /// @throws SystemError  when it cannot be made or written to; the next call tries anew.
  const Directory& Prepare(const std::string& product);

  /// Removes it: nothing is to be left of it while another program is waited for.
  void Clear();
  /// Leaves the directory as it is, to a program there that has not ended: the next reading has
  /// another.
  void Leave();

 private:
  const RunStore& store_;
  std::string name_;
  std::optional<Directory> directory_;
};

}  // namespace tarvek::control
