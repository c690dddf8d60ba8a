# libyuv ships no pkg-config file: it is linked by name, its header sits in /usr/include.
cvx_platform_library(imagescaler MODULES libswscale libavutil LIBS yuv)
