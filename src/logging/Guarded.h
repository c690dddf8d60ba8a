#pragma once

#include <exception>
#include <type_traits>
#include <utility>

#include "logging/StdoutLine.h"

namespace cvx {

// The one exception handler of the library. Runs `body`; a std::exception
// that escapes it is written as "<label><what>" on standard output (the
// fixed-label line hosts match on) and the call yields `failure` instead.
// Labels are the "Class::method: " texts the host has always seen, so callers
// pass them as they stand, shared labels included.
//
//   return guarded("VideoEncoderVPX::setBitrate: ", [&] { ...; return 0; });
//
// A body returning void gives a guarded call returning nothing.
template <class Body, class Result = std::invoke_result_t<Body&>>
Result guarded(const char* label, Body&& body, Result failure) {
  try {
    return body();
  } catch (const std::exception& e) {
    writeStdoutLine(label, e);
    return failure;
  }
}

// The usual form: integer statuses with -1 for failure, or void.
template <class Body, class Result = std::invoke_result_t<Body&>>
Result guarded(const char* label, Body&& body) {
  if constexpr (std::is_void_v<Result>) {
    try {
      body();
    } catch (const std::exception& e) {
      writeStdoutLine(label, e);
    }
  } else {
    return guarded(label, std::forward<Body>(body), static_cast<Result>(-1));
  }
}

}  // namespace cvx
