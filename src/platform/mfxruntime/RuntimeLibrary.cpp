#include "platform/mfxruntime/RuntimeLibrary.h"

#include <dlfcn.h>
#include <link.h>

#include <cstdlib>

namespace cvx {

namespace {
constexpr const char* kHardwareRuntimes[] = {"libmfxhw64.so.1", "libmfx-gen.so.1.2"};
}

void LibraryCloser::operator()(void* handle) const {
  if (handle != nullptr) dlclose(handle);
}

std::vector<std::string> RuntimeLibrary::candidates(unsigned int implType) {
  const char* chosen = std::getenv(kMfxRuntimeVariable);
  if (chosen != nullptr && chosen[0] != '\0') return {chosen};
  if (implType != 0) return {};
  return {std::begin(kHardwareRuntimes), std::end(kHardwareRuntimes)};
}

bool RuntimeLibrary::open(const std::string& file) {
  handle.reset(dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL));
  return handle != nullptr;
}

void* RuntimeLibrary::symbol(const char* name) const {
  if (handle == nullptr) return nullptr;
  void* address = dlsym(handle.get(), name);
  if (address == nullptr) return nullptr;
  // dlsym also searches the library's dependencies; a symbol counts only
  // where the library itself defines it.
  link_map* library = nullptr;
  link_map* owner = nullptr;
  Dl_info info;
  if (dlinfo(handle.get(), RTLD_DI_LINKMAP, &library) != 0 ||
      dladdr1(address, &info, reinterpret_cast<void**>(&owner), RTLD_DL_LINKMAP) == 0 || owner != library) {
    return nullptr;
  }
  return address;
}

}  // namespace cvx
