#pragma once

namespace cvx {

// The one virtual operation of a session is its destruction; the boundary
// deletes a session through this interface and calls everything else directly.
class ITranscoderSession {
 public:
  virtual ~ITranscoderSession() = default;
};

}  // namespace cvx
