# The product's ABI: 32-bit x86, built on a 64-bit Debian with g++-multilib and the :i386 libraries.
# Not a cross build in CMake's sense: the programs run on the machine that builds them.
set(CMAKE_C_FLAGS_INIT "-m32")
set(CMAKE_CXX_FLAGS_INIT "-m32")
set(VOK_LIBRARY_ARCHITECTURE "i386-linux-gnu")
