cvx_platform_library(vpx MODULES vpx)
