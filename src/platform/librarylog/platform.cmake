# Where the codec libraries' own messages go: our log, never the host's stderr.
# Its lines enter the logging subsystem, which lives in cvx-core.
cvx_platform_library(librarylog DEPENDS cvx-core)
