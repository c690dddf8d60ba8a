# libyuv ships no pkg-config file: it is linked by name, its header sits in /usr/include.
cvx_platform_library(imagescaler MODULES libswscale libavutil LIBS yuv DEPENDS cvx-platform-libav)
# The per-pixel loops of compositing only vectorise at -O3.
set_source_files_properties(${CMAKE_CURRENT_LIST_DIR}/PixelLoops.cpp PROPERTIES COMPILE_OPTIONS -O3)
