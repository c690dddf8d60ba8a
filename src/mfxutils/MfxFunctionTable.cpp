#include "mfxutils/MfxFunctionTable.h"

#include <algorithm>

#include "platform/mfxruntime/RuntimeLibrary.h"

namespace cvx {

namespace {

constexpr uint32_t k10 = mfxVersionWord(1, 0);
constexpr uint32_t k11 = mfxVersionWord(1, 1);
constexpr uint32_t kRefused = 0;

constexpr MfxFunctionTable::EntryInfo kEntries[] = {
    {"MFXInit", k10, kRefused},
    {"MFXClose", k10, kRefused},
    {"MFXJoinSession", k11, k10},
    {"MFXCloneSession", k11, k10},
    {"MFXQueryIMPL", k10, kRefused},
    {"MFXQueryVersion", k10, kRefused},
    {"MFXVideoCORE_SetBufferAllocator", k10, kRefused},
    {"MFXVideoCORE_SetFrameAllocator", k10, kRefused},
    {"MFXVideoCORE_SetHandle", k10, kRefused},
    {"MFXVideoCORE_GetHandle", k10, kRefused},
    {"MFXVideoCORE_SyncOperation", k10, kRefused},
    {"MFXVideoENCODE_Query", k10, kRefused},
    {"MFXVideoENCODE_QueryIOSurf", k10, kRefused},
    {"MFXVideoENCODE_Init", k10, kRefused},
    {"MFXVideoENCODE_Reset", k10, kRefused},
    {"MFXVideoENCODE_Close", k10, kRefused},
    {"MFXVideoENCODE_GetVideoParam", k10, kRefused},
    {"MFXVideoENCODE_GetEncodeStat", k10, kRefused},
    {"MFXVideoENCODE_EncodeFrameAsync", k10, kRefused},
    {"MFXVideoDECODE_Query", k10, kRefused},
    {"MFXVideoDECODE_DecodeHeader", k10, kRefused},
    {"MFXVideoDECODE_QueryIOSurf", k10, kRefused},
    {"MFXVideoDECODE_Init", k10, kRefused},
    {"MFXVideoDECODE_Reset", k10, kRefused},
    {"MFXVideoDECODE_Close", k10, kRefused},
    {"MFXVideoDECODE_GetVideoParam", k10, kRefused},
    {"MFXVideoDECODE_GetDecodeStat", k10, kRefused},
    {"MFXVideoDECODE_SetSkipMode", k10, kRefused},
    {"MFXVideoDECODE_GetPayload", k10, kRefused},
    {"MFXVideoDECODE_DecodeFrameAsync", k10, kRefused},
    {"MFXVideoVPP_Query", k10, kRefused},
    {"MFXVideoVPP_QueryIOSurf", k10, kRefused},
    {"MFXVideoVPP_Init", k10, kRefused},
    {"MFXVideoVPP_Reset", k10, kRefused},
    {"MFXVideoVPP_Close", k10, kRefused},
    {"MFXVideoVPP_GetVideoParam", k10, kRefused},
    {"MFXVideoVPP_GetVPPStat", k10, kRefused},
    {"MFXVideoVPP_RunFrameVPPAsync", k10, kRefused},
    {"MFXDisjoinSession", k11, k10},
    {"MFXSetPriority", k11, k10},
    {"MFXGetPriority", k11, k10},
    {"MFXVideoUSER_Register", k11, k10},
    {"MFXVideoUSER_Unregister", k11, k10},
    {"MFXVideoUSER_ProcessFrameAsync", k11, k10},
};
static_assert(sizeof(kEntries) / sizeof(kEntries[0]) == MfxFunctionTable::kEntryCount, "one row per entry");

}  // namespace

const MfxFunctionTable::EntryInfo& MfxFunctionTable::info(MfxEntry entry) {
  return kEntries[static_cast<std::size_t>(entry)];
}

uint32_t MfxFunctionTable::bind(const RuntimeLibrary& library) {
  uint32_t lowestCap = 0x7FFF7FFF;
  uint32_t highestRequired = 0;
  for (std::size_t i = 0; i < kEntryCount; ++i) {
    entries[i] = library.symbol(kEntries[i].name);
    if (entries[i] != nullptr) {
      highestRequired = std::max(highestRequired, kEntries[i].required);
    } else {
      lowestCap = std::min(lowestCap, kEntries[i].cap);
    }
  }
  return std::min(highestRequired, lowestCap);
}

void MfxFunctionTable::clear() {
  for (void*& entry : entries) entry = nullptr;
}

}  // namespace cvx
