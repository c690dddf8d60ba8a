cvx_platform_library(speex MODULES speex)
