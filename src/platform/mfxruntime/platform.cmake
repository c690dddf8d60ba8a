# The Media SDK runtime and libva are bound late (dlopen), never linked: the
# SDK's and libva's headers are read for their types and checked layouts only.
cvx_platform_library(mfxruntime LIBS ${CMAKE_DL_LIBS} DEPENDS cvx-platform-librarylog)
