#pragma once

#include <cstddef>

namespace cvx {

class ILogger;

// Outcome of one library call, as the stand-ins act on it.
enum class AvOutcome {
  Ok,           // the call did its work
  Again,        // the codec wants the other direction first (output or input)
  End,          // the codec is drained
  InvalidData,  // the input was not decodable; the stream goes on
  Failed,       // anything else: memory, unsupported feature, internal fault
};

// The one place where the library's return codes are mapped. It keeps the
// library's own error text of the last failure for the layer above, and writes
// it as a level-3 line when a logger was given.
class AvStatus {
 public:
  AvStatus() = default;
  AvStatus(const AvStatus&) = delete;
  AvStatus& operator=(const AvStatus&) = delete;

  // Maps `result` of the library call named `call`. Results of zero or above
  // are Ok; EAGAIN and EOF are flow, not failures, and leave the text alone.
  AvOutcome check(int result, const char* call);

  // Records a failure found by the stand-in itself (no library code behind it).
  void fail(const char* call, const char* text);

  // Text of the last failure, "" when none happened; valid until the next one.
  const char* lastErrorText() const { return text_; }
  int failureCount() const { return failures_; }

  // `label` opens each log line, e.g. "VideoDecoderStream[{context}]: ".
  void setLogger(ILogger* logger, int contextType, int contextIndex, const char* label);

 private:
  void record(const char* call, const char* text);

  char text_[192] = {};
  int failures_ = 0;
  ILogger* logger_ = nullptr;
  int contextType_ = 0;
  int contextIndex_ = 0;
  const char* label_ = "";
};

}  // namespace cvx
