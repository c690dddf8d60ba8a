#pragma once

namespace cvx {
namespace imagescaler {

// Keeps the library's text of the last failure for scaleImageLastError().
// Per thread, in a fixed buffer: recording an error allocates nothing.
void clearScaleError();
void setScaleError(const char* call, const char* text);
const char* lastScaleError();

}  // namespace imagescaler
}  // namespace cvx
