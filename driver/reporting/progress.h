// An update's progress: `g_ratio` rises from step to step and never falls; the progress
// file follows it.
#pragma once

namespace tarvek {

/// Writes the progress file with `g_ratio` as its data. Nothing in a direct run.
void ReportProgress();

/// Sets `g_ratio` to `percent`, a step that ends a stage of the update, and reports it.
void SetProgress(int percent);

/// Raises `g_ratio` to `percent` and reports it; does nothing when it is there already.
void RaiseProgress(int percent);

/// The share of the progress that a walk over records earns: a running value that starts at
/// the ratio and rises with each record up to a cap. The ratio is its integer part.
class RecordProgress {
 public:
  /// @param cap  the percentage that the walk may reach.
  explicit RecordProgress(int cap) : cap_(cap) {}

  /// Counts record number `n` (from 1) and reports every tenth one. Does nothing once the ratio
  /// has reached the cap.
  /// @param records  how many records are expected; 0 or less raises to the cap at once.
  void Advance(int n, int records);

 private:
  int cap_;
  bool started_ = false;
  double value_ = 0;  // percent; taken from the ratio at the first record
};

}  // namespace tarvek
