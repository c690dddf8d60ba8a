cvx_platform_library(h264encoder MODULES x264 DEPENDS cvx-platform-librarylog)
