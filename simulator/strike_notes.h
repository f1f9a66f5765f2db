#ifndef TARVEK_SIMULATOR_STRIKE_NOTES_H_
#define TARVEK_SIMULATOR_STRIKE_NOTES_H_

#include <cstdint>
#include <span>
#include <string>

namespace bmcsim {

/// Which rules of a fault plan have struck in any of the programs of a run: a byte a rule, in
/// memory that the launcher makes and every program of the run maps. It stays mapped until the
/// process ends.
class StrikeNotes {
 public:
  StrikeNotes() = default;
  StrikeNotes(const StrikeNotes&) = delete;
  StrikeNotes& operator=(const StrikeNotes&) = delete;

  /// Makes the notes, all of them 0.
  ///
  /// @return where other processes find them for as long as this one lives; empty: there is no
  ///         memory for them, and errno tells why.
  std::string Create();

  /// Maps the notes that another process has made.
  ///
  /// @return false when they are not there, and errno tells why.
  bool Open(const char* place);

  /// Empty unless one of the above has succeeded.
  std::span<std::uint8_t> bytes() const { return bytes_; }

 private:
  bool Map(int fd);

  std::span<std::uint8_t> bytes_;
};

}  // namespace bmcsim

#endif  // TARVEK_SIMULATOR_STRIKE_NOTES_H_
