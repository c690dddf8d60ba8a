#include "FakeDriverScript.h"

#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>

namespace fakenv {

namespace {

std::mutex scriptMutex;
std::shared_ptr<const Script> loaded = std::make_shared<Script>();

Device parseDevice(const std::string& value) {
  Device d;
  std::stringstream in(value);
  std::string part;
  if (std::getline(in, part, '|')) d.name = part;
  for (int* field : {&d.major, &d.minor, &d.clockKHz, &d.processors}) {
    if (std::getline(in, part, '|')) *field = std::atoi(part.c_str());
  }
  if (std::getline(in, part, '|')) d.memory = std::strtoull(part.c_str(), nullptr, 10);
  return d;
}

}  // namespace

bool Script::fails(const std::string& call, int time) const {
  auto it = fail.find(call);
  return it != fail.end() && (it->second == 0 || it->second == time);
}

std::shared_ptr<const Script> reloadScript() {
  auto script = std::make_shared<Script>();
  const char* path = std::getenv("CVX_FAKE_NVIDIA_SCRIPT");
  std::ifstream in(path != nullptr ? path : "");
  for (std::string line; std::getline(in, line);) {
    const auto eq = line.find('=');
    if (eq == std::string::npos) continue;
    const std::string key = line.substr(0, eq);
    const std::string value = line.substr(eq + 1);
    if (key == "devices") {
      script->devices = std::atoi(value.c_str());
    } else if (key.rfind("device", 0) == 0) {
      const size_t index = static_cast<size_t>(std::atoi(key.c_str() + 6));
      if (script->device.size() <= index) script->device.resize(index + 1);
      script->device[index] = parseDevice(value);
    } else if (key == "driver") {
      script->driver = std::atoi(value.c_str());
    } else if (key == "fail") {
      std::stringstream calls(value);
      for (std::string call; std::getline(calls, call, ',');) {
        const auto at = call.find('@');
        script->fail[call.substr(0, at)] = at == std::string::npos ? 0 : std::atoi(call.c_str() + at + 1);
      }
    } else if (key == "trace") {
      script->trace = value;
    } else if (key == "encodeDelayMs") {
      script->encodeDelayMs = std::atoi(value.c_str());
    }
  }
  if (script->devices > 0 && static_cast<int>(script->device.size()) < script->devices) {
    script->device.resize(static_cast<size_t>(script->devices));
  }
  std::lock_guard<std::mutex> guard(scriptMutex);
  loaded = script;
  return script;
}

std::shared_ptr<const Script> currentScript() {
  std::lock_guard<std::mutex> guard(scriptMutex);
  return loaded;
}

void trace(const std::string& line) {
  std::shared_ptr<const Script> script = currentScript();
  if (script->trace.empty()) return;
  std::lock_guard<std::mutex> guard(scriptMutex);
  std::ofstream out(script->trace, std::ios::app);
  out << line << '\n';
}

}  // namespace fakenv
