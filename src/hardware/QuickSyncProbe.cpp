#include "hardware/QuickSyncProbe.h"

#include "platform/mfxruntime/MfxApi.h"

namespace cvx {

using namespace mfx;

bool isQuickSyncAvailable() {
  mfxSession session = nullptr;
  const mfxStatus status = MFXInit(MFX_IMPL_AUTO, nullptr, &session);
  bool available = false;
  if (status == MFX_ERR_NONE && session != nullptr) {
    mfxIMPL impl = MFX_IMPL_SOFTWARE;
    available = MFXQueryIMPL(session, &impl) == MFX_ERR_NONE && implBaseType(impl) != MFX_IMPL_SOFTWARE;
  }
  if (session != nullptr) MFXClose(session);
  return available;
}

}  // namespace cvx
