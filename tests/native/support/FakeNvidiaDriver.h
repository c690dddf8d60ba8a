#pragma once

// Points the library at the fake NVIDIA driver (tests/fakes/nvidia) and scripts it; restores the environment.
#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace cvx {
namespace testing {

class FakeNvidiaDriver {
 public:
  enum class Folder { Full, WithoutEncoder, Empty };

  explicit FakeNvidiaDriver(Folder folder = Folder::Full) {
    const std::string base = std::string(CVX_TEST_TMPDIR) + "/nvidia-" +
                             ::testing::UnitTest::GetInstance()->current_test_info()->name();
    scriptPath = base + ".script";
    tracePath = base + ".trace";
    save("CVX_NVIDIA_DRIVER_DIR");
    save("CVX_FAKE_NVIDIA_SCRIPT");
    const char* dir = folder == Folder::Full             ? CVX_FAKE_NVIDIA_DIR
                      : folder == Folder::WithoutEncoder ? CVX_FAKE_NVIDIA_PARTIAL_DIR
                                                         : CVX_TEST_TMPDIR "/no-driver-here";
    setenv("CVX_NVIDIA_DRIVER_DIR", dir, 1);
    setenv("CVX_FAKE_NVIDIA_SCRIPT", scriptPath.c_str(), 1);
    script("devices=1");
  }
  ~FakeNvidiaDriver() {
    for (const auto& [name, value] : saved) {
      if (value.second) {
        setenv(name.c_str(), value.first.c_str(), 1);
      } else {
        unsetenv(name.c_str());
      }
    }
  }
  FakeNvidiaDriver(const FakeNvidiaDriver&) = delete;
  FakeNvidiaDriver& operator=(const FakeNvidiaDriver&) = delete;

  // Replaces the script; the trace starts empty. Read at the next cuInit.
  void script(const std::string& lines) {
    std::ofstream(tracePath, std::ios::trunc).close();
    std::ofstream out(scriptPath, std::ios::trunc);
    out << lines << "\ntrace=" << tracePath << "\n";
  }

  // The calls and configurations the fake saw, one per line.
  std::vector<std::string> trace() const {
    std::vector<std::string> lines;
    std::ifstream in(tracePath);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
  }
  bool traced(const std::string& prefix) const {
    for (const std::string& line : trace()) {
      if (line.rfind(prefix, 0) == 0) return true;
    }
    return false;
  }
  std::string tracedLine(const std::string& prefix) const {
    for (const std::string& line : trace()) {
      if (line.rfind(prefix, 0) == 0) return line;
    }
    return "";
  }

 private:
  void save(const char* name) {
    const char* value = std::getenv(name);
    saved.push_back({name, {value != nullptr ? value : "", value != nullptr}});
  }

  std::string scriptPath;
  std::string tracePath;
  std::vector<std::pair<std::string, std::pair<std::string, bool>>> saved;
};

}  // namespace testing
}  // namespace cvx
