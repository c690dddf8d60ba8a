#include "hardware/QuickSyncProbe.h"

#include "mfxutils/MfxHandles.h"

namespace cvx {

using namespace mfx;

bool isQuickSyncAvailable() {
  mfxSession opened = nullptr;
  const mfxStatus status = MFXInit(MFX_IMPL_AUTO, nullptr, &opened);
  const MfxSessionPtr session(opened);
  if (status != MFX_ERR_NONE || session == nullptr) return false;
  mfxIMPL impl = MFX_IMPL_SOFTWARE;
  return MFXQueryIMPL(session.get(), &impl) == MFX_ERR_NONE && implBaseType(impl) != MFX_IMPL_SOFTWARE;
}

}  // namespace cvx
