#pragma once

namespace cvx {

// Sends libavcodec's, libavutil's and libswscale's messages into our log
// (see platform/librarylog) instead of the host's standard error: errors at
// level 3, warnings at level 2, the rest not at all. The library's hook is
// process-wide; it is installed once, whichever thread comes first, and every
// stand-in calls this before its first use of the libraries.
void routeLibavLog();

}  // namespace cvx
