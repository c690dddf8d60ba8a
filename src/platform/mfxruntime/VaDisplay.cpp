#include "platform/mfxruntime/VaDisplay.h"

#include <fcntl.h>
#include <unistd.h>
#include <va/va.h>
#include <va/va_drm.h>

#include <string>

namespace cvx {

namespace {

// Render nodes are numbered from 128; the kernel gives each device one.
constexpr int kFirstRenderNode = 128;
constexpr int kLastRenderNode = 191;

// libva's one error mapper: success or not.
bool succeeded(VAStatus status) { return status == VA_STATUS_SUCCESS; }

void dropMessage(void*, const char*) {}

template <class Function>
Function bind(const RuntimeLibrary& library, const char* name) {
  return reinterpret_cast<Function>(library.symbol(name));
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

bool VaDisplay::open() {
  close();
  if (!libva.open("libva.so.2") || !libvaDrm.open("libva-drm.so.2")) {
    close();
    return false;
  }
  const auto getDisplay = bind<decltype(&vaGetDisplayDRM)>(libvaDrm, "vaGetDisplayDRM");
  const auto initialize = bind<decltype(&vaInitialize)>(libva, "vaInitialize");
  const auto terminate = bind<decltype(&vaTerminate)>(libva, "vaTerminate");
  const auto setErrorCallback = bind<decltype(&vaSetErrorCallback)>(libva, "vaSetErrorCallback");
  const auto setInfoCallback = bind<decltype(&vaSetInfoCallback)>(libva, "vaSetInfoCallback");
  if (getDisplay == nullptr || initialize == nullptr || terminate == nullptr) {
    close();
    return false;
  }
  node = openFirstRenderNode();
  if (node < 0) {
    close();
    return false;
  }
  display = getDisplay(node);
  if (display == nullptr) {
    close();
    return false;
  }
  if (setErrorCallback != nullptr) setErrorCallback(display, &dropMessage, nullptr);
  if (setInfoCallback != nullptr) setInfoCallback(display, &dropMessage, nullptr);
  int major = 0;
  int minor = 0;
  if (!succeeded(initialize(display, &major, &minor))) {
    close();
    return false;
  }
  return true;
}

void VaDisplay::close() {
  if (display != nullptr) {
    // A display that failed to initialise is terminated too: that frees it.
    const auto terminate = bind<decltype(&vaTerminate)>(libva, "vaTerminate");
    if (terminate != nullptr) terminate(display);
    display = nullptr;
  }
  if (node >= 0) {
    ::close(node);
    node = -1;
  }
  libvaDrm.close();
  libva.close();
}

}  // namespace cvx
