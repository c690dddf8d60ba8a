cvx_platform_library(videodecoder MODULES libavcodec libavutil DEPENDS cvx-platform-bufstream cvx-platform-libav)
