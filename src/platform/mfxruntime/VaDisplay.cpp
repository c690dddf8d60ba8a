#include "platform/mfxruntime/VaDisplay.h"

#include <fcntl.h>
#include <unistd.h>
#include <va/va.h>
#include <va/va_drm.h>

#include <string>

#include "platform/librarylog/LibraryLog.h"
#include "platform/mfxruntime/RuntimeLibrary.h"

namespace cvx {

namespace {

// Render nodes are numbered from 128; the kernel gives each device one.
constexpr int kFirstRenderNode = 128;
constexpr int kLastRenderNode = 191;

// libva's one error mapper: success or not.
bool succeeded(VAStatus status) { return status == VA_STATUS_SUCCESS; }

// libva's errors go into our log; its information lines (driver names and
// versions at every start) nowhere.
void logError(void*, const char* message) {
  writeLibraryLine(LogLibrary::Libva, kLibraryLogError, "libva: ", message);
}
void dropMessage(void*, const char*) {}

template <class Function>
Function bind(const RuntimeLibrary& library, const char* name) {
  return reinterpret_cast<Function>(library.symbol(name));
}

// libva's entry points, bound at the first display and kept for the process.
struct Libva {
  Libva() {
    if (!libva.open("libva.so.2") || !libvaDrm.open("libva-drm.so.2")) return;
    getDisplay = bind<decltype(&vaGetDisplayDRM)>(libvaDrm, "vaGetDisplayDRM");
    initialize = bind<decltype(&vaInitialize)>(libva, "vaInitialize");
    terminate = bind<decltype(&vaTerminate)>(libva, "vaTerminate");
    setErrorCallback = bind<decltype(&vaSetErrorCallback)>(libva, "vaSetErrorCallback");
    setInfoCallback = bind<decltype(&vaSetInfoCallback)>(libva, "vaSetInfoCallback");
  }
  bool usable() const { return getDisplay != nullptr && initialize != nullptr && terminate != nullptr; }

  RuntimeLibrary libva;
  RuntimeLibrary libvaDrm;
  decltype(&vaGetDisplayDRM) getDisplay = nullptr;
  decltype(&vaInitialize) initialize = nullptr;
  decltype(&vaTerminate) terminate = nullptr;
  decltype(&vaSetErrorCallback) setErrorCallback = nullptr;
  decltype(&vaSetInfoCallback) setInfoCallback = nullptr;
};

const Libva& libva() {
  static const Libva* bound = new Libva();
  return *bound;
}

int openFirstRenderNode() {
  for (int n = kFirstRenderNode; n <= kLastRenderNode; ++n) {
    const std::string path = "/dev/dri/renderD" + std::to_string(n);
    const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    if (fd >= 0) return fd;
  }
  return -1;
}

}  // namespace

// A display that failed to initialise is terminated too: that frees it.
void VaDisplayTerminator::operator()(void* display) const { libva().terminate(display); }

bool VaDisplay::open() {
  close();
  const Libva& va = libva();
  if (!va.usable()) return false;
  node = openFirstRenderNode();
  if (node < 0) return false;
  display.reset(va.getDisplay(node));
  if (display == nullptr) {
    close();
    return false;
  }
  if (va.setErrorCallback != nullptr) va.setErrorCallback(display.get(), &logError, nullptr);
  if (va.setInfoCallback != nullptr) va.setInfoCallback(display.get(), &dropMessage, nullptr);
  int major = 0;
  int minor = 0;
  if (!succeeded(va.initialize(display.get(), &major, &minor))) {
    close();
    return false;
  }
  return true;
}

void VaDisplay::close() {
  display.reset();
  if (node >= 0) {
    ::close(node);
    node = -1;
  }
}

}  // namespace cvx
