cvx_platform_library(vorbis MODULES vorbisenc vorbis ogg)
