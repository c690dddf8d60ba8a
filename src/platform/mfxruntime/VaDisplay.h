#pragma once

#include <memory>

namespace cvx {

// Named deleter of libva's display (a VADisplay): terminates it through the
// late-bound library.
struct VaDisplayTerminator {
  void operator()(void* display) const;
};

// libva's DRM display on the first render node, which a Media SDK hardware
// runtime on this platform needs before any of its components starts. libva
// is bound late like the runtime, once for the process (every hardware
// session wants it, and it is cheaper kept than loaded again); its errors go
// into our log and its other messages nowhere, never to the host's standard
// error. The display and its node are closed with this object.
class VaDisplay {
 public:
  VaDisplay() = default;
  ~VaDisplay() { close(); }
  VaDisplay(const VaDisplay&) = delete;
  VaDisplay& operator=(const VaDisplay&) = delete;

  // Loads libva, opens the first render node that opens and initialises a
  // display on it. False, holding nothing, when any step fails (no libva, no
  // render node, a driver that does not start).
  bool open();
  // The display (a VADisplay) for MFXVideoCORE_SetHandle; null when closed.
  void* handle() const { return display.get(); }
  // Terminates the display and closes the node; safe to repeat.
  void close();

 private:
  int node = -1;
  // Declared after the node it lives on, so it goes first.
  std::unique_ptr<void, VaDisplayTerminator> display;
};

}  // namespace cvx
