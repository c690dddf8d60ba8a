# Audio decoders and the AAC encoder over libavcodec; the error mapping and the
# handle deleters are the video decoder stand-in's.
cvx_platform_library(audiocodecs MODULES libavcodec libavutil DEPENDS cvx-platform-videodecoder)
