# Cross build for 32-bit Windows with Debian's mingw-w64 compilers.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(QBX_TRIPLE i686-w64-mingw32)
# Wine's 32-bit loader (Debian's wine32:i386) runs the test programs.
set(QBX_WINE_LOADER /usr/lib/wine/wine)
include(${CMAKE_CURRENT_LIST_DIR}/toolchain-common.cmake)
