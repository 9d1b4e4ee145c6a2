# Shared part of the two toolchain files; QBX_TRIPLE names the compiler set.
set(CMAKE_C_COMPILER ${QBX_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${QBX_TRIPLE}-g++)
set(CMAKE_RC_COMPILER ${QBX_TRIPLE}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${QBX_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Test programs run under Wine, with the loader of their own bitness
# (QBX_WINE_LOADER, from the architecture's toolchain file).
set(CMAKE_CROSSCOMPILING_EMULATOR ${QBX_WINE_LOADER})
