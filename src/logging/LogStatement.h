#pragma once

#include <string>

namespace cvx {

// Context kinds of a statement: who wrote it.
enum LogContextType : int {
  kLogContextProcess = -1,
  kLogContextSession = 0,
  kLogContextVideoDecoder = 1,
  kLogContextVideoEncoder = 2,
  kLogContextAudioDecoder = 3,
  kLogContextAudioEncoder = 4,
};

// One queued log line. The text may carry the literal token "{context}", which
// the host fills in from contextType and contextIndex.
struct LogStatement {
  std::string statement;
  int level = 2;
  int contextType = 0;
  int contextIndex = 0;
};

}  // namespace cvx
