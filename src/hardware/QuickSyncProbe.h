#pragma once

namespace cvx {

// Whether a Media SDK implementation in hardware can be had: a session of the
// automatic implementation is opened, asked what it is and closed again. A
// software-only runtime does not count.
bool isQuickSyncAvailable();

}  // namespace cvx
