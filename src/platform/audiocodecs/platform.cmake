# Audio decoders and the AAC encoder over libavcodec.
cvx_platform_library(audiocodecs MODULES libavcodec libavutil DEPENDS cvx-platform-bufstream cvx-platform-libav)
