#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "mfxutils/MfxFunctionTable.h"
#include "platform/mfxruntime/MfxApi.h"
#include "platform/mfxruntime/RuntimeLibrary.h"
#include "platform/mfxruntime/VaDisplay.h"

namespace cvx {
namespace mfx {

// What an mfxSession handed out by the loader points to.
struct _mfxSession {
  uint32_t implType = 0;            // 0 hardware, 1 software
  mfxIMPL implementation = 0;       // the implementation asked of the runtime
  mfxVersion version{};             // minor, then major
  mfxSession realSession = nullptr;  // the runtime's own session
  // The display given to a hardware runtime, closed after the runtime's session.
  std::unique_ptr<VaDisplay> display;
};

}  // namespace mfx

// Binds a Media SDK runtime when the first session of a type needs it and
// unbinds it when the last one closes: one runtime, table and reference count
// per implementation type, for the whole process. One spin lock covers init
// and close; the forwarders take none, since a session is used by one thread
// at a time and its reference keeps the table valid.
class MfxLoader {
 public:
  static constexpr uint32_t kHardware = 0;
  static constexpr uint32_t kSoftware = 1;

  // The process's loader; never destroyed, so sessions may outlive statics.
  static MfxLoader& instance();

  // MFXInit: tries the implementations the request names, in order, and the
  // runtime files of each. 0 (or 4, partial acceleration) with a session, or
  // the last failure's status: -2 null session pointer, -3 a request above 7
  // or no runtime that serves it.
  mfx::mfxStatus init(mfx::mfxIMPL impl, mfx::mfxVersion* version, mfx::mfxSession* session);
  // MFXClose: closes the runtime's session, then the display, and unbinds the
  // runtime with its last session. A runtime that answers -16 keeps the
  // session open, and the answer is returned.
  mfx::mfxStatus close(mfx::mfxSession session);
  // MFXCloneSession: the runtime's clone of a session, in a session record of
  // its own that holds a reference to the same runtime.
  mfx::mfxStatus clone(mfx::mfxSession session, mfx::mfxSession* cloned);

  // The runtime's entry for a session, or null where the runtime lacks it.
  void* entry(const mfx::_mfxSession& session, MfxEntry which) const;

  uint32_t referenceCount(uint32_t implType) const { return bindings[implType].referenceCount; }
  // The version of the runtime bound for the type; 0 when none is.
  uint32_t boundVersion(uint32_t implType) const { return bindings[implType].version; }

 private:
  struct Binding {
    MfxFunctionTable table;
    uint32_t referenceCount = 0;
    RuntimeLibrary library;
    uint32_t version = 0;
  };
  struct LoadResult {
    mfx::mfxStatus status;
    bool counted;  // the type's reference count was raised for the session
  };

  class SpinLock {
   public:
    void lock();
    void unlock() { taken.store(false, std::memory_order_release); }

   private:
    std::atomic<bool> taken{false};
  };

  MfxLoader() = default;
  LoadResult loadRuntime(const char* file, uint32_t implType, mfx::mfxIMPL impl, mfx::_mfxSession& session);
  // Hands a hardware runtime a display unless it has one of its own.
  mfx::mfxStatus attachDisplay(mfx::_mfxSession& session);
  void release(uint32_t implType);

  Binding bindings[2];
  SpinLock spinLock;
};

}  // namespace cvx
