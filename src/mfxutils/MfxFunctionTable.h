#pragma once

#include <cstddef>
#include <cstdint>

namespace cvx {

class RuntimeLibrary;

// The runtime's entry points the loader binds, in table order.
enum class MfxEntry : std::size_t {
  Init,
  Close,
  JoinSession,
  CloneSession,
  QueryIMPL,
  QueryVersion,
  SetBufferAllocator,
  SetFrameAllocator,
  SetHandle,
  GetHandle,
  SyncOperation,
  EncodeQuery,
  EncodeQueryIOSurf,
  EncodeInit,
  EncodeReset,
  EncodeClose,
  EncodeGetVideoParam,
  EncodeGetEncodeStat,
  EncodeFrameAsync,
  DecodeQuery,
  DecodeHeader,
  DecodeQueryIOSurf,
  DecodeInit,
  DecodeReset,
  DecodeClose,
  DecodeGetVideoParam,
  DecodeGetDecodeStat,
  DecodeSetSkipMode,
  DecodeGetPayload,
  DecodeFrameAsync,
  VppQuery,
  VppQueryIOSurf,
  VppInit,
  VppReset,
  VppClose,
  VppGetVideoParam,
  VppGetVPPStat,
  VppRunFrameVPPAsync,
  DisjoinSession,
  SetPriority,
  GetPriority,
  UserRegister,
  UserUnregister,
  UserProcessFrameAsync,
  Count,
};

// Version words are major * 65536 + minor.
constexpr uint32_t mfxVersionWord(uint32_t major, uint32_t minor) { return major << 16 | minor; }

// The table of a runtime's 44 entry points. Each entry's presence proves an
// API version, and its absence caps the version the runtime can serve; a
// runtime without one of the 1.0 entries is refused outright.
class MfxFunctionTable {
 public:
  static constexpr std::size_t kEntryCount = static_cast<std::size_t>(MfxEntry::Count);

  struct EntryInfo {
    const char* name;
    uint32_t required;  // the version its presence proves
    uint32_t cap;       // the version its absence allows at most; 0 refuses
  };
  static const EntryInfo& info(MfxEntry entry);

  // Looks every name up in `library`, keeps what it finds and returns the
  // version found: the highest version an entry proves, capped by the lowest
  // cap of an entry that is missing. 0 means refused.
  uint32_t bind(const RuntimeLibrary& library);
  void* get(MfxEntry entry) const { return entries[static_cast<std::size_t>(entry)]; }
  void clear();

 private:
  void* entries[kEntryCount] = {};
};

}  // namespace cvx
