#pragma once

namespace cvx {

class ILogger;

// libavcodec, libavutil and libswscale write their own messages to the
// process's standard error unless told otherwise; inside a host's JVM that
// is the server's console. This sends them into `logger` instead: errors at
// level 3, warnings at level 2, the rest dropped, each as
// "<component>[{context}]: <message>". The hook is process-wide, so the
// first call decides the logger and later calls change nothing; `logger`
// must outlive the process's use of the libraries (the process-wide
// collector does).
void routeLibavMessages(ILogger& logger);

}  // namespace cvx
