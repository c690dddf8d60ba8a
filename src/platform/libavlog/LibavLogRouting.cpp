#include "platform/libavlog/LibavLogRouting.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <string>

#include "logging/ILogger.h"

namespace cvx {

namespace {

ILogger* target = nullptr;

// Called on whichever thread the library logs from, decoder threads too.
void libavMessage(void* object, int level, const char* format, va_list arguments) {
  if (level > AV_LOG_WARNING || target == nullptr) return;
  char text[512];
  const int written = std::vsnprintf(text, sizeof(text), format, arguments);
  if (written <= 0) return;
  std::string message(text);
  while (!message.empty() && (message.back() == '\n' || message.back() == ' ')) message.pop_back();
  if (message.empty()) return;
  // A context object starts with its class, which names the component.
  const char* component = "libav";
  if (object != nullptr) {
    const AVClass* cls = *static_cast<AVClass**>(object);
    if (cls != nullptr && cls->item_name != nullptr) component = cls->item_name(object);
  }
  std::string statement = std::string(component) + "[{context}]: " + message;
  if (level <= AV_LOG_ERROR) {
    target->logLevel3(std::move(statement));
  } else {
    target->logLevel2(std::move(statement));
  }
}

}  // namespace

void routeLibavMessages(ILogger& logger) {
  static std::once_flag once;
  std::call_once(once, [&logger] {
    target = &logger;
    av_log_set_callback(&libavMessage);
  });
}

}  // namespace cvx
