#pragma once

// The fake runtime's shared state: settings, scripted answers, the call
// journal, and its session record.
#include <mfx/mfxvideo.h>

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace fake {

class Decoder;
class Encoder;

struct Scripted {
  int status = 0;
  bool withOutput = false;
  mfxStatus answer() const { return static_cast<mfxStatus>(status); }
};

struct State {
  std::map<std::string, long long> settings;
  std::map<std::string, std::deque<Scripted>> pushed;
  std::map<std::string, int> calls;
  std::map<std::string, long long> last;
  std::map<std::string, std::vector<long long>> history;
  void* lastSession = nullptr;
  int openSessions = 0;
};

State& state();
long long setting(const char* name);
// Takes the next scripted answer of `function`, if one is queued.
std::optional<Scripted> takeScripted(const char* function);
// Keeps a value the runtime was given: the last one and all of them.
void record(const char* name, long long value);

}  // namespace fake

struct _mfxSession {
  mfxIMPL impl = 0;
  mfxHDL display = nullptr;
  std::unique_ptr<fake::Decoder> decoder;
  std::unique_ptr<fake::Encoder> encoder;
};
