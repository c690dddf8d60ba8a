# What every stand-in over libavcodec shares: handle deleters, the status
# mapping, the codec table, and the library's log routed into ours.
cvx_platform_library(libav MODULES libavcodec libavutil DEPENDS cvx-platform-librarylog)
