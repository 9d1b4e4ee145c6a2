# Cross build for 64-bit Windows with Debian's mingw-w64 compilers.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(QBX_TRIPLE x86_64-w64-mingw32)
# Wine's 64-bit loader runs the test programs.
set(QBX_WINE_LOADER /usr/lib/wine/wine64)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake)
