#pragma once

#include <memory>
#include <string>
#include <vector>

namespace cvx {

// Names one runtime file that is tried instead of the platform's runtimes,
// for hardware and software sessions alike.
constexpr const char* kMfxRuntimeVariable = "CVX_MFX_RUNTIME";

struct LibraryCloser {
  void operator()(void* handle) const;
};
using LibraryHandle = std::unique_ptr<void, LibraryCloser>;

// One dynamically loaded shared library, closed with this object.
class RuntimeLibrary {
 public:
  // The files that may hold a Media SDK implementation of the type (0
  // hardware, 1 software), in the order they are tried: the file that
  // CVX_MFX_RUNTIME names, or else the platform's hardware runtimes by soname
  // (the older Media SDK runtime first, then the newer GPU runtime), found in
  // the dynamic loader's usual order. This platform has no software runtime.
  static std::vector<std::string> candidates(unsigned int implType);

  // Loads a file by soname or path, binding every symbol now and keeping them
  // out of the process's global scope. False, holding nothing, when it does
  // not load.
  bool open(const std::string& file);
  // The address of a symbol the library itself exports, or null.
  void* symbol(const char* name) const;
  void close() { handle.reset(); }
  bool isOpen() const { return handle != nullptr; }

 private:
  LibraryHandle handle;
};

}  // namespace cvx
