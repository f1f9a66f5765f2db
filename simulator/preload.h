#ifndef TARVEK_SIMULATOR_PRELOAD_H_
#define TARVEK_SIMULATOR_PRELOAD_H_

// Before a function of the preload library that stands in for the C library's. Some of them are
// declared with attributes that a definition of ours need not repeat.
#define BMCSIM_EXPORT extern "C" __attribute__((visibility("default")))

#endif  // TARVEK_SIMULATOR_PRELOAD_H_
