#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

// What the fake NVIDIA driver libraries do, read from the file that
// CVX_FAKE_NVIDIA_SCRIPT names; a test rewrites it before each session. One
// "key=value" per line:
//
//   devices=N                         how many devices cuDeviceGetCount reports
//   device<i>=name|major|minor|clock kHz|multiprocessors|memory bytes
//   driver=12020                      cuDriverGetVersion
//   fail=call,call@3,...              calls that fail: always, or only their
//                                     n-th time (counted per encode session for
//                                     the encoder's calls, per process else)
//   trace=/path                       each call appends a line to this file
//   encodeDelayMs=N                   the fake GPU takes this long per frame
//
// Without the variable or the file the driver has no devices.
namespace fakenv {

struct Device {
  std::string name = "Fake GPU";
  int major = 2;
  int minor = 1;
  int clockKHz = 1500000;
  int processors = 16;
  uint64_t memory = 1ull << 30;
};

struct Script {
  int devices = 0;
  std::vector<Device> device;  // at least `devices` entries
  int driver = 12020;
  std::map<std::string, int> fail;  // call -> n-th time, 0 for always
  std::string trace;
  int encodeDelayMs = 0;

  bool fails(const std::string& call, int time) const;
};

// Reads the script afresh; the previous one stays valid for its holders.
std::shared_ptr<const Script> reloadScript();
// The script last read (an empty one before any).
std::shared_ptr<const Script> currentScript();
// Appends one line to the trace file, if the script names one.
void trace(const std::string& line);

}  // namespace fakenv
