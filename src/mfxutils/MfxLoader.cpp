#include "mfxutils/MfxLoader.h"

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "logging/Guarded.h"

namespace cvx {

using namespace mfx;

namespace {

struct ImplementationRow {
  uint32_t implType;
  mfxIMPL impl;
  uint32_t adapter;
};

// Rows 0 and 1 serve the plain requests, rows 2 to 6 the "any" requests.
constexpr ImplementationRow kImplementations[] = {
    {MfxLoader::kHardware, MFX_IMPL_HARDWARE, 0},  {MfxLoader::kSoftware, MFX_IMPL_SOFTWARE, 0},
    {MfxLoader::kHardware, MFX_IMPL_HARDWARE, 0},  {MfxLoader::kHardware, MFX_IMPL_HARDWARE2, 1},
    {MfxLoader::kHardware, MFX_IMPL_HARDWARE3, 2}, {MfxLoader::kHardware, MFX_IMPL_HARDWARE4, 3},
    {MfxLoader::kSoftware, MFX_IMPL_SOFTWARE, 0},
};

struct RowRange {
  uint32_t first;
  uint32_t last;
};

// Indexed by the requested implementation, MFX_IMPL_AUTO to MFX_IMPL_HARDWARE4.
constexpr RowRange kRanges[] = {{0, 1}, {1, 1}, {0, 0}, {2, 6}, {2, 5}, {3, 3}, {4, 4}, {5, 5}};

constexpr mfxVersion kDefaultVersion{{1, 1}};

using InitFunction = mfxStatus (*)(mfxIMPL, mfxVersion*, mfxSession*);
using CloseFunction = mfxStatus (*)(mfxSession);
using CloneFunction = mfxStatus (*)(mfxSession, mfxSession*);
using GetHandleFunction = mfxStatus (*)(mfxSession, mfxHandleType, mfxHDL*);
using SetHandleFunction = mfxStatus (*)(mfxSession, mfxHandleType, mfxHDL);

bool isUsable(mfxStatus status) { return status == MFX_ERR_NONE || status == MFX_WRN_PARTIAL_ACCELERATION; }

}  // namespace

void MfxLoader::SpinLock::lock() {
  bool expected = false;
  while (!taken.compare_exchange_weak(expected, true, std::memory_order_acquire)) {
    expected = false;
    std::this_thread::yield();
  }
}

MfxLoader& MfxLoader::instance() {
  static MfxLoader* loader = new MfxLoader();
  return *loader;
}

void* MfxLoader::entry(const _mfxSession& session, MfxEntry which) const {
  return bindings[session.implType].table.get(which);
}

MfxLoader::LoadResult MfxLoader::loadRuntime(const char* file, uint32_t implType, mfxIMPL impl,
                                             _mfxSession& session) {
  const bool knownImpl = impl == MFX_IMPL_SOFTWARE || impl == MFX_IMPL_HARDWARE || impl == MFX_IMPL_HARDWARE2 ||
                         impl == MFX_IMPL_HARDWARE3 || impl == MFX_IMPL_HARDWARE4;
  if (implType > kSoftware || !knownImpl) return {MFX_ERR_ABORTED, false};
  Binding& binding = bindings[implType];
  if (binding.referenceCount == 0) {
    binding.library.open(file);
    const uint32_t found = binding.table.bind(binding.library);
    const bool accepted = found != 0 && (found >> 16) == session.version.Major &&
                          (found & 0xFFFF) >= session.version.Minor;
    if (!accepted) {
      binding.table.clear();
      binding.library.close();
      return {MFX_ERR_UNSUPPORTED, false};
    }
    binding.version = found;
  }
  ++binding.referenceCount;
  session.implType = implType;
  session.implementation = impl;
  if (session.version.Version == 0) session.version.Version = binding.version;
  const auto runtimeInit = reinterpret_cast<InitFunction>(binding.table.get(MfxEntry::Init));
  return {runtimeInit(impl, &session.version, &session.realSession), true};
}

mfxStatus MfxLoader::attachDisplay(_mfxSession& session) {
  const auto getHandle = reinterpret_cast<GetHandleFunction>(entry(session, MfxEntry::GetHandle));
  mfxHDL own = nullptr;
  if (getHandle(session.realSession, MFX_HANDLE_VA_DISPLAY, &own) == MFX_ERR_NONE && own != nullptr) {
    return MFX_ERR_NONE;
  }
  auto display = std::make_unique<VaDisplay>();
  if (!display->open()) return MFX_ERR_UNSUPPORTED;
  const auto setHandle = reinterpret_cast<SetHandleFunction>(entry(session, MfxEntry::SetHandle));
  const mfxStatus status = setHandle(session.realSession, MFX_HANDLE_VA_DISPLAY, display->handle());
  if (status != MFX_ERR_NONE) return status;
  session.display = std::move(display);
  return MFX_ERR_NONE;
}

void MfxLoader::release(uint32_t implType) {
  Binding& binding = bindings[implType];
  if (binding.referenceCount == 0 || --binding.referenceCount > 0) return;
  binding.table.clear();
  binding.library.close();
  binding.version = 0;
}

mfxStatus MfxLoader::init(mfxIMPL impl, mfxVersion* version, mfxSession* session) {
  std::lock_guard<SpinLock> hold(spinLock);
  return guarded("MFXInit: ", [&]() -> mfxStatus {
    if (session == nullptr) return MFX_ERR_NULL_PTR;
    if (impl < MFX_IMPL_AUTO || impl > MFX_IMPL_HARDWARE4) return MFX_ERR_UNSUPPORTED;
    auto record = std::make_unique<_mfxSession>();
    record->version = version != nullptr ? *version : kDefaultVersion;
    // No registry here: each implementation's runtimes are found by file name.
    mfxStatus status = MFX_ERR_UNSUPPORTED;
    const RowRange range = kRanges[impl];
    for (uint32_t row = range.first; row <= range.last; ++row) {
      const ImplementationRow& candidate = kImplementations[row];
      for (const std::string& file : RuntimeLibrary::candidates(candidate.implType)) {
        const LoadResult loaded = loadRuntime(file.c_str(), candidate.implType, candidate.impl, *record);
        status = loaded.status;
        if (isUsable(status) && candidate.implType == kHardware) {
          const mfxStatus attached = attachDisplay(*record);
          if (attached != MFX_ERR_NONE) {
            reinterpret_cast<CloseFunction>(entry(*record, MfxEntry::Close))(record->realSession);
            record->realSession = nullptr;
            status = attached;
          }
        }
        if (isUsable(status)) {
          *session = record.release();
          return status;
        }
        if (loaded.counted) release(candidate.implType);
        record->realSession = nullptr;
      }
    }
    return status;
  }, MFX_ERR_UNKNOWN);
}

mfxStatus MfxLoader::close(mfxSession session) {
  std::lock_guard<SpinLock> hold(spinLock);
  return guarded("MFXClose: ", [&]() -> mfxStatus {
    if (session == nullptr) return MFX_ERR_INVALID_HANDLE;
    mfxStatus status = MFX_ERR_NOT_INITIALIZED;
    if (session->realSession != nullptr) {
      status = reinterpret_cast<CloseFunction>(entry(*session, MfxEntry::Close))(session->realSession);
      // The runtime refuses to close yet: the session stays as it is.
      if (status == MFX_ERR_UNDEFINED_BEHAVIOR) return status;
    }
    std::unique_ptr<_mfxSession> owned(session);
    owned->display.reset();
    release(owned->implType);
    return status;
  }, MFX_ERR_UNKNOWN);
}

mfxStatus MfxLoader::clone(mfxSession session, mfxSession* cloned) {
  std::lock_guard<SpinLock> hold(spinLock);
  return guarded("MFXCloneSession: ", [&]() -> mfxStatus {
    if (session == nullptr) return MFX_ERR_INVALID_HANDLE;
    if (cloned == nullptr) return MFX_ERR_NULL_PTR;
    const auto runtimeClone = reinterpret_cast<CloneFunction>(entry(*session, MfxEntry::CloneSession));
    if (runtimeClone == nullptr) return MFX_ERR_UNKNOWN;
    auto record = std::make_unique<_mfxSession>();
    const mfxStatus status = runtimeClone(session->realSession, &record->realSession);
    if (status != MFX_ERR_NONE) return status;
    if (record->realSession == nullptr) return MFX_ERR_UNKNOWN;
    record->implType = session->implType;
    record->implementation = session->implementation;
    record->version = session->version;
    ++bindings[record->implType].referenceCount;
    *cloned = record.release();
    return status;
  }, MFX_ERR_UNKNOWN);
}

}  // namespace cvx
