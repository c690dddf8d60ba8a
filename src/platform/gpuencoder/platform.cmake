# The NVIDIA driver's libraries are opened with dlopen on first use and never
# linked: the library must start on machines without them.
cvx_platform_library(gpuencoder MODULES ffnvcodec LIBS ${CMAKE_DL_LIBS} Threads::Threads)
