cvx_platform_library(h264encoder MODULES x264)
