// Waiting for something to happen in directories.
#pragma once

#include "control/system/files.h"

namespace tarvek::control {

/// Tells when files appear, are replaced or go in directories; not when they are written to in
/// place. Where the system cannot tell, it never does, so whoever waits looks by himself once in a
/// while.
class Watch {
 public:
  Watch();
  void Add(const Directory& directory);

  int fd() const { return fd_.get(); }  // readable when something has happened; -1: never
  void Drain() const;

 private:
  Descriptor fd_;
};

}  // namespace tarvek::control
